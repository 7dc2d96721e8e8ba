"""The monitor page in a real browser (Debian's chromium, headless, driven by
selenium) against the real program and simulator: the reading on the page is
the database's last sample, the chart gains points as the trace runs, and Stop
works from a page opened with the token and is refused without it.
Usage: monitor_browser.py KVX5130 KVX5130_SIM [--screenshot FILE.png]"""

import sqlite3
import sys
import tempfile
import unittest

from selenium.webdriver.common.by import By

from monitor_browser_driver import browser
from monitorbench import Bench, wait_for

PROGRAM, SIMULATOR = sys.argv[1], sys.argv[2]
SCREENSHOT = sys.argv[sys.argv.index("--screenshot") + 1] if "--screenshot" in sys.argv else None


class MonitorPageInBrowser(unittest.TestCase):
    def setUp(self):
        self.bench = Bench(PROGRAM, SIMULATOR)
        self.profile = tempfile.TemporaryDirectory(prefix="kvx5130-chromium-")
        self.driver = browser(self.profile.name)

    def tearDown(self):
        self.driver.quit()
        self.profile.cleanup()
        self.bench.close()

    def text(self, element_id):
        return self.driver.find_element(By.ID, element_id).text

    def chart_points(self):
        return self.driver.execute_script(
            "return window.monitor && window.monitor.graph ? window.monitor.graph.numRows() : 0")

    def test_page_follows_the_trace_and_its_keys_need_the_token(self):
        driver = self.driver
        driver.get(self.bench.url)
        wait_for("the page to show LIVE", lambda: self.text("state") == "LIVE")
        points = wait_for("the chart's first points", self.chart_points)
        wait_for("the chart to gain points", lambda: self.chart_points() > points)
        self.assertRegex(self.text("tracing"), "^running since ")

        # Without the token the page is read-only: Stop is refused and the trace goes on.
        driver.find_element(By.ID, "stop").click()
        wait_for("the refusal", lambda: "refused" in self.text("message"))
        self.bench.samples_grow()
        self.assertTrue(self.bench.status()["tracing"])

        driver.get(self.bench.url + "?token=" + self.bench.token)
        wait_for("the chart", lambda: self.chart_points() > points)
        if SCREENSHOT:
            wait_for("a longer trace", lambda: self.chart_points() >= 12, 60)
            driver.save_screenshot(SCREENSHOT)
        driver.find_element(By.ID, "stop").click()
        wait_for("Stop done", lambda: self.text("message") == "Stop done")
        wait_for("the page to show the trace stopped", lambda: self.text("tracing") == "stopped")
        self.assertFalse(self.bench.status()["tracing"])

        # Stopped, the last reading stays: it is the database's last sample, on the page and in the chart.
        with sqlite3.connect("file:%s?mode=ro" % self.bench.database(), uri=True) as db:
            seq, value = db.execute("select SeqNo, PVal from datatemp order by SeqNo desc limit 1").fetchone()
        number = float(value.split()[0])
        wait_for("the last sample on the page", lambda: self.text("lastSample").startswith("#%d " % seq))
        self.assertAlmostEqual(float(self.text("primary")), number)
        chart_last = driver.execute_script("const r = window.monitor.rows; return r[r.length - 1][1]")
        self.assertAlmostEqual(chart_last, number)
        self.assertEqual(self.chart_points(), seq + 1)  # samples are numbered from 0


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
