# SPDX-License-Identifier: Apache-2.0
"""A PostgreSQL of the bench's own: Debian's program and its defaults, in a folder, on a socket."""

import os
import pathlib
import pwd
import signal
import subprocess

from harness.process import Process

USER = "postgres"  # the server refuses root
BIN = pathlib.Path("/usr/lib/postgresql/15/bin")
_ENVIRONMENT = {"PATH": f"{BIN}:/usr/bin:/bin", "LC_ALL": "C.UTF-8", "TZ": "CET-1"}


def as_user():
    """The words before a command that make it another user's, when this process is root's. They
    change nothing else: the process that is started is the command itself."""
    if os.geteuid() != 0:
        return []
    return ["setpriv", f"--reuid={USER}", f"--regid={USER}", "--init-groups", "--pdeathsig=KILL"]


def give(folder):
    """Makes the folder that user's, and lets it through to there."""
    if os.geteuid() == 0:
        user = pwd.getpwnam(USER)
        os.chown(folder, user.pw_uid, user.pw_gid)
        folder.parent.chmod(0o711)


class Cluster(Process):
    def __init__(self, folder):
        folder.mkdir()
        give(folder)
        super().__init__("postgres", folder)
        self.folder = folder

    def start(self):
        """Starts it unless it runs, and waits until it answers."""
        if self.running:
            return
        self._run("initdb", "--auth=trust", "--encoding=UTF8", "--locale=C", "--username", USER,
                  "-D", self.folder / "data")
        self.launch([*as_user(), BIN / "postgres", "-D", self.folder / "data", "-k", self.folder,
                     "-c", "listen_addresses="], _ENVIRONMENT)
        self.wait_until(lambda: "ready to accept connections" in self.error_text(), "readiness")

    def _run(self, program, *arguments, text=None):
        ended = subprocess.run([*as_user(), BIN / program, *map(str, arguments)], input=text,
                               env=_ENVIRONMENT, cwd=self.folder, capture_output=True, text=True,
                               check=False)
        if ended.returncode != 0:
            raise RuntimeError(f"{program}: {ended.stderr.strip()}")
        return ended.stdout

    def sql(self, text, database="postgres"):
        """Runs the text; the rows of its answer, values apart by "|"."""
        return self._run("psql", "-X", "-q", "-A", "-t", "-v", "ON_ERROR_STOP=1", "-h", self.folder,
                         "-U", USER, "-d", database, text=text).splitlines()

    def url(self, database):
        return f"postgresql://{USER}@/{database}?host={self.folder}"

    def close(self):
        """Ends it and whoever is still connected."""
        if self.running:
            self.signal(signal.SIGINT)
            self.ends(0)
