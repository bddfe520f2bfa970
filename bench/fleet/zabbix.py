# SPDX-License-Identifier: Apache-2.0
"""The Zabbix server that Debian packages, on PostgreSQL, with items that take what is sent to them.

Its packages are unpacked into a folder of the cache; nothing is installed.
"""

import concurrent.futures
import contextlib
import gzip
import json
import random
import re
import socket
import struct
import subprocess
import time

from harness.process import Process
from harness.unpacked import TRIPLET, unpack, version

PACKAGES = ("zabbix-server-pgsql", "zabbix-agent")
HOST = "fleet"
ITEMS = 200
_DATABASE = "zabbix"
_FIRST_HOST, _FIRST_ITEM = 90001, 900001
_PROTOCOL = b"ZBXD\x01"
_PROCESSED = re.compile(r"processed: (\d+); failed: (\d+)")
# Items that are sent to: type 2. Their values are numbers: value_type 0.
_ITEMS = f"""
UPDATE hosts SET status = 1 WHERE status = 0;
INSERT INTO hosts (hostid, host, name, status) VALUES ({_FIRST_HOST}, '{HOST}', '{HOST}', 0);
INSERT INTO items (itemid, type, hostid, name, key_, value_type, history, trends)
  SELECT {_FIRST_ITEM} + n, 2, {_FIRST_HOST}, 'value ' || n, 'value.' || n, 0, '90d', '365d'
  FROM generate_series(0, {ITEMS} - 1) AS n;
INSERT INTO item_rtdata (itemid)
  SELECT {_FIRST_ITEM} + n FROM generate_series(0, {ITEMS} - 1) AS n;
"""


def _free_port():
    """One that Zabbix takes: those that the system gives are above its highest."""
    while True:
        port = random.randrange(10000, 32767)
        with contextlib.suppress(OSError), socket.create_server(("127.0.0.1", port)):
            return port


def _key(turn):
    return f"value.{turn % ITEMS}"


def _number(turn):
    return f"{15 + turn // 9 % 20}.{turn % 9 + 1}"


class Zabbix(Process):
    def __init__(self, folder, cluster, cache):
        folder.mkdir()
        super().__init__("zabbix_server", folder)
        self._cluster = cluster
        self._tree = unpack(cache, PACKAGES)
        self._libraries = {"LD_LIBRARY_PATH": str(self._tree / "usr/lib" / TRIPLET)}
        self.title = f"Zabbix {version(self._tree, 'zabbix-server-pgsql')}"
        self.port = 0

    @property
    def pids(self):
        return [self.pid, self._cluster.pid]

    def start(self):
        self._cluster.start()
        self._cluster.sql(f"CREATE DATABASE {_DATABASE}")
        for name in ("schema", "images", "data"):
            file = self._tree / f"usr/share/zabbix-server-pgsql/{name}.sql.gz"
            # Waiting for the disk after each of the thousands of statements would take a minute.
            self._cluster.sql("SET synchronous_commit = off;\n"
                              + gzip.decompress(file.read_bytes()).decode(), _DATABASE)
        self._cluster.sql(_ITEMS, _DATABASE)
        self.port = _free_port()
        config = self._folder / "zabbix_server.conf"
        config.write_text(
            f"AllowRoot=1\nListenIP=127.0.0.1\nListenPort={self.port}\nLogType=console\n"
            f"PidFile={self._folder}/pid\nSocketDir={self._folder}\n"
            f"DBHost={self._cluster.folder}\nDBName={_DATABASE}\nDBUser=postgres\n")
        self.launch([self._tree / "usr/sbin/zabbix_server", "-f", "-c", config],
                    {"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8", **self._libraries})
        self.wait_until(self._takes, "a value that is taken")

    def _takes(self):
        """Whether it knows its items by now."""
        try:
            return self.send_one(0)
        except OSError:
            return False

    def send_one(self, turn):
        """One value over a connection of its own; whether it was taken."""
        body = json.dumps({"request": "sender data", "data": [
            {"host": HOST, "key": _key(turn), "value": _number(turn)}]}).encode()
        with socket.create_connection(("127.0.0.1", self.port), timeout=60) as link:
            link.sendall(_PROTOCOL + struct.pack("<Q", len(body)) + body)
            answer = b""
            while piece := link.recv(65536):
                answer += piece
        found = _PROCESSED.search(answer[13:].decode())
        return found is not None and found.groups() == ("1", "0")

    def send_singly(self, connections, seconds):
        """As fast as possible over so many connections at once; how many values were taken."""
        end = time.monotonic() + seconds

        def send(first):
            taken, turn = 0, first
            while time.monotonic() < end:
                taken += self.send_one(turn)
                turn += connections
            return taken
        with concurrent.futures.ThreadPoolExecutor(connections) as threads:
            return sum(threads.map(send, range(connections)))

    def send_together(self, count):
        """By its own sender, which puts 250 values into a connection."""
        lines = "".join(f"{HOST} {_key(turn)} {_number(turn)}\n" for turn in range(count))
        ended = subprocess.run(
            [self._tree / "usr/bin/zabbix_sender", "-z", "127.0.0.1", "-p", str(self.port),
             "-i", "-"], input=lines, env=self._libraries, capture_output=True, text=True,
            check=False)
        taken = sum(int(processed) for processed, _ in _PROCESSED.findall(ended.stdout))
        if taken != count:
            raise RuntimeError(f"zabbix_sender: {ended.stdout[-300:]}{ended.stderr[-300:]}")

    def stored(self):
        """How many values can be read back."""
        return int(self._cluster.sql("SELECT count(*) FROM history", _DATABASE)[0])

    def wait_for(self, count):
        def there():
            time.sleep(0.2)  # asking is work of the database too
            return self.stored() >= count
        self.wait_until(there, f"{count} values in the database")
