# SPDX-License-Identifier: Apache-2.0
"""An operator: who asks the service what appliances have sent, and follows its stream."""

import base64
import contextlib
import json
import pathlib
import urllib.parse

from .openapi import Description
from .redfish import is_compact
from .wire import connect

BASE = "/api/v1"
DESCRIPTION = Description(
    pathlib.Path(__file__).resolve().parents[2] / "service" / "api" / "openapi.json")
NAMES = ("uuid", "id")  # what a path may name by a segment
PASSWORD = "the operator's pass word"


def basic(name, password):
    pair = base64.b64encode(f"{name}:{password}".encode()).decode()
    return {"Authorization": f"Basic {pair}"}


class Operator:
    """Holds every answer against the description, and remembers what of it has been seen."""

    def __init__(self, service, name="olga"):
        self._service = service
        self.name = name
        self.seen = set()  # (METHOD, path, status)
        self.used = set()  # (METHOD, path, where, parameter) of requests that succeeded
        self.headers = {}  # sent with each request
        self.answered = None  # the headers of the last answer

    def is_added(self):
        """Makes the operator, and lets requests carry the password."""
        self._service.command("operator", "add", self.name, "--password-stdin",
                              text=PASSWORD + "\n")
        self.headers = basic(self.name, PASSWORD)
        return self

    def moved_to(self, service):
        """Asks this service from now on, which has what the former had."""
        self._service = service
        return self

    def ask(self, method, path, uuid="", /, expected=200, headers=None, body=None, **query):
        """One request; `path` as the description has it, behind the base, and `uuid` what names its
        appliance or its alarm. The answer as JSON."""
        path = BASE + path
        target = path
        for name in NAMES:
            target = target.replace(f"{{{name}}}", urllib.parse.quote(uuid, safe=""))
        if query:
            target += "?" + urllib.parse.urlencode(query, quote_via=urllib.parse.quote)
        sent = {**self.headers, **(headers or {})}
        with contextlib.closing(connect(self._service.url)) as link:
            link.request(method, target, body, sent)
            answer = link.getresponse()
            text = answer.read()
        self.answered = answer.headers
        assert answer.status == expected, f"{method} {target}: {answer.status} {text}"
        assert is_compact(text), f"{method} {target}: {text}"
        self._remember(method, path, answer.status, {("query", name) for name in query})
        DESCRIPTION.check_answer(method, path, answer.status,
                                 answer.headers.get("Content-Type", ""), text)
        missing = {name for name in DESCRIPTION.headers(method, path, answer.status)
                   if name not in answer.headers}
        assert not missing, f"{method} {target}: {answer.status} without {missing}"
        return json.loads(text) if text else None

    def _remember(self, method, path, status, parameters):
        self.seen.add((method, path, status))
        if status >= 300:
            return
        parameters = parameters | {("path", name) for name in NAMES if f"{{{name}}}" in path}
        self.used |= {(method, path, *parameter) for parameter in parameters}

    def signs_in(self, password=PASSWORD, expected=204):
        """From then on requests carry the session and nothing else."""
        self.headers = {}
        self.ask("POST", "/session", expected=expected, headers={"Content-Type": "application/json"},
                 body=json.dumps({"name": self.name, "password": password}))
        if expected == 204:
            self.headers = {"Cookie": self.answered["Set-Cookie"].partition(";")[0]}

    def follows(self, last=None):
        """The stream of changes, open."""
        sent = {**self.headers, **({"Last-Event-ID": last} if last is not None else {})}
        stream = Stream(self._service, sent)
        self._remember("GET", BASE + "/stream", 200,
                       {("header", "Last-Event-ID")} if last is not None else set())
        return stream


class Stream:
    """Events as they come, each held against the description."""

    def __init__(self, service, headers):
        self._link = connect(service.url)
        self._link.request("GET", BASE + "/stream", headers=headers)
        self._answer = self._link.getresponse()
        assert self._answer.status == 200, self._answer.read()
        assert self._answer.headers["Content-Type"] == "text/event-stream"
        self.last = None  # the identifier of the last event
        self.types = set()

    def _block(self):
        """The lines up to the next empty one; None at the end."""
        lines = []
        while True:
            line = self._answer.readline()
            if not line:
                return None
            if line == b"\n":
                return lines
            lines.append(line.decode().removesuffix("\n"))

    def begins(self):
        """Reads the first block, which only says where the stream is."""
        assert self._read() == (None, None)
        return self

    def _read(self):
        lines = self._block()
        if lines is None:
            return "end", None
        fields = dict(line.split(": ", 1) for line in lines if not line.startswith(":"))
        self.last = fields.get("id", self.last)
        if "event" not in fields:
            return None, None
        data = json.loads(fields["data"])
        DESCRIPTION.check(DESCRIPTION.notices()[fields["event"]], data, fields["event"])
        self.types.add(fields["event"])
        return fields["event"], data

    def next(self):
        """(type, data) of the next event; ("end", None) at the end."""
        while True:
            kind, data = self._read()
            if kind is not None:
                return kind, data

    def until(self, wanted):
        """The data of the next event of this type."""
        while True:
            kind, data = self.next()
            assert kind != "end", f"the stream ended before {wanted}"
            if kind == wanted:
                return data

    def comments(self):
        """Whether the next thing that comes is a comment."""
        lines = self._block()
        assert lines is not None, "the stream ended"
        return lines[:1] != [] and lines[0].startswith(":")

    def close(self):
        self._answer.close()
        self._link.close()
