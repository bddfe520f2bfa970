# SPDX-License-Identifier: Apache-2.0
"""The programs that are measured, each pushing to the sink once an interval."""

import os
import pathlib
import re
import signal
import subprocess

from harness.daemon import UUID, Daemon as DaemonFiles
from harness.device import Device
from harness.process import environment
from harness.wire import pin_of
from sink import Sink

# The daemon's own rhythm: a heartbeat after 19 passes of 5 seconds.
INTERVAL = 95
UNIT_FILE = (pathlib.Path(__file__).resolve().parent.parent.parent / "cmake"
             / "cloudclient.service.in")
PLAIN = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C.UTF-8", "TZ": "CET-1"}


class Program:
    """Started by `start`, which is followed by `stop`; pushes to a server of its own."""

    name = ""
    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.folder.mkdir(parents=True)
        self.sink = Sink(self.folder)
        self._child = None
        self._log = None

    @property
    def pid(self):
        return self._child.pid

    def push(self, name):
        """Whether a request of this name is the one that comes once an interval."""
        return name.startswith(("POST ", "PUT "))

    def command(self):
        raise NotImplementedError

    def prepare(self):
        """What has to be there before each start."""

    def variables(self):
        return {}

    def start(self, faketime=None):
        """Starts the program; with `faketime` under that clock."""
        self.prepare()
        env = environment(faketime) if faketime else dict(PLAIN)
        env.update(self.variables())
        command = [str(word) for word in self.command()]
        self._log = open(self.folder / "log", "wb")
        self._child = subprocess.Popen(command, env=env, cwd=self.folder, stdin=subprocess.DEVNULL,
                                       stdout=self._log, stderr=self._log)

    def alive(self):
        if self._child.poll() is not None:
            raise SystemExit(f"footprint: {self.name} ended with status {self._child.returncode}\n"
                             + (self.folder / "log").read_text(errors="replace")[-2000:])

    def stop(self, hard=False):
        """Ends the program, `hard` without asking."""
        if self._child.poll() is None:
            self._child.send_signal(signal.SIGKILL if hard else signal.SIGTERM)
            try:
                self._child.wait(70)
            except subprocess.TimeoutExpired:
                self._child.kill()
                self._child.wait()
        self._log.close()


class NullDaemon(Program):
    name = "null daemon"

    def __init__(self, folder, program):
        super().__init__(folder)
        self._program = os.path.abspath(program)

    def command(self):
        return [self._program, self.sink.url + "/null", INTERVAL]


class Daemon(Program):
    name = "cloudclient"

    def __init__(self, folder, programs):
        super().__init__(folder)
        root = self.folder / "root"
        self._files = DaemonFiles(pathlib.Path(programs).resolve(), self.folder, root)
        self.device = Device(root)
        self._program = os.path.abspath(pathlib.Path(programs) / "app" / "cloudclient")

    def push(self, name):
        return name == f"POST /hb/{UUID}"

    def prepare(self):
        self._files.configure(Url=self.sink.url, XAuthToken="", Chassis={})

    def command(self):
        return [self._program]

    def variables(self):
        return {"CLOUDCLIENT_ROOT": str(self._files.root)}

    def works(self, hour):
        """What an hour brings: a change of value, and an alarm that comes or goes."""
        self.device.sets(1201, str(20 + hour % 7))
        (self.device.raises if hour % 2 == 0 else self.device.clears)(4711, hour // 2 % 2)

    def failures(self):
        """Messages of failures since the start."""
        return len(re.findall(r"(?m)^\S+ 3 ", (self.folder / "log").read_text(errors="replace")))


class HardenedDaemon(Daemon):
    """With the policy's preset; the certificate of the server is its own, and pinned."""

    name = "cloudclient, hardened"

    def prepare(self):
        super().prepare()
        pin = pin_of((self.folder / "server.pem").read_text())
        self._files.write("policy.json", {"Preset": "hardened",
                                          "Transport": {"PinnedPublicKey": pin}})


class DaemonOfUnitFile(Daemon):
    """With the variables that the installed unit file gives it."""

    name = "cloudclient by its unit file"

    def variables(self):
        given = re.findall(r"(?m)^Environment=(\w+)=(.*)$", UNIT_FILE.read_text())
        return {**super().variables(), **dict(given)}
