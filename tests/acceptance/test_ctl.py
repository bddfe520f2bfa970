# SPDX-License-Identifier: Apache-2.0
"""cloudclientctl: what it does, what it says, and its exit statuses."""

import fcntl
import json
import os
import re
import shlex
import shutil
import signal
import socket
import subprocess
import sys
import termios
import threading

import pytest

from harness.daemon import NAME, UUID
from harness.process import SANITIZERS
from harness.waiting import DEADLINE, wait_until
from harness.wire import answer

ENABLED = "cloudclient is now registered for device changes"
BROKEN = '{\n  "Enabled": true,\n  "Url": oops\n}\n'
TOP = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
EXAMPLE = os.path.join(TOP, "examples", "cooling-unit")


@pytest.fixture
def running(daemon, device, recorder):
    """A daemon that is connected."""
    recorder.knows_the_manager()
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs(ENABLED)
    return daemon


# Command line

@pytest.mark.parametrize("command", [
    (), ("status",), ("enable",), ("disable",), ("config",), ("config", "get"), ("config", "set"),
    ("config", "show"), ("device",), ("device", "list"), ("device", "set"), ("device", "raise"),
    ("device", "clear"), ("device", "check"), ("device", "init"), ("device", "init", "hwmon"), ("map",), ("map", "check"),
    ("policy",), ("policy", "show"), ("policy", "check"), ("trust",), ("setup",), ("doctor",), ("watch",), ("log",),
    ("log", "explain")], ids=lambda c: "_".join(c) or "program")
def test_help_of_every_command(ctl, command):
    assert f"Usage: {' '.join(['cloudclientctl', *command])}" in ctl.does(*command, "--help")


@pytest.mark.parametrize("command", [(), ("config",), ("device",), ("map",), ("policy",), ("log",)],
                         ids=lambda c: "_".join(c) or "program")
def test_help_of_a_group_has_examples_of_its_own(ctl, command):
    _, examples = ctl.does(*command, "--help").split("Examples:\n")
    assert f"  {' '.join(['cloudclientctl', *command])} " in examples


@pytest.mark.parametrize("group, commands", [
    ("config", ["get", "set", "show"]), ("device", ["list", "check", "set", "raise", "clear", "init"]),
    ("device init", ["hwmon", "snmp", "redfish", "modbus"]),
    ("map", ["check"]), ("policy", ["show", "check"]), ("log", ["explain"])],
    ids=["config", "device", "device init", "map", "policy", "log"])
def test_group_alone_lists_its_commands(ctl, group, commands):
    listed = ctl.does(*group.split())
    assert listed == ctl.does(*group.split(), "--help")
    for command in commands:
        assert re.search(fr"^  {command} +\w", listed, re.MULTILINE), command


def test_version(ctl, version):
    assert ctl.does("--version") == f"cloudclientctl {version}\n"


@pytest.mark.parametrize("arguments, word", [
    (["frobnicate"], "'frobnicate'"),
    (["device", "explode"], "'explode'"),
    (["config", "list"], "'list'"),
    ([], "subcommand is required"),
    (["config", "get"], "KEY"),
    (["config", "get", "Chassis"], "Chassis"),
    (["config", "set", "Url"], "VALUE"),
    (["config", "set", "Enabled", "yes"], "'yes'"),
    (["config", "set", "UnitName", b"caf\xe9"], "UTF-8"),
    (["enable", "now"], "now"),
    (["device", "set", "65536", "1"], "65536"),
    (["device", "set", "1201", b"\xff"], "UTF-8"),
    (["device", "raise", "4711", "--state", "Loud"], "Loud"),
    (["device", "raise", "4711", "--state", "Cleared"], "Cleared"),
    (["device", "clear", "4711", "--module", "-1"], "-1"),
    (["--timeout", "0", "device", "list"], "--timeout"),
    (["--timeout", "nan", "device", "list"], "'nan'"),
    (["--timeout", "inf", "device", "list"], "'inf'"),
    (["--timeout", "3601", "device", "list"], "'3601'"),
    (["config", "set", "Url", "cloud.example.org"], "https://"),
    (["config", "set", "Url", "ftp://cloud.example.org"], "https://"),
    (["config", "set", "Url", "https://cloud.example.org/"], "slash"),
    (["config", "set", "Url", "https://"], "host"),
    (["config", "set", "Url", "https://cloud.example.org/a b"], "blanks"),
    (["config", "set", "Url", "https://cloud.example.org?a"], "no ?"),
    (["config", "set", "UUID", "6d7a7c3e-5a54-4a0e-9d0b-6f1c2a3b4c5"], "UUID"),
    (["config", "set", "UUID", "6d7a7c3e-5a54-4a0e-9d0b-6f1c2a3b4c5g"], "UUID"),
    (["config", "set", "UUID", "6d7a7c3e05a54-4a0e-9d0b-6f1c2a3b4c5d"], "UUID"),
    (["config", "set", "SysName", ""], "SysName"),
    (["config", "set", "SysName", "Uninitialized"], "SysName"),
])
def test_wrong_arguments(ctl, daemon, arguments, word):
    files = [daemon.path("cloud.json"), daemon.path("sysinfo.json")]
    before = [file.read_bytes() for file in files]
    assert word in ctl.refuses(2, *arguments)
    assert [file.read_bytes() for file in files] == before


