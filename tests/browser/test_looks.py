# SPDX-License-Identifier: Apache-2.0
"""How the page looks and is handled: colours, narrow screens, keyboard, policies."""

import pytest

from harness.browser import PHONE
from harness.fleet import seed

# Each text with the least ratio of contrast that its letters and its ground have. Colours are
# painted to learn their parts, whatever notation they have; grounds are laid over each other.
CONTRASTS = """
  const canvas = document.createElement('canvas');
  canvas.width = canvas.height = 1;
  const paint = canvas.getContext('2d', {willReadFrequently: true});
  const over = (colours) => {
    paint.clearRect(0, 0, 1, 1);
    for (const colour of colours) { paint.fillStyle = colour; paint.fillRect(0, 0, 1, 1); }
    return [...paint.getImageData(0, 0, 1, 1).data].slice(0, 3);
  };
  const light = (colour) => {
    const [r, g, b] = colour.map(part => {
      const s = part / 255;
      return s <= 0.04045 ? s / 12.92 : ((s + 0.055) / 1.055) ** 2.4;
    });
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  };
  const found = [];
  const walk = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  while (walk.nextNode()) {
    const text = walk.currentNode.data.trim();
    const holder = walk.currentNode.parentElement;
    if (!text || !holder.checkVisibility() || holder.closest('.hidden, noscript')) continue;
    const grounds = [];
    for (let one = holder; one; one = one.parentElement) {
      grounds.unshift(getComputedStyle(one).backgroundColor);
    }
    const ground = over(['Canvas', ...grounds]);
    const ink = over(['Canvas', ...grounds, getComputedStyle(holder).color]);
    const [low, high] = [light(ground), light(ink)].sort((one, other) => one - other);
    found.push([text, (high + 0.05) / (low + 0.05)]);
  }
  return found;
"""


# The rules that the page breaks, each with the first elements that do.
AXE = """
  const told = arguments[0];
  axe.run().then(({violations}) => told(violations.map(({id, nodes}) =>
    [id, ...nodes.slice(0, 3).map(({html}) => html.slice(0, 150))])));
"""


@pytest.fixture
def axe(programs):
    return (programs / "service/page/node_modules/axe-core/axe.min.js").read_text()


@pytest.fixture
def views(seeded):
    hall = seeded.appliances["Hall 3 north"]
    pump = seeded.appliances["Pump room"]
    return {
        "/": "table.fleet",
        "/?state=late&sort=-alarms": "table.fleet",
        "/?q=nobody-at-all": ".notice",
        f"/appliances/{hall.uuid}": "section[aria-labelledby=humidity] .extreme",
        f"/appliances/{pump.uuid}": "section[aria-labelledby=documents] details",
        "/appliances/nobody": ".notice",
    }


def opened(browser, path, css):
    browser.goes(path)
    browser.sees(css)
    browser.run("document.querySelectorAll('details').forEach(one => one.open = true)")
    browser.until(lambda: not browser.find(".loading, .old"), "everything loaded")


@pytest.mark.parametrize("dark", [False, True])
def test_every_text_stands_out_from_its_ground(seeded, opens, views, dark):
    browser = opens(dark=dark)
    browser.visits(seeded.service.url)
    browser.sees(".sign-in")
    assert [one for one in browser.run(CONTRASTS) if one[1] < 4.5] == []
    browser.fills_in()
    browser.sees(".top")
    for path, css in views.items():
        opened(browser, path, css)
        seen = browser.run(CONTRASTS)
        assert len(seen) > 5
        assert [one for one in seen if one[1] < 4.5] == [], path


def is_open_to_all(axe, browser, state):
    browser.until(lambda: not browser.find(".loading, .old"), f"{state}: everything loaded")
    browser.run(axe)
    assert browser.waits_for(AXE) == [], state
    assert [one for one in browser.run(CONTRASTS) if one[1] < 4.5] == [], state


