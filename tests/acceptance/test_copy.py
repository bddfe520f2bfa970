# SPDX-License-Identifier: Apache-2.0
"""A whole service moves between a file and a PostgreSQL server."""

import contextlib
import itertools
import re
import sqlite3
import subprocess

import pytest

from harness.appliance import Appliance
from harness.operators import Operator
from harness.postgresql import BINARIES, database
from harness.process import Process, clock, environment
from harness.service import Service
from harness.waiting import wait_until

# What is compared of two files: all that a copy carries, but the numbers of events.
TABLES = {
    "account": "*", "registration_key": "*", "operator": "*",
    "manager": "id, uuid, name, token_hash, registered, account, coalesce(address, ''), changed, "
               "heartbeat_count, heartbeat_last, heartbeat_interval, late_at, offline_at, label, "
               "model, serial, firmware, faults, alarms, warnings, events, day, day_events",
    "manager_document": "*", "chassis": "*",
    "resource": "manager, chassis, path, document, changed",
    "event": "manager, chassis, message_id, severity, document, received, kind",
    "alarm": "id, manager, chassis, message_id, severity, rank, opened, closed",
    "member": "*", "reading": "*", "total": "*",
}


@pytest.fixture(name="url")
def _url(postgresql):
    """An empty database on a server."""
    with database(postgresql) as url:
        yield url


class Copy(Process):
    def __init__(self, programs, folder):
        super().__init__("copy", folder)
        self.program = programs / "service" / "cloudservice"

    def begins(self, source, target, largest_file=None):
        self.launch([self.program, "copy", "--from", source, "--to", target],
                    environment(clock(1)), largest_file)

    def runs(self, source, target, status=0, largest_file=None):
        """What it wrote, without the times of its lines."""
        self.begins(source, target, largest_file)
        self.ends(status)
        return re.sub(r"(?m)^\d{4}-\S+ ", "", self.error_text())


@pytest.fixture(name="copy")
def _copy(programs, folder, under_watch):
    return under_watch(Copy(programs, folder))


def fill(service):
    """A service with an operator and an appliance that has sent something of every kind."""
    service.start("--http", faketime=clock(1))
    operator = Operator(service).is_added()
    appliance = Appliance(service, "u-1").has_chassis(Name="one")
    appliance.beats()
    appliance.keeps("Thermal", {"Temperatures": [{"MemberId": "1", "ReadingCelsius": 21.5}]})
    for number in range(5):
        appliance.raises(number)
    appliance.clears(3)
    return operator, appliance


def rows(file):
    """What a copy carries of a file, table by table."""
    with contextlib.closing(sqlite3.connect(file)) as link:
        assert link.execute("PRAGMA integrity_check").fetchall() == [("ok",)]
        assert link.execute("PRAGMA foreign_key_check").fetchall() == []
        return {table: link.execute(f"SELECT {columns} FROM {table} ORDER BY rowid").fetchall()
                for table, columns in TABLES.items()}


def add_rows(file, count):
    """Adds so many appliances, documents, events and readings to the file of a stopped service."""
    with contextlib.closing(sqlite3.connect(file)) as link:
        link.executescript(f"""
BEGIN;
CREATE TEMP TABLE n (i INTEGER PRIMARY KEY);
INSERT INTO n WITH RECURSIVE r (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM r WHERE i < {count})
SELECT i FROM r;
INSERT INTO manager (id, uuid, name, token_hash, registered) SELECT 10 + i, 'm' || i, 'n', 't' || i,
  1700000000 FROM n;
INSERT INTO manager_document SELECT 10 + i, '{{}}' FROM n;
INSERT INTO chassis SELECT 10 + i, 'c' || i, 10 + i, '{{}}', 1, 1 FROM n;
INSERT INTO resource (manager, chassis, path, document, changed) SELECT 10 + i, 10 + i, '/r',
  '{{"r": ' || i || '}}', i FROM n;
INSERT INTO event (id, manager, chassis, message_id, severity, document, received, kind)
SELECT 1000 + i, 10 + i, 'c' || i, 'm', 'Alarm', '{{"e": ' || i || '}}', 1700000000 + 20 * i, 0
FROM n;
INSERT INTO alarm (manager, chassis, message_id, severity, rank, event, opening, opened, closed)
SELECT 10 + i, 10 + i, 'm', 'Alarm', 1, 1000 + i, 1000 + i, 1, CASE WHEN i > 9 THEN 2 END FROM n;
UPDATE manager SET alarms = 1 WHERE id BETWEEN 11 AND 19;
INSERT INTO member (id, manager, chassis, path, name) SELECT 10 + i, 10 + i, 10 + i, '/r', 'r'
FROM n;
INSERT INTO reading (member, time, value) SELECT 10 + i, 1700000000 + 30 * i, i FROM n;
COMMIT""")


def shown(url):
    """A URL as messages have it."""
    name, _, options = url.removeprefix("postgresql:///").partition("?")
    return f"postgresql://{options.removeprefix('host=').partition('&')[0]}/{name}"