def test_output_that_can_not_be_written(ctl):
    with open("/dev/full", "wb") as full:
        ended = ctl.run("status", stdout=full)
    assert ended.returncode == 1
    assert ended.stderr == b"cloudclientctl: the output can't be written\n"


# Configuration

def test_secrets_are_masked_unless_revealed(ctl, daemon):
    daemon.configure(XAuthToken="t0ken")
    for arguments in (["config", "show"], ["config", "show", "--json"],
                      ["config", "get", "XAuthToken"], ["config", "get", "RegistrationKey"]):
        text = ctl.does(*arguments)
        assert "********" in text and "t0ken" not in text and "key-4711" not in text
    assert ctl.does("config", "get", "XAuthToken", "--reveal") == "t0ken\n"
    assert ctl.tells("config", "show", "--reveal")["RegistrationKey"] == "key-4711"


def test_configuration_for_scripts(ctl):
    assert ctl.tells("config", "get", "Enabled") is True
    assert ctl.tells("config", "get", "UUID") == UUID
    assert ctl.tells("config", "show") == {
        "Enabled": True, "Url": "", "UserEmail": "keeper+plant&2@example.org",
        "RegistrationKey": "********", "UnitName": NAME, "UUID": UUID, "XAuthToken": "",
        "SysName": NAME}


@pytest.mark.parametrize("key, value", [
    ("Url", ""), ("Url", "http://[::1]:8443/base"), ("Url", "HTTPS://cloud.example.org"),
    ("UUID", ""), ("UUID", UUID.upper()), ("RegistrationKey", ""), ("UserEmail", "-")])
def test_values_that_are_taken(ctl, key, value):
    assert ctl.does("config", "set", key, value) == ""
    assert ctl.tells("config", "get", key, "--reveal") == value


@pytest.mark.parametrize("key", ["RegistrationKey", "XAuthToken"])
@pytest.mark.parametrize("typed", [b"s3 cret", b"s3 cret\n", b"s3 cret\r\n"],
                         ids=["no line end", "LF", "CR LF"])
def test_secret_from_standard_input(ctl, key, typed):
    assert ctl.does("config", "set", key, "-", stdin=typed) == ""
    assert ctl.does("config", "get", key, "--reveal") == "s3 cret\n"


@pytest.mark.parametrize("typed", [b"", b"\n", b"two\nlines\n", b"x" * 65537, b"one\0\n"],
                         ids=["nothing", "empty", "lines", "long", "NUL"])
def test_secret_that_standard_input_does_not_hold(ctl, typed):
    message = ctl.refuses(1, "config", "set", "RegistrationKey", "-", stdin=typed)
    assert message == "standard input does not hold one line with the value of RegistrationKey"
    assert ctl.tells("config", "get", "RegistrationKey", "--reveal") == "key-4711"


def test_secret_is_not_shown_on_a_terminal(ctl):
    """What a person types is not written back."""
    master, slave = os.openpty()
    typing = threading.Thread(target=lambda: (
        os.read(master, 100), os.write(master, b"typed\n")))
    typing.start()
    ended = subprocess.run(
        [*ctl.command, "config", "set", "RegistrationKey", "-"], stdin=slave, stdout=slave,
        stderr=slave, env=ctl.environment, timeout=DEADLINE)
    typing.join()
    os.close(slave)
    assert ended.returncode == 0
    assert ctl.tells("config", "get", "RegistrationKey", "--reveal") == "typed"
    with open(master, "rb", buffering=0) as terminal:
        assert terminal.read(100) == b"\r\n"


def shows(master, text):
    """Waits until the terminal shows this, and nothing else before."""
    shown = b""
    while shown != text:
        shown += os.read(master, 100)
        assert text.startswith(shown)


@pytest.fixture
def prompted(ctl, folder):
    """The program at its hidden prompt, on a controlling terminal of its own: the process and both
    ends of the terminal."""
    master, slave = os.openpty()
    started = []

    def start(ignored=(), shell=()):
        def prepare():
            fcntl.ioctl(slave, termios.TIOCSCTTY, 0)
            for number in ignored:
                signal.signal(number, signal.SIG_IGN)
        started.append(subprocess.Popen(
            [*shell, *ctl.command, "config", "set", "RegistrationKey", "-"], stdin=slave,
            stdout=slave, stderr=slave, cwd=folder, env=ctl.environment, start_new_session=True,
            preexec_fn=prepare))
        shows(master, b"RegistrationKey: ")
        return started[-1], master, slave

    yield start
    for process in started:
        process.kill()
        process.wait()
    os.close(master)
    os.close(slave)


# What is typed arrives at the terminal a moment after it was written: before the key behind it, but
# not always before a signal that is sent.
@pytest.mark.parametrize("number, typed", [
    (signal.SIGINT, b"s3c\x03"), (signal.SIGQUIT, b"s3c\x1c"), (signal.SIGTERM, b""),
    (signal.SIGHUP, b"")], ids=["SIGINT", "SIGQUIT", "SIGTERM", "SIGHUP"])
def test_signal_at_the_hidden_prompt_brings_the_echo_back(ctl, prompted, number, typed):
    process, master, slave = prompted()
    quiet = termios.tcgetattr(slave)[3]
    if typed:
        os.write(master, typed)
    else:
        process.send_signal(number)
    assert process.wait(timeout=DEADLINE) == -number
    assert termios.tcgetattr(slave)[3] == quiet | termios.ECHO != quiet
    os.write(master, b"next\n")
    assert os.read(slave, 100) == b"next\n"
    shows(master, b"\r\nnext\r\n")
    assert ctl.tells("config", "get", "RegistrationKey", "--reveal") == "key-4711"


