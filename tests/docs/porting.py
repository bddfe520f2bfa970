#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that docs/porting.md describes every operation of platform/, under its header, and no
other."""

import pathlib
import re
import sys

from harness.platform_operations import of_header

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
DOCUMENT = TOP / "docs" / "porting.md"
SECTION = re.compile(r"^## (platform/\S+)\n(.*?)(?=^## |\Z)", re.DOTALL | re.MULTILINE)
ROW = re.compile(r"^\| `([^`]+)` \|(.*)\|$", re.MULTILINE)
# What a row has to say: what it must do, and who calls it.
CELLS = 3


def in_headers():
    """The names of each header's operations, by the header's path."""
    return {str(path.relative_to(TOP)): [one.name for one in of_header(path.read_text("utf-8"))]
            for path in sorted((TOP / "platform").rglob("*.h"))}


def in_document(document):
    return [(path, ROW.findall(text)) for path, text in SECTION.findall(document)]


def of_section(path, wanted, rows):
    names = [name for name, _ in rows]
    for name in wanted:
        if name not in names:
            yield f"not in the document: {path} {name}"
    for name in dict.fromkeys(names):
        if name not in wanted:
            yield f"in no header: {path} {name}"
        elif names.count(name) > 1:
            yield f"{names.count(name)} times in the document: {path} {name}"
    for name, cells in rows:
        said = [cell.strip() for cell in re.split(r"(?<!\\)\|", cells)]
        if len(said) != CELLS or not all(said[:2]):
            yield f"a row without its cells: {path} {name}"


def problems(document):
    headers, sections = in_headers(), in_document(document)
    if sum(map(len, headers.values())) < 100:
        yield "few operations found in the headers"
    written = [path for path, _ in sections]
    for path in headers:
        if written.count(path) != 1:
            yield f"{written.count(path)} sections of {path}"
    for path, rows in sections:
        if path not in headers:
            yield f"no such header: {path}"
        else:
            yield from of_section(path, headers[path], rows)


def main():
    found = list(problems(DOCUMENT.read_text(encoding="utf-8")))
    print("\n".join(found) or "docs/porting.md describes what platform/ declares")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
