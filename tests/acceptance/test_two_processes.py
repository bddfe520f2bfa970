# SPDX-License-Identifier: Apache-2.0
"""Two processes of the service on one database, behind HAProxy, are one service that goes on."""

import contextlib
import http.client
import threading

import pytest

from harness.alarms import at_the_device, at_the_service
from harness.appliance import Appliance
from harness.daemon import UUID
from harness.haproxy import Haproxy
from harness.operators import Operator
from harness.postgresql import Cluster
from harness.process import clock
from harness.service import Service
from harness.waiting import wait_until
from harness.wire import trusting
from harness.writers import Writers

ENABLED = "cloudclient is now registered for device changes"


class Pair:
    """The two, with a server and its standby."""

    def __init__(self, programs, folder, under_watch, primary, standby):
        url = (f"postgresql:///postgres?host={primary.folder},{standby.folder}"
               "&user=postgres&connect_timeout=0")
        self.one = under_watch(Service(programs, folder, url, "one"))
        self.two = under_watch(Service(programs, folder, url, "two"))
        for service in (self.one, self.two):
            self.start(service)
        self.way = under_watch(Haproxy(folder))
        self.way.start(self.one, self.two)

    @staticmethod
    def start(service):
        service.start("--http", "--trusted-proxy", "127.0.0.1", faketime=clock(1))


@pytest.fixture
def primary():
    with Cluster() as cluster:
        yield cluster


@pytest.fixture
def standby(primary):
    with Cluster(primary) as cluster:
        primary.waits_for_standby()
        yield cluster


@pytest.fixture
def pair(primary, standby, programs, folder, under_watch):
    return Pair(programs, folder, under_watch, primary, standby)


class Reader:
    """Follows the stream, and where it ends goes on behind what it has read."""

    def __init__(self, operator):
        self._operator = operator
        self._stream = None
        self.events = []  # (uuid, number), as they were told
        self.resets = 0
        self.openings = 0
        self._done = threading.Event()
        self._thread = threading.Thread(target=self._run)

    def __enter__(self):
        self._stream = self._operator.follows().begins()
        self._thread.start()
        return self

    def __exit__(self, *exception):
        self._done.set()
        self._thread.join()

    def _run(self):
        last = None
        while not self._done.is_set():
            # An answer that is none of the stream's is an AssertionError.
            with contextlib.suppress(OSError, http.client.HTTPException, AssertionError):
                self._stream = self._stream or self._operator.follows(last)
                self.openings += 1
                with contextlib.closing(self._stream):
                    self._read()
            last = self._stream.last if self._stream else last
            self._stream = None

    def _read(self):
        while not self._done.is_set():
            kind, data = self._stream.next()
            if kind == "end":
                return
            self.resets += kind == "reset"
            if kind == "event":
                self.events.append((data["uuid"], data["id"]))


def tells_all(reader, writers, appliance):
    """Waits until each event that is kept was told; it was told once, and nothing was left out."""
    kept = {(appliance.uuid, int(path.rpartition("/")[2])) for path in writers.events}
    wait_until(lambda: kept <= set(reader.events), "each event of the writers")
    assert len(reader.events) == len(set(reader.events))
    assert reader.resets == 0


def knows(service, operator, appliance):
    """The session that began at the other, and the token that came from it."""
    assert service.ask("GET", appliance.path, appliance.token)[0] == 200
    here = Operator(service)
    here.headers = operator.headers
    here.ask("GET", "/appliances/{uuid}", appliance.uuid)


def has_the_alarms_of(device, daemon, service, operator):
    """Once each."""
    wait_until(lambda: at_the_service(service, daemon) == at_the_device(device),
               "the same alarms on both sides")
    alarms = operator.ask("GET", "/appliances/{uuid}/alarms", UUID)["items"]
    assert len(alarms) == len(at_the_device(device))


def test_one_service_goes_on_whatever_goes_away(pair, primary, standby, daemon, device, clock_of):
    """A process, the database's server for a moment, and then for ever; then the other process."""
    operator = Operator(pair.way)
    operator.headers = Operator(pair.one).is_added().headers
    operator.signs_in()
    appliance = Appliance(pair.way, "load")
    writers = Writers(pair.way, appliance, 2, 0.1)
    device.describe({"ProductSequenceId": "1.2.3",
                     "Points": [{"Id": 1201, "Name": "supply", "Value": "21"}],
                     "Events": [{"GddId": number, "Text": "Filter clogged"}
                                for number in (4711, 4712, 4713)]})
    daemon.configure(Url=pair.way.url)
    its_clock = clock_of("2026-03-05 22:00:00", 50)
    daemon.start(its_clock)
    daemon.logs(ENABLED)
    with Reader(operator) as reader:
        with writers.at_work():
            device.raises(4711)
            pair.one.crash()
            writers.go_on()
            pair.start(pair.one)
            device.raises(4712)
            primary.stop("immediate")
            primary.start()
            writers.go_on()
            device.raises(4713)
            primary.stop("immediate")
            device.clears(4711)
            standby.promote()
            writers.go_on()
            pair.two.crash()
            writers.go_on()
            pair.start(pair.two)
            writers.go_on()
        writers.find_what_was_answered()
        tells_all(reader, writers, appliance)
    # It was at the second process at the latest when that went away.
    assert reader.openings > 1
    for service in (pair.one, pair.two):
        knows(service, operator, appliance)
    # At midnight the daemon compares the alarms of both sides.
    its_clock.step(daemon.until_midnight() - 60)
    daemon.logs("TOD Alarm(alarmid: 1) Expired 03/06/2026")
    has_the_alarms_of(device, daemon, pair.way, operator)
    assert at_the_device(device) == {(4712, 0, "Alarm"), (4713, 0, "Alarm")}
    standby.check()


def test_stream_outlives_the_balancers_patience(service, folder, under_watch):
    """Longer than that nothing happens."""
    service.start("--http", "--trusted-proxy", "127.0.0.1", faketime=clock(10))
    way = under_watch(Haproxy(folder))
    way.start(service, service, clock(10))
    operator = Operator(service).is_added()
    follower = Operator(way)
    follower.headers = operator.headers
    stream = follower.follows().begins()
    for _ in range(6):
        assert stream.comments()
    Appliance(way, "u-1")
    assert stream.until("appliance")["uuid"] == "u-1"
    stream.close()


def test_sender_behind_the_balancer_is_the_real_one(service, folder, under_watch):
    """Whatever he writes into the header himself; what is the owner's business he is not told."""
    service.start("--http", "--trusted-proxy", "127.0.0.1", faketime=clock(1))
    way = under_watch(Haproxy(folder))
    way.start(service, service)
    sender = http.client.HTTPSConnection("127.0.0.1", way.port, context=trusting(), timeout=60,
                                         source_address=("127.0.0.7", 0))
    with contextlib.closing(sender):
        sender.request("GET", "/redfish/v1", headers={"X-Forwarded-For": "192.0.2.7"})
        assert sender.getresponse().status == 200
    service.says(" from 127.0.0.7: GET /redfish/v1: 200")
    for path in ("/healthz", "/metrics"):
        assert way.send("GET", path)[0] == 404
