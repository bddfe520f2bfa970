# SPDX-License-Identifier: Apache-2.0
"""Changes of value, from the device to the resource at the service."""

import json

import pytest

from harness.alarms import at_the_service
from harness.points import SUPPLY, map_file, point, resource
from harness.proxy import REFUSING_PATCHES, THROUGH
from harness.service import as_sent

ENABLED = "cloudclient is now registered for device changes"
PAGE = '{"Temperatures": [{"ReadingCelsius": {{point:1201}}}]}'


def points(*more):
    return {"ProductSequenceId": "1.2.3", "Label": "Cooling unit 7", "PollSeconds": 1,
            "Points": [{"Id": SUPPLY, "Name": "supply", "Value": "21"}, *more],
            "Events": [{"GddId": 4711, "Text": "Supply too warm",
                        "When": {"Point": SUPPLY, "Above": 30, "Hysteresis": 2}}]}


def passes(daemon, service):
    """Waits until the daemon has surely made a pass over what was queued before."""
    heartbeat = service.heartbeat(daemon.token)
    service.heartbeats(daemon.token, (heartbeat["Count"] if heartbeat else 0) + 2)


@pytest.fixture
def connected(daemon, device, service):
    """Starts service and daemon, which are connected when it returns."""
    device.describe(points())

    def connect(through=None):
        service.start("--http")
        daemon.configure(Url=through(service).url if through else service.url)
        daemon.start()
        daemon.logs(ENABLED)
    return connect


@pytest.fixture
def thermal(daemon, service):
    """The resource at the service: what it answers, and a wait for members of it."""
    class Thermal:
        def ask(self):
            status, document = service.ask(
                "GET", f"/redfish/v1/Chassis/{daemon.chassis[0]}/Thermal", daemon.token)
            return status, as_sent(document)

        def becomes(self, member, value):
            def seen():
                status, document = self.ask()
                return status == 200 and document.get(member) == value
            service.wait_until(seen, f"{member} {value}")
    return Thermal()


@pytest.mark.smoke
def test_change_of_value_arrives_in_the_resource(device, connected, thermal):
    connected()
    device.sets(SUPPLY, "23")
    thermal.becomes("Temperatures", [{"ReadingCelsius": 23}])
    device.sets(SUPPLY, "24.5")
    thermal.becomes("Temperatures", [{"ReadingCelsius": 24.5}])


def test_fahrenheit_arrives_in_celsius(device, connected, thermal):
    device.describe(points({"Id": 1203, "Name": "return", "Value": "68", "Unit": "degF"}))
    device.page("1/2/covpatchmap.txt",
                map_file([resource(tempUomCelsius=True)], thermal=[point(1203)]))
    device.page("patch/thermal.txt", '{"Device": {{point:1203}}, "Twice": [temp_uom_celsius~1203, '
                'temp_uom_celsius~1203], "Unknown": temp_uom_celsius~9, '
                '"Supply": temp_uom_celsius~1201}')
    connected()
    device.sets(1203, "77")
    thermal.becomes("Device", 77)
    _, document = thermal.ask()
    assert (document["Twice"], document["Supply"]) == ([25, 25], 21)
    assert "Unknown" not in document  # a null takes a member away


def test_resource_of_the_manager_is_addressed_by_its_uuid(daemon, device, service, connected):
    device.page("1/2/covpatchmap.txt", map_file(
        [{"name": "room", "url": "/redfish/v1/Managers/<uuid>/Oem/Room",
          "resourcePatch": "patch/thermal.txt", "resourceTag": "<uuid>"}], room=[point()]))
    connected()
    device.sets(SUPPLY, "23")
    path = f"/redfish/v1/Managers/{daemon.config()['UUID']}/Oem/Room"

    def reading():
        status, document = service.ask("GET", path, daemon.token)
        return status == 200 and as_sent(document)["Temperatures"][0]["ReadingCelsius"]
    service.wait_until(lambda: reading() == 23, "the resource with 23")


def test_refused_patch_is_forgotten_and_the_next_one_counts(daemon, device, service, connected,
                                                            thermal, proxy_to):
    ways = []
    connected(lambda service: ways.append(proxy_to(service)) or ways[-1])
    device.sets(SUPPLY, "22")
    thermal.becomes("Temperatures", [{"ReadingCelsius": 22}])
    ways[0].becomes(REFUSING_PATCHES)
    device.sets(SUPPLY, "23")
    daemon.logs("SendResourceToCloud: Failed to PATCH :\\n" + PAGE.replace("{{point:1201}}", "23"))
    ways[0].becomes(THROUGH)
    passes(daemon, service)
    assert thermal.ask()[1]["Temperatures"] == [{"ReadingCelsius": 22}]
    device.sets(SUPPLY, "24")
    thermal.becomes("Temperatures", [{"ReadingCelsius": 24}])


