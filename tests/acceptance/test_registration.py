# SPDX-License-Identifier: Apache-2.0
"""Registration, look-up and chassis."""

import pytest

from harness.daemon import NAME, UUID
from harness.recorder import CLOSES, TOKEN
from harness.wire import answer

ENABLED = "cloudclient is now registered for device changes"
LOOKUP = "GET /redfish/v1/Managers"
REGISTRATION = "POST /redfish/v1/Managers"
CHASSIS = "POST /redfish/v1/Chassis"


@pytest.mark.smoke
def test_appliance_registers_with_the_service_and_creates_its_chassis(daemon, device, service):
    service.start()
    daemon.configure(Url=service.url)
    daemon.start()
    daemon.logs(ENABLED)
    manager = service.manager(daemon.token)
    assert (manager["UUID"], manager["Name"]) == (UUID, NAME)
    (chassis,) = daemon.chassis
    status, document = service.ask("GET", f"/redfish/v1/Chassis/{chassis}", daemon.token)
    assert status == 200
    assert document["Name"] == "Cooling unit 7"
    assert daemon.config()["Chassis"] == {chassis: {"VelocityInstance": 0}}


def test_registered_appliance_is_found_again_after_a_restart(daemon, device, service):
    service.start("--http")
    daemon.configure(Url=service.url)
    daemon.start()
    daemon.logs(ENABLED)
    before = daemon.config()
    daemon.stop()
    daemon.start()
    daemon.logs(ENABLED)
    assert daemon.config() == before
    assert not daemon.logged("ConnectWithCloudService: ")  # where its failures are told
    assert service.error_text().count("manager registered") == 1


def test_appliance_that_the_service_forgot_registers_afresh(daemon, device, service):
    service.start("--http")
    daemon.configure(Url=service.url)
    daemon.start()
    daemon.logs(ENABLED)
    old, old_chassis = daemon.token, daemon.chassis
    daemon.stop()
    service.forgets(old)
    daemon.start()
    daemon.logs(ENABLED)
    assert daemon.token not in ("", old)
    assert daemon.chassis != old_chassis
    assert service.manager(daemon.token)["UUID"] == UUID


def test_rejected_token_clears_token_and_chassis_and_registers(daemon, device, recorder):
    recorder.answers(REGISTRATION, answer(500))
    daemon.configure(Url=recorder.url, XAuthToken="old", Chassis={"C9": {"VelocityInstance": 0}})
    daemon.start()
    daemon.logs("ConnectWithCloudService: Cloud Client failed to register(3) with the Cloud Service")
    assert (daemon.token, daemon.chassis) == ("", [])


def test_only_403_leads_to_a_registration(daemon, device, recorder):
    recorder.answers(LOOKUP, answer(401))
    daemon.configure(Url=recorder.url, XAuthToken="old", Chassis={"C9": {"VelocityInstance": 0}})
    daemon.start()
    daemon.logs("ConnectWithCloudService: Unknown cloud client error (3)")
    daemon.logs(ENABLED)
    assert (daemon.token, daemon.chassis) == ("old", ["C9"])
    assert not recorder.requests(REGISTRATION)


def test_token_is_found_in_any_case_and_keeps_its_trailing_blanks(daemon, device, recorder):
    recorder.answers(REGISTRATION, answer(201, "x-AUTH-token: \t a b  "))
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs(ENABLED)
    assert daemon.token == "a b  "


def test_registration_without_a_token_fails(daemon, device, recorder):
    recorder.answers(REGISTRATION, answer(201, body={}))
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs("Register: Success BUT missing x-auth-token. This is an error.")
    daemon.logs("Cloud Client failed to register(7) with the Cloud Service")
    assert not recorder.requests(CHASSIS)


def test_found_manager_gets_no_second_chassis(daemon, device, recorder):
    recorder.knows_the_manager()
    daemon.configure(Url=recorder.url, XAuthToken="t", Chassis={"C9": {"VelocityInstance": 0}})
    daemon.start()
    daemon.logs(ENABLED)
    assert recorder.requests(f"GET /redfish/v1/Managers/{UUID}")
    assert not recorder.requests(CHASSIS)
    assert daemon.chassis == ["C9"]


def test_redirect_without_location_is_an_unknown_error(daemon, device, recorder):
    recorder.answers(LOOKUP, answer(303, "location: /lower/case"))
    daemon.configure(Url=recorder.url, XAuthToken="t")
    daemon.start()
    daemon.logs("GetManagerInstance: Missing LOCATION on redirect")
    daemon.logs("ConnectWithCloudService: Unknown cloud client error (3)")


def test_service_root_without_managers_is_an_unknown_error(daemon, device, recorder):
    recorder.answers("GET /redfish/v1", answer(200, body={"Name": "root"}))
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs("ConnectWithCloudService: Unknown cloud client error (11)")


def test_failed_chassis_is_not_posted_again(daemon, device, recorder):
    recorder.answers(CHASSIS, CLOSES)
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs("ConnectWithCloudService: Failed to add chassis to cloud service (3)")
    daemon.logs(ENABLED)
    daemon.stop()
    assert daemon.token == TOKEN
    recorder.knows_the_manager()
    daemon.start()
    daemon.logs("ReconcileWithCloudService: No configure chassis")
    assert len(recorder.requests(CHASSIS)) == 1


def test_wrong_registration_key_registers_nothing(daemon, device, service):
    service.start()
    daemon.configure(Url=service.url, RegistrationKey="wrong")
    daemon.start()
    daemon.logs("Cloud Client failed to register(3) with the Cloud Service")
    assert daemon.token == ""
    assert "manager registered" not in service.error_text()


def test_new_appliance_gets_a_uuid_and_takes_the_system_name(daemon, device, recorder):
    daemon.configure(Url=recorder.url, UUID="", UnitName="")
    daemon.start()
    recorder.receives("GET /redfish/v1")
    config = daemon.config()
    assert config["UnitName"] == NAME
    assert len(config["UUID"]) == 36
    recorder.receives(REGISTRATION)
    assert config["UUID"] in recorder.requests(REGISTRATION)[0].text


def test_appliance_without_a_name_does_not_connect(daemon, device, recorder):
    daemon.write("sysinfo.json", {"SysName": "Uninitialized"})
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs("HasValidConfiguration: Kyros System Name is 'Uninitialized' which is not a valid "
                "Cloud Client UnitName")
    daemon.stop()
    assert recorder.lines() == []
