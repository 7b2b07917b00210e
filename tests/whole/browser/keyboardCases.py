"""Every control by keyboard: reached, seen, named, used."""
import json

from bench import case, equal, holds, text, until, untilOn, untilText
from server import PARAMETERS, SENSOR

VISIBLE = """[...document.querySelectorAll('a[href], button, input, select, textarea, [tabindex="0"]')].filter((e) =>
  !e.disabled && e.tabIndex >= 0 && e.checkVisibility() && e.type !== 'file')"""


def describe(page):
    """The focused element: its place among the visible ones, whether its focus shows."""
    return page.value(f"""(() => {{
      const e = document.activeElement, style = getComputedStyle(e);
      return {{place: {VISIBLE}.indexOf(e), id: e.id || e.ariaLabel || e.tagName, ring: style.outlineStyle !== 'none' && parseFloat(style.outlineWidth) >= 2}};
    }})()""")


@case
def tabReachesEveryControlAndShowsIt(bench):
    server = bench.serve()
    server.setUp()
    page = bench.live(server)
    page.focus("#register-add-text")
    page.type("0x0100")
    page.press("Enter")
    page.until("document.querySelectorAll('#register-rows tr').length === 1 && !document.querySelector('#register-rows .value').value.includes(' ')")
    page.value("document.activeElement.blur(); document.body.tabIndex = -1; document.body.focus(); document.body.removeAttribute('tabindex')")
    count = page.value(f"{VISIBLE}.length")
    holds(count > 80, f"only {count} controls")
    reached = []
    for _ in range(count + 5):
        page.press("Tab")
        found = describe(page)
        if found["place"] < 0:
            break  # it has left the page
        holds(found["ring"], f"the focus on {found['id']} is not seen")
        reached.append(found["place"])
    equal(sorted(set(reached)), list(range(count)), "the controls that Tab reaches")
    equal(reached, sorted(reached), "their order is that of the page")


class Hand:
    """Uses controls by keys alone."""

    def __init__(self, page):
        self.page = page
        self.used = set()

    def to(self, name):
        # What was told before the last key may still change the page once.
        self.page.until(f"(() => {{ document.querySelector('#{name}').focus(); return document.activeElement.id === '{name}'; }})()")
        self.used.add(name)

    def press(self, name, condition, key="Enter"):
        """A key on a control, and what follows from it."""
        self.to(name)
        self.page.press(key)
        self.page.until(condition)

    def type(self, name, words, condition="true"):
        self.to(name)
        self.page.value("document.activeElement.select()")
        self.page.type(words)
        self.page.press("Tab")
        self.page.until(condition)

    def choose(self, name):
        """Another entry of a list."""
        self.to(name)
        before = self.page.value(f"document.querySelector('#{name}').value")
        self.page.press("ArrowDown")
        self.page.until(f"document.querySelector('#{name}').value !== {json.dumps(before)}")


def useSupplies(hand):
    hand.press("power-on", "document.querySelector('#v1').ariaChecked === 'true'")
    for name in ("v1", "v2", "clock"):
        hand.press(name, f"document.querySelector('#{name}').ariaChecked === 'false'", " ")
    hand.press("reset", "document.querySelector('#reset').ariaChecked === 'true'", " ")
    hand.press("power-off", "document.querySelector('#v2').ariaChecked === 'false'")
    hand.press("power-on", "document.querySelector('#v2').ariaChecked === 'true'")
    hand.page.focus("#line-out-0")
    hand.page.press(" ")
    untilOn(hand.page, "#line-out-0")
    hand.page.press("ArrowLeft")
    equal(hand.page.value("document.activeElement.id"), "line-out-1", "the focus")
    hand.page.press("Enter")
    untilText(hand.page, "#lines-out", "0x0003")


def useFiles(hand, folder):
    page = hand.page
    page.send("Page.setInterceptFileChooserDialog", enabled=True)
    chosen = []
    take = page.take
    page.take = lambda method, event: chosen.append(event) if method == "Page.fileChooserOpened" else take(method, event)
    for name, content, done in (("sensor.csv", SENSOR, "played"), ("capture.dat", PARAMETERS, "applied")):
        path = folder / name
        path.write_bytes(content)
        chosen.clear()
        hand.to("file-choose")
        page.press("Enter")
        page.browser.wait(lambda: chosen)
        page.send("DOM.setFileInputFiles", files=[str(path.resolve())], backendNodeId=chosen[0]["backendNodeId"])
        untilText(page, "#file-name", name)
        hand.to("file-content")
        hand.press("file-play", f"document.querySelector('#file-done').textContent === '{done}'")
        hand.press("file-close", "document.querySelector('#file').hidden")
    page.take = take


