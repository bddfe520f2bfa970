# SPDX-License-Identifier: Apache-2.0
"""A raw server that keeps the bytes of every request and answers as scripted."""

import re
import threading
import time
from collections import namedtuple

from .daemon import UUID
from .waiting import wait_until
from .wire import Server, answer, read_request

TOKEN = "token-0815"

# In place of an answer: read the request and stay silent; read it and close. Anything with `wait`
# gives the answer when that returns.
HANGS = object()
CLOSES = object()


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


class Recorder(Server):
    """Plays a service that does not know the appliance yet, until the script says otherwise."""

    def __init__(self, tls=None):
        self._requests = []
        self._closed = threading.Event()
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
        super().__init__(tls)

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
        return wait_until(seen, lambda: f"request {name!r}, {times} times; there were "
                          f"{self.lines()}")

    def moments(self, name):
        return [r.moment for r in self.requests(name)]

    def close(self):
        self._closed.set()
        super().close()

    def _serve(self, link):
        while raw := read_request(link):
            reply = self._take(Request(raw, time.monotonic()))
            if reply is HANGS:
                self._closed.wait()
            if reply in (HANGS, CLOSES):
                return
            link.sendall(reply.wait() if hasattr(reply, "wait") else reply)

    def _take(self, request):
        with self._lock:
            self._requests.append(request)
            script = self._script.get(request.name, [answer(404)])
            return script.pop(0) if len(script) > 1 else script[0]
