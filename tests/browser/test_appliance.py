# SPDX-License-Identifier: Apache-2.0
"""One appliance: compared with what the operator API answers to a script."""

import json
import pathlib
import re

import pytest
from selenium.webdriver.common.keys import Keys

NASTY = '<img src=x onerror="document.title=1"><script>document.title=2</script>\'"; DROP TABLE x;--'


@pytest.fixture
def hall(seeded):
    return seeded.appliances["Hall 3 north"]


@pytest.fixture
def visitor(seeded, browser, hall):
    """A browser that shows the hall's appliance."""
    browser.signs_in(seeded.service.url, f"/appliances/{hall.uuid}")
    browser.sees("h1")
    return browser


def facts(browser):
    names, values = browser.texts(".facts dt"), browser.texts(".facts dd")
    return dict(zip(names, values))


def event_ids(browser):
    return [int(one) for one in browser.values("[data-event]", "data-event")]


def shows_events(browser, answer):
    wanted = [one["id"] for one in answer["items"]]
    browser.until(lambda: event_ids(browser) == wanted, f"the events {wanted}")


def test_identity_and_heartbeat_are_told(seeded, visitor, hall):
    one = seeded.ask(f"/appliances/{hall.uuid}")
    assert visitor.text("h1") == one["name"]
    assert visitor.title == f"(1) {one['name']}"  # its alarm; a warning does not count
    assert visitor.text(".title .mark") == "Alive"
    told = facts(visitor)
    for name, member in (("UUID", "uuid"), ("Model", "model"), ("Serial number", "serial"),
                         ("Firmware", "firmware"), ("Address", "address"), ("Account", "account")):
        assert told[name] == one[member] and told[name], name
    assert told["Registered"].startswith("1 Mar 2026, 11:30:")  # 06:00 in UTC
    assert told["Registered"].endswith("(7 d ago)")
    assert told["Chassis"] == f"Cooling unit of Hall 3 north {one['chassis']}"
    assert "Due every 90 s, 1 so far" in visitor.text(".heartbeat")
    assert visitor.values(".heartbeat time", "datetime") == [one["lastHeartbeat"]] * 2


def test_open_alarms_are_told_worst_first(seeded, visitor, hall):
    items = seeded.ask(f"/appliances/{hall.uuid}/alarms")["items"]
    assert [one["severity"] for one in items] == ["Alarm", "Warning"]
    assert visitor.values("[data-alarm]", "data-alarm") == [f"a{one['id']}" for one in items]
    assert visitor.texts(".alarm .mark") == [one["severity"] for one in items]
    for text, one in zip(visitor.texts(".alarm-text"), items):
        assert text == f"{one['message']} {one['messageId']}"
    # The age with the moment, and both in the zone of the reader.
    times = visitor.values(".alarm time", "datetime")
    assert times[0::2] == times[1::2] == [one["opened"] for one in items]
    for text in visitor.texts(".alarm-time"):
        assert re.fullmatch(r"Opened \d+ min ago 8 Mar 2026, 12:0\d:\d\d", text), text


def test_an_appliance_without_alarms_says_so(seeded, browser):
    pump = seeded.appliances["Pump room"]
    browser.signs_in(seeded.service.url, f"/appliances/{pump.uuid}")
    browser.sees_text("No open alarms", "[aria-labelledby=alarms]")
    browser.sees_text("No readings yet")
    browser.sees_text("Nothing has happened yet", "[aria-labelledby=events]")


