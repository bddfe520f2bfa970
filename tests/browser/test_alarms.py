# SPDX-License-Identifier: Apache-2.0
"""The list of all alarms and silences: compared with what the operator API answers to a script."""

import contextlib
import json

import pytest
from selenium.webdriver.common.keys import Keys

from harness.fleet import INTERVAL, OPERATOR, PASSWORD
from harness.operators import BASE, basic
from harness.wire import connect
from views import alarm_ids, has_silences, moves, shows_alarms

FORM = ".note"


def row(alarm):
    return f"[data-alarm={alarm['id']}]"


def act(alarm):
    return f"{row(alarm)} .act"


def acknowledges(fleet, alarm, note):
    """As another operator's script does."""
    with contextlib.closing(connect(fleet.service.url)) as link:
        link.request("PUT", f"{BASE}/alarms/{alarm['id']}/acknowledgement", json.dumps({"note": note}),
                     {**basic(OPERATOR, PASSWORD), "Content-Type": "application/json"})
        assert link.getresponse().status == 200


@pytest.fixture
def watcher(seeded, line, browser):
    """A browser that shows the open alarms, with two silences among them."""
    has_silences(seeded, 2)
    browser.signs_in(line.url)
    browser.clicks(".views a[href='/alarms']")
    shows_alarms(browser, seeded.ask("/alarms"))
    browser.sees_text("Live", ".link")
    return browser


def test_all_open_alarms_are_told_worst_first_with_whose_they_are(seeded, watcher):
    items = seeded.ask("/alarms")["items"]
    assert [one["severity"] for one in items] == ["Fault"] + ["Alarm"] * 3 + ["Warning"] * 3
    assert watcher.texts(".alarm .mark") == [one["severity"] for one in items]
    assert watcher.texts(".alarm .whose") == [one["name"] for one in items]
    for text, one in zip(watcher.texts(".alarm-text"), items):
        assert text.startswith(one["message"]), text
    assert watcher.values(".alarm-time > time", "datetime") == [
        one["opened"] for one in items]
    assert watcher.title == "(3) Alarms"  # silences are in no count
    assert watcher.texts("[aria-current=page]") == ["Alarms"]
    watcher.clicks(f"{row(items[0])} .whose")
    watcher.sees_text(items[0]["name"], "h1")
    assert watcher.find(".views [aria-current]") == []
    assert watcher.text(".back") == "Alarms"
    watcher.clicks(".back")
    shows_alarms(watcher, seeded.ask("/alarms"))


def test_silences_are_told_in_words(seeded, watcher):
    texts = watcher.texts(".alarm-text")
    assert any(text.startswith("No heartbeat Offline since 6 Mar 2026, 05:3") for text in texts)
    assert any(text.startswith("No heartbeat Late since 8 Mar 2026, 12:0") for text in texts)
    west = seeded.appliances["Roof unit west"]
    west.beats(INTERVAL)
    moves(watcher, "/alarms?state=ended&kind=silence")
    shows_alarms(watcher, seeded.ask("/alarms", state="ended", kind="silence"))
    one, = seeded.ask("/alarms", state="ended", kind="silence")["items"]
    assert watcher.text(f"{row(one)} .alarm-text").startswith(
        "No heartbeat Offline from 6 Mar 2026, 05:3")
    assert watcher.values(f"{row(one)} .alarm-time time", "datetime") == [
        one["ended"], one["opened"], one["ended"]]
    assert watcher.find(".act") == []


@pytest.mark.parametrize("name, value", [
    ("severity", "Alarm"), ("kind", "silence"), ("acknowledged", "false"), ("q", "hall")])
def test_the_list_is_filtered_by_the_service_and_the_address_says_how(seeded, watcher, name, value):
    before = seeded.ask("/alarms")
    acknowledges(seeded, before["items"][1], "mine")
    if name == "q":
        watcher.types("[name=q]", value + "\n")
    else:
        watcher.chooses(f".filters [name={name}]", value)
    answer = seeded.ask("/alarms", **{name: value})
    assert 0 < len(answer["items"]) < len(before["items"])
    shows_alarms(watcher, answer)
    assert watcher.address == f"/alarms?{name}={value}"
    watcher.clicks(".switch button:last-child")
    shows_alarms(watcher, seeded.ask("/alarms", state="ended", **{name: value}))
    assert watcher.address == f"/alarms?{name}={value}&state=ended"
    watcher.goes_back()
    shows_alarms(watcher, answer)
    watcher.clicks(".filters .quiet")
    shows_alarms(watcher, seeded.ask("/alarms"))
    assert watcher.address == "/alarms"


def test_what_narrows_the_list_lasts_until_the_reader_comes_back(seeded, watcher):
    watcher.chooses(".filters [name=severity]", "Warning")
    answer = seeded.ask("/alarms", severity="Warning")
    shows_alarms(watcher, answer)
    for back in (watcher.goes_back, lambda: watcher.clicks(".back"),
                 lambda: watcher.clicks(".views a[href^='/alarms']")):
        watcher.clicks(".alarm .whose")
        watcher.sees(".title h1")
        back()
        shows_alarms(watcher, answer)
        assert watcher.address == "/alarms?severity=Warning"
    watcher.clicks(".views a[href^='/alarms']")
    shows_alarms(watcher, seeded.ask("/alarms"))


