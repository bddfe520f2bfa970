#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes the completion of a program for bash or zsh, made from what the program says of itself.

    completions.py bash|zsh COMMAND...

COMMAND is the program, with an emulator before it where it is another machine's.
"""
import sys

from program_help import describe


def quoted(text):
    """As one word of the shell."""
    return "'" + text.replace("'", "'\\''") + "'"


def nodes(program, path=(), above=()):
    """Each command with the way to it, and its options with those of the commands above it."""
    own = {name for option in program.options for name in option.names}
    options = [option for option in above if not own & set(option.names)] + program.options
    yield path, program, options
    for command in program.commands:
        yield from nodes(command, (*path, command.name), options)


# bash

_BASH = """\
# bash completion for {name}; made from its --help.
{function}() {{
  local current=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD - 1]}}
  local path='' words='' i
  for ((i = 1; i < COMP_CWORD; i++)); do
    case "$path ${{COMP_WORDS[i]}}" in
{ways}
    esac
  done
  case "$path" in
{words}
  esac
  case "$before" in
{values}
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}}
complete -o bashdefault -o default -F {function} {name}
"""


def _bash_words(program, options):
    """What may come: commands, values of arguments, options."""
    words = [command.name for command in program.commands]
    words += [choice for positional in program.positionals for choice in positional.choices]
    return " ".join(words + [name for option in options for name in option.names])


def bash(program):
    ways, words, values = [], [], {}
    for path, node, options in nodes(program):
        key = " ".join(path)
        words.append(f"    {quoted(key)}) words={quoted(_bash_words(node, options))} ;;")
        if path:
            way = quoted(f"{' '.join(path[:-1])} {path[-1]}")
            ways.append(f"      {way}) path={quoted(key)} ;;")
        for option in options:
            if option.value:
                values[" | ".join(option.names)] = quoted(" ".join(option.choices))
    return _BASH.format(
        name=program.name, function=f"_{program.name}", ways="\n".join(ways) or "      *) ;;",
        words="\n".join(words),
        values="\n".join(f"    {names}) words={choices} ;;" for names, choices in values.items())
        or "    *) ;;")


# zsh

def _zsh_text(text):
    """As it stands in the brackets and between the colons of _arguments."""
    return text.replace("\\", "\\\\").replace(":", "\\:").replace("[", "\\[").replace("]", "\\]")


def _zsh_action(option):
    return f"({' '.join(option.choices)})" if option.choices else "_files"


def _zsh_option(option):
    equals = "=" if option.value else ""
    value = f":{_zsh_text(option.value)}:{_zsh_action(option)}" if option.value else ""
    return [quoted(f"*{name}{equals}[{_zsh_text(option.text)}]{value}") for name in option.names]


def _zsh_function(program, path, node, options):
    name = "_" + "_".join([program.name, *path])
    lines = [word for option in options for word in _zsh_option(option)]
    if not node.commands:
        lines += [quoted(f":{_zsh_text(positional.names[0])}:{_zsh_action(positional)}")
                  for positional in node.positionals]
        return [f"{name}() {{", "  _arguments \\", *(f"    {line} \\" for line in lines[:-1]),
                f"    {lines[-1]}", "}"]
    commands = [quoted(f"{command.name}:{_zsh_text(command.text)}") for command in node.commands]
    called = [f"      {command.name}) {name}_{command.name} ;;" for command in node.commands]
    return [
        f"{name}() {{", "  local context state state_descr line", "  typeset -A opt_args",
        "  _arguments -C \\", *(f"    {line} \\" for line in lines),
        "    '1: :->command' '*:: :->rest'", '  case "$state" in', "    command)",
        f"      local -a commands=({' '.join(commands)})",
        "      _describe command commands ;;", '    rest) case "$line[1]" in',
        *called, "    esac ;;", "  esac", "}"]


def zsh(program):
    lines = [f"#compdef {program.name}",
             f"# zsh completion for {program.name}; made from its --help."]
    for path, node, options in nodes(program):
        lines += ["", *_zsh_function(program, path, node, options)]
    return "\n".join([*lines, "", f'_{program.name} "$@"', ""])


if __name__ == "__main__":
    if len(sys.argv) < 3 or sys.argv[1] not in ("bash", "zsh"):
        sys.exit(__doc__)
    sys.stdout.write({"bash": bash, "zsh": zsh}[sys.argv[1]](describe(sys.argv[2:])))
