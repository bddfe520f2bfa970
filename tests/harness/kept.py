# SPDX-License-Identifier: Apache-2.0
"""What of a long run has passed, so that one that was broken off goes on where it was."""

import os
import pathlib


class Kept:
    """Numbers that passed, in a file of the folder CLOUDCLIENT_KEPT, if there is one."""

    def __init__(self, name):
        folder = os.environ.get("CLOUDCLIENT_KEPT")
        self._file = pathlib.Path(folder, name) if folder else None

    def numbers(self):
        if not self._file or not self._file.exists():
            return set()
        return {int(line) for line in self._file.read_text().split()}

    def add(self, number):
        if self._file:
            with open(self._file, "a", encoding="ascii") as file:
                file.write(f"{number}\n")
