#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Measures what the daemon takes of a machine, beside a null daemon and beside other agents.

    footprint.py BUILD            the daemon and the null daemon of a build against the goals
    footprint.py BUILD --write    with the agents and both processors, into docs/footprint.md

BUILD is a build folder with benchmarks. Exits with 1 when a goal is missed.
"""

import argparse
import pathlib
import statistics
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(TOP / "tests"))  # the harness: see tests/harness/README.md
import agents  # noqa: E402
import measure  # noqa: E402
import report  # noqa: E402
from harness.figures import Goals, table  # noqa: E402
from harness.folders import case_folder  # noqa: E402
from harness.unpacked import unpack  # noqa: E402
from programs import Daemon, DaemonOfUnitFile, HardenedDaemon, NullDaemon  # noqa: E402
from sizes import Builds  # noqa: E402

PARTS = ("sizes", "start", "idle", "days")
GOAL_SIZE_KIB = 160
GOAL_START = 1.5
GOAL_PROPORTIONAL = 1.10
GOAL_HARDENED = 1.15
GOAL_ANONYMOUS_MIB = 2.3
# The checker looks twice a second, the application and the poster every five seconds, and the
# alarm's clock once a minute.
GOAL_WAKE_UPS = 2 + 2 / 5 + 1 / 60 + 0.05
# Against a null daemon that wakes in the same rhythm: what a wake-up costs is the machine's.
GOAL_CPU_MINUTE = 1.5
GOAL_GROWTH_KIB = 32
# At a real day's pace there are 909; requests take as long as ever under the accelerated clock.
LEAST_PUSHES_A_DAY = 200


class Run:
    def __init__(self, options, folder):
        self._options = options
        self._folder = folder
        build = pathlib.Path(options.build)
        self._null = NullDaemon(self._folder / "null", build / "bench" / "null_daemon")
        self._daemon = Daemon(self._folder / "daemon", build)
        self.goals = Goals()

    def part(self, name):
        """Measures a part, says what came out, and writes it down if that is asked for."""
        text = f"{getattr(self, name)()}\n{self.goals.table()}"
        print(text, flush=True)
        if self._options.write:
            report.write(name, f"{text}\n{report.machine()}")

    def sizes(self):
        machines = ["amd64", "powerpc"] if self._options.write else ["amd64"]
        kinds = ["MinSizeRel", "RelWithDebInfo"] if self._options.write else ["MinSizeRel"]
        found = {}
        for machine in machines:
            builds = Builds(self._folder / "sizes", machine)
            for kind in kinds:
                found.setdefault(("without `host/`", kind), {})[machine] = builds.without_host(kind)
                if self._options.write:
                    found.setdefault(("with `host/`", kind), {})[machine] = builds.with_host(kind)
            self.goals.at_most(f"stripped size without `host/`, {machine}, KiB",
                               found["without `host/`", "MinSizeRel"][machine] / 1024,
                               GOAL_SIZE_KIB, "{:.0f}")
        return report.sizes(found)

    def start(self):
        found = measure.first_requests([self._null, self._daemon], self._options.starts)
        null, daemon = found[self._null], found[self._daemon]
        ratio = measure.median_ratio(daemon, null)
        self.goals.at_most("exec to first request, ratio", ratio, GOAL_START)
        return table(
            [f"{len(null)} starts each, in turn", "median, ms", "fastest, ms", "slowest, ms"],
            [[program.name, *(f"{of(times):.1f}" for of in (statistics.median, min, max))]
             for program, times in found.items()])

    def idle(self):
        hardened = HardenedDaemon(self._folder / "hardened", self._options.build)
        programs = [self._null, self._daemon, hardened]
        if self._options.write:
            tree = unpack(self._options.agents, agents.PACKAGES)
            programs += [kind(self._folder / kind.__name__.lower(), tree)
                         for kind in agents.ALL]
        found = dict(zip((program.name for program in programs), measure.idle_together(programs)))
        null, daemon = found[self._null.name], found[self._daemon.name]
        self.goals.at_most("proportional memory when idle, ratio", daemon["Pss"] / null["Pss"],
                           GOAL_PROPORTIONAL)
        self.goals.at_most("the same with the hardened preset",
                           found[hardened.name]["Pss"] / null["Pss"], GOAL_HARDENED)
        self.goals.at_most("anonymous memory when idle, MiB", daemon["Anonymous"] / 1024,
                           GOAL_ANONYMOUS_MIB)
        self.goals.at_most("wake-ups a second", daemon["wake_ups"], GOAL_WAKE_UPS)
        self.goals.at_most("CPU a minute when idle, ratio",
                           daemon["cpu_minute"] / null["cpu_minute"], GOAL_CPU_MINUTE)
        return report.programs(found)

    def days(self):
        long_run = DaemonOfUnitFile(self._folder / "long", self._options.build)
        null, _ = measure.days(self._null, 1)
        daemon, _ = measure.days(self._daemon, 1, self._daemon.works)
        installed, pushes = measure.days(long_run, self._options.days, long_run.works)
        last = len(installed)
        if pushes < last * LEAST_PUSHES_A_DAY:
            raise SystemExit(f"footprint: {pushes} heartbeats in {last} days show nothing")
        self.goals.at_most(f"anonymous memory, day {last} less day 1, KiB",
                           installed[-1]["Anonymous"] - installed[0]["Anonymous"],
                           GOAL_GROWTH_KIB, "{:.0f}")
        shown = sorted({1, 2, 8, (last + 1) // 2, last} & set(range(1, last + 1)))
        return report.days({
            self._null.name: [(1, null[0])], self._daemon.name: [(1, daemon[0])],
            long_run.name: [(day, installed[day - 1]) for day in shown]}) + (
                f"\nIn its {last} days the last one sent {pushes} heartbeats and logged "
                f"{long_run.failures()} failures.\n")


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", help="build folder with app/cloudclient and bench/null_daemon")
    parser.add_argument("--write", action="store_true",
                        help="agents and powerpc too, and all of it into docs/footprint.md")
    parser.add_argument("--agents", default=pathlib.Path.home() / ".cache/cloudclient/agents",
                        help="where the agents' packages are unpacked")
    parser.add_argument("--starts", type=int, default=15, help="starts of each program (15)")
    parser.add_argument("--days", type=int, default=30, help="simulated days (30)")
    parser.add_argument("--only", choices=PARTS, action="append",
                        help="this part; may be given again")
    return parser.parse_args()


def main():
    options = arguments()
    with case_folder(ignore_cleanup_errors=True) as folder:
        run = Run(options, folder)
        for part in options.only or PARTS:
            run.part(part)
    return 0 if run.goals.met else 1


if __name__ == "__main__":
    sys.exit(main())
