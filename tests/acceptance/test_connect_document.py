# SPDX-License-Identifier: Apache-2.0
"""The commands of docs/connect-a-device.md, run as they stand there."""

import os
import pathlib
import re
import subprocess
import urllib.parse

import pytest

from harness.modbus import Units
from harness.snmp import COMMUNITY, Agent
from harness.waiting import DEADLINE

DOCUMENT = pathlib.Path(__file__).resolve().parents[2] / "docs/connect-a-device.md"
MEMBER = "Temperatures[MemberId=room]/ReadingCelsius"


@pytest.fixture
def agent(folder, under_watch):
    server = under_watch(Agent(folder))
    server.has_sensor(1, "Inlet", kind=8, scale=9, precision=1, value=235)
    return server.start()


@pytest.fixture
def units(folder, under_watch):
    server = under_watch(Units(folder))
    server.has(1, "holding", r10=235, r11=900, r12=1)
    return server.start()


@pytest.fixture
def does_as_told(ctl, programs, root, folder, agent, units):
    """Runs the commands, with this case's devices and root."""
    def run():
        text = DOCUMENT.read_text(encoding="utf-8")
        assert COMMUNITY in text
        for ours, theirs in (("pdu-7.example.org", agent.address), ("192.0.2.9 ", f"{units.address} ")):
            assert ours in text
            text = text.replace(ours, theirs)
        # What the shell touches itself; the programs put the root before their paths.
        text = re.sub(r"(>| )(/etc/cloudclient/pdu-7.json\)|/etc/cloudclient/device.json\n|/var/local)",
                      rf"\1{root}\2", text)
        script = "\n".join(re.findall(r"^```sh\n(.*?)^```$", text, re.DOTALL | re.MULTILINE))
        ended = subprocess.run(
            ["/bin/sh", "-e"], input=script.encode(), capture_output=True, cwd=folder, check=False,
            timeout=DEADLINE, env={**ctl.environment,
                                   "PATH": f"{programs / 'ctl'}{os.pathsep}/usr/bin:/bin"})
        assert (ended.returncode, ended.stderr) == (0, b"")
        return ended.stdout.decode()
    return run


def test_commands_of_the_document_lead_to_a_chart(
        does_as_told, daemon, device, service, root):
    chip = root / "sys/class/hwmon/hwmon0"
    chip.mkdir(parents=True)
    for name, text in (("name", "coretemp"), ("temp1_input", "45000")):
        (chip / name).write_text(f"{text}\n")
    room = root / "run/room/temperature"
    room.parent.mkdir()
    room.write_text("21500\n")
    told = does_as_told()
    for name in ("room", "strip", "cooling", "server"):
        assert f"{name}/device.json: nothing found" in told
        assert f"{name}/covpatchmap.txt: nothing found" in told
    service.start()
    daemon.configure(Url=service.url)
    daemon.start()
    daemon.wait_until(lambda: daemon.chassis, "a chassis")
    room.write_text("22500\n")
    (chassis,) = daemon.chassis
    path = (f"/redfish/v1/Chassis/{chassis}/Thermal/Oem/Quorvan:History"
            f"?member={urllib.parse.quote(MEMBER, safe='')}")

    def charted():
        status, answer = service.ask("GET", path, daemon.token)
        return status == 200 and 22.5 in [point["Value"] for point in answer["Values"]]
    daemon.wait_until(charted, "the chart")