def test_what_is_not_known_is_not_called_clear(seeded, browser):
    west = seeded.appliances["Roof unit west"]
    pump = seeded.appliances["Pump room"]
    newcomer = seeded.joins("Annex")
    west.clears(4720)
    west.clears(4711)
    place = "[aria-labelledby=alarms]"
    browser.signs_in(seeded.service.url, f"/appliances/{west.uuid}")
    browser.sees_text("No alarms were open when the appliance was last heard", place)
    assert re.search(r"Its last heartbeat came 6 Mar 2026, 05:30:\d\d \(2 d 6 h ago\)",
                     browser.text(place))
    assert browser.find(f"{place} .icon-clear") == []
    browser.goes(f"/appliances/{newcomer.uuid}")
    browser.sees_text("No alarms are known", place)
    browser.sees_text("has not sent a heartbeat yet", place)
    assert browser.find(f"{place} .icon-clear") == []
    browser.goes(f"/appliances/{pump.uuid}")
    browser.sees(f"{place} .icon-clear")


def test_the_time_line_holds_every_event_newest_first(seeded, visitor, hall):
    answer = seeded.ask(f"/appliances/{hall.uuid}/events")
    assert [one["kind"] for one in answer["items"]] == ["alarm", "alarm", "point", "clear", "alarm"]
    shows_events(visitor, answer)
    for text, one in zip(visitor.texts(".event p:first-child"), answer["items"]):
        assert text == one["message"] + (" No longer open" if one["cleared"] else "")
    assert visitor.texts(".day h3") == ["Sunday, 8 March 2026"]
    times = visitor.values(".event .when time", "datetime")
    assert times[0::2] == times[1::2] == [one["received"] for one in answer["items"]]
    for text in visitor.texts(".event .when"):
        assert re.fullmatch(r"1[12]:\d\d:\d\d \d+ min ago", text), text


@pytest.mark.parametrize("name, value", [
    ("kind", "clear"), ("kind", "alarm"), ("severity", "Warning"), ("q", "filter")])
def test_the_time_line_is_filtered_by_the_service(seeded, visitor, hall, name, value):
    field = f".filters [name={name}]"
    if name == "q":
        visitor.types(field, value + "\n")
    else:
        visitor.chooses(field, value)
    answer = seeded.ask(f"/appliances/{hall.uuid}/events", **{name: value})
    assert 0 < len(answer["items"]) < 5
    shows_events(visitor, answer)
    assert visitor.address == f"/appliances/{hall.uuid}?{name}={value}"


def test_a_time_is_put_in_as_the_reader_has_it(seeded, visitor, hall):
    middle = "2026-03-08T06:15:00Z"
    visitor.goes(f"/appliances/{hall.uuid}?since={middle}")
    shows_events(visitor, seeded.ask(f"/appliances/{hall.uuid}/events", since=middle))
    assert len(event_ids(visitor)) == 4
    assert visitor.run("return document.querySelector('[name=since]').value") == "2026-03-08T11:45"
    visitor.run("const field = document.querySelector('[name=until]');"
                "field.value = '2026-03-08T11:45';"
                "field.dispatchEvent(new Event('change', {bubbles: true}))")
    visitor.sees_text("No event fits")
    assert visitor.address.endswith("&until=2026-03-08T06%3A15%3A00Z")


def test_the_time_line_is_turned_like_pages(seeded, visitor, hall):
    for number in range(30):
        hall.tells("ModeChanged", f"Step {number}")
    visitor.goes(f"/appliances/{hall.uuid}")
    first = seeded.ask(f"/appliances/{hall.uuid}/events", limit=25)
    shows_events(visitor, first)
    place = "return Math.round(scrollY)"
    visitor.run("document.querySelector('[aria-labelledby=events] .pages').scrollIntoView()")
    assert visitor.run(place) > 1000
    visitor.clicks("[aria-labelledby=events] .pages a")
    shows_events(visitor, seeded.ask(f"/appliances/{hall.uuid}/events", limit=25,
                                     before=first["next"]))
    # The reader stays at the events, and so does the keyboard.
    assert visitor.run(place) > 500
    focused = "return document.activeElement.closest('[aria-labelledby=events] .pages') !== null"
    visitor.until(lambda: visitor.run(focused), "the focus among the pages")
    visitor.clicks("[aria-labelledby=events] .pages a")
    shows_events(visitor, first)
    assert visitor.run(place) > 500
    visitor.until(lambda: visitor.run(focused), "the focus among the pages")


