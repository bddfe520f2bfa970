# SPDX-License-Identifier: Apache-2.0
"""cloudclientctl setup: from nothing to a registered appliance, and never half a configuration."""

import json
import os
import pty
import resource
import select
import signal
import subprocess
import time

import pytest

from harness.daemon import EMAIL, KEY, NAME, UUID
from harness.process import clock
from harness.waiting import DEADLINE
from harness.wire import answer, pin_of

ARGUMENTS = ("--email", EMAIL, "--key-file", "key", "--name", NAME)
BEFORE = {"Enabled": False, "Url": "", "UserEmail": "", "RegistrationKey": ""}


@pytest.fixture
def fresh(daemon, device, folder):
    """An appliance on which nobody has configured anything; its daemon runs."""
    device.describe({"ProductSequenceId": "1.2.3", "Label": "Unit", "Events": [], "Points": []})
    daemon.write("cloud.json", BEFORE)
    daemon.path("sysinfo.json").unlink(missing_ok=True)
    (folder / "key").write_text(KEY + "\n")
    daemon.start(clock(20))
    device.connect()
    return daemon


@pytest.fixture
def cloud(service):
    service.start(faketime=clock(1))
    return service


class Dialogue:
    """A person at a terminal."""

    def __init__(self, ctl, *arguments):
        self._terminal, its_end = pty.openpty()
        self._process = subprocess.Popen([*ctl.command, "setup", *arguments], stdin=its_end,
                                         stdout=its_end, stderr=its_end, cwd=ctl.root.parent,
                                         env=ctl.environment, start_new_session=True)
        os.close(its_end)
        self.text = ""

    def reads(self, text):
        """Waits for a text behind what was read so far."""
        end = time.monotonic() + DEADLINE
        while text not in self.text:
            assert select.select([self._terminal], [], [], max(0, end - time.monotonic()))[0], self.text
            try:
                piece = os.read(self._terminal, 65536)
            except OSError:  # the other end is gone
                piece = b""
            assert piece, f"{text!r} is not in {self.text!r}"
            self.text += piece.decode()
        self.text = self.text.partition(text)[2]

    def answers(self, question, text):
        self.reads(question)
        os.write(self._terminal, (text + "\n").encode())

    def ends(self):
        status = self._process.wait(DEADLINE)
        os.close(self._terminal)
        return status


def test_setup_by_a_dialogue(fresh, cloud, ctl):
    person = Dialogue(ctl)
    person.answers("URL of the service: ", "cloud.example.org")
    person.reads("Url begins with https:// or http://")
    person.answers("URL of the service: ", cloud.url)
    person.reads(f"pin          {pin_of(cloud.certificate())}")
    person.answers("Is it the service's, and to be pinned? [y/N] ", "y")
    person.reads("good     certificate  its key is pinned")
    person.reads("good     service")
    person.answers("E-mail address of the account: ", EMAIL)
    person.answers("RegistrationKey: ", "")
    person.reads("standard input does not hold one line")
    person.answers("RegistrationKey: ", KEY)
    person.answers("Name of the appliance: ", NAME)
    person.answers("Write this and enable the appliance? [y/N] ", "y")
    person.reads("Now restart the daemon, which has the former policy: systemctl restart cloudclient")
    person.reads("The appliance is registered.")
    assert person.ends() == 0
    _, manager = cloud.ask("GET", f"/redfish/v1/Managers/{fresh.config()['UUID']}", fresh.token)
    assert manager["Name"] == NAME
    policy = json.loads(fresh.path("policy.json").read_text())
    assert policy == {"Transport": {"PinnedPublicKey": pin_of(cloud.certificate())}}


def test_setup_by_options(fresh, cloud, ctl):
    said = ctl.does("setup", "--url", cloud.url, *ARGUMENTS, "--yes")
    assert said.splitlines()[-1].startswith("The appliance is registered.")
    assert KEY not in said
    (chassis,) = fresh.chassis
    assert f"good     chassis       {chassis}" in said


