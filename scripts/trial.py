#!/usr/bin/env python3
"""Lets cloudservice and cloudclient talk to each other and tells what happens.

Called by ./run.sh, which builds the programs. Works in build/run, which it makes anew.
"""

import argparse
import glob
import http.client
import json
import os
import pathlib
import re
import shutil
import signal
import ssl
import subprocess
import sys
import time
import urllib.parse

TOP = pathlib.Path(__file__).resolve().parent.parent
PROGRAMS = TOP / "build" / "release"
RUN = TOP / "build" / "run"
ROOT = RUN / "root"
EXAMPLE = TOP / "examples" / "cooling-unit"
CLOUD_JSON = ROOT / "etc" / "cloudclient" / "cloud.json"
EMAIL = "keeper@example.org"
KEY = "trial-key"
ACCELERATED = "+0 x50"
# Real seconds: until the service listens, until the second heartbeat, until a program has ended.
START, ONCE, END = 30, 120, 70


class Failed(Exception):
    """The reason why the trial can't go on."""


def shown(path):
    return path.relative_to(TOP)


def say(text):
    print(text, flush=True)


def prepare():
    """The daemon's root folder: the example device, and a configuration without a service yet."""
    if RUN.exists():
        shutil.rmtree(RUN)
    etc = CLOUD_JSON.parent
    data = ROOT / "var/local/orv/pldserver/0"
    for folder in (etc, data, ROOT / "run" / "cloudclient"):
        folder.mkdir(parents=True)
    shutil.copy(EXAMPLE / "device.json", etc)
    for name in ("cloudchassis.txt", "covpatchmap.txt"):
        shutil.copy(EXAMPLE / name, data)
    shutil.copytree(EXAMPLE / "patch", data / "patch")
    (etc / "sysinfo.json").write_text(json.dumps({"SysName": "Hall 3 north"}) + "\n")


def configure(url):
    CLOUD_JSON.write_text(json.dumps({
        "Enabled": True, "Url": url, "UserEmail": EMAIL, "RegistrationKey": KEY,
        "UnitName": "", "UUID": "", "XAuthToken": "", "Chassis": {}}, indent=2) + "\n")
    CLOUD_JSON.chmod(0o600)


def environment(once, **extra):
    proxies = ("http_proxy", "https_proxy", "all_proxy")
    env = {k: v for k, v in os.environ.items() if k.lower() not in proxies}
    if once:
        clock = glob.glob("/usr/lib/*/faketime/libfaketimeMT.so.1")
        if not clock:
            raise Failed("the package faketime is not installed")
        env.update(LD_PRELOAD=clock[0], FAKETIME=ACCELERATED)
    env.update(extra)
    return env


class Program:
    """A program in a session of its own, so that Ctrl-C reaches this script alone."""

    def __init__(self, path, *options, env):
        self.name = path.name
        self.log = RUN / f"{self.name}.log"
        self._told = 0
        if not path.exists():
            raise Failed(f"{shown(path)} was not built")
        with open(self.log, "wb") as log:
            self._child = subprocess.Popen(
                [str(path), *map(str, options)], env=env, stdin=subprocess.DEVNULL,
                stdout=subprocess.PIPE, stderr=log, start_new_session=True)

    @property
    def output(self):
        return self._child.stdout

    def must_run(self):
        if self._child.poll() is not None:
            lines = self.log.read_text(errors="replace").splitlines()[-10:]
            raise Failed("\n".join([
                f"{self.name} ended with status {self._child.returncode}. The end of its log:",
                *lines]))

    def news(self):
        """The lines that its log has gained."""
        with open(self.log, "rb") as log:
            log.seek(self._told)
            whole = log.read().rpartition(b"\n")
        self._told += len(whole[0] + whole[1])
        return whole[0].decode(errors="replace").splitlines()

    def stop(self):
        if self._child.poll() is None:
            self._child.terminate()
        try:
            return self._child.wait(END)
        except subprocess.TimeoutExpired:
            self._child.kill()
            return self._child.wait()


