"""Several tabs at once, tabs that nobody sees, and who drives."""
from bench import case, equal, isOn, text, until, untilOn, untilText


def frameOf(page):
    return page.value("Number(document.querySelector('#picture').dataset.frame)")


def follows(page):
    """Three more frames are shown."""
    page.until(f"Number(document.querySelector('#picture').dataset.frame) > {frameOf(page) + 3}")


@case
def twoTabsShowTheSame(bench):
    server = bench.serve()
    server.setUp()
    pages = [bench.live(server, window=True) for _ in range(2)]
    for page in pages:
        follows(page)
    pages[0].click("#run")
    for page in pages:
        untilText(page, "#running", "stopped")
    last = server.state()["capture"]["frames"]
    for page in pages:
        equal(text(page, "#board"), "USB 0", "the board")
        page.until(f"document.querySelector('#frames').textContent.replace(/\\D/g, '') === '{last}'")


@case
def fourTabsAreServed(bench):
    server = bench.serve()
    server.setUp()
    pages = [bench.live(server, window=True) for _ in range(4)]
    for page in pages:
        follows(page)
    # The interface answers beside them.
    equal(server.state()["capture"]["running"], True, "the capture")
    pages[3].click("#off")
    for page in pages:
        untilText(page, "#running", "stopped")


@case
def hiddenTabAsksForNoFrames(bench):
    server = bench.serve()
    server.setUp()
    page = bench.live(server)
    page.value("""(async () => {
      const {listen} = await import('/bus.js');
      window.pictures = 0;
      listen('picture', () => { window.pictures += 1; });
    })()""")
    page.until("window.pictures > 3")
    other = bench.tab()
    other.front()
    page.until("document.hidden")
    # Some may be on their way; then no more come, however many the board has.
    counts = []

    def isQuiet():
        counts.append(page.value("window.pictures"))
        frames = server.state()["capture"]["frames"]
        until(page, lambda: server.state()["capture"]["frames"] > frames + 60, "sixty frames of the board")
        return page.value("window.pictures") == counts[-1]

    until(page, isQuiet, f"a hidden tab without frames; they went on: {counts}")
    page.front()
    page.until("!document.hidden")
    follows(page)


@case
def onlyOneTabDrives(bench):
    server = bench.serve()
    first, second = (bench.open(server, window=True) for _ in range(2))
    bench.expect("status of 409")
    first.focus("#my-name")
    first.type("Ada")
    first.press("Tab")
    second.focus("#my-name")
    second.type("Ben")
    second.press("Tab")
    first.click("#wheel-take")
    untilText(first, "#wheel-word", "You drive")
    untilText(second, "#wheel-word", "Ada drives")
    second.click("#v1")
    second.until("document.querySelector('#messages:not([hidden]) .message') !== null")
    equal((server.state()["supplies"]["v1"]["on"], isOn(second, "#v1")), (False, False), "V1")
    second.click("#wheel-ask")
    untilText(first, "#asked-text", "Ben asks for the wheel.")
    first.click("#asked-keep")
    first.until("document.querySelector('#asked').hidden")
    first.click("#wheel-give")  # to the one who has asked
    untilText(second, "#wheel-word", "You drive")
    untilText(first, "#wheel-word", "Ben drives")
    second.click("#v1")
    untilOn(first, "#v1")


@case
def askedForTheWheelItIsGiven(bench):
    server = bench.serve()
    first, second = (bench.open(server, window=True) for _ in range(2))
    first.click("#power-on")  # the first write takes it
    untilText(first, "#wheel-word", "You drive")
    second.until("!document.querySelector('#wheel-ask').hidden")
    second.click("#wheel-ask")
    first.until("!document.querySelector('#asked').hidden")
    first.click("#asked-give")
    untilText(second, "#wheel-word", "You drive")
    untilText(first, "#wheel-word", "Another page drives")
    second.click("#wheel-give")
    untilText(first, "#wheel-word", "Nobody drives")


@case
def everythingGoesOffFromATabThatOnlyLooks(bench):
    server = bench.serve()
    server.setUp()
    first, second = (bench.live(server, window=True) for _ in range(2))
    first.click("#wheel-take")
    untilText(first, "#wheel-word", "You drive")
    second.until("!document.querySelector('#wheel-ask').hidden")
    second.press("Escape", "Shift")
    untilText(first, "#running", "stopped")
    untilOn(first, "#v1", False)
    equal(server.state()["supplies"]["clock"]["on"], False, "the clock")


@case
def tabKeepsTheWheelOverAReload(bench):
    server = bench.serve()
    page = bench.open(server)
    page.click("#wheel-take")
    untilText(page, "#wheel-word", "You drive")
    page.reload()
    page.until("document.body.dataset.link === 'socket'")
    untilText(page, "#wheel-word", "You drive")
