# SPDX-License-Identifier: Apache-2.0
"""What a change of value puts on the wire, to the byte; only addresses and times are replaced."""

import json
import re

import pytest

from harness.alarms import events_url
from harness.daemon import NAME, UUID
from harness.points import HUMIDITY, SUPPLY, Held, map_file, point, resource
from harness.process import clock
from harness.wire import answer

ENABLED = "cloudclient is now registered for device changes"
EVENTS = f"POST {events_url()}"
THERMAL = "PATCH /redfish/v1/Chassis/C1/Thermal"
HUMID = "PATCH /redfish/v1/Chassis/C1/Humidity"
HEARTBEAT = f"POST /hb/{UUID}"
OTHER = 1205


@pytest.fixture
def connected(daemon, device, recorder):
    """Starts a daemon that the recorder knows, and which has sent its resources once."""
    device.describe({
        "ProductSequenceId": "1.2.3", "Label": "Cooling unit 7",
        "Points": [{"Id": SUPPLY, "Name": "supply", "Value": "21"},
                   {"Id": HUMIDITY, "Name": "humidity", "Value": "40"},
                   {"Id": OTHER, "Name": "other", "Value": "1"}],
        "Events": [{"GddId": 4711, "Text": "Filter clogged"}]})
    device.page("patch/humidity.txt", '{"Percent": {{point:1202}}}')
    recorder.knows_the_manager()
    recorder.answers("GET /redfish/v1/Oem/Quorvan:Events", answer(200, body="[]"))
    for name in (THERMAL, HUMID):
        recorder.answers(name, answer(204))
    recorder.answers(EVENTS, answer(201))

    def connect(resources=None, faketime=None, **groups):
        device.page("1/2/covpatchmap.txt",
                    map_file(resources or [resource()], **(groups or {"thermal": [point()]})))
        daemon.configure(Url=recorder.url, XAuthToken="secret",
                         Chassis={"C1": {"VelocityInstance": 0}})
        daemon.start(faketime)
        daemon.logs(ENABLED)
    return connect


def passes(recorder):
    """Waits until the daemon has surely made a pass over what was queued before."""
    recorder.receives(HEARTBEAT, times=len(recorder.requests(HEARTBEAT)) + 2)


def patches(recorder):
    return [(r.name, r.body) for r in recorder.requests() if r.line.startswith("PATCH ")]


def whole(line, body, *head):
    return "\r\n".join([f"{line} HTTP/1.1", "Host: ADDRESS", *head, "", body])


def test_patch_to_the_byte(device, recorder, connected):
    connected()
    device.sets(SUPPLY, "23")
    body = '{"Temperatures": [{"ReadingCelsius": 23}]}'
    assert recorder.receives(THERMAL, times=2).text == whole(
        THERMAL, body, "X-Auth-Token: secret", "Content-Type: application/json; charset=utf-8",
        f"Content-Length: {len(body)}", "Accept: application/json")


def test_page_that_is_missing_sends_an_empty_document(daemon, device, recorder, connected):
    connected([resource(page="patch/nothing.txt")])
    device.sets(SUPPLY, "23")
    assert recorder.receives(THERMAL, times=2).text == whole(
        THERMAL, "", "X-Auth-Token: secret", "Content-Type: application/json; charset=utf-8",
        "Content-Length: 0", "Accept: application/json")
    assert [e.level for e in daemon.logs("GetPatchDoc: Failed to get patch patch/nothing.txt",
                                         times=2)] == [3, 3]


def test_unknown_point_changes_nothing(daemon, device, recorder, connected):
    connected()
    device.sets(OTHER, "2")
    passes(recorder)
    device.sets(SUPPLY, "22")
    recorder.receives(THERMAL, times=2)
    passes(recorder)
    assert len(patches(recorder)) == 2
    assert recorder.requests(EVENTS) == []


TWO = {"thermal": [point(), point(OTHER)], "humid": [point(HUMIDITY)]}


def deliver(daemon, which):
    daemon.write("policy.json", {"Changes": {"Deliver": which}})


def in_one_pass(daemon, device, recorder, connected, *changes):
    """Has these changes, of the points of TWO, wait for one pass together, and returns the PATCH
    requests that follow those of the start and of a first change."""
    connected([resource(), resource("humid", "Humidity", "patch/humidity.txt")], **TWO)
    held = Held(answer(204))
    recorder.answers(THERMAL, held, answer(204))
    device.sets(SUPPLY, "22")
    recorder.receives(THERMAL, times=2)
    # While the poster waits: one queue, complete once a later event was seen.
    for number, value in changes:
        device.sets(number, value)
    device.raises(4711)
    daemon.logs("AddDeviceEvent: adding event from pld engine: 0:4711")
    device.clears(4711)
    daemon.logs("AddDeviceEvent: adding event from pld engine: 0:4711", times=2)
    held.release()
    recorder.receives(HUMID, times=2)
    passes(recorder)
    found = patches(recorder)
    assert found[2] == (THERMAL, '{"Temperatures": [{"ReadingCelsius": 22}]}')
    return found[3:]


