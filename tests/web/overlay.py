"""The page of the overlay in a browser: what it shows of a central router with simulated edges.

    overlay.py URL SOCKET EDGES FOLDER PID

SOCKET is the central router's control socket, EDGES how many joined it, with the labels below first;
screenshots go to FOLDER. PID is the central router's: it is stopped at the end.
"""

import json
import os
import signal
import socket
import sys
import urllib.request

from browser import Browser

SCRIPT = "<script>window.owned=1</script>"
ESCAPE = "\x1b[31mred\x1b[0m"
SHOWN_ESCAPE = "\\x1b[31mred\\x1b[0m"
SHOWN_SUBNET = "<img src=x onerror=owned=1>\\x1b"
TURNED = "\u202egnp.elif"
SHOWN_TURNED = "\\u{202e}gnp.elif"

NAMES = "[...document.querySelectorAll('#rows button')].map((b) => b.textContent)"
ROWS = "document.querySelectorAll('#rows tr').length"


# Texts whose contrast to what is behind them is below that of WCAG 2.1, level AA.
PALE = """(() => {
    const parse = (text) => (text.match(/[0-9.]+/g) ?? [0, 0, 0, 0]).map(Number);
    const part = (v) => v / 255 <= 0.04045 ? v / 255 / 12.92 : ((v / 255 + 0.055) / 1.055) ** 2.4;
    const light = ([r, g, b]) => 0.2126 * part(r) + 0.7152 * part(g) + 0.0722 * part(b);
    const behind = (node) => {
        for (; node; node = node.parentElement) {
            const colour = parse(getComputedStyle(node).backgroundColor);
            if (colour.length === 3 || colour[3] > 0) return colour;
        }
        return [255, 255, 255];
    };
    const pale = [];
    for (const node of document.body.querySelectorAll('*')) {
        const own = [...node.childNodes].some((n) => n.nodeType === 3 && n.data.trim());
        const box = node.getBoundingClientRect();
        if (!own || box.width <= 1 || box.height <= 1 || node.closest('.unseen, noscript, title')) continue;
        const style = getComputedStyle(node);
        const ink = parse(node.namespaceURI.endsWith('svg') ? style.fill : style.color);
        const [high, low] = [light(ink), light(behind(node))].sort((a, b) => b - a);
        const size = parseFloat(style.fontSize);
        const needed = size >= 24 || (size >= 18.6 && style.fontWeight >= 700) ? 3 : 4.5;
        const ratio = (high + 0.05) / (low + 0.05);
        if (ratio < needed) pale.push(`${node.textContent.trim().slice(0, 30)}: ${ratio.toFixed(1)}`);
    }
    return pale;
})()"""
# What is chosen with a finger and is smaller than WCAG 2.2 has it.
SMALL = """[...document.querySelectorAll('button, select, input, [role=button] .spot')]
    .filter((node) => node.checkVisibility())
    .map((node) => [node.textContent || node.id || 'a spot', node.getBoundingClientRect()])
    .filter(([, box]) => box.width > 0 && (box.width < 24 || box.height < 24))
    .map(([name, box]) => `${name}: ${box.width.toFixed()} x ${box.height.toFixed()}`)"""


def expect(condition, what):
    if not condition:
        raise AssertionError(what)


def status_on_socket(path):
    with socket.socket(socket.AF_UNIX) as client:
        client.connect(path)
        client.sendall(b'{"command":"status"}\n')
        return json.loads(client.makefile("rb").read())


def same_json(url, path):
    with urllib.request.urlopen(url + "status.json") as reply:
        page = json.load(reply)
    tool = status_on_socket(path)

    def fixed(status):
        return [(subnet["name"], [(e["identifier"], e["serial"], e["label"], e["lease"], e["endpoint"])
                                  for e in subnet["edges"]]) for subnet in status["subnets"]]
    expect(fixed(page) == fixed(tool), "the page's JSON differs from that of the control socket")
    expect(page.keys() == tool.keys(), "the two have different keys")


def shows_every_edge(browser, edges):
    browser.wait(f"{ROWS} === {edges}")
    browser.wait(f"document.querySelectorAll('#map .node').length === {edges}")
    names = browser.value(NAMES)
    wanted = {f"edge-{i}" for i in range(3, edges)} | {SCRIPT, SHOWN_ESCAPE, SHOWN_TURNED}
    expect(set(names) == wanted, f"labels shown: {sorted(set(names) ^ wanted)}")
    titles = browser.value("[...document.querySelectorAll('#map title')].map((t) => t.textContent)")
    for name in wanted:
        expect(any(title.startswith(name + ": ") for title in titles), f"not in the map: {name}")
    for place in ("#map h3", "#scope option"):
        texts = browser.value(f"[...document.querySelectorAll('{place}')].map((t) => t.textContent)")
        expect(any(text.endswith(SHOWN_SUBNET) for text in texts), f"{place} says {texts}")
    lines = browser.value("[...document.querySelectorAll('#map .subnet p')].map((p) => p.textContent)")
    expect("10.9.0.1, 0 of 16 slots" in lines, f"the empty subnet says {lines}")
    expect(browser.value("document.querySelectorAll('main img').length") == 0, "a name became an image")
    expect(browser.value("window.owned") is None, "the label's script was run")
    expect(browser.value("document.querySelectorAll('script').length") == 1, "a script came in")
    whole = browser.value("document.documentElement.outerHTML")
    expect("\x1b" not in whole and "\u202e" not in whole, "a control character is in the page")


