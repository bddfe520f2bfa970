# SPDX-License-Identifier: Apache-2.0
"""Seven-day extremes over eight midnights, against a recomputation from the same readings."""

import json
import random

import pytest

from harness.points import HUMIDITY, SUPPLY, Extremes, map_file, point, resource
from harness.wire import answer

ENABLED = "cloudclient is now registered for device changes"
PATCH = "PATCH /redfish/v1/Chassis/C1/Thermal"
MIDNIGHTS = 8
PAGE = ('{"Temperature": [%s, 7daylowtemp, 7dayhightemp], '
        '"Humidity": [%s, 7daylowhum, 7dayhighhum], "Again": "7daylowtemp"}')


class Readings:
    """What the device reads, and the document that follows from it."""

    def __init__(self, day):
        self._extremes = Extremes(day)
        self._values = {"temperature": "21", "humidity": "40"}
        self._seed("temperature", "humidity")

    def _seed(self, *kinds):
        for kind in kinds:
            self._extremes.seed(kind, self._values[kind])

    def change(self, kind, text):
        self._values[kind] = text
        self._extremes.change(kind, text)

    def next_day(self):
        self._extremes.next_day()
        self._seed("humidity", "temperature")

    def __getitem__(self, kind):
        return self._values[kind]

    def document(self):
        temperature, humidity = (", ".join([self._values[kind], *self._extremes.of(kind)])
                                 for kind in ("temperature", "humidity"))
        return (f'{{"Temperature": [{temperature}], "Humidity": [{humidity}], '
                '"Again": "7daylowtemp"}')


@pytest.fixture
def readings(daemon, device, recorder, clock_of):
    """A daemon at noon that has sent its first document, and its clock."""
    device.describe({"ProductSequenceId": "1.2.3", "Points": [
        {"Id": SUPPLY, "Name": "supply", "Value": "21"},
        {"Id": HUMIDITY, "Name": "humidity", "Value": "40"}]})
    device.page("1/2/covpatchmap.txt", map_file([resource(**{"7dayAccum": True})], thermal=[
        point(SUPPLY, **{"7dayTempAccum": True}),
        point(HUMIDITY, pld="humidity", **{"7dayHumAccum": True})]))
    device.page("patch/thermal.txt", PAGE % ("{{point:1201}}", "{{point:1202}}"))
    recorder.knows_the_manager()
    recorder.answers("GET /redfish/v1/Oem/Quorvan:Events", answer(200, body="[]"))
    recorder.answers(PATCH, answer(204))
    daemon.configure(Url=recorder.url, XAuthToken="secret",
                     Chassis={"C1": {"VelocityInstance": 0}})
    clock = clock_of("2026-03-05 11:00:00", 50)
    daemon.start(clock)
    daemon.logs(ENABLED)
    return Readings(0), clock


def of_the_day(noise, day, known):
    """Changes of a day, each to another value than before, at last to what the next day begins with.
    The first day has the widest of all, one below zero among them; the second the next widest."""
    width = {0: 40, 1: 20}.get(day, 8)
    temperatures = [25 + width, 25 - width, 25 + noise.randint(-width, width), "21.5",
                    25 + noise.randint(-width, width)]
    humidities = [50 + width, 50 - width, 50 + noise.randint(-width, width)]
    changes = [("temperature", str(t)) for t in temperatures]
    changes += [("humidity", str(h)) for h in humidities]
    noise.shuffle(changes)
    changes += [("temperature", "25"), ("humidity", "50")]
    last = dict(known)
    for kind, text in changes:
        if last[kind] != text:
            last[kind] = text
            yield kind, text


def steps_over_midnight(daemon, clock, turn):
    clock.step(daemon.until_midnight() + 1)
    daemon.logs("TimeOfDayAlarmCB: TOD Alarm(", times=turn)


def test_extremes_of_eight_midnights(daemon, device, recorder, readings):
    readings, clock = readings
    noise = random.Random(4711)
    expected = [readings.document()]
    turns = []
    recorder.receives(PATCH)
    numbers = {"temperature": SUPPLY, "humidity": HUMIDITY}
    for day in range(MIDNIGHTS + 1):
        known = {kind: readings[kind] for kind in numbers}
        for kind, text in of_the_day(noise, day, known):
            readings.change(kind, text)
            expected.append(readings.document())
            device.sets(numbers[kind], text)
            assert recorder.receives(PATCH, times=len(expected)).body == expected[-1]
        if day < MIDNIGHTS:
            readings.next_day()
            turns.append(readings.document())
            expected.append(turns[-1])
            steps_over_midnight(daemon, clock, day + 1)
            assert recorder.receives(PATCH, times=len(expected)).body == expected[-1]
    assert [r.body for r in recorder.requests(PATCH)] == expected
    # A day counts until the seventh midnight after it, and no longer.
    assert [json.loads(document)["Temperature"][1:] for document in turns] == (
        [[-15, 65]] * 6 + [[5, 45]] + [[17, 33]])
    assert len(daemon.logged("Invalid value string '21.5'")) == MIDNIGHTS + 1
