# SPDX-License-Identifier: Apache-2.0
"""Several tabs of one browser: they share a stream, and a session."""

import pytest

TABS = 10


@pytest.fixture
def tabs(seeded, reader):
    """Ten tabs that show the fleet live; the first of them holds the stream."""
    reader.sees_text("Live", ".link")
    tabs = [reader.tab, *(reader.opens_tab() for _ in range(TABS - 1))]
    for tab in tabs[1:]:
        reader.looks_at(tab)
        reader.sees("table.fleet")
        reader.sees_text("Live", ".link")
    return tabs


def all_see(browser, tabs, css, text):
    for tab in tabs:
        browser.looks_at(tab)
        browser.sees_text(text, css)


def test_ten_tabs_share_one_stream_and_outlive_its_holder(seeded, reader, tabs):
    assert seeded.service.metric("streams") == 1
    faults = "[data-count=Fault] .tile-count"
    room = seeded.appliances["Server room B"]
    room.raises(4711, "Fault", "[1] Filter clogged.")
    all_see(reader, tabs, faults, "2")
    reader.looks_at(tabs[0])
    reader.closes_tab()
    reader.looks_at(tabs[1])
    reader.until(lambda: seeded.service.metric("streams") == 1, "the stream of another tab")
    room.raises(4720, "Fault", "[2] Fan failure.")
    all_see(reader, tabs[1:], faults, "3")
    all_see(reader, tabs[1:], ".link", "Live")
    assert seeded.service.metric("streams") == 1


def test_the_others_learn_that_the_link_is_lost_and_found(seeded, line, browser):
    browser.signs_in(line.url)
    first = browser.tab
    browser.sees_text("Live", ".link")
    second = browser.opens_tab()
    browser.sees_text("Live", ".link")
    line.cut()
    all_see(browser, (first, second), ".link", "Disconnected")
    line.mend()
    browser.looks_at(second)
    browser.clicks(".lost button")
    all_see(browser, (second, first), ".link", "Live")


def test_who_signs_out_in_one_tab_is_signed_out_in_all(seeded, reader):
    reader.sees_text("Live", ".link")
    tabs = [reader.tab, reader.opens_tab(), reader.opens_tab()]
    reader.sees_text("Live", ".link")
    reader.clicks("header button:not(#theme)")
    reader.sees(".sign-in")
    all_see(reader, tabs[:2], ".sign-in", "Your session has ended.")
    reader.until(lambda: seeded.service.metric("streams") == 0, "no stream")


def test_without_locks_each_tab_has_its_own_stream(seeded, reader):
    reader.lacks("Navigator.prototype.locks")
    reader.goes("/")
    reader.sees_text("Live", ".link")
    reader.opens_tab()
    reader.lacks("Navigator.prototype.locks")
    reader.goes("/")
    reader.sees_text("Live", ".link")
    reader.until(lambda: seeded.service.metric("streams") == 2, "two streams")