# A shell with one job: it has the terminal while the job is stopped, and is told "fg" or "bg" then.
SHELL = """
import os, signal, sys
signal.signal(signal.SIGTTOU, signal.SIG_IGN)
job = os.fork()
if job == 0:
    os.setpgid(0, 0)
    os.tcsetpgrp(0, os.getpid())
    signal.signal(signal.SIGTTOU, signal.SIG_DFL)
    os.execv(sys.argv[1], sys.argv[1:])
while True:
    status = os.waitpid(job, os.WUNTRACED)[1]
    os.tcsetpgrp(0, os.getpid())
    if not os.WIFSTOPPED(status):
        sys.exit(os.waitstatus_to_exitcode(status))
    print(signal.Signals(os.WSTOPSIG(status)).name, flush=True)
    if sys.stdin.readline() == "fg\\n":
        os.tcsetpgrp(0, job)
    os.killpg(job, signal.SIGCONT)
"""


def test_stop_at_the_hidden_prompt_brings_the_echo_back_until_it_goes_on(ctl, prompted):
    process, master, slave = prompted(shell=(sys.executable, "-c", SHELL))
    quiet = termios.tcgetattr(slave)[3]
    for _ in range(2):
        os.write(master, b"s3c\x1a")
        shows(master, b"\r\nSIGTSTP\r\n")
        assert termios.tcgetattr(slave)[3] == quiet | termios.ECHO != quiet
        os.write(master, b"bg\n")  # the terminal is the shell's: nothing of it is changed
        shows(master, b"bg\r\nSIGTTOU\r\n")
        os.write(master, b"fg\n")
        shows(master, b"fg\r\nRegistrationKey: ")
        assert termios.tcgetattr(slave)[3] == quiet
    os.write(master, b"typed\n")
    shows(master, b"\r\n")
    assert process.wait(timeout=DEADLINE) == 0
    assert termios.tcgetattr(slave)[3] == quiet | termios.ECHO
    assert ctl.tells("config", "get", "RegistrationKey", "--reveal") == "typed"


def test_stop_that_nobody_could_continue_leaves_the_prompt_hidden(ctl, prompted):
    """The system stops no process whose session has nobody else to continue it."""
    process, master, slave = prompted()
    quiet = termios.tcgetattr(slave)[3]
    os.write(master, b"s3c\x1a")
    shows(master, b"\r\nRegistrationKey: ")
    assert termios.tcgetattr(slave)[3] == quiet
    os.write(master, b"typed\n")
    assert process.wait(timeout=DEADLINE) == 0
    assert ctl.tells("config", "get", "RegistrationKey", "--reveal") == "typed"


def test_signal_that_is_ignored_stays_so_at_the_hidden_prompt(ctl, prompted):
    process, master, _ = prompted(ignored=[signal.SIGINT])
    os.write(master, b"\x03typed\n")
    assert process.wait(timeout=DEADLINE) == 0
    assert ctl.tells("config", "get", "RegistrationKey", "--reveal") == "typed"


def test_rename_of_a_registered_appliance_has_to_be_meant(ctl, daemon):
    daemon.configure(XAuthToken="t0ken", Url="https://cloud.example.org",
                     Chassis={"C1": {"VelocityInstance": 0}})
    message = ctl.refuses(2, "config", "set", "SysName", "Hall 4")
    assert message == (
        f"a new name unregisters the appliance: https://cloud.example.org deletes manager {UUID}, "
        "1 chassis and their history; --yes if that is meant")
    assert ctl.does("config", "get", "SysName") == f"{NAME}\n"
    ctl.does("config", "set", "SysName", NAME)
    ctl.does("config", "set", "SysName", "Hall 4", "--yes")
    assert ctl.does("config", "get", "SysName") == "Hall 4\n"


@pytest.mark.parametrize("change", [{"Enabled": False}, {"XAuthToken": ""}], ids=lambda c: [*c][0])
def test_rename_that_ends_nothing_needs_no_yes(ctl, daemon, change):
    daemon.configure(**{"XAuthToken": "t0ken", **change})
    assert ctl.does("config", "set", "SysName", "Hall 4") == ""
    assert ctl.does("config", "get", "SysName") == "Hall 4\n"


def test_set_keeps_what_it_does_not_know(ctl, daemon):
    daemon.configure(Remark=["by", "the keeper"])
    ended = ctl.run("config", "set", "Url", "https://cloud.example.org")
    assert (ended.returncode, ended.stdout) == (0, b"")
    (line,) = ended.stderr.decode().splitlines()
    assert line == (f"cloudclientctl: {daemon.path('cloud.json')}: "
                    'keys that are not known are not used: "Remark"')
    ctl.run("config", "set", "SysName", "Halle 4, Süd")
    assert daemon.config()["Url"] == "https://cloud.example.org"
    assert daemon.config()["Remark"] == ["by", "the keeper"]
    assert ctl.run("config", "get", "SysName").stdout.decode() == "Halle 4, Süd\n"
    assert daemon.path("cloud.json").stat().st_mode & 0o777 == 0o600


