# SPDX-License-Identifier: Apache-2.0
"""The service by itself, as a process."""

import contextlib
import signal
import subprocess

import pytest

from harness.daemon import EMAIL, KEY, UUID
from harness.process import clock, environment
from harness.wire import certificate_pair, connect

pytestmark = pytest.mark.both_stores

REGISTRATION = f"/redfish/v1/Managers?setup_email={EMAIL}&registration_key={KEY}"


def register(service):
    """Registers a manager over the wire; its token."""
    service.start()
    status, headers = service.send("POST", REGISTRATION, body=f'{{"UUID": "{UUID}", "Name": "a"}}')
    assert status == 201
    return headers["X-Auth-Token"]


@pytest.mark.smoke
def test_what_is_registered_outlives_the_process(service):
    token = register(service)
    service.stop()
    service.start()
    assert service.manager(token)["Name"] == "a"


def test_what_was_answered_outlives_a_crash(service):
    token = register(service)
    service.crash()
    service.start()
    assert service.manager(token)["Name"] == "a"


@pytest.mark.sqlite
def test_certificate_is_made_once(service):
    service.start()
    first = service.certificate()
    service.stop()
    service.start()
    assert service.certificate() == first
    assert "certificate made" not in service.error_text()


@pytest.mark.sqlite
def test_certificate_is_read_again_without_a_lost_connection(service, folder):
    service.start(faketime=clock(1))
    first = service.certificate()
    with contextlib.closing(connect(service.url)) as old:
        def is_answered():
            old.request("GET", "/redfish/v1")
            answer = old.getresponse()
            return answer.status == 200 and answer.read()
        assert is_answered()
        link = old.sock
        certificate, key = folder / "service.db.crt", folder / "service.db.key"
        certificate.write_text("broken")
        service.signal(signal.SIGHUP)
        service.says(" certificate not read again, the one before stays: "
                     f"cannot use the certificate {certificate}: ")
        assert service.certificate() == first
        assert is_answered()
        certificate_pair(certificate, key)
        service.signal(signal.SIGHUP)
        service.says(f" certificate read again: {certificate}\n")
        second = service.certificate()
        assert second == certificate.read_text() != first
        assert is_answered()
        assert old.sock is link


def test_second_registration_ends_the_first(service):
    first = register(service)
    service.stop()
    second = register(service)
    assert service.manager(first) is None
    assert service.manager(second)["UUID"] == UUID


def test_malformed_registration_stores_nothing(service):
    service.start()
    status, error = service.ask("POST", REGISTRATION, body='{"UUID": ')
    assert status == 400
    assert error["error"]["@Message.ExtendedInfo"]
    assert "manager registered" not in service.error_text()


def test_wrong_options_are_refused(programs, folder):
    ended = subprocess.run([programs / "service" / "cloudservice", "--listen", "nowhere"],
                           env=environment(clock()), cwd=folder, capture_output=True, text=True)
    assert ended.returncode == 2
    assert "--listen nowhere" in ended.stderr
    assert not list(folder.iterdir())


def test_port_that_is_taken_is_a_clear_failure(programs, folder, nobody):
    ended = subprocess.run(
        [programs / "service" / "cloudservice", "--http", "--db", folder / "other.db",
         "--listen", nobody.url.removeprefix("http://")],
        env=environment(clock()), cwd=folder, capture_output=True, text=True)
    assert ended.returncode == 1
    assert "cannot listen on 127.0.0.1" in ended.stderr
    assert nobody.url.rpartition(":")[2] in ended.stderr