@pytest.mark.parametrize("dark", [False, True], ids=["light", "dark"])
def test_every_state_is_open_to_all(fleet, line, opens, axe, dark):
    browser = opens(dark=dark)
    browser.signs_in(line.url)
    browser.sees_text("No appliance has registered yet")
    is_open_to_all(axe, browser, "an empty fleet")
    # A week passes, longer than the session lasts.
    seed(fleet)
    browser.goes("/")
    browser.sees(".sign-in")
    is_open_to_all(axe, browser, "the door")
    browser.fills_in()
    browser.sees("table.fleet")
    browser.clicks(".dense-switch")
    is_open_to_all(axe, browser, "dense rows")
    west = fleet.appliances["Roof unit west"]
    west.keeps("Thermal", {"Temperatures": [
        {"MemberId": str(number), "Name": f"Probe {number}", "ReadingCelsius": number}
        for number in range(14)]})
    browser.goes(f"/appliances/{west.uuid}")
    browser.sees(".extreme")
    browser.sees_text("8 of 14 lines are hidden.", ".lines")
    browser.run("document.querySelectorAll('details').forEach(one => one.open = true)")
    is_open_to_all(axe, browser, "an offline appliance with many readings")
    browser.resize(720, 900)
    is_open_to_all(axe, browser, "a narrow window")
    browser.clicks(".removal > button")
    browser.sees("dialog")
    is_open_to_all(axe, browser, "a question")
    browser.clicks(".choices button")
    browser.sees_text("Live", ".link")
    line.cut()
    browser.sees(".lost")
    is_open_to_all(axe, browser, "a lost link")
    browser.clicks(".home")
    browser.sees_text("Could not load the fleet", "[role=alert]")
    is_open_to_all(axe, browser, "a failed load")


def test_a_phone_shows_all_of_it_without_moving_sideways(seeded, opens, views):
    browser = opens(size=PHONE)
    browser.signs_in(seeded.service.url)
    for path, css in views.items():
        opened(browser, path, css)
        assert browser.run("return [innerWidth, document.documentElement.scrollWidth]") == [
            PHONE[0]] * 2, path


# Texts that lie outside what holds them, and words that stand on two lines.
CROWDED = """
  const found = [];
  for (const one of document.querySelectorAll('body *')) {
    const style = getComputedStyle(one);
    if (!one.checkVisibility() || style.display === 'contents' || one.closest('.hidden, .skip, svg, .plot, .scroll, pre')) continue;
    if (style.position === 'absolute' || one.tagName === 'OPTION') continue;
    let holder = one.parentElement;
    while (getComputedStyle(holder).display === 'contents') holder = holder.parentElement;
    const [own, around] = [one, holder].map(each => each.getBoundingClientRect());
    if (own.width > around.width + 1) found.push(['wide', one.tagName, one.className]);
  }
  const walk = document.createTreeWalker(document.querySelector('#main'), NodeFilter.SHOW_TEXT);
  while (walk.nextNode()) {
    const holder = walk.currentNode.parentElement;
    if (!holder.checkVisibility() || holder.closest('.hidden, .code, pre, option')) continue;
    for (const word of walk.currentNode.data.matchAll(/[\\p{L}\\p{N}]+/gu)) {
      const range = document.createRange();
      range.setStart(walk.currentNode, word.index);
      range.setEnd(walk.currentNode, word.index + word[0].length);
      const lines = new Set([...range.getClientRects()].map(place => Math.round(place.top)));
      if (lines.size > 1) found.push(['broken', word[0], holder.className]);
    }
  }
  return found;
"""


def test_a_zoomed_page_breaks_no_word(seeded, opens, views):
    browser = opens(size=(640, 450), ratio=2)
    browser.signs_in(seeded.service.url)
    for path, css in views.items():
        opened(browser, path, css)
        assert browser.run(CROWDED) == [], path


def test_the_switch_of_colours_wins_over_the_system_and_lasts(reader):
    ground = "return getComputedStyle(document.documentElement).backgroundColor"
    light = reader.run(ground)
    reader.prefers(dark=True)
    dark = reader.until(lambda: reader.run(ground) != light and reader.run(ground), "dark colours")
    reader.clicks("#theme")
    assert reader.run(ground) == light
    assert reader.values("#theme", "aria-label") == ["Colours: light"]
    reader.goes("/")
    reader.sees("#theme")
    assert reader.run(ground) == light
    reader.clicks("#theme")
    assert reader.run(ground) == dark
    reader.clicks("#theme")
    assert reader.values("#theme", "aria-label") == ["Colours: as the system has it"]


