"""Files that are dropped or chosen, and the form of the parameters."""
from bench import case, equal, holds, setField, text, untilText
from server import PARAMETERS, SENSOR


def file(bench, name, content):
    path = bench.folder / name
    path.write_bytes(content)
    return path.resolve()


def powered(bench):
    server = bench.serve()
    server.call("POST", "power", {"state": "on"})
    server.giveWheel()
    return server, bench.open(server)


@case
def droppedFilesMakeThePicture(bench):
    server, page = powered(bench)
    page.dropFiles("#picture", [file(bench, "sensor.csv", SENSOR)])
    untilText(page, "#file-name", "sensor.csv")
    equal(text(page, "#file-verdict"), "nothing suspicious", "the verdict")
    equal(server.register(0x0104, 2), [2, 0x80], "nothing is played yet")
    page.click("#file-play")
    untilText(page, "#file-done", "played")
    equal(server.register(0x0104, 2), [5, 0], "the sensor's width")
    page.dropFiles("body", [file(bench, "capture.dat", PARAMETERS)])
    untilText(page, "#file-name", "capture.dat")
    page.click("#file-play")
    untilText(page, "#file-done", "applied")
    equal(server.call("GET", "parameters")["parameters"]["HCNT"], 1280, "HCNT")
    page.click("#run")
    page.until("Number(document.querySelector('#picture').dataset.frame) > 3")
    untilText(page, "#shape", "1280 × 960 · 8 bits · bayer")


@case
def suspiciousLinesAreShownBeforeTheyArePlayed(bench):
    server, page = powered(bench)
    page.dropFiles("body", [file(bench, "odd.csv", b"36, 1\n# a comment\n3000, 12\n")])
    page.until("document.querySelectorAll('#file-remarks li').length > 0")
    holds("line 2" in text(page, "#file-remarks"), text(page, "#file-remarks"))
    equal(server.register(0x3000), [0], "nothing is played")
    page.click("#file-close")
    page.until("document.querySelector('#file').hidden")
    page.dropFiles("body", [file(bench, "odd.dat", PARAMETERS.replace(b"HCNT:1280", b"HCNT:0500"))])
    page.until("document.querySelector('#file-name').textContent === 'odd.dat' && document.querySelectorAll('#file-remarks li').length > 0")
    holds("octal" in text(page, "#file-remarks"), text(page, "#file-remarks"))
    untilText(page, "#frame-size", "^320 × 960, .*")  # the form shows it, the board keeps what it has
    equal(server.call("GET", "parameters")["parameters"]["HCNT"], 640, "what is applied")


@case
def filesAreChosenToo(bench):
    server, page = powered(bench)
    page.chooseFiles("#file-input", [file(bench, "one.csv", b"36, 1\n3000, 12\n")])
    untilText(page, "#file-name", "one.csv")
    page.click("#file-play")
    untilText(page, "#file-done", "played")
    equal(server.register(0x3000), [0x12], "the register")


@case
def filesThatAreNoneAreRefused(bench):
    server, page = powered(bench)
    bench.expect("status of 4")
    page.dropFiles("body", [file(bench, "large.csv", b"36, 1\n" + b"3000, 12\n" * 200000)])
    page.until("document.querySelector('#message-list').textContent.includes('large.csv')")
    page.dropFiles("body", [file(bench, "nothing.dat", b"\0\xff" * 500)])
    page.until("document.querySelectorAll('.message').length > 1")
    holds("no capture-parameter file" in text(page, "#message-list"), text(page, "#message-list"))
    equal(server.register(0x3000), [0], "the register")
    equal(server.isRunning(), True, "the server")


@case
def frameSizeFollowsTheForm(bench):
    server, page = powered(bench)
    server.call("POST", "files/parameters?apply=true", PARAMETERS, kind="text/plain")
    server.giveWheel()
    page.click("#parameters-read")
    untilText(page, "#frame-size", "^1\u2009280 × 960, 1\u2009228\u2009800 bytes$")
    setField(page, "#parameter-HCNT", "640")
    setField(page, "#parameter-VCNT", "480")
    untilText(page, "#frame-size", "^640 × 480, 307\u2009200 bytes$")
    equal(server.call("GET", "parameters")["parameters"]["HCNT"], 1280, "what is applied")
    untilText(page, "#parameter-changes", "2 not applied")
    page.click("#parameters-apply")
    untilText(page, "#parameter-changes", "")
    applied = server.call("GET", "parameters")
    equal((applied["frame"]["width"], applied["frame"]["height"], applied["parameters"]["HCNT"]), (640, 480, 640), "what is applied")


@case
def parametersWithoutASizeAreTold(bench):
    server, page = powered(bench)
    bench.expect("status of 4")
    server.call("POST", "files/parameters?apply=true", PARAMETERS, kind="text/plain")
    server.giveWheel()
    page.click("#parameters-read")
    page.until("document.querySelector('#parameter-HCNT').value === '1280'")
    setField(page, "#parameter-BITWIDTH", "77")
    untilText(page, "#frame-size", "no size")
    page.click("#parameters-revert")
    untilText(page, "#frame-size", "^1\u2009280 × 960, .*")
    equal(server.call("GET", "parameters")["parameters"]["BITWIDTH"], 8, "what is applied")
