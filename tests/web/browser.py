"""Headless Chromium, driven over its debugging pipe: one page, and what it did wrong."""

import base64
import json
import os
import shutil
import subprocess
import tempfile

PATIENCE_MS = 60_000


class Browser:
    """Started with the object, ended by close(). One page; every wait has a bound."""

    def __init__(self):
        self.folder = tempfile.mkdtemp()
        commands_read, self.commands = os.pipe()
        self.answers, answers_write = os.pipe()
        self.process = subprocess.Popen(
            ["sh", "-c", f"exec 3<&{commands_read} 4>&{answers_write}; exec chromium \"$@\"", "sh",
             "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
             "--no-first-run", "--disable-background-networking", "--hide-scrollbars",
             f"--user-data-dir={self.folder}", "--remote-debugging-pipe", "about:blank"],
            pass_fds=(commands_read, answers_write), stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, env={**os.environ, "HOME": self.folder})
        os.close(commands_read)
        os.close(answers_write)
        self.buffer = b""
        self.number = 0
        self.session = None
        self.faults = []    # console errors, refused resources, exceptions
        self.requests = []  # every address that the page asked for
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(domain + ".enable")

    def call(self, method, **arguments):
        self.number += 1
        message = {"id": self.number, "method": method, "params": arguments}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.commands, json.dumps(message).encode() + b"\0")
        while True:
            reply = self.read()
            if reply.get("id") == self.number:
                if "error" in reply:
                    raise RuntimeError(f"{method}: {reply['error']}")
                return reply["result"]
            self.note(reply)

    def read(self):
        while b"\0" not in self.buffer:
            more = os.read(self.answers, 1 << 16)
            if not more:
                raise RuntimeError("the browser has ended")
            self.buffer += more
        message, self.buffer = self.buffer.split(b"\0", 1)
        return json.loads(message)

    def note(self, event):
        params = event.get("params", {})
        if event["method"] == "Log.entryAdded" and params["entry"]["level"] in ("error", "warning"):
            self.faults.append(params["entry"]["text"] + " " + params["entry"].get("url", ""))
        elif event["method"] == "Runtime.exceptionThrown":
            self.faults.append(json.dumps(params["exceptionDetails"]))
        elif event["method"] == "Network.requestWillBeSent":
            self.requests.append(params["request"]["url"])

    def value(self, expression):
        """What the expression, or the promise that it is, comes to in the page."""
        result = self.call("Runtime.evaluate", expression=expression, awaitPromise=True,
                           returnByValue=True)
        if "exceptionDetails" in result:
            raise RuntimeError(f"{expression}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def wait(self, condition):
        """Until the expression is true in the page; looks whenever the page may have changed."""
        seen = self.value(f"""new Promise((done) => {{
            const end = Date.now() + {PATIENCE_MS};
            const look = () => {{
                if ({condition}) return done(true);
                if (Date.now() > end) return done(false);
                requestAnimationFrame(look);
            }};
            look();
        }})""")
        if not seen:
            raise AssertionError(f"does not come true: {condition}")

    def size(self, width, height, phone=False):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height,
                  deviceScaleFactor=1, mobile=phone)

    def scheme(self, name):
        self.call("Emulation.setEmulatedMedia",
                  features=[{"name": "prefers-color-scheme", "value": name},
                            {"name": "prefers-reduced-motion", "value": "reduce"}])

    def key(self, key, code=0, text=""):
        for kind in ("keyDown", "keyUp"):
            self.call("Input.dispatchKeyEvent", type=kind, key=key, code=key, text=text,
                      windowsVirtualKeyCode=code)

    def type(self, text):
        self.call("Input.insertText", text=text)

    def screenshot(self, path):
        data = self.call("Page.captureScreenshot", format="png", captureBeyondViewport=False)["data"]
        with open(path, "wb") as file:
            file.write(base64.b64decode(data))

    def close(self):
        self.session = None
        try:
            self.call("Browser.close")
        except (RuntimeError, OSError):
            pass
        self.process.wait()
        os.close(self.commands)
        os.close(self.answers)
        shutil.rmtree(self.folder, ignore_errors=True)
