# SPDX-License-Identifier: Apache-2.0
"""Alarms of the device, from the device to the service."""

import json

import pytest

from harness.alarms import at_the_device, at_the_service, events_url
from harness.daemon import UUID
from harness.waiting import wait_until

ENABLED = "cloudclient is now registered for device changes"
EVENTS = f"POST {events_url()}"
TWO_MODULES = 4711
ONE_MODULE = 4712


@pytest.fixture
def alarms(daemon, device, service):
    """A daemon that is connected with a service, and what the service holds."""
    device.describe({
        "ProductSequenceId": "1.2.3", "Label": "Cooling unit 7",
        "Points": [{"Id": 1201, "Name": "supply", "Value": "21"}],
        "Events": [{"GddId": TWO_MODULES, "Text": "Filter clogged", "Modules": 2},
                   {"GddId": ONE_MODULE, "Text": 'Door "north" offen, Gerät 7'},
                   {"GddId": 4713, "Text": "Gerät 7 läuft"}]})
    service.start("--http")
    daemon.configure(Url=service.url)
    daemon.start()
    daemon.logs(ENABLED)

    class Alarms:
        def become(self, *expected):
            """Waits until the service's open alarms are these."""
            wait_until(lambda: at_the_service(service, daemon) == set(expected),
                       f"open alarms {expected}")
    return Alarms()


@pytest.mark.smoke
def test_alarm_arrives_and_clears(alarms, device):
    device.raises(TWO_MODULES)
    alarms.become((TWO_MODULES, 0, "Alarm"))
    device.clears(TWO_MODULES)
    alarms.become()


def test_change_of_state_changes_the_open_alarm(alarms, device):
    device.raises(4713, state="Warning")
    alarms.become((4713, 0, "Warning"))
    device.raises(4713, state="Fault")
    alarms.become((4713, 0, "Fault"))


def test_modules_are_alarms_of_their_own(alarms, device):
    device.raises(TWO_MODULES, module=0)
    device.raises(TWO_MODULES, module=1, state="Fault")
    alarms.become((TWO_MODULES, 0, "Alarm"), (TWO_MODULES, 1, "Fault"))
    device.clears(TWO_MODULES, module=0)
    alarms.become((TWO_MODULES, 1, "Fault"))


def test_message_state_opens_no_alarm(alarms, device, daemon, service):
    device.raises(4713, state="Message")
    daemon.logs("CloudPoster: Posting alarm for 4713  state Message")
    device.raises(TWO_MODULES)
    alarms.become((TWO_MODULES, 0, "Alarm"))
    assert at_the_service(service, daemon, ["Message"]) == set()


def test_repeated_notification_is_not_posted_again(daemon, device, recorder):
    daemon.configure(Url=recorder.url)
    recorder.answers(EVENTS, b"HTTP/1.1 201 Created\r\nContent-Length: 0\r\n\r\n")
    daemon.start()
    daemon.logs(ENABLED)
    device.raises(TWO_MODULES)
    recorder.receives(EVENTS)
    device.raises(TWO_MODULES)
    device.raises(TWO_MODULES, state="Fault")
    assert json.loads(recorder.receives(EVENTS, times=2).raw.split(b"\r\n\r\n")[1])[
        "Severity"] == "Fault"


def test_text_beyond_ascii_is_sent_as_it_is(alarms, device, daemon, service):
    device.raises(4713)
    alarms.become((4713, 0, "Alarm"))
    query = f"?OriginOfCondition={daemon.chassis[0]}&Cleared=false&Severity=Alarm"
    _, (reference,) = service.ask("GET", f"/redfish/v1/Oem/Quorvan:Events{query}", daemon.token)
    _, event = service.ask("GET", reference["@odata.id"], daemon.token)
    assert event["Message"] == "Gerät 7 läuft."


def test_quote_in_a_text_is_refused_and_the_daemon_goes_on(alarms, device, daemon):
    device.raises(ONE_MODULE)
    daemon.logs('Door "north" offen')
    (refused,) = daemon.logs("PostEventForAlarmToCloud: Failed to POST Event (6)")
    assert "400" in refused.text
    device.raises(4713)
    alarms.become((4713, 0, "Alarm"))


@pytest.mark.parametrize("modules, module, message_id, message", [
    (1, 0, "Zarvel.GDD.4711", "Filter clogged"),
    (3, 0, "Zarvel.GDD.4711:0", "[1] Filter clogged"),
    (3, 2, "Zarvel.GDD.4711:2", "[3] Filter clogged"),
], ids=["no_instance", "instance_0", "instance_2"])
def test_event_documents_to_the_byte(daemon, device, recorder, modules, module, message_id,
                                     message):
    device.describe({"ProductSequenceId": "1.2.3",
                     "Events": [{"GddId": 4711, "Text": "Filter clogged", "Modules": modules}]})
    recorder.answers(EVENTS, b"HTTP/1.1 201 Created\r\nContent-Length: 0\r\n\r\n")
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs(ENABLED)
    device.raises(4711, module=module)
    raised = recorder.receives(EVENTS).body
    device.clears(4711, module=module)
    cleared = recorder.receives(EVENTS, times=2).body
    created = json.loads(raised)["Created"]
    ended = json.loads(cleared)["MessageArgs"][2]
    origin = '"OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/C1"}'
    assert raised == (
        f'{{ "MessageId": "{message_id}","Severity": "Alarm",'
        f'"MessageArgs": ["Unit1","System","{module}", null],'
        f'"Message": "{message}.",{origin}, "Created": "{created}"}}')
    assert cleared == (
        f'{{ "MessageId": "258","Severity": "MESSAGE",'
        f'"MessageArgs": ["Unit1","System","{ended}","{message_id}"],'
        f'"Message": "{message} (Cleared).",{origin}, "Created": "{created}"}}')


def test_restart_with_alarms_open_on_both_sides(alarms, device, daemon, service):
    device.raises(TWO_MODULES, module=1)
    device.raises(4713, state="Warning")
    alarms.become((TWO_MODULES, 1, "Alarm"), (4713, 0, "Warning"))
    daemon.stop()
    # What the device is like when the daemon comes back: one alarm gone, one changed, one new.
    device.describe({
        "ProductSequenceId": "1.2.3",
        "Events": [{"GddId": TWO_MODULES, "Text": "Filter clogged", "Modules": 2},
                   {"GddId": 4713, "Text": "Gerät 7 läuft", "State": "Fault"},
                   {"GddId": 4714, "Text": "Pump stopped", "State": "Alarm"}]})
    daemon.start()
    daemon.logs(ENABLED)
    alarms.become((4713, 0, "Fault"), (4714, 0, "Alarm"))
    assert at_the_device(device) == {(4713, 0, "Fault"), (4714, 0, "Alarm")}


def test_device_of_another_number_is_dropped_with_its_message(daemon, device, recorder):
    device.describe({"VelocityId": 5, "ProductSequenceId": "1.2.3",
                     "Events": [{"GddId": 4711, "Text": "Filter clogged"}]})
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs(ENABLED)
    assert daemon.config()["Chassis"] == {"C1": {"VelocityInstance": 5}}
    device.raises(4711)
    daemon.logs("CloudPoster: Failed to find chassis instance for velid: 0")
    recorder.receives(f"POST /hb/{UUID}")
    assert recorder.requests(EVENTS) == []
