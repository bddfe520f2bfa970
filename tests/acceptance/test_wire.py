# SPDX-License-Identifier: Apache-2.0
"""What goes over the wire, to the byte: only the time of registration and the appliance's own
address in the Host lines are replaced."""

import pytest

from harness.daemon import NAME, UUID
from harness.recorder import TOKEN
from harness.wire import answer

REGISTRATION = "POST /redfish/v1/Managers"
LOOKUP = "GET /redfish/v1/Managers"
HEARTBEAT = f"POST /hb/{UUID}"
DELETION = f"DELETE /redfish/v1/Managers/{UUID}"
ENABLED = "cloudclient is now registered for device changes"


def whole(*head, body=""):
    return "\r\n".join(head) + "\r\n\r\n" + body


def post(path, body, *more):
    return whole(f"POST {path} HTTP/1.1", "Host: ADDRESS", "Content-Type: application/json",
                 f"Content-Length: {len(body)}", "Accept: application/json", *more, body=body)


@pytest.fixture(params=["recorder", "tls_recorder"], ids=["http", "tls"])
def wire(request):
    return request.getfixturevalue(request.param)


def test_service_root_is_asked_without_a_header_of_ours(daemon, device, recorder):
    daemon.configure(Url=recorder.url, XAuthToken="secret")
    daemon.start()
    host = recorder.url.removeprefix("http://")
    assert recorder.receives("GET /redfish/v1").raw.decode() == whole(
        "GET /redfish/v1 HTTP/1.1", f"Host: {host}", "Accept: */*")


def test_lookup_without_a_token_has_no_token_line(daemon, device, recorder):
    daemon.configure(Url=recorder.url)
    daemon.start()
    assert recorder.receives(LOOKUP).text == whole(
        f"GET /redfish/v1/Managers?uuid={UUID} HTTP/1.1", "Host: ADDRESS",
        "Accept: application/json")


def test_lookup_carries_the_stored_token(daemon, device, recorder):
    daemon.configure(Url=recorder.url, XAuthToken="secret 1 ")
    daemon.start()
    assert recorder.receives(LOOKUP).text == whole(
        f"GET /redfish/v1/Managers?uuid={UUID} HTTP/1.1", "Host: ADDRESS",
        "Accept: application/json", "X-Auth-Token: secret 1 ")


def test_redirect_is_followed_once_with_the_same_token(daemon, device, recorder):
    recorder.answers(LOOKUP, answer(302, "Location: \t /redfish/v1/Managers/7?x=1"))
    recorder.answers("GET /redfish/v1/Managers/7", answer(302, "Location: /redfish/v1/other"))
    daemon.configure(Url=recorder.url, XAuthToken="secret")
    daemon.start()
    assert recorder.receives("GET /redfish/v1/Managers/7").text == whole(
        "GET /redfish/v1/Managers/7?x=1 HTTP/1.1", "Host: ADDRESS", "Accept: application/json",
        "X-Auth-Token: secret")
    daemon.logs("GetManagerInstance: Failed to retrieve manager instance")
    assert "GET /redfish/v1/other" not in recorder.lines()


def test_registration(daemon, device, wire, version):
    daemon.configure(Url=wire.url)
    daemon.start()
    assert wire.receives(REGISTRATION).text == post(
        "/redfish/v1/Managers?setup_email=keeper+plant&2@example.org&registration_key=key-4711",
        '{\n'
        '"DateTime": "YYYY-MM-DDThh:mm:ss+0100",\n'
        f'"FirmwareVersion": "{version}",\n'
        '"ManagerType": "ManagementController",\n'
        '"Model": "Kyros",\n'
        f'"Name": "{NAME}",\n'
        f'"UUID": "{UUID}"\n'
        '}\n')


def test_chassis(daemon, device, wire):
    daemon.configure(Url=wire.url)
    daemon.start()
    assert wire.receives("POST /redfish/v1/Chassis").text == post(
        "/redfish/v1/Chassis",
        '{\n'
        '  "Name": "Cooling unit 7",\n'
        '  "ChassisType": "Module",\n'
        '  "AssetTag": "1.2.3",\n'
        '  "Supply": "21",\n'
        f'  "Links": {{"ManagedBy": [{{"@odata.id": "/redfish/v1/Managers/{UUID}"}}]}}\n'
        '}\n', f"X-Auth-Token: {TOKEN}")


def test_heartbeat(daemon, device, wire):
    daemon.configure(Url=wire.url)
    daemon.start()
    assert wire.receives(HEARTBEAT).text == post(
        f"/hb/{UUID}",
        f'{{"HeartbeatDestination": "{wire.url}/hb/{UUID}", "HeartbeatInterval": 90}}',
        f"X-Auth-Token: {TOKEN}")


def test_unregistration(daemon, device, wire):
    daemon.configure(Url=wire.url)
    daemon.start()
    daemon.logs(ENABLED)
    daemon.disable()
    assert wire.receives(DELETION).text == whole(
        f"DELETE /redfish/v1/Managers/{UUID} HTTP/1.1", "Host: ADDRESS", "Accept: */*",
        f"X-Auth-Token: {TOKEN}")


def test_requests_come_in_the_order_of_the_life_cycle(daemon, device, recorder):
    daemon.configure(Url=recorder.url)
    daemon.start()
    recorder.receives(HEARTBEAT)
    daemon.disable()
    recorder.receives(DELETION)
    life = ["GET /redfish/v1", LOOKUP, REGISTRATION, "POST /redfish/v1/Chassis", HEARTBEAT,
            DELETION]
    seen = [r.name for r in recorder.requests() if r.name in life]
    assert [name for name in dict.fromkeys(seen)] == life
    assert [seen.count(name) for name in life if name != HEARTBEAT] == [1, 1, 1, 1, 1]