def test_of_several_changes_within_a_pass_the_first_alone_is_delivered(daemon, device, recorder,
                                                                       connected):
    assert in_one_pass(daemon, device, recorder, connected, (HUMIDITY, "41"), (SUPPLY, "23"),
                       (OTHER, "2")) == [(HUMID, '{"Percent": 41}')]


def test_of_all_changes_within_a_pass_each_is_delivered_in_order(daemon, device, recorder,
                                                                 connected):
    deliver(daemon, "all")
    body = '{"Temperatures": [{"ReadingCelsius": 23}]}'
    assert in_one_pass(daemon, device, recorder, connected, (SUPPLY, "23"), (HUMIDITY, "41"),
                       (OTHER, "2")) == [(THERMAL, body), (HUMID, '{"Percent": 41}'),
                                         (THERMAL, body)]


def test_of_the_latest_changes_within_a_pass_each_resource_is_sent_once(daemon, device, recorder,
                                                                        connected):
    deliver(daemon, "latest")
    assert in_one_pass(
        daemon, device, recorder, connected, (SUPPLY, "23"), (HUMIDITY, "41"), (OTHER, "2"),
        (SUPPLY, "24")) == [(HUMID, '{"Percent": 41}'),
                            (THERMAL, '{"Temperatures": [{"ReadingCelsius": 24}]}')]


def test_refused_patch_keeps_the_event_back(daemon, device, recorder, connected):
    connected(thermal=[point(event={"msgid": "Changed"})])
    recorder.answers(THERMAL, answer(500), answer(204))
    device.sets(SUPPLY, "22")
    daemon.logs("SendResourceToCloud: Failed to PATCH")
    passes(recorder)
    assert recorder.requests(EVENTS) == []
    device.sets(SUPPLY, "23")
    recorder.receives(EVENTS)
    assert len(recorder.requests(EVENTS)) == 1


def test_refused_event_is_not_repeated(daemon, device, recorder, connected):
    connected(thermal=[point(event={"msgid": "Changed"})])
    recorder.answers(EVENTS, answer(500))
    device.sets(SUPPLY, "22")
    daemon.logs("SendEventForPoint: Failed (6) to send event to cloud")
    passes(recorder)
    assert len(recorder.requests(EVENTS)) == 1


def event_of(request):
    """The whole request with its time replaced."""
    return re.sub(r'("Created": ")\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ"', r'\1TIME"', request.text)


def event(message, first, second):
    body = (f'{{"Severity": "MESSAGE", "Message": {json.dumps(message)}, "MessageId": "Changed", '
            f'"MessageArgs": ["{NAME}", "Cooling unit 7", "{first}", "{second}"], '
            '"Created": "TIME", "OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/C1"}}')
    length = len(body) + len("2026-03-05T14:07:09Z") - len("TIME")
    return whole(EVENTS, body, "Content-Type: application/json", f"Content-Length: {length}",
                 "Accept: application/json", "X-Auth-Token: secret")


# The part after the first placeholder is taken by the position of the second as its length:
# deliberate, as are the second arguments of "old" and "pld".
@pytest.mark.parametrize("description, expected", [
    ({}, ("", "", "")),
    ({"numargs": 1, "message": "was %1.", "arg1Type": "old", "arg2": "supply", "arg2Type": "pld"},
     ("was 21.", "21", "")),
    ({"numargs": 2, "message": "%1 to %2", "arg1Type": "old", "arg2": "supply",
      "arg2Type": "pld"}, ("21 to %222", "21", "22")),
    ({"numargs": 1, "message": "now %1 C", "arg1": "supply", "arg1Type": "pld"},
     ("now 22 C", "22", "")),
    ({"numargs": 2, "message": "%1, %2", "arg1": "supply", "arg1Type": "pld", "arg2": "humidity",
      "arg2Type": "pldQueryArgs"}, ("22, %222", "22", "")),
    ({"numargs": 2, "message": "%1%2", "arg1": "1202,1,0,0,0", "arg1Type": "pldQueryArgs",
      "arg2": "1201,1,0,0,0", "arg2Type": "pldQueryArgs"}, ("40%222", "40", "22")),
    ({"numargs": 2, "message": "%1%2", "arg1": "1,2", "arg1Type": "pldQueryArgs",
      "arg2": "1201,1,0,0,x", "arg2Type": "pldQueryArgs"}, ("%2", "", "")),
], ids=["none", "old", "old_and_pld", "pld", "pld_and_other", "query", "query_that_is_wrong"])
def test_event_of_a_point_to_the_byte(device, recorder, connected, description, expected):
    connected(thermal=[point(event={"msgid": "Changed", "severity": "OK", **description})])
    device.sets(SUPPLY, "22")
    assert event_of(recorder.receives(EVENTS)) == event(*expected)


def test_new_value_of_one_event_is_the_old_one_of_the_next(device, recorder, connected):
    connected(thermal=[point(event={
        "msgid": "Changed", "numargs": 2, "message": "%1%2", "arg1Type": "old", "arg2": "supply",
        "arg2Type": "pld"})])
    for turn, value in enumerate(("22", "23", "19")):
        device.sets(SUPPLY, value)
        recorder.receives(EVENTS, times=turn + 1)
    assert [json.loads(r.body)["MessageArgs"][2:] for r in recorder.requests(EVENTS)] == [
        ["21", "22"], ["22", "23"], ["23", "19"]]
