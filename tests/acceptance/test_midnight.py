# SPDX-License-Identifier: Apache-2.0
"""The day's turn, and clocks that do not run as they should."""

import datetime
import time

import pytest

from harness.alarms import events_url
from harness.daemon import UUID

ENABLED = "cloudclient is now registered for device changes"
LIST = "GET /redfish/v1/Oem/Quorvan:Events"
EXPIRED = "TimeOfDayAlarmCB: TOD Alarm(alarmid: "
# Central European time, as the rules stand that need no zone file.
CENTRAL_EUROPE = "CET-1CEST,M3.5.0,M10.5.0/3"


@pytest.fixture
def running(daemon, device, recorder, clock_of):
    """A registered daemon whose clock can be moved, an hour before local midnight."""
    recorder.knows_the_manager()
    recorder.answers(LIST, b"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n[]")
    recorder.answers(f"POST {events_url()}", b"HTTP/1.1 201 Created\r\nContent-Length: 0\r\n\r\n")
    daemon.configure(Url=recorder.url, XAuthToken="secret",
                     Chassis={"C1": {"VelocityInstance": 0}})
    clock = clock_of("2026-03-05 22:00:00", 50)
    daemon.start(clock)
    daemon.logs(ENABLED)
    return clock


def passes_a_heartbeat(recorder):
    recorder.receives(f"POST /hb/{UUID}", times=len(recorder.requests(f"POST /hb/{UUID}")) + 1)


def test_sync_follows_midnight_and_the_alarm_is_armed_again(daemon, recorder, running):
    asked = len(recorder.requests(LIST))
    running.step(3500)
    (expired,) = daemon.logs(EXPIRED + "1) Expired 03/06/2026 00:")
    assert expired.time.strftime("%F %T") >= "2026-03-06 00:00:01"
    daemon.logs("TimeOfDayAlarmCB: Started tod alarm(alarmid: ")
    recorder.receives(LIST, times=asked + 3)
    assert [r.line.rsplit("=", 1)[1] for r in recorder.requests(LIST)[asked:asked + 3]] == [
        "Fault", "Alarm", "Warning"]


def test_clock_set_forward_over_midnight_expires_once(daemon, recorder, running):
    running.step(2 * 3600)
    daemon.logs(EXPIRED + "1) Expired 03/06/2026 01:")
    passes_a_heartbeat(recorder)
    passes_a_heartbeat(recorder)
    assert len(daemon.logged("Expired")) == 1
    assert daemon.logged("Cancelled") == []


def test_clock_set_back_over_midnight_cancels_and_arms_afresh(daemon, recorder, running):
    running.step(-2 * 86400)
    daemon.logs("TimeOfDayCancelCB: TOD Alarm(alarmid: 1) Cancelled now(03/03/2026 23:")
    daemon.logs("TimeOfDayCancelCB: Started tod alarm(alarmid: ")
    passes_a_heartbeat(recorder)
    assert daemon.logged("Expired") == []
    running.step(3500)
    daemon.logs("Expired 03/04/2026 00:")


@pytest.mark.parametrize("start, hours, days", [
    ("2026-03-28 21:59:30", [1, 23, 24], ["03/29/2026", "03/30/2026", "03/31/2026"]),
    ("2026-10-24 20:59:30", [1, 25, 24], ["10/25/2026", "10/26/2026", "10/27/2026"]),
], ids=["spring", "autumn"])
def test_every_day_turns_once_also_where_the_offset_changes(daemon, device, nobody, clock_of,
                                                            start, hours, days):
    daemon.configure(Url=nobody.url)
    clock = clock_of(start, 50)
    began = time.monotonic()
    daemon.start(clock, TZ=CENTRAL_EUROPE, CLOUDCLIENT_LOG_LEVEL="5")
    for turn, skipped in enumerate(hours):
        # The alarm is armed; after the step it is half a minute to midnight.
        daemon.logs("Started tod alarm(alarmid: ", times=turn + 1)
        clock.step(skipped * 3600 - clock.passed(began))
        began = time.monotonic()
        daemon.logs(" Expired ", times=turn + 1)
    expired = daemon.logged(" Expired ")
    assert [e.text.split(" Expired ")[1].split(" ")[0] for e in expired] == days
    assert all(datetime.time(0, 0, 1) <= e.time.time() < datetime.time(1) for e in expired)
    assert daemon.logged("Cancelled") == []