def test_setup_can_be_run_again(fresh, cloud, ctl):
    ctl.does("setup", "--url", cloud.url, *ARGUMENTS, "--yes")
    token, chassis = fresh.token, fresh.chassis
    said = ctl.does("setup")
    assert f"the service knows manager {fresh.config()['UUID']} already" in said
    assert (fresh.token, fresh.chassis) == (token, chassis)


def test_setup_as_json(fresh, cloud, ctl):
    said = ctl.tells("setup", "--url", cloud.url, *ARGUMENTS, "--yes")
    assert said["written"] is True
    verdicts = {check["subject"]: check["verdict"] for check in said["checks"]}
    assert verdicts == {**dict.fromkeys(
        ("connection", "certificate", "service", "clock", "registration", "chassis"), "good"),
        "daemon": "notice"}


def test_setup_has_the_daemon_started_where_a_manager_runs(fresh, cloud, ctl, folder, root):
    fresh.stop()
    (root / "run/systemd/system").mkdir(parents=True)
    programs = folder / "programs"
    programs.mkdir()
    (programs / "systemctl").write_text(f"#!/bin/sh\necho \"$@\" > {folder}/asked\nexit 4\n")
    (programs / "systemctl").chmod(0o755)
    ctl.environment["PATH"] = f"{programs}:{ctl.environment['PATH']}"
    said = ctl.run("setup", "--url", cloud.url, *ARGUMENTS, "--yes", "--wait", "0")
    assert (folder / "asked").read_text() == "restart cloudclient\n"
    assert "systemctl has failed: start the daemon" in said.stdout.decode()
    assert said.returncode == 1
    assert "wrong    registration" in said.stdout.decode()


def test_setup_says_before_what_a_new_registration_drops(fresh, cloud, ctl):
    fresh.stop()
    fresh.write("cloud.json", {**BEFORE, "UUID": UUID})
    said = ctl.run("setup", "--url", cloud.url, *ARGUMENTS, "--yes", "--wait", "0").stdout.decode()
    notice = said.index(f"if the service knows {UUID}, a new registration drops what it has of it")
    assert notice < said.index("wrong    registration")


def test_setup_says_that_a_key_is_not_tried_by_an_appliance_that_is_registered(fresh, cloud, ctl,
                                                                               folder):
    ctl.does("setup", "--url", cloud.url, *ARGUMENTS, "--yes")
    (folder / "key").write_text("another")
    said = ctl.does("setup", "--key-file", "key")
    assert "e-mail address and key are tried at the next registration only" in said


def test_another_name_of_a_registered_appliance_needs_a_yes(fresh, cloud, ctl):
    ctl.does("setup", "--url", cloud.url, *ARGUMENTS, "--yes")
    token = fresh.token
    ended = ctl.run("setup", "--name", "another")
    assert ended.returncode == 1
    assert "a new name unregisters the appliance" in ended.stderr.decode().splitlines()[0]
    assert (fresh.token, json.loads(fresh.path("sysinfo.json").read_text())) == (
        token, {"SysName": NAME})


# Nothing is written

def nothing_is_written(daemon):
    assert daemon.config() == BEFORE
    assert not daemon.path("policy.json").exists()
    assert not daemon.path("sysinfo.json").exists()


def test_certificate_that_nobody_vouches_for_needs_a_yes(fresh, cloud, ctl):
    ended = ctl.run("setup", "--url", cloud.url, *ARGUMENTS)
    assert ended.returncode == 1
    assert ended.stderr.decode().splitlines() == [
        f"cloudclientctl: nobody vouches for the service's key, {pin_of(cloud.certificate())}; "
        "--yes if it is to be pinned", "cloudclientctl: nothing is written"]
    nothing_is_written(fresh)