def test_control_bytes_are_escaped_and_not_taken(ctl, daemon):
    daemon.configure(UnitName="a\x1b[31mb\nc")
    assert ctl.does("config", "get", "UnitName") == "a\\x1B[31mb\\nc\n"
    assert "a\\x1B[31mb\\nc" in ctl.does("config", "show")
    assert ctl.tells("config", "get", "UnitName") == "a\x1b[31mb\nc"
    assert ctl.refuses(2, "config", "set", "UserEmail", "a\nb@c") == (
        "UserEmail has no control bytes")


@pytest.mark.parametrize("file", ["cloud.json", "sysinfo.json"])
@pytest.mark.parametrize("arguments", [
    ["status"], ["enable"], ["config", "show"], ["config", "get", "Url"],
    ["config", "set", "Url", "https://x"]], ids=lambda a: "_".join(a[:2]))
def test_unparsable_file_is_named_and_left(ctl, daemon, file, arguments):
    daemon.write(file, BROKEN)
    message = ctl.refuses(1, *arguments)
    assert f"{daemon.path(file)} is not valid JSON: line 3, column " in message
    assert daemon.path(file).read_text() == BROKEN


def test_file_that_can_not_be_saved(ctl, daemon):
    (daemon.path("cloud.json.lock")).unlink(missing_ok=True)
    daemon.path("cloud.json.lock").mkdir()
    assert "cloud.json is not saved: " in ctl.refuses(1, "disable")
    assert daemon.config()["Enabled"] is True


def test_missing_files_are_empty_ones(ctl, daemon):
    daemon.path("cloud.json").unlink()
    daemon.path("sysinfo.json").unlink()
    assert ctl.tells("config", "get", "Enabled") is False
    ctl.does("enable")
    assert daemon.config() == {"Enabled": True}


def test_daemon_follows_disable_and_enable(ctl, running, recorder):
    ctl.does("disable")
    recorder.receives(f"DELETE /redfish/v1/Managers/{UUID}")
    running.logs("cloudclient is now DISABLED")
    ctl.does("enable")
    running.logs("cloudclient is now ENABLED", times=2)


def test_change_and_the_daemons_own_are_both_kept(ctl, daemon, device, recorder):
    """The daemon stores token and chassis while names are set."""
    daemon.configure(Url=recorder.url)
    daemon.start()
    count = 0
    while not (daemon.token and daemon.chassis):
        daemon.must_run()
        count += 1
        ctl.does("config", "set", "UserEmail", f"keeper{count}@example.org")
        assert daemon.config()["UserEmail"] == f"keeper{count}@example.org"
    daemon.logs(ENABLED)
    assert daemon.token == "token-0815"
    assert daemon.chassis == ["C1"]
    assert daemon.config()["UserEmail"] == f"keeper{count}@example.org"


# Status

def test_status_of_a_daemon_that_does_not_run(ctl):
    assert ctl.tells("status") == {
        "running": False, "enabled": True, "registered": False, "service": "", "manager": UUID,
        "unitName": NAME, "chassis": [], "policy": "none", "messages": []}
    assert "Not connected" not in ctl.does("status")


@pytest.mark.smoke
def test_status_of_a_connected_daemon_shows_no_warnings_alone(ctl, daemon, device, recorder):
    recorder.answers("PATCH /redfish/v1/Chassis/C1/Thermal", answer(200))
    recorder.answers("GET /redfish/v1/Oem/Quorvan:Events", answer(200, body="[]"))
    device.describe({**json.loads(device.file.read_text()), "Colour": "grey"})
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs(ENABLED)
    status = ctl.tells("status")
    (warning,) = status.pop("messages")
    assert warning["level"] == 4 and '"Colour"' in warning["text"]
    assert status == {
        "running": True, "enabled": True, "registered": True, "service": recorder.url,
        "manager": UUID, "unitName": NAME, "chassis": ["C1"], "policy": "none"}
    assert ctl.does("status") == (
        f"running     yes\nenabled     yes\nregistered  yes\nservice     {recorder.url}\n"
        f"manager     {UUID}\nunit name   {NAME}\nchassis     C1\n"
        "policy      none\n")


def test_status_says_why_an_appliance_is_not_connected(ctl, daemon, device, recorder):
    recorder.answers("POST /redfish/v1/Managers", answer(401))
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs(ENABLED)
    told = ctl.does("status")
    assert "registered  no\n" in told
    assert "nothing is tried before the next enabling" in told
    (line,) = [line for line in told.splitlines() if "Failed to register device" in line]
    assert line.replace("  ", " 3 ", 1) in daemon.error_text().splitlines()
    assert "registration_key=********" in told and "key-4711" not in told
    assert {m["level"] for m in ctl.tells("status")["messages"]} <= {3, 4}


def test_status_says_that_a_registered_appliance_did_not_reach_the_service(
        ctl, daemon, device, nobody):
    daemon.configure(Url=nobody.url, XAuthToken="token-0815",
                     Chassis={"C1": {"VelocityInstance": 0}})
    daemon.start()
    daemon.logs(ENABLED)
    told = ctl.does("status")
    assert "registered  yes\n" in told and "chassis     C1\n" in told
    assert "Not connected" not in told
    assert "\n\nIf connecting failed, it is not tried again before the next enabling" in told
    (line,) = [line for line in told.splitlines() if "Cloud Service is not available" in line]
    assert line.replace("  ", " 3 ", 1) in daemon.error_text().splitlines()
    assert "token-0815" not in told
    daemon.disable()
    daemon.logs("cloudclient is now DISABLED")
    assert ctl.tells("status")["messages"]
    assert ctl.does("status").endswith("chassis     -\npolicy      none\n")


