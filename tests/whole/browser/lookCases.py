"""What can be said of the looks by calculation: contrast, widths, names for screen readers."""
from bench import case, equal, holds
from server import PARAMETERS

CONTRAST = r"""(() => {
  const parse = (text) => { const n = text.match(/[\d.]+/g).map(Number); return n.length < 4 ? [...n, 1] : n; };
  const over = (top, under) => top.slice(0, 3).map((value, i) => value * top[3] + under[i] * (1 - top[3]));
  const light = ([r, g, b]) => { const [x, y, z] = [r, g, b].map((v) => { v /= 255; return v <= 0.04045 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4; });
                                 return 0.2126 * x + 0.7152 * y + 0.0722 * z; };
  const ground = (element) => {
    const layers = [];
    for (let e = element; e; e = e.parentElement) layers.push(parse(getComputedStyle(e).backgroundColor));
    return layers.reverse().reduce((under, top) => over(top, under), [255, 255, 255]);
  };
  const poor = [];
  const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  const seen = new Set();
  while (walker.nextNode()) {
    const element = walker.currentNode.parentElement;
    if (!walker.currentNode.textContent.trim() || seen.has(element) || element.closest('.spoken, :disabled, [hidden], dialog:not([open]), .drop-target, #no-picture')) continue;
    seen.add(element);
    if (!element.checkVisibility()) continue;
    const under = ground(element);
    const text = over(parse(getComputedStyle(element).color), under);
    const [a, b] = [light(text), light(under)].sort((x, y) => y - x);
    const ratio = (a + 0.05) / (b + 0.05);
    if (ratio < 4.5) poor.push(`${element.tagName}.${element.className} "${element.textContent.trim().slice(0, 20)}" ${ratio.toFixed(2)}`);
  }
  return {poor, count: seen.size};
})()"""


def filled(bench):
    """A page on which everything shows something."""
    server = bench.serve()
    server.setUp()
    page = bench.live(server)
    path = bench.folder / "odd.dat"
    path.write_bytes(PARAMETERS.replace(b"HCNT:1280", b"HCNT:0x500 a:5"))
    page.focus("#register-add-text")
    page.type("0x0100+3")
    page.press("Enter")
    page.until("document.querySelectorAll('#register-rows tr').length === 3")
    page.dropFiles("body", [path.resolve()])
    page.until("!document.querySelector('#file').hidden")
    page.value("import('/bus.js').then(({tell}) => tell('problem', {title: 'the board refused', detail: 'd', call: 'c', code: -5, name: 'n', advice: 'a'}))")
    page.until("document.querySelectorAll('#channels tr').length === 4")
    return page


@case
def contrastIsGoodInLightAndDark(bench):
    page = filled(bench)
    for dark in (False, True):
        for width in (1600, 360):
            page.show(width, 900, dark=dark)
            page.until(f"innerWidth === {width} && matchMedia('(prefers-color-scheme: dark)').matches === {str(dark).lower()}")
            found = page.value(CONTRAST)
            holds(found["count"] > 60, f"only {found['count']} texts were looked at")
            equal(found["poor"], [], f"poor contrast, {'dark' if dark else 'light'}, {width}")


@case
def nothingIsCutAtAnyWidth(bench):
    page = filled(bench)
    for width in (360, 480, 703, 704, 1024, 1199, 1200, 1600, 1999, 2000, 2560):
        page.show(width, 900)
        page.until(f"innerWidth === {width}")
        equal(page.value("document.scrollingElement.scrollWidth"), width, f"the page's width in a view of {width}")
        outside = page.value("""[...document.querySelectorAll('main .panel button, main .panel input:not(.spoken), main .panel select')]
          .filter((e) => { const p = e.closest('.panel').getBoundingClientRect(), b = e.getBoundingClientRect(); return b.width && (b.left < p.left - 1 || b.right > p.right + 1); })
          .map((e) => e.id || e.className || e.ariaLabel)""")
        equal(outside, [], f"controls beyond their panel in a view of {width}")
        holds(page.value("(() => { const box = document.querySelector('#off').getBoundingClientRect(); return box.top >= 0 && box.bottom < 200 && box.right <= innerWidth; })()"),
              f"the way out is seen in a view of {width}")
    page.value("scrollTo(0, document.body.scrollHeight)")
    holds(page.value("document.querySelector('#off').getBoundingClientRect().top >= 0"), "the way out stays when the page is scrolled")


@case
def everythingHasANameForScreenReaders(bench):
    page = filled(bench)
    page.send("Accessibility.enable")
    nodes = page.send("Accessibility.getFullAXTree")["nodes"]
    roles = {"button", "textbox", "searchbox", "spinbutton", "checkbox", "combobox", "switch", "canvas", "img", "image", "application", "meter", "progressbar",
             "region", "group", "table", "log", "dialog"}
    nameless = [(node["role"]["value"], node.get("backendDOMNodeId")) for node in nodes
                if not node["ignored"] and node["role"]["value"] in roles and not node.get("name", {}).get("value")]
    nameless = [item for item in nameless if item[0] not in ("group",)]
    equal(nameless, [], "without a name")
    found = {node["role"]["value"] for node in nodes if not node["ignored"]}
    for landmark in ("banner", "main", "contentinfo", "region"):
        holds(landmark in found, f"there is no landmark {landmark}")
    equal(page.value("[...document.querySelectorAll('[id]')].map((e) => e.id).filter((id, i, all) => all.indexOf(id) !== i)"), [], "doubled names")
    headings = page.value("[...document.querySelectorAll('main h2, main h3')].length")
    holds(headings >= 10, "the panels have headings")
