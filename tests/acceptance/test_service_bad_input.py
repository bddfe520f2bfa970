# SPDX-License-Identifier: Apache-2.0
"""What is thrown at the service, and that it goes on."""

import contextlib
import socket
import threading

import pytest

from harness.appliance import Appliance
from harness.operators import Operator
from harness.process import clock
from harness.wire import connect, dial, read_all


def small_window(service):
    """A connection that takes hardly anything of an answer."""
    sock = socket.socket()
    sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)
    sock.connect(("127.0.0.1", service.port))
    return contextlib.closing(sock)


def raw(service):
    """A connection that says what it is told, byte for byte."""
    return contextlib.closing(dial(service.url))


def goes_on(service, times=1):
    for _ in range(times):
        assert service.ask("GET", "/healthz") == (200, {"status": "ok"})


@pytest.mark.parametrize("transport", [["--http"], []], ids=["http", "https"])
def test_senders_of_a_byte_at_a_time_hold_up_nobody(service, transport):
    """Fifty slow ones, in headers and bodies; between two of their bytes others are served."""
    service.start(*transport, faketime=clock(1))
    slow_header = b"GET /redfish/v1 HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"
    slow_body = (b"POST /redfish/v1/Chassis HTTP/1.1\r\nHost: x\r\nConnection: close\r\n"
                 b"Content-Length: 20\r\n\r\n" + b" " * 20)
    with contextlib.ExitStack() as stack:
        senders = [(stack.enter_context(raw(service)), text)
                   for _ in range(25) for text in (slow_header, slow_body)]
        for at in range(max(len(slow_header), len(slow_body))):
            for sock, text in senders:
                if at < len(text):
                    sock.sendall(text[at:at + 1])
            if at % 10 == 0:
                goes_on(service)
        answers = [read_all(sock).partition(b"\r\n")[0] for sock, _ in senders]
    assert answers == [b"HTTP/1.1 200 OK", b"HTTP/1.1 401 Unauthorized"] * 25


def test_sender_who_never_comes_to_an_end_is_cut_off(service):
    """A byte now and then does not keep a request alive: header and body have one time each."""
    service.start("--http", faketime=clock(1000), patience=600)
    token = Appliance(service, "u-1").token.encode()
    for head in (b"GET /redfish/v1 HTTP/1.1\r\nX: ",
                 b"POST /redfish/v1/Chassis HTTP/1.1\r\nHost: x\r\nX-Auth-Token: " + token
                 + b"\r\nContent-Length: 100000\r\n\r\n"):
        with raw(service) as sock:
            sock.sendall(head)
            ended = threading.Event()

            def drip(sock=sock, ended=ended):
                with contextlib.suppress(OSError):
                    while not ended.wait(0.01):
                        sock.sendall(b"a")
            dripping = threading.Thread(target=drip)
            dripping.start()
            try:
                assert read_all(sock) == b""
            finally:
                ended.set()
                dripping.join()
    service.says("connection closed: its request took too long", times=2)


def test_thousand_idle_connections_hold_up_nobody(service):
    service.start("--http", faketime=clock(1))
    with contextlib.ExitStack() as stack:
        for _ in range(1000):
            stack.enter_context(raw(service))
        service.wait_until(lambda: service.metric("connections") > 1000, "all connections")
        appliance = Appliance(service, "u-1").has_chassis()
        uri = appliance.keeps("Thermal", {"Name": "a"})
        assert appliance.sends("GET", uri, expected=200)["Name"] == "a"
    service.wait_until(lambda: service.metric("connections") < 10, "the end of the connections")


def test_floods_of_headers_are_refused(service):
    service.start("--http", faketime=clock(1))
    for flood in (b"A: " + b"a" * 100_000, b"A: b\r\n" * 20_000, b"A" * 20_000 + b": b",
                  b"Cookie: " + b"session=x; " * 5_000):
        with raw(service) as sock:
            with contextlib.suppress(ConnectionError):
                sock.sendall(b"GET /api/v1/session HTTP/1.1\r\nHost: x\r\n" + flood + b"\r\n\r\n")
            assert read_all(sock).startswith(b"HTTP/1.1 431 "), flood[:20]
    with raw(service) as sock:
        sock.sendall(b"GET /" + b"a" * 100_000 + b" HTTP/1.1\r\n\r\n")
        assert read_all(sock).startswith((b"HTTP/1.1 431 ", b"HTTP/1.1 400 "))
    goes_on(service)


