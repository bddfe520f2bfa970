# SPDX-License-Identifier: Apache-2.0
"""The units under a systemd that runs: all of their sandbox, as far as a container has it."""

import json
import os

import pytest

from booted import booted
from harness.waiting import wait_until

UNITS = ("cloudclient.service", "cloudservice.service")
SERVICE = ["cloudservice", "--config", "/etc/cloudservice/cloudservice.conf"]


@pytest.fixture
def system(root, packages):
    root.install(packages["cloudclient"], packages["cloudservice"])
    with booted(root) as one:
        yield one


def test_both_run_once_they_are_installed(system):
    assert system.run("systemctl", "is-active", *UNITS) == "active\nactive\n"
    assert system.run("systemctl", "is-enabled", *UNITS) == "enabled\nenabled\n"
    assert "running     yes" in system.run("cloudclientctl", "status")
    system.run(*SERVICE, "operator", "add", "olga")
    system.run("systemctl", "restart", *UNITS)
    assert "olga" in system.run(*SERVICE, "operator", "list")


def test_reload_reads_the_certificate_again(system):
    system.run("systemctl", "reload", "cloudservice")
    wait_until(lambda: "certificate read again" in system.run("journalctl", "-u", "cloudservice"),
               "the line in the journal")


def test_journal_has_level_and_unit_of_a_message(system):
    shown = system.run("journalctl", "-u", "cloudclient", "-g", "cloudclient .* starts",
                       "-o", "verbose")
    for field in ("MESSAGE=Host cloudclient ", "PRIORITY=5", "SYSLOG_IDENTIFIER=cloudclient",
                  "_SYSTEMD_UNIT=cloudclient.service"):
        assert f"    {field}" in shown


def test_daemon_writes_where_it_has_to_and_sees_no_device(system):
    seen = system.seen_by("cloudclient")
    for path in ("etc/cloudclient", "var/lib/cloudclient", "run/cloudclient", "tmp"):
        assert not os.statvfs(seen / path).f_flag & os.ST_RDONLY, path
    for path in ("etc", "usr/bin", "var/lib", "var/local/orv/pldserver/0", "run"):
        assert os.statvfs(seen / path).f_flag & os.ST_RDONLY, path
    assert not list((seen / "root").glob("*"))
    devices = {path.name for path in (seen / "dev").iterdir()}
    assert devices.isdisjoint({"sda", "vda", "kmsg", "mem"})


@pytest.mark.parametrize("unit", UNITS)
def test_nothing_can_be_started_that_is_not_the_program(system, unit):
    seen = system.seen_by(unit)
    program = f"usr/bin/{unit.removesuffix('.service')}"
    assert not os.statvfs(seen / program).f_flag & os.ST_NOEXEC
    for path in ("usr/bin/dash", "tmp", "var/tmp", "dev/shm", "run", "etc/cloudclient",
                 "run/cloudclient", "var/lib/cloudclient", "var/lib/cloudservice"):
        assert os.statvfs(seen / path).f_flag & os.ST_NOEXEC, path


def test_command_of_a_source_is_started_where_a_drop_in_names_it(root, system):
    device = {"Sources": {"ups": {"Type": "command", "Command": ["/usr/bin/echo", "42"]}},
              "Points": [{"Id": 1, "Name": "load", "Source": {"From": "ups"}}]}
    (root.path / "etc/cloudclient/device.json").write_text(json.dumps(device))

    def value():
        listed = json.loads(system.run("cloudclientctl", "--json", "device", "list"))
        return listed["points"][0]["value"]
    system.run("systemctl", "restart", "cloudclient")
    assert value() == ""
    system.run("sh", "-c", "mkdir /etc/systemd/system/cloudclient.service.d && sed s/sensors/echo/ "
               "/usr/share/doc/cloudclient/examples/command-sources.conf "
               ">/etc/systemd/system/cloudclient.service.d/commands.conf")
    system.run("systemctl", "daemon-reload")
    system.run("systemctl", "restart", "cloudclient")
    wait_until(lambda: value() == "42", "the value that the command writes")
