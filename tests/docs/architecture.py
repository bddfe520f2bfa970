#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that what docs/architecture.md names is there.

A code span that looks like a file names one of the tree, by as much of the end of its path as makes
it one. Operations (`Class::Operation`) and other names in capitals stand in a source. Spans that
begin with a slash are paths of a machine.
"""

import functools
import pathlib
import re
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
DOCUMENT = TOP / "docs" / "architecture.md"
FOLDERS = ("app", "base", "bench", "cmake", "ctl", "device", "docs", "examples", "host", "https",
           "packaging", "patch", "platform", "scripts", "service", "tests")
SOURCES = ("app", "base", "ctl", "device", "host", "https", "patch", "platform", "service")
SPAN = re.compile(r"`([^`\n]+)`")
FILE = re.compile(r"[\w.-]+(?:/[\w.-]+)*\.(?:cpp|h|ts|tsx|json|md|py|sh|in|cmake|supp)")
FOLDER = re.compile(r"(?:\w+/)+")
OPERATION = re.compile(r"(\w+)::(\w+)")
NAME = re.compile(r"[A-Z][a-z]\w*")
LINK = re.compile(r"\]\(([^)#]*)(?:#([^)]*))?\)")


@functools.lru_cache(None)
def files():
    """The paths of all files, each with a slash before it."""
    return ["/" + str(path.relative_to(TOP)) for folder in FOLDERS
            for path in sorted((TOP / folder).rglob("*"))
            if path.is_file() and "node_modules" not in path.parts]


@functools.lru_cache(None)
def sources():
    return [path.read_text(encoding="utf-8") for folder in SOURCES
            for path in sorted((TOP / folder).rglob("*")) if path.suffix in (".cpp", ".h")]


def of_file(span, paths):
    found = [path for path in paths if path.endswith("/" + span)]
    if not found:
        yield f"no such file: {span}"
    elif len(found) > 1:
        yield f"{len(found)} files: {span}"


def of_operation(span, owner, name, texts):
    declares = re.compile(rf"\b(?:class|struct) {owner}\b")
    word = re.compile(rf"\b{name}\b")
    if not any(span in text or (declares.search(text) and word.search(text)) for text in texts):
        yield f"no such operation: {span}"


def of_span(span, paths, texts):
    operation = OPERATION.fullmatch(span)
    if FILE.fullmatch(span):
        yield from of_file(span, paths)
    elif FOLDER.fullmatch(span):
        if not any("/" + span in path for path in paths):
            yield f"no such folder: {span}"
    elif operation:
        yield from of_operation(span, *operation.groups(), texts)
    elif NAME.fullmatch(span):
        if not any(re.search(rf"\b{span}\b", text) for text in texts):
            yield f"in no source: {span}"


@functools.lru_cache(None)
def of_this_span(span):
    return tuple(of_span(span, files(), sources()))


def of_link(file, anchor):
    path = DOCUMENT.parent / file
    if not path.is_file():
        yield f"a link to no file: {file}"
    elif anchor and f'<a id="{anchor}">' not in path.read_text(encoding="utf-8"):
        yield f"a link to no row: {file}#{anchor}"


def problems(document):
    spans = dict.fromkeys(SPAN.findall(document))
    if sum(1 for span in spans if FILE.fullmatch(span)) < 100:
        yield "names few files"
    for span in spans:
        yield from of_this_span(span)
    for file, anchor in dict.fromkeys(LINK.findall(document)):
        yield from of_link(file, anchor)


def main():
    found = list(problems(DOCUMENT.read_text(encoding="utf-8")))
    print("\n".join(found) or "what docs/architecture.md names is there")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
