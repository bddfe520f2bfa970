# SPDX-License-Identifier: Apache-2.0
"""What the service has answered for is kept, whenever it is killed."""

import contextlib
import os
import random
import shutil
import sqlite3
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