def test_head_of_the_events_stays_in_view_when_they_are_turned(seeded, visitor, hall):
    for number in range(30):
        hall.tells("ModeChanged", f"Step {number}")
    visitor.resize(1280, 2200)
    visitor.goes(f"/appliances/{hall.uuid}")
    first = seeded.ask(f"/appliances/{hall.uuid}/events", limit=25)
    last = seeded.ask(f"/appliances/{hall.uuid}/events", limit=25, before=first["next"])
    head = lambda: visitor.run("return Math.round(document.querySelector("
                               "'[aria-labelledby=events]').getBoundingClientRect().top)")
    pages = "[aria-labelledby=events] .pages"
    for css in (".event", "[data-uri]", "section[aria-labelledby=temperature] .extreme"):
        visitor.sees(css)
    # Where it is seen it stays, also where the page ends sooner then.
    visitor.run("scrollTo(0, document.body.scrollHeight)")
    before = head()
    assert before > 0
    for answer in (last, first):
        visitor.clicks(f"{pages} a")
        shows_events(visitor, answer)
        visitor.until(lambda: abs(head() - before) <= 1, "the head where it was")
    # From further down the reader comes to it.
    visitor.resize(1280, 700)
    for answer in (last, first):
        visitor.run(f"document.querySelector('{pages}').scrollIntoView({{block: 'end'}})")
        visitor.clicks(f"{pages} a")
        shows_events(visitor, answer)
        visitor.until(lambda: 0 <= head() < 100, "the head at the top")


def test_a_document_is_a_table_and_its_json_a_click_away(seeded, visitor, hall):
    uris = [one["uri"] for one in seeded.ask(f"/appliances/{hall.uuid}/resources")["items"]]
    visitor.sees("[data-uri]")
    assert visitor.values("[data-uri]", "data-uri") == uris
    place = f"[data-uri='{hall.thermal}']"
    visitor.clicks(f"{place} summary")
    visitor.sees(f"{place} .readable")
    tables = visitor.texts(f"{place} .grid tbody tr")
    assert tables == ["fans Fan speed 62.5 % Percent", "supply Supply temperature 20.5 °C",
                      "return Return temperature 34 °C"]
    values = dict(zip(visitor.texts(f"{place} .values:not(.grid) th"),
                      visitor.texts(f"{place} .values:not(.grid) td")))
    assert values == {"Name": "Thermal", "Humidity percent": "45 %", "Highest temperature": "31 °C",
                      "Lowest temperature": "12.5 °C", "Highest humidity": "52 %",
                      "Lowest humidity": "40 %"}
    visitor.clicks(f"{place} .switch button:last-child")
    visitor.sees(f"{place} pre")
    shown = visitor.run(f"return document.querySelector(\"{place} pre\").textContent")
    answer = seeded.ask(f"/appliances/{hall.uuid}/resources/detail", uri=hall.thermal)
    assert json.loads(shown) == answer["document"]


SERVICE = pathlib.Path(__file__).resolve().parents[2] / "service"


def units_in(source):
    """What a list in the sources gives for each word."""
    units = re.findall(r'[{[]"([a-z%]+)", "([^"]+)"[}\]]', (SERVICE / source).read_text("utf-8"))
    assert len(units) > 20
    return dict(units)


def test_tables_and_histories_know_the_same_units(seeded, browser):
    units = units_in("api/ReadingLabels.cpp")
    assert units_in("page/src/readable.tsx") == units
    pump = seeded.appliances["Pump room"]
    uri = pump.path + "/Units"
    numbers = [f"Reading{word.capitalize()}" for word in units if word.isalpha()]
    numbers += ["FanSpeedRPM", "Crowbar", "Percent"]
    pump.sends("PATCH", uri, dict.fromkeys(numbers, 1))
    answer = seeded.ask(f"/appliances/{pump.uuid}/numbers")["items"]
    wanted = {one["pointer"][1:]: f"1 {one['unit']}" if one["unit"] else "1"
              for one in answer if one["uri"] == uri}
    assert len(wanted) == len(units) + 2  # all but one are words
    assert sorted(name for name, text in wanted.items() if text == "1") == ["Crowbar", "Percent"]
    browser.signs_in(seeded.service.url, f"/appliances/{pump.uuid}")
    browser.clicks(f"[data-uri='{uri}'] summary")
    browser.sees(f"[data-uri='{uri}'] .values")
    assert dict(zip(browser.values(".values th", "title"), browser.texts(".values td"))) == wanted


