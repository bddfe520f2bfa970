#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that unit tests saw every log format of the daemon.

  log_formats.py begin FOLDER            empties the folder that collects the formats seen
  log_formats.py check FOLDER SOURCES... compares it with the __dlog_printf calls below SOURCES

Each process of a unit test leaves a file in FOLDER, of lines "UNIT<tab>LEVEL<tab>FORMAT" in which
line feed, tab and backslash are escaped.
"""

import pathlib
import shutil
import sys

from harness.sources import CALL, arguments, blank_comments, literals, unescape


def calls(path):
    """(line, level or None, formats or None) of each call in a file."""
    source = blank_comments(path.read_text(encoding="utf-8"))
    for match in CALL.finditer(source):
        line = source.count("\n", 0, match.start()) + 1
        given = arguments(source, match.end())
        level = "".join(text for _, text in given[0])
        formats = literals(given[2]) if len(given) > 2 else None
        yield line, int(level) if level.isdigit() else None, formats


def read_seen(folder):
    seen = set()
    for file in folder.iterdir():
        for entry in file.read_text(encoding="utf-8").splitlines():
            _, level, text = entry.split("\t")
            seen.add((int(level), unescape(text)))
    return seen


def check(folder, roots):
    if not folder.is_dir():
        return [f"{folder}: no such folder: the unit tests did not run"]
    seen = read_seen(folder)
    if not seen:
        return [f"{folder}: empty: no unit test logged anything"]
    problems = []
    count = 0
    for path in sorted(p for root in roots for p in root.rglob("*") if p.suffix in (".cpp", ".h")):
        for line, level, formats in calls(path):
            if formats is None:
                problems.append(f"{path}:{line}: the format is not a literal")
                continue
            for text in formats:
                count += 1
                if not any(text == s and level in (None, l) for l, s in seen):
                    problems.append(f"{path}:{line}: no unit test saw {level} {text!r}")
    if count == 0:
        problems.append("no log call found in the sources")
    print(f"{count} log calls, {len(seen)} formats seen, {len(problems)} problems")
    return problems


def main(mode, folder, *roots):
    folder = pathlib.Path(folder)
    if mode == "begin":
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        return 0
    problems = check(folder, [pathlib.Path(root) for root in roots])
    print("\n".join(problems))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
