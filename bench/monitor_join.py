"""A browser joining a 100,000-sample working trace: from opening the monitor
page to the whole trace drawn in its chart, in Debian's chromium (headless).
Run by hand beside kvx5130-bench's BM_MonitorLateJoinerFetch, which times the
same pages fetched by a plain client:
  /usr/bin/python3 bench/monitor_join.py build/bin/kvx5130 build/bin/kvx5130-sim [RUNS]"""

import os
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tests", "monitor"))
from monitorbench import Process, wait_for  # noqa: E402
from monitor_browser_driver import browser  # noqa: E402

SAMPLES = 100000


def main():
    program, simulator = sys.argv[1], sys.argv[2]
    runs = int(sys.argv[3]) if len(sys.argv) > 3 else 3
    folder = tempfile.TemporaryDirectory(prefix="kvx5130-join-")
    sim = Process([simulator, "--tcp", "0"])
    link = sim.proc.stdout.readline().strip()
    env = dict(os.environ, QT_QPA_PLATFORM="offscreen")
    app = Process([program, "--folder", folder.name, "--link", link, "--http", "0"], env=env)
    url = app.line_matching(r"monitor page at (http://\S+/)").group(1)
    subprocess.run(["sqlite3", os.path.join(folder.name, "KVX5130.mdb"),
                    "with recursive n(i) as (select 0 union all select i + 1 from n where i < %d) "
                    "insert into datatemp (SeqNo,RecTime,PVal,SVal,Reason,Comment,TimeTick,DiffLastTime) "
                    "select i, '2026/01/05 10:00:00', ((i %% 2000) - 1000) * 0.25 || ' V', '60.01 kHz', '0', '', "
                    "i, 1 from n" % (SAMPLES - 1)], check=True)
    profile = tempfile.TemporaryDirectory(prefix="kvx5130-chromium-")
    driver = browser(profile.name)
    try:
        for _ in range(runs):
            driver.get("about:blank")
            start = time.monotonic()
            driver.get(url)
            wait_for("the whole trace drawn", lambda: driver.execute_script(
                "const m = window.monitor; return m && m.graph && !m.loading && m.rows.length === %d "
                "&& m.drawnAt > 0" % SAMPLES), 60, 0.02)
            # Milliseconds since the navigation began.
            fetched, drawn = driver.execute_script("return [window.monitor.historyAt, window.monitor.drawnAt]")
            print("100,000 samples: fetched %.0f ms, drawn %.0f ms after navigation (%.0f ms by this clock)"
                  % (fetched, drawn, (time.monotonic() - start) * 1000))
    finally:
        driver.quit()
        app.stop()
        sim.stop()


if __name__ == "__main__":
    main()
