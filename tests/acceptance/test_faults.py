# SPDX-License-Identifier: Apache-2.0
"""Each fault of a network, and what it costs: without a policy and with the hardened preset."""

import shutil

import pytest

from harness.alarms import events_url
from harness.faults import (Answers, Closes, CutHandshake, Delivers, FaultyWay, Reset, ResetRequest,
                            Stall, StallHandshake, Trickle, chunked, oversized, redirected, refused,
                            truncated)
from harness.points import SUPPLY
from harness.process import clock, faketime
from harness.waiting import wait_until
from harness.wire import answer, tls_context

ENABLED = "cloudclient is now registered for device changes"
DOWN = "Cloud Service is not available at this time(8)"
THERMAL = "PATCH /redfish/v1/Chassis/C1/Thermal"
ROOT = "GET /redfish/v1 "
EVENTS = f"POST {events_url()}"
MANAGERS = "GET /redfish/v1/Managers?"
LOST = "SendResourceToCloud: Failed to PATCH"
CA = "/etc/cloudclient/ca.pem"
NAMED, LOCALHOST = "-addext", "subjectAltName=DNS:localhost"
# With deadlines: none of them passes where nothing stalls, however busy the machine is.
SPEED = 20
FAST = 100

POLICIES = pytest.mark.parametrize("hardened", [False, True])


@pytest.fixture
def way(recorder):
    proxy = FaultyWay(recorder.port)
    yield proxy
    proxy.close()


@pytest.fixture
def known(daemon, device, recorder):
    """A service that knows the appliance."""
    recorder.knows_the_manager()
    recorder.answers("GET /redfish/v1/Oem/Quorvan:Events", answer(200, body="[]"))
    recorder.answers(THERMAL, answer(204))
    recorder.answers(EVENTS, answer(201, body={"Id": "1"}))


@pytest.fixture
def starts(daemon, known):
    """Starts a daemon that is registered."""
    def start(way, hardened, its_clock=None, ca=None, **variables):
        if hardened:
            daemon.write("policy.json", {"Preset": "hardened",
                                         "Transport": {"CaFile": ca} if ca else {}})
        daemon.configure(Url=way.url, XAuthToken="secret", Chassis={"C1": {"VelocityInstance": 0}})
        daemon.start(its_clock or clock(SPEED if hardened else FAST), **variables)
    return start


@pytest.fixture
def connected(daemon, recorder, way, starts):
    """The same, when it has sent its resource."""
    def connect(hardened):
        starts(way, hardened)
        daemon.logs(ENABLED)
        recorder.receives(THERMAL)
    return connect


def sends(recorder, value):
    """Waits for a change of value."""
    wait_until(lambda: [r for r in recorder.requests(THERMAL) if f": {value}}}" in r.body],
               lambda: f"a PATCH with {value}; there were {recorder.lines()}")


def failed(code):
    return f"PatchResource: Patch  failed (curlres: {code} - "


def refusal(status):
    return f"PatchResource: respCode({status})  hdr: HTTP/1.1 {status} Scripted"


# Name: the fault, the message, whether no line of an answer came.
FAULTS = {
    "reset within the request": (ResetRequest(100), failed(56), True),
    "reset before the answer": (Reset(0), failed(56), True),
    "reset within the answer": (Reset(30), failed(56), False),
    "end before the answer": (Closes(0), failed(52), True),
    "garbled": (Answers(b"\x16\x03\x01 no HTTP\r\n" * 20, ends=True), failed(1), False),
    "truncated": (truncated(), failed(18), False),
    "500": (refused(500), refusal(500), False),
    "503": (refused(503, "Retry-After: 120"), refusal(503), False),
    "429": (refused(429, "Retry-After: 120"), refusal(429), False),
    "redirect to nowhere": (redirected("http://127.0.0.1:1/nowhere"), refusal(302), False),
}


@POLICIES
@pytest.mark.parametrize("name", FAULTS)
def test_request_that_meets_a_fault_is_lost_and_the_next_arrives(daemon, device, recorder, way,
                                                                 connected, name, hardened):
    fault, message, is_silent = FAULTS[name]
    connected(hardened)
    way.does(fault, "PATCH")
    device.sets(SUPPLY, "22")
    daemon.logs(LOST)
    (entry,) = daemon.logged(message)
    assert (entry.level, entry.unit) == (3, "HttpsClient")
    # On a connection that was kept libcurl tries once more, on a new one: the service may have
    # closed the other meanwhile.
    assert way.touched() == [THERMAL] * (2 if hardened and is_silent else 1)
    way.heals()
    device.sets(SUPPLY, "23")
    sends(recorder, 23)


@POLICIES
def test_refused_connection_costs_the_request(daemon, device, recorder, way, connected, hardened):
    connected(hardened)
    way.refuses()
    device.sets(SUPPLY, "22")
    daemon.logs(LOST)
    assert daemon.logged(failed(7))
    way.heals()
    device.sets(SUPPLY, "23")
    sends(recorder, 23)
    assert not [r for r in recorder.requests(THERMAL) if ": 22}" in r.body]


