# SPDX-License-Identifier: Apache-2.0
"""Values of a machine's own controller, and of the service itself, by Redfish."""

import pytest

from harness.appliance import Appliance
from harness.controller import CHASSIS, PASSWORD, USER, Controller
from harness.daemon import UUID
from harness.snmp import credentials
from harness.wire import pin_of, tls_context

SECRETS = "/etc/cloudclient/bmc.json"

pytestmark = pytest.mark.usefixtures("secrets")


@pytest.fixture
def controller():
    server = Controller()
    yield server
    server.speaks()
    server.close()


@pytest.fixture
def tls_controller(folder):
    # Not by its address: not every TLS library compares one.
    server = Controller(tls_context(folder, "-addext", "subjectAltName=DNS:localhost"))
    server.url = server.url.replace("127.0.0.1", "localhost")
    yield server
    server.close()


@pytest.fixture
def secrets(root, device):
    return credentials(root / "etc/cloudclient", "bmc.json", User=USER, Password=PASSWORD)


def source(server, **more):
    return {"bmc": {"Type": "redfish", "Url": server.url, "Credentials": SECRETS,
                    "TimeoutSeconds": 1, "Retries": 0, **more}}


def point(number, path, pointer, **more):
    return {"Id": number, "Name": f"p{number}", "Decimals": 1, **more,
            "Source": {"From": "bmc", "Path": f"{CHASSIS}/{path}", "Pointer": pointer}}


POINTS = [point(1, "Thermal", "/Temperatures/0/ReadingCelsius"),
          point(2, "Thermal", "/Temperatures/1/ReadingCelsius"),
          point(3, "Thermal", "/Fans/0/Status/Health", States={"OK": "Good"}),
          point(4, "Sensors/Inlet", "/Reading"),
          point(5, "Power", "/PowerControl/0/PowerConsumedWatts", Decimals=0),
          point(6, "Thermals", "/Name")]
VALUES = {"p1": "41.5", "p2": "", "p3": "Good", "p4": "22.2", "p5": "344", "p6": ""}


@pytest.mark.parametrize("login", ["basic", "session"])
def test_places_in_resources_are_values(daemon, controller, runs, values, login):
    runs({"Sources": source(controller, Login=login), "Points": POINTS})
    values(**VALUES)
    daemon.logs("point 2 has no value: its pointer names null")
    daemon.logs("point 6 has no value: its controller answers status 404")
    controller.documents[f"{CHASSIS}/Thermal"]["Temperatures"][0]["ReadingCelsius"] = 43
    values(p1="43.0")
    assert controller.connections() == 1
    assert controller.logins == (1 if login == "session" else 0)


def test_resource_is_fetched_once_for_all_its_points(controller, runs, values):
    runs({"PollSeconds": 86400, "Sources": source(controller), "Points": POINTS})
    values(**VALUES)
    assert sorted(controller.asked) == sorted(
        f"GET {CHASSIS}/{name}" for name in ("Thermal", "Sensors/Inlet", "Power", "Thermals"))


def test_session_that_was_forgotten_is_opened_anew(daemon, controller, runs, values):
    runs({"Sources": source(controller, Login="session"), "Points": POINTS})
    values(**VALUES)
    controller.forgets_sessions()
    controller.documents[f"{CHASSIS}/Power"]["PowerControl"][0]["PowerConsumedWatts"] = 17
    values(p5="17", p1="41.5")
    assert controller.logins == 2
    assert not daemon.logged("does not answer")


def test_controller_that_is_silent_or_gone_costs_its_own_points(daemon, controller, runs, values):
    runs({"Sources": source(controller), "Points": [*POINTS, {"Id": 99, "Name": "p99", "Source": {
        "Type": "command", "Command": ["/bin/echo", "7"]}}]})
    values(p1="41.5", p99="7")
    controller.falls_silent()
    daemon.logs("source bmc does not answer: Timeout was reached")
    values(p1="", p99="7")
    controller.speaks()
    daemon.logs("source bmc answers again")
    controller.close()
    values(p1="")
    controller.listen()
    values(p1="41.5")


def test_wrong_password_is_said_without_it(daemon, root, controller, runs, values):
    file = credentials(root / "etc/cloudclient", "bmc.json", User=USER, Password="wrong-secret")
    runs({"Sources": source(controller), "Points": POINTS})
    daemon.logs("source bmc does not answer: its controller refuses the credentials")
    credentials(file.parent, file.name, User=USER, Password=PASSWORD)
    values(**VALUES)
    assert "wrong-secret" not in daemon.error_text() and PASSWORD not in daemon.error_text()


def test_certificate_is_checked(daemon, folder, root, tls_controller, runs, values):
    runs({"Sources": source(tls_controller), "Points": POINTS})
    daemon.logs("source bmc does not answer: SSL peer certificate")
    assert not tls_controller.asked


@pytest.mark.parametrize("trust", ["CaFile", "PinnedPublicKey", "VerifyServer"])
def test_certificate_that_is_trusted_is_taken(folder, root, tls_controller, runs, values, trust):
    pem = (folder / "server.pem").read_text()
    (root / "etc/cloudclient/ca.pem").write_text(pem)
    how = {"CaFile": "/etc/cloudclient/ca.pem", "PinnedPublicKey": pin_of(pem),
           "VerifyServer": False}[trust]
    runs({"Sources": source(tls_controller, **{trust: how}), "Points": POINTS})
    values(**VALUES)


def test_other_key_than_the_pinned_one_is_refused(daemon, tls_controller, runs):
    runs({"Sources": source(tls_controller, VerifyServer=False, PinnedPublicKey="sha256//" + "A" * 43 + "="),
          "Points": POINTS})
    daemon.logs("source bmc does not answer: ")
    assert not tls_controller.asked


def test_resources_of_the_service_are_values(root, service, runs, values):
    service.start("--http")
    appliance = Appliance(service, UUID).has_chassis(Name="Rack")
    uri = appliance.keeps("Thermal", {"Temperatures": [{"MemberId": "0", "ReadingCelsius": 21.5}]})
    credentials(root / "etc/cloudclient", "bmc.json", Token=appliance.token)
    runs({"Sources": source(service, TimeoutSeconds=30), "Points": [
        {"Id": 1, "Name": "p1", "Decimals": 1, "Source": {
            "From": "bmc", "Path": uri, "Pointer": "/Temperatures/0/ReadingCelsius"}}]})
    values(p1="21.5")
