# SPDX-License-Identifier: Apache-2.0
"""Answers about open alarms that are not what they should be: the daemon says so and goes on."""

import json

import pytest

from harness.alarms import events_url
from harness.daemon import UUID
from harness.wire import answer

ENABLED = "cloudclient is now registered for device changes"
LIST = "GET /redfish/v1/Oem/Quorvan:Events"
EVENT = "/redfish/v1/Oem/Quorvan:Events/1"
HEARTBEAT = f"POST /hb/{UUID}"
EVENTS = f"POST {events_url()}"
CHUNKED = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nTrailer: X-Checksum\r\n\r\n"


def chunked(body, trailer):
    """A chunked answer with a trailer."""
    return f"{CHUNKED}{len(body):x}\r\n{body}\r\n0\r\nX-Checksum: {trailer}\r\n\r\n".encode()


@pytest.fixture
def connects(daemon, device, recorder):
    """Connects the daemon with a service that answers the lists in turn, and each event, as given,
    and waits until it has gone on."""
    def connect(*lists, event=None):
        recorder.answers(LIST, *lists)
        if event is not None:
            recorder.answers(f"GET {EVENT}", event)
        recorder.answers(EVENTS, answer(201))
        daemon.configure(Url=recorder.url)
        daemon.start()
        recorder.receives(LIST)
        recorder.receives(HEARTBEAT)
        daemon.logs(ENABLED)
        device.raises(4711)
        recorder.receives(EVENTS)  # and still has a mind for what the device does
    return connect


def listing(*paths):
    """A list that refers to these events."""
    return answer(200, body=[{"@odata.id": path} for path in paths])


NO_REFERENCE = "ProcessAlarmList: Failed to get odata object for index: "
NO_LIST = "ProcessAlarmList: Failed(pos: "
# What the list is answered with, and what the daemon then logs.
LISTS = {
    "object": ("{}", "ProcessAlarmList: number of active events: 0"),
    "not_json": ("alarms: none", NO_LIST),
    "ten_megabytes": (json.dumps([{"x": "7" * 10_000_000}]), f"{NO_REFERENCE}0"),
    "deeply_nested": ("[" * 100_000 + "]" * 100_000, NO_LIST),
    "no_objects": ('[1, "two", null, [], true]', f"{NO_REFERENCE}4"),
    "numbers_for_references": ('[{"@odata.id": 17}, {"@odata.id": null}, {}]', f"{NO_REFERENCE}2"),
    "empty": ("", NO_LIST),
}


@pytest.mark.parametrize("body, text", LISTS.values(), ids=LISTS.keys())
def test_list(connects, daemon, recorder, body, text):
    connects(answer(200, body=body))
    daemon.logs(text)
    assert not [line for line in recorder.lines() if line.startswith(f"{LIST}/")]


NO_ALARM = "InitCloudAlarmFromJson: Failed to parse cloud alarm"
NO_JSON = "InitCloudAlarmFromJson: Failed to parse (pos: "
# The same of a single event.
EVENT_BODIES = {
    "no_arguments": ({"MessageId": "Zarvel.GDD.4711:0", "Severity": "Alarm"}, NO_ALARM),
    "two_arguments": ({"MessageId": "Zarvel.GDD.4711:0", "Severity": "Alarm",
                       "MessageArgs": ["Unit1", "System"]}, NO_ALARM),
    "numbers": ({"MessageId": 4711, "Severity": 3, "MessageArgs": [1, 2, 3, 4], "Message": 5,
                 "OriginOfCondition": 6, "Created": 7, "Cleared": 8}, NO_ALARM),
    "arguments_no_array": ({"MessageId": "Zarvel.GDD.4711:0", "Severity": "Alarm",
                            "MessageArgs": "0"}, NO_ALARM),
    "array": ([], NO_ALARM),
    "empty": ("", NO_JSON),
    "not_json": ("{", NO_JSON),
}


@pytest.mark.parametrize("event, text", EVENT_BODIES.values(), ids=EVENT_BODIES.keys())
def test_event(connects, daemon, recorder, event, text):
    connects(listing(EVENT), event=answer(200, body=event))
    recorder.receives(f"GET {EVENT}")
    daemon.logs(text)


def test_trailer_cuts_the_front_of_a_list(connects, daemon, recorder):
    """Deliberate: a trailer counts as header, so that as much is missing of the body."""
    connects(chunked(json.dumps([{"@odata.id": EVENT}]), "1"), event=answer(200, body={}))
    daemon.logs(NO_LIST)
    assert recorder.requests(f"GET {EVENT}") == []


def test_trailer_cuts_the_front_of_an_event(connects, daemon, recorder):
    connects(listing(EVENT), event=chunked("{}" + " " * 60, "1"))
    recorder.receives(f"GET {EVENT}")
    daemon.logs(NO_JSON)


NO_BODY = "answer without a body to cut  url: "
LONGER = chunked("[]", "x" * 200)


def test_trailer_longer_than_a_list_is_a_failed_query(connects, daemon, recorder):
    """Also at the start, where what left the reconciliation would end the process."""
    connects(LONGER, listing(), LONGER)
    assert [line.rpartition("=")[2] for line in recorder.lines() if line.startswith(LIST)] == [
        "Fault", "Alarm", "Warning"]
    for severity in ("Fault", "Warning"):
        daemon.logs(f"AskForEvents: {NO_BODY}{recorder.url}{LIST[4:]}?OriginOfCondition=C1"
                    f"&Cleared=false&Severity={severity}")


def test_trailer_longer_than_an_event_leaves_it_out(connects, daemon, recorder):
    other = f"{EVENT}2"
    recorder.answers(f"GET {other}", answer(200, body={}))
    connects(listing(EVENT, other), event=LONGER)
    daemon.logs(f"ProcessAlarmList: {NO_BODY}{recorder.url}{EVENT}")
    recorder.receives(f"GET {other}")


def test_trailer_longer_than_a_list_leaves_a_pass_whole(daemon, device, recorder, clock_of):
    recorder.knows_the_manager()
    recorder.answers(LIST, *[listing()] * 3, LONGER, listing())
    recorder.answers(EVENTS, answer(201))
    daemon.configure(Url=recorder.url, XAuthToken="secret",
                     Chassis={"C1": {"VelocityInstance": 0}})
    clock = clock_of("2026-03-05 22:00:00", 50)
    daemon.start(clock)
    daemon.logs(ENABLED)
    clock.step(3500)  # over local midnight, after which a pass synchronises
    recorder.receives(LIST, times=6)
    device.raises(4711)
    recorder.receives(EVENTS)
