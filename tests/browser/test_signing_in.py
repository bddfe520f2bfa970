# SPDX-License-Identifier: Apache-2.0
"""The door: passwords, sessions and their end."""

from harness.fleet import OPERATOR


def test_a_wrong_password_is_told_and_the_right_one_opens(fleet, browser):
    browser.visits(fleet.service.url)
    browser.until(lambda: browser.title == "Sign in", "the door's title")
    browser.fills_in(password="guessed")
    browser.sees_text("Name or password is wrong.", "[role=alert]")
    assert browser.focus()[0] == "INPUT"
    browser.fills_in()
    assert browser.text(".who") == OPERATOR
    browser.until(lambda: browser.title == "Fleet", "the fleet's title")


def test_the_page_asked_for_comes_after_the_door(seeded, browser):
    path = f"/appliances/{seeded.appliances['Hall 3 north'].uuid}?kind=alarm"
    browser.signs_in(seeded.service.url, path)
    browser.sees_text("Hall 3 north", "h1")
    assert browser.address == path


def test_who_signs_out_stands_at_the_door(reader):
    reader.clicks("header button:not(#theme)")
    reader.sees(".sign-in")
    assert "ended" not in reader.text("main")
    reader.goes("/")
    reader.sees(".sign-in")


def test_a_session_that_has_ended_is_told_and_goes_on_where_it_was(seeded, reader):
    reader.types("input[type=search]", "roof")
    reader.until(lambda: reader.address == "/?q=roof", "the search in the address")
    reader.clicks("[data-count=offline]")
    reader.until(lambda: reader.address == "/?q=roof&state=offline", "the filter in the address")
    seeded.clock.step(13 * 3600)
    seeded.appliances["Server room A"].beats()
    reader.sees_text("Your session has ended.", ".sign-in")
    reader.fills_in()
    reader.until(lambda: reader.texts("tbody th .whole") == ["Roof unit west"], "the search's rows")
    assert reader.address == "/?q=roof&state=offline"


def test_a_dismissed_operator_is_shown_the_door(seeded, reader):
    reader.sees_text("Live", ".link")
    seeded.dismisses_operator()
    reader.sees_text("Your session has ended.", ".sign-in")


def test_it_works_over_tls(fleet, opens):
    fleet.service.stop()
    fleet.starts(tls=True)
    browser = opens(flags=("--ignore-certificate-errors",))
    browser.signs_in(fleet.service.url)
    assert fleet.service.url.startswith("https://")
    browser.sees_text("No appliance has registered yet")
