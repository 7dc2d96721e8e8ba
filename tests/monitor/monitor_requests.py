"""The monitor page's HTTP side against the real program and simulator: the
status object, the trace pages beside the database, the token, and requests
that are malformed, oversized, unknown or never read, while the polling goes on.
Usage: monitor_requests.py KVX5130 KVX5130_SIM"""

import base64
import csv
import os
import socket
import sqlite3
import sys
import unittest

from monitorbench import ISO_TIME, Bench, wait_for

PROGRAM, SIMULATOR = sys.argv[1], sys.argv[2]


def exchange(port, data, timeout=10.0):
    """Sends raw bytes and reads until the server answers or closes: the answer's bytes."""
    with socket.create_connection(("127.0.0.1", port), timeout=timeout) as s:
        try:
            s.sendall(data)
            return s.recv(4096)
        except (ConnectionResetError, BrokenPipeError):
            return b""


class MonitorRequests(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.bench = Bench(PROGRAM, SIMULATOR)
        wait_for("two samples", lambda: cls.bench.status()["samples"] >= 2)

    @classmethod
    def tearDownClass(cls):
        cls.bench.close()

    def test_status_is_the_working_trace(self):
        status = self.bench.status()
        self.assertEqual(status["state"], "LIVE")
        self.assertTrue(status["tracing"])
        self.assertEqual(status["link"], self.bench.link)
        self.assertRegex(status["started"], ISO_TIME)
        self.assertIsInstance(status["last"]["primary"], (int, float))
        self.assertRegex(status["last"]["time"], ISO_TIME)
        for key in ("function", "samples", "elapsed_s", "max", "min", "matches", "limit_low", "limit_high"):
            self.assertIn(key, status)

    def test_trace_pages_are_the_database_rows(self):
        status, page = self.bench.request("api/trace")
        self.assertEqual(status, 200)
        self.assertIsNone(page["next"])
        with sqlite3.connect("file:%s?mode=ro" % self.bench.database(), uri=True) as db:
            rows = dict(db.execute("select SeqNo, PVal from datatemp").fetchall())
        self.assertGreaterEqual(len(page["samples"]), 2)
        for sample in page["samples"]:
            self.assertRegex(sample["recTime"], ISO_TIME)
            self.assertIsInstance(sample["primary"], (int, float))
            self.assertAlmostEqual(sample["primary"], float(rows[sample["seqNo"]].split()[0]))
        last = page["samples"][-1]["seqNo"]
        later = self.bench.request("api/trace?from=%d" % last)[1]["samples"]
        self.assertEqual(later[0], page["samples"][-1])
        self.assertEqual([s["seqNo"] for s in later], list(range(last, last + len(later))))
        self.assertEqual(self.bench.request("api/trace?from=x")[0], 400)

    def test_keys_need_the_token(self):
        for headers in ({}, {"X-Monitor-Token": "wrong"}):
            for key in ("api/stop", "api/start", "api/save"):
                self.assertEqual(self.bench.request(key, "POST", headers)[0], 403, (key, headers))
        self.assertEqual(self.bench.request("api/stop?token=wrong", "POST")[0], 403)
        # The right token on a key that does not apply now changes nothing either.
        status, answer = self.bench.request("api/start", "POST", {"X-Monitor-Token": self.bench.token})
        self.assertEqual(status, 409, answer)
        self.assertTrue(self.bench.status()["tracing"])
        self.bench.samples_grow()

    def test_bad_requests_get_an_error_and_the_polling_goes_on(self):
        port = self.bench.port
        self.assertEqual(self.bench.request("no/such/page")[0], 404)
        self.assertEqual(self.bench.request("api/stop")[0], 404)  # a key is pressed with POST only
        for data in (b"NOT HTTP AT ALL\r\n\r\n",
                     b"GET / HTTP/1.1\r\nHost: x\r\nX-Big: " + b"a" * (1 << 20) + b"\r\n\r\n",
                     b"POST /api/stop HTTP/1.1\r\nHost: x\r\nContent-Length: 100000000\r\n\r\n" + b"b" * (1 << 20)):
            answer = exchange(port, data)
            # Either an error status, or the connection closed without one.
            self.assertTrue(answer == b"" or answer.split(b" ")[1][:1] == b"4", answer[:80])
        # Clients that never read: a WebSocket and a pile of pipelined page requests.
        key = base64.b64encode(os.urandom(16)).decode()
        silent = []
        for data in (("GET /ws HTTP/1.1\r\nHost: x\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                      "Sec-WebSocket-Key: %s\r\nSec-WebSocket-Version: 13\r\n\r\n" % key).encode(),
                     b"GET /api/trace?from=1 HTTP/1.1\r\nHost: x\r\n\r\n" * 200,
                     b"GET /api/status HTTP/1.1\r\nHost: x\r\n"):  # and one that never finishes
            s = socket.create_connection(("127.0.0.1", port))
            s.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
            s.sendall(data)
            silent.append(s)
        self.assertTrue(silent[0].recv(12).startswith(b"HTTP/1.1 101"))  # the socket is open, then never read
        self.bench.samples_grow()
        self.bench.samples_grow()
        self.assertEqual(self.bench.request("api/status")[0], 200)
        for s in silent:
            s.close()


class HeadlessLogPage(unittest.TestCase):
    def test_log_serves_the_readings_it_writes(self):
        bench = Bench(PROGRAM, SIMULATOR, headless_log=["--interval", "0.3", "--count", "25"])
        try:
            seen = []
            def reading():
                last = bench.status()["last"]
                if last and last["primary"] not in seen:
                    seen.append(last["primary"])
                return len(seen) >= 3
            wait_for("three readings on the page", reading)
            status = bench.status()
            self.assertEqual((status["state"], status["link"]), ("LIVE", bench.link))
            self.assertEqual(bench.request("api/trace?from=1")[1]["samples"], [])
            bench.program.proc.wait(30)
            rows = list(csv.DictReader(bench.program.out_lines))
            self.assertEqual(len(rows), 25)
            logged = [float(row["M1Primary"]) for row in rows]
            for value in seen:
                self.assertTrue(any(abs(value - v) <= 1e-9 * max(1.0, abs(v)) for v in logged), value)
        finally:
            bench.close()


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