ODDITIES = {"oversized": oversized(4_000_000), "chunked": chunked(2000), "twice": Delivers(2)}


@POLICIES
@pytest.mark.parametrize("name", ODDITIES)
def test_odd_answer_of_a_change_costs_nothing(daemon, device, recorder, way, connected, name,
                                              hardened):
    connected(hardened)
    way.does(ODDITIES[name], THERMAL)
    for value in (22, 23):
        device.sets(SUPPLY, str(value))
        sends(recorder, value)
    assert way.touched() == [THERMAL] * 2
    assert not daemon.logged(LOST)


@POLICIES
def test_event_that_is_delivered_twice_is_there_once_by_its_key(daemon, device, service, hardened):
    """Without a policy an event has no key, and is there twice."""
    service.start("--http", faketime=clock(1))
    way = FaultyWay(service.port)
    try:
        way.does(Delivers(2), EVENTS)
        if hardened:
            daemon.write("policy.json", {"Preset": "hardened"})
        daemon.configure(Url=way.url)
        daemon.start(clock(SPEED))
        daemon.logs(ENABLED)
        device.raises(4711)
        wait_until(way.touched, "an event")
        device.raises(4711, 1)
        # In order: when the second is there, what becomes of the first is decided.
        wait_until(lambda: len(way.touched()) >= 2, "another event")
    finally:
        way.close()
    events = service.documents("/redfish/v1/Oem/Quorvan:Events?$expand=.", daemon.token)
    first = [event for event in events if event["MessageId"] == "Zarvel.GDD.4711:0"]
    assert len(first) == (1 if hardened else 2)


@pytest.mark.parametrize("at", [0, 30])
def test_stall_holds_everything_until_it_ends(daemon, device, recorder, way, connected, at):
    """Kept behaviour: no deadline."""
    connected(False)
    way.does(Stall(at), "PATCH")
    device.sets(SUPPLY, "22")
    sends(recorder, 22)
    asked = recorder.lines()
    device.raises(4711)
    device.sets(SUPPLY, "23")
    daemon.sleeps(40)  # of 5 seconds each
    assert recorder.lines() == asked
    way.heals()
    sends(recorder, 23)
    recorder.receives(EVENTS)
    assert not daemon.logged("failed (curlres: ")


def test_handshake_that_stalls_holds_everything_until_it_goes_on(daemon, recorder, secured, starts):
    """Kept behaviour: no deadline."""
    secured.does(StallHandshake())
    starts(secured, False)
    wait_until(secured.connections, "the first request")
    daemon.sleeps(40)
    assert not daemon.logged("is now registered") and recorder.requests() == []
    secured.heals()
    recorder.receives(THERMAL)
    assert not daemon.logged("failed (curlres: ")


@pytest.mark.parametrize("make", [lambda: Stall(0), lambda: Stall(30),
                                  lambda: Trickle(10, 0.01, 4000)],
                         ids=["answer", "rest of the answer", "trickle"])
def test_stall_ends_at_the_deadline_of_the_preset(daemon, device, recorder, way, connected, make):
    connected(True)
    way.does(make(), "PATCH")
    device.sets(SUPPLY, "22")
    daemon.logs(LOST)
    assert daemon.logged(failed(28))
    way.heals()
    device.sets(SUPPLY, "23")
    sends(recorder, 23)


def test_answer_that_trickles_is_taken(daemon, device, recorder, way, connected):
    connected(False)
    way.does(Trickle(10, 0.01, 1000), THERMAL)
    device.sets(SUPPLY, "22")
    sends(recorder, 22)
    way.heals()
    device.sets(SUPPLY, "23")
    sends(recorder, 23)
    assert not daemon.logged(LOST)


# Before the daemon has met its service

@pytest.fixture
def secured(recorder, daemon, folder):
    """A way with TLS, and a certificate that names its host and that the policy may trust."""
    proxy = FaultyWay(recorder.port, tls_context(folder, NAMED, LOCALHOST))
    # By name: the TLS library of the other machine's daemon compares no addresses.
    proxy.url = proxy.url.replace("127.0.0.1", "localhost")
    shutil.copy(folder / "server.pem", daemon.path("ca.pem"))
    yield proxy
    proxy.close()


def goes_on(device, recorder, way):
    """Changes arrive once the fault is gone, whether or not the daemon looks its manager up again."""
    way.heals()
    device.sets(SUPPLY, "22")
    sends(recorder, 22)


def is_met(daemon, recorder, accepted, code):
    """Either the daemon finds its manager, or it tells why not and goes on without."""
    if accepted:
        recorder.receives(THERMAL)
        assert not daemon.logged(DOWN)
        return
    daemon.logs(DOWN)
    assert daemon.logged(f"failed (curlres: {code} - ")
    assert recorder.requests() == []
    daemon.logs(ENABLED)


