# SPDX-License-Identifier: Apache-2.0
"""The measures. Each compares with something measured in the same run, in turn, so that what else
the machine does meets both."""

import contextlib
import json
import statistics
import subprocess

import beside
from harness.wire import connect
from postgresql import Cluster
from servers import Failed
from zabbix import ITEMS, Zabbix

# An appliance's heartbeat comes after 19 passes of 5 seconds; a value once a minute is this
# measure's own.
BEATS_EVERY, VALUES_EVERY = 95, 60
SMALL_FLEET = 100
ALARMS = 3
CONNECTIONS = 64
SLOWEST = 2500  # heartbeats a second, at least

GOAL_TLS = 1.6
GOAL_PLAIN = {"SQLite": 0.4, "PostgreSQL": 0.2}
GOAL_SIZE = 1.2
GOAL_BESIDE = 5
GOAL_VALUES = 2
GOAL_VIEW = 2


def right(figures):
    """The figures, unless an answer in them was wrong."""
    if figures["failed"]:
        raise Failed("; ".join(figures["problems"][:2]) or f"{figures['failed']} without an answer")
    return figures


def in_turn(sides, rounds):
    """What each side (name to function) measures, `rounds` times, the first being another each
    time."""
    found = {name: [] for name in sides}
    for number in range(rounds):
        for name in list(sides)[::1 if number % 2 == 0 else -1]:
            found[name].append(sides[name]())
    return found


def ratio(found, what, side, base):
    return statistics.median(what(one) / what(other)
                             for one, other in zip(found[side], found[base]))


def median(found, what, side):
    return statistics.median(map(what, found[side]))


def cpu(figures):
    return figures["cpu_us"]


def throughput(figures):
    return figures["answered"] / figures["seconds"]


def p99(figures):
    return figures["kinds"]["beat"]["p99_us"]