def test_an_unknown_appliance_is_said_to_be_unknown(reader):
    for name in ("nobody", "%3Cb%3E", "%25"):
        reader.goes(f"/appliances/{name}")
        reader.sees_text("There is no such appliance")


def test_what_appliances_send_is_text_whatever_it_is(fleet, browser):
    one = fleet.joins(NASTY, Model=NASTY, FirmwareVersion=NASTY, SerialNumber=NASTY)
    origin = {"OriginOfCondition": {"@odata.id": one.chassis_path}}
    one.posts(NASTY, "Fault", NASTY, [NASTY, None], NASTY, **origin)
    one.posts(NASTY, NASTY, NASTY, **origin)
    one.sends("PATCH", one.path + "/Notes", {
        "Name": NASTY, "@odata.type": f"#{NASTY}.v1_0_0.X", NASTY: NASTY, "List": [{NASTY: NASTY}],
        "Temperatures": [{"MemberId": NASTY, "Name": NASTY, "ReadingCelsius": 21}]})
    browser.signs_in(fleet.service.url)
    assert browser.text(".whole") == NASTY
    browser.clicks(".whole")
    browser.sees_text(NASTY, "h1")
    for css in (".alarm-text", ".event p", ".readings tbody th", ".facts"):
        browser.sees_text(NASTY, css)
    browser.until(lambda: len(browser.find("[data-uri]")) == 3, "the documents")
    browser.run("document.querySelectorAll('[data-uri]').forEach(one => one.open = true)")
    browser.until(lambda: len(browser.find(".readable")) == 3, "the tables")
    assert browser.texts("[data-uri$='/Notes'] .values:not(.grid) td")[-1] == NASTY
    assert browser.title == f"(1) {NASTY}"
    assert browser.run("return document.querySelectorAll('img, main script').length") == 0


def test_an_appliance_is_removed_after_saying_what_that_means(seeded, browser):
    west = seeded.appliances["Roof unit west"]
    browser.signs_in(seeded.service.url, "/?state=offline")
    browser.clicks(f"tr[data-uuid='{west.uuid}'] .whole")
    browser.clicks(".removal > button")
    said = browser.text("dialog")
    assert said.startswith("Remove Roof unit west? Its readings, events, alarms and documents are gone")
    assert "Should it come back, it is refused. It registers anew, with an empty history," in said
    for leave in (lambda: browser.clicks(".choices button:first-child"),
                  lambda: browser.presses(Keys.ESCAPE)):
        leave()
        browser.until(lambda: not browser.find("dialog")[0].is_displayed(), "the end of the question")
        assert browser.focus() == ["BUTTON", "Remove this appliance"]
        browser.clicks(".removal > button")
    browser.clicks(".danger")
    browser.sees_text("No appliance fits")
    assert browser.address == "/?state=offline"
    seeded.service.says(f"manager removed: Roof unit west (UUID {west.uuid}) by operator")


def test_a_removal_that_fails_says_why_and_can_be_tried_again(seeded, line, browser):
    west = seeded.appliances["Roof unit west"]
    browser.signs_in(line.url, f"/appliances/{west.uuid}")
    browser.clicks(".removal > button")
    line.cut()
    browser.clicks(".danger")
    browser.sees_text("The service does not answer. It may be gone all the same.", "dialog")
    line.mend()
    browser.clicks(".danger")
    browser.sees("table.fleet")
