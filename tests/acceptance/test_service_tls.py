# SPDX-License-Identifier: Apache-2.0
"""What strangers do with TLS before and after a handshake, and that the service goes on."""

import contextlib
import os
import re
import socket
import ssl
import subprocess

import pytest

from harness.appliance import Appliance
from harness.process import clock
from harness.wire import dial, read_all, trusting


def hello():
    """What a client sends first."""
    sent = ssl.MemoryBIO()
    client = trusting().wrap_bio(ssl.MemoryBIO(), sent)
    with contextlib.suppress(ssl.SSLWantReadError):
        client.do_handshake()
    return sent.read()


def plain(service, source="127.0.0.1"):
    """A connection below TLS."""
    return socket.create_connection(("127.0.0.1", service.port), 60, (source, 0))


def below(link):
    """The connection below TLS, after the handshake."""
    sock = socket.socket(fileno=link.detach())
    sock.settimeout(60)
    return sock


def is_healthy(service, source):
    """Asks from this address of the machine."""
    with trusting().wrap_socket(plain(service, source)) as link:
        link.sendall(b"GET /healthz HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n")
        return read_all(link).startswith(b"HTTP/1.1 200 ")


def test_flood_of_handshakes_that_stop_takes_no_more_than_its_share(service):
    """Its address has so many connections and no more; others are served beside it."""
    service.start("--max-connections-of-address", "300", faketime=clock(1))
    before = int(service.status("VmHWM"))
    whole = hello()
    with contextlib.ExitStack() as stack:
        for number in range(900):
            sock = stack.enter_context(plain(service, "127.0.0.2"))
            with contextlib.suppress(ConnectionError):
                sock.sendall((b"", whole[:200], whole)[number % 3])
            if number % 100 == 0:
                assert is_healthy(service, "127.0.0.1")
        refused = 'connections_refused_total{limit="sender"}'
        service.wait_until(lambda: service.metric(refused) == 600, "the end of those above it")
        assert service.metric("connections") <= 302
    service.wait_until(lambda: is_healthy(service, "127.0.0.2"), "room for the address")
    if not service.is_sanitized():
        assert int(service.status("VmHWM")) - before < 150_000


def test_handshake_that_stops_is_ended_in_its_time(service):
    service.start(faketime=clock(1000), patience=600)
    for begin in (b"", hello()[:200], hello(), b"\x16\x03\x01\x40\x00"):
        with contextlib.closing(plain(service)) as sock:
            sock.sendall(begin)
            read_all(sock)
    service.wait_until(lambda: service.metric("connections") < 3, "the end of the connections")


@pytest.mark.parametrize("text", [
    pytest.param(os.urandom(600), id="noise"), b"GET / HTTP/1.1\r\nHost: x\r\n\r\n",
    pytest.param(b"\x16\x03\x01\xff\xff" + bytes(65535), id="a record beyond its bound"),
    pytest.param(b"\x16\x03\x01\0\0" * 1000, id="empty records"),
    pytest.param(b"\x15\x03\x01\0\2\1\x5a" * 1000, id="warnings"),
    pytest.param(b"\x80\x2e\x01\0\2" + bytes(64), id="SSL 2")])
def test_what_is_no_handshake_is_refused(service, text):
    service.start(faketime=clock(1))
    with contextlib.closing(plain(service)) as sock:
        with contextlib.suppress(ConnectionError):
            sock.sendall(text)
        read_all(sock)
    service.says("connection refused: no TLS: ")
    assert is_healthy(service, "127.0.0.1")


def takes(service, version, ciphers):
    """Whether the service speaks this version with one of these ciphers."""
    answered = subprocess.run(
        ["openssl", "s_client", version, "-cipher", ciphers + ":@SECLEVEL=0", "-connect",
         f"127.0.0.1:{service.port}"], stdin=subprocess.DEVNULL, capture_output=True, text=True,
        check=False)
    assert "CONNECTED" in answered.stdout, answered.stderr
    return re.search(r"Cipher is (\S+)", answered.stdout)[1] != "(NONE)"


