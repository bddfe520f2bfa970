"""The command that shows the system at work."""

import os
import pathlib
import re
import subprocess
import sys

import pytest

TOP = pathlib.Path(__file__).resolve().parent.parent.parent


def trial(programs, folder):
    env = {"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8", "TZ": "CET-1",
           "ASAN_OPTIONS": "verify_asan_link_order=0", "HTTPS_PROXY": "http://127.0.0.1:1"}
    return subprocess.run(
        [sys.executable, "-B", TOP / "scripts" / "trial.py", "--once", "--programs", programs,
         "--folder", folder / "run"], env=env, cwd=TOP, capture_output=True, text=True, timeout=240)


def test_once_shows_manager_chassis_and_heartbeats(programs, folder):
    ended = trial(programs, folder)
    assert (ended.returncode, ended.stderr) == (0, ""), ended.stdout
    told, held = ended.stdout.split("The service holds:\n")
    for text in ("manager registered: Hall 3 north", "chassis created: ", "heartbeat 1 from ",
                 "heartbeat 2 from "):
        assert text in told
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


@pytest.mark.parametrize("arguments", [["--twice"], ["--once", "--once"], [""]],
                         ids=["unknown", "twice", "empty"])
def test_wrong_arguments_of_run_show_the_usage(arguments):
    ended = subprocess.run([TOP / "run.sh", *arguments], capture_output=True, text=True)
    assert ended.returncode == 2
    assert "Usage: ./run.sh [--once]" in ended.stderr
