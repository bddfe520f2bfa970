# SPDX-License-Identifier: Apache-2.0
"""What happens appears by itself; a lost connection is told and found again."""

import pytest

from harness.fleet import SUPPLY

SUPPLY_ROW = f"[aria-labelledby=temperature] tr[data-pointer='{SUPPLY}']"
SUPPLY_NOW = f"{SUPPLY_ROW} .current"


@pytest.fixture
def watcher(seeded, line, browser):
    """A browser that reaches the service by a line, that follows the fleet."""
    browser.signs_in(line.url)
    browser.sees("table.fleet")
    browser.sees_text("Live", ".link")
    return browser


def count(browser, name):
    return browser.texts(f"[data-count={name}] .tile-count")[0]


def test_an_alarm_comes_and_goes(seeded, watcher):
    room = seeded.appliances["Server room B"]
    room.raises(4711, "Fault", "[1] Filter clogged.")
    watcher.until(lambda: count(watcher, "Fault") == "2", "another fault")
    row = f"tr[data-uuid='{room.uuid}']"
    assert watcher.text(f"{row} .badge") == "Fault 1"
    room.clears(4711, "[1] Filter clogged (Cleared).")
    watcher.until(lambda: count(watcher, "Fault") == "1", "the end of that fault")
    watcher.misses(f"{row} .badge")


def test_a_heartbeat_brings_an_appliance_back(seeded, watcher):
    west = seeded.appliances["Roof unit west"]
    assert count(watcher, "offline") == "1"
    west.beats()
    watcher.until(lambda: count(watcher, "offline") == "0", "nobody offline")
    assert watcher.text(f"tr[data-uuid='{west.uuid}'] .mark") == "Alive"


def follows_with_held_clock(seeded, browser):
    browser.signs_in(seeded.service.url)
    browser.holds_clock()
    browser.goes("/")
    browser.sees_text("Live", ".link")
    browser.settles()


def test_heartbeats_come_to_the_rows_without_loading_the_list(seeded, browser):
    follows_with_held_clock(seeded, browser)
    room = seeded.appliances["Server room B"]
    room.beats()
    browser.settles()
    asked = browser.asked()
    moment = lambda: browser.values(f"tr[data-uuid='{room.uuid}'] time", "datetime")[0]
    before = moment()
    seeded.clock.step(3)
    room.beats()
    browser.until(lambda: moment() != before, "the newer heartbeat")
    assert browser.asked() == asked


def test_changes_are_told_to_screen_readers_one_at_a_time(seeded, browser):
    follows_with_held_clock(seeded, browser)
    browser.passes(6)
    room = seeded.appliances["Server room B"]
    heard = lambda: browser.texts("#news")[0]
    assert heard() == ""
    room.raises(4711, "Fault", "[1] Filter clogged.")
    browser.until(lambda: browser.settles() or heard(), "the first message")
    assert heard() == "Alive 6, Late 1, Offline 1, Fault 2, Alarm 2, Warning 2."
    assert browser.title == "(4) Fleet"
    room.raises(4712, "Fault", "[1] Fan failure.")
    browser.until(lambda: browser.settles() or count(browser, "Fault") == "3", "a third fault")
    assert "Fault 2" in heard()
    browser.passes(5)
    browser.until(lambda: "Fault 3" in heard(), "the second message")
    browser.goes(f"/appliances/{room.uuid}")
    browser.sees(".alarm")
    browser.settles()
    room.raises(4713, "Alarm", "[1] Humidity low.")
    browser.until(lambda: browser.settles() or heard(), "the new alarm")
    assert heard() == "New alarm: [1] Humidity low."


def test_appliances_join_and_leave(seeded, watcher):
    newcomer = seeded.joins("Annex")
    watcher.sees(f"tr[data-uuid='{newcomer.uuid}']")
    newcomer.leaves()
    watcher.misses(f"tr[data-uuid='{newcomer.uuid}']")


