# SPDX-License-Identifier: Apache-2.0
"""What the service has answered for is kept, whenever it is killed."""

import contextlib
import json
import os
import pathlib
import random
import shutil
import signal
import sqlite3
import subprocess
import time

import pytest

from harness.appliance import Appliance
from harness.daemon import UUID
from harness.postgresql import Cluster
from harness.process import clock
from harness.service import Service
from harness.writers import Writers

LIFE = 0.3  # seconds until it is dead
KILLS = 20  # of one database
# How many databases.
TERMS = 50 if os.environ.get("CLOUDCLIENT_LOAD") == "1" else 1


@pytest.fixture
def moments():
    """Moments that CLOUDCLIENT_SEED repeats: it is printed by a case that fails."""
    seed = int(os.environ.get("CLOUDCLIENT_SEED", random.randrange(2**32)))
    print(f"CLOUDCLIENT_SEED={seed}")
    return random.Random(seed)


def starts(service):
    # At another port: meanwhile somebody else may have the one before.
    service.port = 0
    service.start("--http", faketime=clock(1))


def writers_of(service):
    starts(service)
    return Writers(service, Appliance(service, UUID))


def check_file(file):
    with contextlib.closing(sqlite3.connect(f"file:{file}?mode=ro", uri=True)) as database:
        assert database.execute("PRAGMA integrity_check").fetchall() == [("ok",)]
        assert database.execute("PRAGMA foreign_key_check").fetchall() == []


def kill(service, writers, moments):
    """While they write, at any moment; then it starts again."""
    with writers.at_work():
        time.sleep(moments.uniform(0, LIFE))  # where it is by then is not to be known
        service.crash()
    starts(service)


def health(service):
    return service.ask("GET", "/healthz")[0]


def is_refused_and_well_again(service, appliance, ends):
    """Changes fail, reading goes on; after the end of what is wrong nobody has to help."""
    path = f"{appliance.path}/X"
    service.wait_until(
        lambda: service.send("PATCH", path, appliance.token, '{"A": 1}')[0] == 500, "an error")
    assert health(service) == 503
    appliance.sends("GET", appliance.path, expected=200)
    ends()
    service.wait_until(lambda: health(service) == 200, "health")
    appliance.sends("PATCH", path, {"A": 2})


@contextlib.contextmanager
def open_folder(path):
    """The folder by another name, which stays when the disk is taken away."""
    descriptor = os.open(path, os.O_RDONLY | os.O_DIRECTORY)
    try:
        yield pathlib.Path(f"/proc/self/fd/{descriptor}")
    finally:
        os.close(descriptor)


@contextlib.contextmanager
def slow_disk(service, folder):
    """Whatever goes to the disk takes a fifth of a second longer."""
    calls = "fsync,fdatasync"
    log = folder / "strace"
    slower = subprocess.Popen(["strace", "-f", "-qq", "-p", str(service.pid), "-o", log, "-e",
                               f"trace={calls}", "-e", f"inject={calls}:delay_enter=200000"])
    try:
        service.wait_until(lambda: service.status("TracerPid") == str(slower.pid), "its slow disk")
        yield
    finally:
        slower.send_signal(signal.SIGINT)
        slower.wait()
    assert " = 0 (DELAYED)" in log.read_text()


def test_full_disk_is_told_until_there_is_room(programs, folder, under_watch):
    """The disk is a small one of the process's own."""
    disk = folder / "disk"
    disk.mkdir()
    service = under_watch(Service(programs, folder, disk / "service.db"))
    mount = f'mount -t tmpfs -o size=8m none {disk} && exec "$@"'
    service.start("--http", faketime=clock(1), before=[
        "unshare", "--mount", *([] if os.geteuid() == 0 else ["--map-root-user"]),
        "sh", "-c", mount, "sh"])
    seen = pathlib.Path(f"/proc/{service.pid}/root/{disk}")
    appliance = Appliance(service, UUID)
    writers = Writers(service, appliance)
    with writers.at_work():
        pass

    def fill():
        with open(seen / "ballast", "wb", buffering=0) as ballast:
            with contextlib.suppress(OSError):
                while ballast.write(bytes(4096)) == 4096:
                    pass
        service.wait_until(
            lambda: service.send("PATCH", f"{appliance.path}/Y", appliance.token,
                                 json.dumps({"Y": "y" * 100_000}))[0] == 500, "a full disk")
    fill()
    is_refused_and_well_again(service, appliance, (seen / "ballast").unlink)
    writers.find_what_was_answered()
    with open_folder(seen) as kept:
        service.stop()
        shutil.copy(kept / "service.db", folder / "copy.db")
    check_file(folder / "copy.db")


def test_slow_disk_holds_up_no_reader(service, folder):
    """Each change takes a fifth of a second; those who wait share it, and others read meanwhile."""
    service.start("--http", faketime=clock(1))
    appliance = Appliance(service, UUID)
    writers = Writers(service, appliance, 8)
    looks = 0
    with slow_disk(service, folder), writers.at_work():
        while writers.rounds < 16:
            appliance.sends("GET", appliance.path, expected=200)
            looks += 1
    writers.find_what_was_answered()
    assert looks > writers.rounds


def test_foreign_lock_is_told_until_it_goes(service):
    """Somebody else writes, and does not come to an end. The service waits 5 seconds of its clock."""
    service.start("--http", faketime=clock(50))
    appliance = Appliance(service, UUID)
    with contextlib.closing(service.database()) as database:
        database.execute("BEGIN IMMEDIATE")
        is_refused_and_well_again(service, appliance, database.rollback)


@pytest.mark.load
def test_what_was_answered_survives_kills_under_load(programs, folder, under_watch, moments):
    """20 kills; under CLOUDCLIENT_LOAD=1 1,000, 20 for each database."""
    rounds = 0
    for term in range(TERMS):
        place = folder / str(term)
        place.mkdir()
        service = under_watch(Service(programs, place))
        writers = writers_of(service)
        for _ in range(KILLS):
            kill(service, writers, moments)
            writers.find_what_was_answered()
            check_file(place / "service.db")
        rounds += writers.rounds
        service.stop()
        shutil.rmtree(place)  # a case that fails shows the files of its processes
    print(f"{rounds} rounds of writes were answered")


@pytest.mark.load
def test_what_was_answered_survives_kills_on_postgresql(programs, folder, under_watch, moments):
    """The service and the database's server are killed in turn, 3 times each; 50 under
    CLOUDCLIENT_LOAD=1. After the server's start the service goes on by itself."""
    with Cluster() as cluster:
        service = under_watch(Service(programs, folder, cluster.url()))
        writers = writers_of(service)
        for _ in range(max(3, TERMS)):
            kill(service, writers, moments)
            writers.find_what_was_answered()
            with writers.at_work():
                time.sleep(moments.uniform(0, LIFE))
                cluster.stop("immediate")
                cluster.start()
                writers.go_on()
            writers.find_what_was_answered()
        service.stop()
        cluster.check()
    print(f"{writers.rounds} rounds of writes were answered")
