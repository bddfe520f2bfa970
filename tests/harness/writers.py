# SPDX-License-Identifier: Apache-2.0
"""Appliances that write as fast as they are answered, and what of it has to be there afterwards."""

import contextlib
import http.client
import itertools
import json
import threading

from .service import as_sent
from .waiting import POLL
from .wire import connect

NUMBER, EVENT, CHASSIS, HEARTBEAT = "number", "event", "chassis", "heartbeat"


class Writer:
    """Says for one appliance, over a connection of its own, what is in its turn, and remembers the
    answers.

    Of a request that got no answer, or 500 and above, nobody knows whether it was done: it is
    `unsure`. The same number is then sent again, an event or a chassis is not."""

    def __init__(self, service, appliance, number, pause):
        self._service = service
        self._token = appliance.token
        self._manager = appliance.path
        self._beat = f"/hb/{appliance.uuid}"
        self._number = number
        self._pause = pause
        self._serial = itertools.count()
        self._link = None
        self.path = f"{appliance.path}/Load{number}"
        self.counter = 0  # of the last answered PATCH
        self.answered = []  # counters of all of them
        self.chassis = {}  # name: path
        self.events = {}  # text: path
        self.heartbeats = 0
        self.unsure = []  # (kind, name)
        self.faults = []

    def _send(self, method, path, body, expected, what):
        """The headers of the answer, or None where it is not known whether it was done."""
        self.unsure.append(what)
        self._link.request(method, path, None if body is None else json.dumps(body),
                           {"X-Auth-Token": self._token})
        answer = self._link.getresponse()
        text = answer.read()
        if answer.status >= 500:
            return None
        self.unsure.pop()
        if answer.status != expected:
            self.faults.append(f"{method} {path}: {answer.status} {text}")
            return None
        return answer.headers

    def _round(self):
        if self._send("PATCH", self.path, {"Counter": self.counter + 1}, 204, (NUMBER, "")):
            self.counter += 1
            self.answered.append(self.counter)
        name = f"writer {self._number}, {next(self._serial)}"
        if headers := self._send("POST", f"{self._manager}/Oem/Quorvan:Events", {
                "MessageId": "load", "Severity": "Message", "Message": name}, 201, (EVENT, name)):
            self.events[name] = headers["Location"]
        if headers := self._send("POST", "/redfish/v1/Chassis", {"Name": name}, 201,
                                 (CHASSIS, name)):
            self.chassis[name] = headers["Location"]
        if self.counter % 4 and self.chassis:
            gone = next(iter(self.chassis))
            self._send("DELETE", self.chassis.pop(gone), None, 204, (CHASSIS, gone))
        if self._send("POST", self._beat, {"HeartbeatInterval": 90}, 200, (HEARTBEAT, "")):
            self.heartbeats += 1

    def run(self, done):
        """Until `done`. Whoever does not listen is asked again."""
        while not done.is_set() and not self.faults:
            with contextlib.suppress(OSError, http.client.HTTPException), \
                    contextlib.closing(connect(self._service.url)) as self._link:
                self._link.connect()
                while not done.is_set() and not self.faults:
                    self._round()
                    done.wait(self._pause)
            done.wait(POLL)

    def unsure_of(self, kind):
        return [name for its_kind, name in self.unsure if its_kind == kind]


class Writers:
    """Some of them at once for one appliance, each with what is its own."""

    def __init__(self, service, appliance, count=4, pause=0):
        """`pause`: seconds after each round of one, for who cannot read as fast as they write."""
        self._service = service
        self._appliance = appliance
        self._writers = [Writer(service, appliance, number, pause) for number in range(count)]

    @contextlib.contextmanager
    def at_work(self):
        """They write meanwhile, from the first answer of each on."""
        done = threading.Event()
        threads = [threading.Thread(target=writer.run, args=(done,)) for writer in self._writers]
        for thread in threads:
            thread.start()
        try:
            self.go_on()
            yield
        finally:
            done.set()
            for thread in threads:
                thread.join()
        self._are_content()

    def go_on(self):
        """Waits until each has been answered once more."""
        before = [writer.heartbeats for writer in self._writers]

        def seen():
            self._are_content()
            return all(writer.heartbeats > count for writer, count in zip(self._writers, before))
        self._service.wait_until(seen, "an answer for each writer")

    @property
    def events(self):
        """The paths of those that were answered, or found."""
        return {path for writer in self._writers for path in writer.events.values()}

    def _are_content(self):
        assert not [fault for writer in self._writers for fault in writer.faults]

    @property
    def rounds(self):
        return sum(writer.heartbeats for writer in self._writers)

    def find_what_was_answered(self):
        """All of it is there, once; of the rest no more than what is unsure, which is as it is
        found from now on."""
        for writer in self._writers:
            self._find_numbers(writer)
        self._find_named(CHASSIS, "/redfish/v1/Chassis?$expand=.", "Name")
        self._find_named(EVENT, "/redfish/v1/Oem/Quorvan:Events?$expand=.", "Message")
        self._find_heartbeats()
        for writer in self._writers:
            writer.unsure = []

    def _find_numbers(self, writer):
        """The document holds the last answered number, and its history each of them, in order."""
        token = self._appliance.token
        status, document = self._service.ask("GET", writer.path, token)
        if status == 404:
            assert writer.counter == 0
            return
        assert status == 200, document
        found = as_sent(document)["Counter"]
        if found == writer.counter + 1:
            assert writer.unsure_of(NUMBER)
            writer.counter = found
            writer.answered.append(found)
        assert found == writer.counter
        values, path = [], f"{writer.path}/Oem/Quorvan:History?member=Counter"
        while path:
            _, history = self._service.ask("GET", path, token)
            values += [value["Value"] for value in history["Values"]]
            path = history.get("Values@odata.nextLink")
        # The first of an hour may come twice, when the hour ends between two requests.
        assert list(dict.fromkeys(values)) == writer.answered
        assert values == sorted(values)

    def _find_named(self, kind, path, key):
        """The members of a collection, each at the path that was answered."""
        members = [(document[key], document["@odata.id"])
                   for document in self._service.documents(path, self._appliance.token)]
        kept = dict(members)
        assert len(kept) == len(members), f"a {kind} is there twice"
        for writer in self._writers:
            answered = writer.chassis if kind == CHASSIS else writer.events
            for name, its_path in answered.items():
                assert kept.pop(name, None) == its_path, f"{kind} {name} is lost"
            for name in writer.unsure_of(kind):
                if name in kept:
                    answered[name] = kept.pop(name)
        assert kept == {}

    def _find_heartbeats(self):
        manager = self._appliance.sends("GET", self._appliance.path, expected=200)
        count = manager["Oem"]["Quorvan"]["Heartbeat"]["Count"]
        unsure = sum(len(writer.unsure_of(HEARTBEAT)) for writer in self._writers)
        assert self.rounds <= count <= self.rounds + unsure
        self._writers[0].heartbeats += count - self.rounds
