# SPDX-License-Identifier: Apache-2.0
"""The alarms and the events of all appliances, as operators read them."""

import datetime
import json

import pytest

from harness.appliance import Appliance
from harness.operators import Operator
from harness.process import clock

pytestmark = pytest.mark.both_stores
WORD = "/alarms/{id}/acknowledgement"
JSON = {"Content-Type": "application/json"}
START = "2026-03-05 13:00:00"


@pytest.fixture
def clock_now(clock_of):
    """A clock that stands at 13:00 (it moves by seconds only)."""
    return clock_of(START, 1)


@pytest.fixture
def operator(service, clock_now):
    service.start("--http", faketime=clock_now)
    return Operator(service).is_added()


def rack(service, number):
    return Appliance(service, f"u-{number}", f"Rack {number}").has_chassis(Name="Cooling unit")


def alarms(operator, **query):
    return operator.ask("GET", "/alarms", **query)["items"]


def heard_at(operator):
    return datetime.datetime.fromisoformat(
        operator.ask("GET", "/appliances/{uuid}", "u-1")["lastHeartbeat"])


def text_of(time, hours=0):
    return (time + datetime.timedelta(hours=hours)).strftime("%Y-%m-%dT%H:%M:%SZ")


def all_of(operator, path, place, **query):
    """The items of all pages."""
    page = operator.ask("GET", path, **query)
    items = page["items"]
    while page["next"] is not None:
        page = operator.ask("GET", path, **query, **{place: page["next"]})
        items += page["items"]
    return items


def test_alarms_of_the_fleet_tell_whose_they_are_and_what_was_sent(service, operator):
    first, second = rack(service, 1), rack(service, 2)
    first.raises(4711, severity="Warning")
    second.raises(4712, severity="Critical")
    worst, other = alarms(operator)
    assert (worst["uuid"], worst["name"], worst["kind"]) == ("u-2", "Rack 2", "alarm")
    assert (worst["severity"], other["severity"]) == ("Fault", "Warning")
    assert (worst["ended"], worst["offline"], worst["acknowledged"]) == (None, None, None)
    own = operator.ask("GET", "/appliances/{uuid}/alarms", "u-2")["items"][0]
    for name in ("event", "severity", "message", "messageId", "origin", "opened", "args"):
        assert worst[name] == own[name], name
    assert worst["id"] == f"a{own['id']}"
    assert [one["uuid"] for one in alarms(operator, severity="Warning")] == ["u-1"]
    second.clears(4712)
    assert [one["uuid"] for one in alarms(operator)] == ["u-1"]
    ended, = alarms(operator, state="ended")
    assert (ended["id"], ended["uuid"]) == (worst["id"], "u-2")
    assert ended["ended"] >= ended["opened"]


def test_silence_is_opened_and_ended_by_the_service_and_no_event_of_the_appliance(
        service, operator, clock_now):
    appliance = rack(service, 1)
    appliance.beats(3600)
    heard = heard_at(operator)
    clock_now.step(2 * 3600)
    late, = alarms(operator)
    assert (late["kind"], late["id"][0], late["severity"]) == ("silence", "s", "Warning")
    assert (late["message"], late["opened"]) == ("No heartbeat", text_of(heard, 2))
    operator.ask("PUT", WORD, late["id"], headers=JSON, body="{}")
    clock_now.step(3600)
    offline, = alarms(operator)
    assert offline["severity"] == "Alarm"
    assert (offline["id"], offline["offline"]) == (late["id"], text_of(heard, 3))
    assert offline["acknowledged"] is None
    assert operator.ask("GET", "/appliances/{uuid}/alarms", "u-1")["items"] == []
    assert operator.ask("GET", "/appliances/{uuid}/events", "u-1")["items"] == []
    events = appliance.sends("GET", "/redfish/v1/Oem/Quorvan:Events", expected=200)
    assert events["Members@odata.count"] == 0
    clock_now.step(60)
    appliance.beats(3600)
    assert alarms(operator) == []
    ended, = alarms(operator, state="ended", kind="silence", uuid="u-1")
    assert (ended["id"], ended["ended"]) == (late["id"], text_of(heard_at(operator)))


