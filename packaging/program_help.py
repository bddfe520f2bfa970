# SPDX-License-Identifier: Apache-2.0
"""What a program says of itself: options and commands, read from its --help and its commands'."""

import dataclasses
import re
import subprocess

# An option or a command begins in the third column; what is said of it stands behind two blanks or
# more, or in lines of its own.
_ENTRY = re.compile(r"^  (\S.*?)(?:  +(\S.*))?$")
_HEADING = re.compile(r"^(Options|Positionals|Subcommands):$")
_NAMES = re.compile(r"^(-{1,2}[\w-]+(?:,-{1,2}[\w-]+)*)(?: (.*))?$")


@dataclasses.dataclass
class Option:
    names: list  # as they are typed: ["-h", "--help"]
    value: str  # what it takes, as "FILE"; empty for a flag
    choices: list  # the values that it can take; empty where they are not listed
    default: str
    text: str


@dataclasses.dataclass
class Program:
    """A program, or a command of it."""
    name: str
    text: str
    options: list
    positionals: list  # options whose only name is the argument's
    commands: list  # Programs


def _sections(text):
    """The entries below each heading: [what, description]."""
    sections = {"Options": [], "Positionals": [], "Subcommands": []}
    entries = None
    for line in text.splitlines():
        heading = _HEADING.match(line)
        entry = _ENTRY.match(line)
        if heading:
            entries = sections[heading.group(1)]
        elif not line.startswith("  "):
            entries = None
        elif entries is not None and entry and not line.startswith("   "):
            entries.append([entry.group(1), entry.group(2) or ""])
        elif entries:
            entries[-1][1] = f"{entries[-1][1]} {line.strip()}".strip()
    return sections


def _option(what, text):
    names = _NAMES.match(what)
    if names:
        typed, rest = names.group(1).split(","), names.group(2) or ""
    else:
        name, _, rest = what.partition(" ")
        typed = [name]
    choices = re.search(r":\{([^}]*)\}", rest)
    bounds = re.sub(r":\w+ in \[[^]]*\]", "", re.sub(r":\{[^}]*\}", "", rest))
    value, _, default = re.sub(r" (REQUIRED|\.\.\.)", "", bounds).partition("=")
    return Option(typed, value, choices.group(1).split(",") if choices else [], default, text)


def _described(command, name, text):
    """The description of the program that the words of `command` start, its commands included."""
    said = subprocess.run([*command, "--help"], check=True, capture_output=True, text=True).stdout
    sections = _sections(said)
    return Program(
        name, text, [_option(*entry) for entry in sections["Options"]],
        [_option(*entry) for entry in sections["Positionals"]],
        [_described([*command, sub], sub, about) for sub, about in sections["Subcommands"]])


def describe(command):
    """The description of a program; `command` may begin with an emulator."""
    name = str(command[-1]).rsplit("/", 1)[-1]
    program = _described([str(word) for word in command], name, "")
    if not program.options:  # a usage without a list
        said = subprocess.run([*map(str, command), "--help"], check=True, capture_output=True,
                              text=True).stdout
        program.options = [Option([option], "", [], "", "") for option in
                           sorted(set(re.findall(r"--[a-z-]+", said.splitlines()[0])))]
    return program
