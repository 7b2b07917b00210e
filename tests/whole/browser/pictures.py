"""The pictures of the documents: the page with a live board in light and dark, wide and narrow."""
import subprocess

from bench import Bench
from server import SENSOR

# Name, width, height, dark.
VIEWS = [("light", 1600, 1000, False), ("dark", 1600, 1000, True), ("wide", 2560, 1300, False), ("phone", 360, 780, False),
         ("phone-dark", 360, 780, True)]


def fill(server, bench):
    """A page in use."""
    server.setUp()
    page = bench.live(server)
    page.focus("#register-add-text")
    page.type("0x0100-0x0109")
    page.press("Enter")
    page.until("document.querySelectorAll('#register-rows tr').length === 10")
    for row, note in ((1, "streaming"), (2, "pattern"), (4, "bits"), (5, "width"), (7, "height"), (9, "period")):
        page.focus(f"#register-rows tr:nth-child({row}) .note")
        page.type(note)
    page.click("#registers-watch")
    odd = bench.folder / "sensor.csv"
    odd.write_bytes(SENSOR.replace(b"0103, 08", b"# eight bits\n0103, 08"))
    page.dropFiles("body", [odd.resolve()])
    page.until("!document.querySelector('#file').hidden")
    page.click("#wheel-take")
    page.value("scrollTo(0, 0)")
    x, y = page.centre("#picture")
    page.drag(x - 230, y + 30, x - 60, y + 90, "Shift")
    page.until("document.querySelector('#measured').textContent !== '1280 × 960 at 0, 0'")
    page.value("document.activeElement.blur(); scrollTo(0, 0)")
    page.until("Number(document.querySelector('#frames').textContent.replace(/\\D/g, '')) > 300")
    return page


def shrink(path):
    picture = subprocess.run(["pngtopnm", str(path)], capture_output=True, check=True).stdout
    small = subprocess.run(["pnmtopng", "-quiet", "-compression", "9"], input=picture, capture_output=True, check=True).stdout
    if len(small) < path.stat().st_size:
        path.write_bytes(small)


def takePictures(browser, work, folder, names):
    bench = Bench(browser, work / "pictures")
    folder.mkdir(parents=True, exist_ok=True)
    try:
        page = fill(bench.serve(), bench)
        for name, width, height, dark in VIEWS:
            if names and name not in names:
                continue
            page.show(width, height, dark=dark, mobile=width < 500)
            page.until(f"innerWidth === {width}")
            frame = page.value("Number(document.querySelector('#picture').dataset.frame)")
            page.until(f"Number(document.querySelector('#picture').dataset.frame) > {frame + 30}")
            path = folder / f"serve-{name}.png"
            page.screenshot(path)
            shrink(path)
            print(path, path.stat().st_size)
    finally:
        bench.close()
