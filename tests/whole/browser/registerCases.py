"""The table of registers."""
from bench import case, equal, holds, setField, text, untilText

VALUE = "document.querySelector('#register-rows tr:nth-child({}) .value')"


def add(page, words):
    before = page.value("document.querySelectorAll('#register-rows tr').length")
    page.focus("#register-add-text")
    page.type(words)
    page.press("Enter")
    page.until(f"document.querySelectorAll('#register-rows tr').length > {before}")


def untilValue(page, row, wanted):
    """Until the register has the value; what is only typed is marked."""
    field = VALUE.format(row)
    page.until(f"{field}.value === '{wanted}' && !{field}.classList.contains('is-changed')")


def ready(bench, page="open"):
    server = bench.serve()
    server.setUp(running=False)
    return server, bench.open(server)


def write(page, row, words):
    page.focus(f"#register-rows tr:nth-child({row}) .value")
    page.value(f"document.querySelector('#register-rows tr:nth-child({row}) .value').select()")
    page.type(words)
    page.press("Enter")


@case
def registersAreReadAndWritten(bench):
    server, page = ready(bench)
    add(page, "0x0000-0x0002, 0x3000")
    untilValue(page, 1, "0x4B")
    untilValue(page, 2, "0x56")
    untilValue(page, 4, "0x00")
    write(page, 4, "0x12")
    untilValue(page, 4, "0x12")
    equal(server.register(0x3000), [0x12], "the register of the simulated sensor")
    write(page, 4, "52")
    untilValue(page, 4, "0x34")
    equal(server.register(0x3000), [0x34], "the register of the simulated sensor")


@case
def writesAreUndone(bench):
    server, page = ready(bench)
    add(page, "0x3000+2")
    untilValue(page, 2, "0x00")
    write(page, 1, "0x11")
    untilValue(page, 1, "0x11")
    write(page, 2, "0x22")
    untilValue(page, 2, "0x22")
    write(page, 1, "0x33")
    untilValue(page, 1, "0x33")
    page.click("#registers-undo")
    untilValue(page, 1, "0x11")
    page.click("#register-rows tr:nth-child(1) .actions button:nth-child(3)")
    untilValue(page, 1, "0x00")
    equal(server.register(0x3000, 2), [0, 0x22], "the registers")
    page.click("#registers-undo")
    untilValue(page, 2, "0x00")
    page.until("document.querySelector('#registers-undo').disabled")
    equal(server.register(0x3000, 2), [0, 0], "the registers")


@case
def registerThatKeepsItsValueIsMarked(bench):
    _, page = ready(bench)
    add(page, "0x0000")
    untilValue(page, 1, "0x4B")
    write(page, 1, "0x01")
    untilText(page, "#announcement", "^0x0000 reads back as 0x4B; it may be read-only.*")
    holds(page.value("document.querySelector('#register-rows .value').classList.contains('is-bad')"), "the value is marked")


@case
def valuesThatAreNoneAreNamed(bench):
    server, page = ready(bench)
    add(page, "0x3000")
    untilValue(page, 1, "0x00")
    for words in ("0x100", "twelve", "-1"):
        write(page, 1, words)
        page.until(f"document.querySelector('#message-list').textContent.includes({words!r})")
        page.click(".message button")
    page.focus("#register-rows .value")
    page.press("Escape")
    untilValue(page, 1, "0x00")
    equal(server.register(0x3000), [0], "the register")
    page.focus("#register-add-text")
    page.type("0x01-")
    page.press("Enter")
    page.until("document.querySelector('#message-list').textContent.includes('0x01-')")


@case
def watchShowsWhatOthersWrite(bench):
    server, page = ready(bench)
    add(page, "0x3000")
    untilValue(page, 1, "0x00")
    page.click("#registers-watch")
    server.call("PUT", "registers", {"target": "sensor", "slave": 0x36, "mode": "7/16", "address": 0x3000, "values": [0x5A]})
    untilValue(page, 1, "0x5A")
    holds(page.until("document.querySelector('#registers-watch').ariaPressed === 'true'"), "the watch runs")
    page.click("#registers-watch")
    page.until("document.querySelector('#registers-watch').ariaPressed === 'false'")


@case
def notesAndRegistersStayInTheBrowser(bench):
    _, page = ready(bench)
    add(page, "0x3000 0x3001")
    page.focus("#register-rows tr:nth-child(2) .note")
    page.type("exposure")
    page.reload()
    page.until("document.body.dataset.link === 'socket'")
    equal(page.value("[...document.querySelectorAll('#register-rows th')].map((cell) => cell.textContent)"), ["0x3000", "0x3001"], "the registers")
    equal(page.value("document.querySelector('#register-rows tr:nth-child(2) .note').value"), "exposure", "the note")


@case
def filterLooksAtAddressesAndNotes(bench):
    _, page = ready(bench)
    add(page, "0x3000+4")
    page.focus("#register-rows tr:nth-child(3) .note")
    page.type("gain")
    visible = "[...document.querySelectorAll('#register-rows tr')].filter((row) => !row.hidden).map((row) => row.querySelector('th').textContent)"
    for words, wanted in (("gain", ["0x3002"]), ("3003", ["0x3003"]), ("", ["0x3000", "0x3001", "0x3002", "0x3003"])):
        setField(page, "#register-filter", words)
        equal(page.value(visible), wanted, f"the filter '{words}'")
    page.click("#register-rows tr:nth-child(3) .actions button:last-child")
    page.until("document.querySelectorAll('#register-rows tr').length === 3")
    equal(text(page, "#register-count"), "3", "the count")


@case
def registersOfTheBoardAreWide(bench):
    _, page = ready(bench)
    page.value("document.querySelector('#register-target').value = 'board'; document.querySelector('#register-target').dispatchEvent(new Event('change'))")
    add(page, "0x0002")
    untilValue(page, 1, "0x0103")  # the version of the FPGA


@case
def registersOfAPcieBoardAreWider(bench):
    server = bench.serve('[[board]]\ntype = "pcie"\n', ("--board", "pcie"))
    page = bench.open(server)
    equal(text(page, "#board"), "PCIe 0", "the board")
    page.value("document.querySelector('#register-target').value = 'board'; document.querySelector('#register-target').dispatchEvent(new Event('change'))")
    add(page, "0x20")
    untilValue(page, 1, "0x00020104")
