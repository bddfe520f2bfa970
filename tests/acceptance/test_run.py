# SPDX-License-Identifier: Apache-2.0
"""The command that shows the system at work."""

import os
import pathlib
import re
import signal
import subprocess
import sys
from types import SimpleNamespace

import pytest

from harness.operators import Operator, basic
from harness.waiting import wait_until

TOP = pathlib.Path(__file__).resolve().parent.parent.parent


ENVIRONMENT = {
    "PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8", "TZ": "CET-1", "HTTPS_PROXY": "http://127.0.0.1:1",
    "ASAN_OPTIONS": "verify_asan_link_order=0"}


def command(programs, folder, *options):
    return [sys.executable, "-B", TOP / "scripts" / "trial.py", *options,
            "--programs", programs, "--folder", folder / "run"]


def trial(programs, folder):
    return subprocess.run(command(programs, folder, "--once"), env=ENVIRONMENT, cwd=TOP,
                          capture_output=True, text=True, timeout=240)


def test_once_shows_manager_chassis_and_heartbeats(programs, folder):
    ended = trial(programs, folder)
    assert (ended.returncode, ended.stderr) == (0, ""), ended.stdout
    told, held = ended.stdout.split("The service holds:\n")
    for text in ("appliance registered: Hall 3 north\n", "its device has a chassis: ",
                 "values arrived: Thermal\n", "heartbeat 1\n", "heartbeat 2\n"):
        assert text in told
    assert " request " not in told, "a line that only a log needs"
    assert re.search(r"manager +\S{36}  Hall 3 north\n +chassis +\S+  Cooling unit 7, hall 3\n"
                     r" +heartbeats +2, the last at 20", held)
    assert "daemon   " not in told, "the example makes the daemon complain"


def test_once_without_programs_says_so(folder):
    ended = trial(folder / "nothing", folder)
    assert ended.returncode == 1
    assert "nothing/service/cloudservice was not built" in ended.stderr


def test_once_tells_why_a_program_ended(programs, folder):
    for name in ("service/cloudservice", "app/cloudclient"):
        (folder / "odd" / name).parent.mkdir(parents=True)
    os.symlink(programs / "service" / "cloudservice", folder / "odd" / "service" / "cloudservice")
    program = folder / "odd" / "app" / "cloudclient"
    program.write_text("#!/bin/sh\necho 'out of luck' >&2\nexit 3\n")
    program.chmod(0o755)
    ended = trial(folder / "odd", folder)
    assert ended.returncode == 1
    assert "cloudclient ended with status 3" in ended.stderr
    assert "out of luck" in ended.stderr


def test_interrupt_stops_both_programs(programs, folder):
    told = folder / "told"
    with open(told, "wb") as output, subprocess.Popen(
            command(programs, folder), env=ENVIRONMENT, cwd=TOP, stdout=output, stderr=output,
            start_new_session=True) as process:
        try:
            wait_until(lambda: "has a chassis: " in told.read_text(), "the chassis to be told of",
                       alive=lambda: process.poll() is None or pytest.fail(told.read_text()))
        finally:
            process.send_signal(signal.SIGINT)
        assert process.wait(timeout=90) == 0, told.read_text()
    assert told.read_text().endswith("\nStopping\n")
    assert "cloudclient stopped" in (folder / "run" / "cloudclient.log").read_text()
    assert "stopped" in (folder / "run" / "cloudservice.log").read_text()


def test_page_can_be_opened_with_what_is_printed(programs, folder):
    told = folder / "told"
    with open(told, "wb") as output, subprocess.Popen(
            command(programs, folder), env=ENVIRONMENT, cwd=TOP, stdout=output, stderr=output,
            start_new_session=True) as process:
        try:
            wait_until(lambda: "The daemon runs in " in told.read_text(), "the programs to run",
                       alive=lambda: process.poll() is None or pytest.fail(told.read_text()))
            block = re.search(r"^  address   (https://127\.0\.0\.1:\d+)/\n  name      (\S+)\n"
                              r"  password  (\S+) ", told.read_text(), re.MULTILINE)
            url, name, password = block.groups()
            operator = Operator(SimpleNamespace(url=url), name)
            operator.headers = basic(name, password)
            assert operator.ask("GET", "/session")["name"] == name
            kept = folder / "run" / "operator-password"
            assert kept.read_text() == password + "\n"
            assert kept.stat().st_mode & 0o777 == 0o600
        finally:
            process.send_signal(signal.SIGINT)
        assert process.wait(timeout=90) == 0, told.read_text()


@pytest.mark.parametrize("arguments", [["--twice"], ["--once", "--once"], [""]],
                         ids=["unknown", "twice", "empty"])
def test_wrong_arguments_of_run_show_the_usage(arguments):
    ended = subprocess.run([TOP / "run.sh", *arguments], capture_output=True, text=True)
    assert ended.returncode == 2
    assert "Usage: ./run.sh [--once]" in ended.stderr
