# SPDX-License-Identifier: Apache-2.0
"""The outbox: each event arrives, once and in order, whatever becomes of link, service and daemon."""

import shutil

import pytest

from harness.alarms import at_the_device, at_the_service, events_url
from harness.faults import Answers, Delivers, FaultyWay, Reset, Stall
from harness.process import clock
from harness.waiting import wait_until
from harness.wire import answer

ENABLED = "cloudclient is now registered for device changes"
POSTED = "CloudPoster: Posting alarm for "
POST = f"POST {events_url()} "
TAKEN = "/redfish/v1/Oem/Quorvan:Events?$expand=."
FOLDER = "var/lib/cloudclient/outbox"
TOLD = FOLDER + "/told"
EVENTS = [{"GddId": 4711, "Text": "Filter clogged"}, {"GddId": 4712, "Text": "Pump stopped"}]


@pytest.fixture
def way(service):
    service.start("--http", faketime=clock(50))
    proxy = FaultyWay(service.port)
    yield proxy
    proxy.close()


@pytest.fixture
def keeping(daemon, device, way):
    """A registered daemon with an outbox, behind a way that can be disturbed."""
    device.describe({"ProductSequenceId": "1.2.3", "Events": EVENTS, "Points": []})
    daemon.write("policy.json", {"Alarms": {"PairAll": True}, "Outbox": {"Folder": f"/{FOLDER}"},
                                 "Registration": {"RetrySeconds": {"First": 5, "Most": 10}},
                                 "Transport": {"FreshAnswers": True}})
    daemon.configure(Url=way.url)
    daemon.start(clock(50))
    daemon.logs(ENABLED)
    return daemon


@pytest.fixture
def happens(keeping, device):
    """Raises (or clears) an event, and waits until the outbox has it."""
    def happen(gdd, state="Cleared"):
        posted = len(keeping.logged(POSTED))
        if state == "Cleared":
            device.clears(gdd)
        else:
            device.raises(gdd, state=state)
        keeping.logs(POSTED, posted + 1)
    return happen


def arrived(service, daemon):
    """The events that the service has, in the order in which it took them."""
    events = service.documents(TAKEN, daemon.token)
    return [(event["MessageArgs"][3], "Cleared") if event["MessageId"] == "258"
            else (event["MessageId"], event["Severity"]) for event in events]


def arrive(service, daemon, *events):
    events = [(f"Zarvel.GDD.{gdd}", state) for gdd, state in events]
    wait_until(lambda: len(arrived(service, daemon)) >= len(events), f"{len(events)} events")
    assert arrived(service, daemon) == events


def waiting(daemon, folder=FOLDER):
    """The texts behind the heads of the entries that wait."""
    lines = "".join(file.read_text()
                    for file in sorted((daemon.root / folder).glob("*.outbox"))).splitlines()
    return [text for head, text in zip(lines, lines[1:]) if head.startswith("+ ")]


def nothing_waits(daemon):
    return not waiting(daemon) and not waiting(daemon, TOLD)


STORY = ((4711, "Alarm"), (4711, "Cleared"), (4712, "Fault"), (4711, "Warning"))


def test_events_of_an_outage_arrive_in_order(keeping, service, way, happens):
    way.refuses()
    for event in STORY:
        happens(*event)
    way.heals()
    arrive(service, keeping, *STORY)
    wait_until(lambda: nothing_waits(keeping), "an empty outbox")


def test_events_of_an_outage_outlive_the_daemon(keeping, device, service, way, happens):
    way.refuses()
    for event in STORY:
        happens(*event)
    keeping.crash()
    device.describe({"ProductSequenceId": "1.2.3", "Points": [], "Events": [
        {**EVENTS[0], "State": "Warning"}, {**EVENTS[1], "State": "Fault"}]})
    way.heals()
    keeping.start(clock(50))
    (entry,) = keeping.logs("entries wait for the service")
    assert entry.text == f"Open: {len(STORY)} entries wait for the service"
    keeping.logs("SyncAlarms: unprocessed device events (0) that need posted")
    arrive(service, keeping, *STORY)
    assert at_the_service(service, keeping) == at_the_device(device)


