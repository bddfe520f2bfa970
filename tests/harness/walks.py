# SPDX-License-Identifier: Apache-2.0
"""Random walks of device, link, service, daemon and clock, and how one that fails is made short."""

import contextlib
import json
import random
import re
import time
from collections import namedtuple

from . import faults
from .alarms import SEVERITIES, at_the_device, at_the_service
from .process import clock
from .waiting import DEADLINE, wait_until

ENABLED = "cloudclient is now registered for device changes"
NOON = "2026-03-05 12:00:00"
SPEED = 200
SLOWER = 20  # where no time-out is part of what happens
STOPPING = 10  # a stop has 60 seconds of this clock
NUMBERS = (4711, 4712, 4713)
MODULES = {4711: 3, 4712: 1, 4713: 1}
ALARMS = [(number, module) for number in NUMBERS for module in range(MODULES[number])]
SUPPLY = 1201

# Under the fast clock a second is enough for the service's disk on a busy machine, and little for who
# waits for a stall.
POLICY = {"Preset": "hardened", "Transport": {
    "ConnectTimeoutSeconds": SPEED, "RequestTimeoutSeconds": 2 * SPEED, "StallSeconds": SPEED}}
OUTBOX = "var/lib/cloudclient/outbox"
# A line before a record's texts: time, key, sizes, checksum.
_RECORD = re.compile(rb"(?m)^\+ -?\d+ (\S+) (\d+ \d+ \d+) \S+\n")

# What happens, to what, and real seconds until the next: where the daemon is by then is not to be
# known.
Step = namedtuple("Step", "name arguments pause")


def _reset_request(chance):
    return faults.ResetRequest(chance.randrange(1, 400))


def _reset(chance):
    return faults.Reset(chance.randrange(300))


def _closes(chance):
    return faults.Closes(chance.randrange(300))


def _refused(chance):
    return faults.refused(chance.choice((500, 503, 429)))


def _garbled(chance):
    return faults.Answers(chance.randbytes(200) + b"\r\n", ends=True)


def _redirected(_):
    return faults.redirected("/nowhere")


def _truncated(_):
    return faults.truncated()


def _twice(_):
    return faults.Delivers(2)


def _oversized(chance):
    return faults.oversized(chance.randrange(100_000))


FAULTS = (_reset_request, _reset, _closes, _refused, _garbled, _redirected, _truncated, _twice,
          _oversized)


def _states(chance):
    """What the device is like when the daemon starts: some events are active."""
    return {number: chance.choice(("Cleared", *SEVERITIES)) for number in NUMBERS}


_MAKERS = (
    (40, "raises", lambda c: (*c.choice(ALARMS), c.choice(SEVERITIES))),
    (25, "clears", lambda c: c.choice(ALARMS)),
    (8, "sets", lambda c: (c.randrange(10, 40),)),
    (5, "disturbs", lambda c: (c.uniform(0.1, 1),)),
    (3, "refuses", lambda c: ()),
    (2, "stalls", lambda c: (c.randrange(100),)),
    (8, "heals", lambda c: ()),
    (3, "steps", lambda c: (c.choice((-3600, 60, 3600, 12 * 3600)),)),
    (1, "stops", lambda c: (_states(c),)),
    (1, "kills", lambda c: (_states(c),)),
    (1, "restarts_service", lambda c: (c.random() < 0.5,)),
)


def steps_of(seed, length):
    """The walk of a seed; its first step says what the device is like."""
    chance = random.Random(seed)
    steps = [Step("begins", (_states(chance),), 0)]
    weights = [weight for weight, _, _ in _MAKERS]
    while len(steps) < length:
        _, name, make = chance.choices(_MAKERS, weights)[0]
        steps.append(Step(name, make(chance), chance.uniform(0, 0.03)))
    return steps


def ends_of(seed, end, count):
    """A walk in which the daemon starts and ends so often, by "stops" or "kills", at whatever moment
    of its first minute and a half, while the device raises and clears alarms."""
    chance = random.Random(seed)
    steps = [Step("begins", (_states(chance),), 0)]
    makers = {name: make for _, name, make in _MAKERS}
    for _ in range(count):
        for name in chance.choices(("raises", "clears"), k=chance.randrange(4)):
            steps.append(Step(name, makers[name](chance), chance.uniform(0, 0.1)))
        steps.append(Step(end, (_states(chance),), chance.uniform(0, 30 / SPEED)))
    return steps


def keys_that_wait(folder):
    """The keys of the whole records that wait in the files of an outbox."""
    for path in sorted(folder.glob("*.outbox")):
        with contextlib.suppress(FileNotFoundError):  # done meanwhile
            text = path.read_bytes()
            for head in _RECORD.finditer(text):
                size = sum(map(int, head[2].split())) + 1
                if len(text) - head.end() >= size:
                    yield head[1].decode()


