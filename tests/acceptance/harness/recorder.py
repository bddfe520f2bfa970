# SPDX-License-Identifier: Apache-2.0
"""A raw server that keeps the bytes of every request and answers as scripted."""

import json
import re
import socket
import ssl
import subprocess
import threading
import time
from collections import namedtuple

from .daemon import UUID
from .waiting import wait_until

TOKEN = "token-0815"

# In place of an answer: read the request and stay silent; read it and close. Anything with `wait`
# gives the answer when that returns.
HANGS = object()
CLOSES = object()


def answer(status, *headers, body=""):
    """The bytes of an answer; `body` is a text or what is rendered as JSON."""
    text = body if isinstance(body, str) else json.dumps(body)
    lines = [f"HTTP/1.1 {status} Scripted", *headers, f"Content-Length: {len(text.encode())}"]
    return ("\r\n".join(lines) + "\r\n\r\n" + text).encode()


class Request(namedtuple("Request", "raw moment")):
    """One request, whole, as it came over the wire; `moment` in real seconds."""

    @property
    def line(self):
        return self.raw.split(b" HTTP/1.1\r\n", 1)[0].decode()

    @property
    def name(self):
        """Method and path without the query."""
        return self.line.split("?", 1)[0]

    @property
    def body(self):
        return self.raw.partition(b"\r\n\r\n")[2].decode()

    @property
    def text(self):
        """The whole request with what differs from run to run replaced: the appliance's own
        address in the Host line, and the time of registration, which keeps its length."""
        text = self.raw.decode()
        text = re.sub(r"(?m)^Host: [0-9a-fA-F.:]*[0-9a-fA-F]\r$", "Host: ADDRESS\r", text)
        return re.sub(r'"DateTime": "\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\+0100"',
                      '"DateTime": "YYYY-MM-DDThh:mm:ss+0100"', text)


def _read_request(link):
    raw = b""
    while b"\r\n\r\n" not in raw:
        piece = link.recv(65536)
        if not piece:
            return None
        raw += piece
        if not raw[:1].isupper():
            return None  # no request: the other side speaks something else
    head, _, body = raw.partition(b"\r\n\r\n")
    length = re.search(rb"(?mi)^content-length: *(\d+)", head)
    while length and len(body) < int(length.group(1)):
        piece = link.recv(65536)
        assert piece, "the request ended within its body"
        raw += piece
        body += piece
    return Request(raw, time.monotonic())


class Recorder:
    """Plays a service that does not know the appliance yet, until the script says otherwise."""

    def __init__(self, tls=None):
        self._tls = tls
        self._listener = socket.create_server(("127.0.0.1", 0))
        self._lock = threading.Lock()
        self._requests = []
        self._links = []
        self._closed = False
        port = self._listener.getsockname()[1]
        self.url = f"{'https' if tls else 'http'}://127.0.0.1:{port}"
        self._script = {
            "GET /redfish/v1": [answer(
                200, "Content-Type: application/json",
                body={"Managers": {"@odata.id": "/redfish/v1/Managers"}})],
            "GET /redfish/v1/Managers": [answer(403)],
            "POST /redfish/v1/Managers": [answer(201, f"X-Auth-Token: {TOKEN}", body={})],
            f"DELETE /redfish/v1/Managers/{UUID}": [answer(204)],
            "POST /redfish/v1/Chassis": [answer(201, body={"Id": "C1"})],
            f"POST /hb/{UUID}": [answer(200)],
        }
        threading.Thread(target=self._serve, daemon=True).start()

    def answers(self, name, *answers):
        """What `name` ("GET /path", no query) is answered with, in turn; the last one stays."""
        with self._lock:
            self._script[name] = list(answers)

    def knows_the_manager(self):
        """The service as it is once the appliance is registered."""
        self.answers("GET /redfish/v1/Managers",
                     answer(302, f"Location: /redfish/v1/Managers/{UUID}"))
        self.answers(f"GET /redfish/v1/Managers/{UUID}", answer(200, body={"Id": UUID}))

    def requests(self, name=None):
        with self._lock:
            return [r for r in self._requests if name in (None, r.name)]

    def lines(self):
        return [r.line for r in self.requests()]

    def receives(self, name, times=1):
        """Waits until `name` was asked `times` times, and returns the last of these requests."""
        def seen():
            found = self.requests(name)
            return found[times - 1] if len(found) >= times else None
        return wait_until(seen, f"request {name!r}, {times} times; so far {self.lines()}")

    def moments(self, name):
        return [r.moment for r in self.requests(name)]

    def close(self):
        with self._lock:
            self._closed = True
            links = list(self._links)
        for link in [self._listener, *links]:
            try:
                link.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
            link.close()

    def _serve(self):
        while True:
            try:
                link, _ = self._listener.accept()
            except OSError:
                return
            with self._lock:
                if self._closed:
                    link.close()
                    return
                self._links.append(link)
            threading.Thread(target=self._talk, args=(link,), daemon=True).start()

    def _talk(self, link):
        try:
            if self._tls:
                link = self._tls.wrap_socket(link, server_side=True)
                with self._lock:
                    self._links.append(link)
            while True:
                request = _read_request(link)
                if request is None:
                    link.close()
                    return
                reply = self._take(request)
                if reply is HANGS:
                    return  # the link stays open until the end of the case
                if reply is CLOSES:
                    link.close()
                    return
                link.sendall(reply.wait() if hasattr(reply, "wait") else reply)
        except OSError:
            link.close()  # the other side went away

    def _take(self, request):
        with self._lock:
            self._requests.append(request)
            script = self._script.get(request.name, [answer(404)])
            return script.pop(0) if len(script) > 1 else script[0]


def tls_context(folder):
    """A server side with a certificate made for it."""
    key, certificate = folder / "recorder.key", folder / "recorder.pem"
    subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
         "-nodes", "-subj", "/CN=recorder", "-days", "2", "-keyout", str(key),
         "-out", str(certificate)], check=True, capture_output=True)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate, key)
    return context


class Nobody:
    """An address at which nobody listens, for as long as the case runs."""

    def __init__(self):
        self._socket = socket.socket()
        self._socket.bind(("127.0.0.1", 0))
        self.url = f"http://127.0.0.1:{self._socket.getsockname()[1]}"

    def close(self):
        self._socket.close()
