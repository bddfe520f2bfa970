# SPDX-License-Identifier: Apache-2.0
"""The recorder itself: a case that trusts it is only as good as what it keeps."""

from harness.recorder import CLOSES
from harness.wire import answer, dial


def test_keeps_the_exact_bytes_of_a_request(recorder):
    recorder.answers("POST /x", answer(201, "A: b", body="{}"))
    request = b"POST /x?q=a&b HTTP/1.1\r\nhost:odd \r\nContent-Length: 4\r\n\r\n\x00\n\r\xff"
    with dial(recorder.url) as link:
        link.sendall(request)
        assert link.recv(1000) == (
            b"HTTP/1.1 201 Scripted\r\nA: b\r\nContent-Length: 2\r\n\r\n{}")
    assert recorder.receives("POST /x").raw == request


def test_answers_in_turn_and_keeps_the_last(recorder):
    recorder.answers("GET /x", answer(403), answer(200), CLOSES)
    seen = []
    for _ in range(4):
        with dial(recorder.url) as link:
            link.sendall(b"GET /x HTTP/1.1\r\n\r\n")
            seen.append(link.recv(1000)[9:12])
    assert seen == [b"403", b"200", b"", b""]
