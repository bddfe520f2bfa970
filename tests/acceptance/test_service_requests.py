# SPDX-License-Identifier: Apache-2.0
"""Requests that two readers could take for different ones, many in one piece, and senders that
claim to be others: none is taken for what it is not."""

import contextlib
import re
import socket

import pytest

from harness.appliance import Appliance
from harness.operators import Operator
from harness.process import clock
from harness.wire import dial, read_all

BEAT = b'{"HeartbeatInterval":90}'
CHUNKS = b"18\r\n" + BEAT + b"\r\n0\r\n\r\n"
# What stands behind a request: another one, which must not be part of it, nor it of the other.
NEXT = b"GET /healthz HTTP/1.1\r\nHost: x\r\n\r\n"


def says(service, text):
    """The statuses of the answers to these bytes and nothing more."""
    with contextlib.closing(dial(service.url)) as link:
        link.sendall(text)
        link.shutdown(socket.SHUT_WR)
        return [int(status) for status in re.findall(rb"HTTP/1\.1 (\d+) ", read_all(link))]


@pytest.fixture
def beats(service):
    """Sends a heartbeat with this behind its first headers, and another request: the statuses, and
    whether it was taken for one."""
    service.start("--http", faketime=clock(1))
    appliance = Appliance(service, "u-1")
    head = ("POST /hb/u-1 HTTP/1.1\r\nHost: x\r\nX-Auth-Token: " + appliance.token + "\r\n").encode()

    def count():
        manager = appliance.sends("GET", appliance.path, expected=200)
        return manager["Oem"]["Quorvan"]["Heartbeat"]["Count"]

    def send(rest):
        before = count()
        return says(service, head + rest + NEXT), count() - before
    return send


TAKEN = ([200, 200], 1)


def test_length_is_one_number_or_refused(beats):
    for length in (b"24", b" 24 ", b"024", b"24, 24", b"24\r\nContent-Length: 24"):
        assert beats(b"Content-Length:" + length + b"\r\n\r\n" + BEAT) == TAKEN, length
    for length in (b"+24", b"-1", b"0x18", b"2 4", b"", b"24;", b"2\x004", b"24\0", b"24, 25",
                   b"24\r\nContent-Length: 25", b"24\r\n 5", b"18446744073709551640",
                   b"24\r\nTransfer-Encoding: chunked", b"24\r\nTransfer-Encoding: x"):
        assert beats(b"Content-Length:" + length + b"\r\n\r\n" + BEAT) == ([400], 0), length
    assert beats(b"Content-Length: 9223372036854775808\r\n\r\n" + BEAT) == ([413], 0)


def test_encoding_is_chunked_or_refused(beats):
    for encoding in (b"chunked", b" Chunked ", b"\tchunked"):
        assert beats(b"Transfer-Encoding:" + encoding + b"\r\n\r\n" + CHUNKS) == TAKEN, encoding
    for encoding in (b"xchunked", b"chunked, chunked", b"gzip, chunked", b"chunked, gzip", b"identity",
                     b"", b"chunked;q=1", b",chunked", b'"chunked"'):
        assert beats(b"Transfer-Encoding:" + encoding + b"\r\n\r\n" + CHUNKS) == ([501], 0), encoding
    for encoding in (b"\x0bchunked", b"chunked\0", b"chunked\r\nTransfer-Encoding: chunked",
                     b"chunked\r\nContent-Length: 24", b"chunked\r\nTransfer-Encoding: identity"):
        assert beats(b"Transfer-Encoding:" + encoding + b"\r\n\r\n" + CHUNKS) == ([400], 0), encoding


def test_chunks_are_exact_or_refused(beats):
    head = b"Transfer-Encoding: chunked\r\n\r\n"
    end = b"\r\n0\r\n\r\n"
    for size in (b"18", b"018", b"18;a=b", b'18;a="b;c"'):
        assert beats(head + size + b"\r\n" + BEAT + end) == TAKEN, size
    for size in (b"+18", b"-18", b"0x18", b" 18", b"18 ", b"1 8", b"18g", b"", b"18;\0", b"18;a\nb",
                 b"18\n", b"10000000000000018"):
        assert beats(head + size + b"\r\n" + BEAT + end) == ([400], 0), size
    for size in (b"ffffffffffffffff", b"8000000000000000"):
        assert beats(head + size + b"\r\n" + BEAT + end) == ([413], 0), size
    for body in (b"18\n" + BEAT + b"\n0\n\n", b"18\r\n" + BEAT + b"XX\r\n0\r\n\r\n",
                 b"18\r\n" + BEAT + b"\n0\r\n\r\n", b"18\r\n" + BEAT + b"\r\n0\r\nXX",
                 b"18\r\n" + BEAT + b"\r\n0\r\nContent-Length: 5\r\n\r\n",
                 b"18\r\n" + BEAT + b"\r\n0\r\nTransfer-Encoding: chunked\r\n\r\n",
                 b"18\r\n" + BEAT + b"\r\n0\r\nname\r\n\r\n"):
        assert beats(head + body) == ([400], 0), body


