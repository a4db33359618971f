"""Looks at the page of a walk whose names are all hostile: none may run, all must be read.

usage: check_report.py KSBEACON
"""

import json
import pathlib
import subprocess
import sys
import tempfile

from browser import Browser

TRAP = "document.documentElement.dataset.ran = 1"
NAMES = [f'<img src=x onerror="{TRAP}">', f'"><svg onload="{TRAP}">', f"</script><script>{TRAP}</script>",
         f'<a href="javascript:{TRAP}">', "<b>bold</b>&amp;"]


def write_walk(folder):
    portal = folder / "portal"
    portal.mkdir()
    uuid = "9D2C7B31-6A4E-4C85-B1F0-7E6D5C4B3A29"
    content = {"type": "PUSH_TEXT", "categoryId": "1", "notifyOn": "ENTER", "title": NAMES[0], "message": NAMES[2]}
    place = {"latitude": 45.0, "longitude": 9.0}
    documents = {
        "categories": [{"id": "1", "name": NAMES[0]}],
        "locations": [{"id": "l", "name": NAMES[1], **place}],
        "beacons": [{"id": name, "uuid": uuid, "major": 1, "minor": number, "location": {"id": "l"},
                     "content": {**content, "id": name}} for number, name in enumerate(NAMES)],
        "geofences": [{"id": NAMES[0], "latitude": 45.0, "longitude": 9.0, "radius": 60,
                       "content": {**content, "id": "c"}}],
    }
    for name, items in documents.items():
        (portal / f"{name}.json").write_text(json.dumps(items))
    scenario = folder / "walk.json"
    scenario.write_text(json.dumps({
        "title": NAMES[2], "start": "2026-05-04T09:00:00Z", "until": 120, "origin": place,
        "portal": {"documents": "portal"},
        "beacons": [{"name": name, "uuid": uuid, "major": 1, "minor": number, "at": {"east": 3 * number, "north": number}}
                    for number, name in enumerate(NAMES)],
        "walk": {"from": {"east": -100, "north": 0},
                 "steps": [{"to": {"east": 0, "north": 0}}, {"pause": 30}, {"to": {"east": 100, "north": 0}}]},
    }))
    return scenario


def hover(browser):
    """Moves the pointer over everything that has a name, and presses on it."""
    places = browser.value("""[...document.querySelectorAll(
        '.leaflet-interactive, .leaflet-tooltip, .lane span, .track i, #events li.now, header *')].map((each) => {
          each.scrollIntoView({block: 'nearest'});
          const box = each.getBoundingClientRect();
          return [box.x + box.width / 2, box.y + box.height / 2];
        })""")
    assert len(places) > 30, places
    for x, y in places:
        browser.point(x, y)
        browser.point(x, y, click=True)
        browser.value("document.getElementById('why').close()")


def ask_why(browser):
    """Goes to the first decision and asks, with the keys: the chain must be read, as text."""
    browser.value("document.querySelector('.events .asks').click()")
    browser.value("document.getElementById('why-close').click()")
    marked = browser.value("document.querySelector('#events .now').className")
    assert "asks" in marked, marked
    browser.value("document.getElementById('events').focus()")
    browser.key("Enter")
    chain = browser.value("document.querySelector('#why[open]').textContent")
    assert "portal" in chain and " fire" in chain, chain
    browser.key("Escape")
    before = browser.value("document.querySelector('#events .now').textContent")
    browser.key("ArrowDown")
    assert browser.value("document.querySelector('#events .now').textContent") != before
    browser.value("document.getElementById('closer').click()")
    assert browser.value("parseFloat(document.querySelector('.band').style.getPropertyValue('--width'))") > 150


def main(command):
    with tempfile.TemporaryDirectory() as name, Browser() as browser:
        folder = pathlib.Path(name)
        page = folder / "walk.html"
        subprocess.run([command, "simulate", write_walk(folder), "--report", page], check=True,
                       stdout=subprocess.DEVNULL)
        # A desk, and phones, the narrowest in use among them.
        for width, height, dark in ((1400, 900, False), (412, 800, True), (320, 600, False)):
            browser.open(f"{page.as_uri()}#at=60", width, height, dark)
            read = browser.value("['title', 'map', 'lanes'].map((id) => document.getElementById(id).textContent).join()")
            for text in NAMES[:3]:
                assert text in read, f"{text} is not shown at {width}"
            assert browser.value("document.documentElement.scrollWidth <= innerWidth"), width
            row, view, clock = browser.value("""
                ['li.now', '#events', '#clock'].map((each) => document.querySelector(each).getBoundingClientRect())
                    .map(({top, bottom, left, right}) => ({top, bottom, left, right}))""")
            seen = min(row["bottom"], view["bottom"]) - max(row["top"], view["top"])
            whole = min(row["bottom"] - row["top"], view["bottom"] - view["top"] - 2)
            assert seen > whole - 1, (width, row, view)
            assert 0 <= clock["left"] and clock["right"] <= width, clock
            if width == 1400:
                hover(browser)
                ask_why(browser)
            assert browser.value("document.documentElement.dataset.ran === undefined"), "a name was run"
            assert browser.value("document.querySelectorAll('#map img, #map svg svg').length === 0")
            wrong = [event for event in browser.events
                     if event.get("method") in ("Log.entryAdded", "Runtime.exceptionThrown")]
            assert not wrong, wrong


main(sys.argv[1])
