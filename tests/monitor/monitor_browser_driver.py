"""Debian's chromium, headless, driven by selenium, for the monitor page's test and bench."""

from selenium import webdriver
from selenium.webdriver.chrome.service import Service


def browser(profile):
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    # CI runs as root, where chromium's sandbox cannot start.
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                     "--user-data-dir=" + profile, "--window-size=1000,820"):
        options.add_argument(argument)
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