def useParameters(hand):
    hand.type("parameter-FRMSKP", "1", "document.querySelector('#parameter-changes').textContent === '1 not applied'")
    hand.press("parameters-revert", "document.querySelector('#parameter-changes').textContent === ''")
    hand.type("parameter-FRMDROP", "1", "document.querySelector('#parameter-changes').textContent === '1 not applied'")
    hand.press("parameters-apply", "document.querySelector('#parameter-changes').textContent === ''")
    hand.press("parameters-read", "document.querySelector('#parameter-FRMDROP').value === '1'")


def useRegisters(hand):
    page = hand.page
    hand.choose("register-target")
    page.press("ArrowUp")
    page.until("document.querySelector('#register-target').value === 'sensor'")
    hand.type("register-slave", "0x36")
    hand.to("register-mode")
    hand.type("register-add-text", "0x3000")
    hand.press("register-add", "document.querySelectorAll('#register-rows tr').length === 1 && document.querySelector('#register-rows .value').value === '0x00'")
    row = "document.querySelector('#register-rows tr')"
    for selector, key, condition in ((".watch input", " ", f"!{row}.querySelector('.watch input').checked"),
                                     (".watch input", " ", f"{row}.querySelector('.watch input').checked"),
                                     (".actions button:nth-child(1)", "Enter", f"{row}.querySelector('.value').value === '0x00'")):
        page.focus(f"#register-rows {selector}")
        page.press(key)
        page.until(condition)
    page.focus("#register-rows .note")
    page.type("test")
    page.focus("#register-rows .value")
    page.value("document.activeElement.select()")
    page.type("0x21")
    page.focus("#register-rows .actions button:nth-child(2)")
    page.press("Enter")
    page.until(f"{row}.querySelector('.value').value === '0x21' && !{row}.querySelector('.actions button:nth-child(3)').disabled")
    page.focus("#register-rows .actions button:nth-child(3)")
    page.press("Enter")
    page.until(f"{row}.querySelector('.value').value === '0x00'")
    page.focus("#register-rows .value")
    page.value("document.activeElement.select()")
    page.type("7")
    page.press("Enter")
    page.until(f"{row}.querySelector('.value').value === '0x07' && !{row}.querySelector('.is-changed')")
    hand.press("registers-undo", f"{row}.querySelector('.value').value === '0x00'")
    hand.press("registers-read", f"{row}.querySelector('.value').value === '0x00'")
    hand.choose("watch-every")
    hand.press("registers-watch", "document.querySelector('#registers-watch').ariaPressed === 'true'")
    hand.press("registers-watch", "document.querySelector('#registers-watch').ariaPressed === 'false'")
    hand.type("register-filter", "none", f"{row}.hidden")
    hand.to("register-filter")
    page.value("document.activeElement.select()")
    page.press("Delete")
    page.until(f"!{row}.hidden")
    page.focus("#register-rows .actions button:nth-child(4)")
    page.press("Enter")
    page.until("document.querySelectorAll('#register-rows tr').length === 0")


def useCapture(hand, folder):
    page = hand.page
    page.downloadsTo(folder.resolve())
    hand.press("one-shot", "Number(document.querySelector('#picture').dataset.frame) > 0")
    hand.press("run", "document.querySelector('#running').textContent === 'live'")
    hand.choose("snapshot-format")
    hand.to("snapshot")
    page.press("Enter")
    until(page, lambda: list(folder.glob("*.jpg")), "the snapshot")
    hand.choose("record-format")
    hand.choose("record-to")
    hand.type("record-frames", "3")
    hand.press("record", "document.querySelector('#record-result').textContent.startsWith('3 frames')")
    hand.type("record-frames", "99999")
    hand.press("record", "!document.querySelector('#record-stop').disabled")
    hand.press("record-stop", "document.querySelector('#record-stop').disabled")


def usePicture(hand):
    page = hand.page
    place = "document.querySelector('#pixel-place').textContent"
    zoom = "document.querySelector('#zoom').textContent"
    hand.press("picture", f"{place} !== '–'", "ArrowRight")
    for key, modifiers in (("ArrowDown", ""), ("ArrowLeft", "Shift"), ("ArrowUp", "Shift")):
        before = text(page, "#pixel-place")
        page.press(key, modifiers)
        page.until(f"{place} !== {json.dumps(before)}")
    hand.press("zoom-actual", f"{zoom} === '100 %'")
    hand.press("zoom-in", f"{zoom} === '200 %'")
    hand.press("zoom-out", f"{zoom} === '100 %'")
    left = page.value("document.querySelector('#picture').dataset.left")
    page.focus("#picture")
    page.press("ArrowRight", "Control")
    page.until(f"document.querySelector('#picture').dataset.left !== '{left}'")
    hand.press("zoom-fit", f"{zoom} !== '100 %'")
    hand.press("measure", "document.querySelector('#measure').ariaPressed === 'true'")
    hand.press("measure", "document.querySelector('#measure').ariaPressed === 'false'")
    page.focus("#picture")
    page.press("Enter")
    page.press("ArrowDown", "Shift")
    page.press("ArrowRight", "Shift")
    page.press("Enter")
    page.until("document.querySelector('#rectangle-width').value === '11' && document.querySelector('#rectangle-height').value === '11'")
    for name, words in (("x", "8"), ("y", "9"), ("width", "64"), ("height", "32")):
        hand.type(f"rectangle-{name}", words)
    untilText(page, "#measured", "64 × 32 at 8, 9")
    hand.press("rectangle-clear", "document.querySelector('#rectangle-width').value === ''")