def test_resource_outlives_the_service(device, service, connected, thermal):
    connected()
    device.sets(SUPPLY, "23")
    thermal.becomes("Temperatures", [{"ReadingCelsius": 23}])
    service.stop()
    service.start("--http")
    status, document = thermal.ask()
    assert (status, document["Temperatures"]) == (200, [{"ReadingCelsius": 23}])
    device.sets(SUPPLY, "24")
    thermal.becomes("Temperatures", [{"ReadingCelsius": 24}])


def test_file_moves_a_value_by_itself(daemon, device, root, connected, thermal):
    source = root / "sys" / "temp1_input"
    source.parent.mkdir()
    source.write_text("21500\n")
    device.describe({"ProductSequenceId": "1.2.3", "PollSeconds": 1, "Points": [
        {"Id": SUPPLY, "Name": "supply", "Decimals": 1,
         "Source": {"Type": "file", "Path": "/sys/temp1_input", "Scale": 0.001}}]})
    connected()
    source.write_text("23700\n")
    thermal.becomes("Temperatures", [{"ReadingCelsius": 23.7}])
    assert "source of its own" in device.refuses(
        json.dumps({"op": "set", "point": SUPPLY, "value": "99"}))
    source.unlink()
    daemon.logs(f"point {SUPPLY} has no value: ")
    source.write_text("24100\n")
    daemon.logs(f"point {SUPPLY} has a value again")
    thermal.becomes("Temperatures", [{"ReadingCelsius": 24.1}])


def test_broken_sensor_costs_its_own_value_alone(device, root, connected, thermal):
    source = root / "sys" / "fan1_input"
    source.parent.mkdir()
    source.write_text("1200\n")
    device.describe(points({"Id": 1301, "Source": {"Type": "file", "Path": "/sys/fan1_input"}}))
    device.page("1/2/covpatchmap.txt", map_file([resource()], thermal=[point(), point(1301)]))
    device.page("patch/thermal.txt", '{"Supply": {{point:1201|null}}, "Fan": {{point:1301|null}}}')
    connected()
    thermal.becomes("Fan", 1200)
    source.unlink()
    thermal.becomes("Fan", None)  # a null takes a member away
    device.sets(SUPPLY, "23")
    thermal.becomes("Supply", 23)
    source.write_text("1200\n")
    thermal.becomes("Fan", 1200)


def test_missing_value_raises_and_clears_its_alarm(daemon, device, root, service, connected):
    def alarms(*expected):
        service.wait_until(lambda: at_the_service(service, daemon) == set(expected),
                           f"alarms {expected}")
    source = root / "sys" / "fan1_input"
    source.parent.mkdir()
    source.write_text("1200\n")
    description = points({"Id": 1301, "Source": {"Type": "file", "Path": "/sys/fan1_input"}})
    description["Events"].append({"GddId": 4712, "Text": "Fan sensor lost", "When": {
        "Point": 1301, "Missing": True, "State": "Warning"}})
    device.describe(description)
    connected()
    source.unlink()
    alarms((4712, 0, "Warning"))
    source.write_text("1200\n")
    alarms()


def test_limit_raises_and_clears_its_alarm(daemon, device, service, connected):
    def alarms(*expected):
        service.wait_until(lambda: at_the_service(service, daemon) == set(expected),
                           f"alarms {expected}")
    connected()
    device.sets(SUPPLY, "30.5")
    alarms((4711, 0, "Alarm"))
    device.sets(SUPPLY, "28.5")  # within the hysteresis
    passes(daemon, service)
    assert at_the_service(service, daemon) == {(4711, 0, "Alarm")}
    device.sets(SUPPLY, "27")
    alarms()


def test_point_event_is_kept_by_the_service(daemon, device, service, connected):
    device.page("1/2/covpatchmap.txt", map_file([resource()], thermal=[point(event={
        "msgid": "TemperatureChanged", "message": "Temperature was %1", "numargs": 1,
        "arg1Type": "old", "arg2": "supply", "arg2Type": "pld"})]))
    connected()
    device.sets(SUPPLY, "23")
    service.says('"Temperature was 21" on chassis')
    query = f"?OriginOfCondition={daemon.chassis[0]}&Severity=MESSAGE"
    _, (reference,) = service.ask("GET", f"/redfish/v1/Oem/Quorvan:Events{query}", daemon.token)
    _, event = service.ask("GET", reference["@odata.id"], daemon.token)
    assert (event["MessageId"], event["MessageArgs"][1:]) == (
        "TemperatureChanged", ["Cooling unit 7", "21", ""])
    assert at_the_service(service, daemon) == set()  # it opens no alarm
