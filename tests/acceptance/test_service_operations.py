# SPDX-License-Identifier: Apache-2.0
"""What whoever runs the service needs of it."""

import contextlib
import json
import re
import socket
import sqlite3
import subprocess
import threading

import pytest

from harness.appliance import Appliance
from harness.daemon import EMAIL, KEY, UUID
from harness.process import clock, environment

pytestmark = pytest.mark.both_stores

REGISTRATION = f"/redfish/v1/Managers?setup_email={EMAIL}&registration_key={KEY}"


def register(service):
    service.start("--http", faketime=clock(1))
    _, headers = service.send("POST", REGISTRATION, body=json.dumps({"UUID": UUID, "Name": "a"}))
    return headers["X-Auth-Token"]


def back_up(programs, folder, file):
    return subprocess.run(
        [programs / "service" / "cloudservice", "backup", "--db", folder / "service.db", file],
        env=environment(clock(1)), cwd=folder, capture_output=True, text=True)


def test_health_and_metrics_are_open(service):
    service.start("--http")
    assert service.ask("GET", "/healthz") == (200, {"status": "ok"})
    status, headers = service.send("GET", "/metrics")
    assert status == 200
    assert headers["Content-Type"] == "text/plain; version=0.0.4; charset=utf-8"


def test_every_line_of_the_metrics_is_of_the_format(service):
    register(service)
    sample = re.compile(r'cloudservice_[a-z_]+(\{[a-z]+="[^"\\\n]+"(,[a-z]+="[^"\\\n]+")*\})? \d+(\.\d+)?')
    lines = service.metrics().splitlines()
    assert len(lines) > 10
    for line in lines:
        assert sample.fullmatch(line) or re.match("# (HELP|TYPE) cloudservice_[a-z_]+ ", line), line


def test_metrics_of_appliances_are_told_when_they_are_asked_for(service):
    register(service)
    name = '\ncloudservice_appliance_state{uuid="'
    assert name not in service.metrics()
    service.stop()
    service.start("--http", "--metrics-of-appliances")
    assert service.metrics().count(name) == 1


def test_answer_and_log_have_the_same_identifier(service):
    service.start("--http")
    _, headers = service.send("GET", "/redfish/v1")
    service.says(f" request {headers['X-Request-Id']} from 127.0.0.1: GET /redfish/v1: 200, ")


def test_log_of_what_is_notable_leaves_out_what_comes_all_day(service):
    service.start("--http", "--log-level", "notice")
    appliance = Appliance(service, "u-1").has_chassis()
    appliance.beats()
    appliance.keeps("Thermal", {"Reading": 21})
    appliance.keeps("Thermal", {"Reading": 22})
    appliance.raises(4711)
    service.ask("GET", "/redfish/v1/Chassis")
    appliance.drops_chassis()
    service.says("chassis removed: ")
    told = service.error_text().splitlines()
    assert [re.match(r"\S+ ([a-z]+( (?=[a-z]+:)[a-z]+)?)", line)[1] for line in told] == [
        "account", "no operator", "manager registered", "chassis created", "alarm open",
        "refused", "request", "chassis removed"]
    assert ": GET /redfish/v1/Chassis: 401, " in told[-2]


def test_sockets_of_the_service_manager_are_taken(service):
    with contextlib.ExitStack() as opened:
        sockets = [opened.enter_context(socket.create_server(("127.0.0.1", 0))) for _ in range(2)]
        ports = [one.getsockname()[1] for one in sockets]
        service.start("--http", sockets=sockets)
        assert re.findall(r"(?m)^listening on http://127\.0\.0\.1:(\d+)$",
                          service.output()) == [str(port) for port in ports]
        for service.url in [f"http://127.0.0.1:{port}" for port in ports]:
            assert service.ask("GET", "/healthz") == (200, {"status": "ok"})
        service.stop()
        # Who comes while nothing runs waits, and is answered by the next one.
        with contextlib.closing(socket.create_connection(("127.0.0.1", ports[1]), 60)) as early:
            early.sendall(b"GET /healthz HTTP/1.0\r\n\r\n")
            service.start("--http", sockets=sockets)
            assert early.recv(4096).startswith(b"HTTP/1.1 200 OK\r\n")


def test_socket_that_does_not_listen_is_named(service):
    with contextlib.closing(socket.socket(type=socket.SOCK_DGRAM)) as wrong:
        with pytest.raises(AssertionError, match="ended by itself with status 1"):
            service.start("--http", sockets=[wrong])
        service.ends(1)
    assert ("cloudservice: the socket web that was handed over (descriptor 3) is no TCP socket that "
            "listens\n") in service.error_text()


@pytest.mark.sqlite
def test_backup_of_a_busy_service_is_one_state(service, programs, folder):
    token = register(service)
    path = f"/redfish/v1/Managers/{UUID}/Load"
    answered, done = [0], threading.Event()

    def write():
        while not done.is_set():
            status, _ = service.ask("PATCH", path, token, json.dumps({"A": answered[0] + 1}))
            assert status == 204
            answered[0] += 1
    writer = threading.Thread(target=write)
    writer.start()
    try:
        for number in range(5):
            service.wait_until(lambda: answered[0] > 3 * number, "answers")
            before = answered[0]
            ended = back_up(programs, folder, folder / f"copy{number}.db")
            assert (ended.returncode, ended.stderr) == (0, "")
            after = answered[0] + 1
            with contextlib.closing(sqlite3.connect(folder / f"copy{number}.db")) as copy:
                assert copy.execute("PRAGMA integrity_check").fetchall() == [("ok",)]
                document = copy.execute("SELECT document FROM resource").fetchone()[0]
                newest = copy.execute("SELECT value FROM reading ORDER BY id DESC").fetchone()[0]
            assert before <= json.loads(document)["A"] <= after
            assert json.loads(document)["A"] == int(newest)
    finally:
        done.set()
        writer.join()


@pytest.mark.sqlite
def test_backup_replaces_no_file(service, programs, folder):
    register(service)
    ended = back_up(programs, folder, folder / "service.db")
    assert ended.returncode == 1
    assert "it is there already" in ended.stderr
    assert service.ask("GET", "/healthz")[0] == 200


@pytest.mark.sqlite
def test_old_histories_go_by_themselves(service, folder, clock_of):
    """A history is kept for a day."""
    moving = clock_of("2026-03-05 13:00:00", 50)
    service.start("--http", "--retention", "1", faketime=moving)
    _, headers = service.send("POST", REGISTRATION, body=json.dumps({"UUID": UUID, "Name": "a"}))
    token = headers["X-Auth-Token"]
    path = f"/redfish/v1/Managers/{UUID}"
    assert service.ask("PATCH", path, token, '{"A": 1}')[0] == 204

    def rows():
        with contextlib.closing(sqlite3.connect(folder / "service.db")) as database:
            return database.execute("SELECT count(*) FROM reading").fetchone()[0]
    assert rows() == 1
    # Not by the second: what is not older at the next look stays for another hour.
    moving.step(86400 + 60)
    service.wait_until(lambda: rows() == 0, "the removal of the old reading")
    assert service.ask("GET", f"{path}/Oem/Quorvan:History?member=A", token)[0] == 404
