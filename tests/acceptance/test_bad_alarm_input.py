"""Answers about open alarms that are not what they should be: the daemon says so and goes on."""

import json
import signal

import pytest

from harness.alarms import events_url
from harness.daemon import UUID
from harness.recorder import answer

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
    """Connects the daemon with a service that answers the list, and each event, as given, and
    waits until it has gone on."""
    def connect(listed, event=None):
        recorder.answers(LIST, listed)
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


def one(event):
    """A list with one reference, and what that is answered with."""
    return answer(200, body=[{"@odata.id": EVENT}]), answer(200, body=event)


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
    connects(*one(event))
    recorder.receives(f"GET {EVENT}")
    daemon.logs(text)


def test_trailer_cuts_the_front_of_a_list(connects, daemon, recorder):
    """Deliberate: a trailer counts as header, so that as much is missing of the body."""
    connects(chunked(json.dumps([{"@odata.id": EVENT}]), "1"), answer(200, body={}))
    daemon.logs(NO_LIST)
    assert recorder.requests(f"GET {EVENT}") == []


def test_trailer_cuts_the_front_of_an_event(connects, daemon, recorder):
    connects(one({})[0], chunked("{}" + " " * 60, "1"))
    recorder.receives(f"GET {EVENT}")
    daemon.logs(NO_JSON)


def test_trailer_longer_than_the_body_ends_the_start(daemon, device, recorder):
    """Deliberate: what the start's reconciliation raises leaves the start and ends the process."""
    recorder.answers(LIST, chunked("[]", "x" * 200))
    daemon.configure(Url=recorder.url)
    daemon.start()
    recorder.receives(LIST)
    daemon.ends(-signal.SIGABRT)


def test_trailer_longer_than_the_body_fails_the_operation_of_a_pass(daemon, device, recorder,
                                                                     clock_of):
    """Deliberate: in the poster thread it is one failed operation, and the next pass goes on."""
    recorder.knows_the_manager()
    recorder.answers(LIST, *[answer(200, body=[])] * 3, chunked("[]", "x" * 200))
    recorder.answers(EVENTS, answer(201))
    daemon.configure(Url=recorder.url, XAuthToken="secret",
                     Chassis={"C1": {"VelocityInstance": 0}})
    clock = clock_of("2026-03-05 22:00:00", 50)
    daemon.start(clock)
    daemon.logs(ENABLED)
    asked = len(recorder.requests(LIST))
    clock.step(3500)  # over local midnight, after which a pass synchronises
    recorder.receives(LIST, times=asked + 1)
    recorder.receives(HEARTBEAT, times=len(recorder.requests(HEARTBEAT)) + 1)
    assert len(recorder.requests(LIST)) == asked + 1
    device.raises(4711)
    recorder.receives(EVENTS)
