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
TURNED = "\u202egnp.elif"
SHOWN_TURNED = "\\u{202e}gnp.elif"

NAMES = "[...document.querySelectorAll('#rows button')].map((b) => b.textContent)"
ROWS = "document.querySelectorAll('#rows tr').length"


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
    browser.wait("/from edges [0-9.]+ .?bit/.test(document.querySelector('.readout').textContent)")
    browser.value("document.activeElement.blur()")


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
        browser.screenshot(os.path.join(folder, f"page-{name}.png"))


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
        sorts_and_filters(browser, edges)
        works_by_keyboard(browser)
        draws_the_history(browser)
        looks(browser, folder)
        expect(not browser.faults, f"the browser complains: {browser.faults}")
        elsewhere = [address for address in browser.requests
                     if not address.startswith((url, "about:"))]
        expect(not elsewhere, f"asks elsewhere: {elsewhere}")
        notices_that_nothing_comes(browser, int(pid))
    finally:
        browser.close()


main()
