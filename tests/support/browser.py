"""Chromium without a window, driven over a pipe by its DevTools protocol, with a profile of its own.

It has no network: every name is unknown to it. What a page asks for is remembered in `requests`.
"""

import base64
import json
import os
import select
import shutil
import subprocess
import time
from pathlib import Path

CHROMIUM = shutil.which("chromium") or "/usr/bin/chromium"
ANSWER_SECONDS = 60
FROM_US, TO_US = 3, 4  # what Chromium reads and writes, by its own rule
FLAGS = (
    "--headless --no-sandbox --disable-gpu --disable-quic --no-first-run --hide-scrollbars"
    " --disable-background-networking --disable-component-update --disable-sync --mute-audio"
    " --disable-dev-shm-usage --force-color-profile=srgb --font-render-hinting=none"
    " --disable-lcd-text --remote-debugging-pipe"
).split()
NO_NAMES = "--host-resolver-rules=MAP * ~NOTFOUND"
FONTS = """<?xml version="1.0"?><!DOCTYPE fontconfig SYSTEM "fonts.dtd"><fontconfig>
<dir>/usr/share/fonts/truetype/dejavu</dir><cachedir>{cache}</cachedir>
<match><test name="family" compare="not_eq"><string>DejaVu Sans Mono</string></test>
<edit name="family" mode="assign" binding="strong"><string>DejaVu Sans</string></edit></match>
</fontconfig>"""


class Browser:
    def __init__(self, folder: Path):
        fonts = folder / "fonts.conf"
        fonts.write_text(FONTS.format(cache=folder / "fontcache"), encoding="utf-8")
        read_ours, self._write = os.pipe()
        self._read, write_theirs = os.pipe()
        words = [CHROMIUM, *FLAGS, NO_NAMES, f"--user-data-dir={folder}/profile", "about:blank"]
        # bash gives the two ends the numbers that Chromium wants, whatever they are here.
        self.process = subprocess.Popen(
            ["bash", "-c", f'exec "$@" {FROM_US}<&{read_ours} {TO_US}>&{write_theirs}', "bash", *words],
            pass_fds=(read_ours, write_theirs),
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=(folder / "chromium.log").open("wb"),
            env={**os.environ, "FONTCONFIG_FILE": str(fonts), "HOME": str(folder), "TZ": "UTC"},
        )
        os.close(read_ours)
        os.close(write_theirs)
        self._pending = b""
        self._last = 0
        self._session = None
        self.requests: dict[str, str] = {}  # by the id that Chromium gives them
        self.refused: list[str] = []  # by the page's own policy
        self.complaints: list[str] = []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        answer = self.call("Target.attachToTarget", targetId=target, flatten=True)
        self._session = answer["sessionId"]
        for domain in ("Page", "Network", "Log", "Runtime", "Accessibility"):
            self.call(f"{domain}.enable")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        os.close(self._write)
        os.close(self._read)

    def _message(self, deadline):
        while b"\0" not in self._pending:
            left = deadline - time.monotonic()
            assert left > 0 and select.select([self._read], [], [], left)[0], "Chromium is silent"
            got = os.read(self._read, 1 << 20)
            assert got, "Chromium has ended"
            self._pending += got
        text, _, self._pending = self._pending.partition(b"\0")
        return json.loads(text)

    def _note(self, message):
        event, values = message.get("method"), message.get("params", {})
        if event == "Network.requestWillBeSent":
            self.requests[values["requestId"]] = values["request"]["url"]
        elif event == "Network.loadingFailed" and values.get("blockedReason") == "csp":
            self.refused.append(self.requests.pop(values["requestId"]))
        elif event == "Log.entryAdded":
            self.complaints.append(values["entry"]["text"])
        elif event == "Runtime.exceptionThrown":
            self.complaints.append(str(values))

    def _until(self, is_it):
        deadline = time.monotonic() + ANSWER_SECONDS
        while True:
            message = self._message(deadline)
            self._note(message)
            if is_it(message):
                return message

    def call(self, method, **values):
        self._last += 1
        message = {"id": self._last, "method": method, "params": values}
        if self._session:
            message["sessionId"] = self._session
        data = json.dumps(message).encode() + b"\0"
        while data:
            data = data[os.write(self._write, data) :]
        answer = self._until(lambda message: message.get("id") == self._last)
        assert "error" not in answer, (method, answer["error"])
        return answer["result"]

    def view(self, width, height=900, scheme="light"):
        self.call(
            "Emulation.setDeviceMetricsOverride",
            width=width,
            height=height,
            deviceScaleFactor=1,
            mobile=False,
        )
        features = [{"name": "prefers-color-scheme", "value": scheme}]
        self.call("Emulation.setEmulatedMedia", media="", features=features)

    def open(self, path):
        self.requests.clear()
        self.refused.clear()
        self.complaints.clear()
        self.call("Page.navigate", url=f"file://{path}")
        self._until(lambda message: message.get("method") == "Page.loadEventFired")

    def ask(self, script):
        """The value of an expression in the page, which may be a promise."""
        answer = self.call(
            "Runtime.evaluate", expression=script, returnByValue=True, awaitPromise=True
        )
        assert "exceptionDetails" not in answer, answer["exceptionDetails"]
        return answer["result"].get("value")

    def picture(self):
        """All of the page as PNG, however long it is."""
        size = self.call("Page.getLayoutMetrics")["cssContentSize"]
        clip = {"x": 0, "y": 0, "width": size["width"], "height": size["height"], "scale": 1}
        answer = self.call("Page.captureScreenshot", captureBeyondViewport=True, clip=clip)
        return base64.b64decode(answer["data"])

    def printed(self):
        """The page as PDF, as its own rules have it."""
        answer = self.call("Page.printToPDF", preferCSSPageSize=True, printBackground=True)
        return base64.b64decode(answer["data"])

    def press(self, key, code):
        for kind in ("keyDown", "keyUp"):
            self.call("Input.dispatchKeyEvent", type=kind, key=key, code=key, windowsVirtualKeyCode=code)
