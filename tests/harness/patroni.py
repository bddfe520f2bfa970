# SPDX-License-Identifier: Apache-2.0
"""Two PostgreSQL servers that Debian's Patroni keeps, and a third voter, with docs/patroni.yml."""

import contextlib
import http.client
import json
import os
import pathlib
import pwd
import signal

from .modbus import free_port
from .postgresql import BINARIES
from .process import Process

CONFIGURATION = pathlib.Path(__file__).resolve().parents[2] / "docs" / "patroni.yml"
ENVIRONMENT = {"PATH": f"/usr/bin:/bin:{BINARIES}", "LC_ALL": "C.UTF-8"}


def own_folder(folder):
    """Makes it where it is missing, and gives it to who runs the server."""
    folder.mkdir(mode=0o700, exist_ok=True)
    if os.geteuid() == 0:
        entry = pwd.getpwnam("postgres")
        os.chown(folder, entry.pw_uid, entry.pw_gid)
    return folder


def as_the_servers_user():
    """What begins a command line, so that it ends with the tests: the server refuses root."""
    if os.geteuid() != 0:
        return []
    entry = pwd.getpwnam("postgres")
    return ["/usr/bin/setpriv", f"--reuid={entry.pw_uid}", f"--regid={entry.pw_gid}",
            "--clear-groups", "--pdeathsig=KILL"]


class Member(Process):
    """One of the two servers with its Patroni, which ends it too when it is stopped; or the voter."""

    def __init__(self, name, folder, program):
        super().__init__(name, folder)
        self.port = free_port()
        self._program = program
        self._rest = free_port()
        self.raft = f"127.0.0.1:{free_port()}"
        self._home = own_folder(folder / name)
        self._data = self._home / "data"

    def configure(self, others):
        """The file as the document has it, with names, addresses and folders of its own."""
        text = CONFIGURATION.read_text(encoding="utf-8")
        for of_document, here in (
                ("name: db1", f"name: {self.name}"),
                ("self_addr: 10.0.0.8:7300", f"self_addr: {self.raft}"),
                ('["10.0.0.9:7300", "10.0.0.4:7300"]', json.dumps([one.raft for one in others])),
                ("10.0.0.8:8008", f"127.0.0.1:{self._rest}"),
                ("10.0.0.8:5432", f"127.0.0.1:{self.port}"),
                ("10.0.0.0/24", "127.0.0.0/8"),
                ("/var/lib/postgresql/raft", str(self._home / "raft")),
                ("/var/lib/postgresql/15/patroni", str(self._data))):
            assert of_document in text, of_document
            text = text.replace(of_document, here)
        text += f"  parameters: {{unix_socket_directories: '{self._home}'}}\n"
        if self._program == "patroni_raft_controller":
            text = text[text.index("raft:"):text.index("restapi:")]
        self._file().write_text(text, encoding="utf-8")

    def _file(self):
        return self._home / "config.yml"

    def start(self):
        self.launch([*as_the_servers_user(), f"/usr/bin/{self._program}", self._file()],
                    {**ENVIRONMENT, "HOME": str(self._home)})

    def state(self):
        """What Patroni says of the server; nothing while it does not answer."""
        with contextlib.suppress(OSError, http.client.HTTPException, ValueError), \
                contextlib.closing(http.client.HTTPConnection("127.0.0.1", self._rest,
                                                              timeout=60)) as link:
            link.request("GET", "/patroni")
            return json.loads(link.getresponse().read())
        return {}

    def is_primary(self):
        return self.state().get("role") == "master"

    def follows(self):
        """Whether it is the standby on whose disk each answered commit is."""
        return self.state().get("sync_standby", False)

    def crash(self):
        """The machine with both goes away."""
        server = int((self._data / "postmaster.pid").read_text().split()[0])
        super().crash()
        with contextlib.suppress(ProcessLookupError):
            os.kill(server, signal.SIGKILL)


class Patroni:
    def __init__(self, folder, under_watch):
        self.folder = own_folder(folder)
        self.one, self.two = (Member(name, self.folder, "patroni") for name in ("db1", "db2"))
        self.voter = Member("voter", self.folder, "patroni_raft_controller")
        members = (self.one, self.two, self.voter)
        for member in members:
            member.configure([other for other in members if other is not member])
            under_watch(member)
        self._password = self.folder / "pgpass"
        self._password.write_text("*:*:*:postgres:CHANGE-superuser\n", encoding="ascii")
        self._password.chmod(0o600)

    def start(self):
        """The first is the primary, the second its standby."""
        self.voter.start()
        self.one.start()
        self.one.wait_until(self.one.is_primary, "the primary")
        self.two.start()
        self.two.wait_until(self.two.follows, "the standby")
        return self

    def url(self):
        return (f"postgresql://postgres@127.0.0.1:{self.one.port},127.0.0.1:{self.two.port}/postgres"
                f"?passfile={self._password}&connect_timeout=0")
