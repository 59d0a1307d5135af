"""A headless Chromium, driven by Selenium."""
import shutil

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.support.ui import WebDriverWait

FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync",
         "--disable-dev-shm-usage"]


class Chromium:
    def __init__(self):
        options = webdriver.ChromeOptions()
        options.binary_location = shutil.which("chromium")
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        for flag in FLAGS:
            options.add_argument(flag)
        self.driver = webdriver.Chrome(options=options, service=Service(shutil.which("chromedriver")))
        self.go, self.close = self.driver.get, self.driver.quit
        # What the script returns, awaited when it is a promise.
        self.run = self.driver.execute_script
        # Whether a headless window has the focus differs from version to version.
        self.emulate("FocusEmulationEnabled", enabled=True)

    def emulate(self, what, **parameters):
        self.driver.execute_cdp_cmd(f"Emulation.set{what}", parameters)

    def wait_for(self, condition, *arguments):
        """Waits until the script's expression is true; returns what it is."""
        return WebDriverWait(self.driver, 60, 0.02).until(
            lambda _: self.run(f"return {condition}", *arguments), condition)

    def resize(self, width, height):
        self.emulate("DeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)

    def dark(self, on):
        self.emulate("EmulatedMedia", features=[
            {"name": "prefers-color-scheme", "value": "dark" if on else "light"}])

    def screenshot(self, path):
        self.driver.save_screenshot(str(path))

    def complaints(self):
        """What the browser's console held: errors of scripts, refusals of the policy."""
        return [entry["message"] for entry in self.driver.get_log("browser")]
