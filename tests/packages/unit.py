# SPDX-License-Identifier: Apache-2.0
"""A unit of systemd as a package installs it, started as the unit says although no systemd runs."""

import json
import pathlib
import re
import signal
import socket
import subprocess

from harness.waiting import DEADLINE, wait_until

_SANDBOXED = pathlib.Path(__file__).with_name("sandboxed.py")


def settings_of(text):
    """The settings of each section, each with all that it is given, in order."""
    sections, settings = {}, {}
    for line in text.splitlines():
        heading = re.fullmatch(r"\[(\w+)\]", line)
        if heading:
            settings = sections.setdefault(heading.group(1), {})
        elif "=" in line and not line.startswith("#"):
            name, value = line.split("=", 1)
            settings.setdefault(name, []).append(value)
    return sections


class Unit:
    def __init__(self, root, name, folder):
        self._root = root
        self.name = name
        self.path = f"/lib/systemd/system/{name}.service"
        self._folder = folder
        self._starts = 0
        self._process = None
        self._notified = None

    @property
    def service(self):
        return settings_of((self._root.path / self.path.lstrip("/")).read_text())["Service"]

    # Life

    def _directory(self, kind, above, owner):
        """Makes the directory that the unit's manager makes, and returns its path."""
        (name,), (mode,) = self.service[f"{kind}Directory"], self.service[f"{kind}DirectoryMode"]
        path = f"{above}/{name}"
        self._root.run("install", "-d", "-m", mode, "-o", owner, "-g", owner, path)
        return path

    def start(self):
        """Starts the unit and waits until it says that it is ready."""
        service = self.service
        (owner,) = service["User"]
        writable = [self._directory("State", "/var/lib", owner),
                    *" ".join(service.get("ReadWritePaths", [])).split()]
        if "RuntimeDirectory" in service:
            writable.append(self._directory("Runtime", "/run", owner))
        self._listen()
        settings = {
            "root": str(self._root.inside), "command": service["ExecStart"][-1].split(),
            "uid": int(self._root.run("id", "-u", owner)),
            "gid": int(self._root.run("id", "-g", owner)),
            "writable": writable, "unit": service,
            "environment": {"PATH": "/usr/bin:/bin", "LANG": "C.UTF-8", "USER": owner,
                            "NOTIFY_SOCKET": "/run/notify",
                            **dict(text.split("=", 1) for text in service.get("Environment", []))}}
        self._starts += 1
        with open(self._log(), "wb") as log:
            self._process = subprocess.Popen(
                [*self._root.enter(), "unshare", "--mount", "--ipc", "--uts",
                 "/usr/bin/python3", "-B", _SANDBOXED, json.dumps(settings)],
                stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        wait_until(lambda: "READY=1" in self._told(),
                   lambda: f"{self.name} to be ready:\n{self.log()}", alive=self._must_run)

    def stop(self):
        self._must_run()
        self._process.send_signal(signal.SIGTERM)
        status = self._process.wait(DEADLINE)
        assert status == 0, f"{self.name} ended with {status}:\n{self.log()}"

    def close(self):
        if self._process is not None and self._process.poll() is None:
            self._process.kill()
            self._process.wait()
        if self._notified is not None:
            self._notified.close()

    def _must_run(self):
        assert self._process.poll() is None, (
            f"{self.name} ended with {self._process.returncode}:\n{self.log()}")

    # What it says

    def _listen(self):
        """Takes what the unit tells its manager."""
        path = self._root.path / "run" / "notify"
        path.unlink(missing_ok=True)
        if self._notified is not None:
            self._notified.close()
        self._notified = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_NONBLOCK)
        self._notified.bind(str(path))
        path.chmod(0o777)

    def _told(self):
        try:
            return self._notified.recv(4096).decode()
        except BlockingIOError:
            return ""

    def _log(self):
        return self._folder / f"{self.name}.{self._starts}.log"

    def log(self):
        """What it wrote since its last start."""
        return self._log().read_text(errors="replace")

    def logs(self, text):
        wait_until(lambda: text in self.log(), lambda: f"{text!r} in the log:\n{self.log()}",
                   alive=self._must_run)

    def process_status(self, key):
        """What the system says of the process."""
        text = pathlib.Path(f"/proc/{self._process.pid}/status").read_text()
        return re.search(rf"(?m)^{key}:\s+(.*)$", text).group(1)
