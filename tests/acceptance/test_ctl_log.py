# SPDX-License-Identifier: Apache-2.0
"""cloudclientctl log: what the lines of the daemon's log mean."""

import json
import os
import pty

import pytest

LINE = "2026-03-05T14:07:09.123+0100 3 DeviceMgr SendHeartbeat: Failed to get the UUID"
HAPPENED = "    the UUID can't be read; no heartbeat"
TO_DO = "    To do: repair the configuration"
JOURNAL = "2026-03-05T14:07:09+01:00 box cloudclient[7]: DeviceMgr SendHeartbeat: Failed to get the UUID"


@pytest.fixture
def journal(ctl, folder):
    """A journal that says `text`, and notes what it was asked."""
    def make(text, status=0):
        programs = folder / "programs"
        programs.mkdir()
        script = programs / "journalctl"
        script.write_text(f"#!/bin/sh\necho \"$@\" > {folder}/asked\ncat <<'TXT'\n{text}\nTXT\n"
                          f"exit {status}\n")
        script.chmod(0o755)
        ctl.environment["PATH"] = f"{programs}:{ctl.environment['PATH']}"
        return lambda: (folder / "asked").read_text().strip()
    return make


def test_log_explain_says_below_each_line_what_it_means(ctl):
    said = ctl.does("log", "explain", stdin=f"{LINE}\nanother line\x1b[2J\n".encode())
    assert said.splitlines() == [LINE, HAPPENED, TO_DO, "another line\\x1B[2J"]


def test_log_explain_says_what_numbers_mean(ctl):
    line = "3 CloudClient ConnectWithCloudService: Unknown cloud client error (9)"
    said = ctl.does("log", "explain", stdin=line.partition(" ")[2].encode()).splitlines()
    assert "    AppResult 9: the service root is no JSON" in said


def test_log_explain_reads_a_file(ctl, folder):
    (folder / "old.log").write_text(LINE)
    assert ctl.does("log", "explain", "old.log").splitlines() == [LINE, HAPPENED, TO_DO]
    assert ctl.refuses(1, "log", "explain", "none.log") == "none.log: No such file or directory"
    assert ctl.refuses(1, "log", "explain", ".") == ". can't be read"


def test_log_explain_as_json(ctl):
    said = ctl.run("log", "explain", "--json", stdin=f"{LINE}\nmore\n".encode())
    assert json.loads(said.stdout) == [
        {"line": LINE, "happened": HAPPENED.strip(), "toDo": "repair the configuration",
         "numbers": []},
        {"line": "more"}]


def test_log_explain_reads_the_journal_since_a_time(ctl, journal):
    asked = journal(JOURNAL)
    said = ctl.does("log", "explain", "--since", "2 hours ago", "--unit", "other")
    assert said.splitlines() == [JOURNAL, HAPPENED, TO_DO]
    assert asked() == "--no-pager --quiet --output=short-iso --unit=other --since=2 hours ago"


def test_log_explain_reads_the_journal_at_a_terminal(ctl, journal):
    asked = journal(JOURNAL)
    terminal, its_end = pty.openpty()
    try:
        said = ctl.at(its_end, "log", "explain")
    finally:
        os.close(terminal)
        os.close(its_end)
    assert said.splitlines() == [JOURNAL, HAPPENED, TO_DO]
    assert asked() == "--no-pager --quiet --output=short-iso --unit=cloudclient --boot"


def test_journal_that_fails_is_told(ctl, journal):
    journal(JOURNAL, status=1)
    ended = ctl.run("log", "explain", "--since", "today")
    assert (ended.returncode, ended.stderr) == (1, b"cloudclientctl: journalctl has failed\n")


def test_machine_without_a_journal_is_told(ctl, folder):
    ctl.environment["PATH"] = str(folder)
    assert ctl.refuses(1, "log", "explain", "--since", "today") == (
        "journalctl can't be run: No such file or directory")


def test_every_line_of_a_daemons_life_is_explained(ctl, daemon, device, recorder):
    recorder.knows_the_manager()
    daemon.configure(Url=recorder.url)
    daemon.start(CLOUDCLIENT_LOG_LEVEL="7")
    daemon.logs("cloudclient is now registered for device changes")
    daemon.stop()
    ended = ctl.run("log", "explain", "--json", stdin=daemon.error_text().encode())
    explained = json.loads(ended.stdout)
    assert len(explained) == len(daemon.entries()) > 7
    assert [line["line"] for line in explained if "happened" not in line] == []