# Device

@pytest.fixture
def idle(daemon, device):
    """A daemon whose device can be driven, and no more."""
    daemon.configure(Enabled=False)
    daemon.start()
    device.lists()
    return device


def test_device_is_driven(ctl, idle):
    assert ctl.does("device", "set", "1201", "-5") == ""
    ctl.does("device", "raise", "4711", "--module", "1", "--state", "Warning")
    listed = ctl.tells("device", "list")
    assert [(p["id"], p["value"]) for p in listed["points"]] == [(1201, "-5")]
    assert ("Warning" in {e["state"] for e in listed["events"] if e["module"] == 1})
    table = ctl.does("device", "list")
    assert table.startswith("Cooling unit 7  (device 0, product sequence 1.2.3)\n\nPOINT  NAME")
    assert "4711   1       Warning  Filter clogged\n" in table
    assert ctl.tells("device", "clear", "4711", "--module", "1") == {"ok": True}
    assert "Warning" not in ctl.does("device", "list")


@pytest.mark.parametrize("arguments", [
    ["device", "set", "9999", "1"], ["device", "raise", "9999"], ["device", "clear", "9999"],
    ["device", "raise", "4711", "--module", "2"], ["device", "set", "1201", "7" * 254]],
    ids=["point", "raise", "clear", "module", "long_value"])
def test_device_refuses(ctl, idle, arguments):
    before = idle.lists()
    assert ctl.refuses(1, *arguments)
    assert idle.lists() == before


@pytest.mark.parametrize("arguments", [
    ["list"], ["set", "1201", "1"], ["raise", "4711"], ["clear", "4711"]], ids=lambda a: a[0])
def test_no_daemon_is_a_status_of_its_own(ctl, arguments):
    socket_path = ctl.root / "run/cloudclient/device.sock"
    assert f"no daemon answers at {socket_path}: " in ctl.refuses(3, "device", *arguments)


@pytest.fixture
def stranger(root):
    """Listens in the daemon's place and answers with the given bytes; None: not at all."""
    path = root / "run" / "cloudclient" / "device.sock"
    path.parent.mkdir(parents=True)
    listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    listener.bind(str(path))
    listener.listen()

    def answers(reply):
        def serve():
            try:
                link, _ = listener.accept()
            except OSError:
                return
            with link:
                link.makefile("rb").readline()
                if reply is None:
                    link.recv(1)  # until the other side goes
                else:
                    link.sendall(reply)
        threading.Thread(target=serve, daemon=True).start()
    yield answers
    listener.close()


def test_daemon_that_never_answers(ctl, stranger):
    stranger(None)
    assert "it takes too long" in ctl.refuses(1, "--timeout", "0.05", "device", "list")


@pytest.mark.parametrize("reply", [b"[]\n", b"nonsense\n"], ids=["array", "no_json"])
def test_daemon_that_answers_wrongly(ctl, stranger, reply):
    stranger(reply)
    assert "is not a JSON object" in ctl.refuses(1, "device", "list")


@pytest.mark.parametrize("reply", [b"", b'{"ok": true'], ids=["closes", "cut_off"])
def test_daemon_that_ends_before_it_answers_is_one_that_does_not_run(ctl, stranger, reply):
    stranger(reply)
    assert "the daemon ended before it answered at " in ctl.refuses(3, "device", "list")


# Patch map

PAGE = '{"ReadingCelsius": temp_uom_celsius~1201}\n'


@pytest.fixture
def mapped(ctl, folder):
    """Writes a map with one fault and says what the check finds: status, findings, complaints."""
    (folder / "page.txt").write_text(PAGE)
    resource = {"name": "thermal", "url": "/redfish/v1/Chassis/<chassisid>/Thermal",
                "resourcePatch": "page.txt", "resourceTag": "<chassisid>", "tempUomCelsius": True}
    point = {"id": 1201, "pldQueryArgs": "1201,1,0,0,0", "patch": "%1"}

    def check(resource_change=None, point_change=None, more=None):
        (folder / "map.txt").write_text(json.dumps({
            "resourceUrls": [{**resource, **(resource_change or {})}],
            "thermal": [{**point, **(point_change or {})}], **(more or {})}))
        ended = ctl.run("--json", "map", "check", "map.txt")
        return ended.returncode, json.loads(ended.stdout), ended.stderr.decode()
    return check


def test_clean_map(ctl, mapped, folder):
    assert mapped() == (0, [], "")
    assert ctl.does("map", "check", "map.txt") == "map.txt: nothing found\n"


def test_example_is_clean(ctl):
    description = os.path.join(EXAMPLE, "device.json")
    ctl.does("map", "check", os.path.join(EXAMPLE, "covpatchmap.txt"), "--device", description)
    assert ctl.does("device", "check", description) == f"{description}: nothing found\n"


def event(**changes):
    return {"event": {"msgid": "M", "message": "%1 %2", "numargs": 2, "arg1": "a",
                      "arg1Type": "pld", "arg2": "b", "arg2Type": "pld", **changes}}


