# SPDX-License-Identifier: Apache-2.0
"""cloudclientctl watch: values, events and requests as they change and come."""

import contextlib
import json
import subprocess

import pytest

from harness.daemon import KEY
from harness.process import clock
from harness.waiting import wait_until

ENABLED = "cloudclient is now registered for device changes"


class Watcher:
    """A watch in JSON, and what it has said."""

    def __init__(self, ctl, folder):
        self._file = folder / "watched"
        with open(self._file, "wb") as output:
            # Under the daemon's fast clock half a minute is a part of a second.
            self._process = subprocess.Popen(
                [*ctl.command, "--json", "watch", "--interval", "0.05"], stdout=output,
                stderr=subprocess.PIPE, env=ctl.environment)
        self.sees(what="watch", points=1, events=2)

    def sees(self, **members):
        """Waits for a line that has these members."""
        def seen():
            lines = self._file.read_text().splitlines(keepends=True)
            said = [json.loads(line) for line in lines if line.endswith("\n")]
            return next((one for one in said if members.items() <= one.items()), None)
        return wait_until(seen, f"a line with {members}")

    def ended(self):
        _, error = self._process.communicate(timeout=60)
        return self._process.returncode, error.decode()

    def close(self):
        self._process.kill()
        self._process.communicate()


@pytest.fixture
def connected(daemon, device, service):
    service.start("--http", faketime=clock(1))
    daemon.configure(Url=service.url)
    daemon.start(clock(20))
    daemon.logs(ENABLED)
    return daemon


@pytest.fixture
def watcher(ctl, folder, connected):
    with contextlib.closing(Watcher(ctl, folder)) as watching:
        yield watching


def test_watch_shows_values_events_and_requests(watcher, device, connected):
    device.sets(1201, "22.5")
    seen = watcher.sees(what="point", id=1201)
    assert (seen["name"], seen["value"]) == ("supply", "22.5")
    device.raises(4711, module=1, state="Warning")
    watcher.sees(what="event", gdd=4711, module=1, state="Warning")
    seen = watcher.sees(what="request", method="POST", status=201)
    assert seen["url"].endswith("/Oem/Quorvan:Events")
    assert (seen["problem"], seen["milliseconds"] >= 0) == ("", True)


def test_watch_shows_a_request_that_gets_no_answer(watcher, service, connected):
    service.stop()
    seen = watcher.sees(what="request", status=0)
    assert "connect" in seen["problem"].lower()


def test_watch_ends_with_the_daemon(watcher, connected, device):
    device.sets(1201, "22.5")
    watcher.sees(what="point")
    connected.crash()
    status, error = watcher.ended()
    assert status == 3
    assert error.startswith("cloudclientctl: ") and error.count("\n") == 1


def test_watch_of_no_daemon_says_so(ctl):
    assert ctl.refuses(3, "watch") == ctl.refuses(3, "device", "list")


def test_watch_for_a_person(ctl, connected):
    said = ctl.does("watch", "--for", "0.1", "--interval", "0.05").splitlines()
    assert said[0].endswith("  watch    1 points, 2 events; what changes from now on")


@pytest.mark.parametrize("since", ["-1", '"1"', "1.5", "null"])
def test_question_for_requests_names_a_number(device, connected, since):
    assert "since" in device.refuses(f'{{"op": "requests", "since": {since}}}')


def test_registration_key_is_in_no_request_that_is_seen(device, service, daemon):
    service.start("--http", faketime=clock(1))
    daemon.configure(Url=service.url)
    daemon.start(clock(5))
    device.connect()
    seen = []

    def registered():
        since = seen[-1]["number"] if seen else 0
        seen.extend(device.asks("requests", since=since)["requests"])
        return any("registration_key=" in request["url"] for request in seen)
    wait_until(registered, "the registration")
    assert KEY not in json.dumps(seen)
    assert "registration_key=********" in json.dumps(seen)
