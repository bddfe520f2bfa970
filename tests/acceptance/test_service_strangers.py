# SPDX-License-Identifier: Apache-2.0
"""Those who are no operators, or another appliance, or an operator who asks for what cannot be:
each is refused, and nobody waits for them."""

import base64
import contextlib
import http.client
import json
import socket
import threading
import urllib.parse

from harness.appliance import Appliance
from harness.operators import BASE, PASSWORD, Operator
from harness.process import clock
from harness.wire import connect, dial

METHODS = ("GET", "HEAD", "POST", "PUT", "PATCH", "DELETE", "TRACE", "OTHER")


def guess(service, source, password):
    """The status of a password of olga's that is sent from this address of the machine."""
    pair = base64.b64encode(f"olga:{password}".encode()).decode()
    link = http.client.HTTPConnection("127.0.0.1", service.port, 60, (source, 0))
    with contextlib.closing(link):
        link.request("GET", BASE + "/session", headers={"Authorization": f"Basic {pair}"})
        return link.getresponse().status


def test_guesses_from_many_addresses_shut_nobody_else_out(service):
    """Each address has its tries, an appliance waits for none of them, and the operator gets in
    from another one while they go on."""
    service.start("--http", faketime=clock(1))
    operator = Operator(service).is_added()
    appliance = Appliance(service, "u-1")
    statuses = {}

    def guesses(source):
        statuses[source] = [guess(service, source, f"{source} {number}") for number in range(12)]
    sources = ("127.0.0.2", "127.0.0.3")
    guessers = [threading.Thread(target=guesses, args=(source,)) for source in sources]
    for guesser in guessers:
        guesser.start()
    while any(guesser.is_alive() for guesser in guessers):
        appliance.beats()
        operator.ask("GET", "/session")
    for source in sources:
        assert statuses[source][:10] == [401] * 10 and 429 in statuses[source], statuses[source]
        assert guess(service, source, PASSWORD) == 429
    assert guess(service, "127.0.0.9", PASSWORD) == 200


def told(service, method, path, headers):
    """All that an answer tells but what each answer has for itself."""
    with contextlib.closing(connect(service.url)) as link:
        link.request(method, path, b"{}" if method in ("POST", "PUT", "PATCH") else None, headers)
        answer = link.getresponse()
        kept = {name: value for name, value in answer.getheaders()
                if name in ("Allow", "WWW-Authenticate", "Location", "OData-Version")}
        return answer.status, kept, answer.read().decode()


def test_token_of_another_appliance_tells_nothing_of_what_there_is(service):
    service.start("--http", faketime=clock(1))
    mine = Appliance(service, "u-1").has_chassis()
    mine.keeps("Thermal", {"Name": "a", "A": 1})
    mine.keeps("Sensors/One", {"Reading": 1})
    there = {"manager": "u-1", "chassis": mine.chassis, "event": str(mine.raises(1))}
    nowhere = {"manager": "u-9", "chassis": "0" * 16, "event": "99"}
    operator = Operator(service).is_added()
    operator.signs_in()
    senders = [{"X-Auth-Token": Appliance(service, "u-2").token}, {}, {"X-Auth-Token": "f" * 64},
               {**operator.headers, "X-Auth-Token": operator.headers["Cookie"].partition("=")[2]}]
    below = [f"{top}{rest}" for top, rests in (
        ("/redfish/v1/Managers/{manager}",
         ("", "/X", "/Oem/Quorvan:History", "/X/Oem/Quorvan:History", "/Oem/Quorvan:Events")),
        ("/redfish/v1/Chassis/{chassis}",
         ("", "/Thermal", "/Sensors", "/Sensors/One", "/Thermal/Oem/Quorvan:History")),
        ("/redfish/v1/Oem/Quorvan:Events/{event}", ("",)), ("/hb/{manager}", ("",)),
        ("/redfish/v1/Managers?uuid={manager}", ("",))) for rest in rests]
    for pattern in below:
        for method in METHODS:
            for headers in senders:
                (status, kept, text), (*other, other_text) = (
                    told(service, method, pattern.format(**names), headers)
                    for names in (there, nowhere))
                for name, value in there.items():
                    text = text.replace(value, nowhere[name]) if len(value) > 1 else text
                text = text.replace(f"Events/{there['event']}", f"Events/{nowhere['event']}")
                assert 400 <= status < 500, (method, pattern, headers)
                assert [status, kept, text] == [*other, other_text], (method, pattern, headers)
    assert mine.sends("GET", mine.path, expected=200)["Oem"]["Quorvan"]["Heartbeat"]["Count"] == 0
    mine.sends("GET", f"{mine.chassis_path}/Thermal", expected=200)


