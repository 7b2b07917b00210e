"""Drives a headless Chromium over its debugging pipe, with the standard library alone.

    with Chromium(folder) as browser:
        page = browser.open("http://127.0.0.1:8080/")
        page.until("document.querySelector('h1') !== null")
        page.click("#go")
        page.screenshot(folder / "page.png")
        assert not page.problems

A wait ends when its condition holds; the limits only end tests that hang.
"""
import base64
import fcntl
import json
import os
import select
import shutil
import signal
import tempfile
import time
from pathlib import Path

LIMIT = 60  # seconds until something counts as hanging

SWITCHES = [
    "--headless=new", "--remote-debugging-pipe", "--no-first-run", "--no-default-browser-check", "--disable-gpu",
    "--disable-extensions", "--disable-component-update", "--disable-background-networking", "--disable-sync",
    "--disable-dev-shm-usage", "--disable-features=Translate,OptimizationHints,MediaRouter,DialMediaRouteProvider",
    "--disable-breakpad", "--no-service-autorun", "--password-store=basic", "--mute-audio", "--hide-scrollbars",
    "--font-render-hinting=none", "--force-color-profile=srgb", "--force-device-scale-factor=1",
    "--window-size=1280,900", "--no-proxy-server",
]

# Keys that are no characters: their code, and their number.
KEYS = {
    "Enter": ("Enter", 13), "Tab": ("Tab", 9), "Escape": ("Escape", 27), "Backspace": ("Backspace", 8),
    "Delete": ("Delete", 46), "ArrowLeft": ("ArrowLeft", 37), "ArrowUp": ("ArrowUp", 38),
    "ArrowRight": ("ArrowRight", 39), "ArrowDown": ("ArrowDown", 40), "Home": ("Home", 36), "End": ("End", 35),
    "PageUp": ("PageUp", 33), "PageDown": ("PageDown", 34), "F6": ("F6", 117),
}
MODIFIERS = {"Alt": 1, "Control": 2, "Shift": 8}


class BrowserError(Exception):
    """The browser refused a command, went away, or the page threw."""


class Hanging(BrowserError):
    """What was waited for did not come within the limit."""


def _pipe():
    """A pipe above the numbers that the browser's own ends get."""
    ends = []
    for end in os.pipe():
        ends.append(fcntl.fcntl(end, fcntl.F_DUPFD_CLOEXEC, 10))
        os.close(end)
    return ends


