# SPDX-License-Identifier: Apache-2.0
"""Patroni fails the database over, and brings a server back that was lost."""

import os
import pathlib
import tempfile

import pytest

from harness.appliance import Appliance
from harness.patroni import Patroni
from harness.process import clock
from harness.service import Service
from harness.writers import Writers

pytestmark = [pytest.mark.load, pytest.mark.skipif(os.environ.get("CLOUDCLIENT_LOAD") != "1",
                                                   reason="Patroni waits for real seconds")]


@pytest.fixture
def servers_folder():
    """Where the user of the servers gets to."""
    with tempfile.TemporaryDirectory(prefix="patroni-", dir="/tmp") as folder:
        yield pathlib.Path(folder)


@pytest.fixture
def patroni(folder, servers_folder, under_watch):
    return Patroni(servers_folder, under_watch).start()


def test_no_answered_write_is_lost_with_the_primary(patroni, programs, folder, under_watch):
    """Twice, so that the server that came back is the primary in the end."""
    service = under_watch(Service(programs, folder, patroni.url()))
    service.start("--http", faketime=clock(1))
    appliance = Appliance(service, "u-1")
    writers = Writers(service, appliance, 2, 0.05)
    with writers.at_work():
        for lost, other in ((patroni.one, patroni.two), (patroni.two, patroni.one)):
            assert lost.is_primary()
            lost.crash()
            other.wait_until(other.is_primary, "to be the primary")
            writers.go_on()
            lost.start()
            lost.wait_until(lost.follows, "to be the standby")
            writers.go_on()
    writers.find_what_was_answered()
