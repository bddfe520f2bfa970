#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that a platform library defines every operation that platform/ declares.

    operations_test.py LIBRARY

What a header leaves to derived classes (pure virtual) is not looked for: a class that lacks one
can't be made, and the library makes an object of each.
"""

import pathlib
import subprocess
import sys

from harness.platform_operations import declared

TOP = pathlib.Path(__file__).resolve().parent.parent.parent


def defined(library):
    """The symbols of a library, arguments cut off."""
    listed = subprocess.run(["nm", "--dynamic", "--defined-only", "--demangle", library],
                            check=True, capture_output=True, text=True).stdout
    return {line.split(" ", 2)[2].split("(")[0].split("[")[0] for line in listed.splitlines()}


def main(library):
    symbols = defined(library)
    wanted = [o for o in declared(TOP / "platform") if not o.pure]
    missing = [o.qualified for o in wanted if o.qualified not in symbols]
    print("\n".join(f"not defined: {name}" for name in missing)
          or f"{len(wanted)} operations are defined")
    return 1 if missing or len(wanted) < 50 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