def test_nothing_open_nothing_ended_and_nothing_that_fits_differ(fleet, browser):
    browser.signs_in(fleet.service.url)
    moves(browser, "/alarms")
    browser.sees_text("No open alarms", ".notice")
    moves(browser, "/alarms?state=ended")
    browser.sees_text("No alarm has ended yet", ".notice")
    moves(browser, "/alarms?q=nothing-like-it")
    browser.sees_text("No alarm fits", ".notice")
    # What was shown before is not taken away.
    moves(browser, "/alarms?severity=Catastrophe")
    browser.sees_text("Not up to date", ".stale")
    browser.sees_text("No alarm fits", ".notice")
    moves(browser, "/events")
    moves(browser, "/alarms?severity=Catastrophe")
    browser.sees_text("Could not load the alarms", "[role=alert]")


def test_more_than_a_page_is_turned_and_the_way_back_keeps_the_place(fleet, browser):
    unit = fleet.joins("Unit 1")
    for number in range(60):
        unit.raises(4711 + number, "Warning", f"Limit {number}")
    browser.signs_in(fleet.service.url)
    moves(browser, "/alarms")
    first = fleet.ask("/alarms", limit=50)
    shows_alarms(browser, first)
    browser.run("document.querySelector('.pages').scrollIntoView()")
    browser.clicks(".pages a")
    last = fleet.ask("/alarms", limit=50, after=first["next"])
    assert len(last["items"]) == 10
    shows_alarms(browser, last)
    browser.until(lambda: browser.run("return document.activeElement.className") == "pages", "focus")
    browser.clicks(f"{row(last['items'][3])} .whose")
    browser.sees(".title h1")
    browser.goes_back()
    shows_alarms(browser, last)
    browser.clicks(".pages a")
    shows_alarms(browser, first)


def test_an_alarm_comes_at_once_and_goes_again(seeded, watcher):
    room = seeded.appliances["Server room B"]
    room.raises(4711, "Fault", "[1] Compressor stopped.")
    watcher.sees_text("[1] Compressor stopped.", ".alarms")
    shows_alarms(watcher, seeded.ask("/alarms"))
    watcher.until(lambda: watcher.title == "(4) Alarms", "the title")
    watcher.until(lambda: "New fault of Server room B: [1] Compressor stopped."
                  in watcher.texts("#news")[0], "news")
    room.clears(4711)
    shows_alarms(watcher, seeded.ask("/alarms"))


def test_silences_come_and_go_and_get_worse(seeded, watcher):
    shelter, pump = (seeded.appliances[name] for name in ("Telecom shelter 12", "Pump room"))
    shelter.beats(INTERVAL)
    watcher.until(lambda: "Telecom shelter 12" not in watcher.texts(".whose"), "the end of one")
    pump.beats(3600)
    seeded.clock.step(2 * 3600 + 60)
    watcher.until(lambda: any("Late since" in text for text in watcher.texts(
        f".alarm:has([href$='{pump.uuid}']) .alarm-text")), "the pump's silence")
    seeded.clock.step(3600)
    watcher.until(lambda: any("Offline since" in text for text in watcher.texts(
        f".alarm.Alarm:has([href$='{pump.uuid}']) .alarm-text")), "a worse silence")


def test_who_looks_after_an_alarm_is_said_with_a_note_and_taken_back(seeded, watcher):
    alarm = seeded.ask("/alarms")["items"][2]
    watcher.clicks(act(alarm))
    assert watcher.run("return document.activeElement.name") == "note"
    watcher.presses("on my way \u2713", Keys.ENTER)
    watcher.sees_text("keeper looks after it", row(alarm))
    assert watcher.text(f"{row(alarm)} .said") == "on my way \u2713"
    watcher.misses(FORM)
    assert watcher.focus() == ["BUTTON", "Take back"]
    kept = seeded.ask("/alarms")["items"][2]["acknowledged"]
    assert (kept["by"], kept["note"]) == ("keeper", "on my way \u2713")
    assert watcher.values(f"{row(alarm)} .word time", "datetime") == [kept["time"]]
    watcher.presses(Keys.ENTER)
    watcher.misses(f"{row(alarm)} .word")
    assert watcher.focus() == ["BUTTON", "Acknowledge"]
    assert seeded.ask("/alarms")["items"][2]["acknowledged"] is None


def test_the_form_is_left_by_escape_and_by_cancel(seeded, watcher):
    alarm = seeded.ask("/alarms")["items"][0]
    for leave in (lambda: watcher.presses(Keys.ESCAPE),
                  lambda: watcher.presses(Keys.TAB, Keys.TAB, Keys.ENTER)):
        watcher.clicks(act(alarm))
        watcher.presses("not yet")
        assert watcher.values(act(alarm), "aria-expanded") == ["true"]
        leave()
        watcher.misses(FORM)
        assert watcher.focus() == ["BUTTON", "Acknowledge"]
    assert seeded.ask("/alarms", acknowledged="true")["items"] == []


