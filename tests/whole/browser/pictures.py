"""The pictures of the documents: the page with a live board in light and dark, wide and narrow."""
import subprocess

from bench import Bench, setField, untilText
from server import SENSOR

# Name, width, height, dark, scale.
VIEWS = [("light", 1360, 850, False, 1), ("dark", 1360, 850, True, 1), ("wide", 2560, 1300, False, 0.5), ("phone", 360, 780, False, 1),
         ("phone-dark", 360, 780, True, 1)]
LARGEST = 300 * 1024  # bytes of a picture


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
    for name, value in (("x", 250), ("y", 530), ("width", 290), ("height", 104)):
        setField(page, f"#rectangle-{name}", str(value))
    untilText(page, "#measured", "290 × 104 at 250, 530")
    x, y = page.centre("#picture")
    page.mouse("mouseMoved", x + 40, y + 20)
    page.value("document.activeElement.blur(); scrollTo(0, 0)")
    page.until("Number(document.querySelector('#frames').textContent.replace(/\\D/g, '')) > 300")
    return page


# 64 steps of each colour, which the eye does not tell from 256, pack into half.
STEPS = bytes(min(255, (value & 0xFC) | (value >> 6)) for value in range(256))


def shrink(path):
    picture = subprocess.run(["pngtopnm", str(path)], capture_output=True, check=True).stdout
    head, samples = picture[:picture.index(b"255\n") + 4], picture[picture.index(b"255\n") + 4:]
    small = subprocess.run(["pnmtopng", "-quiet", "-compression", "9"], input=head + samples.translate(STEPS), capture_output=True, check=True)
    path.write_bytes(small.stdout)


def takePictures(browser, work, folder, names):
    bench = Bench(browser, work / "pictures")
    folder.mkdir(parents=True, exist_ok=True)
    try:
        page = fill(bench.serve(), bench)
        for name, width, height, dark, scale in VIEWS:
            if names and name not in names:
                continue
            page.show(width, height, dark=dark, mobile=width < 500, scale=scale)
            page.until(f"innerWidth === {width}")
            frame = page.value("Number(document.querySelector('#picture').dataset.frame)")
            page.until(f"Number(document.querySelector('#picture').dataset.frame) > {frame + 30}")
            path = folder / f"serve-{name}.png"
            page.screenshot(path)
            shrink(path)
            print(path, path.stat().st_size)
            if path.stat().st_size > LARGEST:
                raise ValueError(f"{path} is too large for the documents")
    finally:
        bench.close()
