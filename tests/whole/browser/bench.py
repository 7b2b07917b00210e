"""What a case needs: a browser that all share, servers and tabs of its own."""
import io
import json
import re
import subprocess
import time

from chromium import Page
from server import Server

CASES = []


def case(function):
    """Marks a case; its name in the results is the function's."""
    CASES.append(function)
    return function


def equal(found, wanted, what=""):
    if found != wanted:
        raise AssertionError(f"{what or 'found'}: {found!r}, wanted {wanted!r}")


def holds(condition, what):
    if not condition:
        raise AssertionError(what)


class Bench:
    """Servers, tabs and a folder of one case."""

    def __init__(self, browser, folder):
        self.browser = browser
        self.folder = folder
        self.servers = []
        self.tabs = []
        self.expected = []  # patterns of what the console may say
        folder.mkdir(parents=True, exist_ok=True)

    def serve(self, description='[[board]]\ntype = "usb"\n', options=()):
        server = Server(self.folder / f"server{len(self.servers)}", description, options)
        self.servers.append(server)
        return server

    def tab(self, window=False) -> Page:
        """An empty tab."""
        tab = self.browser.open(window=window)
        tab.show(1600, 1000, dark=False)
        self.tabs.append(tab)
        return tab

    def open(self, server, window=False) -> Page:
        """A tab that shows the server's page and hears from it."""
        tab = self.tab(window)
        tab.go(server.url)
        tab.until("document.body.dataset.link === 'socket' && document.querySelector('#board').textContent !== '–' && document.querySelector('#frame-size').textContent !== '–'")
        return tab

    def live(self, server, window=False) -> Page:
        """The same with pictures."""
        tab = self.open(server, window)
        tab.until("Number(document.querySelector('#picture').dataset.frame) > 0")
        return tab

    def expect(self, pattern):
        """A line of the console that the case provokes."""
        self.expected.append(pattern)

    def check(self):
        for tab in self.tabs:
            wrong = [line for line in tab.problems if not any(re.search(pattern, line) for pattern in self.expected)]
            equal(wrong, [], "the console")

    def close(self):
        for tab in self.tabs:
            if tab.session in self.browser.pages:
                tab.close()
        for server in self.servers:
            if server.isRunning():
                server.stop()


def until(page, condition, what):
    """Handles the browser's events until a condition outside of it holds."""
    end = time.monotonic() + page.browser.limit
    while not condition():
        holds(time.monotonic() < end, f"never came: {what}")
        page.browser.turn(0.02)


def text(page, selector):
    return page.value(f"document.querySelector({json.dumps(selector)}).textContent")


def untilText(page, selector, wanted):
    """Until the element's text is what is wanted, or matches it when that begins with ^."""
    element = f"document.querySelector({json.dumps(selector)}).textContent"
    page.until(f"new RegExp({json.dumps(wanted)}, 'u').test({element})" if wanted.startswith("^") else f"{element} === {json.dumps(wanted)}")


def isOn(page, selector):
    return page.value(f"document.querySelector({json.dumps(selector)}).ariaChecked === 'true'")


def untilOn(page, selector, wanted=True):
    page.until(f"(document.querySelector({json.dumps(selector)}).ariaChecked === 'true') === {json.dumps(wanted)}")


def setField(page, selector, words):
    """Types into a field in the place of what is in it, and leaves it."""
    page.focus(selector)
    page.value(f"document.querySelector({json.dumps(selector)}).select()")
    page.type(words) if words else page.press("Delete")
    page.press("Tab")


def decodeJpeg(content):
    """Width, height and RGB bytes of a JPEG file, by another program."""
    pnm = io.BytesIO(subprocess.run(["jpegtopnm", "-quiet"], input=content, capture_output=True, check=True).stdout)
    kind, size, _ = pnm.readline(), pnm.readline(), pnm.readline()
    equal(kind.strip(), b"P6", "the JPEG file's kind")
    width, height = map(int, size.split())
    return width, height, pnm.read()


SHOWN = """(() => {
  const canvas = document.querySelector('#picture');
  const copy = new OffscreenCanvas(canvas.width, canvas.height).getContext('2d', {willReadFrequently: true});
  copy.drawImage(canvas, 0, 0);
  const {data} = copy.getImageData(0, 0, canvas.width, canvas.height);
  const points = [];
  for (let y = 3; y < canvas.height - 3; y += STEP) for (let x = 3; x < canvas.width - 3; x += STEP) {
    const at = (y * canvas.width + x) * 4;
    points.push([x, y, data[at], data[at + 1], data[at + 2]]);
  }
  return {frame: Number(canvas.dataset.frame), zoom: Number(canvas.dataset.zoom), left: Number(canvas.dataset.left),
          top: Number(canvas.dataset.top), width: canvas.width, height: canvas.height, points};
})()"""


def shown(page, step=7):
    """Pixels of the canvas, and which part of the picture it shows."""
    return page.value(SHOWN.replace("STEP", str(step)))