@pytest.mark.parametrize("transport", [["--http"], []], ids=["http", "https"])
def test_endless_extensions_and_trailers_are_refused(service, transport):
    """One connection neither ends the service nor makes it grow."""
    service.start(*transport, faketime=clock(1))
    head = (b"POST /hb/u-1 HTTP/1.1\r\nHost: x\r\nX-Auth-Token: "
            + Appliance(service, "u-1").token.encode() + b"\r\nTransfer-Encoding: chunked\r\n\r\n")
    for begin in (b"0\r\nT: ", b"1;x=", b"0;x=", b"2\r\n{}\r\n0\r\nT: t\r\nT: "):
        with raw(service) as sock:
            with contextlib.suppress(OSError):
                sock.sendall(head + begin)
                for _ in range(64):
                    sock.sendall(b"a" * 65536)
            assert read_all(sock).startswith(b"HTTP/1.1 400 "), begin
    with raw(service) as sock:
        sock.sendall(head + b"0\r\nT: " + b"t" * 70_000 + b"\r\n\r\n")
        assert read_all(sock).startswith(b"HTTP/1.1 400 ")
    goes_on(service)


def test_body_of_a_stranger_is_not_waited_for(service):
    service.start("--http", faketime=clock(1))
    for target in (b"/redfish/v1/Chassis", b"/hb/u-1", b"/redfish/v1/Managers/u-1"):
        with raw(service) as sock:
            method = b"PATCH " if b"Managers" in target else b"POST "
            sock.sendall(method + target + b" HTTP/1.1\r\nHost: x\r\nX-Auth-Token: none\r\n"
                         b"Content-Length: 1000000\r\n\r\n")
            assert read_all(sock).startswith(b"HTTP/1.1 401 "), target
    service.says("401 The X-Auth-Token is not known.", times=3)


def test_token_behind_the_body_is_none(service):
    service.start("--http", faketime=clock(1))
    appliance = Appliance(service, "u-1")
    with raw(service) as sock:
        sock.sendall(b"POST /redfish/v1/Chassis HTTP/1.1\r\nHost: x\r\nConnection: close\r\n"
                     b"Transfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\nX-Auth-Token: "
                     + appliance.token.encode() + b"\r\n\r\n")
        assert read_all(sock).startswith(b"HTTP/1.1 401 ")


@pytest.mark.parametrize("authorization", [
    "Basic", "Basic " + "A" * 8000, "Basic ====", "Basic =YTpi", "Basic OnA=", "Basic b2xnYTo=",
    "Bearer", "Bearer " + "f" * 64, "Bearer ' OR 1=1 --", "bearer\t", "Digest username=\"olga\""])
def test_odd_authorizations_are_nobodys(service, authorization):
    service.start("--http", faketime=clock(1))
    operator = Operator(service).is_added()
    operator.headers = {"Authorization": authorization}
    operator.ask("GET", "/appliances", expected=401)


@pytest.mark.parametrize("body", [
    "", pytest.param("[]", id="array"), pytest.param("{", id="cut off"),
    '{"name": 1, "password": 2}', '{"name": "olga"}', pytest.param("\0", id="NUL"),
    pytest.param("[" * 100, id="brackets that nothing closes"),
    '{"name": "olga", "password": "\\ud800"}', '{"name": null, "password": null}'])
def test_odd_sign_ins_are_refused(service, body):
    service.start("--http", faketime=clock(1))
    operator = Operator(service).is_added()
    operator.headers = {}
    operator.ask("POST", "/session", expected=400, body=body,
                 headers={"Content-Type": "application/json"})


SQL = "'; DROP TABLE manager; --"
HTML = "<script>alert(1)</script>\"'&amp;"


