# SPDX-License-Identifier: Apache-2.0
"""The figures as tables, for the terminal and for docs/footprint.md."""

import pathlib
import platform
import re
import subprocess

from harness.figures import table

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
DOCUMENT = TOP / "docs" / "footprint.md"
MARKED = re.compile(r"(<!-- measured: (\w+) -->\n).*?(<!-- end -->\n)", re.DOTALL)

COLUMNS = (
    ("resident, KiB", "Rss", "{:.0f}"),
    ("proportional, KiB", "Pss", "{:.0f}"),
    ("anonymous, KiB", "Anonymous", "{:.0f}"),
    ("threads", "threads", "{:.0f}"),
    ("wake-ups a second", "wake_ups", "{:.2f}"),
    ("CPU a minute, ms", "cpu_minute", "{:.2f}"),
    ("CPU a push, ms", "cpu_push", "{:.1f}"),
    ("exec to first request, ms", "first_ms", "{:.0f}"),
)


def programs(figures):
    """Rows of the programs: name to figures."""
    return table(["program", *(title for title, _, _ in COLUMNS)],
                 [[name, *(form.format(found[key]) for _, key, form in COLUMNS)]
                  for name, found in figures.items()])


def days(figures):
    """Rows of simulated days: program to (number of the day, memory at its end)."""
    rows = [[name, day, memory["Rss"], memory["Anonymous"]]
            for name, measured in figures.items() for day, memory in measured]
    return table(["program", "day", "resident, KiB", "anonymous, KiB"], rows)


def sizes(figures):
    """Rows of sizes: (program, build) to bytes by machine."""
    machines = list(dict.fromkeys(m for found in figures.values() for m in found))
    return table(["stripped, KiB", "build", *machines],
                 [[name, kind, *(f"{found[m] / 1024:.1f}" for m in machines)]
                  for (name, kind), found in figures.items()])


def machine():
    """What the figures were taken on."""
    def first(pattern, text):
        found = re.search(pattern, text, re.MULTILINE)
        return found.group(1).strip() if found else "unknown"
    version = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", "libcurl4"],
                             capture_output=True, text=True, check=False).stdout
    cpuinfo = pathlib.Path("/proc/cpuinfo").read_text()
    return (f"Taken on {first('^PRETTY_NAME=(.*)', pathlib.Path('/etc/os-release').read_text())}, "
            f"Linux {platform.release().split('-')[0]}, {cpuinfo.count('processor	:')} processors "
            f"({first('^model name.*: (.*)', cpuinfo)}), libcurl {version}.\n").replace('"', "")


def write(part, text):
    """Puts the figures of a part into their place in the document."""
    document = DOCUMENT.read_text(encoding="utf-8")
    if [name for _, name, _ in MARKED.findall(document)].count(part) != 1:
        raise SystemExit(f"footprint: {DOCUMENT} has no place for the part {part}")

    def renewed(mark):
        return (f"{mark.group(1)}\n{text}\n{mark.group(3)}" if mark.group(2) == part
                else mark.group())
    DOCUMENT.write_text(MARKED.sub(renewed, document), encoding="utf-8")