def test_lines_of_a_header_are_exact_or_refused(beats):
    rest = b"\r\nContent-Length: 24\r\n\r\n" + BEAT
    for line in (b"A: b\r\n c", b"A:", b"A: \xff", b"Upgrade: h2c\r\nConnection: Upgrade",
                 b"Upgrade: websocket\r\nConnection: Upgrade", b"Expect: 100-continue"):
        assert beats(line + rest) == TAKEN, line
    for line in (b"A", b"A : b", b"A\t: b", b": b", b"A: b\nC: d", b"A: b\rC: d", b"A: b\0c",
                 b"A\0: b", b"A: \x7f", b"\xff: b", b"A(b): c", b"Content-Length : 5",
                 b"Transfer-Encoding : chunked", b"Host: y"):
        assert beats(line + rest) == ([400], 0), line
    assert beats(b"Expect: other\r\nContent-Length: 24\r\n\r\n") == ([417], 0)


def test_line_of_a_request_is_exact_or_ends_the_connection(service):
    service.start("--http", faketime=clock(1))
    for line in (b"GET /healthz", b"GET  /healthz HTTP/1.1", b"GET\t/healthz HTTP/1.1",
                 b" GET /healthz HTTP/1.1", b"GET  HTTP/1.1", b"\nGET /healthz HTTP/1.1",
                 b"G\0T /healthz HTTP/1.1"):
        assert says(service, line + b"\r\nHost: x\r\n\r\n" + NEXT) == [400], line
    for line in (b"GET /healthz HTTP/0.9", b"GET /healthz HTTP/1.2", b"GET /healthz HTTP/2.0",
                 b"PRI * HTTP/2.0", b"GET /heal thz HTTP/1.1", b"GET /healthz http/1.1",
                 b"GET /healthz HTTP/1.1\0", b"GET /healthz HTTP/1.1 "):
        assert says(service, line + b"\r\nHost: x\r\n\r\n" + NEXT) == [505], line


def test_target_of_any_form_leads_nowhere_else(service):
    service.start("--http", faketime=clock(1))
    token = Appliance(service, "u-1").token.encode()
    methods = (b"GET", b"HEAD", b"POST", b"PUT", b"PATCH", b"DELETE", b"TRACE", b"CONNECT", b"OTHER")
    for target in (b"evil:443", b"healthz", b"ftp://x/healthz", b"//healthz", b"/%00", b"/health%00z",
                   b"/a%0d%0aSet-Cookie:x=1", b"/redfish/v1/Managers%2fu-1", b"/%zz", b"?x", b"*",
                   b"/redfish/v1/./Managers/u-1", b"/redfish/v1/X/../Managers/u-1"):
        for method in methods:
            assert says(service, method + b" " + target + b" HTTP/1.1\r\nHost: x\r\nX-Auth-Token: "
                        + token + b"\r\n\r\n" + NEXT) == [400, 200], (method, target)
    for target in (b"/redfish/v1/Managers/u-1/%ff", b"/redfish/v1/Managers/u-1/\xff\xfe",
                   b"/redfish/v1/Managers/%ED%A0%80", b"/redfish/v1/Managers?uuid=%ff%00"):
        assert says(service, b"GET " + target + b" HTTP/1.1\r\nHost: x\r\nX-Auth-Token: " + token
                    + b"\r\n\r\n" + NEXT) in ([404, 200], [403, 200]), target
    assert " error: " not in service.error_text()


def test_requests_in_one_piece_are_answered_in_their_order(service):
    service.start("--http", faketime=clock(1))
    piece = b"".join(b"GET /redfish/v1/N%d HTTP/1.1\r\nHost: x\r\n\r\n" % number
                     for number in range(100))
    with contextlib.closing(dial(service.url)) as link:
        link.sendall(piece)
        link.shutdown(socket.SHUT_WR)
        answered = re.findall(rb"There is nothing at /redfish/v1/N(\d+)\.\"}}", read_all(link))
    assert [int(number) for number in answered] == list(range(100))
    # Behind one that ends the connection nothing is answered, nor is a body taken for a request.
    assert says(service, b"GET /healthz HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"
                + NEXT * 3) == [200]
    with_body = b" HTTP/1.1\r\nHost: x\r\nContent-Length: %d\r\n\r\n" % len(NEXT) + NEXT
    assert says(service, b"GET /healthz" + with_body + NEXT) == [200, 200]
    assert says(service, b"POST /redfish/v1/Chassis" + with_body)[0] == 401
    assert service.error_text().count("GET /healthz: 200") == 3


