#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Measures the service with a fleet of appliances, beside a bare server and Debian's Zabbix.

    run.py                        all cases
    run.py heartbeat-tls hold     these
    run.py --quick                each for a few seconds, with a smaller fleet

Prints the figures and whether they meet their goals; exits with 1 when a goal is missed. README.md
says what is measured, and how.
"""

import argparse
import pathlib
import signal
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(TOP / "tests"))  # the harness: see tests/harness/README.md
import beside  # noqa: E402
from cases import Measures  # noqa: E402
from harness.figures import Goals  # noqa: E402
from harness.folders import case_folder  # noqa: E402
from servers import PostgreSql, Programs, Sqlite  # noqa: E402

BACKENDS = {"sqlite": Sqlite, "postgresql": PostgreSql}
CASES = ("mixed", "heartbeat-tls", "heartbeat-plain", "heartbeat-size", "heartbeat-beside", "hold",
         "page-size", "values")


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("cases", nargs="*", metavar="CASE", help=", ".join(CASES))
    parser.add_argument("--build", default=TOP / "build" / "release",
                        help="build folder with service/cloudservice and bench/fleet/fleet")
    parser.add_argument("--db", choices=BACKENDS, action="append",
                        help="only on this; may be given again")
    parser.add_argument("--quick", action="store_true", help="a few seconds for each case")
    parser.add_argument("--fleet", type=int, help="appliances of the large fleet (50000; 2000)")
    parser.add_argument("--seconds", type=float, help="of each measurement (10; 2)")
    parser.add_argument("--rounds", type=int, help="of each comparison (5; 1)")
    parser.add_argument("--hold", type=float, help="seconds of the case hold (600; 5)")
    parser.add_argument("--beside", choices=[one.name for one in beside.ALL], action="append",
                        help="of the case heartbeat-beside only this; may be given again")
    parser.add_argument("--zabbix", default=pathlib.Path.home() / ".cache/cloudclient/zabbix",
                        help="where Zabbix's packages are unpacked")
    options = parser.parse_args()
    unknown = sorted(set(options.cases) - set(CASES))
    if unknown:
        parser.error(f"no such case: {', '.join(unknown)}")
    for name, usual, quick in (("fleet", 50_000, 2000), ("seconds", 10, 2), ("rounds", 5, 1),
                               ("hold", 600, 5)):
        if getattr(options, name) is None:
            setattr(options, name, quick if options.quick else usual)
    options.batch = 5000 if options.quick else 100_000
    return options


def main():
    options = arguments()
    goals = Goals()
    # Told to end, it takes its servers and its folder with it.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    with case_folder(ignore_cleanup_errors=True) as folder:
        programs = Programs(options.build, folder)
        backends = [BACKENDS[name](programs, folder) for name in options.db or BACKENDS]
        measures = Measures(programs, backends, goals, options, folder)
        try:
            for name in options.cases or CASES:
                print(f"{name}", flush=True)
                measures.run(name)
                print(goals.table(), flush=True)
        finally:
            for backend in backends:
                backend.close()
    return 0 if goals.met else 1


if __name__ == "__main__":
    sys.exit(main())
