# SPDX-License-Identifier: Apache-2.0
"""The live stream of changes."""

import contextlib
import re
import socket
import threading

import pytest

from harness.appliance import Appliance
from harness.daemon import UUID
from harness.operators import BASE, Operator
from harness.process import clock

pytestmark = pytest.mark.both_stores


@pytest.fixture
def operator(service):
    service.start("--http", faketime=clock(1))
    return Operator(service).is_added()


def rack(service, uuid="u-1"):
    return Appliance(service, uuid, "Rack 7").has_chassis()


def test_changes_come_as_they_happen(service, operator):
    stream = operator.follows().begins()
    appliance = rack(service)
    kind, data = stream.next()
    assert (kind, data["uuid"]) == ("appliance", "u-1")
    # As it is when it is told: the chassis may have come already.
    assert data["chassis"] in (None, appliance.chassis)
    kind, data = stream.next()
    chassis = f"/redfish/v1/Chassis/{appliance.chassis}"
    assert (kind, data["uri"]) == ("resource", chassis) and data["updated"]
    assert stream.next()[1]["chassis"] == appliance.chassis
    uri = appliance.keeps("Thermal", {"A": 1})
    kind, data = stream.next()
    assert (kind, data["uuid"], data["uri"]) == ("resource", "u-1", uri)
    number = appliance.raises(1, "Fault", "<script>")
    kind, data = stream.next()
    assert (kind, data["uuid"], data["id"], data["message"]) == ("event", "u-1", number, "<script>")
    kind, data = stream.next()
    assert (kind, data["worst"], data["alarms"]["Fault"]) == ("appliance", "Fault", 1)
    appliance.clears(1)
    assert stream.until("appliance")["worst"] is None
    appliance.beats(90)
    assert stream.next()[1]["interval"] == 90
    appliance.sends("DELETE", chassis)
    assert stream.next() == ("resource", {"uuid": "u-1", "uri": chassis, "updated": None})
    assert stream.next()[1]["chassis"] is None
    appliance.leaves()
    assert stream.next() == ("gone", {"uuid": "u-1"})


def test_daemon_is_seen_live(service, daemon, device):
    service.start()
    operator = Operator(service).is_added()
    stream = operator.follows().begins()
    daemon.configure(Url=service.url)
    daemon.start()
    assert stream.until("appliance")["uuid"] == UUID
    chassis = stream.until("resource")["uri"]
    assert re.fullmatch("/redfish/v1/Chassis/[0-9a-f]{16}", chassis)
    while stream.until("resource")["uri"] != f"{chassis}/Thermal":
        pass
    while stream.until("appliance")["lastHeartbeat"] is None:
        pass


def test_reader_who_comes_back_misses_nothing(service, operator):
    stream = operator.follows().begins()
    appliance = rack(service)
    stream.until("appliance")
    last = stream.last
    stream.close()
    appliance.keeps("A", {"x": 1})
    appliance.keeps("B", {"x": 1})
    stream = operator.follows(last)
    assert stream.next()[1]["uri"].endswith(appliance.chassis)
    assert stream.next()[1]["chassis"] == appliance.chassis
    assert [stream.next()[1]["uri"].rpartition("/")[2] for _ in "AB"] == ["A", "B"]
    again = operator.follows(stream.last)
    appliance.beats()
    assert again.next()[0] == "appliance"


def test_reader_who_was_away_too_long_loads_afresh(service, operator):
    stream = operator.follows().begins()
    first = stream.last
    appliance = rack(service)
    appliance.beats_often(1100)
    for last in (first, "nonsense", first.partition("-")[0] + "-999999"):
        assert operator.follows(last).next() == ("reset", {})


def test_reader_goes_on_after_a_start_of_the_service(service, operator):
    stream = operator.follows().begins()
    appliance = rack(service)
    stream.until("appliance")
    appliance.keeps("A", {"x": 1})
    service.stop()
    service.start("--http", faketime=clock(1))
    appliance.keeps("B", {"x": 1})
    again = operator.follows(stream.last)
    assert again.next()[1]["uri"].endswith(appliance.chassis)
    assert again.next()[1]["chassis"] == appliance.chassis
    assert [again.next()[1]["uri"].rpartition("/")[2] for _ in "AB"] == ["A", "B"]
    appliance.beats()
    assert again.next()[0] == "appliance"


