"""Chromium without a window, driven over its pipe: pages of any size and scheme, scripts in them, their pictures."""
import base64
import contextlib
import json
import os
import select
import shutil
import subprocess
import tempfile
import time

CHROMIUM = shutil.which("chromium") or shutil.which("chromium-browser") or shutil.which("google-chrome")


class Browser:
    """One page. `complaints` are the errors that its scripts and requests met."""

    def __init__(self, width=1280, height=900, scheme="light", touch=False):
        self.folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.complaints, self.number, self.rest, self.session = [], 0, b"", None
        commands, self.commands = os.pipe()
        self.answers, answers = os.pipe()

        def hand_over():  # its pipes are descriptors 3 and 4
            kept = [os.dup(commands), os.dup(answers)]
            high = [os.dup2(fd, 60 + fd) for fd in kept]
            os.dup2(high[0], 3)
            os.dup2(high[1], 4)

        self.process = subprocess.Popen(
            [CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-proxy-server",
             "--hide-scrollbars", "--remote-debugging-pipe", f"--user-data-dir={self.folder.name}", "about:blank"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, close_fds=False,
            preexec_fn=hand_over)
        os.close(commands)
        os.close(answers)
        target = next(each for each in self.call("Target.getTargets")["targetInfos"] if each["type"] == "page")
        self.session = self.call("Target.attachToTarget", targetId=target["targetId"], flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log"):
            self.call(f"{domain}.enable")
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=touch)
        self.call("Emulation.setTouchEmulationEnabled", enabled=touch)
        self.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])

    def __enter__(self):
        return self

    def __exit__(self, *_):
        with contextlib.suppress(OSError, subprocess.TimeoutExpired):
            self.session = None
            self.call("Browser.close")
            self.process.wait(20)
        self.process.kill()
        self.process.wait()
        os.close(self.commands)
        os.close(self.answers)
        self.folder.cleanup()

    def next_message(self):
        while b"\0" not in self.rest:
            if not select.select([self.answers], [], [], 60)[0]:
                raise TimeoutError("the browser says nothing")
            part = os.read(self.answers, 1 << 20)
            if not part:
                raise OSError("the browser has ended")
            self.rest += part
        message, _, self.rest = self.rest.partition(b"\0")
        return json.loads(message)

    def call(self, method, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.commands, json.dumps(message).encode() + b"\0")
        while (answer := self.next_message()).get("id") != self.number:
            if answer.get("method") in ("Runtime.exceptionThrown", "Log.entryAdded"):
                self.complaints.append(answer["params"])
        if "error" in answer:
            raise AssertionError((method, answer["error"]))
        return answer["result"]

    def run(self, script):
        """The value of an expression, awaited."""
        result = self.call("Runtime.evaluate", expression=script, returnByValue=True, awaitPromise=True)
        assert "exceptionDetails" not in result, (script, result["exceptionDetails"])
        return result["result"].get("value")

    def wait_for(self, condition):
        """Until the expression is true; a busy machine may take its time."""
        end = time.monotonic() + 60
        while not (value := self.run(f"Boolean({condition})")):
            assert time.monotonic() < end, condition
            time.sleep(0.05)
        return value

    def open(self, url, ready="true"):
        self.call("Page.navigate", url=url)
        self.wait_for(f"location.href === {json.dumps(url)} && document.readyState === 'complete' && ({ready})")

    def point(self, selector, kind="mouseMoved"):
        """Moves the mouse onto an element's middle, or taps there (kind "tap"). The place."""
        x, y = self.run(f"(at => (at.scrollIntoView({{block: 'center'}}), at = at.getBoundingClientRect(), [at.x + at.width / 2,"
                        f" at.y + at.height / 2]))(document.querySelector({json.dumps(selector)}))")
        if kind == "tap":
            self.call("Input.dispatchTouchEvent", type="touchStart", touchPoints=[{"x": x, "y": y}])
            self.call("Input.dispatchTouchEvent", type="touchEnd", touchPoints=[])
        else:
            self.call("Input.dispatchMouseEvent", type=kind, x=x, y=y)
        return x, y

    def press(self, key):
        for kind in ("rawKeyDown", "keyUp"):
            self.call("Input.dispatchKeyEvent", type=kind, key=key, code=key,
                      windowsVirtualKeyCode={"Tab": 9, "Escape": 27, "ArrowLeft": 37}[key])

    def picture(self, path, whole=False):
        with open(path, "wb") as file:
            file.write(base64.b64decode(self.call("Page.captureScreenshot", captureBeyondViewport=whole)["data"]))
