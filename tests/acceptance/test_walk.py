# SPDX-License-Identifier: Apache-2.0
"""A random walk: whatever happens to device, link and daemon, both sides are equal in the end."""

import os
import random
import time

import pytest

from harness.alarms import SEVERITIES, at_the_device, at_the_service
from harness.process import clock
from harness.proxy import DISTURBED, THROUGH
from harness.waiting import wait_until

ENABLED = "cloudclient is now registered for device changes"
STEPS = 500
SPEED = 200
SLOWER = 20  # where no time-out is part of what happens
NOON = "2026-03-05 12:00:00"
NUMBERS = (4711, 4712, 4713)
MODULES = {4711: 3, 4712: 1, 4713: 1}


def seeds():
    """Five of a fixed choice; CLOUDCLIENT_SEEDS takes a number of fresh ones, or "=SEED"."""
    wanted = os.environ.get("CLOUDCLIENT_SEEDS", "")
    if wanted.startswith("="):
        return [int(wanted[1:])]
    if wanted:
        return [random.randrange(2**32) for _ in range(int(wanted))]
    return [1, 2, 3, 4, 5]


class Walk:
    def __init__(self, seed, daemon, device, proxy, clock_of):
        self._random = random.Random(seed)
        self._daemon, self._device, self._proxy = daemon, device, proxy
        self._clock_of = clock_of
        self.starts = self.outages = 0

    def describe(self):
        """What the device is like when the daemon starts: some events are active."""
        self._device.describe({
            "ProductSequenceId": "1.2.3",
            "Points": [{"Id": 1201, "Name": "supply", "Value": "21"}],
            "Events": [{"GddId": n, "Text": f"Event {n}", "Modules": MODULES[n],
                        "State": self._random.choice(("Cleared", *SEVERITIES))}
                       for n in NUMBERS]})

    def start(self, speed=SPEED):
        self.describe()
        self._daemon.start(self._clock_of(NOON, speed))
        self._daemon.logs(ENABLED)
        self.starts += 1

    def step(self):
        what = self._random.random()
        number = self._random.choice(NUMBERS)
        module = self._random.randrange(MODULES[number])
        if what < 0.5:
            self._device.raises(number, module, self._random.choice(SEVERITIES))
        elif what < 0.85:
            self._device.clears(number, module)
        elif what < 0.91:
            self._proxy.becomes(self._random.choice(DISTURBED))
            self.outages += 1
        elif what < 0.98:
            self._proxy.becomes(THROUGH)
        else:
            self._daemon.stop_in_real_time()
            self.start()
        time.sleep(self._random.uniform(0, 0.03))  # where the daemon is by then is not to be known


@pytest.mark.parametrize("seed", seeds())
def test_both_sides_are_equal_after_a_walk(daemon, device, service, proxy_to, clock_of, seed):
    print(f"seed {seed}: repeat with CLOUDCLIENT_SEEDS=={seed}")
    service.start("--http", faketime=clock(SPEED))
    proxy = proxy_to(service)
    daemon.configure(Url=proxy.url)
    walk = Walk(seed, daemon, device, proxy, clock_of)
    walk.start()
    wait_until(lambda: daemon.chassis, "a chassis")
    for _ in range(STEPS):
        walk.step()
    assert walk.starts > 1 and walk.outages > 1
    proxy.becomes(THROUGH)
    daemon.stop_in_real_time()
    walk.start(SLOWER)
    wait_until(lambda: at_the_service(service, daemon) == at_the_device(device),
               "the same alarms on both sides")
    daemon.stop_in_real_time()