def tells_who_is_silent(browser, subnets):
    browser.wait(f"document.querySelectorAll('#silent-list li').length === {subnets}")
    browser.wait(f"document.querySelectorAll('#map .node.away').length === {subnets}")
    lines = browser.value("[...document.querySelectorAll('#silent-list li')].map((l) => l.textContent)")
    expect(all(" for " in line and line.endswith(" s") for line in lines), str(lines))
    expect("▲" in browser.value("document.querySelector('#rows .silent .state').textContent"),
           "silence is told by colour alone")


def links_show_traffic(browser, edges):
    browser.wait("document.querySelectorAll('#map .link.busy').length > 0")
    expect(browser.value("document.querySelectorAll('#map .link').length") == edges, "links are missing")
    widths = browser.value("[...document.querySelectorAll('#map .link.busy')]"
                           ".map((l) => Number(l.getAttribute('stroke-width')))")
    expect(min(widths) >= 2, f"a link with traffic is as thin as one without: {min(widths)}")
    expect(browser.value("getComputedStyle(document.querySelector('#map .link.silent'))"
                         ".strokeDasharray") != "none", "a silent edge's link is drawn as any other")


def sorts_and_filters(browser, edges):
    browser.value("document.getElementById('filter').focus()")
    browser.type("edge-17 lab-1")
    browser.wait(f"{ROWS} === 1")
    expect(browser.value(NAMES) == ["edge-17"], "the filter shows another edge")
    browser.value("document.getElementById('filter').select()")
    browser.type(SCRIPT)
    browser.wait(f"{ROWS} === 1")
    browser.value("document.getElementById('filter').select()")
    browser.key("Backspace", 8)
    browser.wait(f"{ROWS} === {edges}")
    browser.value("[...document.querySelectorAll('#columns button')]"
                  ".find((b) => b.textContent === 'Serial').click()")
    serials = "[...document.querySelectorAll('#rows td:last-child')].map((c) => Number(c.textContent))"
    expect(browser.value(serials) == sorted(browser.value(serials), reverse=True), "not sorted")
    expect(browser.value("document.querySelectorAll('th[aria-sort=descending]').length") == 1,
           "the order is not told")
    browser.value("[...document.querySelectorAll('#columns button')][0].click()")


def leads_past_the_map(browser):
    browser.key("Tab", 9)
    expect(browser.value("document.activeElement.className") == "skip", "no way past the map")
    browser.key("Enter", 13, "\r")
    browser.wait("document.activeElement.id === 'edges'")


def works_by_keyboard(browser):
    browser.value("document.querySelector('#map [tabindex=\"0\"]').focus()")
    browser.key("ArrowRight", 39)
    browser.key("ArrowRight", 39)
    name = browser.value("document.activeElement.querySelector('title').textContent.split(':')[0]")
    browser.key("Enter", 13, "\r")
    browser.wait(f"document.getElementById('scope').selectedOptions[0].textContent === "
                 f"{json.dumps('edge ' + name)}")
    expect(browser.value("document.querySelectorAll('#rows tr.chosen').length") == 1, "no row chosen")
    browser.key("Enter", 13, "\r")
    browser.wait("document.getElementById('scope').value === ''")


def draws_the_history(browser):
    # Two samples with traffic between them.
    browser.wait("document.querySelector('#graphs svg[role=img] path.first[d*=M]')")
    browser.value("document.querySelector('#graphs svg[role=img]').focus()")
    browser.key("ArrowRight", 39)
    browser.wait("/from edges [1-9][0-9.]* .bit/.test(document.querySelector('.readout').textContent)")
    browser.value("document.activeElement.blur()")


