# SPDX-License-Identifier: Apache-2.0
"""C++ sources as text: comments, literals, and the arguments of a call."""

import re

# A message of the daemon's.
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
