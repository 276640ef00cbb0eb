#!/usr/bin/python3
"""Reads the built site in Chromium, from files, as a person does.

    browse.py SITE SEARCH...    SEARCH is "WORDS>ANCHOR": the search for WORDS must find that place

Each page is opened wide and narrow, light and dark. It must send no request that leaves the site, print
nothing to the console, have no dead link and no missing picture, not scroll sideways, and have enough
contrast. The search must find each place, and each place that it finds must be seen when it is opened.
Search, navigation and colours must work by keyboard. Prints each fault and the numbers of what was checked.
"""

import json
import os
import sys
import urllib.parse
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

WIDE, NARROW = 1440, 360
CONTRAST = 4.5

# The links, anchors and pictures of a page.
READ = """
const all = (selector) => [...document.querySelectorAll(selector)];
const ids = all('[id]').map((e) => e.id);
return {
  ids,
  links: all('[href]').map((e) => [e.tagName, e.href]),
  twice: ids.filter((id, at) => ids.indexOf(id) !== at),
  pictures: [...document.images].filter((e) => !e.complete || !e.naturalWidth).map((e) => e.src),
  nameless: all('button, input, img, nav, [role=region]').filter(
    (e) => !(e.getAttribute('aria-label') || e.alt || e.textContent.trim())).map((e) => e.outerHTML),
};
"""

# The elements whose right edge is outside the window, if the page scrolls sideways.
SIDEWAYS = """
const root = document.documentElement;
if (Math.max(root.scrollWidth, document.body.scrollWidth) <= root.clientWidth) return [];
const isOutside = (e) => e.getBoundingClientRect().right > root.clientWidth + 1 && !e.closest('.scroll, pre');
return [...document.querySelectorAll('body *')].filter(isOutside).slice(0, 3)
  .map((e) => e.tagName + ' ' + e.textContent.trim().slice(0, 40)).concat(['the page is that wide: '
  + root.scrollWidth]);
"""

# The texts of a page whose contrast is below the limit; each pair of colours is computed once.
CONTRASTS = """
const limit = arguments[0];
const canvas = document.createElement('canvas').getContext('2d', {willReadFrequently: true});
canvas.canvas.width = canvas.canvas.height = 1;
const known = new Map();
function over(colours) {  // paints the colours over each other, the last one on top
  const key = colours.join();
  if (known.has(key)) return known.get(key);
  canvas.clearRect(0, 0, 1, 1);
  for (const colour of colours) { canvas.fillStyle = colour; canvas.fillRect(0, 0, 1, 1); }
  const rgb = [...canvas.getImageData(0, 0, 1, 1).data].slice(0, 3);
  known.set(key, rgb);
  return rgb;
}
const channel = (v) => (v /= 255) <= 0.03928 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4;
const light = (rgb) => 0.2126 * channel(rgb[0]) + 0.7152 * channel(rgb[1]) + 0.0722 * channel(rgb[2]);
const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
const faults = new Set();
let texts = 0;
while (walker.nextNode()) {
  const element = walker.currentNode.parentElement;
  if (!walker.currentNode.data.trim() || element.closest('script')) continue;
  ++texts;
  const layers = [];
  for (let e = element; e; e = e.parentElement) layers.unshift(getComputedStyle(e).backgroundColor);
  layers.unshift('white');
  const ground = over(layers), text = over([...layers, getComputedStyle(element).color]);
  const [high, low] = [light(ground), light(text)].sort((a, b) => b - a);
  const contrast = (high + 0.05) / (low + 0.05);
  if (contrast < limit) faults.add(contrast.toFixed(2) + ' ' + element.outerHTML.slice(0, 80));
}
return [texts, [...faults].slice(0, 3)];
"""

# Whether the element of the address's anchor exists and can be seen in the window.
SEEN = """
const element = document.getElementById(decodeURIComponent(location.hash.slice(1)));
if (!element) return 'does not exist';
const box = element.getBoundingClientRect();
if (!box.width || !box.height || getComputedStyle(element).visibility !== 'visible') return 'is not shown';
if (box.bottom <= 0 || box.top >= innerHeight) return 'is outside the window';
const at = document.elementFromPoint(box.left + 2, Math.max(box.top, 0) + Math.min(box.height, 20) / 2);
if (at && (element.contains(at) || at.contains(element))) return '';
return 'is covered by ' + (at ? at.outerHTML.slice(0, 60) : 'nothing');
"""

