#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What a source begins with: its licence, and in C++ sources of the programs what it holds.

    headings.py [FILE ...]

Without files: all that git knows. A script's first line stays its interpreter's.
"""
import re
import subprocess
import sys

LICENSE = "SPDX-License-Identifier: Apache-2.0"
SOURCE = re.compile(r"\.(cpp|h|py|sh|cmake|ts|tsx|mjs|css)(\.in)?$|(^|/)CMakeLists\.txt$|^\.ci/run$")
# Tests say by their names what they hold.
SILENT = re.compile(r"^tests/")


def complaints(name, text):
    """What is missing at the head of the text of the file `name`."""
    lines = text.split("\n")
    if lines[0].startswith("#!"):
        lines = lines[1:]
    if not re.fullmatch(r"(//|#|/\*) " + re.escape(LICENSE) + r"( \*/)?", lines[0]):
        return [f"{name}: the first line is not its licence ({LICENSE})"]
    if name.endswith(".cpp") and not SILENT.match(name) and not re.match(r"// \S", lines[1]):
        return [f"{name}: the second line does not say what the file holds"]
    return []


def main(names):
    if not names:
        known = subprocess.run(["git", "ls-files"], check=True, capture_output=True, text=True)
        names = [name for name in known.stdout.splitlines() if SOURCE.search(name)]
        if not names:
            sys.exit("no sources found")
    found = []
    for name in names:
        with open(name, encoding="utf-8") as file:
            found += complaints(name, file.read())
    print("\n".join(found) or f"{len(names)} sources begin as they should")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