@POLICIES
def test_certificate_of_somebody_else_is_refused_by_the_preset(daemon, recorder, secured, starts,
                                                               folder, hardened):
    (folder / "other").mkdir()
    secured.shows(tls_context(folder / "other", NAMED, LOCALHOST))
    starts(secured, hardened, ca=CA)
    is_met(daemon, recorder, not hardened, 60)


@POLICIES
def test_certificate_that_has_expired_is_refused_by_the_preset(daemon, recorder, secured, starts,
                                                               hardened):
    starts(secured, hardened, clock(SPEED, "2036-03-05 12:00:00"), ca=CA)
    is_met(daemon, recorder, not hardened, 60)


@POLICIES
@pytest.mark.parametrize("at", [1, 100])
def test_handshake_that_is_cut_costs_its_request(daemon, device, recorder, secured, starts, at,
                                                 hardened):
    secured.does(CutHandshake(at))
    starts(secured, hardened, ca=CA)
    is_met(daemon, recorder, False, 35)
    goes_on(device, recorder, secured)


def test_handshake_that_stalls_ends_at_the_deadline_of_the_preset(daemon, device, recorder, secured,
                                                                  starts):
    secured.does(StallHandshake())
    starts(secured, True, ca=CA)
    is_met(daemon, recorder, False, 28)
    goes_on(device, recorder, secured)


ROOT_FAILED = "/redfish/v1) failed (curlres: "
LOOKUPS = {
    "reset": (Reset(30), ROOT, ROOT_FAILED + "56 - "),
    "truncated": (truncated(), ROOT, ROOT_FAILED + "18 - "),
    "503": (refused(503), ROOT, "PerformGet: respCode: 503 hdr: HTTP/1.1 503 Scripted"),
    "root is redirected": (redirected("http://127.0.0.1:1/"), ROOT, DOWN),
    "redirect to nowhere": (redirected("/nowhere"), MANAGERS,
                            "PerformGet: respCode: 404 hdr: HTTP/1.1 404 Scripted"),
}


@POLICIES
@pytest.mark.parametrize("name", LOOKUPS)
def test_look_up_that_meets_a_fault_is_told_and_changes_arrive(daemon, device, recorder, way, starts,
                                                               name, hardened):
    fault, request, message = LOOKUPS[name]
    way.does(fault, request)
    starts(way, hardened)
    daemon.logs("ConnectWithCloudService: ")
    assert daemon.logged(message)
    daemon.logs(ENABLED)
    goes_on(device, recorder, way)


@POLICIES
def test_oversized_answer_of_the_look_up_is_taken(daemon, recorder, way, starts, hardened):
    way.does(oversized(4_000_000), ROOT)
    starts(way, hardened)
    recorder.receives(THERMAL)
    assert way.touched() == [ROOT.strip()]


def test_trailer_of_the_look_up_ends_the_daemon(daemon, way, starts):
    """Kept behaviour: the answer is cut by the length of its header lines."""
    way.does(chunked(2000), ROOT)
    starts(way, False)
    daemon.ends(1)
    assert daemon.logged("ended by an exception that nobody caught: ")


def test_trailer_of_the_look_up_is_left_out_by_the_preset(recorder, way, starts):
    way.does(chunked(2000), ROOT)
    starts(way, True)
    recorder.receives(THERMAL)
    assert way.touched() == [ROOT.strip()]


# The name of the service

@pytest.fixture
def names(programs, folder):
    """A name service for hosts of the domain "test", as a file that is there while it works, and the
    variables of a program that asks it: one of this machine."""
    works = folder / "names"
    library = programs / "tests" / "acceptance" / "names.so"
    return works, {"LD_PRELOAD": f"{faketime()}:{library}", "CLOUDCLIENT_NAMES": str(works)}


@POLICIES
def test_name_that_is_not_resolved_is_tried_three_times_until_it_comes_back(
        daemon, device, recorder, way, starts, names, hardened):
    works, variables = names
    works.touch()
    way.url = way.url.replace("127.0.0.1", "cloud.test")
    starts(way, hardened, **variables)
    daemon.logs(ENABLED)
    recorder.receives(THERMAL)
    # What is kept over requests, a name's address too, ends with an error.
    way.refuses()
    device.sets(SUPPLY, "22")
    daemon.logs(LOST)
    way.heals()
    works.unlink()
    device.sets(SUPPLY, "23")
    daemon.logs(LOST, times=2)
    assert daemon.logged(failed(6))
    assert len(daemon.logged("PatchResource: DELETE DNS fail")) == 2
    works.touch()
    device.sets(SUPPLY, "24")
    sends(recorder, 24)


def test_name_that_comes_back_is_asked_for_at_the_next_enabling(daemon, recorder, way, starts,
                                                                names):
    works, variables = names
    way.url = way.url.replace("127.0.0.1", "cloud.test")
    starts(way, False, **variables)
    daemon.logs(ENABLED)
    assert daemon.logged(DOWN)
    works.touch()
    daemon.disable()
    daemon.logs("DoWork: cloudclient is now DISABLED")
    daemon.enable()
    recorder.receives("GET /redfish/v1/Managers")