FOCUSED = """
const e = document.activeElement;
const box = e.getBoundingClientRect(), style = getComputedStyle(e);
return {
  what: e.id || e.className || e.tagName, href: e.href || '',
  inView: box.width > 0 && box.left >= 0 && box.bottom > 0 && box.top < innerHeight,
  ring: parseFloat(style.outlineWidth) > 0 && style.outlineStyle !== 'none',
};
"""


class Browser:
    def __init__(self):
        options = webdriver.ChromeOptions()
        # No name resolves: a page that asks another host gets no answer, but the request is seen.
        for argument in ("--headless=new", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                         "--disable-background-networking", "--host-resolver-rules=MAP * ~NOTFOUND"):
            options.add_argument(argument)
        if os.getuid() == 0:
            options.add_argument("--no-sandbox")
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)

    def fault(self, place, text):
        self.faults.append(f"{place}: {text}")

    def size(self, width, height=900):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def open(self, page):
        self.driver.get("about:blank")  # else a page with another anchor would not be loaded
        address = self.site.as_uri() + "/" + page
        self.driver.get(address)
        self.wait(f"return document.readyState === 'complete' && location.href === {json.dumps(address)}",
                  f"opening {page}")

    def name(self, address):
        return address.removeprefix(self.site.as_uri() + "/")

    def theme(self, name):
        self.driver.execute_script("document.documentElement.dataset.theme = arguments[0]", name)

    def script(self, text, *arguments):
        return self.driver.execute_script(text, *arguments)

    def keys(self, *keys):
        webdriver.ActionChains(self.driver).send_keys(*keys).perform()

    def wait(self, text, what):
        """Waits until the script returns a true value. Returns it."""
        try:
            return WebDriverWait(self.driver, 20).until(lambda _: self.script(text))
        except Exception:  # pylint: disable=broad-except
            self.fault("index.html", f"{what}: did not happen")
            return None

    def look_at_logs(self, place):
        """Console messages and requests since the last call."""
        for entry in self.driver.get_log("browser"):
            self.fault(place, f"the console shows: {entry['message']}")
        for entry in self.driver.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                url = message["params"]["request"]["url"]
                self.requests += 1
                if url.startswith(self.site.as_uri() + "/") or url.startswith(("data:", "about:")):
                    continue
                self.fault(place, f"requests {url}")

    # --- the parts of the check

    def look_at_page(self, page):
        """Returns the links and anchors of the page. Reports its other faults."""
        self.size(WIDE)
        self.open(page)
        self.look_at_logs(page)
        found = self.script(READ)
        for picture in found["pictures"]:
            self.fault(page, f"the picture {self.name(picture)} is missing")
        for name in found["twice"]:
            self.fault(page, f"the anchor #{name} is there twice")
        for element in found["nameless"]:
            self.fault(page, f"a screen reader has no name for {element}")
        self.look_at_contrast(page)
        for width in (WIDE, NARROW):
            self.size(width)
            for element in self.script(SIDEWAYS):
                self.fault(page, f"at {width} pixels it scrolls sideways: {element}")
        return found

    def look_at_contrast(self, place):
        for theme in ("light", "dark"):
            self.theme(theme)
            texts, faults = self.script(CONTRASTS, CONTRAST)
            self.texts += texts
            for text in faults:
                self.fault(place, f"{theme}: the contrast is {text}")

    def look_at_links(self, found):
        links = 0
        for page, parts in found.items():
            for tag, link in parts["links"]:
                address, _, anchor = link.partition("#")
                scheme = address.split(":")[0]
                if scheme != "file":
                    if tag != "A" and scheme != "data":
                        self.fault(page, f"refers to {link}")
                    continue
                links += 1
                name = urllib.parse.unquote(self.name(address))
                if name in found:
                    if anchor and urllib.parse.unquote(anchor) not in found[name]["ids"]:
                        self.fault(page, f"the link to {name}#{anchor} is dead: no such anchor")
                elif not (self.site / name).is_file():
                    self.fault(page, f"the link to {name} is dead: no such file")
        return links

    def search(self, words):
        """Types the words into the search of the first page. Returns the addresses that it shows."""
        self.open("index.html")
        self.keys("/")
        self.keys(words)
        self.wait(f"return document.getElementById('results').dataset.query === {json.dumps(words)}",
                  f"the search for {words}")
        return self.script("return [...document.querySelectorAll('#results a')].map((e) => e.href)")

    def look_at_search(self, searches):
        hits = set()
        for words, anchor in searches:
            found = self.search(words)
            hits.update(found)
            if anchor not in [urllib.parse.unquote(link.partition("#")[2]) for link in found]:
                self.fault("search", f"{words} does not find {anchor}, but {len(found)} other places")
        for link in sorted(hits):
            name = self.name(link)
            self.open(name)
            seen = self.script(SEEN)
            if seen:
                self.fault("search", f"the hit {name} {seen}")
        self.search(searches[0][0])
        self.look_at_contrast("the search's result")
        self.search("qqzzqq")
        if self.script("return document.querySelectorAll('#results a').length"):
            self.fault("search", "words that are nowhere are found")
        self.look_at_logs("search")
        return len(hits)

    def expect(self, what, is_true):
        if not is_true:
            self.fault("keyboard", what)

    def look_at_keyboard(self, words):
        self.size(WIDE)
        self.open("index.html")
        self.keys(Keys.TAB)
        focused = self.script(FOCUSED)
        self.expect(f"the first stop is the link to the text, not {focused}",
                    focused["what"] == "skip" and focused["inView"])
        self.keys(Keys.ENTER)
        self.expect("the link to the text moves the focus to it",
                    self.script("return document.activeElement.id") == "main")
        self.open("index.html")
        stops = []
        for _ in range(12):
            self.keys(Keys.TAB)
            stops.append(self.script(FOCUSED))
        stops = [stop for stop in stops if stop["what"] != "BODY"]  # after the last one
        for stop in stops:
            self.expect(f"the focus on {stop['what']} {stop['href']} is not seen",
                        stop["inView"] and stop["ring"])
        reached = [stop["what"] for stop in stops]
        for what in ("home", "query", "theme", "SUMMARY", "A"):
            self.expect(f"Tab does not reach {what}, but {reached}", what in reached)

        self.open("index.html")
        first = (self.search(words) or ["(none)"])[0]
        self.keys(Keys.ARROW_DOWN)
        self.expect("the arrow key does not reach the first hit", self.script(FOCUSED)["href"] == first)
        self.keys(Keys.ESCAPE)
        self.expect("Escape does not close the search",
                    self.script("return document.getElementById('results').hidden"))
        self.search(words)
        self.keys(Keys.ENTER)
        self.expect(f"Enter does not open the first hit {first}", self.driver.current_url == first)

        self.open("index.html")
        colour = "return getComputedStyle(document.body).backgroundColor"
        before = self.script(colour)
        self.driver.find_element(By.ID, "theme").send_keys(Keys.ENTER)
        after = self.script(colour)
        self.expect("the switch does not change the colours", before != after)
        self.open("index.html")
        self.expect("the next page does not keep the colours", self.script(colour) == after)

        self.size(NARROW)
        self.open("index.html")
        self.expect("the menu is open at first on a narrow screen",
                    not self.driver.find_element(By.ID, "navigation").is_displayed())
        self.driver.find_element(By.ID, "menu").send_keys(Keys.ENTER)
        self.expect("the menu does not open", self.driver.find_element(By.ID, "navigation").is_displayed())
        self.look_at_logs("keyboard")

    def look(self, site, searches, parts=("pages", "search", "keyboard")):
        """Returns the faults of the site. Tests of this script ask for single parts."""
        self.site, self.faults, self.requests, self.texts = site, [], 0, 0
        pages = links = hits = 0
        if "pages" in parts:
            names = sorted(str(file.relative_to(site)) for file in site.rglob("*.html"))
            found = {page: self.look_at_page(page) for page in names}
            pages, links = len(found), self.look_at_links(found)
        self.size(WIDE)
        if "search" in parts:
            hits = self.look_at_search(searches)
        if "keyboard" in parts:
            self.look_at_keyboard(searches[0][0])
        self.read = (f"{pages} pages, {links} links, {self.texts} texts, {hits} hits of {len(searches)} "
                     f"searches, {self.requests} requests")
        return self.faults


def main():
    browser = Browser()
    try:
        faults = browser.look(Path(sys.argv[1]).resolve(), [search.rsplit(">", 1) for search in sys.argv[2:]])
    finally:
        browser.driver.quit()
    print(browser.read)
    if faults:
        sys.exit("\n".join(faults))


if __name__ == "__main__":
    main()
