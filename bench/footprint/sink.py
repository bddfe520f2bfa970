# SPDX-License-Identifier: Apache-2.0
"""What a program pushes to: a TLS server that notes when which request came in.

It plays the service for the daemon as far as the daemon asks, and answers everything else with an
empty object.
"""

import collections
import json
import re
import threading
import time

from harness.recorder import TOKEN
from harness.wire import Server, answer, read_body, read_head, tls_context

Arrival = collections.namedtuple("Arrival", "moment name")

_HEAD = re.compile(rb"([A-Z]+ [^ ?]*)")
_ROOT = json.dumps({"Managers": {"@odata.id": "/redfish/v1/Managers"}})


class Sink(Server):
    def __init__(self, folder):
        self._changed = threading.Condition()
        self._arrivals = []
        super().__init__(tls_context(folder))

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

    def _serve(self, link):
        while raw := read_head(link):
            name = _HEAD.match(raw).group(1).decode()
            self._note(time.monotonic(), name)
            if b"100-continue" in raw.partition(b"\r\n\r\n")[0]:
                link.sendall(b"HTTP/1.1 100 Continue\r\n\r\n")
            read_body(link, raw)
            link.sendall(_reply(name))

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