def test_appliance_is_no_operator_anywhere(service):
    service.start("--http", faketime=clock(1))
    appliance = Appliance(service, "u-1").has_chassis()
    appliance.raises(1)
    status, _, text = told(service, "GET", BASE + "/openapi.json", {})
    assert status == 200
    for path in json.loads(text)["paths"]:
        if path.endswith(("/openapi.json", "/session")):
            continue
        path = BASE + path.replace(BASE, "").replace("{uuid}", "u-1").replace("{id}", "a1")
        for method in METHODS:
            for headers in ({"X-Auth-Token": appliance.token}, {"Cookie": f"session={appliance.token}"},
                            {"Authorization": f"Bearer {appliance.token}"}):
                status, _, _ = told(service, method, path, headers)
                assert status in (401, 405), (method, path, headers)


def test_operator_has_25_streams_however_many_are_asked_for(service):
    service.start("--http", faketime=clock(1))
    operator, other = (Operator(service, name).is_added() for name in ("olga", "otto"))
    operator.ask("GET", "/session")
    appliance = Appliance(service, "u-1")
    before = int(service.status("VmHWM"))
    request = f"GET {BASE}/stream HTTP/1.1\r\nHost: x\r\nAuthorization: " \
              f"{operator.headers['Authorization']}\r\nLast-Event-ID: 1-0\r\n\r\n".encode()
    with contextlib.ExitStack() as stack:
        statuses = []
        for number in range(1000):
            sock = stack.enter_context(contextlib.closing(dial(service.url)))
            sock.sendall(request)
            statuses.append(sock.recv(12, socket.MSG_WAITALL)[9:])
            if number % 100 == 0:
                appliance.beats()
        assert statuses == [b"200"] * 25 + [b"429"] * 975
        assert service.metric("streams") == 25
        other.follows().begins().close()
    if not service.is_sanitized():
        assert int(service.status("VmHWM")) - before < 60_000


def test_place_in_the_stream_that_cannot_be_loads_afresh(service):
    service.start("--http", faketime=clock(1))
    operator = Operator(service).is_added()
    Appliance(service, "u-1")
    for place in ("0", "-1", "0-0", "9223372036854775807-0", "9223372036854775808-0", "1--5",
                  "1-99999999999999999999", "-9223372036854775808-1", "99999999-1", "1-0-0", "1 -0",
                  "1-253402300800", "x" * 8000, "1-0\u00ff"):
        stream = operator.follows(last=place)
        assert stream.next() == ("reset", {}), place[:30]
        stream.close()


def test_search_takes_each_character_for_itself(service):
    service.start("--http", faketime=clock(1))
    operator = Operator(service).is_added()
    appliance = Appliance(service, "u-1", "Hall 100% _x_ a.b").has_chassis()
    Appliance(service, "u-2", "other").has_chassis().raises(2, "Alarm", "plain")
    appliance.raises(1, "Alarm", "Hall 100% _x_ a.b")
    for sought, found in (("%", 1), ("_", 1), ("100%", 1), ("_x_", 1), ("a.b", 1), ("%%", 0), ("_y_", 0),
                          (".*", 0), ("a.*b", 0), ("[", 0), ("(", 0), ("\\", 0), ("'", 0), ("\0", 0),
                          ("a\0b", 0), ("\U0001f600", 0)):
        assert len(operator.ask("GET", "/events", q=sought)["items"]) == found, sought
        assert len(operator.ask("GET", "/alarms", q=sought)["items"]) == found, sought
        assert operator.ask("GET", "/appliances", q=sought)["total"] == found, sought
    for path in ("/appliances", "/events", "/alarms"):
        assert told(service, "GET", f"{BASE}{path}?q=%ff%ED%A0%80", operator.headers)[0] == 200
        operator.ask("GET", path, expected=400, q="x" * 10_000)