class Service(Program):
    """cloudservice, and what it holds."""

    def __init__(self, once):
        super().__init__(PROGRAMS / "service" / "cloudservice", "--listen", "127.0.0.1:0",
                         "--db", RUN / "service.db", "--email", EMAIL, "--registration-key", KEY,
                         env=environment(once))
        os.set_blocking(self.output.fileno(), False)
        self.url = self._listening()
        if self.get("/redfish/v1") is None:
            raise Failed(f"{self.url} does not answer as a service")

    def _listening(self):
        end = time.monotonic() + START
        said = b""
        while time.monotonic() < end:
            said += self.output.read() or b""
            match = re.search(rb"^listening on (\S+)\n", said, re.MULTILINE)
            if match:
                return match.group(1).decode()
            self.must_run()
            time.sleep(0.05)
        raise Failed(f"{self.name} did not say within {START} s that it listens")

    def get(self, path):
        """A document of the service's, asked for with the daemon's token, or None."""
        where = urllib.parse.urlsplit(self.url)
        context = ssl.create_default_context()
        context.check_hostname = False
        context.verify_mode = ssl.CERT_NONE  # the service signed its certificate itself
        link = http.client.HTTPSConnection(where.hostname, where.port, 30, context=context)
        try:
            link.request("GET", path, headers=token_header())
            answer = link.getresponse()
            text = answer.read()
        except (OSError, http.client.HTTPException) as error:
            raise Failed(f"{self.url}{path}: {error}") from error
        finally:
            link.close()
        return json.loads(text) if answer.status == 200 else None


def cloud():
    return json.loads(CLOUD_JSON.read_text())


def token_header():
    if not CLOUD_JSON.exists():
        return {}
    return {"X-Auth-Token": cloud()["XAuthToken"]}


def heartbeats(manager):
    return manager["Oem"]["Quorvan"]["Heartbeat"]


def manager_of(service):
    return service.get("/redfish/v1/Managers/" + cloud()["UUID"])


def tell_what_it_holds(service):
    manager = manager_of(service)
    if manager is None:
        raise Failed("the service does not know the manager")
    beats = heartbeats(manager)
    chassis = [service.get(f"/redfish/v1/Chassis/{name}") for name in cloud()["Chassis"]]
    if not chassis or None in chassis:
        raise Failed("the service does not hold the chassis")
    say("\nThe service holds:")
    say(f"  manager     {manager['Id']}  {manager['Name']}")
    for one in chassis:
        say(f"  chassis     {one['Id']}  {one['Name']}")
    say(f"  heartbeats  {beats['Count']}, the last at {beats['Last']}")


def tell_news(service, client):
    """Prints what both programs have logged since; returns the number of lines."""
    for line in service.news():
        say(f"  service  {line}")
    for line in client.news():
        # Time, level, unit, text: what is worse than a notice is worth a look.
        parts = line.split(" ", 2)
        if len(parts) == 3 and parts[1] in "34":
            say(f"  daemon   {line}")


def follow(service, client):
    """Tells what happens until somebody ends it."""
    while True:
        service.must_run()
        client.must_run()
        tell_news(service, client)
        time.sleep(0.2)


def until_second_heartbeat(service, client):
    end = time.monotonic() + ONCE
    while time.monotonic() < end:
        service.must_run()
        client.must_run()
        tell_news(service, client)
        manager = manager_of(service)
        if manager and heartbeats(manager)["Count"] >= 2:
            tell_news(service, client)
            return tell_what_it_holds(service)
        time.sleep(0.2)
    raise Failed(f"no second heartbeat within {ONCE} s; the daemon's log: {shown(client.log)}")


def trial(once, programs):
    prepare()
    service = Service(once)
    programs.append(service)
    say(f"\nThe service listens on {service.url}; log: {shown(service.log)}")
    configure(service.url)
    client = Program(PROGRAMS / "app" / "cloudclient",
                     env=environment(once, CLOUDCLIENT_ROOT=str(ROOT)))
    programs.append(client)
    say(f"The daemon runs in {shown(ROOT)}; log: {shown(client.log)}")
    if once:
        say("Both have a clock that runs 50 times as fast.\n")
        until_second_heartbeat(service, client)
    else:
        say("The first heartbeat comes after about 100 seconds. Ctrl-C stops both.\n")
        follow(service, client)


def interrupted(*_):
    raise KeyboardInterrupt


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--once", action="store_true", help="end after the second heartbeat")
    once = parser.parse_args().once
    signal.signal(signal.SIGTERM, interrupted)
    status = 0
    programs = []
    try:
        trial(once, programs)
    except KeyboardInterrupt:
        say("\nStopping")
        status = 1 if once else 0
    except (Failed, OSError, KeyError, ValueError) as error:
        print(f"\nrun.sh: {error}", file=sys.stderr)
        status = 1
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    for program in reversed(programs):  # the daemon first
        ended = program.stop()
        if ended != 0:
            print(f"run.sh: {program.name} ended with status {ended}; log: {shown(program.log)}",
                  file=sys.stderr)
            status = 1
    return status


if __name__ == "__main__":
    sys.exit(main())
