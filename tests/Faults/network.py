"""A development portal, and a proxy before it that spoils its replies."""

import contextlib
import re
import socket
import subprocess
import sys
import threading
import time

from device import ROOT


class Proxy(threading.Thread):
    """Stands before the portal and spoils its replies at the byte `at` of a walk, once or from there on."""

    def __init__(self, port, how=None, at=0, always=False):
        super().__init__(daemon=True)
        self.port, self.how, self.at, self.always = port, how, at, always
        self.passed, self.lock = 0, threading.Lock()
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.url = f"http://127.0.0.1:{self.listener.getsockname()[1]}/app"
        self.start()

    def run(self):
        while True:
            try:
                near, _ = self.listener.accept()
                far = socket.create_connection(("127.0.0.1", self.port))
            except OSError:
                return
            threading.Thread(target=self.pump, args=(near, far, None), daemon=True).start()
            threading.Thread(target=self.pump, args=(far, near, self.spoil), daemon=True).start()

    def stop(self):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()

    def pump(self, source, target, change):
        try:
            while data := source.recv(65536):
                data, ends = change(data) if change else (data, False)
                target.sendall(data)
                if ends:
                    break
        except OSError:
            pass
        for each in (source, target):
            with contextlib.suppress(OSError):
                each.shutdown(socket.SHUT_RDWR)

    def spoil(self, data):
        with self.lock:
            begin, self.passed = self.passed, self.passed + len(data)
            due = self.how and (begin <= self.at < self.passed or (self.always and begin >= self.at))
        if not due:
            return data, False
        cut = max(0, self.at - begin)
        if self.how == "cut":
            return data[:cut], True
        if self.how == "garble":
            return data[:cut] + bytes([data[cut] ^ 0x2A]) + data[cut + 1:], False
        if self.how == "junk":
            return data[:cut] + b"\xff\x00\x1b" * 30000 + data[cut:], False
        time.sleep(1)
        return data, False


@contextlib.contextmanager
def portal(command, before=()):
    """A development portal of its own; its port."""
    process = subprocess.Popen([*before, command, "portal", ROOT / "examples/portal", "--port", "0"], stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    try:
        for line in process.stderr:
            if found := re.search(r"http://127\.0\.0\.1:(\d+)", line):
                threading.Thread(target=process.stderr.read, daemon=True).start()
                yield int(found[1])
                return
        sys.exit("walks: the portal does not start")
    finally:
        process.terminate()
        process.wait()