class Walk:
    """One walk, with programs and a folder of its own. The daemon is one with a policy, or none."""

    def __init__(self, seed, daemon, device, service, clock_of, hardened, is_hasty=False):
        """A hasty one goes on as soon as the daemon has begun to start."""
        self._daemon, self._device, self._service = daemon, device, service
        self._clock_of, self._hardened = clock_of, hardened
        self._clock = None
        self._begins_with = " starts" if is_hasty else "cloudclient is now ENABLED"
        self._speed = SPEED
        self._seed = seed
        self._way = None
        self._put = set()  # keys of the events that were seen in the outbox

    def goes(self, steps, deadline=DEADLINE):
        """Takes the steps, and holds both sides against each other when all is quiet."""
        self._service.start("--http", faketime=clock(1))
        self._way = faults.FaultyWay(self._service.port, seed=self._seed)
        try:
            self._daemon.configure(Url=self._way.url)
            for step in steps:
                getattr(self, "_" + step.name)(*step.arguments)
                time.sleep(step.pause)
                self._looks_into_the_outbox()
            self._becomes_quiet(steps[0].arguments[0])
            wait_until(lambda: at_the_service(self._service, self._daemon) ==
                       at_the_device(self._device), self._difference, deadline)
            if self._hardened:
                self._each_event_arrived_once(deadline)
        finally:
            self._way.close()

    def _looks_into_the_outbox(self):
        """Whether it is empty; what is there is remembered. Of what the device told and the poster has
        not taken yet some is never put: a state that is posted already."""
        waiting = set(keys_that_wait(self._daemon.root / OUTBOX))
        self._put |= waiting
        return not waiting and not any(keys_that_wait(self._daemon.root / OUTBOX / "told"))

    def _each_event_arrived_once(self, deadline):
        """Of the events that were seen in the outbox, or on their way, none is missing at the service
        and none is there twice; and it has no others."""
        wait_until(self._looks_into_the_outbox, "an empty outbox", deadline)
        answers = self._way.keyed()
        assert self._put <= answers.keys(), "an event was never sent"
        taken = {key: {json.loads(body)["Id"] for status, body in answers[key] if status == 201}
                 for key in answers}
        assert all(len(ids) == 1 for ids in taken.values()), (
            f"an event with no place at the service, or with several: {taken} {answers}")
        path = "/redfish/v1/Oem/Quorvan:Events"
        there = [member["@odata.id"].rpartition("/")[2]
                 for member in self._service.documents(path, self._daemon.token)]
        assert sorted(there) == sorted(id for ids in taken.values() for id in ids)
        assert there, "a walk without an event"

    def _difference(self):
        return (f"the same alarms: {sorted(at_the_service(self._service, self._daemon))} at the "
                f"service, {sorted(at_the_device(self._device))} at the device")

    def _becomes_quiet(self, states):
        """The link is good, and a synchronisation is made, either after a new start or, where the
        policy has a connection tried again, after midnight."""
        self._heals()
        self._speed = SLOWER
        if self._hardened and (self._seed // 100 + self._seed // 2) % 2:
            self._clock.slow_to(SLOWER, self._daemon.began)
            # Armed: of a midnight before that nothing is told.
            self._daemon.logs(ENABLED)
            wait_until(lambda: self._daemon.chassis, "a chassis")
            expired = len(self._daemon.logged(" Expired "))
            self._clock.step(self._daemon.until_midnight() - 30)
            self._daemon.logs(" Expired ", times=expired + 1)
        else:
            self._stops(states)

    def _starts(self, states):
        self._device.describe({
            "ProductSequenceId": "1.2.3",
            "Points": [{"Id": SUPPLY, "Name": "supply", "Value": "21"}],
            "Events": [{"GddId": number, "Text": f"Event {number}", "Modules": MODULES[number],
                        "State": state} for number, state in states.items()]})
        self._clock = self._clock_of(NOON, self._speed)
        self._daemon.start(self._clock)
        self._daemon.logs(self._begins_with)

    # The steps

    def _begins(self, states):
        """The first connection is made before anything else happens: without a policy an appliance
        whose first chassis is refused never has one."""
        self._starts(states)
        self._daemon.logs(ENABLED)
        wait_until(lambda: self._daemon.chassis, "a chassis")

    def _raises(self, number, module, severity):
        self._device.raises(number, module, severity)

    def _clears(self, number, module):
        self._device.clears(number, module)

    def _sets(self, value):
        self._device.sets(SUPPLY, str(value))

    def _disturbs(self, chance):
        self._way.at_random(chance, FAULTS)

    def _refuses(self):
        self._way.refuses()

    def _stalls(self, at):
        self._way.does(faults.Stall(at))

    def _heals(self):
        self._way.heals()

    def _steps(self, seconds):
        self._clock.step(seconds)

    def _stops(self, states):
        if not self._hardened:
            self._heals()  # without a deadline a stop waits for a stall
        self._clock.slow_to(STOPPING, self._daemon.began)
        self._daemon.stop()
        self._starts(states)

    def _kills(self, states):
        self._daemon.crash()
        self._starts(states)

    def _restarts_service(self, by_a_kill):
        if by_a_kill:
            self._service.crash()
        else:
            self._service.stop()
        self._service.start("--http", faketime=clock(1))


def shortest(steps, fails, most=40):
    """Of a walk that fails the shortest beginning that does, by bisection, and of that what is left
    when single steps are taken out; at most so many tries. The first step stays."""
    tries = 0

    def still_fails(shorter):
        nonlocal tries
        tries += 1
        return tries <= most and fails(shorter)
    good, bad = 0, len(steps)  # how many steps do not fail, and do
    while bad - good > 1:
        middle = (good + bad) // 2
        if still_fails(steps[:middle]):
            bad = middle
        else:
            good = middle
    left = steps[:bad]
    at = len(left) - 1
    while at > 0 and tries < most:
        without = left[:at] + left[at + 1:]
        if still_fails(without):
            left = without
        at -= 1
    return bad, left