def test_service_moves_to_a_server_and_back(url, programs, folder, under_watch, copy):
    source, back = folder / "service.db", folder / "back.db"
    first = under_watch(Service(programs, folder))
    operator, appliance = fill(first)
    last = operator.follows().begins().last
    before = operator.ask("GET", "/appliances/{uuid}", "u-1")
    first.stop()
    told = copy.runs(source, url).splitlines()
    assert told[0] == f"copy begins: from {source} to {shown(url)}"
    assert "copied event: 6 rows" in told
    assert re.fullmatch(rf"copy complete: \d+ rows, the same in {source} and {shown(url)}",
                        told[-1])

    second = under_watch(Service(programs, folder, url, "second"))
    second.start("--http", faketime=clock(1))
    there = operator.moved_to(second).ask("GET", "/appliances/{uuid}", "u-1")
    assert there == before
    appliance.moved_to(second)
    appliance.clears(2)
    appliance.beats()
    # The table of changes is another one: who has read some of the former has to load all.
    assert operator.follows(last).next() == ("reset", {})
    second.stop()

    copy.runs(url, back)
    third = under_watch(Service(programs, folder, str(back), "third"))
    third.start("--http", faketime=clock(1))
    assert operator.moved_to(third).ask("GET", "/appliances/{uuid}", "u-1")["alarms"]["Alarm"] == 3
    document = appliance.moved_to(third).sends("GET", appliance.path, expected=200)
    assert document["Oem"]["Quorvan"]["Heartbeat"]["Count"] == 2
    appliance.raises(9)


def nobody_is_at(url):
    """Waits until the server has noticed that those who were connected have ended."""
    def others():
        query = ("SELECT count(*) FROM pg_stat_activity "
                 "WHERE datname = current_database() AND pid <> pg_backend_pid()")
        return subprocess.run([f"{BINARIES}/psql", "-qAtX", "-c", query, url], check=True,
                              capture_output=True, text=True).stdout.strip()
    wait_until(lambda: others() == "0", "the end of what was killed at the server")


def test_copy_goes_on_after_it_was_killed_anywhere(url, service, copy, folder):
    fill(service)
    service.stop()
    source, back = folder / "service.db", folder / "back.db"
    add_rows(source, 12000)
    before = rows(source)
    for one, other in [(source, url), (url, back)]:
        kills = 0
        for lines in itertools.cycle([0, 1, 2, 2, 1, 3]):
            copy.begins(one, other)
            wait_until(lambda seen=lines: copy.error_text().count("\n") >= seen or not copy.running,
                       f"{lines} lines")
            if "copy complete" in copy.error_text() or not copy.running:
                break
            copy.crash()
            nobody_is_at(url)
            kills += 1
        copy.ends(0)
        assert kills > 5
    assert rows(back) == before


def test_copy_to_a_full_disk_goes_on_when_there_is_room(service, copy, folder):
    fill(service)
    service.stop()
    source, target = folder / "service.db", folder / "copy.db"
    add_rows(source, 3000)
    told = copy.runs(source, target, status=1, largest_file=1_000_000)
    assert re.search(rf"cloudservice: (cannot keep \w+ \d+ in {target}: )?"
                     "(disk I/O error|database or disk is full)\n$", told)
    assert copy.runs(source, target).startswith("copy goes on: ")
    assert rows(target) == rows(source)


def test_unfinished_copy_is_not_served(url, service, copy, folder):
    fill(service)
    service.stop()
    source = folder / "service.db"
    add_rows(source, 6000)
    for target, name in [(url, shown(url)), (folder / "copy.db", folder / "copy.db")]:
        copy.begins(source, target)
        wait_until(lambda: "copied manager: " in copy.error_text(), "some rows")
        copy.crash()
        ended = subprocess.run(
            [copy.program, "--http", "--listen", "127.0.0.1:0", "--db", target],
            env=environment(clock(1)), cwd=folder, capture_output=True, text=True, check=False)
        assert (ended.returncode, ended.stdout) == (1, "")
        assert ended.stderr == (f"cloudservice: {name} is a copy that is not finished: "
                                "run cloudservice copy again\n")
        copy.runs(source, target)


def test_what_cannot_be_copied_is_one_message(url, service, copy, folder):
    fill(service)
    source, target = folder / "service.db", folder / "copy.db"
    assert copy.runs(source, target, 1) == f"cloudservice: {source} is in use by another service\n"
    service.stop()
    copy.runs(source, url)
    assert copy.runs(source, url, 1) == (
        f"cloudservice: {shown(url)} is not empty, and a copy begins with an empty database\n")
    assert copy.runs(source, source, 1) == (
        f"cloudservice: {source} and {source} are one database\n")
    assert copy.runs(folder / "none.db", target, 1) == (
        f"cloudservice: cannot open {folder}/none.db: it is not there\n")
    assert copy.runs(source, "", 2).startswith("cloudservice: copy takes a file or a URL each")


def test_service_on_a_server_keeps_a_copy_away(url, programs, folder, under_watch, service, copy):
    fill(service)
    service.stop()
    running = under_watch(Service(programs, folder, url, "running"))
    running.start("--http", faketime=clock(1))
    assert copy.runs(folder / "service.db", url, 1) == (
        f"cloudservice: {shown(url)} is in use by a service, a command or another copy\n")
