# SPDX-License-Identifier: Apache-2.0
"""The units as systemd judges them, and as they are started."""

import json

import pytest

UNITS = ("cloudclient", "cloudservice")
# Of ten; more is more exposed.
MOST_EXPOSED = 1.5


@pytest.fixture
def installed(root, packages):
    root.install(packages["cloudclient"], packages["cloudservice"])
    return root


def test_systemd_has_nothing_to_say_against_them(installed):
    for name in UNITS:
        path = f"/lib/systemd/system/{name}.service"
        assert installed.run("systemd-analyze", "verify", "--man=no", path) == ""


def test_they_are_exposed_to_little(installed):
    for name in UNITS:
        path = f"/lib/systemd/system/{name}.service"
        judged = installed.run("systemd-analyze", "security", "--offline=true", "--no-pager",
                               f"--threshold={int(MOST_EXPOSED * 10)}", path)
        assert f"Overall exposure level for {name}.service" in judged


def test_drop_ins_of_the_examples_are_understood(installed):
    examples = "/usr/share/doc/cloudclient/examples"
    folder = "/etc/systemd/system/cloudclient.service.d"
    for name in ("serial-lines.conf", "command-sources.conf"):
        installed.run("install", "-D", "-m", "644", f"{examples}/{name}", f"{folder}/{name}")
    assert installed.run("systemd-analyze", "verify", "--man=no",
                         "/lib/systemd/system/cloudclient.service") == ""


@pytest.mark.parametrize("name", UNITS)
def test_program_runs_as_its_user_without_rights(installed, unit, name):
    one = unit(name)
    one.start()
    user = installed.run("id", "-u", name).strip()
    assert one.process_status("Uid").split() == [user] * 4
    assert int(one.process_status("CapEff"), 16) == int(one.process_status("CapBnd"), 16) == 0
    assert one.process_status("NoNewPrivs") == "1"
    assert one.process_status("Seccomp") == "2"
    one.stop()


def test_new_service_says_how_to_make_an_account_and_an_operator(installed, unit):
    service = unit("cloudservice")
    service.start()
    command = "cloudservice --config /etc/cloudservice/cloudservice.conf"
    service.logs(f"no account: no appliance can register; make one: {command} account add EMAIL\n")
    service.logs(f"no operator: nobody can sign in; make one: {command} operator add NAME\n")
    installed.run(*command.split(), "operator", "add", "olga")
    installed.run(*command.split(), "account", "add", "me@example.org")
    service.stop()
    service.start()
    assert "no operator" not in service.log() and "no account" not in service.log()


def test_database_that_root_works_on_stays_the_service_s(installed, unit):
    service = unit("cloudservice")
    service.start()
    service.stop()
    command = ["cloudservice", "--config", "/etc/cloudservice/cloudservice.conf"]
    installed.run(*command, "operator", "add", "olga")
    listed = installed.run("find", "/var/lib/cloudservice", "-not", "-user", "cloudservice")
    assert listed == ""
    service.start()
    assert "olga" in installed.run(*command, "operator", "list")


def test_wrong_option_ends_the_service_for_good_and_is_named(installed):
    path = "/etc/cloudservice/cloudservice.conf"
    installed.run("sh", "-c", f"echo retention = ever >>{path}")
    last = len((installed.path / path.lstrip("/")).read_text().splitlines())
    said = installed.run("cloudservice", "--config", path, user="cloudservice", status=2)
    assert said.startswith(f"cloudservice: {path}:{last}: ")
    assert "\nRestartPreventExitStatus=2\n" in installed.run(
        "cat", "/lib/systemd/system/cloudservice.service")


def test_policy_that_is_wrong_ends_the_daemon(installed):
    installed.run("sh", "-c", "echo '{' >/etc/cloudclient/policy.json")
    said = installed.run("/usr/bin/cloudclient", user="cloudclient", status=2)
    assert "/etc/cloudclient/policy.json" in said


# Configuration that root and the daemon share

def test_file_that_root_replaces_keeps_owner_group_and_mode(installed):
    etc = "/etc/cloudclient"
    assert installed.state_of(etc) == "cloudclient cloudclient 750"
    installed.run("cloudclientctl", "config", "set", "UserEmail", "me@example.org")
    for name in ("cloud.json", "cloud.json.lock"):
        assert installed.state_of(f"{etc}/{name}") == "cloudclient cloudclient 600"
    assert "me@example.org" in installed.run("cat", f"{etc}/cloud.json", user="cloudclient")
    # What an administrator has chosen stays.
    installed.run("groupadd", "auditors")
    installed.run("chown", "cloudclient:auditors", f"{etc}/cloud.json")
    installed.run("chmod", "640", f"{etc}/cloud.json")
    installed.run("cloudclientctl", "config", "set", "UserEmail", "you@example.org")
    for name in ("cloud.json", "cloud.json.lock"):
        assert installed.state_of(f"{etc}/{name}") == "cloudclient auditors 640"
    assert "you@example.org" in installed.run("cat", f"{etc}/cloud.json", user="cloudclient")
    installed.run("cloudclientctl", "config", "set", "UserEmail", "all@example.org",
                  user="cloudclient")
    shown = json.loads(installed.run("cloudclientctl", "--json", "config", "show"))
    assert shown["UserEmail"] == "all@example.org"
