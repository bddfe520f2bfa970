#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks docs/kept-behaviour.md against the code and the tests.

A row names a file and what in it does the kept thing, and tests. The code points to a row by a
comment line of its own, `// Kept: docs/kept-behaviour.md#name`: the row's file at least once.
"""

import collections
import pathlib
import re
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
DOCUMENT = TOP / "docs" / "kept-behaviour.md"
FOLDERS = ("app", "https", "device", "patch", "base")
SECTION = re.compile(r"^## (\w+)/\n(.*?)(?=^## |\Z)", re.DOTALL | re.MULTILINE)
LINE = re.compile(r"^\| (?!name \|).*$", re.MULTILINE)
ROW = re.compile(r'\| <a id="([a-z0-9-]+)"></a>\1 \| [^|]+ \| [^|]+ \| `([^`]+)` `(\w+)` \| '
                 r"((?:`[\w.]+` ?)+)\|$")
LINK = re.compile(r"\(#([^)]*)\)")
POINTER = re.compile(r"^ *// Kept: docs/kept-behaviour\.md#([a-z0-9-]+)$", re.MULTILINE)
UNIT_CASE = re.compile(r"^TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)", re.MULTILINE)
PYTHON_CASE = re.compile(r"^def (test_\w+)\(", re.MULTILINE)

Row = collections.namedtuple("Row", "name folder file place tests")


def sources():
    """The text of each source of the daemon, by its path."""
    return {str(path.relative_to(TOP)): path.read_text(encoding="utf-8")
            for folder in FOLDERS for path in sorted((TOP / folder).rglob("*"))
            if path.suffix in (".cpp", ".h")}


def cases():
    """The names of all unit and acceptance tests."""
    found = set()
    for path in (TOP / "tests" / "unit").rglob("*.cpp"):
        found.update(map(".".join, UNIT_CASE.findall(path.read_text(encoding="utf-8"))))
    for path in (TOP / "tests" / "acceptance").glob("test_*.py"):
        found.update(PYTHON_CASE.findall(path.read_text(encoding="utf-8")))
    return found


def lines(document):
    """The lines of the document's tables, each with its section's folder."""
    return [(folder, line) for folder, text in SECTION.findall(document)
            for line in LINE.findall(text)]


def row(folder, line):
    """What a line of a table says, or None."""
    found = ROW.match(line)
    if not found:
        return None
    name, file, place, tests = found.groups()
    return Row(name, folder, file, place, re.findall(r"`([^`]+)`", tests))


def of_row(one, code, tests):
    text = code.get(one.file, "")
    if not text:
        yield f"{one.name}: no such file: {one.file}"
    elif not re.search(rf"\b{one.place}\b", text):
        yield f"{one.name}: not in {one.file}: {one.place}"
    elif one.name not in POINTER.findall(text):
        yield f"{one.name}: nothing in {one.file} points to it"
    if not one.file.startswith(one.folder + "/"):
        yield f"{one.name}: {one.file} is none of {one.folder}/"
    for test in one.tests:
        if test not in tests:
            yield f"{one.name}: no such test: {test}"


def of_source(path, text, names):
    pointers = POINTER.findall(text)
    for name in pointers:
        if name not in names:
            yield f"{path}: no such row: {name}"
    if text.count("kept-behaviour") != len(pointers):
        yield f"{path}: a mention that is no line of its own"
    if re.search("deliberate", text, re.IGNORECASE):
        yield f"{path}: says deliberate, and points to no row"


def problems(document, code):
    tests = cases()
    rows = []
    for folder, line in lines(document):
        one = row(folder, line)
        if one:
            rows.append(one)
        else:
            yield f"no row: {line[:40]}"
    names = [one.name for one in rows]
    for name, times in collections.Counter(names).items():
        if times > 1:
            yield f"{times} rows: {name}"
    for name in LINK.findall(document):
        if name not in names:
            yield f"a link to no row: {name}"
    if tuple(folder for folder, _ in SECTION.findall(document)) != FOLDERS:
        yield f"the sections are not {', '.join(FOLDERS)}"
    for one in rows:
        yield from of_row(one, code, tests)
    for path, text in code.items():
        yield from of_source(path, text, names)


def main():
    found = list(problems(DOCUMENT.read_text(encoding="utf-8"), sources()))
    print("\n".join(found) or "docs/kept-behaviour.md, the code and the tests agree")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
