# SPDX-License-Identifier: Apache-2.0
"""Installing, upgrading, removing, purging, installing again."""

import json

import pytest

from conftest import field
from world import CONFIG, World

POLICY = "/etc/cloudclient/policy.json"
FOLDERS = {
    "/etc/cloudclient": "cloudclient cloudclient 750",
    "/etc/cloudservice": "root cloudservice 750",
    "/var/local/orv/pldserver/0": "root root 755",
}


def both(packages):
    return packages["cloudclient"], packages["cloudservice"]


def exists(root, path):
    return (root.path / path.lstrip("/")).exists()


def test_fresh_installation_runs_from_the_first_start_to_an_alarm(root, packages, unit):
    root.install(*both(packages))
    for path, state in FOLDERS.items():
        assert root.state_of(path) == state
    assert json.loads(root.run("cat", POLICY)) == {"Preset": "hardened"}
    assert root.state_of(POLICY) == "cloudclient cloudclient 600"
    world = World(root, unit)
    world.sets_up()
    root.run("cloudclientctl", "device", "raise", "4711")
    world.service.logs("alarm open: ")
    assert root.state_of("/var/lib/cloudclient/outbox") == "cloudclient cloudclient 700"
    assert root.state_of("/var/lib/cloudservice/cloudservice.db") == "cloudservice cloudservice 600"
    world.daemon.stop()
    world.service.stop()


def test_upgrade_from_the_commit_before_keeps_what_there_is(root, earlier, packages, unit):
    root.install(*both(earlier))
    world = World(root, unit)
    world.sets_up()
    before = world.status()
    policy = root.run("cat", POLICY)
    root.run("sh", "-c", f"echo retention = 9 >>{CONFIG}")
    root.run("cloudservice", "--config", CONFIG, "operator", "add", "olga")
    world.daemon.stop()
    world.service.stop()

    root.install(*both(packages))
    assert root.run("dpkg-query", "-W", "-f", "${Version}", "cloudclient") == field(
        packages["cloudclient"], "Version")
    assert root.run("cat", POLICY) == policy
    assert root.run("tail", "-n", "1", CONFIG) == "retention = 9\n"
    world.service.start()
    world.daemon.start()
    assert world.status() == {**before, "messages": world.status()["messages"]}
    assert "olga" in root.run("cloudservice", "--config", CONFIG, "operator", "list")
    root.run("cloudclientctl", "device", "raise", "4711")
    world.service.logs("alarm open: ")


def test_policy_is_the_administrator_s_after_the_first_installation(root, packages):
    root.install(packages["cloudclient"])
    root.run("rm", POLICY)
    root.install(packages["cloudclient"])
    assert not exists(root, POLICY)
    root.run("apt-get", "remove", "--yes", "cloudclient")
    root.install(packages["cloudclient"])
    assert not exists(root, POLICY)


@pytest.mark.parametrize("name, settings", [
    ("modbus", {"Address": "10.1.2.3", "Table": "holding", "Register": 10}),
    ("redfish", {"Url": "https://10.1.2.3", "Path": "/redfish/v1/Chassis/1/Power",
                 "Pointer": "/PowerControl/0/PowerConsumedWatts"}),
    ("snmp", {"Address": "10.1.2.3", "Version": "2c",
              "Credentials": "/etc/cloudclient/snmp.json",
              "Oid": "1.3.6.1.2.1.1.3.0"})])
def test_source_is_found_when_its_package_is_there(root, packages, name, settings):
    device = {"ProductSequenceId": "1.0.0", "Points": [
        {"Id": 1, "Source": {"Type": name, **settings}}]}
    root.install(packages["cloudclient"])
    root.run("sh", "-c", "cat >/srv/device.json", stdin=json.dumps(device))
    check = ("cloudclientctl", "device", "check", "/srv/device.json")
    missing = f'sources of the type "{name}" are not read: its module is not installed'
    assert missing in root.run(*check, status=1)
    root.install(packages[f"cloudclient-source-{name}"])
    assert missing not in root.run(*check)
    root.run("apt-get", "purge", "--yes", f"cloudclient-source-{name}")
    assert missing in root.run(*check, status=1)


def test_policy_that_is_there_before_the_package_stays(root, packages):
    root.run("sh", "-c", "mkdir /etc/cloudclient && echo '{}' >/etc/cloudclient/policy.json")
    root.install(packages["cloudclient"])
    assert root.run("cat", POLICY) == "{}\n"


def test_removal_keeps_configuration_and_data_and_purge_leaves_nothing(root, packages, unit):
    before = root.files()
    users = root.run("cat", "/etc/passwd", "/etc/group")
    root.install(*both(packages))
    world = World(root, unit)
    world.sets_up()
    world.daemon.stop()
    world.service.stop()

    root.run("apt-get", "remove", "--yes", "cloudclient", "cloudservice")
    for path in (POLICY, "/etc/cloudclient/cloud.json", CONFIG,
                 "/var/lib/cloudservice/cloudservice.db"):
        assert exists(root, path), path
    assert not exists(root, "/usr/bin/cloudclient")

    # The administrator's own, and nothing of the packages'.
    root.run("sh", "-c", "rm -r /var/local/orv/pldserver/0/*")
    root.run("apt-get", "purge", "--yes", "cloudclient", "cloudservice")
    assert root.files() == before
    assert root.run("cat", "/etc/passwd", "/etc/group") == users

    root.install(*both(packages))
    assert exists(root, POLICY)
    world.sets_up()


def test_purge_leaves_the_administrator_s_pages(root, packages):
    root.install(packages["cloudclient"])
    root.run("touch", "/var/local/orv/pldserver/0/page")
    root.run("apt-get", "purge", "--yes", "cloudclient")
    assert exists(root, "/var/local/orv/pldserver/0/page")
