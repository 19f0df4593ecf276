"""Drives Debian's chromium, headless, over its debugging pipe. Needs nothing but Python."""

import base64
import json
import os
import shutil
import signal
import subprocess
import tempfile

CHROMIUM = "chromium"


def is_installed():
    return shutil.which(CHROMIUM) is not None


class Browser:
    """A browser with one page. Its profile is a temporary directory."""

    def __init__(self):
        self._profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        # It reads commands from descriptor 3 and writes answers to descriptor 4.
        command_read, self._commands = os.pipe()
        self._answers, answer_write = os.pipe()
        self._process = subprocess.Popen(
            ["bash", "-c", f"exec 3<&{command_read} 4>&{answer_write}; exec \"$@\"", "bash",
             CHROMIUM, "--headless=new", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
             "--disable-dev-shm-usage", "--no-first-run", "--remote-debugging-pipe",
             f"--user-data-dir={self._profile.name}"],
            pass_fds=(command_read, answer_write), start_new_session=True,
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(command_read)
        os.close(answer_write)
        self._buffer = b""
        self._last_id = 0
        self._session = None
        self.problems = []
        self._attach()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        # The session that this object began: the browser and its helpers.
        os.killpg(self._process.pid, signal.SIGKILL)
        self._process.wait()
        os.close(self._commands)
        os.close(self._answers)
        self._profile.cleanup()

    def _attach(self):
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self._session = self.call("Target.attachToTarget", targetId=target,
                                  flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(f"{domain}.enable")

    def _read_message(self):
        while b"\0" not in self._buffer:
            part = os.read(self._answers, 1 << 16)
            if not part:
                raise RuntimeError("the browser has ended")
            self._buffer += part
        message, self._buffer = self._buffer.split(b"\0", 1)
        return json.loads(message)

    def _note(self, message):
        """Keeps what a page should not do: fail, complain, or ask for something."""
        method, params = message.get("method"), message.get("params", {})
        if method == "Runtime.exceptionThrown":
            self.problems.append(json.dumps(params["exceptionDetails"])[:1000])
        elif method == "Log.entryAdded" and params["entry"]["level"] in ("error", "warning"):
            self.problems.append(params["entry"]["text"])
        elif method == "Network.requestWillBeSent":
            url = params["request"]["url"]
            if not url.startswith(("file:", "about:", "data:")):
                self.problems.append(f"request of {url}")

    def call(self, method, **params):
        """Calls a method of the protocol and returns its result."""
        self._last_id += 1
        message = {"id": self._last_id, "method": method, "params": params}
        if self._session:
            message["sessionId"] = self._session
        os.write(self._commands, json.dumps(message).encode() + b"\0")
        while True:
            answer = self._read_message()
            self._note(answer)
            if answer.get("id") != self._last_id:
                continue
            if "error" in answer:
                raise RuntimeError(f"{method}: {answer['error']}")
            return answer["result"]

    def open(self, path, width=1280, height=900, is_dark=False):
        """Shows a file and waits until it is loaded."""
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height,
                  deviceScaleFactor=1, mobile=width < 600)
        self.call("Emulation.setEmulatedMedia", features=[
            {"name": "prefers-color-scheme", "value": "dark" if is_dark else "light"}])
        self.call("Page.navigate", url=f"file://{os.path.abspath(path)}")
        self.evaluate("new Promise(done => document.readyState === 'complete' ? done() :"
                      " addEventListener('load', done))")

    def evaluate(self, expression):
        """The value of an expression of JavaScript, after a promise is kept."""
        result = self.call("Runtime.evaluate", expression=expression, returnByValue=True,
                           awaitPromise=True)
        if "exceptionDetails" in result:
            raise RuntimeError(f"{expression}: {json.dumps(result['exceptionDetails'])}")
        return result["result"].get("value")

    def move(self, x, y):
        self.call("Input.dispatchMouseEvent", type="mouseMoved", x=x, y=y)

    def click(self, x, y):
        self.move(x, y)
        for kind in ("mousePressed", "mouseReleased"):
            self.call("Input.dispatchMouseEvent", type=kind, x=x, y=y, button="left", clickCount=1)

    def screenshot(self, path, x=0, y=0, width=None, height=None):
        """Writes the whole page, or a part of it, as PNG."""
        size = self.call("Page.getLayoutMetrics")["cssContentSize"]
        clip = {"x": x, "y": y, "width": width or size["width"],
                "height": height or size["height"] - y, "scale": 1}
        shot = self.call("Page.captureScreenshot", clip=clip, captureBeyondViewport=True)
        with open(path, "wb") as file:
            file.write(base64.b64decode(shot["data"]))

    def print(self, path):
        """Writes the page as it is printed, as PDF."""
        with open(path, "wb") as file:
            file.write(base64.b64decode(self.call("Page.printToPDF")["data"]))
