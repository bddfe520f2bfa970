# SPDX-License-Identifier: Apache-2.0
"""Several tabs of one browser: they share a stream, and a session."""

import pytest

TABS = 10
FAULTS = "[data-count=Fault] .tile-count"


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
    room = seeded.appliances["Server room B"]
    room.raises(4711, "Fault", "[1] Filter clogged.")
    all_see(reader, tabs, FAULTS, "2")
    reader.looks_at(tabs[0])
    reader.closes_tab()
    reader.looks_at(tabs[1])
    reader.until(lambda: seeded.service.metric("streams") == 1, "the stream of another tab")
    room.raises(4720, "Fault", "[2] Fan failure.")
    all_see(reader, tabs[1:], FAULTS, "3")
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


@pytest.fixture
def two(seeded, reader):
    """Two tabs of the fleet, live; the first holds the stream, the second is looked at, and its
    clock is held."""
    reader.sees_text("Live", ".link")
    first = reader.tab
    second = reader.opens_tab()
    reader.holds_clock()
    reader.goes("/")
    reader.sees_text("Live", ".link")
    reader.settles()
    return first, second


def test_frozen_tab_lets_the_stream_go_until_it_is_thawed(seeded, reader, two):
    first, second = two
    reader.looks_at(first)
    reader.freezes_tab()
    reader.looks_at(second)
    seeded.appliances["Server room B"].raises(4711, "Fault", "[1] Filter clogged.")
    reader.until(lambda: reader.settles() or reader.texts(FAULTS) == ["2"], "the new fault")
    assert seeded.service.metric("streams") == 1
    reader.looks_at(first)
    reader.thaws_tab()
    all_see(reader, (first,), FAULTS, "2")
    all_see(reader, (first,), ".link", "Live")
    assert seeded.service.metric("streams") == 1


def test_tab_that_is_looked_at_takes_the_stream_from_one_that_tells_nothing(seeded, reader, two):
    first, second = two
    room = seeded.appliances["Server room B"]
    streams = lambda: [one for one in reader.asked() if one.endswith("/stream")]
    # One that answers keeps it.
    for _ in range(2):
        reader.passes(5)
        reader.until(lambda: max(reader.waits()) == 5, "an answer")
    assert streams() == []
    reader.looks_at(first)
    reader.run("window.post = BroadcastChannel.prototype.postMessage;"
               "BroadcastChannel.prototype.postMessage = () => {}")
    room.raises(4711, "Fault", "[1] Filter clogged.")
    all_see(reader, (first,), FAULTS, "2")
    reader.looks_at(second)
    assert reader.texts(FAULTS) == ["1"]
    reader.until(lambda: reader.passes(5) or streams(), "the stream of the second tab")
    reader.until(lambda: reader.settles() or reader.texts(FAULTS) == ["2"], "the new fault")
    reader.until(lambda: seeded.service.metric("streams") == 1, "one stream")
    # The first hears from the second now.
    reader.looks_at(first)
    reader.run("BroadcastChannel.prototype.postMessage = post")
    room.raises(4720, "Fault", "[2] Fan failure.")
    all_see(reader, (first,), FAULTS, "3")
    assert seeded.service.metric("streams") == 1


@pytest.fixture
def lockless(seeded, reader):
    """Three tabs without locks."""
    tabs = [reader.tab]
    for more in range(3):
        if more:
            tabs.append(reader.opens_tab())
        reader.lacks("Navigator.prototype.locks")
        reader.goes("/")
        reader.sees_text("Live", ".link")
    return tabs


def test_without_locks_tabs_agree_on_one_stream(seeded, reader, lockless):
    one_stream = lambda: reader.until(lambda: seeded.service.metric("streams") == 1, "one stream")
    one_stream()
    room = seeded.appliances["Server room B"]
    room.raises(4711, "Fault", "[1] Filter clogged.")
    all_see(reader, lockless, FAULTS, "2")
    reader.looks_at(lockless[0])
    reader.closes_tab()
    reader.looks_at(lockless[1])
    room.raises(4720, "Fault", "[2] Fan failure.")
    all_see(reader, lockless[1:], FAULTS, "3")
    all_see(reader, lockless[1:], ".link", "Live")
    one_stream()


def test_of_two_tabs_without_locks_that_claim_the_stream_one_keeps_it(seeded, reader, lockless):
    claims = """
      const done = arguments[0];
      window.other = new BroadcastChannel('stream');
      other.onmessage = ({data}) => data.say === 'claim' && done(data.by > -1);
      other.postMessage({say: 'claim', by: -1});
    """
    assert reader.waits_for(claims)
    assert seeded.service.metric("streams") == 1
    reader.run("other.postMessage({say: 'claim', by: 2})")
    reader.until(lambda: seeded.service.metric("streams") == 0, "the end of the stream")
    reader.run("other.postMessage({say: 'free'})")
    reader.until(lambda: seeded.service.metric("streams") == 1, "the stream again")
