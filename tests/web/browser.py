"""A headless Chromium by chromedriver's protocol (WebDriver)."""

import base64
import json
import os
import pathlib
import re
import subprocess
import tempfile
import time
import urllib.request

KEY = "element-6066-11e4-a52e-4f735466cecf"


class Browser:
    def __init__(self, width=1280, height=860, dark=True, ratio=1):
        self.profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        while not (found := re.search(r"started successfully on port (\d+)", line := self.driver.stdout.readline())):
            assert line, "chromedriver ended"
        self.base = f"http://127.0.0.1:{found[1]}"
        options = ["--headless=new", "--no-sandbox", "--disable-gpu", "--hide-scrollbars", f"--force-device-scale-factor={ratio}",
                   "--disable-dev-shm-usage", f"--user-data-dir={self.profile.name}", f"--window-size={width},{height}"]
        self.downloads = pathlib.Path(self.profile.name) / "downloads"
        self.downloads.mkdir()
        chrome = {"args": options, "prefs": {"download.default_directory": str(self.downloads)}}
        self.session = ""
        self.session = "/session/" + self.ask("POST", "/session", {"capabilities": {"alwaysMatch": {
            "goog:chromeOptions": chrome, "goog:loggingPrefs": {"browser": "ALL"}}}})["sessionId"]
        self.appearance(dark)
        self.size(width, height)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.ask("DELETE", "")
        self.driver.terminate()
        self.driver.wait(20)
        self.driver.stdout.close()
        self.profile.cleanup()

    def ask(self, method, path, body=None):
        request = urllib.request.Request(self.base + self.session + path, method=method,
                                         data=None if body is None else json.dumps(body).encode(),
                                         headers={"Content-Type": "application/json"})
        try:
            with urllib.request.urlopen(request, timeout=60) as reply:
                return json.load(reply)["value"]
        except urllib.error.HTTPError as error:
            raise AssertionError(json.load(error)["value"]["message"]) from None

    def protocol(self, command, **parameters):
        return self.ask("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def appearance(self, dark):
        self.protocol("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}])

    def size(self, width, height):
        self.protocol("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=0, mobile=False)

    def open(self, address):
        self.ask("POST", "/url", {"url": address})

    def run(self, script, *arguments):
        return self.ask("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def until(self, expression):
        """Waits until the expression is true in the page, and gives it."""
        end = time.monotonic() + 40
        while time.monotonic() < end:
            if value := self.run(f"return {expression}"):
                return value
            time.sleep(0.05)
        raise AssertionError(f"never true: {expression}")

    def element(self, selector):
        return self.ask("POST", "/element", {"using": "css selector", "value": selector})

    def click(self, selector):
        self.ask("POST", f"/element/{self.element(selector)[KEY]}/click", {})

    def text(self, selector):
        return self.ask("GET", f"/element/{self.element(selector)[KEY]}/text")

    def write(self, selector, text):
        found = self.element(selector)[KEY]
        self.ask("POST", f"/element/{found}/clear", {})
        self.ask("POST", f"/element/{found}/value", {"text": text})

    def press(self, keys):
        """Keys that go where the focus is."""
        actions = [{"type": kind, "value": key} for key in keys for kind in ("keyDown", "keyUp")]
        self.ask("POST", "/actions", {"actions": [{"type": "key", "id": "keys", "actions": actions}]})

    def drag(self, start, end):
        """Presses the mouse at a place of the window, and lets go at another."""
        act = lambda *actions: self.ask("POST", "/actions", {"actions": [{"type": "pointer", "id": "mouse", "actions": actions}]})
        move = lambda place: {"type": "pointerMove", "duration": 60, "x": round(place[0]), "y": round(place[1])}
        steps = [[a + (b - a) * k / 8 for a, b in zip(start, end)] for k in range(1, 9)]
        act(move(start), {"type": "pointerDown", "button": 0}, *map(move, steps))
        # The page has drawn where the mouse is.
        self.ask("POST", "/execute/async", {"script": "requestAnimationFrame(() => requestAnimationFrame(() => arguments[0](0)))", "args": []})
        act({"type": "pointerUp", "button": 0})

    def box(self, selector):
        """Left, top, width and height in the window."""
        return self.run("const b = document.querySelector(arguments[0]).getBoundingClientRect(); return [b.left, b.top, b.width, b.height]", selector)

    def mistakes(self):
        """What the browser has complained of, but for connections that were to be lost."""
        return [entry["message"] for entry in self.ask("POST", "/se/log", {"type": "browser"})
                if entry["level"] == "SEVERE" and "WebSocket connection" not in entry["message"]]

    def picture(self, name):
        data = base64.b64decode(self.ask("GET", "/screenshot"))
        pathlib.Path(name).write_bytes(data)
        return os.path.getsize(name)