def test_acknowledgement_is_by_the_operator_who_asks_and_counts_until_the_alarm_is_worse(
        service, operator):
    appliance = rack(service, 1)
    appliance.raises(4711, severity="Warning")
    alarm, = alarms(operator)
    stream = operator.follows().begins()
    kept = operator.ask("PUT", WORD, alarm["id"], headers=JSON,
                        body=json.dumps({"note": "on my way \u2713"}))
    assert (kept["by"], kept["note"]) == ("olga", "on my way \u2713")
    assert stream.until("appliance")["uuid"] == "u-1"
    stream.close()
    service.says(f"alarm acknowledged: {alarm['id']} by operator olga")
    assert alarms(operator, acknowledged="true")[0]["acknowledged"] == kept
    assert alarms(operator, acknowledged="false") == []
    assert [one["id"] for one in alarms(operator, q="WAY olga my")] == [alarm["id"]]
    assert alarms(operator, q="way otto") == []
    operator.ask("DELETE", WORD, alarm["id"], 204)
    service.says(f"alarm no longer acknowledged: {alarm['id']} by operator olga")
    operator.ask("PUT", WORD, alarm["id"], headers=JSON, body="{}")
    appliance.raises(4711, severity="Fault")
    assert alarms(operator)[0]["acknowledged"] is None
    appliance.clears(4711)
    operator.ask("PUT", WORD, alarm["id"], 404, headers=JSON, body="{}")


def test_what_cannot_be_an_acknowledgement_is_refused_with_what_and_where(service, operator):
    rack(service, 1).raises(4711)
    alarm, = alarms(operator)

    def refusal(status, body, name=alarm["id"], headers=None):
        answer = operator.ask("PUT", WORD, name, status, headers=headers or JSON, body=body)
        return answer["error"]["message"]
    assert refusal(400, '{"note": 7}') == '"note" is missing or no string.'
    assert refusal(400, '{"by": "me"}') == '"by" is unknown here.'
    assert refusal(400, json.dumps({"note": "x" * 1001})) == '"note" has more than 1000 bytes.'
    assert refusal(415, "{}", headers={"Content-Type": "text/plain"}).startswith("The body has to")
    for name in ("a0", "a", "x1", "1", "s1", f"{alarm['id']}0", "a99999999999999999999", "a1x"):
        assert refusal(404, "{}", name=name) == f"There is no open alarm {name}."
    operator.ask("PUT", WORD, alarm["id"], headers=JSON, body=json.dumps({"note": "x" * 1000}))


def test_pages_hold_each_alarm_and_each_event_once(service, operator):
    racks = [rack(service, number) for number in range(3)]
    for number in range(4):
        for one in racks:
            one.raises(4711 + number, severity=("Fault", "Alarm", "Warning")[number % 3])
    racks[0].clears(4711)
    racks[1].clears(4712)
    for query in ({}, {"state": "ended"}, {"q": "rack 1"}, {"severity": "Fault"}):
        whole = [one["id"] for one in alarms(operator, **query)]
        assert len(set(whole)) == len(whole) > 0
        paged = all_of(operator, "/alarms", "after", limit=2, **query)
        assert [one["id"] for one in paged] == whole, query
    whole = operator.ask("GET", "/events")["items"]
    assert len(whole) == 14
    assert {one["name"] for one in whole} == {"Rack 0", "Rack 1", "Rack 2"}
    assert [one["received"] for one in whole] == sorted(
        (one["received"] for one in whole), reverse=True)
    assert all_of(operator, "/events", "before", limit=3) == whole
    assert [one["uuid"] for one in operator.ask("GET", "/events", kind="clear")["items"]] == [
        "u-1", "u-0"]


def test_place_that_is_none_is_refused(service, operator):
    for path, place, wrong in (
            ("/alarms", "after", ("x", "[]", '[3,0,"a1"]', '[-1,0,"a1"]', '[0,0,"x1"]', '[0,"0","a1"]',
                                  '[0,0,"a1",1]', '{"a":1}')),
            ("/events", "before", ("x", "[1]", '["1",2]', "[1,2,3]", "{}", "7"))):
        for text in wrong:
            message = operator.ask("GET", path, "", 400, **{place: text})["error"]["message"]
            assert message.startswith(f'"{place}" is no "next" of a list of')
    operator.ask("GET", "/alarms", expected=400, state="ended", after='[1,0,"a1"]')
