# SPDX-License-Identifier: Apache-2.0
"""The service: started with one command, looked at through its own requests."""

import contextlib
import json
import re
import sqlite3
import ssl
import subprocess

from .daemon import EMAIL, KEY, UUID
from .process import SPEED, Process, clock, environment
from .wire import certificate_pair, connect

# Where a service keeps what it holds.
SQLITE, POSTGRESQL = "sqlite", "postgresql"
# Seconds of the accelerated clock until the service gives up a connection: never within a case.
PATIENCE = 10_000_000
_READY = re.compile(r"^listening on (https?://127\.0\.0\.1:(\d+))$", re.MULTILINE)


# What the service itself puts into the documents of appliances.
_ADDED = {"@odata.id", "@odata.type", "Documents", "Heartbeat", "History", "MemberId"}


def as_sent(document):
    """A document as its appliance sent it: without what the service put in, and with what it moved
    below Oem.Quorvan in its place again."""
    if isinstance(document, list):
        return [as_sent(element) for element in document]
    if not isinstance(document, dict):
        return document
    moved = document.get("Oem", {}).get("Quorvan", {})
    places = {**moved, **document}
    return {name: as_sent(value) for name, value in places.items()
            if name not in _ADDED and name != "Oem"}


class Asked:
    """What is asked at its `url`."""

    def _request(self, method, path, token, body, headers=None):
        with contextlib.closing(connect(self.url)) as link:
            own = {"X-Auth-Token": token} if token else {}
            link.request(method, path, body, {**own, **(headers or {})})
            answer = link.getresponse()
            return answer.status, answer.headers, answer.read()

    def ask(self, method, path, token="", body=None):
        """One request of an onlooker's: (status, answer as JSON or None)."""
        status, _, text = self._request(method, path, token, body)
        return status, json.loads(text) if text else None

    def send(self, method, path, token="", body=None, headers=None):
        """The same, with the answer's headers instead."""
        return self._request(method, path, token, body, headers)[:2]

    def metrics(self):
        """The text of the service's metrics."""
        return self._request("GET", "/metrics", "", None)[2].decode()

    def metric(self, name):
        """A metric, with its labels if it has any."""
        return int(re.search(rf"^cloudservice_{re.escape(name)} (\d+)$", self.metrics(), re.M)[1])

    def documents(self, path, token):
        """A collection's members, over all its pages, as they stand there: links, or with $expand
        whole documents."""
        documents = []
        while path:
            status, page = self.ask("GET", path, token)
            assert status == 200
            documents += page["Members"]
            path = page.get("Members@odata.nextLink")
        return documents


class Service(Asked, Process):
    def __init__(self, programs, folder, database="", name="cloudservice"):
        """On a file in `folder`, or on another one, or on the database of this URL."""
        super().__init__(name, folder)
        self._program = programs / "service" / "cloudservice"
        self._folder_of_data = folder
        self._database = database or folder / "service.db"
        self._has_file = not str(database).startswith("postgresql:")
        self.port = 0
        self.url = ""

    def start(self, *options, faketime=None, patience=PATIENCE, sockets=(), before=()):
        """Starts on a free port, or on the one it had before, or on sockets that listen already, and
        waits until it listens. `before`: the words of a command that becomes the service."""
        if not self._has_file and "--http" not in options and "--cert" not in options:
            options += self._certificate()
        self.launch([*before, self._program, "--listen", f"127.0.0.1:{self.port}", "--db", self._database,
                     "--email", EMAIL, "--registration-key", KEY, "--io-timeout", patience,
                     *options],
                    # What it waits for its server is measured by its clock.
                    environment(faketime or clock(SPEED if self._has_file else 1)),
                    handed=[one.fileno() for one in sockets])
        ready = self.wait_until(lambda: _READY.search(self.output()), "the line that it listens")
        self.url, self.port = ready.group(1), int(ready.group(2))

    def _certificate(self):
        """The options that name the certificate which a service without a file does not make."""
        files = [self._folder_of_data / f"{self.name}.{end}" for end in ("crt", "key")]
        if not files[0].exists():
            certificate_pair(*files)
        return ("--cert", files[0], "--key", files[1])

    def command(self, *words, text="", status=0):
        """Runs a command of the program on the service's database; its standard output."""
        ended = subprocess.run(
            [self._program, *words, "--db", self._database], input=text,
            env=environment(clock(1)), cwd=self._folder_of_data, capture_output=True, text=True)
        assert ended.returncode == status, ended.stderr
        return ended.stdout if status == 0 else ended.stderr

    def database(self):
        """A connection to the service's file, beside the service's own."""
        assert self._has_file
        return sqlite3.connect(self._database, timeout=30)

    def certificate(self):
        return ssl.get_server_certificate(("127.0.0.1", self.port))

    def manager(self, token):
        """The manager as it is held, or None when the service knows none with this token."""
        status, document = self.ask("GET", f"/redfish/v1/Managers/{UUID}", token)
        return document if status == 200 else None

    def heartbeat(self, token):
        manager = self.manager(token)
        return manager["Oem"]["Quorvan"]["Heartbeat"] if manager else None

    def forgets(self, token):
        """The manager is deleted on the service's side."""
        status, _ = self.ask("DELETE", f"/redfish/v1/Managers/{UUID}", token)
        assert status == 204

    def says(self, text, times=1):
        """Waits until the service's log holds `text`."""
        self.wait_until(lambda: self.error_text().count(text) >= times, f"log text {text!r}")

    def heartbeats(self, token, count):
        """Waits until `count` heartbeats of the manager have arrived."""
        def seen():
            heartbeat = self.heartbeat(token)
            return heartbeat if heartbeat and heartbeat["Count"] >= count else None
        return self.wait_until(seen, f"heartbeat {count}")