def test_event_outlives_a_kill_before_the_poster_takes_it(keeping, device, service, way, happens):
    way.does(Stall(0), POST)
    happens(4711, "Alarm")
    wait_until(way.touched, "a post that is held")
    device.raises(4712, state="Fault")
    wait_until(lambda: waiting(keeping, TOLD) == ["4712 0 4"], "what the device told")
    keeping.crash()
    device.describe({"ProductSequenceId": "1.2.3", "Points": [], "Events": [
        {**EVENTS[0], "State": "Alarm"}, {**EVENTS[1], "State": "Fault"}]})
    way.heals()
    keeping.start(clock(50))
    keeping.logs("Open: 1 events were told before the start")
    arrive(service, keeping, (4711, "Alarm"), (4712, "Fault"))
    wait_until(lambda: nothing_waits(keeping), "an empty outbox")


def test_event_of_an_earlier_life_gives_way_to_what_the_device_has_become(keeping, device, service,
                                                                         way, happens):
    way.does(Stall(0), POST)
    happens(4711, "Alarm")
    wait_until(way.touched, "a post that is held")
    device.raises(4712, state="Fault")
    wait_until(lambda: waiting(keeping, TOLD) == ["4712 0 4"], "what the device told")
    keeping.crash()
    device.describe({"ProductSequenceId": "1.2.3", "Points": [], "Events": EVENTS})
    way.heals()
    keeping.start(clock(50))
    wait_until(lambda: ("Zarvel.GDD.4712", "Cleared") in arrived(service, keeping), "a clearing")
    assert ("Zarvel.GDD.4712", "Fault") in arrived(service, keeping)
    assert at_the_service(service, keeping) == at_the_device(device) == set()


@pytest.mark.parametrize("fault", [Delivers(2), Reset(0), Reset(40)], ids=["twice", "reset", "cut"])
def test_event_whose_answer_is_lost_is_taken_once(keeping, service, way, happens, fault):
    way.does(fault, POST)
    happens(4711, "Alarm")
    wait_until(lambda: len(way.touched()) >= 1, "a post")
    way.heals()
    happens(4712, "Fault")
    arrive(service, keeping, (4711, "Alarm"), (4712, "Fault"))


def test_service_that_is_busy_gets_it_later_and_one_that_refuses_not_again(keeping, service, way,
                                                                          happens):
    way.does(Answers(answer(503)), POST)
    happens(4711, "Alarm")
    wait_until(lambda: len(way.touched()) >= 2, "two posts")
    way.heals()
    arrive(service, keeping, (4711, "Alarm"))
    way.does(Answers(answer(422)), POST)
    happens(4711)
    keeping.logs("Send: the service refuses an entry of the outbox for good (422)")
    way.heals()
    happens(4712, "Fault")
    arrive(service, keeping, (4711, "Alarm"), (4712, "Fault"))


def test_events_of_a_lost_registration_go_with_the_new_chassis(keeping, service, way, happens):
    chassis = keeping.chassis
    way.refuses()
    happens(4711, "Alarm")
    happens(4711)
    service.forgets(keeping.token)
    way.heals()
    wait_until(lambda: keeping.chassis and keeping.chassis != chassis, "another chassis")
    arrive(service, keeping, (4711, "Alarm"), (4711, "Cleared"))
    documents = service.documents(TAKEN, keeping.token)
    assert {event["OriginOfCondition"]["@odata.id"] for event in documents} == {
        f"/redfish/v1/Chassis/{name}" for name in keeping.chassis}


def test_folder_that_can_not_be_written_costs_no_event(keeping, device, service, happens):
    keeping.stop()
    folder = keeping.root / FOLDER
    if folder.exists():
        shutil.rmtree(folder)
    folder.parent.mkdir(parents=True, exist_ok=True)
    folder.write_text("in the way")
    keeping.start(clock(50))
    keeping.logs(ENABLED)
    happens(4711, "Alarm")
    arrive(service, keeping, (4711, "Alarm"))
    (entry,) = keeping.logged("Failed to open the outbox")
    assert entry.text.endswith("Not a directory): events go out without it")