def test_person_who_says_no_gets_nothing_written(fresh, cloud, ctl):
    person = Dialogue(ctl, "--url", cloud.url, *ARGUMENTS)
    person.answers("to be pinned? [y/N] ", "n")
    person.reads("nothing is written")
    assert person.ends() == 1
    person = Dialogue(ctl, "--url", cloud.url, *ARGUMENTS)
    person.answers("to be pinned? [y/N] ", "y")
    person.answers("enable the appliance? [y/N] ", "")
    person.reads("the configuration is as it was")
    assert person.ends() == 1
    nothing_is_written(fresh)


@pytest.mark.parametrize("arguments, status, says", [
    (["--url", "cloud"], 2, "Url begins with https:// or http://"),
    (["--url", "http://127.0.0.1:1"], 1, "nothing is written"),
    ([], 2, "Url is missing")], ids=["none", "nobody", "missing"])
def test_service_that_can_not_be_set_up(fresh, ctl, arguments, status, says):
    ended = ctl.run("setup", *arguments, *ARGUMENTS)
    assert ended.returncode == status
    assert ended.stderr.decode().splitlines()[-1] == f"cloudclientctl: {says}"
    nothing_is_written(fresh)


def test_service_that_is_none_is_not_set_up(fresh, ctl, recorder):
    recorder.answers("GET /redfish/v1", answer(200, body="something"))
    ended = ctl.run("setup", "--url", recorder.url, *ARGUMENTS)
    assert "wrong    service" in ended.stdout.decode()
    assert (ended.returncode, ended.stderr) == (1, b"cloudclientctl: nothing is written\n")
    nothing_is_written(fresh)


@pytest.mark.parametrize("content, says", [
    (None, "key: No such file or directory"), ("", "key does not hold one line"),
    ("two\nlines\n", "key does not hold one line")], ids=["missing", "empty", "lines"])
def test_key_that_can_not_be_read(fresh, cloud, ctl, folder, content, says):
    (folder / "key").unlink()
    if content is not None:
        (folder / "key").write_text(content)
    ended = ctl.run("setup", "--url", cloud.url, *ARGUMENTS, "--yes")
    assert ended.stderr.decode().splitlines()[0] == f"cloudclientctl: {says}"
    nothing_is_written(fresh)


def test_wrong_files_are_left_alone(fresh, cloud, ctl):
    fresh.write("policy.json", "{")
    ended = ctl.run("setup", "--url", cloud.url, *ARGUMENTS, "--yes")
    assert ended.returncode == 1
    assert "policy.json" in ended.stderr.decode()
    assert fresh.path("policy.json").read_text() == "{"
    assert fresh.config() == BEFORE


@pytest.mark.parametrize("name", [None, "former"], ids=["fresh", "named"])
def test_configuration_that_can_not_be_written_leaves_all_as_it_was(
        fresh, cloud, ctl, folder, name):
    fresh.stop()
    (folder / "key").write_text("k" * 100)  # with it the configuration is the largest of the files
    before = fresh.path("cloud.json").read_text()
    if name:
        fresh.write("sysinfo.json", {"SysName": name})
        fresh.write("policy.json", {"Alarms": {"PairAll": True}})

    def less_than_that():
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (200, 200))
    ended = ctl.run("setup", "--url", cloud.url, *ARGUMENTS, "--yes", before=less_than_that)
    assert ended.returncode == 1
    assert ended.stderr.decode().splitlines()[-1] == (
        "cloudclientctl: the configuration is as it was")
    assert fresh.path("cloud.json").read_text() == before
    for file, content in (("sysinfo.json", {"SysName": name}),
                          ("policy.json", {"Alarms": {"PairAll": True}})):
        assert fresh.path(file).exists() == bool(name)
        assert not name or json.loads(fresh.path(file).read_text()) == content


def test_wrong_key_is_told_with_the_daemons_reason(fresh, cloud, ctl, folder):
    (folder / "key").write_text("wrong")
    ended = ctl.run("setup", "--url", cloud.url, *ARGUMENTS, "--yes", "--wait", "4")
    said = ended.stdout.decode()
    assert ended.returncode == 1
    assert "wrong    registration  not within 4 s" in said
    assert "notice   log           the last failure, at " in said
