# SPDX-License-Identifier: Apache-2.0
"""Waiting for what a case observes, never for the clock."""

import time

# How long real time may take until something that must happen has happened.
DEADLINE = 60.0
POLL = 0.02


def wait_until(predicate, what, deadline=DEADLINE, alive=None):
    """Polls `predicate` until it answers something true, and returns that.

    `what` names it in the failure: a text, or what makes one then. `alive`, if given, is called at each turn and raises when
    waiting has become pointless.
    """
    end = time.monotonic() + deadline
    while True:
        seen = predicate()
        if seen:
            return seen
        if alive is not None:
            alive()
        if time.monotonic() > end:
            raise AssertionError(
                f"not seen within {deadline:.0f} s: {what() if callable(what) else what}")
        time.sleep(POLL)