# What the browser has of an hour that nobody waits for: with a gap, and a longest round trip that
# stands out.
HOUR = """(() => {
    const list = (value) => Array.from({ length: 360 }, (_, i) => i >= 100 && i < 120 ? null : value(i));
    const hour = {
        schema: 1, program: 'tamvo-tcr', time: Date.now() / 1000, step_seconds: 10,
        from_edges_bytes_per_second: list((i) => 1e6 * (2 + Math.sin(i / 20))),
        to_edges_bytes_per_second: list((i) => 8e5 * (2 + Math.sin(i / 20 + 1))),
        round_trip_ms: list((i) => 0.4 + 0.1 * Math.sin(i / 9)),
        longest_round_trip_ms: list((i) => i === 200 ? 9 : 0.9),
    };
    window.realFetch = window.fetch;
    window.fetch = (path, options) => path.startsWith('history.json')
        ? Promise.resolve(new Response(JSON.stringify(hour))) : realFetch(path, options);
    choose('s0');
})()"""
CHOOSE = """window.choose = (value) => {
    document.getElementById('scope').value = value;
    document.getElementById('scope').dispatchEvent(new Event('change'));
}"""


def draws_a_whole_hour(browser, folder):
    browser.value(CHOOSE)
    browser.value(HOUR)
    first = "document.querySelector('#graphs svg[role=img] path.first').getAttribute('d')"
    browser.wait(f"{first}.split('L').length > 330")
    expect(browser.value(f"{first}.split('M').length") == 3, "what is not known is no gap")
    texts = browser.value("[...document.querySelectorAll('#graphs svg[role=img] text')]"
                          ".map((t) => t.textContent)")
    expect("−60 min" in texts and "32.0 Mbit/s" in texts and "10.0 ms" in texts, f"the axes say {texts}")
    outside = browser.value("""[...document.querySelectorAll('#graphs path.series[d]')].filter((path) => {
        const frame = path.ownerSVGElement.viewBox.baseVal, box = path.getBBox();
        return box.x < 0 || box.y < 0 || box.x + box.width > frame.width || box.y + box.height > frame.height;
    }).length""")
    expect(outside == 0, "a line leaves its graph")
    browser.value("document.getElementById('graphs').scrollIntoView({ block: 'center' })")
    browser.screenshot(os.path.join(folder, "page-hour.png"))
    browser.value("window.fetch = window.realFetch; choose('')")


def fits(browser, width):
    wide = browser.value("document.documentElement.scrollWidth")
    expect(wide <= width, f"at {width} pixels the page is {wide} wide")


def looks(browser, folder):
    browser.value("scrollTo(0, 0)")
    # On a small screen, at a medium one and on a large one, in the two schemes.
    for name, width, height, scheme in (("light", 1280, 1560, "light"), ("dark", 1280, 1560, "dark"),
                                        ("tablet", 800, 1400, "light"),
                                        ("phone", 390, 2600, "light"),
                                        ("phone-dark", 390, 1700, "dark")):
        browser.size(width, height, phone=width < 500)
        browser.scheme(scheme)
        # Graphs are drawn anew for their new width.
        browser.wait(f"innerWidth === {width} && [...document.querySelectorAll('#graphs svg[role=img]')]"
                     ".every((s) => s.viewBox.baseVal.width === s.clientWidth)")
        fits(browser, width)
        pale = browser.value(PALE)
        expect(not pale, f"{name}: hard to read: {pale}")
        if width < 500:
            small = browser.value(SMALL)
            expect(not small, f"{name}: too small for a finger: {small}")
        browser.screenshot(os.path.join(folder, f"page-{name}.png"))


# As somebody sees it who tells no colours apart; for whoever looks at the picture.
def looks_without_colour(browser, folder):
    browser.size(1280, 1560)
    browser.scheme("light")
    browser.call("Emulation.setEmulatedVisionDeficiency", type="achromatopsia")
    browser.screenshot(os.path.join(folder, "page-without-colour.png"))
    browser.call("Emulation.setEmulatedVisionDeficiency", type="none")


def notices_that_nothing_comes(browser, pid):
    os.kill(pid, signal.SIGSTOP)
    try:
        browser.wait("document.querySelector('#live.lost')")
    finally:
        os.kill(pid, signal.SIGCONT)
    browser.wait("!document.querySelector('#live.lost')")


def main():
    url, path, edges, folder, pid = sys.argv[1:]
    edges = int(edges)
    same_json(url, path)
    browser = Browser()
    try:
        browser.size(1280, 1560)
        browser.scheme("light")
        browser.call("Page.navigate", url=url)
        shows_every_edge(browser, edges)
        leads_past_the_map(browser)
        tells_who_is_silent(browser, edges // 16)
        links_show_traffic(browser, edges)
        sorts_and_filters(browser, edges)
        works_by_keyboard(browser)
        draws_the_history(browser)
        draws_a_whole_hour(browser, folder)
        looks(browser, folder)
        expect(not browser.faults, f"the browser complains: {browser.faults}")
        elsewhere = [address for address in browser.requests
                     if not address.startswith((url, "about:"))]
        expect(not elsewhere, f"asks elsewhere: {elsewhere}")
        looks_without_colour(browser, folder)  # with a filter, which the browser asks for itself
        notices_that_nothing_comes(browser, int(pid))
    finally:
        browser.close()


main()