def test_an_open_appliance_follows_its_events_and_values(seeded, watcher):
    hall = seeded.appliances["Hall 3 north"]
    watcher.goes(f"/appliances/{hall.uuid}")
    watcher.sees_text("Live", ".link")
    watcher.sees("section[aria-labelledby=temperature] .extreme")
    hall.raises(4799, "Fault", "[1] Compressor stopped.")
    watcher.until(lambda: watcher.texts(".alarm-text")[0].startswith("[1] Compressor stopped."),
                  "the alarm, first")
    watcher.until(lambda: watcher.texts(".event p")[0] == "[1] Compressor stopped.", "the event")
    hall.reads(29.9, 34, 45)
    watcher.until(lambda: watcher.texts(SUPPLY_NOW)[0] == "29.9 °C",
                  "the new temperature")
    watcher.sees_text("29.9 °C", f"{SUPPLY_ROW} td:last-child")


def test_an_appliance_that_leaves_while_it_is_looked_at_is_said_to_be_gone(seeded, watcher):
    pump = seeded.appliances["Pump room"]
    watcher.goes(f"/appliances/{pump.uuid}")
    watcher.sees_text("Live", ".link")
    watcher.sees_text("Pump room", "h1")
    pump.leaves()
    watcher.sees_text("There is no such appliance")


@pytest.fixture
def hall(seeded, watcher):
    """An appliance with readings, alarms and documents, that the browser shows live."""
    hall = seeded.appliances["Hall 3 north"]
    watcher.holds_clock()
    watcher.goes(f"/appliances/{hall.uuid}")
    watcher.sees_text("Live", ".link")
    for css in ("section[aria-labelledby=temperature]", ".event", ".alarm", "[data-uri]"):
        watcher.sees(css)
    # Nothing that the page still wanted to load hides what it does not follow.
    watcher.settles()
    watcher.releases_clock()
    yield hall
    # What the case saw was told, not loaded afresh when the stream was opened again.
    assert [one for one in watcher.asked() if one.endswith("/stream")] == ["/api/v1/stream"]


def shows_reading(browser, value):
    browser.until(lambda: browser.texts(SUPPLY_NOW)[0] == f"{value} °C",
                  f"the reading {value}")


def test_charts_are_changed_under_the_pointer_and_stay_the_same(watcher, hall):
    chart = "section[aria-labelledby=temperature]"
    watcher.points_at(f"{chart} .u-over")
    watcher.sees_text("Then", f"{chart} thead")
    pointed = watcher.texts(f"{chart} .current")
    watcher.run("window.plots = [...document.querySelectorAll('.uplot, .uplot canvas')]")
    hall.reads(29.9, 34, 45)
    watcher.sees_text("29.9 °C", f"{SUPPLY_ROW} td:last-child")
    same = ("const now = [...document.querySelectorAll('.uplot, .uplot canvas')];"
            "return now.length === plots.length && now.every((one, i) => one === plots[i])")
    assert watcher.run(same)
    # The pointer is still there, and so are its values.
    assert watcher.texts(f"{chart} thead th")[1] == "Then"
    assert watcher.texts(f"{chart} .current") == pointed
    assert "29.9 °C" not in pointed
    wide = watcher.run("return plots[1].width")
    watcher.resize(1000, 900)
    watcher.until(lambda: watcher.run("return plots[1].width") < wide, "the narrower chart")
    watcher.prefers(dark=True)
    hall.keeps("Thermal", {"Spare": {"ReadingCelsius": 11}})
    watcher.until(lambda: len(watcher.find(f"{chart} tbody tr")) == 3, "another line")
    assert watcher.run(same)


def histories(browser):
    return [one.partition("?")[0].rpartition("/")[2] for one in browser.asked()
            if "/numbers" in one or "/history" in one]


