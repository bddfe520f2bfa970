"""Fixtures of the browser cases. Each case has a service, appliances and a browser of its own.

    /usr/bin/python3 -m pytest tests/browser --programs=build/debug
"""

import pathlib
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "acceptance"))

# The harness is found from here on.
from eyes.browser import Browser  # noqa: E402
from eyes.cable import Cable  # noqa: E402
from eyes.fleet import Fleet, seed  # noqa: E402

pytest_plugins = ("harness.fixtures",)


@pytest.fixture
def fleet(programs, folder, service, clock_of):
    """A running service that no appliance has registered with."""
    fleet = Fleet(programs, folder, service, clock_of)
    fleet.starts()
    fleet.hires_operator()
    return fleet


@pytest.fixture
def seeded(fleet):
    return seed(fleet)


@pytest.fixture
def opens(folder):
    """Makes a browser."""
    browsers = []

    def make(**more):
        place = folder / f"browser{len(browsers)}"
        place.mkdir()
        browsers.append(Browser(place, **more))
        return browsers[-1]
    yield make
    for browser in browsers:
        complaints = browser.complaints()
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
def cable(fleet):
    cable = Cable(fleet.service.port)
    yield cable
    cable.cut()
