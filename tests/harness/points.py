# SPDX-License-Identifier: Apache-2.0
"""Points: the map file of a case, what arrives of them, and the extremes computed once more."""

import json
import threading

from .waiting import DEADLINE

SUPPLY, HUMIDITY = 1201, 1202


def resource(name="thermal", path="Thermal", page="patch/thermal.txt", **more):
    """A resource of the map file, below the chassis."""
    return {"name": name, "url": f"/redfish/v1/Chassis/<chassisid>/{path}", "resourcePatch": page,
            "resourceTag": "<chassisid>", **more}


def point(number=SUPPLY, **more):
    """A point of the map file that is read by query arguments, or as `more` says."""
    source = {} if "pld" in more else {"pldQueryArgs": f"{number},1,0,0,0"}
    return {"id": number, "patch": "%1", **source, **more}


def map_file(resources, **groups):
    return json.dumps({"resourceUrls": resources, **groups}, indent=2)


class Held:
    """An answer that the service keeps back until the case lets it go."""

    def __init__(self, raw):
        self._raw = raw
        self._released = threading.Event()

    def release(self):
        self._released.set()

    def wait(self):
        assert self._released.wait(DEADLINE), "the answer was never let go"
        return self._raw


class Extremes:
    """The seven-day extremes as they follow from the readings, day by day.

    A day is a number; its record of a kind is [low, text, high, text]. A change counts by ten times
    its number, of which what is below 0 is 0; a seed by ten times its number in 16 bits.
    """

    # What the lows of a day start from.
    STARTS = {"temperature": 500, "humidity": 1100}

    def __init__(self, day):
        self.day = day
        self.records = {}

    def _today(self):
        fresh = {kind: [start, str(start), 0, "0"] for kind, start in self.STARTS.items()}
        return self.records.setdefault(self.day, fresh)

    def seed(self, kind, text):
        if text.lstrip("-").isdigit():
            number = int(text) * 10 % 65536
            self._today()[kind] = [number, text, number, text]

    def change(self, kind, text):
        if self.day not in self.records or not text.lstrip("-").isdigit():
            return
        number = max(int(text) * 10, 0)
        record = self.records[self.day][kind]
        if record[0] > number:
            record[0:2] = number, text
        if record[2] < number:
            record[2:4] = number, text

    def next_day(self):
        self.day += 1
        self._today()
        self.records = {d: r for d, r in self.records.items() if d > self.day - 7}

    def of(self, kind):
        """(lowest, highest) as texts; of equal days the later one counts."""
        days = [self.records[day][kind] for day in sorted(self.records)]
        lowest = min(reversed(days), key=lambda r: r[0])
        highest = max(reversed(days), key=lambda r: r[2])
        return (lowest[1] if lowest[0] <= self.STARTS[kind] else "null"), highest[3]