def test_many_readings_load_the_charts_once_in_a_while(seeded, browser):
    browser.signs_in(seeded.service.url)
    browser.holds_clock()
    hall = seeded.appliances["Hall 3 north"]
    browser.goes(f"/appliances/{hall.uuid}")
    browser.sees_text("Live", ".link")
    browser.sees("section[aria-labelledby=temperature]")
    browser.settles()
    browser.passes(1)
    # The first is shown at once.
    hall.reads(21, 34, 45)
    shows_reading(browser, 21)
    before = len(histories(browser))
    for value, left in ((22, 15), (23, 14), (24, 13)):
        hall.reads(value, 34, 45)
        browser.until(lambda: browser.waits().count(1) == 2, "the page and its documents waiting")
        assert left in browser.waits()
        browser.passes(1)
    browser.passes(11)
    assert len(histories(browser)) == before
    # The last is not lost.
    browser.passes(1)
    shows_reading(browser, 24)
    assert histories(browser)[before:] == ["numbers", "history"]


def shows_documents(seeded, browser, appliance):
    def shown():
        uris = [one["uri"] for one in seeded.ask(f"/appliances/{appliance.uuid}/resources")["items"]]
        return browser.values("[data-uri]", "data-uri") == uris
    browser.until(shown, "the documents")


def test_an_appliance_that_registers_again_begins_anew(seeded, watcher, hall):
    anew = seeded.joins(hall.name)
    assert (anew.uuid, anew.chassis == hall.chassis) == (hall.uuid, False)
    watcher.sees_text("Nothing has happened yet", "[aria-labelledby=events]")
    watcher.sees_text("No alarms are known", "[aria-labelledby=alarms]")
    watcher.sees_text("No readings yet")
    shows_documents(seeded, watcher, anew)


def test_a_chassis_goes_with_its_documents_and_readings(seeded, watcher, hall):
    hall.drops_chassis()
    watcher.sees_text("No readings yet")
    shows_documents(seeded, watcher, hall)
    assert watcher.find(f"[data-uri^='{hall.chassis_path}']") == []
    watcher.until(lambda: "Chassis" not in watcher.texts(".facts dt"), "the identity without it")


def test_a_new_chassis_appears_among_the_documents(seeded, watcher, hall):
    hall.has_unit("Second unit")
    watcher.sees(f"[data-uri='{hall.chassis_path}']")
    watcher.sees_text("Second unit", ".facts")
    shows_documents(seeded, watcher, hall)


def test_a_lost_connection_is_told_and_found_again(seeded, line, watcher):
    line.cut()
    watcher.sees_text("Disconnected", ".link")
    watcher.sees_text("The connection is lost: what you see may be out of date.", ".lost")
    assert len(watcher.find("table.fleet tbody tr")) == 8
    seeded.appliances["Server room B"].raises(4711, "Fault", "[1] Filter clogged.")
    line.mend()
    watcher.sees_text("Live", ".link")
    watcher.misses(".lost")
    # What happened meanwhile is there.
    watcher.until(lambda: count(watcher, "Fault") == "2", "another fault")


def test_the_reader_can_have_it_tried_at_once(line, watcher):
    watcher.run("Math.random = () => 1e6")
    line.cut()
    watcher.sees(".lost")
    line.mend()
    assert "Next attempt in" in watcher.text(".lost")
    watcher.clicks(".lost button")
    watcher.sees_text("Live", ".link")


def test_data_that_cannot_be_loaded_are_asked_for_again(line, watcher):
    line.cut()
    watcher.sees(".lost")
    watcher.clicks(".fleet tbody tr:first-child .whole")
    watcher.sees_text("Could not load the appliance", "[role=alert]")
    assert "The service does not answer." in watcher.text(".notice")
    line.mend()
    watcher.sees("h1")
    watcher.misses(".notice [role=alert]")


def test_a_request_that_hangs_ends_in_a_notice(line, watcher):
    watcher.holds_clock()
    watcher.goes("/")
    watcher.sees_text("Live", ".link")
    watcher.settles()
    line.hang()
    watcher.clicks(".fleet thead th:nth-child(2) button")
    watcher.until(lambda: 20 in watcher.waits(), "a request with an end")
    watcher.passes(19)
    assert watcher.find(".stale") == []
    watcher.passes(1)
    watcher.sees_text("Not up to date: The service has not answered for 20 s.", ".stale")
    line.flow()
    watcher.clicks(".stale button")
    watcher.until(lambda: watcher.passes(1) or not watcher.find(".stale"), "the end of the notice")
