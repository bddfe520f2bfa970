# SPDX-License-Identifier: Apache-2.0
"""Fixtures of the browser cases. Each case has a service and appliances of its own, and a browser
that knows nothing of the cases before.

    /usr/bin/python3 -m pytest tests/browser --programs=build/debug
"""

import contextlib
import pathlib
import tempfile

import pytest

from harness.browser import Browser, Chromium
from harness.folders import case_folder
from harness.fleet import Fleet, seed
from harness.proxy import Line

pytest_plugins = ("harness.fixtures",)


@pytest.fixture
def fleet(service, clock_of):
    """A running service that no appliance has registered with."""
    fleet = Fleet(service, clock_of)
    fleet.starts()
    fleet.hires_operator()
    return fleet


@pytest.fixture
def seeded(fleet):
    return seed(fleet)


@pytest.fixture(scope="session")
def chromiums():
    """Takes a Chromium that nobody has; to be given back."""
    with contextlib.ExitStack() as running:
        folder = running.enter_context(case_folder())
        free = {}

        @contextlib.contextmanager
        def take(flags):
            waiting = free.setdefault(flags, [])
            if not waiting:
                place = pathlib.Path(tempfile.mkdtemp(dir=folder))
                waiting.append(running.enter_context(Chromium(place, flags)))
            chromium = waiting.pop()
            yield chromium
            waiting.append(chromium)
        yield take


@pytest.fixture
def opens(chromiums):
    """Makes a browser."""
    browsers = []
    with contextlib.ExitStack() as taken:
        def make(flags=(), **more):
            browsers.append(Browser(taken.enter_context(chromiums(flags)), **more))
            return browsers[-1]
        yield make
        complaints = []
        for browser in browsers:
            complaints += browser.complaints()
            browser.close()
        assert complaints == []


@pytest.fixture
def browser(opens):
    return opens()


@pytest.fixture
def reader(seeded, browser):
    """A browser whose reader has signed in and sees the seeded fleet."""
    browser.signs_in(seeded.service.url)
    browser.sees("table.fleet")
    return browser


@pytest.fixture
def line(fleet):
    line = Line(fleet.service.port)
    yield line
    line.close()