@pytest.mark.parametrize("fault, finding", [
    (dict(resource_change={"name": "other"}), 'point 1201: its group "thermal" is no resource'),
    (dict(resource_change={"url": "/redfish/v1"}), '"url" does not hold its tag <chassisid>'),
    (dict(resource_change={"resourceTag": "<id>"}), '"resourceTag" is "<id>", neither'),
    (dict(resource_change={"resourcePatch": ""}), '"resourcePatch" names no page'),
    (dict(resource_change={"resourcePatch": "none.txt"}), 'page "none.txt" is not in '),
    (dict(point_change={"pldQueryArgs": "", "pld": ""}), "point 1201: it has no source"),
    (dict(point_change={"7dayHumAccum": True}), '"7dayHumAccum" is read by "pld"'),
    (dict(point_change=event(message="%2")), 'has no "%1"'),
    (dict(point_change=event(message="%1")), 'has no "%2"'),
    (dict(point_change=event(arg1Type="new")), '"arg1Type" is "new"'),
    (dict(point_change=event(arg2Type="old")), '"arg2Type" is "old"'),
    (dict(point_change=event(arg1Type="pldQueryArgs", arg1="1,2")), '"arg1" is "1,2", not five'),
    (dict(point_change=event(msgid="")), 'its event has no "msgid"'),
    (dict(more={"other": [{"id": 1201, "pld": "x", "patch": ""}]}),
     'point 1201 of "other": it is listed already in "thermal"'),
    (dict(more={"other": {}}), '"other" is not an array'),
    (dict(resource_change={"tempUomCelsius": 1}), '"tempUomCelsius" is neither true nor false'),
    (dict(resource_change={"7dayAccum": "true"}), '"7dayAccum" is neither true nor false'),
    (dict(point_change={"7dayTempAccum": None}), '"7dayTempAccum" is neither true nor false'),
    (dict(point_change={"7dayHumAccum": 0}), '"7dayHumAccum" is neither true nor false'),
    (dict(resource_change={"resourcePach": ""}),
     'resource "thermal": unknown key "resourcePach" (is "resourcePatch" meant?)'),
    (dict(point_change={"Patch": ""}), 'unknown key "Patch" (is "patch" meant?)'),
    (dict(point_change=event(num="")), 'point 1201: its event: unknown key "num"'),
    (dict(resource_change={"url": "redfish/v1/Chassis/<chassisid>"}),
     '"url" does not begin with a slash'),
    (dict(resource_change={"tempUomCelsius": False}),
     'it holds a temperature tag, and the resource has no "tempUomCelsius"'),
])
def test_fault_in_a_map_is_found(mapped, fault, finding):
    status, findings, _ = mapped(**fault)
    assert status == 1
    assert any(finding in text for text in findings), findings


@pytest.mark.parametrize("word", ["7dayhightemp", "7daylowtemp", "7dayhighhum", "7daylowhum"])
def test_seven_day_word_without_its_flag_is_found(mapped, folder, word):
    (folder / "page.txt").write_text('{"A": %s}' % word)
    status, (finding,), _ = mapped()
    assert status == 1
    assert f'it holds "{word}", and the resource has no "7dayAccum"' in finding
    (folder / "page.txt").write_text('{"A": %s}' % word)
    assert mapped({"7dayAccum": True}) == (0, [], "")


@pytest.fixture
def described(ctl, mapped, folder):
    """Writes a device and a page, and says what the check of a map finds with both."""
    def check(page, description=None, point_change=None):
        (folder / "device.json").write_text(json.dumps(description or {"Points": [
            {"Id": 1201, "Name": "supply", "Value": "21"},
            {"Id": 1202, "Source": {"Type": "file", "Path": "/nowhere"}}]}))
        mapped(point_change=point_change)
        (folder / "page.txt").write_text(page)
        ended = ctl.run("--json", "map", "check", "map.txt", "--device", "device.json")
        assert ended.stderr == b""
        return json.loads(ended.stdout)
    return check


@pytest.mark.parametrize("page", [
    '{"A": {{point:1201}}, "B": temp_uom_celsius~1201, "C": {{point:1202|null}}}',
    '{"A": "{{label}}{{point:4329}}{{point:1202}}"}'])
def test_page_that_becomes_json_is_none_to_find(described, page):
    assert described(page) == []


@pytest.mark.parametrize("page, finding", [
    ('{"A": {{point:4329}}}', "with the device's values it becomes no JSON object"),
    ('{"A": 1,}', "with the device's values it becomes no JSON object"),
    ('[{{point:1201}}]', "with the device's values it becomes no JSON object"),
    ('{"A": {{point:1202}}}', "it becomes no JSON object while a source has no value"),
])
def test_page_that_becomes_no_json_is_found(described, page, finding):
    (found,) = described(page)
    assert found.startswith('resource "thermal": page "page.txt": ' + finding)


def test_point_that_the_device_lacks_is_found(described):
    page = '{"A": {{point:1201}}}'
    assert described(page, point_change={"id": 5}) == ["point 5: the device has no such point"]
    assert described(page, point_change={"pldQueryArgs": "6,1,0,0,0"}) == [
        'point 1201: "pldQueryArgs" asks for point 6, which the device does not have']
    assert described(page, point_change={"pldQueryArgs": "4329,1,0,0,0"}) == []
    assert described(page, point_change={"pld": "suply"}) == [
        'point 1201: "pld" asks for point "suply", which the device does not have '
        '(is "supply" meant?)']
    assert described(page, point_change=event(arg1="supply", arg2="a")) == [
        'point 1201: "arg2" asks for point "a", which the device does not have']


