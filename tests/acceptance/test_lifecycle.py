# SPDX-License-Identifier: Apache-2.0
"""Enabling, disabling, renaming, and the rhythm of a running daemon."""

import pytest

from harness.daemon import NAME, UUID
from harness.recorder import CLOSES
from harness.waiting import wait_until
from harness.wire import answer

ENABLED = "cloudclient is now registered for device changes"
DISABLED = "DoWork: cloudclient is now DISABLED"
HEARTBEAT = f"POST /hb/{UUID}"


def test_disabled_daemon_waits_and_asks_nothing(daemon, device, recorder):
    daemon.configure(Url=recorder.url, Enabled=False)
    daemon.start()
    daemon.logs("OnStart: Cloud Client is running but DISABLED")
    daemon.enable()
    recorder.receives(HEARTBEAT)
    assert len(daemon.logged("is running but DISABLED")) == 1


@pytest.mark.smoke
def test_disabled_and_enabled_again(daemon, device, service):
    service.start("--http")
    daemon.configure(Url=service.url)
    daemon.start()
    daemon.logs(ENABLED)
    first = daemon.token
    daemon.disable()
    daemon.logs(DISABLED)
    daemon.logs("DoWork: Cloud Client is unregistered from the Cloud Service")
    assert service.manager(first) is None
    assert (daemon.token, daemon.chassis) == ("", [])
    daemon.enable()
    daemon.logs(ENABLED, times=2)
    service.heartbeats(daemon.token, 1)


def test_heartbeats_go_on(daemon, device, service):
    service.start()
    daemon.configure(Url=service.url)
    daemon.start()
    daemon.logs(ENABLED)
    heartbeat = service.heartbeats(daemon.token, 3)
    assert heartbeat["IntervalSeconds"] == 90
    assert not heartbeat["Overdue"]


def test_appliance_without_heartbeat_is_overdue(daemon, device, service, clock_of):
    its_clock = clock_of("2026-03-05 12:00:00", 1)
    service.start("--http", faketime=its_clock)
    daemon.configure(Url=service.url)
    daemon.start()
    daemon.logs(ENABLED)
    assert not service.heartbeats(daemon.token, 1)["Overdue"]
    daemon.crash()
    its_clock.step(3 * 90 + 1)
    assert service.heartbeat(daemon.token)["Overdue"]


def test_failed_heartbeat_is_not_repeated_and_the_next_one_comes(daemon, device, recorder):
    recorder.answers(HEARTBEAT, CLOSES, answer(500), answer(200))
    daemon.configure(Url=recorder.url)
    daemon.start()
    recorder.receives(HEARTBEAT, times=3)
    assert [e.level for e in daemon.logs("SendHeartbeat: heartbeat failed", times=4)] == [3, 7, 3, 7]


def test_renamed_appliance_is_unregistered(daemon, device, service):
    service.start("--http")
    daemon.configure(Url=service.url)
    daemon.start()
    daemon.logs(ENABLED)
    token = daemon.token
    daemon.rename("Hall 4")
    daemon.logs(f"unit name {NAME} has been unregistered from the cloud service.")
    wait_until(lambda: daemon.token == "", "the token to be forgotten")
    assert service.manager(token) is None
    assert daemon.config()["UnitName"] == "Hall 4"
    daemon.disable()
    daemon.logs(DISABLED)
    daemon.enable()
    daemon.logs(ENABLED, times=2)
    assert service.manager(daemon.token)["Name"] == "Hall 4"


def test_rename_while_waiting_to_be_enabled_loses_nothing(daemon, device, service):
    service.start("--http")
    daemon.configure(Url=service.url)
    daemon.start()
    daemon.logs(ENABLED)
    token, chassis = daemon.token, daemon.chassis
    daemon.stop()
    daemon.disable()
    daemon.start()
    daemon.logs("OnStart: Cloud Client is running but DISABLED")
    daemon.rename("Hall 4")
    wait_until(lambda: daemon.config()["UnitName"] == "Hall 4", "the new unit name")
    daemon.sleeps(20)  # once the name is stored, it looks whether it is enabled
    daemon.enable()
    daemon.logs(ENABLED)
    service.heartbeats(token, 1)
    assert (daemon.token, daemon.chassis) == (token, chassis)
    assert not daemon.logged("has been unregistered")


def test_rename_while_waiting_to_be_enabled_sends_nothing(daemon, device, recorder):
    daemon.configure(Url=recorder.url, Enabled=False, XAuthToken="secret",
                     Chassis={"C1": {"VelocityInstance": 0}})
    daemon.start()
    daemon.logs("OnStart: Cloud Client is running but DISABLED")
    daemon.rename("Hall 4")
    wait_until(lambda: daemon.config()["UnitName"] == "Hall 4", "the new unit name")
    daemon.stop()
    assert recorder.requests() == []
    assert (daemon.token, daemon.chassis) == ("secret", ["C1"])


def test_rename_that_is_enabled_in_the_same_interval_unregisters(daemon, device, recorder):
    recorder.answers(f"DELETE /redfish/v1/Managers/{UUID}", answer(204))
    daemon.configure(Url=recorder.url, Enabled=False, XAuthToken="secret")
    daemon.start()
    daemon.logs("OnStart: Cloud Client is running but DISABLED")
    with daemon.held():
        daemon.enable()
        daemon.rename("Hall 4")
    daemon.logs(f"unit name {NAME} has been unregistered from the cloud service.")
    recorder.receives(f"DELETE /redfish/v1/Managers/{UUID}")


def test_rename_while_disabled_unregisters_nothing(daemon, device, recorder):
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs(ENABLED)
    daemon.disable()
    daemon.logs(DISABLED)
    daemon.rename("Hall 4")
    wait_until(lambda: daemon.config()["UnitName"] == "Hall 4", "the new unit name")
    daemon.stop()
    assert not daemon.logged("has been unregistered")
    assert len(recorder.requests(f"DELETE /redfish/v1/Managers/{UUID}")) == 1
