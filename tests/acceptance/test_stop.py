# SPDX-License-Identifier: Apache-2.0
"""The end of the daemon, whenever it comes."""

import fcntl
import os
import random
import signal
import time

import pytest

from harness.daemon import UUID
from harness.process import clock
from harness.recorder import HANGS

ENABLED = "cloudclient is now registered for device changes"
HEARTBEAT = f"POST /hb/{UUID}"
NOON = "2026-03-05 12:00:00"


def test_stop_while_disabled(daemon, device):
    daemon.configure(Enabled=False)
    daemon.start()
    daemon.logs("OnStart: Cloud Client is running but DISABLED")
    daemon.stop()


def test_stop_while_enabled_leaves_the_registration(daemon, device, recorder):
    daemon.configure(Url=recorder.url)
    daemon.start()
    recorder.receives(HEARTBEAT)
    token, chassis = daemon.token, daemon.chassis
    daemon.stop()
    assert (daemon.token, daemon.chassis) == (token, chassis)
    assert not recorder.requests(f"DELETE /redfish/v1/Managers/{UUID}")


def test_interrupt_stops_as_well(daemon, device, recorder):
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs(ENABLED)
    daemon.signal(signal.SIGINT)
    daemon.ends(0)


def test_standard_error_that_nobody_reads_holds_nothing(daemon, device, recorder):
    reading, writing = os.pipe()
    os.write(writing, b"x" * fcntl.fcntl(writing, fcntl.F_SETPIPE_SZ, 4096))
    daemon.configure(Url=recorder.url)
    daemon.start(errors=writing)
    os.close(writing)
    recorder.receives(HEARTBEAT)
    daemon.stop()
    with open(reading, "rb") as pipe:
        assert pipe.read().strip(b"x") == b""


def test_second_signal_ends_a_stop_that_hangs(daemon, device, recorder):
    recorder.answers("GET /redfish/v1", HANGS)
    daemon.configure(Url=recorder.url)
    daemon.start(clock(1))
    recorder.receives("GET /redfish/v1")
    daemon.signal(signal.SIGTERM)
    daemon.logs("SIGTERM: stopping")
    daemon.signal(signal.SIGTERM)
    daemon.ends(1)
    assert daemon.logged("SIGTERM while stopping: ended at once")


def test_stop_that_hangs_ends_after_60_seconds(daemon, device, recorder):
    recorder.answers("GET /redfish/v1", HANGS)
    daemon.configure(Url=recorder.url)
    daemon.start(clock(20))
    recorder.receives("GET /redfish/v1")
    began = time.monotonic()
    daemon.signal(signal.SIGTERM)
    daemon.ends(1)
    assert 20 * (time.monotonic() - began) >= 59
    assert daemon.logged("not stopped within 60 s: ended at once")


def test_heartbeat_that_hangs_does_not_hold_the_stop(daemon, device, recorder):
    recorder.answers(HEARTBEAT, HANGS)
    daemon.configure(Url=recorder.url)
    daemon.start()
    recorder.receives(HEARTBEAT)
    daemon.signal(signal.SIGTERM)
    daemon.ends(1)
    assert not daemon.logged("cloudclient stopped")


@pytest.mark.load
def test_stops_at_random_moments(daemon, device, service, clock_of):
    """20 stops within the first 20 seconds of a life; under CLOUDCLIENT_LOAD=1 200 within the
    first 100, which holds a heartbeat. CLOUDCLIENT_SEED repeats a run."""
    seed = int(os.environ.get("CLOUDCLIENT_SEED", random.randrange(2**32)))
    print(f"CLOUDCLIENT_SEED={seed}")
    moments = random.Random(seed)
    stops, life = (200, 100) if os.environ.get("CLOUDCLIENT_LOAD") == "1" else (20, 20)
    service.start("--http")
    daemon.configure(Url=service.url)
    for _ in range(stops):
        daemon.start(clock_of(NOON, 20))
        daemon.logs("DoWork: cloudclient is now ENABLED")
        time.sleep(moments.uniform(0, life / 20))  # where it is by then is not to be known
        daemon.stop_in_real_time()
