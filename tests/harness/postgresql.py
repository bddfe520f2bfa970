#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""A PostgreSQL server of the tests' own: in a temporary folder, on a socket, without a network.

  postgresql.py begin FILE      starts one, and writes its URL to FILE; it ends with the caller's
                                parent (ctest), or before
  postgresql.py end FILE        ends it, and removes its folder
  postgresql.py run COMMAND...  runs a command beside one; CLOUDSERVICE_POSTGRESQL names the file

Its default order of texts is that of English, not that of bytes, so that a column which leaves the
order to the database shows in a test.
"""

import contextlib
import itertools
import os
import pathlib
import pwd
import select
import shutil
import signal
import subprocess
import sys
import tempfile

VARIABLE = "CLOUDSERVICE_POSTGRESQL"
BINARIES = "/usr/lib/postgresql/15/bin"
_NUMBERS = itertools.count(1)
# Nothing of it has to outlive the machine's power.
SETTINGS = """
listen_addresses = ''
unix_socket_directories = '{folder}'
max_connections = 300
shared_buffers = 64MB
fsync = off
full_page_writes = off
wal_retrieve_retry_interval = 100ms
logging_collector = off
lc_messages = 'C'
"""


def user():
    """Who runs the server: it refuses root, for whom Debian's user of the server stands in."""
    if os.geteuid() != 0:
        return {}
    entry = pwd.getpwnam("postgres")
    return {"user": entry.pw_uid, "group": entry.pw_gid, "extra_groups": []}


class Cluster:
    """Started with `start`, or by `with`; each start after a stop finds the data again."""

    def __init__(self, primary=None):
        """An empty one, or a standby of another one that runs."""
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="postgresql-", dir="/tmp"))
        if os.geteuid() == 0:
            entry = pwd.getpwnam("postgres")
            os.chown(self.folder, entry.pw_uid, entry.pw_gid)
        self._data = self.folder / "data"
        if primary:
            self._call("pg_basebackup", "--write-recovery-conf", "--no-sync", "--checkpoint=fast",
                       "--dbname", primary.url() + "&application_name=standby", "-D", self._data)
        else:
            self._make()
        with open(self._data / "postgresql.conf", "a", encoding="utf-8") as settings:
            settings.write(SETTINGS.format(folder=self.folder))

    def _make(self):
        self._call("initdb", "--no-sync", "--no-instructions", "--auth=trust", "--encoding=UTF8",
                   "--username=postgres", "--locale=C.UTF-8", "--locale-provider=icu",
                   "--icu-locale=en", "-D", self._data)

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *exception):
        self.remove()

    def _call(self, program, *arguments):
        # Standard output goes to a file: the server would keep a pipe open.
        with open(self.folder / f"{program}.out", "ab") as out:
            done = subprocess.run([f"{BINARIES}/{program}", *map(str, arguments)],
                                  stdin=subprocess.DEVNULL, stdout=out, stderr=out, cwd=self.folder,
                                  env={"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8"}, check=False,
                                  **user())
        if done.returncode != 0:
            raise RuntimeError(f"{program}: {(self.folder / f'{program}.out').read_text()}")

    def url(self):
        return f"postgresql:///postgres?host={self.folder}&user=postgres"

    def start(self):
        self._call("pg_ctl", "start", "-w", "-s", "-D", self._data, "-l", self.folder / "log")

    def stop(self, mode="immediate"):
        self._call("pg_ctl", "stop", "-w", "-s", "-m", mode, "-D", self._data)

    def execute(self, sql):
        """Statements, each by itself; what they answer."""
        done = subprocess.run([f"{BINARIES}/psql", "-qAtX", "-v", "ON_ERROR_STOP=1", self.url()],
                              input=sql, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise RuntimeError(done.stderr)
        return done.stdout.strip()

    def waits_for_standby(self):
        """From now on an answered commit is on the disk of the standby, too."""
        self.execute("ALTER SYSTEM SET synchronous_standby_names = 'standby';"
                     "SELECT pg_reload_conf();")

    def promote(self):
        """The standby becomes the server that takes changes."""
        self._call("pg_ctl", "promote", "-w", "-s", "-D", self._data)

    def check(self):
        """Looks at every page of tables and indexes; raises when one is wrong."""
        self._call("pg_amcheck", "--install-missing", "--heapallindexed", "--host", self.folder,
                   "--username", "postgres", "postgres")

    def remove(self):
        with contextlib.suppress(RuntimeError):
            self.stop()
        shutil.rmtree(self.folder, ignore_errors=True)


@contextlib.contextmanager
def server():
    """The URL of a server: of the one that the environment names, or of one that is started."""
    if VARIABLE in os.environ:
        yield pathlib.Path(os.environ[VARIABLE]).read_text(encoding="utf-8").splitlines()[0]
        return
    with Cluster() as cluster:
        yield cluster.url()


@contextlib.contextmanager
def database(url):
    """The URL of an empty database on the server, which is removed afterwards."""
    name = f"case_{os.getpid()}_{next(_NUMBERS)}"

    def call(program, *options):
        return subprocess.run(
            [f"{BINARIES}/{program}", "--maintenance-db", url, *options, name], text=True,
            stdin=subprocess.DEVNULL, capture_output=True, check=False)
    made = call("createdb")
    if made.returncode != 0:
        raise RuntimeError(made.stderr)
    try:
        # Nobody gives up a connection because the machine is busy.
        yield url.replace("///postgres?", f"///{name}?") + "&connect_timeout=0"
    finally:
        # What stays goes with the server.
        call("dropdb", "--force")


def wait_for_end(process):
    """Waits until the process, given by its descriptor, has ended."""
    poll = select.poll()
    poll.register(process, select.POLLIN)
    poll.poll()


def keep(file, parent):
    """Starts a server, says so, and ends it on SIGTERM or when the parent has ended."""
    def leave(*_):
        raise SystemExit(0)
    signal.signal(signal.SIGTERM, leave)
    with Cluster() as cluster:
        try:
            file.write_text(f"{cluster.url()}\n{os.getpid()}\n")
            print("started", flush=True)
            devnull = os.open(os.devnull, os.O_RDWR)
            for descriptor in (0, 1, 2):
                os.dup2(devnull, descriptor)
            wait_for_end(parent)
        finally:
            file.unlink(missing_ok=True)


def begin(file):
    end(file)
    parent = os.pidfd_open(os.getppid())
    keeper = subprocess.Popen([sys.executable, "-B", __file__, "keep", str(file), str(parent)],
                              pass_fds=[parent], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              start_new_session=True)
    if keeper.stdout.readline() != b"started\n":
        return f"no server: status {keeper.wait()}"
    return None


def end(file):
    """Ends the server that a former run has left, too."""
    with contextlib.suppress(FileNotFoundError, ProcessLookupError, ValueError):
        _, process = file.read_text().split()
        descriptor = os.pidfd_open(int(process))
        if b"postgresql.py" not in pathlib.Path(f"/proc/{int(process)}/cmdline").read_bytes():
            return
        signal.pidfd_send_signal(descriptor, signal.SIGTERM)
        wait_for_end(descriptor)


def main(what, *arguments):
    if what == "run":
        with Cluster() as cluster:
            file = cluster.folder / "url"
            file.write_text(cluster.url() + "\n", encoding="utf-8")
            return subprocess.run(arguments, check=False,
                                  env={**os.environ, VARIABLE: str(file)}).returncode
    file = pathlib.Path(arguments[0])
    if what == "keep":
        keep(file, int(arguments[1]))
        return 0
    return {"begin": begin, "end": end}[what](file)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
