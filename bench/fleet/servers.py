# SPDX-License-Identifier: Apache-2.0
"""What is measured: the service on either of its databases, the bare server, and the generator."""

import contextlib
import json
import os
import pathlib
import re
import shutil
import subprocess

from harness.process import Process
from harness.wire import tls_context
from postgresql import Cluster

CORES = os.cpu_count()
PLAIN = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C.UTF-8", "TZ": "CET-1"}
_READY = re.compile(r"^listening on (https?://127\.0\.0\.1:\d+)$", re.MULTILINE)


class Failed(Exception):
    """Something could not be measured; says why."""


def words(options):
    """The words of a command line: {"read_back": 5, "fresh": True} is --read-back 5 --fresh."""
    found = []
    for name, value in options.items():
        option = "--" + name.replace("_", "-")
        if value is True:
            found.append(option)
        elif value is not None and value is not False:
            values = value if isinstance(value, (list, tuple)) else [value]
            found += [option, *map(str, values)]
    return found


class Listener(Process):
    """A server that says where it listens. What it logs is kept until it has ended well."""

    def __init__(self, name, folder, pids=()):
        super().__init__(name, folder)
        self._more_pids = list(pids)
        self.url = ""

    @property
    def pids(self):
        """Its processes, the database's included; their descendants count with them."""
        return [self.pid, *self._more_pids]

    def start(self, *argv):
        self.launch(argv, PLAIN)
        self.url = self.wait_until(lambda: _READY.search(self.output()), "that it listens").group(1)
        return self

    def close(self):
        """Ends it; Failed with the end of its log when it ends otherwise than it should."""
        try:
            super().close()
        except AssertionError as problem:
            raise Failed("\n  ".join([f"{problem}; its log:", *self._last_lines(20)])) from problem
        for log in self._folder.glob(f"{self.name}.*.err"):
            log.unlink()

    def _last_lines(self, most):
        with open(self._path("err"), "rb") as log:
            log.seek(max(0, log.seek(0, os.SEEK_END) - 200 * most))
            return log.read().decode("utf-8", "replace").splitlines()[-most:]


class Programs:
    """The programs of a build folder."""

    def __init__(self, build, folder):
        build = pathlib.Path(build).resolve()
        self._service = build / "service" / "cloudservice"
        self._fleet = build / "bench" / "fleet" / "fleet"
        self._folder = folder
        self._starts = 0
        for program in (self._service, self._fleet):
            if not program.exists():
                raise SystemExit(f"fleet: {program} is not there; build the preset release")

    def fleet(self, command, **options):
        """Runs the generator; its standard output. Its status is 1 when an answer was wrong."""
        ended = subprocess.run([self._fleet, command, *words(options)], env=PLAIN,
                               capture_output=True, text=True, check=False)
        if ended.returncode != 0 and not ended.stdout.strip():
            raise Failed((ended.stderr.strip().splitlines() or ["no message"])[-1])
        return ended.stdout

    def _figures(self):
        self._starts += 1
        return self._folder / f"figures.{self._starts}.json"

    def load(self, url, **options):
        """The figures of a load (bench/fleet/Report.h)."""
        file = self._figures()
        said = self.fleet("load", url=url, json=file, **options)
        if not file.exists():
            raise Failed(said.strip())
        return json.loads(file.read_text())

    @contextlib.contextmanager
    def beside(self, url, **options):
        """A load that goes on meanwhile. Some of it has to be answered, and nothing wrongly; what
        waits longer than the generator does is the service's own affair."""
        file = self._figures()
        command = [self._fleet, "load", *words({"url": url, "json": file, **options})]
        with subprocess.Popen(command, env=PLAIN, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True) as child:
            try:
                yield
                said, _ = child.communicate(timeout=120)
            except BaseException:
                child.kill()
                raise
        kinds = json.loads(file.read_text())["kinds"].values() if file.exists() else []
        if sum(one["failed"] for one in kinds) or not sum(one["answered"] for one in kinds):
            raise Failed(said.strip())

    def usage(self, pids):
        """What the processes have taken so far, with their descendants."""
        return json.loads(self.fleet("usage", pid=list(pids)))

    def identity(self, number):
        ended = subprocess.run([self._fleet, "identity", str(number)], check=True,
                               capture_output=True, text=True)
        return json.loads(ended.stdout)

    def _certificate(self):
        """The words that give a server its certificate, the same for all."""
        if not (self._folder / "server.pem").exists():
            tls_context(self._folder)
        return ["--cert", self._folder / "server.pem", "--key", self._folder / "server.key"]

    @contextlib.contextmanager
    def service(self, database, *options, tls=False):
        """The service on a seeded database."""
        self._starts += 1
        server = Listener(f"service{self._starts}", self._folder, database.pids)
        try:
            yield server.start(self._service, "--listen", "127.0.0.1:0", "--db", database.url,
                               "--io-timeout", 3600,
                               *(self._certificate() if tls else ["--http"]), *options)
        finally:
            server.close()

    @contextlib.contextmanager
    def bare(self, tls=False):
        """The bare server."""
        self._starts += 1
        server = Listener(f"bare{self._starts}", self._folder)
        try:
            yield server.start(self._fleet, "bare", "--threads", CORES,
                               *(self._certificate() if tls else []))
        finally:
            server.close()


