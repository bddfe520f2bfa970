# SPDX-License-Identifier: Apache-2.0
"""cloudclientctl: a command, and what it says."""

import json
import subprocess

from .waiting import DEADLINE


class Ctl:
    def __init__(self, programs, root, folder):
        self.command = [programs / "ctl" / "cloudclientctl"]
        self._folder = folder
        self.root = root
        self.environment = {"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8",
                            "CLOUDCLIENT_ROOT": str(root)}

    def run(self, *arguments, stdout=subprocess.PIPE, stdin=b"", before=None):
        """`before` is called in the process that becomes the program."""
        return subprocess.run(
            [*self.command, *arguments], input=stdin, stdout=stdout,
            stderr=subprocess.PIPE, cwd=self._folder, timeout=DEADLINE,
            env=self.environment, preexec_fn=before)

    def does(self, *arguments, stdin=b""):
        """What it writes when all is well."""
        ended = self.run(*arguments, stdin=stdin)
        assert (ended.returncode, ended.stderr) == (0, b"")
        return ended.stdout.decode()

    def at(self, terminal, *arguments):
        """What it writes when all is well and its input is a terminal."""
        ended = subprocess.run([*self.command, *arguments], stdin=terminal, capture_output=True,
                               cwd=self._folder, timeout=DEADLINE, env=self.environment)
        assert (ended.returncode, ended.stderr) == (0, b"")
        return ended.stdout.decode()

    def tells(self, *arguments):
        return json.loads(self.does("--json", *arguments))

    def refuses(self, status, *arguments, stdin=b""):
        """The one line that says why, without the program's name."""
        ended = self.run(*arguments, stdin=stdin)
        assert (ended.returncode, ended.stdout) == (status, b""), ended.stderr
        (line,) = ended.stderr.decode().splitlines()
        assert line.startswith("cloudclientctl: ")
        return line[len("cloudclientctl: "):]