@pytest.mark.parametrize("asking, what", [
    ("{{point:7|null}}", "mark"), ("temp_uom_celsius~7", "temperature tag")],
    ids=["mark", "tag"])
def test_point_of_a_page_that_the_device_lacks_is_found(described, asking, what):
    assert described('{"A": {{point:1201}},\n "B": %s}' % asking) == [
        f'resource "thermal": page "page.txt": line 2: a {what} asks for point 7, which the device '
        "does not have"]


def test_daemons_own_device_is_taken_unless_another_is_named(ctl, mapped, device):
    device.describe({"Points": []})
    assert "point 1201: the device has no such point" in mapped()[1]
    device.describe("{")
    assert f"{device.file} is not valid JSON: line 1, column " in ctl.refuses(
        1, "map", "check", "map.txt")
    assert "none.json: No such file" in ctl.refuses(
        1, "map", "check", "map.txt", "--device", "none.json")


def test_device_is_checked(ctl, folder):
    (folder / "device.json").write_text(
        '{"Points": [{"Id": 1, "id": 2, "Modules": "x"}], "Events": [], "Events": []}')
    ended = ctl.run("--json", "device", "check", "device.json")
    assert (ended.returncode, ended.stderr) == (1, b"")
    findings = json.loads(ended.stdout)
    assert findings[:2] == ['"Modules" of "Points"[0] is not an integer from 1 to 1024',
                            'unknown key "id" (is "Id" meant?) of "Points"[0]']
    assert "duplicate" in findings[2] and len(findings) == 3
    assert ctl.run("device", "check", "device.json").stdout.decode().splitlines() == [
        f"device.json: {finding}" for finding in findings]


@pytest.mark.parametrize("source, finding", [
    ({"Type": "hwmon", "Chip": "coretemp"}, '"Label" in "Source" of "Points"[0] is missing'),
    ({"Type": "hwmon", "Chip": "coretemp", "Label": "a/b", "Attribute": "a/b"},
     '"Attribute" in "Source" of "Points"[0] holds a slash'),
    ({"Type": "command", "Command": ["/bin/true"], "Pointr": ""},
     'unknown key "Pointr" (is "Pointer" meant?) in "Source" of "Points"[0]'),
    ({"Type": "nowhere"}, 'sources of the type "nowhere" are not read: its module is not installed'),
])
def test_settings_of_sources_are_checked_by_their_modules(ctl, folder, source, finding):
    (folder / "device.json").write_text(json.dumps({"Points": [{"Id": 1, "Source": source}]}))
    ended = ctl.run("device", "check", "device.json")
    assert (ended.returncode, ended.stderr) == (1, b"")
    assert ended.stdout.decode() == f"device.json: {finding}\n"


def test_device_that_can_not_be_read(ctl, folder):
    assert "none.json: No such file" in ctl.refuses(1, "device", "check", "none.json")
    (folder / "device.json").write_text('{\n"Points": [\n')
    assert "device.json is not valid JSON: line 3, column " in ctl.refuses(
        1, "device", "check", "device.json")


def test_page_that_ends_in_a_temperature_tag_is_found(mapped, folder):
    (folder / "hot.txt").write_text("temp_uom_celsius~1201")
    status, (finding,), _ = mapped({"resourcePatch": "hot.txt"})
    assert status == 1
    assert "the daemon would never come back from it" in finding


def test_second_resource_of_a_name_is_found(mapped):
    same = {"name": "thermal", "url": "/<uuid>", "resourceTag": "<uuid>",
            "resourcePatch": "page.txt", "tempUomCelsius": True}
    status, findings, _ = mapped(more={"resourceUrls": [same, same]})
    assert (status, findings) == (
        1, ['resource "thermal": there is an earlier one of that name'])


def test_key_that_is_written_twice_is_found(ctl, mapped, folder):
    mapped()
    text = (folder / "map.txt").read_text()
    (folder / "map.txt").write_text(text[:-1] + ', "thermal": []}')
    ended = ctl.run("map", "check", "map.txt")
    assert ended.returncode == 1
    assert b"duplicate" in ended.stdout


@pytest.mark.parametrize("change, complaint", [
    ({"id": "1201"}, "InitIdToResAndPatchMaps: id is not type integer"),
    ({"pld": "supply", "pldQueryArgs": "1201"}, "ConvertPldQueryArgs:  pldQueryArgsStr argument"),
], ids=["id", "arguments"])
def test_what_the_loader_complains_of_is_a_fault(mapped, change, complaint):
    status, _, complaints = mapped(point_change=change)
    assert status == 1
    assert complaints.startswith(f"cloudclientctl: {complaint}")


def test_map_that_can_not_be_read(ctl, folder):
    assert "none.txt: No such file" in ctl.refuses(1, "map", "check", "none.txt")
    (folder / "map.txt").write_text('{\n"resourceUrls": [\n')
    assert "line: 3" in ctl.refuses(1, "map", "check", "map.txt")
    (folder / "map.txt").write_text("{}")
    assert "resourceUrls object not found" in ctl.refuses(1, "map", "check", "map.txt")


def test_pages_of_another_folder(ctl, mapped, folder):
    mapped()
    (folder / "pages" / "deep").mkdir(parents=True)
    (folder / "maps").mkdir()
    shutil.move(folder / "map.txt", folder / "maps" / "map.txt")
    shutil.move(folder / "page.txt", folder / "pages" / "page.txt")
    assert ctl.run("map", "check", "maps/map.txt").returncode == 1
    ctl.does("map", "check", "maps/map.txt", "--pages", "pages/deep")
    assert "nowhere: No such" in ctl.refuses(1, "map", "check", "maps/map.txt", "--pages", "nowhere")


