"""A headless Chromium, driven over W3C WebDriver by chromedriver."""
import base64
import json
import re
import shutil
import subprocess
import tempfile
import time
import urllib.request

FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync",
         "--disable-dev-shm-usage"]


def missing():
    """Which of the programs is not installed, None for none."""
    return next((name for name in ("chromium", "chromedriver") if not shutil.which(name)), None)


class Chromium:
    def __init__(self):
        self.profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE,
                                       stderr=subprocess.DEVNULL, text=True)
        for line in self.driver.stdout:
            if started := re.search(r"started successfully on port (\d+)", line):
                break
        self.url = f"http://127.0.0.1:{started[1]}/session"
        options = {"binary": shutil.which("chromium"),
                   "args": FLAGS + [f"--user-data-dir={self.profile.name}"]}
        wanted = {"browserName": "chrome", "goog:chromeOptions": options,
                  "goog:loggingPrefs": {"browser": "ALL"}}
        answer = self.call("", {"capabilities": {"alwaysMatch": wanted}})
        self.url += "/" + answer["sessionId"]
        # Whether a headless window has the focus differs from version to version.
        self.call("/goog/cdp/execute", {"cmd": "Emulation.setFocusEmulationEnabled",
                                        "params": {"enabled": True}})

    def close(self):
        try:
            self.call("", method="DELETE")
        finally:
            self.driver.terminate()
            self.driver.wait()
            self.driver.stdout.close()
            self.profile.cleanup()

    def call(self, path, body=None, method=None):
        data = json.dumps(body).encode() if body is not None else None
        request = urllib.request.Request(self.url + path, data, {"Content-Type": "application/json"},
                                         method=method)
        try:
            with urllib.request.urlopen(request, timeout=60) as response:
                return json.load(response)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(json.load(error)["value"]["message"]) from None

    def go(self, url):
        self.call("/url", {"url": url})

    def run(self, script, *arguments):
        """What the script returns, awaited when it is a promise."""
        return self.call("/execute/sync", {"script": script, "args": arguments})

    def wait_for(self, condition, *arguments):
        """Waits until the script's expression is true; returns what it is."""
        until = time.monotonic() + 60
        while not (value := self.run(f"return {condition}", *arguments)):
            if time.monotonic() > until:
                raise TimeoutError(condition)
            time.sleep(0.02)
        return value

    def resize(self, width, height):
        self.call("/goog/cdp/execute", {"cmd": "Emulation.setDeviceMetricsOverride", "params": {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False}})

    def dark(self, on):
        self.call("/goog/cdp/execute", {"cmd": "Emulation.setEmulatedMedia", "params": {
            "features": [{"name": "prefers-color-scheme", "value": "dark" if on else "light"}]}})

    def screenshot(self, path):
        path.write_bytes(base64.b64decode(self.call("/screenshot")))

    def complaints(self):
        """What the browser's console held: errors of scripts, refusals of the policy."""
        return [entry["message"] for entry in self.call("/se/log", {"type": "browser"})]
