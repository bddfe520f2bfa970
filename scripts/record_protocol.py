#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Records the conversation with the service anew and writes it into docs/protocol.md.

    scripts/record_protocol.py --programs build/debug
"""

import argparse
import contextlib
import pathlib
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent
DOCUMENT = TOP / "docs" / "protocol.md"
sys.path.insert(0, str(TOP / "tests"))  # the harness: see tests/harness/README.md
from harness.daemon import Daemon  # noqa: E402
from harness.device import Device  # noqa: E402
from harness.folders import case_folder  # noqa: E402
from harness.service import Service  # noqa: E402
from harness.transcript import record, with_recorded  # noqa: E402


def recorded(programs):
    with case_folder() as folder:
        root = folder / "root"
        daemon, service = Daemon(programs, folder, root), Service(programs, folder)
        with contextlib.closing(service), contextlib.closing(daemon):
            return record(daemon, Device(root), service, folder)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--programs", required=True, type=pathlib.Path,
                        help="CMake build folder with cloudclient and cloudservice")
    programs = parser.parse_args().programs.resolve()
    document = DOCUMENT.read_text(encoding="utf-8")
    new = with_recorded(document, recorded(programs))
    if new != document:
        DOCUMENT.write_text(new, encoding="utf-8")
    print(f"{DOCUMENT.relative_to(TOP)}: {'changed' if new != document else 'as it was'}")


if __name__ == "__main__":
    main()
