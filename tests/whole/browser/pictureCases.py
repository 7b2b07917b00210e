"""The picture: its pixels, its zoom, the cursor, the rectangle and what is measured in it."""
from bench import SHOWN, case, decodeJpeg, equal, holds, setField, shown, text, untilText
from server import QUARTERS, writeQuarters

FOUR_COLOURS = '[[board]]\ntype = "usb"\nscene = "{}"\n'


def fourColours(bench):
    """A live tab with four colours before the camera."""
    writeQuarters(bench.folder / "scene.bmp")
    server = bench.serve(FOUR_COLOURS.format("../scene.bmp"))
    server.setUp()
    return server, bench.live(server)


def comparePixels(server, page):
    """What is shown at 100 % against the server's own frame."""
    found = shown(page)
    equal(found["zoom"], 1, "the zoom")
    headers, content = server.frame("jpg", "quality=85")
    width, height, pixels = decodeJpeg(content)
    equal((headers["X-Frame-Width"], headers["X-Frame-Height"]), (str(width), str(height)), "the headers")
    seen = 0
    for x, y, *colour in found["points"]:
        column, line = round(found["left"]) + x, round(found["top"]) + y
        if not (0 <= column < width and 0 <= line < height):
            continue
        at = (line * width + column) * 3
        wanted = pixels[at:at + 3]
        holds(all(abs(a - b) <= 2 for a, b in zip(colour, wanted)), f"pixel {column}, {line} is {colour}, in the frame {list(wanted)}")
        seen += 1
    holds(seen > 5000, f"only {seen} pixels were compared")
    return found


def colourAt(page, column, line):
    """The colour that the canvas shows of a pixel of the picture."""
    return page.value(f"""(() => {{
      const canvas = document.querySelector('#picture'), place = canvas.dataset;
      const x = Math.round((({column} + 0.5) - place.left) * place.zoom), y = Math.round((({line} + 0.5) - place.top) * place.zoom);
      const copy = new OffscreenCanvas(1, 1).getContext('2d', {{willReadFrequently: true}});
      copy.drawImage(canvas, x, y, 1, 1, 0, 0, 1, 1);
      return [...copy.getImageData(0, 0, 1, 1).data].slice(0, 3);
    }})()""")


@case
def shownPictureIsTheFrameOfTheServer(bench):
    server, page = fourColours(bench)
    page.click("#zoom-actual")
    untilText(page, "#zoom", "100 %")
    page.until("document.querySelector('#picture').dataset.zoom === '1'")
    comparePixels(server, page)


@case
def chartIsShownAsTheServerHasIt(bench):
    server = bench.serve()
    server.setUp()
    page = bench.live(server)
    page.click("#zoom-actual")
    page.until("document.querySelector('#picture').dataset.zoom === '1'")
    found = comparePixels(server, page)
    holds(len({tuple(point[2:]) for point in found["points"]}) > 100, "the chart has many colours")


@case
def sceneComesBackTheRightWayUpInItsColours(bench):
    _, page = fourColours(bench)
    untilText(page, "#shape", "1280 × 960 · 8 bits · bayer")
    for (column, line), wanted in zip([(320, 240), (960, 240), (320, 720), (960, 720)], QUARTERS):
        found = colourAt(page, column, line)
        holds(all(abs(a - b) < 14 for a, b in zip(found, wanted)), f"at {column}, {line}: {found}, in the scene {wanted}")


@case
def cursorReadsPixels(bench):
    server, page = fourColours(bench)
    x, y = page.centre("#picture")
    for dx, dy in ((-120, -90), (120, -90), (-120, 90)):
        page.mouse("mouseMoved", x + dx, y + dy)
        page.until("!['…', '–'].includes(document.querySelector('#pixel-sample').textContent)")
        column, line = map(int, text(page, "#pixel-place").split(", "))
        pixels = server.call("GET", f"pixels?x={column}&y={line}&width=1&height=1")
        untilText(page, "#pixel-sample", f"^{pixels['samples'][0][0]} (R|Gr|Gb|B)$")
        colour = list(map(int, text(page, "#pixel-colour").split()))
        shownColour = colourAt(page, column, line)
        holds(all(abs(a - b) <= 3 for a, b in zip(colour, shownColour)), f"the cursor reads {colour}, shown is {shownColour}")


@case
def coloursOfSamplesFollowTheMosaic(bench):
    _, page = fourColours(bench)
    page.focus("#picture")
    names = []
    for key in ("ArrowRight", "ArrowDown", "ArrowLeft", "ArrowUp"):
        page.press(key)
        page.until("!['…', '–'].includes(document.querySelector('#pixel-sample').textContent)")
        column, line = map(int, text(page, "#pixel-place").split(", "))
        names.append(text(page, "#pixel-sample").split()[-1])
        equal(names[-1], {(0, 0): "Gr", (1, 0): "R", (0, 1): "B", (1, 1): "Gb"}[column % 2, line % 2], f"the colour at {column}, {line}")
    equal(sorted(names), ["B", "Gb", "Gr", "R"], "the colours of a cell")


