#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Lets cloudservice and cloudclient talk to each other and tells what happens.

Called by ./run.sh, which builds the programs. Works in a folder that it makes anew.
"""

import argparse
import fcntl
import http.client
import json
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import sys
import time

TOP = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(TOP / "tests"))  # the harness: see tests/harness/README.md
from harness.process import clock, faketime  # noqa: E402
from harness.wire import connect  # noqa: E402

EXAMPLE = TOP / "examples" / "cooling-unit"
EMAIL = "keeper@example.org"
KEY = "trial-key"
OPERATOR = "operator"
# Real seconds: until the service listens, until the second heartbeat, until a program has ended.
START, ONCE, END = 30, 120, 70


class Failed(Exception):
    """The reason why the trial can't go on."""


def shown(path):
    return os.path.relpath(path)


def say(text):
    print(text, flush=True)


class Place:
    """The trial's folder: the root of the daemon, the data of the service, the logs of both."""

    def __init__(self, folder):
        folder = folder.resolve()
        self.folder = folder
        self.root = folder / "root"
        self._etc = self.root / "etc" / "cloudclient"
        self._cloud = self._etc / "cloud.json"
        self.password = folder / "operator-password"
        folder.parent.mkdir(parents=True, exist_ok=True)
        self._lock = open(folder.with_suffix(".lock"), "w")
        try:
            fcntl.flock(self._lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            raise Failed(f"another trial runs in {shown(folder)}") from None
        if folder.exists():
            shutil.rmtree(folder)
        self._prepare_root()

    def _prepare_root(self):
        data = self.root / "var/local/orv/pldserver/0"
        for folder in (self._etc, data, self.root / "run" / "cloudclient"):
            folder.mkdir(parents=True)
        shutil.copy(EXAMPLE / "device.json", self._etc)
        for name in ("cloudchassis.txt", "covpatchmap.txt"):
            shutil.copy(EXAMPLE / name, data)
        shutil.copytree(EXAMPLE / "patch", data / "patch")
        (self._etc / "sysinfo.json").write_text(json.dumps({"SysName": "Hall 3 north"}) + "\n")

    def configure(self, url):
        self._cloud.write_text(json.dumps({
            "Enabled": True, "Url": url, "UserEmail": EMAIL, "RegistrationKey": KEY,
            "UnitName": "", "UUID": "", "XAuthToken": "", "Chassis": {}}, indent=2) + "\n")
        self._cloud.chmod(0o600)

    def cloud(self):
        return json.loads(self._cloud.read_text())


def environment(accelerated, **extra):
    proxies = ("http_proxy", "https_proxy", "all_proxy")
    env = {k: v for k, v in os.environ.items() if k.lower() not in proxies}
    if accelerated:
        env.update(LD_PRELOAD=faketime(), FAKETIME=clock())
    env.update(extra)
    return env


class Program:
    """A program in a session of its own, so that Ctrl-C reaches this script alone."""

    def __init__(self, place, path, *options, env):
        self.name = path.name
        self.place = place
        self.log = place.folder / f"{self.name}.log"
        self._output = place.folder / f"{self.name}.out"
        self._told = 0
        if not path.exists():
            raise Failed(f"{shown(path)} was not built")
        with open(self.log, "wb") as log, open(self._output, "wb") as out:
            self._child = subprocess.Popen(
                [str(path), *map(str, options)], env=env, stdin=subprocess.DEVNULL, stdout=out,
                stderr=log, start_new_session=True)

    def output(self):
        return self._output.read_text(errors="replace")

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

    def __init__(self, place, programs, accelerated):
        database = place.folder / "service.db"
        self.password = self._make_operator(place, programs / "service" / "cloudservice", database)
        super().__init__(
            place, programs / "service" / "cloudservice", "--listen", "127.0.0.1:0",
            "--db", database, "--email", EMAIL, "--registration-key", KEY,
            *(["--io-timeout", "100000"] if accelerated else []),
            env=environment(accelerated))
        self.url = ""

    @staticmethod
    def _make_operator(place, program, database):
        """Who may look at the page; the password, which is kept in a file of its own too."""
        if not program.exists():
            raise Failed(f"{shown(program)} was not built")
        made = subprocess.run(
            [str(program), "operator", "add", OPERATOR, "--create", "--db", str(database)],
            env=environment(False), stdin=subprocess.DEVNULL, capture_output=True, text=True)
        password = re.fullmatch(r"password: (\S+)\n", made.stdout)
        if made.returncode != 0 or not password:
            raise Failed(f"no operator was made: {made.stderr.strip()}")
        with open(place.password, "w", opener=lambda path, flags: os.open(path, flags, 0o600)) as out:
            out.write(password.group(1) + "\n")
        return password.group(1)

    def must_answer(self):
        """Waits until it listens; then it is to answer."""
        self.url = self._listening()
        if self.get("/redfish/v1") is None:
            raise Failed(f"{self.url} does not answer as a service")

    def _listening(self):
        end = time.monotonic() + START
        while time.monotonic() < end:
            match = re.search(r"^listening on (\S+)\n", self.output(), re.MULTILINE)
            if match:
                return match.group(1)
            self.must_run()
            time.sleep(0.05)
        raise Failed(f"{self.name} did not say within {START} s that it listens")

    def get(self, path, token=""):
        """A document of the service's, or None."""
        link = connect(self.url, timeout=30)
        try:
            link.request("GET", path, headers={"X-Auth-Token": token} if token else {})
            answer = link.getresponse()
            text = answer.read()
        except (OSError, http.client.HTTPException) as error:
            raise Failed(f"{self.url}{path}: {error}") from error
        finally:
            link.close()
        return json.loads(text) if answer.status == 200 else None


def heartbeats(manager):
    return manager["Oem"]["Quorvan"]["Heartbeat"]


def tell_what_is_held(service, cloud, manager):
    chassis = [service.get(f"/redfish/v1/Chassis/{name}", cloud["XAuthToken"])
               for name in cloud["Chassis"]]
    if not chassis or None in chassis:
        raise Failed("the service does not hold the chassis")
    beats = heartbeats(manager)
    say("\nThe service holds:")
    say(f"  manager     {manager['Id']}  {manager['Name']}")
    for one in chassis:
        say(f"  chassis     {one['Id']}  {one['Name']}")
    say(f"  heartbeats  {beats['Count']}, the last at {beats['Last']}")


# What the service's log says, in the words of somebody who watches one appliance; None: not told,
# since the event beside it says it. What stands nowhere here is told as it is.
STORY = [(re.compile(line), words) for line, words in (
    (r"request .*", None),
    (r"certificate made: .*", "the service has made itself a certificate"),
    (r"account: (\S+) has a new registration key", r"appliances can register as \1"),
    (r"refused: GET /redfish/v1/Managers\?uuid=\S+: 403 .*",
     "an appliance asks whether it is known; it is not, and will register"),
    (r"manager registered: (.*)", r"appliance registered: \1"),
    (r"manager found: (.*)", r"appliance is known: \1"),
    (r"chassis created: (\S+) of .*", r"its device has a chassis: \1"),
    (r"chassis changed: (\S+) of .*", "what the device says of itself arrived"),
    (r"resource created: \S+/(\w+)", r"values arrived: \1"),
    (r"resource changed: \S+/(\w+)", r"values changed: \1"),
    (r'alarm open: Zarvel\.GDD\.(\S+) (\w+) (".*") on chassis \S+', r"alarm arrived: \1, \2, \3"),
    (r"alarm closed: Zarvel\.GDD\.(\S+) on chassis \S+", r"alarm cleared: \1"),
    (r"heartbeat (\d+) from .*", r"heartbeat \1"),
)]


def in_words(text):
    """A text of the service's log as it is told, or None."""
    text = re.sub(r" \(UUID [^)]*\)", "", text)
    for line, words in STORY:
        match = line.fullmatch(text)
        if match:
            return words and match.expand(words)
    return text


def readings(resource):
    """The temperatures of the example's resource and the extremes beside them."""
    days = resource["Oem"]["Quorvan"]["SevenDays"]
    return (", ".join(f"{one['Oem']['Quorvan']['MemberId']} {one['ReadingCelsius']}"
                      for one in resource["Temperatures"])
            + f" degrees; in seven days {days['LowestTemperature']} to "
            f"{days['HighestTemperature']}")


def tell_resource(place, service, line):
    """What the service holds at a resource that was sent to it, as far as it is temperatures."""
    sent = re.search(r" resource (?:created|changed): (\S+/Thermal)$", line)
    resource = service.get(sent.group(1), place.cloud()["XAuthToken"]) if sent else None
    if resource:
        say(f"  {'holds:':>17}  {readings(resource)}")


def tell_news(place, service, client):
    """Tells what the service has logged since, and what the daemon complains of."""
    for line in service.news():
        moment, _, text = line.partition(" ")
        words = in_words(text)
        if words:
            say(f"  service  {moment[11:19]}  {words}")
        tell_resource(place, service, line)
    for line in client.news():
        if line.endswith("cloudclient is now registered for device changes"):
            say(f"  ready    {line[11:19]}  the daemon follows the device from now on")
        parts = line.split(" ", 2)  # time, level, the rest
        if len(parts) == 3 and parts[1] in ("3", "4"):
            say(f"  daemon   {line[11:19]}  {parts[2]}")


def turns(place, service, client):
    """Goes on as long as both programs run; each turn tells what happened."""
    while True:
        service.must_run()
        client.must_run()
        tell_news(place, service, client)
        yield
        time.sleep(0.2)


def tell_how_to_drive(place, programs):
    """What to type at a second terminal."""
    control = programs / "ctl" / "cloudclientctl"
    if not control.exists():
        raise Failed(f"{shown(control)} was not built")
    start = f"CLOUDCLIENT_ROOT={shlex.quote(str(place.root))} {shlex.quote(str(control.resolve()))}"
    say("\nAt a second terminal, an alarm comes and goes within seconds:")
    for words in ("device raise 4711", "device clear 4711"):
        say(f"  {start} {words}")
    say("The supply temperature moves; above 28 it raises an alarm, below 26 that ends:")
    for words in ("device set 1201 31", "device set 1201 20"):
        say(f"  {start} {words}")


def tell_how_to_look(place, service):
    """Where the page is, and who may see it."""
    say("\nLook at the appliance in a browser (the service signed its certificate itself):")
    say(f"  address   {service.url}/")
    say(f"  name      {OPERATOR}")
    say(f"  password  {service.password}   (also in {shown(place.password)})")


def until_second_heartbeat(place, service, client):
    end = time.monotonic() + ONCE
    for _ in turns(place, service, client):
        cloud = place.cloud()
        token = cloud["XAuthToken"]
        manager = token and service.get(f"/redfish/v1/Managers/{cloud['UUID']}", token)
        if manager and heartbeats(manager)["Count"] >= 2:
            tell_news(place, service, client)
            return tell_what_is_held(service, cloud, manager)
        if time.monotonic() > end:
            missing = "second heartbeat" if manager else "registration"
            raise Failed(f"no {missing} within {ONCE} s; the daemon's log: {shown(client.log)}")


def trial(given, running):
    place = Place(given.folder)
    service = Service(place, given.programs, given.accelerated)
    running.append(service)
    service.must_answer()
    if not given.once:
        tell_how_to_look(place, service)
        tell_how_to_drive(place, given.programs)
    say(f"\nThe service listens on {service.url}; log: {shown(service.log)}")
    place.configure(service.url)
    client = Program(place, given.programs / "app" / "cloudclient",
                     env=environment(given.accelerated, CLOUDCLIENT_ROOT=str(place.root)))
    running.append(client)
    say(f"The daemon runs in {shown(place.root)}; log: {shown(client.log)}")
    if given.once:
        say("Both have a clock that runs 50 times as fast.\n")
        until_second_heartbeat(place, service, client)
    else:
        say("The first heartbeat comes after about 100 seconds. Ctrl-C stops both.\n")
        for _ in turns(place, service, client):
            pass


def stop(running):
    """Ends the programs, the daemon first; whether all ended well."""
    well = True
    for program in reversed(running):
        ended = program.stop()
        if ended != 0:
            print(f"run.sh: {program.name} ended with status {ended}; log: {shown(program.log)}",
                  file=sys.stderr)
            well = False
    return well


def interrupted(*_):
    raise KeyboardInterrupt


def arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--once", action="store_true", help="end after the second heartbeat")
    parser.add_argument("--accelerated", action="store_true",
                        help="let the clock run 50 times as fast; --once does it anyway")
    parser.add_argument("--programs", type=pathlib.Path, default=TOP / "build" / "debug",
                        help="CMake build folder of the programs")
    parser.add_argument("--folder", type=pathlib.Path, default=TOP / "build" / "run",
                        help="where to work; what is there is removed")
    given = parser.parse_args()
    given.accelerated |= given.once
    return given


def main():
    given = arguments()
    signal.signal(signal.SIGTERM, interrupted)
    status = 0
    running = []
    try:
        trial(given, running)
    except KeyboardInterrupt:
        say("\nStopping")
        status = 1 if given.once else 0
    except (Failed, OSError, KeyError, ValueError) as error:
        print(f"\nrun.sh: {error}", file=sys.stderr)
        status = 1
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    return status if stop(running) else 1


if __name__ == "__main__":
    sys.exit(main())
