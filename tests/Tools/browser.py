"""Chromium without a screen, driven over its debugging pipe."""

import base64
import json
import os
import subprocess
import tempfile


class Browser:
    """One browser with one page. A context manager."""

    def __enter__(self):
        self._folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        to_read, self._to = os.pipe()
        self._from, to_write = os.pipe()
        # The browser reads commands from descriptor 3 and writes to 4.
        self._process = subprocess.Popen(
            ["sh", "-c", f'exec "$@" 3<&{to_read} 4>&{to_write}', "sh",
             "chromium", "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
             "--disable-background-networking", "--disable-component-update", "--disable-sync",
             "--remote-debugging-pipe", "--user-data-dir=" + self._folder.name],
            pass_fds=(to_read, to_write), stderr=subprocess.DEVNULL)
        os.close(to_read)
        os.close(to_write)
        self._number = 0
        self._unread = b""
        self.events = []
        self._session = None
        target = self.send("Target.createTarget", url="about:blank")["targetId"]
        self._session = self.send("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log"):
            self.send(domain + ".enable")
        return self

    def __exit__(self, *_):
        self._process.kill()
        self._process.wait()
        os.close(self._to)
        os.close(self._from)
        self._folder.cleanup()

    def _read(self):
        while b"\0" not in self._unread:
            part = os.read(self._from, 1 << 16)
            if not part:
                raise RuntimeError("the browser has ended")
            self._unread += part
        message, self._unread = self._unread.split(b"\0", 1)
        return json.loads(message)

    def send(self, method, **parameters):
        """Sends a command and returns its result; what happens meanwhile goes to `events`."""
        self._number += 1
        command = {"id": self._number, "method": method, "params": parameters}
        if self._session:
            command["sessionId"] = self._session
        os.write(self._to, json.dumps(command).encode() + b"\0")
        while True:
            message = self._read()
            if message.get("id") == self._number:
                if "error" in message:
                    raise RuntimeError(f"{method}: {message['error']}")
                return message["result"]
            self.events.append(message)

    def open(self, address, width=1400, height=900, dark=False):
        """Shows a page in a window of this size, to the end of its loading."""
        self.send("Emulation.setDeviceMetricsOverride", width=width, height=height,
                  deviceScaleFactor=1, mobile=False)
        self.send("Emulation.setEmulatedMedia", features=[
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}])
        self.send("Page.navigate", url="about:blank")
        self.events.clear()
        self.send("Page.navigate", url=address)
        while not any(event.get("method") == "Page.loadEventFired" for event in self.events):
            self.events.append(self._read())
        self.settle()

    def settle(self):
        """Waits until the page has been drawn some times."""
        self.value("new Promise((done) => { let left = 12; const next = () => "
                   "left-- ? requestAnimationFrame(next) : done(); next(); })")

    def value(self, expression):
        """What a script's expression gives; a promise is waited for."""
        result = self.send("Runtime.evaluate", expression=expression, awaitPromise=True,
                           returnByValue=True)
        if "exceptionDetails" in result:
            raise RuntimeError(f"{expression}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def point(self, x, y, click=False):
        """Moves the pointer, and presses its button."""
        for kind in ["mouseMoved"] + (["mousePressed", "mouseReleased"] if click else []):
            self.send("Input.dispatchMouseEvent", type=kind, x=x, y=y, clickCount=int(click),
                      button="left" if kind != "mouseMoved" else "none")

    def key(self, key):
        """Presses and releases a key, as "Enter"."""
        codes = {"Enter": 13, "Escape": 27, "ArrowDown": 40, "ArrowUp": 38}
        for kind in ("rawKeyDown", "keyUp"):
            self.send("Input.dispatchKeyEvent", type=kind, key=key, code=key,
                      windowsVirtualKeyCode=codes[key])

    def picture(self, file):
        with open(file, "wb") as out:
            out.write(base64.b64decode(self.send("Page.captureScreenshot")["data"]))