def test_queries_that_cannot_be_are_refused(service):
    service.start("--http", faketime=clock(1))
    operator = Operator(service).is_added()
    appliance = Appliance(service, "u-1").has_chassis()
    uri = appliance.keeps("Thermal", {"A": 1})
    wrong = [f"{name}={value}" for name in ("limit", "offset") for value in (
        "-1", "99999999999999999999", "1e3", "0x10", "%2B1", "%201", "1%00", "", "NaN", "%D9%A1")]
    wrong += [f"{name}={urllib.parse.quote(value)}" for name in ("after", "before") for value in (
        "x", "[]", "{}", "[" * 4000, "null", '["name","a"]', '["name","a","\\ud800"]', "[1e999,1]",
        "[1.5,2]", '[0,0,"a99999999999999999999"]', '[-1,0,"a1"]', '["-state",99,"a","b"]', "-1")]
    wrong += [f"{name}={value}" for name in ("since", "until") for value in (
        "99999-01-01T00:00:00Z", "-001-01-01T00:00:00Z", "2026-13-01T00:00:00Z", "now", "")]
    wrong += ["limit=1&limit=1", "limit=1&%6cimit=2", "&".join(f"a{n}=1" for n in range(1500)),
              "&".join(["limit=1"] * 1500), "&" * 8000, "=" * 8000, "limit", "%zz=1"]
    for path in ("/appliances", "/appliances/u-1/events", "/events", "/alarms"):
        for query in wrong:
            status, _, text = told(service, "GET", f"{BASE}{path}?{query}", operator.headers)
            assert status == 400, (path, query[:60], text[:200])
    first, last = "0000-01-01T00:00:00Z", "9999-12-31T23:59:59Z"
    series = operator.ask("GET", "/appliances/{uuid}/history", "u-1", uri=uri, since=first, until=last)
    assert len(series["series"][0]["samples"]) == 1
    operator.ask("GET", "/appliances/{uuid}/history", "u-1", 400, uri=uri, since=last, until=first)
    for name in ("%ff", "%ED%A0%80", "%27", "a" * 8000):
        assert told(service, "GET", f"{BASE}/appliances/{name}", operator.headers)[0] == 404
    assert " error: " not in service.error_text()


def test_members_of_any_type_leave_every_view_whole(service):
    """What an appliance may send for a member that the views know."""
    service.start("--http", faketime=clock(1))
    operator = Operator(service).is_added()
    appliance = Appliance(service, "u-1").has_chassis()
    paths = (appliance.path, appliance.chassis_path, f"{appliance.chassis_path}/Thermal",
             f"{appliance.chassis_path}/Sensors/One")
    names = ("Name", "Status", "Links", "Oem", "Model", "SerialNumber", "FirmwareVersion", "ChassisType",
             "Temperatures", "Fans", "Reading", "Location", "@odata.type", "@odata.id", "Members", "")
    large = 10 ** 299
    for value in (None, True, -0.0, 18446744073709551616, large, "", "a\0b", "\ufeff", [], {}, [[]], [{}],
                  [None, 1], {"": None}, {"@odata.id": 5}, {"Quorvan": 5}, {"State": []}):
        body = json.dumps({name: value for name in names})
        for path in paths:
            assert service.ask("PATCH", path, appliance.token, body)[0] == 204, (path, value)
            assert appliance.sends("GET", path, expected=200)["@odata.id"] == path
        appliance.sends("GET", f"{appliance.chassis_path}?$expand=*($levels=3)", expected=200)
        operator.ask("GET", "/appliances")
        operator.ask("GET", "/appliances/{uuid}", "u-1")
        operator.ask("GET", "/appliances/{uuid}/numbers", "u-1")
    assert " error: " not in service.error_text()
