# SPDX-License-Identifier: Apache-2.0
"""A process's clock that can be moved while it runs."""

import calendar
import datetime
import os
import time


class MovableClock:
    """Runs `speed` times as fast from `start`, a time of UTC, on; a step moves it at once.

    A step moves the steady clock too. The service's timers stand still at more than 1,000 times: the
    microsecond that may be left of one is no time at all for the system then.

    Given to a program's start in place of the text of a clock that only runs.
    """

    def __init__(self, folder, start, speed):
        moment = datetime.datetime.strptime(start, "%Y-%m-%d %H:%M:%S")
        self._offset = calendar.timegm(moment.timetuple()) - int(time.time())
        self._speed = speed
        self._file = folder / "clock"
        self._write()

    def _write(self):
        new = self._file.with_suffix(".new")
        new.write_text(f"{self._offset:+d} x{self._speed}\n")
        os.replace(new, self._file)

    def step(self, seconds):
        self._offset += round(seconds)
        self._write()

    def passed(self, since):
        """Seconds of this clock, at its one speed, since a moment of time.monotonic()."""
        return (time.monotonic() - since) * self._speed

    def slow_to(self, speed, since):
        """From now on another speed, from where it is; `since`: when its process was started, by
        time.monotonic()."""
        self._offset += round((time.monotonic() - since) * (self._speed - speed))
        self._speed = speed
        self._write()

    def variables(self):
        return {"FAKETIME_TIMESTAMP_FILE": str(self._file), "FAKETIME_NO_CACHE": "1"}
