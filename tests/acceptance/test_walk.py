# SPDX-License-Identifier: Apache-2.0
"""Random walks: whatever happens to device, link, service, daemon and clock, both sides are equal in
the end."""

import contextlib
import functools
import io
import os
import random

import pytest

from harness.clocks import MovableClock
from harness.device import Device
from harness.folders import case_folder
from harness.kept import Kept
from harness.service import Service
from harness.walks import POLICY, Step, Walk, ends_of, shortest, steps_of

IS_LOAD = os.environ.get("CLOUDCLIENT_LOAD") == "1"
LENGTH = 200 if IS_LOAD else 60
SHORTER_DEADLINE = 20  # of a walk that failed, and is tried again
PARTS, WALKS = 10, 100 if IS_LOAD else 2


def wanted_seeds():
    """CLOUDCLIENT_SEEDS takes a number of fresh ones, or "=SEED" for one."""
    wanted = os.environ.get("CLOUDCLIENT_SEEDS", "")
    if wanted.startswith("="):
        return [int(wanted[1:])]
    return [random.randrange(2**32) for _ in range(int(wanted or 0))]


def seeds_of(part):
    """Odd seeds walk with the policy."""
    return wanted_seeds() or range(part * 100, part * 100 + WALKS)


@pytest.fixture
def goes(programs, make_daemon):
    """Takes a walk in a folder of its own; the processes are stopped and judged at its end."""
    def go(seed, steps, is_hasty=False, **deadline):
        hardened = seed % 2 == 1
        with contextlib.ExitStack() as ends:
            folder = ends.enter_context(case_folder())
            root = folder / "root"
            root.mkdir()
            daemon = make_daemon(folder, root)
            service = Service(programs, folder)
            for process in (daemon, service):
                ends.callback(process.close)
            if hardened:
                daemon.write("policy.json", POLICY)
            walk = Walk(seed, daemon, Device(root), service,
                        lambda start, speed: MovableClock(folder, start, speed), hardened,
                        is_hasty)
            try:
                walk.goes(steps, **deadline)
            except AssertionError:
                print(daemon.story())
                raise
    return go


def failure_of(goes, seed, steps):
    """Takes a walk. Of one that fails, what is wrong, and the shortest beginning that fails; None
    otherwise."""
    print(f"seed {seed}: repeat with CLOUDCLIENT_SEEDS=={seed} CLOUDCLIENT_LOAD={int(IS_LOAD)} "
          f"{os.environ['PYTEST_CURRENT_TEST']}")
    try:
        goes(seed, steps)
        return None
    except AssertionError as failure:
        told = failure

    def fails(shorter):
        try:
            with contextlib.redirect_stdout(io.StringIO()):
                goes(seed, shorter, deadline=SHORTER_DEADLINE)
        except AssertionError:
            return True
        return False
    length, left = shortest(steps, fails)
    return "\n".join([f"seed {seed}: {told}", f"The first {length} steps fail, of which are left:",
                      *(f"  {step.name}{step.arguments}" for step in left)])


def take(goes, seeds, done, steps):
    """Takes the walks of the seeds, but of those that are done."""
    failures = []
    for seed in seeds:
        if seed in done.numbers():
            continue
        failure = failure_of(goes, seed, steps(seed))
        if failure:
            failures.append(failure)
        else:
            done.add(seed)
    assert not failures, "\n".join(failures)


@pytest.mark.load
@pytest.mark.parametrize("part", range(PARTS))
def test_both_sides_are_equal_after_walks(goes, part):
    """20 walks in all; 1,000 longer ones under CLOUDCLIENT_LOAD=1."""
    take(goes, seeds_of(part), Kept(f"walks.{part}.{LENGTH}"),
         lambda seed: steps_of(seed, LENGTH))


@pytest.mark.load
@pytest.mark.parametrize("end", ["stops", "kills"])
def test_end_at_any_moment_loses_nothing_of_the_outbox(goes, end):
    """20 ends of each kind, each followed by a start; 10,000 under CLOUDCLIENT_LOAD=1."""
    walks, ends = (100, 100) if IS_LOAD else (1, 20)
    take(functools.partial(goes, is_hasty=True), wanted_seeds() or range(1, 2 * walks, 2),
         Kept(f"{end}.{ends}"), lambda seed: ends_of(seed, end, ends))


def test_walk_that_fails_is_made_short():
    steps = [Step("begins", (), 0), *(Step(f"step {number}", (), 0) for number in range(100))]
    tried = []

    def fails(shorter):
        tried.append(shorter)
        names = [step.name for step in shorter]
        return "step 20" in names and "step 35" in names
    length, left = shortest(steps, fails, most=100)
    assert length == 37
    assert [step.name for step in left] == ["begins", "step 20", "step 35"]
    assert shortest(steps, fails, most=3)[0] <= len(steps)
    assert all(shorter[0].name == "begins" for shorter in tried)