def test_who_sends_requests_and_reads_nothing_has_one_at_a_time(service):
    service.start("--http", faketime=clock(1))
    appliance = Appliance(service, "u-1").has_chassis()
    uri = appliance.keeps("Large", {"A": "x" * 900_000})
    before = int(service.status("VmHWM"))
    request = f"GET {uri} HTTP/1.1\r\nHost: x\r\nX-Auth-Token: {appliance.token}\r\n\r\n".encode()
    with contextlib.ExitStack() as stack:
        for _ in range(8):
            sock = stack.enter_context(socket.socket())
            sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)
            sock.connect(("127.0.0.1", service.port))
            sock.sendall(request * 100)
        service.wait_until(lambda: service.metric("answer_bytes") >= 8 * 900_000, "their answers")
        for _ in range(20):
            appliance.beats()
        assert service.metric("answer_bytes") < 9 * 1_000_000
    if not service.is_sanitized():
        assert int(service.status("VmHWM")) - before < 60_000


def test_sender_behind_a_proxy_is_the_last_that_is_an_address(service):
    service.start("--http", "--trusted-proxy", "127.0.0.1", "--trusted-proxy", "10.0.0.0/8",
                  faketime=clock(1))
    known = [(header, "198.51.100.7") for header in (
        "198.51.100.7", "203.0.113.9, 198.51.100.7, 10.1.1.1", "198.51.100.7:1234",
        "::ffff:198.51.100.7", ", ".join(["198.51.100.7"] * 900))]
    wrong = [(header, "127.0.0.1") for header in (
        "fe80::1%eth0", "[fe80::1%25eth0]:1", "unknown", "_hidden", "198.51.100.7,", ",", "",
        "198.51.100.7, x", "198.51.100.7 198.51.100.8", "198.51.100.07", "3325256711",
        "198.51.100.7:99999", "for=198.51.100.7", "10.1.1.1, 10.2.2.2", "," * 8000)]
    for number, (header, sender) in enumerate(
            [*known, ("[2001:db8::1]:99", "2001:db8::1"), *wrong]):
        request = f"GET /N{number} HTTP/1.1\r\nHost: x\r\nX-Forwarded-For: {header}\r\n\r\n"
        assert says(service, request.encode()) == [404]
        service.says(f" from {sender}: GET /N{number}: 404")


def test_nobody_but_a_trusted_proxy_says_who_sends(service):
    service.start("--http", "--trusted-proxy", "192.0.2.1", faketime=clock(1))
    assert says(service, b"GET /healthz HTTP/1.1\r\nHost: x\r\nX-Forwarded-For: 198.51.100.7\r\n"
                b"Forwarded: for=198.51.100.7\r\nX-Real-IP: 198.51.100.7\r\n\r\n") == [200]
    assert says(service, b"PROXY TCP4 198.51.100.7 127.0.0.1 1 2\r\n" + NEXT) == [505]
    assert says(service, b"\r\n\r\n\0\r\nQUIT\n\x21\x11\0\x0c\xc6\x33\x64\7\x7f\0\0\1\0\1\0\2"
                + NEXT) == [400]
    assert "198.51.100.7" not in service.error_text()


def test_cookie_is_of_no_use_to_other_sites(service):
    """A browser sends the cookie with no request of another site, and asks before it sends what
    changes anything: it is allowed nothing."""
    service.start("--http", faketime=clock(1))
    operator = Operator(service).is_added()
    operator.signs_in()
    assert "SameSite=Strict" in operator.answered["Set-Cookie"]
    Appliance(service, "u-1").has_chassis().raises(1)
    cookie = f"Host: x\r\nCookie: {operator.headers['Cookie']}\r\nOrigin: https://evil.example\r\n"
    for path in ("session", "appliances/u-1", "alarms/a1/acknowledgement", "stream", "appliances"):
        preflight = f"OPTIONS /api/v1/{path} HTTP/1.1\r\n{cookie}Access-Control-Request-Method: PUT\r\n\r\n"
        assert says(service, preflight.encode()) == [405]
        # What a form can send.
        for kind in ("text/plain", "application/x-www-form-urlencoded", "multipart/form-data"):
            form = f"POST /api/v1/{path} HTTP/1.1\r\n{cookie}Content-Type: {kind}\r\n" \
                   "Content-Length: 2\r\n\r\n{}"
            assert says(service, form.encode())[0] in (405, 415), (path, kind)
    with contextlib.closing(dial(service.url)) as link:
        link.sendall(f"GET /api/v1/session HTTP/1.1\r\nConnection: close\r\n{cookie}\r\n".encode())
        assert b"access-control" not in read_all(link).lower()