def useRest(hand, folder):
    page = hand.page
    hand.press("logarithmic", "document.querySelector('#logarithmic').checked", " ")
    hand.press("sharpness-reset", "document.querySelector('#sharpness-best').textContent !== '–'")
    hand.type("trace-filter", "usb0", "document.querySelector('#trace').textContent.includes('usb0')")
    hand.to("trace")
    hand.to("trace-save")
    page.press("Enter")
    until(page, lambda: list(folder.glob("trace*.txt")), "the trace")
    hand.press("trace-pause", "document.querySelector('#trace-pause').checked", " ")
    hand.press("trace-clear", "document.querySelector('#trace').textContent === ''")
    hand.type("my-name", "Ada")
    hand.press("wheel-give", "document.querySelector('#wheel-word').textContent === 'Nobody drives'")
    hand.press("wheel-take", "document.querySelector('#wheel-word').textContent === 'You drive'")
    hand.press("help-open", "document.querySelector('#help').open")
    hand.press("single-keys", "!document.querySelector('#single-keys').checked", " ")
    hand.press("single-keys", "document.querySelector('#single-keys').checked", " ")
    hand.press("help-close", "!document.querySelector('#help').open")
    hand.press("off", "document.querySelector('#running').textContent === 'stopped'")
    untilOn(page, "#v1", False)


# Used in cases of their own: they show only with another tab, or without a token.
ELSEWHERE = {"wheel-ask", "asked-give", "asked-keep", "token", "file-input"}


@case
def everyControlServesByKeyboard(bench):
    server = bench.serve()
    page = bench.open(server)
    hand = Hand(page)
    folder = bench.folder / "downloads"
    folder.mkdir()
    useSupplies(hand)
    useFiles(hand, bench.folder)
    useParameters(hand)
    useRegisters(hand)
    useCapture(hand, folder)
    usePicture(hand)
    useRest(hand, folder)
    named = page.value("[...document.querySelectorAll('button[id], input[id], select[id], textarea[id], [tabindex=\"0\"][id]')].map((e) => e.id)")
    rows = ("line-out-", "parameter-")
    equal(sorted(name for name in set(named) - hand.used - ELSEWHERE if not name.startswith(rows)), [], "controls that nothing used")


@case
def wheelIsAskedForAndGivenByKeyboard(bench):
    server = bench.serve()
    first, second = (bench.open(server, window=True) for _ in range(2))
    Hand(first).press("wheel-take", "document.querySelector('#wheel-word').textContent === 'You drive'")
    second.until("!document.querySelector('#wheel-ask').hidden")
    Hand(second).press("wheel-ask", "document.querySelector('#announcement').textContent.includes('asked')")
    first.until("!document.querySelector('#asked').hidden")
    Hand(first).press("asked-keep", "document.querySelector('#asked').hidden")
    Hand(first).press("wheel-give", "document.querySelector('#wheel-word').textContent !== 'You drive'")
    untilText(second, "#wheel-word", "You drive")


@case
def shortcutsServe(bench):
    server = bench.serve()
    server.setUp(running=False)
    page = bench.open(server)
    page.press("o")
    page.until("Number(document.querySelector('#picture').dataset.frame) > 0")
    page.press("s")
    untilText(page, "#running", "live")
    page.press("1")
    untilText(page, "#zoom", "100 %")
    page.press("+")
    untilText(page, "#zoom", "200 %")
    page.press("-")
    untilText(page, "#zoom", "100 %")
    page.press("m")
    page.until("document.querySelector('#measure').ariaPressed === 'true'")
    page.press("Escape")
    page.until("document.querySelector('#measure').ariaPressed === 'false'")
    page.press("?", "Shift")
    page.until("document.querySelector('#help').open")
    page.press("Escape")
    page.until("!document.querySelector('#help').open")
    page.focus("#register-filter")
    page.type("s1")  # letters in a field are letters
    equal(page.value("document.querySelector('#register-filter').value"), "s1", "the field")
    equal(text(page, "#running"), "live", "the capture")
    page.press("Escape", "Shift")
    untilText(page, "#running", "stopped")
    untilOn(page, "#v1", False)
    page.value("document.activeElement.blur()")
    page.value("document.querySelector('#single-keys').click()")
    page.press("f")
    untilText(page, "#zoom", "100 %")


@case
def skipLinkLeadsToThePicture(bench):
    server = bench.serve()
    page = bench.open(server)
    page.press("Tab")
    equal(text(page, ":focus"), "Skip to the picture", "the first stop")
    page.press("Enter")
    page.until("document.activeElement.id === 'picture'")
