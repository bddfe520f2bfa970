# SPDX-License-Identifier: Apache-2.0
"""The operations that the headers of platform/ declare: what an implementation has to provide."""

import collections
import re

from .sources import blank_comments

# `qualified`: with namespace and class; a constant of a class is an operation, too.
# `name`: without the namespace. `pure`: left to the classes of the implementation.
Operation = collections.namedtuple("Operation", "qualified name pure")

SCOPE = re.compile(r"(namespace|class|struct)\s+(\w+)[^;(){}]*$")
NO_OPERATION = re.compile(r"(typedef|using|friend|enum)\b|.*=\s*(default|delete)$", re.DOTALL)
FUNCTION = re.compile(r"(operator\s*[^\s\w(]+|~?\w+)\s*\(")
CONSTANT = re.compile(r"static const\b.*?(\w+)$", re.DOTALL)
ACCESS = re.compile(r"\b(?:public|protected|private)\s*:")


def operation(statement, scopes):
    """The operation that a statement declares inside `scopes` (kind and name), or None."""
    if NO_OPERATION.match(statement):
        return None
    found = FUNCTION.search(statement) or CONSTANT.match(statement)
    if not found:
        return None
    name = re.sub(r"\s", "", found.group(1))
    names = lambda kinds: [n for kind, n in scopes if kind in kinds]
    return Operation("::".join([*names(("namespace", "class", "struct")), name]),
                     "::".join([*names(("class", "struct")), name]),
                     bool(re.search(r"=\s*0$", statement)))


def of_header(text):
    """The operations of one header, in their order; overloads once."""
    text = re.sub(r"(?m)^#.*(?:\\\n.*)*$", "", blank_comments(text))
    found, scopes, begin = [], [], 0
    for mark in re.finditer(r"[;{}]", text):
        statement = " ".join(ACCESS.sub("", text[begin:mark.start()]).split())
        begin = mark.end()
        if mark.group() == "{":
            opened = SCOPE.search(statement)
            if not opened:
                raise ValueError(f"neither class nor namespace: {statement!r}")
            scopes.append(opened.groups())
        elif mark.group() == "}":
            scopes.pop()
        else:
            one = operation(statement, scopes)
            if one and one not in found:
                found.append(one)
    return found


def declared(folder):
    """The operations of all headers below a folder, header by header."""
    return [one for path in sorted(folder.rglob("*.h"))
            for one in of_header(path.read_text(encoding="utf-8"))]