def test_what_cannot_be_kept_is_said_at_the_row_and_can_be_tried_again(seeded, line, watcher):
    alarm, *_, last = seeded.ask("/alarms")["items"]
    watcher.clicks(act(alarm))
    watcher.run("document.querySelector('.note input').value = 'ä'.repeat(501)")
    watcher.presses(Keys.ENTER)
    watcher.sees_text("The note has 1002 bytes, 1000 are possible.", f"{row(alarm)} [role=alert]")
    watcher.run("document.querySelector('.note input').value = 'ä'.repeat(500)")
    line.cut()
    watcher.presses(Keys.ENTER)
    watcher.sees_text("The service does not answer. It may be kept all the same.", row(alarm))
    line.mend()
    watcher.clicks(f"{FORM} .main")
    watcher.sees_text("keeper looks after it", row(alarm))
    assert seeded.ask("/alarms", acknowledged="true")["items"][0]["acknowledged"]["note"] == "ä" * 500
    # One that ends while the form is open.
    watcher.clicks(act(last))
    holder = next(one for one in seeded.appliances.values() if one.uuid == last["uuid"])
    holder.clears(int(last["messageId"].rsplit(".", 1)[1]))
    watcher.presses("too late", Keys.ENTER)
    watcher.sees_text("It has ended meanwhile.", f"{row(last)} [role=alert]")
    watcher.clicks(f"{FORM} button[type=button]")
    watcher.points_at("h1")
    shows_alarms(watcher, seeded.ask("/alarms"))


def test_nothing_moves_below_the_pointer_or_while_a_form_is_open(seeded, watcher):
    before = seeded.ask("/alarms")["items"]
    names = [one["id"] for one in before]
    room = seeded.appliances["Server room B"]
    watcher.points_at(f"{row(before[2])} .alarm-text")
    room.raises(4711, "Fault", "[1] Compressor stopped.")
    watcher.sees_text("The list has changed", ".changed")
    assert alarm_ids(watcher) == names
    # What moves nothing is shown.
    acknowledges(seeded, before[-1], "a colleague's")
    watcher.points_at("h1")
    shows_alarms(watcher, seeded.ask("/alarms"))
    watcher.misses(".changed button")
    watcher.clicks(act(before[2]))
    watcher.presses("let me th")
    watcher.points_at("h1")
    room.clears(4711)
    watcher.sees_text("The list has changed", ".changed")
    assert len(alarm_ids(watcher)) == len(names) + 1
    watcher.clicks(".changed button")
    shows_alarms(watcher, seeded.ask("/alarms"))
    assert watcher.run("return document.querySelector('.note input').value") == "let me th"


def test_one_of_a_colleague_appears_by_itself(seeded, watcher):
    alarm = seeded.ask("/alarms")["items"][1]
    acknowledges(seeded, alarm, "a colleague's")
    watcher.sees_text("a colleague's", row(alarm))
    watcher.chooses(".filters [name=acknowledged]", "true")
    shows_alarms(watcher, seeded.ask("/alarms", acknowledged="true"))
    watcher.run(f"document.querySelector('{act(alarm)}').focus()")
    watcher.presses(Keys.ENTER)
    watcher.points_at("h1")
    watcher.sees_text("No alarm fits")


def test_an_appliance_has_them_on_its_page_with_its_silences(seeded, watcher):
    west = seeded.appliances["Roof unit west"]
    west.beats(INTERVAL)
    alarm = seeded.ask("/alarms", uuid=west.uuid, kind="alarm")["items"][0]
    moves(watcher, f"/appliances/{west.uuid}")
    watcher.clicks(act(alarm))
    watcher.presses("seen", Keys.ENTER)
    watcher.sees_text("keeper looks after it", row(alarm))
    ended, = seeded.ask("/alarms", state="ended", kind="silence", uuid=west.uuid)["items"]
    assert watcher.values("[data-silence]", "data-silence") == [ended["id"]]
    assert "Late, then offline, heard again after 2 d 6 h" in watcher.text("[data-silence]")
    watcher.clicks("[aria-labelledby=silent] a")
    shows_alarms(watcher, {"items": [ended]})
    assert watcher.address == f"/alarms?kind=silence&uuid={west.uuid}&state=ended"
    assert watcher.texts("[name=uuid] option") == ["All", "Roof unit west"]
    moves(watcher, f"/appliances/{seeded.appliances['Telecom shelter 12'].uuid}")
    watcher.sees_text("Late since 8 Mar 2026, 12:0", "[data-silence]")
    moves(watcher, f"/appliances/{seeded.appliances['Pump room'].uuid}")
    watcher.sees_text("Not once, as far as is known.", "[aria-labelledby=silent]")