class Database:
    """A database that one service may change as it likes."""

    def __init__(self, url, pids=()):
        self.url = url
        self.pids = list(pids)


class Sqlite:
    title = "SQLite"

    def __init__(self, programs, folder):
        self._programs = programs
        self._folder = folder / "sqlite"
        self._folder.mkdir()
        self._seeds = {}
        self._copies = []

    def _seed(self, what):
        seed = self._folder / f"seed{len(self._seeds)}.db"
        self._programs.fleet("seed", db=seed, **dict(what))
        return seed

    def seeded(self, **what):
        """A fresh database with what "fleet seed" makes of these options."""
        key = tuple(sorted(what.items()))
        if key not in self._seeds:
            self._seeds[key] = self._seed(key)
        copy = self._folder / f"copy{len(self._copies)}.db"
        self._copies.append(copy)
        for end in ("", "-wal"):
            source = pathlib.Path(f"{self._seeds[key]}{end}")
            if source.exists():
                shutil.copyfile(source, f"{copy}{end}")
        return Database(copy)

    def forget(self):
        """Removes the databases that were handed out; no service runs on them any more."""
        for copy in self._copies:
            for file in self._folder.glob(f"{copy.name}*"):
                file.unlink()
        self._copies.clear()

    def close(self):
        pass


class PostgreSql:
    title = "PostgreSQL"

    def __init__(self, programs, folder):
        self._programs = programs
        self._cluster = Cluster(folder / "postgresql")
        self._seeds = {}
        self._copies = []

    def _seed(self, what):
        name = f"seed{len(self._seeds)}"
        self._cluster.sql(f"CREATE DATABASE {name}")
        self._programs.fleet("seed", db=self._cluster.url(name), **dict(what))
        return name

    def seeded(self, **what):
        """As Sqlite's."""
        self._cluster.start()
        key = tuple(sorted(what.items()))
        if key not in self._seeds:
            self._seeds[key] = self._seed(key)
        name = f"copy{len(self._copies)}"
        self._copies.append(name)
        self._cluster.sql(f"CREATE DATABASE {name} TEMPLATE {self._seeds[key]}")
        return Database(self._cluster.url(name), [self._cluster.pid])

    def forget(self):
        """As Sqlite's."""
        for name in self._copies:
            self._cluster.sql(f"DROP DATABASE IF EXISTS {name} WITH (FORCE)")
        self._copies.clear()

    def close(self):
        self._cluster.close()