@pytest.mark.parametrize("text", [SQL, HTML, "\u202e\u0301%s%n{{x}}", "a" * 10_000])
def test_text_is_text_wherever_it_stands(service, text):
    service.start("--http", faketime=clock(1))
    operator = Operator(service).is_added()
    appliance = Appliance(service, "u-1", text, Model=text, SerialNumber=text, FirmwareVersion=text)
    appliance.has_chassis(Name=text)
    uri = appliance.keeps("Thermal", {"Name": text, text: 1, "Note": text})
    appliance.raises(1, "Alarm", text)
    appliance.raises(2, text[:1000])
    one = operator.ask("GET", "/appliances/{uuid}", "u-1")
    assert {one[name] for name in ("model", "serial", "firmware")} == {text}
    assert one["name"] == text[:200]
    assert one["chassisList"][0]["name"] == text
    assert operator.ask("GET", "/appliances", q=text[:200])["total"] == 1
    alarms = operator.ask("GET", "/appliances/{uuid}/alarms", "u-1")["items"]
    assert text in [alarm["message"] for alarm in alarms]
    events = operator.ask("GET", "/appliances/{uuid}/events", "u-1", q=text[:200])["items"]
    assert [event["message"] for event in events] == [text]
    document = operator.ask("GET", "/appliances/{uuid}/resources/detail", "u-1", uri=uri)["document"]
    assert document == {"Name": text, text: 1, "Note": text}
    operator.ask("GET", "/appliances/{uuid}", text[:200], 404)
    operator.ask("GET", "/appliances/{uuid}/resources/detail", "u-1", 404, uri=text[:4000])
    numbers = operator.ask("GET", "/appliances/{uuid}/numbers", "u-1")["items"]
    for number in numbers:
        operator.ask("GET", "/appliances/{uuid}/history", "u-1", uri=uri, pointer=number["pointer"])


def test_requests_that_say_two_things_are_refused(service):
    service.start("--http", faketime=clock(1))
    for text in (b"POST / HTTP/1.1\r\nContent-Length: 5\r\nContent-Length: 6\r\n\r\nabcde",
                 b"POST / HTTP/1.1\r\nContent-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
                 b"GET /api/v1/session HTTP/1.1\r\n folded: x\r\n\r\n",
                 b"GET /api/v1/session HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n",
                 b"\x16\x03\x01\x02\x00\x01\x00"):
        with raw(service) as sock:
            sock.sendall(text)
            sock.shutdown(socket.SHUT_WR)
            assert read_all(sock).startswith(b"HTTP/1.1 400 "), text
    goes_on(service)


def test_clock_that_goes_back_loses_nothing(service, clock_of):
    moving = clock_of("2026-03-05 13:00:00", 1)
    service.start("--http", faketime=moving)
    operator = Operator(service).is_added()
    operator.signs_in()
    stream = operator.follows().begins()
    appliance = Appliance(service, "u-1").has_chassis()
    uri = appliance.keeps("Thermal", {"A": 1, "Name": "before"})
    appliance.beats(90)
    first = appliance.raises(1)
    moving.step(-7200)
    appliance.keeps("Thermal", {"A": 2, "Name": "after"})
    second = appliance.raises(2)
    appliance.clears(1)
    appliance.beats(90)
    assert operator.ask("GET", "/session")["name"] == "olga"
    events = operator.ask("GET", "/appliances/{uuid}/events", "u-1")["items"]
    assert [event["id"] for event in events][1:] == [second, first]
    assert events[1]["received"] < events[2]["received"]
    alarms = operator.ask("GET", "/appliances/{uuid}/alarms", "u-1")["items"]
    assert [alarm["event"] for alarm in alarms] == [second]
    until = "2026-03-05T14:00:00Z"
    samples = operator.ask("GET", "/appliances/{uuid}/history", "u-1", uri=uri, pointer="/A",
                           until=until)["series"][0]["samples"]
    assert [value for _, value in samples] == [2, 1], "in the order of their times"
    values = appliance.sends("GET", f"{uri}/Oem/Quorvan:History?member=A", expected=200)["Values"]
    assert [value["Value"] for value in values] == [1, 2], "in the order of their arrival"
    one = operator.ask("GET", "/appliances/{uuid}", "u-1")
    assert (one["state"], one["heartbeats"]) == ("alive", 2)
    while stream.until("appliance")["alarms"]["Alarm"] != 1:
        pass
    service.stop()
    service.start("--http", faketime=moving)
    assert appliance.sends("GET", uri, expected=200)["Name"] == "after"


def test_connection_that_is_dropped_in_an_answer_harms_nobody(service):
    service.start("--http", faketime=clock(1))
    appliance = Appliance(service, "u-1").has_chassis()
    uri = appliance.keeps("Large", {"A": "x" * 900_000})
    for _ in range(20):
        with raw(service) as sock:
            sock.sendall(f"GET {uri} HTTP/1.1\r\nHost: x\r\nX-Auth-Token: {appliance.token}\r\n\r\n"
                         .encode())
            sock.recv(100)
    goes_on(service)
    service.wait_until(lambda: service.metric("connections") < 3, "the end of the connections")


