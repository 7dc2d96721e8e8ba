"""The real simulator and the real program serving its monitor page, for the
monitor page's tests: started in a private folder, stopped at the end."""

import json
import os
import re
import subprocess
import tempfile
import threading
import time
import urllib.error
import urllib.request

ISO_TIME = re.compile(r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(Z|[+-]\d\d:\d\d)$")


def wait_for(what, check, timeout=30.0, step=0.1):
    """Polls `check` until it answers something true; fails with `what` after `timeout` s."""
    deadline = time.monotonic() + timeout
    while True:
        answer = check()
        if answer:
            return answer
        if time.monotonic() > deadline:
            raise AssertionError("timed out waiting for " + what)
        time.sleep(step)


class Process:
    """A child process whose stderr (and optionally stdout) lines are collected as they come."""

    def __init__(self, arguments, env=None, keep_stdout=False):
        self.lines = []
        self.out_lines = []
        self.proc = subprocess.Popen(arguments, env=env, stdin=subprocess.DEVNULL,
                                     stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self._readers = [threading.Thread(target=self._read, args=(self.proc.stderr, self.lines), daemon=True)]
        if keep_stdout:
            self._readers.append(
                threading.Thread(target=self._read, args=(self.proc.stdout, self.out_lines), daemon=True))
        for reader in self._readers:
            reader.start()

    @staticmethod
    def _read(stream, into):
        for line in stream:
            into.append(line.rstrip("\r\n"))

    def line_matching(self, pattern, timeout=30.0):
        regex = re.compile(pattern)

        def found():
            if self.proc.poll() is not None and not self._readers[0].is_alive():
                raise AssertionError("the process ended: " + "\n".join(self.lines))
            return next((m for m in map(regex.search, list(self.lines)) if m), None)
        return wait_for(pattern, found, timeout)

    def stop(self):
        if self.proc.poll() is None:
            self.proc.terminate()
            try:
                self.proc.wait(10)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()


class Bench:
    """kvx5130-sim on a TCP port and kvx5130 tracing against it, serving its page."""

    def __init__(self, program, simulator, token="s3cret-token", headless_log=None):
        self.dir = tempfile.TemporaryDirectory(prefix="kvx5130-monitor-")
        self.folder = self.dir.name
        self.token = token
        self.sim = Process([simulator, "--tcp", "0", "--seed", "7"])
        first = wait_for("the simulator's address", lambda: self.sim.proc.stdout.readline().strip(), 10)
        self.link = first
        env = dict(os.environ, QT_QPA_PLATFORM="offscreen")
        if headless_log is not None:
            arguments = [program, "log", "--link", self.link, "--http", "0"] + headless_log
            self.program = Process(arguments, env=env, keep_stdout=True)
        else:
            token_file = os.path.join(self.folder, "token")
            with open(token_file, "w") as f:
                f.write(token + "\n")
            self.program = Process([program, "--folder", self.folder, "--link", self.link, "--start",
                                    "--http", "0", "--http-token", token_file], env=env)
        match = self.program.line_matching(r"monitor page at (http://[0-9.]+:(\d+)/)")
        self.url = match.group(1)
        self.port = int(match.group(2))

    def database(self):
        return os.path.join(self.folder, "KVX5130.mdb")

    def request(self, path, method="GET", headers=None, timeout=10):
        """(status, parsed JSON or text) of one request."""
        req = urllib.request.Request(self.url + path.lstrip("/"), method=method, headers=headers or {},
                                     data=b"" if method == "POST" else None)
        try:
            with urllib.request.urlopen(req, timeout=timeout) as reply:
                status, body, kind = reply.status, reply.read(), reply.headers.get("Content-Type", "")
        except urllib.error.HTTPError as error:
            status, body, kind = error.code, error.read(), error.headers.get("Content-Type", "")
        return status, json.loads(body) if "json" in kind else body.decode("utf-8", "replace")

    def status(self):
        return self.request("api/status")[1]

    def samples_grow(self, timeout=30.0):
        """Waits until the working trace gains a sample: the polling goes on."""
        before = self.status()["samples"]
        wait_for("a new sample", lambda: self.status()["samples"] > before, timeout)

    def close(self):
        self.program.stop()
        self.sim.stop()
        self.dir.cleanup()
