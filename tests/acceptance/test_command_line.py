# SPDX-License-Identifier: Apache-2.0
"""What the daemon is told on its command line."""

import pathlib
import re
import subprocess

import pytest

from harness.process import Process, clock, environment


@pytest.fixture
def program(programs):
    return programs / "app" / "cloudclient"


@pytest.fixture
def prints(program, root):
    """Runs the daemon for what it prints, with a root in which nothing may come to be."""
    def run(*arguments, **more):
        ended = subprocess.run(
            [program, *arguments], stdin=subprocess.DEVNULL, stderr=subprocess.PIPE,
            env={"CLOUDCLIENT_ROOT": str(root)}, timeout=60, check=False, **more)
        assert ended.stderr == b""
        assert list(root.iterdir()) == []
        return ended
    return run


def test_help_is_printed_and_nothing_is_started(prints):
    ended = prints("--help", stdout=subprocess.PIPE)
    assert ended.returncode == 0
    text = ended.stdout.decode()
    assert text.startswith("Usage: cloudclient [--help | --version]\n")
    for name in ("/etc/cloudclient/cloud.json", "/run/cloudclient/device.sock",
                 "CLOUDCLIENT_ROOT", "CLOUDCLIENT_LOG_LEVEL"):
        assert f"\n  {name} " in text
    assert max(map(len, text.splitlines())) <= 100


def test_version_is_printed_and_nothing_is_started(prints):
    ended = prints("--version", stdout=subprocess.PIPE)
    assert ended.returncode == 0
    assert re.fullmatch(r"cloudclient \d+\.\d+\.\d+\n", ended.stdout.decode())


@pytest.mark.parametrize("argument", ["--help", "--version"])
def test_output_that_cannot_be_written_is_a_failure(prints, argument):
    with open("/dev/full", "wb") as full:
        assert prints(argument, stdout=full).returncode == 1


@pytest.mark.parametrize("arguments", [("--help", "--version"), ("--Help",), ("start",)])
def test_other_arguments_are_not_looked_at(program, folder, root, under_watch, arguments):
    daemon = under_watch(Process("cloudclient", pathlib.Path(folder)))
    daemon.launch([program, *arguments],
                  {**environment(clock()), "CLOUDCLIENT_ROOT": str(root)})
    daemon.wait_until(lambda: "is running but DISABLED" in daemon.error_text(), "its start")
    daemon.stop()
    assert daemon.output() == ""
