#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that unit tests saw every log format of the daemon.

  log_formats.py begin FOLDER            empties the folder that collects the formats seen
  log_formats.py check FOLDER SOURCES... compares it with the __dlog_printf calls below SOURCES

Each process of a unit test leaves a file in FOLDER, of lines "UNIT<tab>LEVEL<tab>FORMAT" in which
line feed, tab and backslash are escaped.
"""

import pathlib
import re
import shutil
import sys

CALL = re.compile(r"\b__dlog_printf\s*\(")
TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      |(?P<text>"(?:\\.|[^"\\\n])*")
      |(?P<char>'(?:\\.|[^'\\\n])*')
      |(?P<other>.)""",
    re.DOTALL | re.VERBOSE,
)
ESCAPE = re.compile(r"\\(.)", re.DOTALL)
ESCAPED = {"n": "\n", "t": "\t", "r": "\r", '"': '"', "'": "'", "\\": "\\"}


def unescape(text):
    return ESCAPE.sub(lambda match: ESCAPED[match.group(1)], text)


def arguments(source, start):
    """The tokens of each argument of the call whose opening parenthesis ends at `start`."""
    depth = 1
    found = [[]]
    for token in TOKEN.finditer(source, start):
        kind, text = token.lastgroup, token.group()
        if kind == "comment":
            continue
        if kind == "other":
            if text in "([{":
                depth += 1
            elif text in ")]}":
                depth -= 1
                if depth == 0:
                    return found
            elif text == "," and depth == 1:
                found.append([])
                continue
            elif text.isspace():
                continue
        found[-1].append((kind, text))
    raise ValueError("unbalanced parentheses")


def literals(tokens):
    """The formats of an argument: a literal in one or more pieces, or a choice of literals. None
    when it is anything else."""
    last_question = max((i for i, t in enumerate(tokens) if t == ("other", "?")), default=-1)
    branches = [[]]
    for kind, text in tokens[last_question + 1 :]:
        if (kind, text) == ("other", ":") and last_question >= 0:
            branches.append([])
        elif kind == "text":
            branches[-1].append(unescape(text[1:-1]))
        else:
            return None
    if not all(branches):
        return None
    return ["".join(branch) for branch in branches]


def blank_comments(source):
    """The source with comments as blanks of the same length and number of lines."""

    def blank(match):
        if match.lastgroup != "comment":
            return match.group()
        return re.sub(r"[^\n]", " ", match.group())

    return TOKEN.sub(blank, source)


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
