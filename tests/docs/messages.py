#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that docs/messages.md holds every message of the sources, and no other.

A message of the document is a code span of the second cell of a row whose first cell is a level:
the unit, the operation and the text as the log shows them, with <names> where the text varies. The
tables of result numbers are compared with the enumerations that they describe.
"""

import collections
import functools
import itertools
import pathlib
import re
import sys

from harness.sources import CALL, arguments, blank_comments, literals

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
DOCUMENT = TOP / "docs" / "messages.md"
DAEMON = ("app", "base", "device", "https", "patch")
HOST_CALL = re.compile(r"(?<!#define )\bHOST_LOG\s*\(")
# What the log says of itself: a line that is made by hand and ends in a number.
HOST_LINE = re.compile(
    r'\b(?:LogLine\(\s*Now\(\)|Print\(settings, now), (\d), "Host",\s*"([^"]*)" \+')
UNIT = re.compile(r'\bkUnit\[\] = "(\w+)"')
OPERATION = re.compile(r"\b(\w+)\s*\([^()]*(?:\([^()]*\)[^()]*)*const char\* caller\)")
CONVERSION = re.compile(r"%[-+ #0]*\d*(?:\.\d+)?(?:hh|h|ll|l|z|j|t)?[diouxXcsp]")
ROW = re.compile(r"^\| ([3-7]) \| (.*?) \| ", re.MULTILINE)
SPAN = re.compile(r"`([^`]+)`")
VARYING = re.compile(r"<[^<>]+>")
# Result numbers: the header that declares them, and the prefix of their names.
NUMBERS = {"AppResult": "app/CloudClient.h", "HttpsResult": "https/HttpsClient.h"}

Message = collections.namedtuple("Message", "level text")


def pattern(text):
    """A message with what varies in it replaced by the same mark."""
    return CONVERSION.sub("\x00", text).replace("\n", "\\n")


def files(folder):
    return sorted(p for p in (TOP / folder).rglob("*") if p.suffix in (".cpp", ".h"))


def unit_of(path):
    """The log unit of a source file: its own constant, or the one that its folder shares."""
    for candidate in (path, *files(path.parent.relative_to(TOP))):
        found = UNIT.search(candidate.read_text(encoding="utf-8"))
        if found:
            return found.group(1)
    raise ValueError(f"{path}: no log unit")


def callers(helper, source):
    """The operations that a helper logs for: the literal last argument of its calls."""
    found = set()
    for call in re.finditer(rf"\b{helper}\s*\(", source):
        found.update(literals(arguments(source, call.end())[-1]) or [])
    return found


def helper_at(source, position):
    """The helper in which a message stands that is logged in the name of a caller."""
    return [m.group(1) for m in OPERATION.finditer(source, 0, position)][-1]


def one(texts):
    if texts is None or len(texts) != 1:
        raise ValueError("not one literal")
    return texts[0]


def daemon_messages(path):
    source = blank_comments(path.read_text(encoding="utf-8"))
    for match in CALL.finditer(source):
        level, _, text, operation = arguments(source, match.end())[:4]
        level = "".join(piece for _, piece in level)
        text = one(literals(text))
        if not text.startswith("%s:"):
            raise ValueError(f"{path}: a message without its operation: {text!r}")
        named = literals(operation)
        names = [one(named)] if named else sorted(
            callers(helper_at(source, match.start()), shared_source(path)))
        for name in names:
            yield Message(level, f"{unit_of(path)} {name}:{pattern(text[3:])}")


@functools.lru_cache(None)
def shared_source(path):
    """The sources of the file's unit: a helper's callers may be in another file of it."""
    return "\n".join(blank_comments(p.read_text(encoding="utf-8"))
                     for p in files(path.parent.relative_to(TOP)) if unit_of(p) == unit_of(path))


def host_messages(path):
    source = blank_comments(path.read_text(encoding="utf-8"))
    for match in HOST_CALL.finditer(source):
        level, text = arguments(source, match.end())[:2]
        yield Message("".join(piece for _, piece in level), "Host " + pattern(one(literals(text))))
    for match in HOST_LINE.finditer(path.read_text(encoding="utf-8")):
        yield Message(match.group(1), f"Host {match.group(2)}\x00")


@functools.lru_cache(None)
def in_sources():
    found = set()
    for path in itertools.chain.from_iterable(files(folder) for folder in DAEMON):
        found.update(daemon_messages(path))
    for path in files("host"):
        found.update(host_messages(path))
    return found


def in_document(document):
    return [Message(level, VARYING.sub("\x00", span))
            for level, cell in ROW.findall(document) for span in SPAN.findall(cell)]


def numbers_in_sources(name):
    text = (TOP / NUMBERS[name]).read_text(encoding="utf-8")
    body = re.search(rf"enum : {name} \{{(.*?)\}};", text, re.DOTALL).group(1)
    return re.findall(r"\bk\w+ = (\d+)", body)


def numbers_in_document(name, document):
    table = re.search(rf"^\| `{name}` \|.*\n(?:\|.*\n)+", document, re.MULTILINE)
    return re.findall(r"(?m)^\| (\d+) \| \S", table.group(0)) if table else []


def problems(document):
    sources, written = in_sources(), in_document(document)
    if len(sources) < 150:
        yield f"only {len(sources)} messages found in the sources"
    shown = lambda message: f"{message.level} {message.text}".replace("\x00", "<...>")
    for message in sorted(sources - set(written)):
        yield f"not in the document: {shown(message)}"
    for message in sorted(set(written) - sources):
        yield f"in no source: {shown(message)}"
    for message, times in sorted(collections.Counter(written).items()):
        if times > 1:
            yield f"{times} times in the document: {shown(message)}"
    for name in NUMBERS:
        if numbers_in_sources(name) != numbers_in_document(name, document):
            yield f"the numbers of {name} are not those of {NUMBERS[name]}"


def main():
    found = list(problems(DOCUMENT.read_text(encoding="utf-8") if DOCUMENT.exists() else ""))
    print("\n".join(found) or "docs/messages.md holds what the sources log")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
