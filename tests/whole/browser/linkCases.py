"""The way to the server: the token, boards that are pulled out, connections that break, ways that are closed."""
from bench import case, equal, holds, text, untilText
from tabCases import follows


@case
def tokenLeavesTheAddressBar(bench):
    server = bench.serve()
    page = bench.open(server)
    equal(page.value("location.href"), f"{server.address}/", "the address")
    holds(all(server.token not in line for line in page.requests[1:]), "no request bears the token in its address")
    page.reload()
    page.until("document.body.dataset.link === 'socket'")


@case
def pageWithoutATokenAsksForIt(bench):
    server = bench.serve()
    page = bench.tab()
    page.go(server.address + "/")
    page.until("!document.querySelector('#door').hidden")
    equal(page.value("document.activeElement.id"), "token", "the focus")
    page.type(server.url)
    page.press("Enter")
    page.until("document.body.dataset.link === 'socket'")
    holds(page.value("document.querySelector('#door').hidden"), "the door is closed")


@case
def wrongTokenIsRefused(bench):
    server = bench.serve()
    bench.expect("401|WebSocket connection")
    page = bench.tab()
    page.go(server.address + "/#token=0123")
    page.until("!document.querySelector('#door').hidden")
    page.type(server.token)
    page.press("Enter")
    page.until("document.body.dataset.link === 'socket'")


@case
def closedWebSocketLeavesAsking(bench):
    server = bench.serve()
    server.setUp()
    page = bench.tab()
    page.send("Page.addScriptToEvaluateOnNewDocument", source="window.WebSocket = class { constructor() { throw new Error('none'); } };")
    page.go(server.url)
    page.until("document.body.dataset.link === 'asking'")
    page.until("Number(document.querySelector('#picture').dataset.frame) > 0")
    follows(page)
    page.until("document.querySelectorAll('#channels tr').length === 4")
    page.until("document.querySelector('#trace').textContent.includes('usb0 ')")
    page.click("#off")
    untilText(page, "#running", "stopped")


@case
def boardIsPulledOutAndComesBack(bench):
    # The page has to be there before the board goes; on a slow machine it gets more time.
    for moment in (8, 30, 90):
        server = bench.serve(f"""[[board]]
type = "usb"
[[board.event]]
at = {moment}.0
do = "unplug"
[[board.event]]
at = {moment + 4}.0
do = "plug"
""")
        server.setUp()
        page = bench.open(server)
        if page.value("document.querySelector('#unplugged').hidden") and server.state()["board"]["connected"]:
            break
        server.stop()
        page.close()
    page.until("!document.querySelector('#unplugged').hidden", limit=180)
    equal(text(page, "#unplugged-board"), "USB 0", "the board")
    holds(page.value("document.body.classList.contains('is-unplugged')"), "the picture is faded")
    untilText(page, "#running", "stopped")
    page.until("document.querySelector('#unplugged').hidden")
    holds(server.state()["board"]["connected"], "the board is back")
    page.click("#power-on")
    page.until("document.querySelector('#v1').ariaChecked === 'true'")


@case
def serverThatGoesAwayIsTold(bench):
    server = bench.serve()
    server.setUp()
    page = bench.live(server)
    bench.expect("ERR_CONNECTION_REFUSED|WebSocket connection|ERR_SOCKET_NOT_CONNECTED|ERR_CONNECTION_RESET")
    server.kill()
    page.until("!document.querySelector('#link-lost').hidden")
    untilText(page, "#link", "no connection")


@case
def browserThatCrashesLeavesTheServerServing(bench):
    from chromium import Chromium
    server = bench.serve()
    server.setUp()
    folder = bench.folder / "other"
    folder.mkdir()
    with Chromium(folder) as browser:
        page = browser.open(server.url)
        page.until("Number(document.querySelector('#picture').dataset.frame) > 3")
        page.click("#wheel-take")
        untilText(page, "#wheel-word", "You drive")
        browser.kill()
    page = bench.live(server)
    follows(page)
    equal(server.stop(), 0, "the exit code of the server")


@case
def textOfTheBoardIsNoMarkup(bench):
    server = bench.serve()
    page = bench.open(server)
    page.value("""(async () => {
      const {tell} = await import('/bus.js');
      tell('problem', {title: '<img src=x onerror=alert(1)>', detail: '<b>bold</b>', advice: '<script>1</script>'});
    })()""")
    page.until("document.querySelector('.message') !== null")
    equal(page.value("document.querySelectorAll('.message img, .message b, .message script').length"), 0, "elements of the text")
    holds("<b>bold</b>" in text(page, ".message"), "the text stands as it is")


@case
def policyLetsNothingElseIn(bench):
    server = bench.serve()
    page = bench.open(server)
    bench.expect("Content Security Policy|Refused to|violates")
    page.value("""(() => {
      const script = document.createElement('script');
      script.textContent = 'window.wasRun = true';
      document.body.append(script);
      document.body.setAttribute('style', 'color: rgb(1, 2, 3)');
    })()""")
    equal(page.value("window.wasRun === true"), False, "an inline script")
    holds(page.value("getComputedStyle(document.body).color !== 'rgb(1, 2, 3)'"), "an inline style does nothing")
    equal(page.value("fetch('http://localhost:1/').then(() => 'fetched', () => 'refused')"), "refused", "another server")
