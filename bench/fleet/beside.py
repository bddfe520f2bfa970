# SPDX-License-Identifier: Apache-2.0
"""What else the service has to do while heartbeats are measured."""

import contextlib
import json
import subprocess
import threading
import time

from harness.wire import connect
from servers import Failed

LARGE_LOG = 300_000
OLD = 300_000
# Long enough that it goes on beyond the measurement.
MARGIN = 5


class Disturbance:
    """Goes on while it is entered. Said by the derived ones: what is seeded for it, options under
    which it is not there yet, whether it begins with the service, the largest fleet."""

    name = ""
    title = ""
    seed = {"large_log": LARGE_LOG}
    calm = ()
    needs_start = False
    largest = None
    warm_up = 2

    def __init__(self, programs, service, fleet, seconds):
        self.programs = programs
        self.service = service
        self.fleet = fleet
        self.seconds = seconds
        self._stack = contextlib.ExitStack()

    def __enter__(self):
        self.begin()
        return self

    def __exit__(self, *failure):
        self._stack.__exit__(*failure)
        if failure[0] is None:
            self.look()

    def begin(self):
        raise NotImplementedError

    def look(self):
        """Raises Failed unless it was there."""

    def load(self, **options):
        """One more generator, until after the measurement."""
        self._stack.enter_context(self.programs.beside(
            self.service.url, appliances=self.fleet, threads=1, warm_up=0,
            seconds=self.warm_up + self.seconds + MARGIN, **options))

    def ask(self, method, path, headers):
        with contextlib.closing(connect(self.service.url)) as link:
            link.request(method, path, headers=headers)
            answer = link.getresponse()
            return answer.status, answer.read()

    def events_of_the_large(self):
        """The answer to an operator who asks for the last event of the largest log."""
        large = self.programs.identity(self.fleet)
        return self.ask("GET", f"/api/v1/appliances/{large['uuid']}/events?limit=1",
                        {"Authorization": f"Bearer {large['operator']}"})


class Page(Disturbance):
    """A page loads its list again at each change, once a second at most, and has a stream open."""

    name = "page"
    title = "an open fleet page"

    def begin(self):
        who = self.programs.identity(0)
        stream = subprocess.Popen(
            ["curl", "-sN", "-o", "/dev/null", "-H", f"Authorization: Bearer {who['operator']}",
             f"{self.service.url}/api/v1/stream"])

        def end():
            ended = stream.poll()
            stream.kill()
            stream.wait()
            if ended is not None:
                raise Failed(f"the stream ended: curl's status {ended}")
        self._stack.callback(end)
        self.load(rate="view=1", connections=1)


class Search(Disturbance):
    name = "search"
    title = "a deep event search"

    def begin(self):
        self.load(flat_out="search", large=self.fleet, connections=1)


class Removal(Disturbance):
    name = "removal"
    title = f"DELETE of {LARGE_LOG} events"

    def begin(self):
        self._status = None

        def remove():
            time.sleep(self.warm_up + 1)
            large = self.programs.identity(self.fleet)
            self._status, _ = self.ask("DELETE", f"/redfish/v1/Managers/{large['uuid']}",
                                       {"X-Auth-Token": large["token"]})
        thread = threading.Thread(target=remove)
        thread.start()
        self._stack.callback(thread.join)

    def look(self):
        status, _ = self.events_of_the_large()
        if (self._status, status) != (204, 404):
            raise Failed(f"DELETE was answered {self._status}, its events then {status}")


class CleanUp(Disturbance):
    """Begins with the service. That which was measured alone had an endless retention."""

    name = "clean-up"
    title = "the clean-up"
    seed = {"old_events": OLD, "old_readings": OLD}
    calm = ("--retention", "36500", "--event-retention", "36500")
    needs_start = True
    # The first request of each appliance since the start costs more; of so few they are soon over.
    largest = 2000
    warm_up = 0

    def begin(self):
        pass

    def look(self):
        who = self.programs.identity(0)
        status, text = self.ask(
            "GET", f"/api/v1/appliances/{who['uuid']}/events?limit=200&kind=message",
            {"Authorization": f"Bearer {who['operator']}"})
        old = OLD // self.fleet
        left = len(json.loads(text)["items"]) if status == 200 else old
        if left >= old:
            raise Failed(f"no old event was removed meanwhile: {status}, {left} of {old} are there")


class WrongPasswords(Disturbance):
    """Each from an address of its own: a limit for an address spares the service nothing."""

    name = "passwords"
    title = "50 wrong passwords a second"

    def begin(self):
        self.load(rate="wrong-password=50", connections=50, fresh=True)


ALL = (Page, Search, Removal, CleanUp, WrongPasswords)