# The trial of ./run.sh

def test_trial_shows_what_its_own_commands_do(programs, folder):
    told = folder / "told"
    with open(told, "wb") as output:
        trial = subprocess.Popen(
            [sys.executable, "-B", os.path.join(TOP, "scripts", "trial.py"), "--programs", programs,
             "--accelerated", "--folder", folder / "run"],
            stdout=output, stderr=output, start_new_session=True, env={**os.environ, **SANITIZERS})

    def shows(text):
        wait_until(lambda: re.search(text, told.read_text()), text,
                   alive=lambda: trial.poll() is None or pytest.fail(told.read_text()))

    def types(words):
        (line,) = [one for one in told.read_text().splitlines() if one.endswith(f" {words}")]
        subprocess.run(["/usr/bin/env", *shlex.split(line)], check=True)

    try:
        shows("supply 18, return 27 degrees; in seven days 18 to 18")
        shows("the daemon follows the device from now on")
        types("device raise 4711")
        types("device set 1201 31")
        shows('alarm arrived: 4711, Alarm, "Filter clogged')
        shows('alarm arrived: 4712, Alarm, "Supply temperature high')
        shows("supply 31, return 27 degrees; in seven days 18 to 31")
        types("device clear 4711")
        types("device set 1201 20")
        shows("alarm cleared: 4711")
        shows("alarm cleared: 4712")
        shows("supply 20, return 27 degrees; in seven days 18 to 31")
        assert "refused" not in told.read_text()
    finally:
        trial.send_signal(signal.SIGINT)
    assert trial.wait(timeout=90) == 0, told.read_text()


# The policy

@pytest.mark.parametrize("token, chassis, told", [
    ("", {}, "\n\nNot connected, or not yet. After a failure it is tried again.\n"),
    ("token-0815", {"C1": {"VelocityInstance": 0}},
     "\n\nIf connecting failed, it is tried again.\n")], ids=["new", "registered"])
def test_status_says_that_a_connection_is_tried_again(ctl, daemon, device, nobody, token, chassis,
                                                      told):
    daemon.write("policy.json", {"Registration": {"RetrySeconds": {"First": 5, "Most": 300}}})
    daemon.configure(Url=nobody.url, XAuthToken=token, Chassis=chassis)
    daemon.start()
    daemon.logs("not connected, trying again")
    assert told in ctl.does("status")


def test_policy_show_says_where_each_value_comes_from(ctl, daemon):
    daemon.write("policy.json", {
        "Preset": "hardened", "Transport": {"StallSeconds": 20, "ProxyAuth": "me:secret"}})
    values = {value["key"]: (value["value"], value["from"]) for value in ctl.tells("policy", "show")}
    assert values["Preset"] == ('"hardened"', "file")
    assert values["Transport.StallSeconds"] == ("20", "file")
    assert values["Transport.RequestTimeoutSeconds"] == ("60", "preset")
    assert values["Transport.CaFile"] == ("none", "default")
    assert values["Transport.ProxyAuth"] == ("********", "file")
    told = ctl.does("policy", "show")
    assert re.search(r"^Transport.StallSeconds +20 +file$", told, re.MULTILINE)
    assert "secret" not in told


def test_policy_show_without_a_file_shows_the_defaults(ctl):
    values = ctl.tells("policy", "show")
    assert {value["from"] for value in values} == {"default"}
    assert {value["key"] for value in values} >= {"Preset", "Transport.VerifyServer"}


def test_policy_that_is_none_is_told_with_its_place(ctl, daemon):
    daemon.write("policy.json", '{"Preset": "hardned"}')
    path = daemon.path("policy.json")
    what = 'line 1, column 12: "Preset" is none of "hardened"'
    assert ctl.refuses(1, "policy", "show") == f"{path}: {what}"
    ended = ctl.run("policy", "check")
    assert (ended.returncode, ended.stdout.decode()) == (1, f"{path}: {what}\n")
    assert f"policy      wrong: {path}: {what}\n" in ctl.does("status")
    assert ctl.run("--json", "policy", "check").stdout.decode() == json.dumps([what], indent=2) + "\n"


def test_policy_check_reads_the_file_that_is_named(ctl, folder):
    (folder / "new.json").write_text('{"Transport": {"HostOfUrl": true}}')
    assert ctl.does("policy", "check", "new.json") == "new.json: nothing found\n"
    ended = ctl.run("policy", "check", "missing.json")
    assert (ended.returncode, ended.stdout) == (1, b"missing.json: there is no such file\n")
    (folder / "folder.json").mkdir()
    ended = ctl.run("policy", "check", "folder.json")
    assert ended.stdout == b"folder.json: cannot be read: Is a directory\n"


def test_status_says_what_the_policy_is(ctl, daemon):
    for policy, told in (({}, "0 keys of its own"),
                         ({"Transport": {"HostOfUrl": True}}, "1 key of its own"),
                         ({"Preset": "hardened", "Queues": {"Most": 5}},
                          "hardened, 1 key of its own")):
        daemon.write("policy.json", policy)
        assert ctl.tells("status")["policy"] == told
        assert f"policy      {told}\n" in ctl.does("status")
