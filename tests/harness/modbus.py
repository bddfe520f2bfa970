# SPDX-License-Identifier: Apache-2.0
"""Units of Modbus behind a TCP port or on a serial line."""

import contextlib
import json
import os
import pathlib
import pty
import select
import signal
import socket
import struct
import sys
import threading
import tty

from .process import Process
from .waiting import DEADLINE

SERVER = pathlib.Path(__file__).with_name("modbus_server.py")


def words(kind, number):
    """The two registers of a number, high word first: "f" a float, "i" and "I" integers."""
    return list(struct.unpack(">HH", struct.pack(f">{kind}", number)))


def free_port():
    with socket.socket() as link:
        link.bind(("127.0.0.1", 0))
        return link.getsockname()[1]


class Units(Process):
    def __init__(self, folder):
        super().__init__("modbus", folder)
        self._file = folder / "registers.json"
        self._units = {}
        self.port = free_port()
        self.address = f"127.0.0.1:{self.port}"

    def has(self, unit, table, **elements):
        """Elements by their numbers: r10=17."""
        self._units.setdefault(str(unit), {}).setdefault(table, {}).update(
            {name[1:]: value for name, value in elements.items()})
        new = self._file.with_suffix(".new")
        new.write_text(json.dumps(self._units))
        os.replace(new, self._file)

    @property
    def requests(self):
        """What was asked for and answered: "unit table address count"."""
        path = self._file.with_suffix(".requests")
        return path.read_text().splitlines() if path.exists() else []

    def start(self, line=""):
        way = ["rtu", line] if line else ["tcp", str(self.port)]
        self.launch([sys.executable, SERVER, self._file, *way],
                    {"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8"})
        if not line:
            self.wait_until(self._listens, "its port")
        return self

    def _listens(self):
        with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", self.port)):
            return True
        return False

    def close(self):
        """pymodbus's server ends by the signal, without a word."""
        if self.running:
            self.signal(signal.SIGKILL)
            self.ends(-signal.SIGKILL)


class Cable:
    """A serial line with two ends, each the path of a device."""

    def __init__(self):
        self._ends = [pty.openpty(), pty.openpty()]
        for _, end in self._ends:
            tty.setraw(end)
        self.paths = [os.ttyname(end) for _, end in self._ends]
        self._stop, self._stopped = os.pipe()
        self._carrier = threading.Thread(target=self._carry)
        self._carrier.start()

    def _carry(self):
        masters = [master for master, _ in self._ends]
        while True:
            ready, _, _ = select.select([*masters, self._stop], [], [])
            if self._stop in ready:
                return
            for place, master in enumerate(masters):
                if master in ready:
                    os.write(masters[1 - place], os.read(master, 4096))

    def close(self):
        os.close(self._stopped)
        self._carrier.join(DEADLINE)
        for fd in (self._stop, *(fd for end in self._ends for fd in end)):
            os.close(fd)
