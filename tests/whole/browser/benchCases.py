"""Supplies, lines, captures, snapshots, recordings, and the way out."""
import io
import zipfile

from bench import case, decodeJpeg, equal, holds, isOn, setField, text, until, untilOn, untilText


def downloaded(bench, page, action, name):
    """The bytes of a file that the page saves."""
    folder = bench.folder / "downloads"
    folder.mkdir(exist_ok=True)
    page.downloadsTo(folder.resolve())
    action()
    found = []

    def isThere():
        found[:] = [path for path in folder.glob(name) if path.stat().st_size > 0]
        return bool(found) and not list(folder.glob("*.crdownload"))

    until(page, isThere, f"a file {name}")
    content = found[0].read_bytes()
    found[0].unlink()
    return content


@case
def suppliesAreSwitchedAndShown(bench):
    server = bench.serve()
    page = bench.open(server)
    equal([isOn(page, name) for name in ("#v1", "#v2", "#clock", "#reset")], [False, False, False, True], "supplies at first")
    for name in ("v1", "v2", "clock"):
        page.click(f"#{name}")
        untilOn(page, f"#{name}")
        holds(server.state()["supplies"][name]["on"], f"{name} is on")
    page.click("#reset")
    untilOn(page, "#reset", False)
    equal(text(page, "#reset-word"), "released", "reset")
    equal(server.state()["supplies"]["reset"], False, "reset")
    page.click("#v2")
    untilOn(page, "#v2", False)
    equal(server.state()["supplies"]["v2"]["on"], False, "V2")
    page.click("#power-off")
    for name, wanted in (("#v1", False), ("#clock", False), ("#reset", True)):
        untilOn(page, name, wanted)


@case
def whatOthersSwitchIsShown(bench):
    server = bench.serve()
    page = bench.open(server)
    server.call("POST", "power", {"state": "on"})
    untilOn(page, "#clock")
    server.call("PUT", "lines", {"out": 0x8001})
    untilOn(page, "#line-out-15")
    untilText(page, "#lines-out", "0x8001")


@case
def linesAreSetOneByOne(bench):
    server = bench.serve()
    page = bench.open(server)
    for line, wanted in ((0, 0x0001), (9, 0x0201), (0, 0x0200)):
        page.click(f"#line-out-{line}")
        untilText(page, "#lines-out", f"0x{wanted:04X}")
        equal(server.state()["lines"]["out"], wanted, "the output lines")


@case
def captureStartsAndStops(bench):
    server = bench.serve()
    server.setUp(running=False)
    page = bench.open(server)
    holds(not page.value("document.querySelector('#no-picture').hidden"), "there is no picture yet")
    page.click("#run")
    page.until("Number(document.querySelector('#picture').dataset.frame) > 3")
    untilText(page, "#running", "live")
    holds(server.state()["capture"]["running"], "the capture runs")
    page.click("#run")
    untilText(page, "#running", "stopped")
    equal(server.state()["capture"]["running"], False, "the capture")


@case
def oneFrameIsTaken(bench):
    server = bench.serve()
    server.setUp(running=False)
    page = bench.open(server)
    page.click("#one-shot")
    page.until("document.querySelector('#no-picture').hidden && Number(document.querySelector('#picture').dataset.frame) > 0")
    equal(server.state()["capture"]["running"], False, "the capture")


@case
def snapshotIsSavedInEachFormat(bench):
    server = bench.serve()
    server.setUp()
    page = bench.live(server)
    for ending, check in (("bmp", lambda content: content[:2] == b"BM" and len(content) == 54 + 1280 * 960 * 3),
                          ("jpg", lambda content: decodeJpeg(content)[:2] == (1280, 960)),
                          ("raw", lambda content: len(content) == 1280 * 960)):
        page.value(f"document.querySelector('#snapshot-format').value = '{ending}'")
        content = downloaded(bench, page, lambda: page.click("#snapshot"), f"*.{ending}")
        holds(check(content), f"the {ending} file of {len(content)} bytes")


@case
def recordingComesAsArchive(bench):
    server = bench.serve()
    server.setUp()
    page = bench.live(server)
    setField(page, "#record-frames", "7")
    content = downloaded(bench, page, lambda: page.click("#record"), "*.zip")
    archive = zipfile.ZipFile(io.BytesIO(content))
    equal(archive.testzip(), None, "the archive")
    equal([item.file_size for item in archive.infolist() if item.filename.endswith(".raw")], [1280 * 960] * 7, "its frames")
    untilText(page, "#record-result", "^7 frames in recording-.*\\.zip$")


@case
def recordingGoesToAFolder(bench):
    server = bench.serve()
    server.setUp()
    page = bench.live(server)
    setField(page, "#record-frames", "5")
    page.value("document.querySelector('#record-to').value = 'folder'; document.querySelector('#record-format').value = 'bmp'")
    page.click("#record")
    untilText(page, "#record-result", "^5 frames in .+")
    pictures = sorted(server.out.rglob("*.bmp"))
    equal([path.stat().st_size for path in pictures], [54 + 1280 * 960 * 3] * 5, "the pictures")


@case
def longRecordingIsStopped(bench):
    server = bench.serve()
    server.setUp()
    page = bench.live(server)
    setField(page, "#record-frames", "100000")
    page.value("document.querySelector('#record-to').value = 'folder'")
    page.click("#record")
    page.until("document.querySelector('#record-progress').value > 2")
    page.click("#record-stop")
    server.until(lambda state: state["capture"]["recording"] is None or state["capture"]["recording"]["ended"])
    page.until("document.querySelector('#record-stop').disabled")
    holds(server.state()["capture"]["running"], "the capture goes on")


@case
def everythingGoesOff(bench):
    server = bench.serve()
    server.setUp()
    page = bench.live(server)
    page.click("#off")
    for name, wanted in (("#v1", False), ("#v2", False), ("#clock", False), ("#reset", True)):
        untilOn(page, name, wanted)
    untilText(page, "#running", "stopped")
    state = server.state()
    equal((state["capture"]["running"], state["supplies"]["v1"]["on"], state["supplies"]["clock"]["on"]), (False, False, False), "the state")


@case
def refusalsOfTheBoardAreTold(bench):
    server = bench.serve()
    page = bench.open(server)
    bench.expect("status of [45]")
    page.focus("#register-add-text")
    page.type("0x0100")
    page.press("Enter")  # the module is not powered, so nothing acknowledges
    page.until("document.querySelector('#messages:not([hidden]) .message') !== null")
    words = text(page, ".message")
    for wanted in ("kVexaRegRead", "-57", "KVEXA_", "Power the module up"):
        holds(wanted in words, f"{wanted} stands in: {words}")
    page.click(".message button")
    page.until("document.querySelector('#messages').hidden")
    equal(server.isRunning(), True, "the server")


@case
def traceComesAndIsFiltered(bench):
    server = bench.serve()
    page = bench.open(server)
    page.click("#power-on")
    page.until("document.querySelector('#trace').textContent.split('\\n').length > 3")
    lines = server.call("GET", "trace?after=0")["lines"]
    page.until("document.querySelector('#trace').textContent.includes('usb0 ')")
    first = lines[-1]["text"]
    page.until(f"document.querySelector('#trace').textContent.includes({first!r})")
    page.focus("#trace-filter")
    page.type("nothing of the kind")
    page.until("document.querySelector('#trace').textContent === ''")
    content = downloaded(bench, page, lambda: page.click("#trace-save"), "trace*.txt")
    holds(content.decode().startswith(lines[0]["text"]), "the saved trace")