@case
def wheelZoomsWhereTheCursorIs(bench):
    _, page = fourColours(bench)
    x, y = page.centre("#picture")
    page.mouse("mouseMoved", x + 100, y + 60)
    place = text(page, "#pixel-place")
    before = page.value("Number(document.querySelector('#picture').dataset.zoom)")
    page.mouse("mouseWheel", x + 100, y + 60, deltaX=0, deltaY=-480)
    page.until(f"Number(document.querySelector('#picture').dataset.zoom) > {before * 3}")
    page.mouse("mouseMoved", x + 100, y + 61)
    page.mouse("mouseMoved", x + 100, y + 60)
    column, line = map(int, text(page, "#pixel-place").split(", "))
    wanted = list(map(int, place.split(", ")))
    holds(abs(column - wanted[0]) <= 2 and abs(line - wanted[1]) <= 2, f"the cursor was at {wanted}, and is at {column}, {line}")
    left = page.value("Number(document.querySelector('#picture').dataset.left)")
    page.drag(x, y, x - 60, y)
    page.until(f"Number(document.querySelector('#picture').dataset.left) > {left}")
    page.click("#zoom-fit")
    page.until(f"Math.abs(Number(document.querySelector('#picture').dataset.zoom) - {before}) < 0.001")


@case
def largePixelsShowTheirValues(bench):
    server, page = fourColours(bench)
    page.click("#zoom-actual")
    for _ in range(6):
        page.click("#zoom-in")
    untilText(page, "#zoom", "6\u2009400 %")
    before = len([line for line in page.requests if "/pixels?" in line])
    page.browser.wait(lambda: len([line for line in page.requests if "/pixels?" in line]) > before)
    # White letters stand on pixels that have no white.
    page.until(f"({SHOWN.replace('STEP', '2')}).points.some((point) => Math.min(...point.slice(2)) > 235)")
    holds(server.state()["capture"]["running"], "the capture goes on")


@case
def rectangleIsMeasured(bench):
    server, page = fourColours(bench)
    x, y = page.centre("#picture")
    page.click("#measure")
    page.drag(x - 150, y - 100, x - 60, y - 40)
    page.until("document.querySelector('#rectangle-width').value !== ''")
    part = page.value("Object.fromEntries(['x', 'y', 'width', 'height'].map((name) => [name, Number(document.querySelector('#rectangle-' + name).value)]))")
    untilText(page, "#measured", f"{part['width']} × {part['height']} at {part['x']}, {part['y']}")
    analysis = server.call("GET", "analysis?" + "&".join(f"{name}={value}" for name, value in part.items()))
    equal(analysis["rectangle"], part, "the server's rectangle")
    rows = page.value("[...document.querySelectorAll('#channels tr')].map((row) => [...row.children].map((cell) => cell.textContent))")
    equal([row[0] for row in rows], [channel["name"] for channel in analysis["channels"]], "the channels")
    for row, channel in zip(rows, analysis["channels"]):
        equal(row[1:3], [f"{channel['least']:,}".replace(",", "\u2009"), f"{channel['greatest']:,}".replace(",", "\u2009")], "the bounds")
        equal(row[3], f"{channel['mean']:.2f}", "the mean")
    page.press("Escape")
    untilText(page, "#measured", "1280 × 960 at 0, 0")


@case
def rectangleIsTyped(bench):
    _, page = fourColours(bench)
    for name, value in (("x", "10"), ("y", "20"), ("width", "100"), ("height", "5000")):
        setField(page, f"#rectangle-{name}", value)
    untilText(page, "#measured", "100 × 940 at 10, 20")  # what exceeds the frame is cut
    page.click("#rectangle-clear")
    untilText(page, "#measured", "1280 × 960 at 0, 0")


@case
def numbersOfTheCaptureAreShown(bench):
    server, page = fourColours(bench)
    page.until("Number(document.querySelector('#frames').textContent.replace(/\\D/g, '')) > 40")
    untilText(page, "#rate", "^[23]\\d\\.\\d\\d$")
    equal(text(page, "#lost"), str(server.state()["capture"]["lost"]), "frames lost")
    holds(page.value("""['rate', 'sharpness', 'mean'].every((name) => {
      const canvas = document.querySelector('#history-' + name);
      return canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height).data.some((value) => value > 0);
    })"""), "the plots are drawn")
    holds("Histogram of" in page.value("document.querySelector('#histogram').ariaLabel"), "the histogram is labelled")
