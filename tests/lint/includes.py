#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""That includes go one way: downwards from room to room, and never in a circle.

A room is a folder; what each may include stands in ROOMS. Of files that include each other, a
header and the source of its name count as one. Tests and benchmarks may include everything.
"""
import pathlib
import re
import subprocess
import sys

# Each room and those that it may include, its own files aside. No room is above itself.
ROOMS = {
    "platform": (),
    "base": ("platform",),
    "https": ("base", "platform"),
    "patch": ("https", "base", "platform"),
    "device": ("patch", "https", "base", "platform"),
    "app": ("device", "https", "base", "platform"),
    "host/util": ("platform",),
    "host/config": ("host/util", "platform"),
    "host/device/sources": ("host/util", "platform"),
    "host/device": ("host/device/sources", "host/config", "host/util", "platform"),
    "host/framework": ("host/device", "host/config", "host/util", "platform"),
    "ctl": ("patch", "https", "base", "host/device", "host/config", "host/util", "platform"),
    "service/util": (),
    "service/json": ("service/util",),
    "service/store": ("service/json", "service/util"),
    "service/store/sqlite": ("service/store", "service/json", "service/util"),
    "service/store/postgresql": ("service/store", "service/json", "service/util"),
    "service/http": ("service/util",),
    "service/auth": ("service/store", "service/json", "service/util"),
    "service/ops": ("service/store", "service/http", "service/json", "service/util"),
    "service/page": ("service/store", "service/http", "service/util"),
    "service/redfish": ("service/auth", "service/store", "service/http", "service/json",
                        "service/util"),
    "service/api": ("service/auth", "service/store", "service/http", "service/json",
                    "service/util"),
    "service": ("service/redfish", "service/api", "service/page", "service/ops", "service/auth",
                "service/store", "service/http", "service/json", "service/util"),
}

SOURCE = re.compile(r"\.(cpp|h)(\.in)?$")
INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]+"([^"]+)"', re.MULTILINE)


def room_of(name, rooms):
    """The innermost room that a file is in; None when it is in none."""
    parents = (str(parent) for parent in pathlib.PurePosixPath(name).parents)
    return next((parent for parent in parents if parent in rooms), None)


def of_table(rooms):
    """What is wrong with the table itself: a room that can reach itself."""
    for room in rooms:
        reached, left = set(), list(rooms[room])
        while left:
            below = left.pop()
            if below not in reached:
                reached.add(below)
                left.extend(rooms[below])
        if room in reached:
            yield f"the table lets {room} include itself"


def of_directions(files, rooms):
    for name, text in sorted(files.items()):
        room = room_of(name, rooms)
        if room is None:
            yield f"{name}: in no room"
            continue
        for included in INCLUDE.findall(text):
            other = room_of(included, rooms)
            if other is None:
                yield f"{name}: {included} is in no room"
            elif other != room and other not in rooms[room]:
                yield f"{name}: {room} must not include {included}"


def circles(arrows):
    """The groups of units that all include each other, each sorted."""
    found = []
    reach = {unit: reached_from(unit, arrows) for unit in arrows}
    for unit in sorted(arrows):
        group = tuple(sorted(other for other in reach[unit] if unit in reach.get(other, ())))
        if group and group not in found:
            found.append(group)
    return found


def reached_from(unit, arrows):
    reached, left = set(), [unit]
    while left:
        for other in arrows.get(left.pop(), ()):
            if other not in reached:
                reached.add(other)
                left.append(other)
    return reached


def of_circles(files):
    arrows = {}
    for name, text in files.items():
        unit = SOURCE.sub("", name)
        included = {SOURCE.sub("", other) for other in INCLUDE.findall(text)}
        arrows.setdefault(unit, set()).update(included - {unit})
    for circle in circles(arrows):
        yield "include each other: " + ", ".join(circle)


def problems(files, rooms):
    """What is wrong with the includes of the files: a dictionary of names and texts."""
    yield from of_table(rooms)
    yield from of_directions(files, rooms)
    yield from of_circles(files)


def main():
    listed = subprocess.run(["git", "ls-files", ":!tests", ":!bench"], check=True,
                            capture_output=True, text=True).stdout.split()
    files = {name: pathlib.Path(name).read_text(encoding="utf-8")
             for name in listed if SOURCE.search(name)}
    if not files:
        sys.exit("no sources found")
    found = list(problems(files, ROOMS))
    print("\n".join(found) or f"the includes of {len(files)} files go one way")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
