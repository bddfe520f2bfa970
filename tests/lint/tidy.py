#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""clang-tidy over the sources that a build folder compiles, tests left out.

    tidy.py BUILD

What passed is remembered by all that the verdict depends on: the program, its configuration, the
commands, the sources and every header. Sources are looked at again when one of these is another.
Remembered in $XDG_CACHE_HOME/cloudclient/tidy (~/.cache without it); what is not met for thirty
days is forgotten.
"""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import time

TOP = pathlib.Path(__file__).resolve().parents[2]
CACHE = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache")
PASSED = CACHE / "cloudclient" / "tidy"
KEPT_SECONDS = 30 * 24 * 3600
TOGETHER = 8
# A name that is taken over from a namespace.
USING = re.compile(r"\s*using\s+(::)?\w+::[\w:]+;")


def command_of(entry):
    """The compiler and its options, without the launcher."""
    words = shlex.split(entry["command"])
    return words[next(i for i, word in enumerate(words) if word.endswith(("c++", "g++"))):]


def headers(command, folder):
    """The files that a compilation reads, the source among them."""
    words, given = [], iter(command)
    for word in given:
        if word in ("-o", "-MF", "-MT"):
            next(given)
        elif word not in ("-c", "-MD"):
            words.append(word)
    rule = subprocess.run([*words, "-M"], cwd=folder, check=True, capture_output=True, text=True)
    return shlex.split(rule.stdout.partition(":")[2].replace("\\\n", " "))


class Group:
    """Sources of one target that are looked at in one go: the headers, which cost most, are read
    once. Sources that can't stand beside each other are looked at one by one."""

    def __init__(self, folder, entries):
        self.folder = folder
        self.entries = entries
        self.command = command_of(entries[0])

    def size(self):
        return sum(pathlib.Path(entry["file"]).stat().st_size for entry in self.entries)

    def key(self, common):
        digest = hashlib.sha256(common)
        for entry in self.entries:
            command = command_of(entry)
            digest.update(shlex.join(command).replace(str(TOP), "").encode())
            for name in headers(command, entry["directory"]):
                path = pathlib.Path(entry["directory"], name)
                digest.update(str(path).replace(str(TOP), "").encode() + b"\0" + path.read_bytes())
        return digest.hexdigest()

    def look(self):
        """What clang-tidy finds: empty when the sources are clean."""
        if len(self.entries) == 1:
            return self._found(self.entries[0]["file"])
        name = hashlib.sha256("".join(e["file"] for e in self.entries).encode()).hexdigest()[:16]
        together = self.folder / f"{name}.cpp"
        together.write_text("".join(f'#include "{e["file"]}"  // NOLINT\n' for e in self.entries))
        # The analyzer leaves out what is included unless it is told.
        found = self._found(together, "-Xclang", "-analyzer-opt-analyze-headers")
        if "clang-diagnostic-error" in found:
            return "".join(Group(self.folder, [entry]).look() for entry in self.entries)
        return found

    def _found(self, source, *more):
        words = iter(self.command[1:])
        options = []
        for word in words:
            if word in ("-o", "-c", "-MF", "-MT"):
                next(words)
            elif word != "-MD":
                options.append(word)
        # The commands are g++'s: not every warning that they name is one of clang's.
        seen = subprocess.run(
            ["clang-tidy", "--quiet", f"--config-file={TOP / '.clang-tidy'}", str(source), "--",
             *options, "-Wno-unknown-warning-option", "-Wthread-safety", *more],
            cwd=self.entries[0]["directory"], capture_output=True, text=True)
        return seen.stdout + seen.stderr if seen.returncode != 0 else ""

    def passes(self, common):
        """Whether the sources are clean, and whether they were looked at for that."""
        mark = PASSED / self.key(common)
        looked = not mark.exists()
        found = self.look() if looked else ""
        if found:
            print(found, flush=True)
        else:
            mark.touch()
        return not found, looked


def groups(build):
    """The sources of the build folder, a few of one target together."""
    tracked = subprocess.run(["git", "ls-files", "*.cpp", ":!tests"], cwd=TOP, check=True,
                             capture_output=True, text=True).stdout.split()
    ours = {str(TOP / name) for name in tracked}
    folder = build / "tidy"
    folder.mkdir(exist_ok=True)
    targets = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        if entry["file"] not in ours:
            continue
        # One check looks at the main source alone: what it speaks of is looked at alone.
        alone = any(USING.match(line) for line in open(entry["file"], encoding="utf-8"))
        options = tuple(word for word in command_of(entry) if word.startswith("-"))
        target = entry["file"] if alone else str(pathlib.Path(entry["file"]).parent)
        targets.setdefault((target, options[:options.index("-o")]), []).append(entry)
    found = [Group(folder, entries[at:at + TOGETHER])
             for entries in targets.values() for at in range(0, len(entries), TOGETHER)]
    # The largest first: it would be the only one that runs at the end.
    return sorted(found, key=Group.size, reverse=True)


def forget_the_old():
    for mark in PASSED.iterdir():
        if mark.stat().st_mtime < time.time() - KEPT_SECONDS:
            mark.unlink(missing_ok=True)


def main():
    found = groups(pathlib.Path(sys.argv[1]).resolve())
    if not found:
        sys.exit("no sources found")
    PASSED.mkdir(parents=True, exist_ok=True)
    forget_the_old()
    version = subprocess.run(["clang-tidy", "--version"], check=True, capture_output=True).stdout
    common = version + (TOP / ".clang-tidy").read_bytes() + pathlib.Path(__file__).read_bytes()
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = list(pool.map(lambda group: group.passes(common), found))
    if not all(clean for clean, _ in results):
        sys.exit(1)
    count = sum(len(group.entries) for group in found)
    looked = sum(len(group.entries) for group, (_, looked) in zip(found, results) if looked)
    print(f"{count} sources are clean; {looked} of them were looked at, the others had passed")


if __name__ == "__main__":
    main()