class Chromium:
    """A browser with a profile of its own, which goes with it. Its errors go to folder/chromium.log."""

    def __init__(self, folder, switches=(), limit=LIMIT):
        self.limit = limit
        self.pages = {}
        self._profile = tempfile.mkdtemp(prefix="profile-", dir=folder)
        self._number = 0
        self._answers = {}
        self._rest = b""
        self._ended = False
        arguments = ["chromium", *SWITCHES, *switches, f"--user-data-dir={self._profile}"]
        if os.geteuid() == 0:
            arguments.append("--no-sandbox")
        commands, self._out = _pipe()
        self._in, events = _pipe()
        log = str(Path(folder) / "chromium.log")
        redirections = [
            (os.POSIX_SPAWN_OPEN, 0, "/dev/null", os.O_RDONLY, 0),
            (os.POSIX_SPAWN_OPEN, 1, log, os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o644),
            (os.POSIX_SPAWN_DUP2, 1, 2),
            (os.POSIX_SPAWN_DUP2, commands, 3),
            (os.POSIX_SPAWN_DUP2, events, 4),
        ]
        environment = {**os.environ, "HOME": self._profile, "XDG_CONFIG_HOME": self._profile,
                       "XDG_CACHE_HOME": self._profile, "LANGUAGE": "en", "LC_ALL": "C.UTF-8"}
        self._process = os.posix_spawnp("chromium", arguments, environment, file_actions=redirections, setpgroup=0)
        os.close(commands)
        os.close(events)
        self.send("Target.setDiscoverTargets", discover=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        """Ends the browser with all its processes, and removes its profile."""
        if self._process:
            try:
                self.send("Browser.close", limit=10)
                self._pump(lambda: self._ended, 10)
            except BrowserError:
                pass
            self.kill()
        for end in (self._out, self._in):
            os.close(end)
        self._out = self._in = -1
        shutil.rmtree(self._profile, ignore_errors=True)

    def kill(self):
        """Ends it at once, as a crash would."""
        if not self._process:
            return
        try:
            os.killpg(self._process, signal.SIGKILL)
        except ProcessLookupError:
            pass
        os.waitpid(self._process, 0)
        self._process = 0

    def open(self, url="about:blank", background=False, window=False):
        """A new tab; in front unless background, in a window of its own with window."""
        target = self.send("Target.createTarget", url="about:blank", background=background, newWindow=window)["targetId"]
        session = self.send("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        page = Page(self, target, session)
        self.pages[session] = page
        for domain in ("Page", "Runtime", "Log", "Network"):
            page.send(f"{domain}.enable")
        if url != "about:blank":
            page.go(url)
        return page

    def send(self, method, limit=None, session=None, **parameters):
        """A command, and its result. Events that come meanwhile are handled."""
        self._number += 1
        number = self._number
        message = {"id": number, "method": method, "params": parameters}
        if session:
            message["sessionId"] = session
        self._write(json.dumps(message).encode() + b"\0")
        if not self._pump(lambda: number in self._answers, limit or self.limit):
            raise Hanging(f"{method} was not answered")
        answer = self._answers.pop(number)
        if "error" in answer:
            raise BrowserError(f"{method}: {answer['error'].get('message')}")
        return answer["result"]

    def wait(self, condition, limit=None):
        """Handles events until the condition holds."""
        if not self._pump(condition, limit or self.limit):
            raise Hanging("what was waited for did not come")

    def turn(self, seconds):
        """Handles what comes within the time, and returns with the first message."""
        self._read(seconds)

    def _write(self, message):
        while message:
            try:
                message = message[os.write(self._out, message):]
            except BrokenPipeError:
                raise BrowserError("the browser has ended") from None

    def _pump(self, condition, limit):
        end = time.monotonic() + limit
        while not condition():
            left = end - time.monotonic()
            if left <= 0:
                return False
            if self._ended:
                raise BrowserError("the browser has ended")
            self._read(left)
        return True

    def _read(self, seconds):
        if self._ended or not select.select([self._in], [], [], seconds)[0]:
            return
        some = os.read(self._in, 1 << 20)
        self._ended = not some
        *messages, self._rest = (self._rest + some).split(b"\0")
        for message in messages:
            self._take(json.loads(message))

    def _take(self, message):
        if "id" in message:
            self._answers[message["id"]] = message
            return
        page = self.pages.get(message.get("sessionId"))
        if page:
            page.take(message["method"], message["params"])


class Page:
    """A tab. problems holds what went wrong in it: errors on the console, exceptions, violations of the policy."""

    def __init__(self, browser, target, session):
        self.browser = browser
        self.target = target
        self.session = session
        self.problems = []
        self.requests = []  # method and URL of each request
        self.loads = 0

    def send(self, method, limit=None, **parameters):
        return self.browser.send(method, limit=limit, session=self.session, **parameters)

    def take(self, method, event):
        """An event of this tab."""
        if method == "Page.loadEventFired":
            self.loads += 1
        elif method == "Network.requestWillBeSent":
            self.requests.append(f"{event['request']['method']} {event['request']['url']}")
        elif method == "Runtime.exceptionThrown":
            details = event["exceptionDetails"]
            self.problems.append(details.get("exception", {}).get("description") or details["text"])
        elif method == "Runtime.consoleAPICalled" and event["type"] in ("error", "warning", "assert"):
            self.problems.append(" ".join(str(a.get("value", a.get("description"))) for a in event["args"]))
        elif method == "Log.entryAdded" and event["entry"]["level"] in ("error", "warning"):
            self.problems.append(f"{event['entry']['text']} {event['entry'].get('url', '')}")
        elif method == "Page.javascriptDialogOpening":
            self.problems.append(f"dialog: {event['message']}")

    def go(self, url):
        """Goes to the URL and waits until the page has loaded."""
        before = self.loads
        answer = self.send("Page.navigate", url=url)
        if answer.get("errorText"):
            raise BrowserError(f"{url}: {answer['errorText']}")
        if answer.get("loaderId"):  # none when only the fragment changes
            self.browser.wait(lambda: self.loads > before)

    def reload(self):
        before = self.loads
        self.send("Page.reload")
        self.browser.wait(lambda: self.loads > before)

    def close(self):
        """Closes the tab."""
        self.browser.send("Target.closeTarget", targetId=self.target)
        self.browser.pages.pop(self.session, None)

    def front(self):
        """Puts the tab before the other ones of its window, which are hidden then."""
        self.browser.send("Target.activateTarget", targetId=self.target)

    def value(self, expression, limit=None):
        """What an expression gives; a promise is awaited."""
        answer = self.send("Runtime.evaluate", limit=limit, expression=expression, returnByValue=True, awaitPromise=True,
                           userGesture=True)
        if "exceptionDetails" in answer:
            details = answer["exceptionDetails"]
            raise BrowserError(details.get("exception", {}).get("description") or details["text"])
        return answer["result"].get("value")

    def until(self, expression, limit=None):
        """Asks until the expression is true, and gives its value back."""
        end = time.monotonic() + (limit or self.browser.limit)
        while True:
            value = self.value(expression)
            if value:
                return value
            if time.monotonic() > end:
                raise Hanging(f"never true: {expression}")
            self.browser.turn(0.02)

    def show(self, width, height, dark=None, mobile=False, scale=1, media=""):
        """Size and colour scheme of the view; media "print" for the layout on paper."""
        self.send("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=scale, mobile=mobile)
        features = [{"name": "prefers-reduced-motion", "value": "reduce"}]
        if dark is not None:
            features.append({"name": "prefers-color-scheme", "value": "dark" if dark else "light"})
        self.send("Emulation.setEmulatedMedia", media=media, features=features)

    def screenshot(self, path, whole=False):
        """A PNG of the view, or of the whole page."""
        picture = self.send("Page.captureScreenshot", format="png", captureBeyondViewport=whole)
        Path(path).write_bytes(base64.b64decode(picture["data"]))

    def pdf(self, path, **options):
        """The page as it prints, on A4 unless options say otherwise."""
        options = {"paperWidth": 8.27, "paperHeight": 11.69, "printBackground": True, "preferCSSPageSize": True, **options}
        Path(path).write_bytes(base64.b64decode(self.send("Page.printToPDF", **options)["data"]))

    def centre(self, selector):
        """Brings an element into view and tells where its middle is."""
        return self.value(f"""(() => {{
          const element = document.querySelector({json.dumps(selector)});
          if (!element) throw new Error('no element ' + {json.dumps(selector)});
          element.scrollIntoView({{block: 'center', inline: 'center', behavior: 'instant'}});
          const box = element.getBoundingClientRect();
          return [box.x + box.width / 2, box.y + box.height / 2];
        }})()""")

    def mouse(self, kind, x, y, button="none", **more):
        """kind: mousePressed, mouseReleased, mouseMoved or mouseWheel."""
        self.send("Input.dispatchMouseEvent", type=kind, x=x, y=y, button=button, **more)

    def click(self, selector):
        x, y = self.centre(selector)
        self.mouse("mouseMoved", x, y)
        self.mouse("mousePressed", x, y, "left", buttons=1, clickCount=1)
        self.mouse("mouseReleased", x, y, "left", clickCount=1)

    def drag(self, x, y, toX, toY, modifiers=""):
        """From one point of the view to another with the left button."""
        bits = sum(MODIFIERS[word] for word in modifiers.split())
        self.mouse("mouseMoved", x, y, modifiers=bits)
        self.mouse("mousePressed", x, y, "left", buttons=1, clickCount=1, modifiers=bits)
        self.mouse("mouseMoved", (x + toX) / 2, (y + toY) / 2, "left", buttons=1, modifiers=bits)
        self.mouse("mouseMoved", toX, toY, "left", buttons=1, modifiers=bits)
        self.mouse("mouseReleased", toX, toY, "left", clickCount=1, modifiers=bits)

    def focus(self, selector):
        self.value(f"document.querySelector({json.dumps(selector)}).focus()")

    def press(self, key, modifiers=""):
        """A key by its name ("Enter", "Tab", "ArrowLeft", "a"), with "Shift", "Control" or "Alt" held."""
        bits = sum(MODIFIERS[word] for word in modifiers.split())
        if key in KEYS:
            code, number = KEYS[key]
            text = "\r" if key == "Enter" else ""
        else:
            code, number, text = "Space" if key == " " else "", ord(key.upper()), key
        if bits & ~MODIFIERS["Shift"]:
            text = ""
        common = {"key": key, "code": code, "windowsVirtualKeyCode": number, "nativeVirtualKeyCode": number, "modifiers": bits}
        self.send("Input.dispatchKeyEvent", type="keyDown" if text else "rawKeyDown", text=text, **common)
        self.send("Input.dispatchKeyEvent", type="keyUp", **common)

    def type(self, text):
        """Characters into what has the focus."""
        for character in text:
            self.press(character)

    def chooseFiles(self, selector, paths):
        """What the dialog of a file field would give."""
        root = self.send("DOM.getDocument")["root"]["nodeId"]
        node = self.send("DOM.querySelector", nodeId=root, selector=selector)["nodeId"]
        self.send("DOM.setFileInputFiles", nodeId=node, files=[str(path) for path in paths])

    def dropFiles(self, selector, paths):
        """Lets files fall onto an element, as from the desktop."""
        x, y = self.centre(selector)
        data = {"items": [], "files": [str(path) for path in paths], "dragOperationsMask": 1}
        for kind in ("dragEnter", "dragOver", "drop"):
            self.send("Input.dispatchDragEvent", type=kind, x=x, y=y, data=data)

    def downloadsTo(self, folder):
        """What the page lets people save goes there."""
        self.browser.send("Browser.setDownloadBehavior", behavior="allow", downloadPath=str(folder), eventsEnabled=True)
