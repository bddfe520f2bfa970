# SPDX-License-Identifier: Apache-2.0
"""What the service has answered for is kept, whenever it is killed."""

import contextlib
import http.client
import json
import os
import random
import sqlite3
import threading
import time

import pytest

from harness.daemon import EMAIL, KEY, UUID
from harness.process import clock
from harness.service import as_sent

WRITERS = 4
LIFE = 0.5  # seconds until it is dead
EVENTS = f"/redfish/v1/Managers/{UUID}/Oem/Quorvan:Events"


class Writer:
    """Writes as fast as it is answered, over a connection of its own, and remembers the answers.

    Of what is under way when the service dies nobody knows whether it was done: it is `pending`."""

    def __init__(self, service, token, number):
        self._service = service
        self._token = token
        self._number = number
        self._link = None
        self.path = f"/redfish/v1/Managers/{UUID}/Load{number}"
        self.counter = 0  # of the last answered PATCH
        self.answered = []  # counters of all of them
        self.chassis = set()
        self.events = {}  # path: text
        self.heartbeats = 0
        self.pending = None
        self.faults = []

    def _send(self, method, path, body, expected):
        self.pending = (method, path, body)
        self._link.request(method, path, json.dumps(body) if body is not None else None,
                           {"X-Auth-Token": self._token})
        answer = self._link.getresponse()
        text = answer.read()
        self.pending = None
        if answer.status != expected:
            self.faults.append(f"{method} {path}: {answer.status} {text}")
        return answer.headers

    def _round(self):
        self._send("PATCH", self.path, {"Counter": self.counter + 1}, 204)
        self.counter += 1
        self.answered.append(self.counter)
        text = f"writer {self._number}, event {self.counter}"
        headers = self._send("POST", EVENTS, {"MessageId": "load", "Severity": "Message",
                                              "Message": text}, 201)
        self.events[headers["Location"]] = text
        headers = self._send("POST", "/redfish/v1/Chassis", {"Name": text}, 201)
        self.chassis.add(headers["Location"])
        if self.counter % 4:
            gone = min(self.chassis)
            self._send("DELETE", gone, None, 204)
            self.chassis.remove(gone)
        self._send("POST", f"/hb/{UUID}", {"HeartbeatInterval": 90}, 200)
        self.heartbeats += 1

    def run(self):
        self._link = http.client.HTTPConnection("127.0.0.1", self._service.port, timeout=60)
        self.pending = None
        with contextlib.suppress(OSError, http.client.HTTPException), \
                contextlib.closing(self._link):
            while not self.faults:
                self._round()

    def was_pending(self, method, path=""):
        return self.pending is not None and self.pending[0] == method and path in self.pending[1]


def check_counter(service, token, writer):
    """The document holds the last answered number, and its history each of them, in order."""
    if writer.counter == 0 and not writer.was_pending("PATCH"):
        return
    status, document = service.ask("GET", writer.path, token)
    if status == 404:
        assert writer.counter == 0
        return
    document = as_sent(document)
    next_one = writer.counter + 1
    if document["Counter"] == next_one:
        assert writer.was_pending("PATCH")
        writer.counter = next_one
        writer.answered.append(next_one)
    assert document["Counter"] == writer.counter
    values, path = [], f"{writer.path}/Oem/Quorvan:History?member=Counter"
    while path:
        _, history = service.ask("GET", path, token)
        values += [value["Value"] for value in history["Values"]]
        path = history.get("Values@odata.nextLink")
    # The first of an hour may come twice, when the hour ends between two lives.
    assert list(dict.fromkeys(values)) == writer.answered


def check_sets(service, token, writers):
    """Chassis, events and heartbeats: all that was answered, and of the rest what was under way."""
    kept = set(service.members("/redfish/v1/Chassis", token))
    answered = set().union(*(writer.chassis for writer in writers))
    dying = {writer.pending[1] for writer in writers if writer.was_pending("DELETE")}
    assert answered - dying <= kept
    assert len(kept - answered) <= sum(w.was_pending("POST", "/Chassis") for w in writers)
    for writer in writers:
        writer.chassis &= kept
    writers[0].chassis |= kept - answered

    listed = set(service.members("/redfish/v1/Oem/Quorvan:Events", token))
    answered = set().union(*(writer.events for writer in writers))
    assert answered <= listed
    unanswered = listed - answered
    assert len(unanswered) <= sum(w.was_pending("POST", "Quorvan:Events") for w in writers)
    for path in unanswered:
        writers[0].events[path] = service.ask("GET", path, token)[1]["Message"]
    for writer in writers:
        for path in list(writer.events)[-20:]:
            assert service.ask("GET", path, token)[1]["Message"] == writer.events[path]

    count = service.heartbeat(token)["Count"]
    beats = sum(writer.heartbeats for writer in writers)
    assert beats <= count <= beats + sum(w.was_pending("POST", "/hb/") for w in writers)
    writers[0].heartbeats += count - beats


def check_database(file):
    with contextlib.closing(sqlite3.connect(f"file:{file}?mode=ro", uri=True)) as database:
        assert database.execute("PRAGMA integrity_check").fetchall() == [("ok",)]
        assert database.execute("PRAGMA foreign_key_check").fetchall() == []


@pytest.mark.load
def test_what_was_answered_survives_kills_under_load(service, folder):
    """5 kills; under CLOUDCLIENT_LOAD=1 100. CLOUDCLIENT_SEED repeats the moments of a run."""
    seed = int(os.environ.get("CLOUDCLIENT_SEED", random.randrange(2**32)))
    print(f"CLOUDCLIENT_SEED={seed}")
    moments = random.Random(seed)
    kills = 100 if os.environ.get("CLOUDCLIENT_LOAD") == "1" else 5
    service.start("--http", faketime=clock(1))
    _, headers = service.send(
        "POST", f"/redfish/v1/Managers?setup_email={EMAIL}&registration_key={KEY}",
        body=json.dumps({"UUID": UUID, "Name": "a"}))
    token = headers["X-Auth-Token"]
    writers = [Writer(service, token, number) for number in range(WRITERS)]
    for _ in range(kills):
        threads = [threading.Thread(target=writer.run) for writer in writers]
        for thread in threads:
            thread.start()
        service.wait_until(lambda: all(writer.answered or writer.faults for writer in writers),
                           "an answer for each writer")
        time.sleep(moments.uniform(0, LIFE))  # where it is by then is not to be known
        service.crash()
        for thread in threads:
            thread.join()
        assert not [fault for writer in writers for fault in writer.faults]
        service.start("--http", faketime=clock(1))
        for writer in writers:
            check_counter(service, token, writer)
        check_sets(service, token, writers)
        check_database(folder / "service.db")
    print(f"{sum(len(writer.answered) for writer in writers)} rounds of writes were answered")
