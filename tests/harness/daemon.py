# SPDX-License-Identifier: Apache-2.0
"""The daemon: its configuration files, its life, its log."""

import contextlib
import datetime
import fcntl
import json
import os
import re
import ssl
import time
import urllib.parse
from collections import namedtuple

from .process import Process, clock, environment
from .wire import pin_of

UUID = "6d7a7c3e-5a54-4a0e-9d0b-6f1c2a3b4c5d"
EMAIL = "keeper+plant&2@example.org"
KEY = "key-4711"
NAME = "Hall 3 north"

Entry = namedtuple("Entry", "time level unit text")
_LINE = re.compile(r"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d{4}) ([3-7]) (\S+) (.*)")


class Daemon(Process):
    def __init__(self, programs, folder, root, emulator=(), clock_library=""):
        super().__init__("cloudclient", folder)
        self._command = [*emulator, programs / "app" / "cloudclient"]
        self._clock_library = clock_library
        self._clock = None
        self._began = 0.0
        self.root = root
        self._etc = root / "etc" / "cloudclient"
        self._etc.mkdir(parents=True)
        self.write("sysinfo.json", {"SysName": NAME})
        self.write("cloud.json", {
            "Enabled": True, "Url": "", "UserEmail": EMAIL, "RegistrationKey": KEY,
            "UnitName": NAME, "UUID": UUID, "XAuthToken": "", "Chassis": {}})

    # Configuration files

    def path(self, name):
        return self._etc / name

    def write(self, name, content):
        """Replaces a configuration file as a whole, as every writer of it does."""
        text = content if isinstance(content, str) else json.dumps(content, indent=2) + "\n"
        new = self._etc / f".{name}.new"
        new.write_text(text)
        new.chmod(0o600)
        os.replace(new, self._etc / name)

    def config(self):
        return json.loads(self.path("cloud.json").read_text())

    def configure(self, **values):
        """Changes values as a second program does that shares the file with the daemon. That does
        not see the change before the lock is free: it waits for it for 5 seconds of its clock."""
        with contextlib.ExitStack() as ends:
            with open(self._etc / "cloud.json.lock", "a") as lock:
                fcntl.flock(lock, fcntl.LOCK_EX)
                ends.enter_context(self.held())
                self.write("cloud.json", {**self.config(), **values})

    def enable(self):
        self.configure(Enabled=True)

    def disable(self):
        self.configure(Enabled=False)

    def rename(self, name):
        self.write("sysinfo.json", {"SysName": name})

    @property
    def began(self):
        """When it was started, by time.monotonic()."""
        return self._began

    @property
    def token(self):
        return self.config()["XAuthToken"]

    @property
    def chassis(self):
        return list(self.config()["Chassis"])

    # Life

    def start(self, faketime=None, largest_file=None, errors=None, **extra):
        self._clock = faketime or clock()
        env = environment(self._clock)
        if self._clock_library:
            env["LD_PRELOAD"] = os.path.abspath(self._clock_library)
        env.update({"CLOUDCLIENT_ROOT": str(self.root), "CLOUDCLIENT_LOG_LEVEL": "7", **extra})
        self.launch(self._command, env, largest_file, errors)
        self._began = time.monotonic()

    def stop_in_real_time(self):
        """The daemon gives its stop 60 seconds of its clock, which has to be one that can be moved.
        What a stop waits for, a request that is under way, takes real time, the more the busier the
        machine is."""
        self._clock.slow_to(1, self._began)
        self.stop()

    # Log

    def entries(self):
        """The log of the present start; every line of it has the form of the log."""
        entries = []
        for line in self.error_text().splitlines(keepends=True):
            if not line.endswith("\n"):
                break  # being written
            match = _LINE.fullmatch(line.rstrip("\n"))
            assert match, f"a line that is none of the log's: {line!r}"
            moment, level, unit, text = match.groups()
            entries.append(Entry(datetime.datetime.strptime(moment, "%Y-%m-%dT%H:%M:%S.%f%z"),
                                 int(level), unit, text))
        return entries

    def until_midnight(self):
        """Seconds to local midnight, as the time of its last message tells."""
        now = self.entries()[-1].time
        midnight = datetime.datetime.combine(now.date(), datetime.time(), now.tzinfo)
        return 86400 - (now - midnight).total_seconds()

    def logged(self, text):
        return [e for e in self.entries() if text in e.text]

    def logs(self, text, times=1):
        """Waits until `text` was logged `times` times, and returns these entries."""
        def seen():
            found = self.logged(text)
            return found if len(found) >= times else None
        return self.wait_until(seen, f"log line {text!r}, {times} times")


class HardenedDaemon(Daemon):
    """With the preset, and the key of the service that it finds when it starts. Its deadlines are
    longer: under an accelerated clock the service's disk would have a fraction of a second."""

    _DEADLINES = {"ConnectTimeoutSeconds": 600, "RequestTimeoutSeconds": 600, "StallSeconds": 600}

    def start(self, *arguments, **more):
        pins = self._pins()
        self.write("policy.json", {"Preset": "hardened", "Transport": {
            **self._DEADLINES, **({"PinnedPublicKey": pins} if pins else {})}})
        super().start(*arguments, **more)

    def _pins(self):
        try:
            url = urllib.parse.urlsplit(self.config()["Url"])
            if url.scheme != "https":
                return []
            return [pin_of(ssl.get_server_certificate((url.hostname, url.port), timeout=5))]
        except (OSError, ValueError, KeyError, TypeError):
            return []  # a service that is not there, or a file that is none