def test_old_versions_and_weak_ciphers_are_not_spoken(service):
    service.start(faketime=clock(1))
    assert takes(service, "-tls1_2", "ECDHE+AESGCM")
    for version, ciphers in (("-tls1", "ALL"), ("-tls1_1", "ALL"), ("-tls1_2", "aNULL:eNULL"),
                             ("-tls1_2", "kRSA"), ("-tls1_2", "ECDHE+SHA1:ECDHE+SHA256:ECDHE+SHA384"),
                             ("-tls1_2", "DHE"), ("-tls1_2", "AESCCM8")):
        assert not takes(service, version, ciphers), (version, ciphers)


def test_client_cannot_have_the_keys_agreed_on_anew(service):
    service.start(faketime=clock(1))
    client = subprocess.Popen(
        ["openssl", "s_client", "-tls1_2", "-connect", f"127.0.0.1:{service.port}"],
        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, bufsize=0)
    with client:
        text = b""
        while b"Extended master secret" not in text:
            text += client.stdout.read(1)
        client.stdin.write(b"R\n")
        text = client.stdout.read()
    assert b"RENEGOTIATING" in text and b"no renegotiation" in text
    assert is_healthy(service, "127.0.0.1")


@pytest.mark.parametrize("version", [ssl.TLSVersion.TLSv1_2, ssl.TLSVersion.TLSv1_3],
                         ids=["TLS 1.2", "TLS 1.3"])
def test_session_that_is_resumed_brings_nobodys_identity(service, version):
    service.start(faketime=clock(1))
    mine, theirs = Appliance(service, "u-1"), Appliance(service, "u-2")
    context = trusting()
    context.minimum_version = context.maximum_version = version

    def ask(token, session=None):
        with context.wrap_socket(plain(service), session=session) as link:
            link.sendall(f"GET {mine.path} HTTP/1.1\r\nHost: x\r\nConnection: close\r\n"
                         f"X-Auth-Token: {token}\r\n\r\n".encode())
            return int(read_all(link)[9:12]), link.session, link.session_reused

    status, session, _ = ask(mine.token)
    assert status == 200
    for token, expected in (("", 401), (theirs.token, 404), (mine.token, 200)):
        status, _, resumed = ask(token, session)
        assert (status, resumed) == (expected, True)


def test_request_that_breaks_off_below_tls_stores_nothing(service):
    service.start(faketime=clock(100), patience=600)
    appliance = Appliance(service, "u-1").has_chassis()
    uri = f"{appliance.chassis_path}/Thermal"
    head = f"PATCH {uri} HTTP/1.1\r\nHost: x\r\nX-Auth-Token: {appliance.token}\r\n".encode()
    for rest in (b'Content-Length: 100\r\n\r\n{"A": 1}',
                 b'Transfer-Encoding: chunked\r\n\r\n8\r\n{"A": 1}\r\n', b"Content-Length: 8"):
        link = dial(service.url)
        link.sendall(head + rest)
        with contextlib.closing(below(link)) as sock:
            # No word of TLS that this was the end.
            sock.shutdown(socket.SHUT_WR)
            read_all(sock)
    appliance.sends("GET", uri, expected=404)
    service.wait_until(lambda: service.metric("connections") < 3, "the end of the connections")


def test_records_that_are_none_end_their_connection(service):
    service.start(faketime=clock(1))
    for record in (b"\x17\x03\x03\xff\xff" + bytes(65535), b"\x17\x03\x03\0\0" * 200,
                   b"\x17\x03\x03\x40\0" + bytes(16384), b"\x18\x03\x03\0\3\1\x40\0"):
        with contextlib.closing(below(dial(service.url))) as sock:
            with contextlib.suppress(ConnectionError):
                sock.sendall(record)
            read_all(sock)
    with dial(service.url) as link:
        for byte in b"GET /healthz HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n":
            link.sendall(bytes([byte]))
        assert read_all(link).startswith(b"HTTP/1.1 200 ")
    service.wait_until(lambda: service.metric("connections") < 2, "the end of the connections")