def test_the_keyboard_reaches_everything_in_order(reader):
    reader.goes("/")
    reader.sees("table.fleet")
    reader.presses("\ue004")
    assert reader.focus() == ["A", "Skip to content"]
    seen = []
    for _ in range(25):
        reader.presses("\ue004")
        seen.append(reader.focus())
        outline = reader.run("const one = document.activeElement;"
                             "return [getComputedStyle(one).outlineStyle,"
                             " getComputedStyle(one, '::after').outlineStyle]")
        assert "solid" in outline, seen[-1]
    names = [name for _, name in seen]
    wanted = ["Fleet", "Alarms", "Events", "Colours: as the system has it", "Sign out", "Alive 6",
              "Late 1", "Offline 1", "Fault 1", "Alarm 2", "Warning 2"]
    assert names[:len(wanted)] == wanted
    # The search, the order, the density, the headings, and then the rows.
    assert [tag for tag, _ in seen[11:18]] == ["INPUT", "SELECT"] + ["BUTTON"] * 5
    assert [tag for tag, _ in seen[18:]] == ["A"] * 7
    assert names[18:] == reader.texts("tbody .whole")[:7]


def test_return_opens_the_row_and_the_skip_link_leads_to_the_content(seeded, reader):
    reader.run("document.querySelector('.whole').focus()")
    reader.presses("\ue007")
    reader.sees("h1")
    reader.until(lambda: reader.address.startswith("/appliances/"), "the appliance's address")
    reader.run("document.querySelector('.skip').focus()")
    reader.presses("\ue007")
    assert reader.run("return document.activeElement.id") == "main"
    assert reader.address.startswith("/appliances/")


def test_the_keyboard_goes_on_in_the_new_view(reader):
    reader.run("document.querySelector('.whole').focus()")
    reader.presses("\ue007")
    reader.sees("h1:not(.hidden)")
    assert reader.run("return document.activeElement.id") == "main"
    reader.presses("\ue004")
    assert reader.focus() == ["A", "Fleet"]
    assert reader.run("return document.activeElement.className") == "back"
    reader.goes_back()
    reader.sees("table.fleet")
    reader.until(lambda: reader.run("return document.activeElement.id") == "main", "the focus")
    # A search narrows the view that the reader is in.
    reader.types("input[type=search]", "roof")
    reader.until(lambda: reader.address == "/?q=roof", "the search in the address")
    assert reader.run("return document.activeElement.type") == "search"


def test_a_slash_leads_to_the_search_and_is_a_letter_there(reader):
    reader.presses("/")
    assert reader.run("return document.activeElement.type") == "search"
    reader.presses("/")
    assert reader.run("return document.activeElement.value") == "/"


def test_readers_of_the_screen_find_their_way(seeded, reader, axe, views):
    for path, css in views.items():
        opened(reader, path, css)
        assert reader.run("return document.querySelectorAll('main').length") == 1
        assert reader.run("return document.querySelectorAll('h1').length") == 1
        reader.run(axe)
        assert reader.waits_for(AXE) == [], path


def test_the_page_asks_nobody_but_the_service(seeded, reader, views):
    for path, css in views.items():
        opened(reader, path, css)
    # The browser's first page and the pictures of its fields are its own.
    asked = [one for one in reader.requested() if not one.startswith(("chrome://", "data:"))]
    assert len(asked) > 20
    assert [one for one in asked if not one.startswith(seeded.service.url + "/")] == []


def test_a_failing_service_is_told(seeded, reader, views):
    reader.sees_text("Live", ".link")
    seeded.service.crash()
    reader.clicks(".fleet tbody tr:first-child .whole")
    reader.sees_text("Could not load the appliance", "[role=alert]")
    reader.sees_text("Disconnected", ".link")
    reader.sees(".notice button")