@pytest.mark.sqlite
def test_overdue_appliance_is_told_without_its_doing(service):
    service.start("--http", faketime=clock(50))
    operator = Operator(service).is_added()
    stream = operator.follows().begins()
    rack(service).beats(30)
    states = []
    while not states or states[-1] != "offline":
        states.append(stream.until("appliance")["state"])
    assert states[-3:] == ["alive", "late", "offline"]


@pytest.mark.sqlite
def test_account_that_goes_makes_readers_load_afresh(service):
    service.start("--http", faketime=clock(50))
    operator = Operator(service).is_added()
    stream = operator.follows().begins()
    rack(service)
    service.command("account", "remove", "keeper+plant&2@example.org")
    stream.until("reset")
    assert operator.ask("GET", "/appliances")["items"][0]["account"] is None


@pytest.mark.sqlite
def test_comment_comes_where_nothing_happens(service):
    service.start("--http", faketime=clock(50))
    operator = Operator(service).is_added()
    stream = operator.follows().begins()
    while not stream.comments():
        pass


def test_stream_ends_with_its_session(service, operator):
    otto = Operator(service, "otto").is_added()
    operator.signs_in()
    stream = operator.follows().begins()
    other = otto.follows().begins()
    operator.ask("DELETE", "/session", expected=204)
    assert stream.next()[0] == "end"
    rack(service)
    assert other.until("appliance")["uuid"] == "u-1"


@pytest.mark.sqlite
def test_stream_ends_with_its_operator(service):
    service.start("--http", faketime=clock(50))
    operator = Operator(service).is_added()
    stream = operator.follows().begins()
    service.command("operator", "remove", "olga")
    while stream.next()[0] != "end":
        pass


@pytest.mark.parametrize("transport", [["--http"], []], ids=["http", "https"])
def test_stream_ends_when_the_service_stops(service, transport):
    service.start(*transport, faketime=clock(1))
    operator = Operator(service).is_added()
    stream = operator.follows().begins()
    seen = []

    def read():
        try:
            seen.append(stream.next()[0])
        except OSError:
            seen.append("end")
    reader = threading.Thread(target=read)
    reader.start()
    service.stop()
    reader.join()
    assert seen == ["end"]


def stalled(service, operator):
    """A reader that asks for the stream and never reads."""
    sock = socket.socket()
    sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    sock.connect(("127.0.0.1", service.port))
    header = operator.headers["Authorization"]
    sock.sendall(f"GET {BASE}/stream HTTP/1.1\r\nHost: x\r\nAuthorization: {header}\r\n\r\n".encode())
    return sock


def test_reader_who_does_not_read_is_cut_off_and_holds_up_nobody(service, operator):
    # So many, since of each no more is told at once than hurts nobody.
    appliances = [rack(service, f"u-{number}") for number in range(60)]
    with contextlib.closing(stalled(service, operator)):
        service.says("/stream: 200")
        quick = operator.follows().begins()

        assert service.metric("streams") == 2
        rounds = 0
        while service.metric("streams") == 2:
            appliances[rounds % 60].raises(rounds, "Message", "x" * 16_000)
            assert quick.until("event")["message"] == "x" * 16_000
            rounds += 1
            assert rounds < 480, "what nobody reads is kept without end"
        assert rounds > 1


def test_hundred_streams_hold_up_nobody(service, operator):
    with contextlib.ExitStack() as streams:
        operators = [operator] + [Operator(service, name).is_added() for name in ("a", "b", "c")]
        readers = [operators[number % 4].follows() for number in range(99)]
        for reader in readers:
            streams.enter_context(contextlib.closing(reader))
        appliance = rack(service)
        raised = [appliance.raises(number) for number in range(20)]
        for reader in readers:
            assert [reader.until("event")["id"] for _ in raised] == raised
    operators[3].follows().begins().close()