class Measures:
    """The cases, by their names on the command line. `options`: run.py's."""

    def __init__(self, programs, backends, goals, options, folder):
        self._programs = programs
        self._backends = backends
        self._goals = goals
        self._options = options
        self._folder = folder
        self._zabbix = None  # its figures, once they are measured

    def cases(self):
        return {"mixed": self.mixed, "heartbeat-tls": self.heartbeat_tls,
                "heartbeat-plain": self.heartbeat_plain, "heartbeat-size": self.heartbeat_size,
                "heartbeat-beside": self.heartbeat_beside, "hold": self.hold,
                "page-size": self.page_size, "values": self.values}

    def run(self, name):
        """Runs a case on each database that it is for. What cannot be measured is a missed goal."""
        case = self.cases()[name]
        for backend in self._backends:
            if name == "heartbeat-tls" and backend.title != "SQLite":
                continue
            try:
                case(backend)
            except (Failed, AssertionError, RuntimeError, OSError,
                    subprocess.CalledProcessError) as problem:
                self._goals.holds(f"{name}, {backend.title}", f"not measured: {problem}")
            finally:
                backend.forget()

    def _load(self, server, **options):
        return right(self._programs.load(server.url, **{
            "pid": server.pids, "seconds": self._options.seconds, "connections": CONNECTIONS,
            **options}))

    def _say(self, text):
        print(text, flush=True)

    def _say_load(self, what, figures):
        for kind, one in figures["kinds"].items():
            self._say(f"  {what}: {one['rate']:.0f} {kind}/s, p50 {one['p50_us'] / 1000:.2f} ms, "
                      f"p99 {one['p99_us'] / 1000:.2f} ms, p999 {one['p999_us'] / 1000:.2f} ms, "
                      f"{figures['cpu_us']:.0f} us of CPU a request, "
                      f"{sum(p['proportional_kib'] for p in figures['processes'])} KiB")

    # The whole of an appliance, over TLS: registers, beats, sends values, raises and clears, and
    # finds again what was answered. Figures only.
    def mixed(self, backend):
        database = backend.seeded(appliances=1)
        with self._programs.service(database, tls=True) as service:
            figures = self._load(service, register=True, appliances=20, connections=10,
                                 beats_every=1, values_every=0.5, alarms_every=4, read_back=20)
        self._say_load(f"{backend.title}, over TLS", figures)
        self._goals.figure(f"requests of 20 registered appliances over TLS, CPU each in us, "
                           f"{backend.title}", cpu(figures), "{:.0f}")

    def heartbeat_tls(self, backend):
        database = backend.seeded(appliances=1000)
        with self._programs.service(database, tls=True) as service, \
                self._programs.bare(tls=True) as bare:
            found = in_turn({
                "service": lambda: self._load(service, flat_out="beat", appliances=1000),
                "bare": lambda: self._load(bare, flat_out="beat", appliances=1000, bare=True),
            }, self._options.rounds)
        for side, figures in found.items():
            self._say_load(side, figures[-1])
        self._goals.at_most("CPU of a heartbeat over TLS, SQLite / bare server",
                            ratio(found, cpu, "service", "bare"), GOAL_TLS)

    def heartbeat_plain(self, backend):
        database = backend.seeded(appliances=1000)
        with self._programs.service(database) as service, self._programs.bare() as bare:
            found = in_turn({
                "service": lambda: self._load(service, flat_out="beat", appliances=1000),
                "bare": lambda: self._load(bare, flat_out="beat", appliances=1000, bare=True),
            }, self._options.rounds)
        for side, figures in found.items():
            self._say_load(side, figures[-1])
        self._goals.figure(f"heartbeats a second, plain, {backend.title}",
                           median(found, throughput, "service"), "{:.0f}")
        self._goals.at_least(f"heartbeats a second, plain, {backend.title} / bare server",
                             ratio(found, throughput, "service", "bare"),
                             GOAL_PLAIN[backend.title])

    @contextlib.contextmanager
    def _small_and_large(self, backend):
        """Services with few and with all appliances."""
        small = backend.seeded(appliances=SMALL_FLEET, alarms=ALARMS)
        large = backend.seeded(appliances=self._options.fleet, alarms=ALARMS)
        with self._programs.service(small) as few, self._programs.service(large) as all_of_them:
            yield {"small": (few, SMALL_FLEET), "large": (all_of_them, self._options.fleet)}

    def _by_size(self, backend, seconds_before=0, **options):
        with self._small_and_large(backend) as services:
            if seconds_before:
                for service, count in services.values():
                    self._load(service, appliances=count, seconds=seconds_before, **options)
            found = in_turn({
                name: lambda service=service, count=count:
                self._load(service, appliances=count, **options)
                for name, (service, count) in services.items()}, self._options.rounds)
        for side, figures in found.items():
            self._say_load(side, figures[-1])
        return ratio(found, cpu, "large", "small")

    def heartbeat_size(self, backend):
        # The first request of each appliance since the start costs more, in a fleet of any size:
        # each has sent before anything is measured.
        before = self._options.fleet / SLOWEST
        self._goals.at_most(
            f"CPU of a heartbeat at {self._options.fleet} appliances with "
            f"{self._options.fleet * ALARMS} open alarms / at {SMALL_FLEET}, {backend.title}",
            self._by_size(backend, before, flat_out="beat"), GOAL_SIZE)

    def page_size(self, backend):
        self._goals.at_most(
            f"CPU of a view of the fleet page at {self._options.fleet} appliances / at "
            f"{SMALL_FLEET}, {backend.title}",
            self._by_size(backend, flat_out="view", connections=2), GOAL_VIEW)

    def heartbeat_beside(self, backend):
        for disturbance in beside.ALL:
            if disturbance.name not in (self._options.beside or [disturbance.name]):
                continue
            try:
                self._beside(backend, disturbance)
            except (Failed, AssertionError) as problem:
                self._goals.holds(f"p99 of a heartbeat beside {disturbance.title}, "
                                  f"{backend.title}", f"not measured: {problem}")
            finally:
                backend.forget()

    def _beside(self, backend, disturbance):
        """The first rounds are without it. That it had an effect of its own is looked at, so that
        a disturbance that does nothing is not taken for one that does no harm."""
        fleet = min(self._options.fleet, disturbance.largest or self._options.fleet)
        database = backend.seeded(appliances=fleet, alarms=ALARMS, **disturbance.seed)
        with self._programs.service(database, *disturbance.calm) as service:
            self._load(service, flat_out="beat", appliances=fleet, seconds=fleet / SLOWEST)
            most = throughput(self._load(service, flat_out="beat", appliances=fleet))
            beats = {"rate": f"beat={most / 2:.1f}", "appliances": fleet}
            alone = self._load(service, **beats)
            if not disturbance.needs_start:
                meanwhile = self._disturbed(service, disturbance, fleet, beats)
        if disturbance.needs_start:
            with self._programs.service(database) as service:
                meanwhile = self._disturbed(service, disturbance, fleet, beats)
        self._say_load("alone", alone)
        self._say_load(f"beside {disturbance.title}", meanwhile)
        self._goals.at_most(f"p99 of a heartbeat at {most / 2:.0f} a second beside "
                            f"{disturbance.title} / alone, {backend.title}",
                            p99(meanwhile) / p99(alone), GOAL_BESIDE)

    def _disturbed(self, service, disturbance, fleet, beats):
        with disturbance(self._programs, service, fleet, self._options.seconds):
            return self._load(service, warm_up=disturbance.warm_up, **beats)

    def hold(self, backend):
        fleet = self._options.fleet
        database = backend.seeded(appliances=fleet, alarms=ALARMS)
        with self._programs.service(database) as service:
            figures = self._programs.load(
                service.url, pid=service.pids, appliances=fleet, beats_every=BEATS_EVERY,
                values_every=VALUES_EVERY, seconds=self._options.hold, connections=256,
                read_back=min(fleet, 2000))
        self._say_load(backend.title, figures)
        due = sum(one["due"] for one in figures["kinds"].values())
        behind = due - figures["answered"]
        wrong = ""
        if figures["failed"]:
            wrong = f"{figures['failed']} not answered: {'; '.join(figures['problems'][:1])}"
        elif behind > due / figures["seconds"]:  # what comes in a second may be under way
            wrong = f"{behind} of {due} were behind at the end"
        self._goals.holds(f"heartbeats and values of {fleet} appliances, {due} in "
                          f"{self._options.hold:.0f} s, {backend.title}", wrong)

    def values(self, backend):
        ours = self._our_values(backend)
        self._zabbix = self._zabbix or self._zabbix_values()
        singly, together, title = self._zabbix
        self._goals.figure(f"values a second a core, one a connection, {backend.title}", ours,
                           "{:.0f}")
        self._goals.figure("... bare server, which keeps none", self._bare_values(), "{:.0f}")
        self._goals.figure(f"... {title}", singly, "{:.0f}")
        self._goals.figure(f"... {title}, 250 a connection", together, "{:.0f}")
        self._goals.at_least(f"values a second a core, {backend.title} / {title}", ours / singly,
                             GOAL_VALUES)

    def _our_values(self, backend):
        database = backend.seeded(appliances=ITEMS, alarms=0)
        with self._programs.service(database) as service:
            before = self._programs.usage(service.pids)["cpu_s"]
            # A kept value is answered when it is on the disk: it can be read back from then on.
            figures = self._load(service, flat_out="value", appliances=ITEMS, fresh=True,
                                 warm_up=0)
            spent = self._programs.usage(service.pids)["cpu_s"] - before
            sent = figures["kinds"]["value"]["statuses"]["204"]
            stored = sum(self._readings(service, number) for number in range(ITEMS)) - ITEMS
        self._say(f"  {backend.title}: {sent} values, {spent:.2f} s of CPU")
        if stored != sent:
            raise Failed(f"{sent} values were answered, {stored} can be read back")
        return sent / spent

    def _bare_values(self):
        with self._programs.bare() as bare:
            return 1e6 / cpu(self._load(bare, flat_out="value", appliances=ITEMS, fresh=True,
                                        bare=True))

    def _readings(self, service, number):
        """How many readings the service has of an appliance's temperature."""
        who = self._programs.identity(number)
        path = (f"/redfish/v1/Chassis/{who['chassis']}/Thermal/Oem/Quorvan:History"
                "?member=Temperatures%5BMemberId%3Dsupply%5D%2FReadingCelsius")
        count = 0
        with contextlib.closing(connect(service.url)) as link:
            while path:
                link.request("GET", path, headers={"X-Auth-Token": who["token"]})
                answer = link.getresponse()
                text = answer.read()
                if answer.status != 200:
                    raise Failed(f"GET {path}: {answer.status} {text[:200]!r}")
                page = json.loads(text)
                count += len(page["Values"])
                path = page.get("Values@odata.nextLink")
        return count

    def _zabbix_values(self):
        cluster = Cluster(self._folder / "zabbix_database")
        zabbix = Zabbix(self._folder / "zabbix", cluster, self._options.zabbix)
        try:
            zabbix.start()

            def spent(send):
                """Values a second of CPU, from the first that is sent until the last is stored."""
                there = zabbix.stored()
                before = self._programs.usage(zabbix.pids)["cpu_s"]
                count = send()
                zabbix.wait_for(there + count)
                cpu_s = self._programs.usage(zabbix.pids)["cpu_s"] - before
                self._say(f"  {zabbix.title}: {count} values, {cpu_s:.2f} s of CPU")
                return count / cpu_s
            zabbix.wait_for(1)  # that with which it was found ready
            singly = spent(lambda: zabbix.send_singly(8, self._options.seconds))

            def batch():
                zabbix.send_together(self._options.batch)
                return self._options.batch
            return singly, spent(batch), zabbix.title
        finally:
            zabbix.close()
            cluster.close()
