# SPDX-License-Identifier: Apache-2.0
"""Connections that are tried again, and tokens that a service refuses later, by the policy."""

import pytest

from harness.alarms import at_the_device, at_the_service
from harness.daemon import UUID
from harness.process import clock
from harness.recorder import CLOSES, TOKEN
from harness.waiting import wait_until
from harness.wire import answer

ROOT = "GET /redfish/v1"
LOOKUP = "GET /redfish/v1/Managers"
REGISTRATION = "POST /redfish/v1/Managers"
HEARTBEAT = f"POST /hb/{UUID}"
DOWN = "Cloud Service is not available at this time(8)"
ENABLED = "cloudclient is now registered for device changes"
NOT_CONNECTED = "DoWork: not connected, trying again within "
REFUSED = "DoWork: the Cloud Service refused the token, looking the manager up"


@pytest.fixture
def retrying(daemon):
    """A daemon that tries again after 10 to 40 seconds."""
    daemon.write("policy.json", {"Registration": {"RetrySeconds": {"First": 10, "Most": 40}}})
    return daemon


def seconds_between(entries):
    return [(later.time - earlier.time).total_seconds()
            for earlier, later in zip(entries, entries[1:])]


def test_service_that_comes_up_later_is_connected(retrying, device, service):
    service.start()
    service.stop()
    retrying.configure(Url=service.url)
    retrying.start()
    retrying.logs(DOWN, times=3)
    device.raises(4711)
    service.start()
    wait_until(lambda: retrying.chassis, "a chassis")
    assert at_the_device(device) == {(4711, 0, "Alarm")}
    wait_until(lambda: at_the_service(service, retrying) == at_the_device(device),
               "the same alarms on both sides")
    service.heartbeats(retrying.token, 1)


def test_registered_appliance_that_starts_before_its_service_is_reconciled(
        retrying, device, service):
    service.start()
    retrying.configure(Url=service.url)
    retrying.start()
    retrying.logs(ENABLED)
    token, chassis = retrying.token, retrying.chassis
    retrying.stop()
    service.stop()
    retrying.start()
    retrying.logs(NOT_CONNECTED)
    device.raises(4711)
    service.start()
    wait_until(lambda: at_the_service(service, retrying) == {(4711, 0, "Alarm")}, "the alarm")
    assert (retrying.token, retrying.chassis) == (token, chassis)
    service.heartbeats(token, 1)


def test_waits_double_up_to_the_longest(retrying, device, recorder):
    recorder.answers(ROOT, CLOSES)
    retrying.configure(Url=recorder.url)
    retrying.start()
    failures = retrying.logs(NOT_CONNECTED, times=6)
    assert [entry.text.removeprefix(NOT_CONNECTED) for entry in failures[:5]] == [
        "10 s", "20 s", "40 s", "40 s", "40 s"]
    assert {entry.level for entry in failures} == {5}
    for waited, longest in zip(seconds_between(failures), (10, 20, 40, 40, 40)):
        assert longest / 2 <= waited


def test_chassis_that_failed_is_posted_again(retrying, device, recorder):
    recorder.answers("POST /redfish/v1/Chassis", answer(500), answer(201, body={"Id": "C1"}))
    retrying.configure(Url=recorder.url)
    retrying.start()
    retrying.logs("Failed to add chassis to cloud service (3)")
    recorder.knows_the_manager()
    recorder.receives(HEARTBEAT)
    assert len(recorder.requests(REGISTRATION)) == 1
    assert retrying.chassis == ["C1"]


def test_service_that_lost_its_data_gets_appliance_and_alarms_anew(
        retrying, device, service, folder):
    service.start()
    retrying.configure(Url=service.url)
    retrying.start()
    service.heartbeats(wait_until(lambda: retrying.token, "a token"), 1)
    token, chassis = retrying.token, retrying.chassis
    device.raises(4711, module=1)
    wait_until(lambda: at_the_service(service, retrying) == {(4711, 1, "Alarm")}, "the alarm")
    service.stop()
    for path in folder.glob("service.db*"):
        path.unlink()
    service.start()
    wait_until(lambda: retrying.token not in ("", token) and retrying.chassis, "another token")
    # With a database of its own the service begins to count again.
    wait_until(lambda: at_the_service(service, retrying) == {(4711, 1, "Alarm")}, "the alarm again")
    service.heartbeats(retrying.token, 2)
    device.raises(4711, state="Fault")
    wait_until(lambda: at_the_service(service, retrying) == at_the_device(device),
               "the same alarms on both sides")
    assert retrying.logged(REFUSED)
    assert len(retrying.chassis) == len(chassis) == 1


def test_resource_that_is_refused_for_ever_does_not_hammer(retrying, device, recorder):
    recorder.answers(HEARTBEAT, answer(401))
    recorder.answers(f"POST /redfish/v1/Managers/{UUID}/Oem/Quorvan:Events", answer(401))
    retrying.configure(Url=recorder.url)
    retrying.start()
    recorder.receives(REGISTRATION)
    recorder.knows_the_manager()
    retrying.logs(ENABLED)
    looked = []
    state = "Alarm"
    while len(looked) < 5:
        state = "Fault" if state == "Alarm" else "Alarm"
        device.raises(4711, state=state)
        refusals = len(retrying.logged("Failed to POST Event"))
        retrying.logs("Failed to POST Event", times=refusals + 1)
        looked = retrying.logged(REFUSED)
    for waited, longest in zip(seconds_between(looked), (10, 20, 40, 40)):
        assert longest / 2 <= waited
    assert len(recorder.requests(REGISTRATION)) == 1
    assert {entry.level for entry in looked} == {5}


def test_stop_ends_the_wait(retrying, device, nobody):
    retrying.write("policy.json", {"Registration": {"RetrySeconds": {"First": 86400,
                                                                     "Most": 86400}}})
    retrying.configure(Url=nobody.url)
    retrying.start(clock(1))
    retrying.logs(NOT_CONNECTED)
    retrying.stop()


def test_disabled_appliance_is_not_connected_again(retrying, device, recorder):
    recorder.answers(ROOT, CLOSES)
    retrying.configure(Url=recorder.url)
    retrying.start()
    retrying.logs(NOT_CONNECTED)
    retrying.disable()
    retrying.logs("DoWork: cloudclient is running but DISABLED")
    asked = len(recorder.requests(ROOT))
    retrying.enable()
    retrying.logs("DoWork: cloudclient is now ENABLED", times=2)
    recorder.receives(ROOT, times=asked + 1)
    assert retrying.logs(NOT_CONNECTED + "10 s", times=2)


def test_without_the_key_nothing_is_tried_again(daemon, device, recorder):
    daemon.write("policy.json", {"Transport": {"FreshAnswers": True}})
    recorder.answers(ROOT, CLOSES)
    recorder.answers(HEARTBEAT, answer(401))
    daemon.configure(Url=recorder.url, XAuthToken=TOKEN, Chassis={"C1": {"VelocityInstance": 0}})
    daemon.start()
    recorder.receives(HEARTBEAT, times=2)  # more than three minutes
    assert len(recorder.requests(ROOT)) == 1
