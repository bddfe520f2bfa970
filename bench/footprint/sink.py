# SPDX-License-Identifier: Apache-2.0
"""What a program pushes to: a TLS server that notes when which request came in.

It plays the service for the daemon as far as the daemon asks, and answers everything else with an
empty object.
"""

import collections
import json
import re
import socket
import threading
import time

from harness.recorder import TOKEN, answer, tls_context

Arrival = collections.namedtuple("Arrival", "moment name")

_HEAD = re.compile(rb"([A-Z]+ [^ ?]*)")
_LENGTH = re.compile(rb"(?mi)^content-length: *(\d+)")
_ROOT = json.dumps({"Managers": {"@odata.id": "/redfish/v1/Managers"}})


class Sink:
    def __init__(self, folder):
        self._context = tls_context(folder)
        self._listener = socket.create_server(("127.0.0.1", 0), backlog=64)
        self.port = self._listener.getsockname()[1]
        self.url = f"https://127.0.0.1:{self.port}"
        self._changed = threading.Condition()
        self._arrivals = []
        threading.Thread(target=self._serve, daemon=True).start()

    def mark(self):
        """Where what is to come begins: the start of `after`."""
        with self._changed:
            return len(self._arrivals)

    def after(self, mark, matches):
        with self._changed:
            return [a for a in self._arrivals[mark:] if matches(a.name)]

    def wait(self, mark, matches, count, deadline, alive):
        """The arrival `count` of those after `mark` that match."""
        end = time.monotonic() + deadline
        seen, found = mark, []
        while True:
            with self._changed:
                if seen == len(self._arrivals):
                    self._changed.wait(0.5)
                found += [a for a in self._arrivals[seen:] if matches(a.name)]
                seen = len(self._arrivals)
            if len(found) >= count:
                return found[count - 1]
            alive()
            if time.monotonic() > end:
                raise SystemExit(f"footprint: request {count} did not come within {deadline} s")

    def _serve(self):
        while True:
            link, _ = self._listener.accept()
            threading.Thread(target=self._talk, args=(link,), daemon=True).start()

    def _talk(self, link):
        try:
            link.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            with self._context.wrap_socket(link, server_side=True) as secured:
                while self._one(secured):
                    pass
        except OSError:
            pass  # the other side went away
        finally:
            link.close()

    def _one(self, link):
        raw = b""
        while b"\r\n\r\n" not in raw:
            piece = link.recv(65536)
            if not piece:
                return False
            raw += piece
        self._note(time.monotonic(), _HEAD.match(raw).group(1).decode())
        head, _, body = raw.partition(b"\r\n\r\n")
        if b"100-continue" in head:
            link.sendall(b"HTTP/1.1 100 Continue\r\n\r\n")
        length = _LENGTH.search(head)
        missing = int(length.group(1) if length else 0) - len(body)
        while missing > 0:
            missing -= len(link.recv(65536))
        link.sendall(_reply(_HEAD.match(raw).group(1).decode()))
        return True

    def _note(self, moment, name):
        with self._changed:
            self._arrivals.append(Arrival(moment, name))
            self._changed.notify_all()


def _reply(name):
    method, path = name.split(" ", 1)
    if name == "GET /redfish/v1":
        return answer(200, body=_ROOT)
    if name == "GET /redfish/v1/Managers":
        return answer(403)
    if name == "POST /redfish/v1/Managers":
        return answer(201, f"X-Auth-Token: {TOKEN}", body={})
    if name == "POST /redfish/v1/Chassis":
        return answer(201, body={"Id": "C1"})
    if method == "GET":
        return answer(200, body=[])
    return answer(201 if path.endswith(":Events") else 200, body={})
