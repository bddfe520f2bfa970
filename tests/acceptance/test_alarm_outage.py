# SPDX-License-Identifier: Apache-2.0
"""What is left of a disturbed link: nothing, after an answered heartbeat and a synchronisation."""

import pytest

from harness.alarms import at_the_device, at_the_service
from harness.proxy import DISTURBED, DOWN, REFUSING_PATCHES, THROUGH
from harness.waiting import wait_until

ENABLED = "cloudclient is now registered for device changes"
EVENTS = [{"GddId": 4711, "Text": "Filter clogged", "Modules": 2},
          {"GddId": 4712, "Text": "Pump stopped"},
          {"GddId": 4713, "Text": "Door open"}]


@pytest.fixture
def clock(clock_of):
    """An hour before local midnight."""
    return clock_of("2026-03-05 22:00:00", 50)


@pytest.fixture
def connected(daemon, device, service, proxy_to, clock):
    """Service, proxy and daemon on one clock."""
    device.describe({"ProductSequenceId": "1.2.3", "Events": EVENTS,
                     "Points": [{"Id": 1201, "Name": "supply", "Value": "21"}]})
    service.start("--http", faketime=clock)
    proxy = proxy_to(service)
    daemon.configure(Url=proxy.url)
    daemon.start(clock)
    daemon.logs(ENABLED)
    return proxy


def both_sides_are_equal(daemon, device, service):
    wait_until(lambda: at_the_service(service, daemon) == at_the_device(device),
               "the same alarms on both sides")


@pytest.mark.parametrize("disturbance", DISTURBED)
def test_alarms_of_an_outage_are_made_up_for(daemon, device, service, connected, clock,
                                             disturbance):
    device.raises(4711)
    device.raises(4712, state="Warning")
    both_sides_are_equal(daemon, device, service)
    connected.becomes(disturbance)
    device.clears(4711)
    device.raises(4711, module=1, state="Fault")
    device.raises(4712, state="Fault")
    device.raises(4713)
    daemon.logs("SendHeartbeat: heartbeat failed")
    connected.becomes(THROUGH)
    service.heartbeats(daemon.token, service.heartbeat(daemon.token)["Count"] + 1)
    clock.step(daemon.until_midnight() - 60)
    daemon.logs("TOD Alarm(alarmid: 1) Expired 03/06/2026")
    both_sides_are_equal(daemon, device, service)
    assert at_the_device(device) == {(4711, 1, "Fault"), (4712, 0, "Fault"), (4713, 0, "Alarm")}


def test_refused_patch_spoils_one_daily_reading(daemon, device, service, connected, clock):
    """The answer of a refused PATCH becomes the front of the next GET's: deliberate. It costs the
    reading that follows it, and no more."""
    device.raises(4713, state="Fault")
    both_sides_are_equal(daemon, device, service)
    connected.becomes(DOWN)
    device.clears(4713)
    daemon.logs("PostEventForAlarmToCloud: Failed to POST Event (4)")  # and is forgotten
    connected.becomes(REFUSING_PATCHES)
    clock.step(daemon.until_midnight() - 60)
    daemon.logs("TOD Alarm(alarmid: 1) Expired 03/06/2026")
    daemon.logs("SendResourceToCloud: Failed to PATCH")
    daemon.logs("ProcessAlarmList: Failed(pos:")
    daemon.logs("SyncAlarms: unprocessed device events (0) that need posted", times=2)
    assert at_the_service(service, daemon) == {(4713, 0, "Fault")}

    connected.becomes(THROUGH)
    service.heartbeats(daemon.token, service.heartbeat(daemon.token)["Count"] + 1)
    clock.step(daemon.until_midnight() - 60)
    daemon.logs("Expired 03/07/2026")
    both_sides_are_equal(daemon, device, service)
    assert at_the_device(device) == set()
