#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What 10,000 points of each source cost the daemon: CPU and wake-ups a second.

    bench/sources.py build/release [--seconds 20] [SOURCE ...]

The daemon is disabled: the engine reads all the same, and nothing is sent. Every point is read once
a second. `none` is the daemon without sources. Needs the packages of the tests (snmpsim, pymodbus),
and a machine that has nothing else to do; the servers' own time is not counted.
"""

import argparse
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time

TOP = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(TOP / "tests"))

# pylint: disable=wrong-import-position
from harness.controller import PASSWORD, USER, Controller
from harness.modbus import Units
from harness.snmp import OBJECTS, credentials, free_udp_port

COUNT = 10_000
FIRST = 10_001
SECONDS_TO_FILL = 60
TICKS = os.sysconf("SC_CLK_TCK")


def points(sources):
    return [{"Id": number, "Name": f"p{number}", "Decimals": 1, "Source": source}
            for number, source in enumerate(sources, FIRST)]


def none(_root, _ends):
    return {}


def hwmon(root, _ends):
    sources = []
    for chip in range(10):
        folder = root / f"sys/class/hwmon/hwmon{chip}"
        folder.mkdir(parents=True)
        (folder / "name").write_text(f"chip{chip}\n")
        for sensor in range(COUNT // 10):
            (folder / f"temp{sensor}_input").write_text("41500\n")
            sources.append({"Type": "hwmon", "Chip": f"chip{chip}", "Label": f"temp{sensor}"})
    return {"Points": points(sources)}


def command(root, _ends):
    document = json.dumps({f"v{n}": n / 10 for n in range(COUNT // 10)})
    for program in range(10):
        (root / f"{program}.json").write_text(document)
    return {"Points": points(
        {"Type": "command", "Command": ["/bin/cat", str(root / f"{n % 10}.json")],
         "Pointer": f"/v{n // 10}"} for n in range(COUNT))}


def snmp(root, ends):
    data = root / "snmpsim"
    data.mkdir()
    data.chmod(0o777)  # it gives up being root
    (data / "public.snmprec").write_text("".join(f"{OBJECTS}.{n}|2|{n}\n" for n in range(1, COUNT + 1)))
    port = free_udp_port()
    server = subprocess.Popen(
        ["snmpsimd", f"--data-dir={data}", f"--agent-udpv4-endpoint=127.0.0.1:{port}",
         f"--cache-dir={data}/cache", "--process-user=nobody", "--process-group=nogroup"],
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    ends.append(lambda: (server.terminate(), server.wait()))
    credentials(root / "etc/cloudclient", "snmp.json", Community="public")
    return {"Sources": {"a": {"Type": "snmp", "Address": f"127.0.0.1:{port}", "Version": "2c",
                              "Credentials": "/etc/cloudclient/snmp.json", "TimeoutSeconds": 30}},
            "Points": points({"From": "a", "Oid": f"{OBJECTS}.{n}"} for n in range(1, COUNT + 1))}


def modbus(root, ends):
    units = Units(root)
    units.has(1, "holding", **{f"r{n}": n % 65536 for n in range(COUNT)})
    units.start()
    ends.append(units.close)
    return {"Sources": {"a": {"Type": "modbus", "Address": units.address, "TimeoutSeconds": 30}},
            "Points": points({"From": "a", "Register": n} for n in range(COUNT))}


def redfish(root, ends):
    controller = Controller()
    ends.append(controller.close)
    controller.documents = {
        f"/redfish/v1/Chassis/{c}/Thermal": {"Temperatures": [
            {"MemberId": str(n), "ReadingCelsius": 41.5} for n in range(COUNT // 100)]}
        for c in range(100)}
    credentials(root / "etc/cloudclient", "bmc.json", User=USER, Password=PASSWORD)
    return {"Sources": {"a": {"Type": "redfish", "Url": controller.url, "TimeoutSeconds": 30,
                              "Credentials": "/etc/cloudclient/bmc.json"}},
            "Points": points({"From": "a", "Path": f"/redfish/v1/Chassis/{n % 100}/Thermal",
                              "Pointer": f"/Temperatures/{n // 100}/ReadingCelsius"}
                             for n in range(COUNT))}


SOURCES = {make.__name__: make for make in (none, hwmon, command, snmp, modbus, redfish)}


def spent(pid):
    """Seconds of CPU of the daemon and of the programs that it has run, and its wake-ups."""
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    switches = 0
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        for line in (task / "status").read_text().splitlines():
            if line.startswith("voluntary"):
                switches += int(line.split()[1])
    own, children = (sum(map(int, fields[at:at + 2])) / TICKS for at in (11, 13))
    return own, children, switches


def known(root):
    """How many points have a value."""
    answer = subprocess.run([PROGRAMS / "ctl/cloudclientctl", "--json", "device", "list"],
                            env={"CLOUDCLIENT_ROOT": str(root)}, capture_output=True, check=False)
    if answer.returncode != 0:
        return -1
    return sum(1 for point in json.loads(answer.stdout)["points"] if point["value"])


def measure(name, seconds):
    ends = []
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        root.chmod(0o755)
        (root / "etc/cloudclient").mkdir(parents=True)
        (root / "etc/cloudclient/cloud.json").write_text('{"Enabled": false}')
        description = {"ProductSequenceId": "1", "PollSeconds": 1, **SOURCES[name](root, ends)}
        (root / "etc/cloudclient/device.json").write_text(json.dumps(description))
        log = open(root / "log", "wb")
        daemon = subprocess.Popen([PROGRAMS / "app/cloudclient"], stderr=log,
                                  env={"CLOUDCLIENT_ROOT": folder})
        try:
            limit = time.monotonic() + SECONDS_TO_FILL
            wanted = len(description.get("Points", []))
            while known(root) != wanted:
                if time.monotonic() > limit:
                    sys.exit(f"{name}: not read within {SECONDS_TO_FILL} s, "
                             f"{known(root)} of {wanted}: " + (root / "log").read_text()[-1000:])
                time.sleep(0.2)
            before = spent(daemon.pid)
            time.sleep(seconds)
            after = spent(daemon.pid)
        finally:
            daemon.terminate()
            daemon.wait()
            log.close()
            for end in ends:
                end()
    own, children, switches = ((b - a) / seconds for a, b in zip(before, after))
    print(f"| {name} | {own * 1000:.1f} | {children * 1000:.1f} | {switches:.1f} |", flush=True)


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("programs", type=pathlib.Path)
    parser.add_argument("sources", nargs="*", choices=[*SOURCES, []])
    parser.add_argument("--seconds", type=float, default=20)
    given = parser.parse_args()
    PROGRAMS = given.programs.resolve()
    print("| source | CPU, ms a second | its programs' | wake-ups a second |")
    print("| --- | ---: | ---: | ---: |")
    for each in given.sources or SOURCES:
        measure(each, given.seconds)
