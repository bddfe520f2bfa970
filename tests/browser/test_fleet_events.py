# SPDX-License-Identifier: Apache-2.0
"""The log of all appliances: compared with what the operator API answers to a script."""

import pytest

from views import moves


def event_ids(browser):
    return [int(one) for one in browser.values("[data-event]", "data-event")]


def shows_events(browser, answer):
    wanted = [one["id"] for one in answer["items"]]
    browser.until(lambda: not browser.find(".old") and event_ids(browser) == wanted,
                  f"the events {wanted}")


@pytest.fixture
def watcher(reader):
    """A browser that shows the log of all."""
    reader.clicks(".views a[href='/events']")
    reader.sees(".event")
    reader.sees_text("Live", ".link")
    return reader


def test_the_log_holds_the_events_of_all_newest_first(seeded, watcher):
    answer = seeded.ask("/events")
    assert len({one["uuid"] for one in answer["items"]}) == 3
    shows_events(watcher, answer)
    assert watcher.texts(".event .whose") == [one["name"] for one in answer["items"]]
    assert watcher.values(".event .when > time", "datetime") == [
        one["received"] for one in answer["items"]]
    assert watcher.title == "(3) Events"
    assert watcher.texts("[aria-current=page]") == ["Events"]
    watcher.clicks(".event .whose")
    watcher.sees_text(answer["items"][0]["name"], "h1")
    assert watcher.text(".back") == "Events"
    # An appliance's own log does not repeat whose it is.
    watcher.sees(".event")
    assert watcher.find(".event .whose") == []


@pytest.mark.parametrize("name, value", [("kind", "clear"), ("severity", "Alarm"), ("q", "filter")])
def test_the_log_is_filtered_by_the_service_and_the_address_says_how(seeded, watcher, name, value):
    if name == "q":
        watcher.types("[name=q]", value + "\n")
    else:
        watcher.chooses(f".filters [name={name}]", value)
    answer = seeded.ask("/events", **{name: value})
    assert 0 < len(answer["items"]) < len(seeded.ask("/events")["items"])
    shows_events(watcher, answer)
    assert watcher.address == f"/events?{name}={value}"
    watcher.clicks(".event .whose")
    watcher.sees(".title h1")
    watcher.clicks(".back")
    shows_events(watcher, answer)


def test_the_log_is_turned_like_pages_and_follows_what_happens(seeded, watcher):
    hall, pump = seeded.appliances["Hall 3 north"], seeded.appliances["Pump room"]
    for number in range(20):
        hall.tells("ModeChanged", f"Step {number}")
    pump.tells("ModeChanged", "The pump runs.")
    watcher.sees_text("The pump runs.", ".events")
    first = seeded.ask("/events", limit=25)
    shows_events(watcher, first)
    watcher.clicks(".pages a")
    shows_events(watcher, seeded.ask("/events", limit=25, before=first["next"]))
    watcher.goes_back()
    shows_events(watcher, first)


def test_a_log_without_events_says_so(fleet, browser):
    browser.signs_in(fleet.service.url)
    moves(browser, "/events")
    browser.sees_text("Nothing has happened yet", ".notice")
    moves(browser, "/events?q=nothing-like-it")
    browser.sees_text("No event fits", ".notice")