def test_huge_answers_to_many_who_do_not_read_hold_up_nobody(service):
    service.start("--http", faketime=clock(1))
    appliance = Appliance(service, "u-1").has_chassis()
    uri = appliance.keeps("Large", {"A": "x" * 900_000})
    with contextlib.ExitStack() as stack:
        for _ in range(20):
            sock = stack.enter_context(raw(service))
            sock.sendall(f"GET {uri} HTTP/1.1\r\nHost: x\r\nX-Auth-Token: {appliance.token}\r\n\r\n"
                         .encode())
        goes_on(service, 20)


@pytest.mark.parametrize("transport", [["--http"], []], ids=["http", "https"])
def test_answer_of_any_size_comes_whole(service, transport):
    service.start(*transport, faketime=clock(1))
    appliance = Appliance(service, "u-1").has_chassis()
    for size in (0, 4_000, 16_000, 17_000, 70_000, 900_000):
        uri = appliance.keeps(f"D{size}", {"Name": "x" * size})
        assert len(appliance.sends("GET", uri, expected=200)["Name"]) == size


def test_connection_keeps_nothing_of_an_answer_that_was_read(service):
    service.start("--http", faketime=clock(1))
    appliance = Appliance(service, "u-1").has_chassis()
    uri = appliance.keeps("Large", {"Name": "x" * 900_000})
    with contextlib.ExitStack() as stack:
        def asks():
            link = stack.enter_context(contextlib.closing(connect(service.url)))
            link.request("GET", uri, headers={"X-Auth-Token": appliance.token})
            assert link.getresponse().read().count(b"x") >= 900_000

        asks()
        before = int(service.status("VmRSS"))
        for _ in range(100):
            asks()
        assert service.metric("connections") > 100
        # What a sanitizer holds back of what was freed is not the program's.
        if not service.is_sanitized():
            assert int(service.status("VmRSS")) - before < 40_000


def test_documents_of_nothing_but_brackets_take_little_memory(service):
    service.start("--http", faketime=clock(1))
    appliance, other = Appliance(service, "u-1").has_chassis(), Appliance(service, "u-2")

    def brackets(count):
        return f'{{"D{count}": [{"{}," * (count - 1)}{{}}]}}'

    paths = [f"{appliance.chassis_path}/{name}" for name in "ABC"]
    for path in paths:
        for count, status in ((300_000, 400), (97_000, 204), (4_000, 413)):
            assert service.ask("PATCH", path, appliance.token, brackets(count))[0] == status
    askers = [threading.Thread(target=service.send, args=("GET", path, appliance.token))
              for path in paths]
    for asker in askers:
        asker.start()
    while any(asker.is_alive() for asker in askers):
        other.beats()
    appliance.sends("GET", f"{appliance.chassis_path}?$expand=*", expected=507)
    # What a sanitizer holds back of what was freed is not the program's.
    if not service.is_sanitized():
        assert int(service.status("VmHWM")) < 300_000


def test_large_answers_that_are_not_read_have_their_room(service):
    """Whoever asks for more is refused, and his neighbour served."""
    service.start("--http", "--trusted-proxy", "127.0.0.1", faketime=clock(1))
    appliance = Appliance(service, "u-1").has_chassis()
    # More than the system takes of it.
    for part in "ABCD":
        uri = appliance.keeps("Large", {part: "x" * 1_000_000})
    request = (f"GET {uri} HTTP/1.1\r\nHost: x\r\nX-Auth-Token: {appliance.token}\r\n"
               "X-Forwarded-For: 192.0.2.7\r\n\r\n").encode()
    with contextlib.ExitStack() as stack:
        socks = [stack.enter_context(small_window(service)) for _ in range(6)]
        for sock in socks:
            sock.sendall(request)
        statuses = sorted(sock.recv(12, socket.MSG_WAITALL) for sock in socks)
        assert statuses == [b"HTTP/1.1 200"] * 4 + [b"HTTP/1.1 503"] * 2
        assert 4 * 4_000_000 < service.metric("answer_bytes") <= 16 << 20
        assert service.metric('requests_refused_total{limit="answers"}') == 2
        appliance.sends("GET", uri, expected=200)
    service.wait_until(lambda: service.metric("answer_bytes") == 0, "the room")
    status, _ = service.send("GET", uri, appliance.token, headers={"X-Forwarded-For": "192.0.2.7"})
    assert status == 200
