# SPDX-License-Identifier: Apache-2.0
"""What operators ask, against the description of it."""

import contextlib
import gzip
import json
import re
import urllib.parse

import pytest

from harness.appliance import Appliance
from harness.operators import BASE, DESCRIPTION, PASSWORD, Operator, basic
from harness.process import clock
from harness.redfish import indented, is_compact
from harness.wire import connect

pytestmark = pytest.mark.both_stores
ONE = "/appliances/{uuid}"
WORD = "/alarms/{id}/acknowledgement"
JSON = {"Content-Type": "application/json"}
START = "2026-03-05 13:00:00"


@pytest.fixture
def operator(service):
    service.start("--http", faketime=clock(1))
    return Operator(service).is_added()


@pytest.fixture
def timed(service, clock_of):
    """An operator of a service whose clock stands at 13:00 (it moves by seconds only)."""
    moving = clock_of(START, 1)
    service.start("--http", faketime=moving)
    return Operator(service).is_added(), moving


def rack(service, uuid="u-1", name="Rack 7"):
    return Appliance(service, uuid, name, Model="Kyros", SerialNumber="S 1",
                     FirmwareVersion="1.2.3").has_chassis(Name="Cooling unit 7")


THERMAL = {
    "@odata.type": "#Thermal.v1_6_2.Thermal",
    "Temperatures": [
        {"MemberId": "supply", "Name": "Supply temperature", "ReadingCelsius": 21.5},
        {"MemberId": "return", "ReadingCelsius": 27}],
    "Fans": [{"MemberId": "fans", "Name": "Fan speed", "Reading": 62.5, "ReadingUnits": "Percent"}],
    "Oem": {"Quorvan": {"HumidityPercent": 44, "SevenDays": {
        "HighestTemperature": 30, "LowestTemperature": 18.5, "LowestHumidity": 40}}}}


def ask_everything(operator, uuid, uri):
    """Each operation once with each of its parameters."""
    operator.ask("GET", "/openapi.json")
    operator.ask("GET", "/session")
    operator.ask("GET", "/appliances", q="rack", state="alive", severity="Alarm", sort="-alarms",
                 limit=10, offset=0)
    operator.ask("GET", "/appliances", after=json.dumps(["name", "Rack", "u"]))
    for path in (ONE, f"{ONE}/alarms", f"{ONE}/resources", f"{ONE}/numbers"):
        operator.ask("GET", path, uuid)
    operator.ask("GET", f"{ONE}/events", uuid, severity="alarm", kind="alarm", q="filter", limit=1,
                 since="2000-01-01T00:00:00Z", until="2100-01-01T00:00:00Z", before=1000)
    operator.ask("GET", f"{ONE}/resources/detail", uuid, uri=uri)
    operator.ask("GET", f"{ONE}/history", uuid, uri=uri, pointer="/Temperatures/0/ReadingCelsius",
                 member="Temperatures[MemberId=supply]/ReadingCelsius",
                 since="2000-01-01T00:00:00Z", until="2100-01-01T00:00:00Z", points=100)
    operator.ask("GET", "/events", severity="alarm", kind="alarm", q="filter", limit=1,
                 since="2000-01-01T00:00:00Z", until="2100-01-01T00:00:00Z", before="[4102444800,1]")
    alarm = operator.ask("GET", "/alarms", limit=1)["items"][0]
    operator.ask("PUT", WORD, alarm["id"], headers=JSON, body='{"note": "on my way"}')
    operator.ask("GET", "/alarms", state="open", severity="Alarm", acknowledged="true", kind="alarm",
                 uuid=uuid, q="on my", limit=10, after='[0,0,"a1"]')
    operator.ask("DELETE", WORD, alarm["id"], 204)


def follow_everything(operator, service, appliance):
    """Each event of the stream once."""
    stream = operator.follows(last="long ago")
    stream.until("reset")
    appliance.beats()
    stream.until("appliance")
    appliance.raises(1)
    stream.until("event")
    appliance.keeps("Power", {"A": 1})
    stream.until("resource")
    Appliance(service, "u-2").leaves()
    stream.until("gone")
    appliance.beats()
    stream.until("heartbeats")
    appliance.beats_often(400)
    stream.until("more")
    stream.close()
    return stream.types


def ask_what_is_known(operator, uuid, uri):
    """Each GET again with the tag of its answer, which has not changed since."""
    needed = {f"{ONE}/resources/detail": {"uri": uri}, f"{ONE}/history": {"uri": uri}}
    for method, path in DESCRIPTION.operations():
        if 304 not in DESCRIPTION.statuses(method, path):
            continue
        path = path.removeprefix(BASE)
        operator.ask(method, path, uuid, **needed.get(path, {}))
        tag = operator.answered["ETag"]
        operator.ask(method, path, uuid, 304, headers={"If-None-Match": tag}, **needed.get(path, {}))
        assert operator.answered["ETag"] == tag


def be_refused_for_the_request(operator, uuid, uri):
    for path in ("/appliances", f"{ONE}/events", "/events", "/alarms"):
        operator.ask("GET", path, uuid, 400, limit=0)
    operator.ask("GET", f"{ONE}/resources/detail", uuid, 400)
    operator.ask("GET", f"{ONE}/history", uuid, 400, uri=uri, points=1)
    operator.ask("POST", "/session", expected=400, headers=JSON, body="[]")
    operator.ask("POST", "/session", expected=415, body="{}")
    operator.ask("PUT", WORD, "a1", 400, headers=JSON, body='{"notes": ""}')
    operator.ask("PUT", WORD, "a1", 415, body="{}")
    for method, path in DESCRIPTION.operations():
        if 404 in DESCRIPTION.statuses(method, path):
            extra = {"uri": uri} if {("query", "uri")} <= DESCRIPTION.parameters(method, path) else {}
            operator.ask(method, path.removeprefix(BASE), "nobody", 404, headers=JSON, body="{}",
                         **extra)


def be_refused_for_the_sender(operator):
    operator.headers = {}
    guarded = [(method, path.removeprefix(BASE)) for method, path in DESCRIPTION.operations()
               if not DESCRIPTION.is_open(method, path)]
    for method, path in guarded:
        operator.ask(method, path, "u-1", 401)
    operator.signs_in("wrong", expected=401)
    for i in range(9):
        operator.headers = basic("olga", f"wrong {i}")
        operator.ask("GET", "/session", expected=401)
    operator.headers = basic("olga", "wrong again")
    for method, path in guarded:
        operator.ask(method, path, "u-1", 429)
        assert 1 <= int(operator.answered["Retry-After"]) <= 30
    operator.signs_in("wrong again", expected=429)


def ask_for_too_many_streams(service, operator):
    others = [Operator(service, name).is_added() for name in ("a", "b", "c", "d")]
    with contextlib.ExitStack() as streams:
        for who in (operator, *others[:3]):
            for _ in range(25):
                streams.enter_context(contextlib.closing(who.follows()))
        operator.ask("GET", "/stream", expected=429)
        others[3].ask("GET", "/stream", expected=503)
    operator.seen |= others[3].seen


def test_every_path_status_and_parameter_is_as_described(service, operator):
    appliance = rack(service)
    uri = appliance.keeps("Thermal", THERMAL)
    appliance.raises(4711)
    ask_everything(operator, appliance.uuid, uri)
    ask_what_is_known(operator, appliance.uuid, uri)
    types = follow_everything(operator, service, appliance)
    ask_for_too_many_streams(service, operator)
    be_refused_for_the_request(operator, appliance.uuid, uri)
    operator.ask("DELETE", ONE, appliance.uuid, 204)
    operator.signs_in()
    operator.ask("DELETE", "/session", expected=204)
    be_refused_for_the_sender(operator)

    described = {(method, path, status) for method, path in DESCRIPTION.operations()
                 for status in DESCRIPTION.statuses(method, path)}
    assert operator.seen == described
    assert operator.used == {(method, path, *parameter) for method, path in DESCRIPTION.operations()
                             for parameter in DESCRIPTION.parameters(method, path)}
    assert types == set(DESCRIPTION.notices())


def test_appliance_that_is_removed_leaves_nothing_and_may_come_back(service, operator):
    appliance, other = rack(service), rack(service, "u-2", "Rack 8")
    appliance.keeps("Thermal", THERMAL)
    appliance.raises(4711)
    stream = operator.follows()
    operator.ask("DELETE", ONE, "u-1", 204)
    assert stream.until("gone") == {"uuid": "u-1"}
    stream.close()
    service.says("manager removed: Rack 7 (UUID u-1) by operator olga")
    fleet = operator.ask("GET", "/appliances")
    assert [one["uuid"] for one in fleet["items"]] == ["u-2"]
    assert fleet["alarms"] == {"Fault": 0, "Alarm": 0, "Warning": 0}
    for path in (ONE, f"{ONE}/alarms", f"{ONE}/events", f"{ONE}/resources"):
        operator.ask("GET", path, "u-1", 404)
    operator.ask("DELETE", ONE, "u-1", 404)
    appliance.sends("PATCH", "/redfish/v1/Managers/u-1", {"Oem": {}}, expected=401)
    other.beats()
    again = rack(service)
    assert operator.ask("GET", f"{ONE}/events", "u-1")["items"] == []
    again.beats()
    assert operator.ask("GET", ONE, "u-1")["heartbeats"] == 1


def test_description_that_is_served_is_the_one_that_is_kept(operator, programs):
    served = operator.ask("GET", "/openapi.json", headers={"Authorization": ""})
    assert DESCRIPTION._document == served


def raw(service, method, path, **headers):
    with contextlib.closing(connect(service.url)) as link:
        link.request(method, path, headers=headers)
        answer = link.getresponse()
        return answer, answer.read()


def test_what_is_not_described_is_not_there(service, operator):
    for path in ("/api", "/api/v1", "/api/v1/", "/api/v2/session", "/api/v1/appliances/u/x",
                 "/api/v1/../v1/session", "/api/v1/appliances/%2e%2e/alarms"):
        answer, text = raw(service, "GET", path, **operator.headers)
        assert answer.status == 404, path
        assert json.loads(text)["error"]["code"] == "not_found"
    answer, text = raw(service, "PUT", "/api/v1/session")
    assert (answer.status, answer.headers["Allow"]) == (405, "POST, GET, HEAD, DELETE")
    assert json.loads(text)["error"]["code"] == "method_not_allowed"
    answer, text = raw(service, "HEAD", "/api/v1/stream", **operator.headers)
    assert (answer.status, text) == (200, b"")


def test_session_tells_how_commands_of_the_service_begin(service, operator):
    told = operator.ask("GET", "/session")["command"]
    assert re.fullmatch(r"cloudservice --db (/\S+|postgresql://\.\.\.)", told)
    service.says(f"no operator: nobody can sign in; make one: {told} operator add NAME")


def test_tag_of_an_answer_is_another_when_something_has_changed(service, operator):
    appliance = rack(service)
    operator.ask("GET", "/appliances")
    known = {"If-None-Match": f'"other", {operator.answered["ETag"]}'}
    operator.ask("GET", "/appliances", expected=304, headers=known)
    operator.ask("GET", "/appliances", expected=304, headers=known, pretty="true")
    appliance.raises(4711)
    fleet = operator.ask("GET", "/appliances", headers=known)
    assert fleet["alarms"]["Alarm"] == 1
    assert operator.answered["ETag"] not in known["If-None-Match"]


def test_answers_are_compressed_for_who_takes_that(service, operator):
    for i in range(5):
        rack(service, f"u-{i}")
    plain = {path: raw(service, "GET", path, **operator.headers)
             for path in ("/api/v1/appliances", "/api/v1/openapi.json", "/metrics", "/")}
    for path, (answer, text) in plain.items():
        assert "Content-Encoding" not in answer.headers
        assert answer.headers["Vary"] == "Accept-Encoding"
        sent = {**operator.headers, "Accept-Encoding": "br, gzip"}
        packed, bytes_ = raw(service, "GET", path, **sent)
        assert packed.headers["Content-Encoding"] == "gzip", path
        assert packed.headers["Vary"] == "Accept-Encoding"
        assert packed.headers["ETag"] == answer.headers["ETag"]
        assert len(bytes_) < len(text)
        if path != "/metrics":  # counts requests
            assert gzip.decompress(bytes_) == text
        head, nothing = raw(service, "HEAD", path, **sent)
        assert (head.headers["Content-Encoding"], nothing) == ("gzip", b"")
    answer, text = raw(service, "GET", "/api/v1/session", **operator.headers,
                       **{"Accept-Encoding": "gzip"})
    assert "Content-Encoding" not in answer.headers
    assert json.loads(text)["name"] == "olga"


def test_what_is_too_large_is_refused_in_the_same_form(service, operator):
    for status, headers, body in ((413, {}, b"x" * (2 << 20)), (431, {"X-Long": "x" * 20000}, b"")):
        with contextlib.closing(connect(service.url)) as link:
            link.putrequest("POST", "/api/v1/session")
            link.putheader("Content-Length", str(len(body)))
            for name, value in headers.items():
                link.putheader(name, value)
            link.endheaders()
            answer = link.getresponse()
            assert answer.status == status
            assert json.loads(answer.read())["error"]["code"] == "too_large"


def test_target_with_a_host_is_that_without(service, operator):
    host = service.url.partition("//")[2]
    for path in ("/healthz", "/metrics", "/", "/api/v1/session", "/redfish/v1"):
        answer, text = raw(service, "GET", f"{service.url}{path}", **operator.headers)
        assert answer.status == 200, path
        assert text
    assert raw(service, "GET", f"http://{host}", **operator.headers)[0].status == 200


def test_only_scripts_are_offered_basic(service, operator):
    def offers(**headers):
        answer, _ = raw(service, "GET", "/api/v1/session", **headers)
        assert answer.status == 401
        return [offer.split()[0] for offer in answer.headers.get_all("WWW-Authenticate")]
    assert offers() == ["Bearer", "Basic"]
    assert offers(**{"X-Requested-With": "page"}) == ["Bearer"]
    assert offers(**{"Sec-Fetch-Mode": "cors"}) == ["Bearer"]
    assert offers(Accept="text/event-stream") == ["Bearer"]


@pytest.mark.smoke
def test_appliance_tells_what_it_sent(service, operator):
    appliance = rack(service)
    appliance.beats(90)
    one = operator.ask("GET", ONE, "u-1")
    assert (one["name"], one["model"], one["serial"], one["firmware"]) == (
        "Rack 7", "Kyros", "S 1", "1.2.3")
    assert (one["address"], one["account"]) == ("127.0.0.1", "keeper+plant&2@example.org")
    assert (one["interval"], one["heartbeats"], one["chassis"]) == (90, 1, appliance.chassis)
    assert one["chassisList"][0]["name"] == "Cooling unit 7"
    assert one["document"] == {"UUID": "u-1", "Name": "Rack 7", "Model": "Kyros",
                               "SerialNumber": "S 1", "FirmwareVersion": "1.2.3"}
    appliance.sends("PATCH", "/redfish/v1/Managers/u-1", {"Name": "Rack 8", "Model": None})
    one = operator.ask("GET", ONE, "u-1")
    assert (one["name"], one["model"]) == ("Rack 8", None)


def test_state_follows_the_heartbeat(service, timed):
    operator, clock_now = timed
    appliance = rack(service)

    def state():
        fleet = operator.ask("GET", "/appliances")
        assert fleet["counts"][fleet["items"][0]["state"]] == 1
        return fleet["items"][0]["state"]
    appliance.beats(3600)
    assert state() == "alive"
    clock_now.step(2 * 3600 - 120)
    assert state() == "alive"
    clock_now.step(120)
    assert state() == "late"
    clock_now.step(3600)
    assert state() == "offline"
    clock_now.step(-3 * 3600)
    assert state() == "alive", "the clock was set back"
    clock_now.step(3 * 3600)
    appliance.beats(3600)
    assert state() == "alive"


def test_appliance_that_never_sent_a_heartbeat_counts_from_its_registration(service, timed):
    operator, clock_now = timed
    rack(service)
    one = operator.ask("GET", ONE, "u-1")
    assert (one["state"], one["lastHeartbeat"], one["interval"]) == ("alive", None, None)
    clock_now.step(4 * 60)
    assert operator.ask("GET", ONE, "u-1")["state"] == "late"
    clock_now.step(2 * 60)
    assert operator.ask("GET", ONE, "u-1")["state"] == "offline"


def test_fleet_is_filtered_sorted_and_paged(service, operator):
    for uuid, name, alarms in (("u-1", "beta", []), ("u-2", "Alpha", ["Warning"]),
                               ("u-3", "gamma", ["Warning", "Fault"]), ("u-4", "alpha 2", ["Odd"])):
        appliance = rack(service, uuid, name)
        for number, severity in enumerate(alarms):
            appliance.raises(number, severity)

    def names(**query):
        return [one["name"] for one in operator.ask("GET", "/appliances", **query)["items"]]
    assert names() == ["Alpha", "alpha 2", "beta", "gamma"]
    assert names(sort="-name") == ["gamma", "beta", "alpha 2", "Alpha"]
    assert names(sort="alarms") == ["beta", "Alpha", "alpha 2", "gamma"]
    assert names(sort="-alarms") == ["gamma", "alpha 2", "Alpha", "beta"]
    assert names(q="ALPHA") == ["Alpha", "alpha 2"]
    assert names(q="u-3") == ["gamma"]
    assert names(q="4 ALPHA") == ["alpha 2"]
    assert names(q="%") == []
    assert names(q=" ") == names()
    assert names(severity="Warning") == ["Alpha", "gamma"]
    assert names(state="offline") == []
    page = operator.ask("GET", "/appliances", limit=2, offset=1)
    assert [one["name"] for one in page["items"]] == ["alpha 2", "beta"]
    assert page["total"] == 4
    assert page["alarms"] == {"Fault": 1, "Alarm": 1, "Warning": 2}
    filtered = operator.ask("GET", "/appliances", q="gamma")
    assert (filtered["total"], filtered["counts"]["alive"]) == (1, 4)
    assert filtered["items"][0]["worst"] == "Fault"


def test_fleet_is_followed_page_by_page(service, operator):
    names = ["alpha", "beta", "beta", "delta", "epsilon"]
    for number, name in enumerate(names, 1):
        rack(service, f"u-{number}", name)

    def follow(page, **query):
        while page["next"] is not None:
            yield [one["uuid"] for one in page["items"]]
            page = operator.ask("GET", "/appliances", after=page["next"], **query)
        yield [one["uuid"] for one in page["items"]]
    for sort in ("name", "state", "alarms", "lastHeartbeat", "registered"):
        for query in (dict(sort=sort), dict(sort="-" + sort)):
            whole = operator.ask("GET", "/appliances", **query)
            assert whole["next"] is None
            query["limit"] = 2
            pages = list(follow(operator.ask("GET", "/appliances", **query), **query))
            assert pages == [[one["uuid"] for one in whole["items"][at:at + 2]] for at in (0, 2, 4)]

    first = operator.ask("GET", "/appliances", limit=2)
    rack(service, "u-0", "a new one in front")
    rack(service, "u-9", "carl")
    assert list(follow(first, limit=2)) == [["u-1", "u-2"], ["u-3", "u-9"], ["u-4", "u-5"]]


def test_place_in_the_fleet_is_one_that_a_page_gave(service, operator):
    for number in range(3):
        rack(service, f"u-{number}")
    place = operator.ask("GET", "/appliances", limit=1)["next"]
    for after, query in (("", {}), ("x", {}), ("[]", {}), ("{}", {}), ('["name","a"]', {}),
                         ('["name","a",1]', {}), ('["name",1,"a"]', {}), ('["name","a","b","c"]', {}),
                         (place, dict(sort="-name")), (place, dict(sort="state")),
                         ('["state",3,"a","b"]', dict(sort="state")),
                         ('["state",-1,"a","b"]', dict(sort="state")),
                         ('["state",0.5,"a","b"]', dict(sort="state")),
                         ('["alarms",1,2,"a","b"]', dict(sort="alarms"))):
        query["after"] = urllib.parse.quote(after)
        text = operator_error(service, operator, "/api/v1/appliances", query)
        assert text == '"after" is no "next" of a list in this order.', after
    query = dict(after=urllib.parse.quote(place), offset=1)
    text = operator_error(service, operator, "/api/v1/appliances", query)
    assert text == '"after" goes without "offset".'


def test_alarms_stand_worst_and_newest_first(service, operator):
    appliance = rack(service)
    for number, severity in enumerate(["Warning", "Alarm", "Fault", "Alarm"]):
        appliance.raises(number, severity, f"text {number}")
    appliance.clears(2)
    changed = appliance.raises(0, "Fault", "worse now")
    alarms = operator.ask("GET", f"{ONE}/alarms", "u-1")["items"]
    assert [(one["severity"], one["message"]) for one in alarms] == [
        ("Fault", "worse now"), ("Alarm", "text 3"), ("Alarm", "text 1")]
    assert alarms[0]["event"] == changed
    assert alarms[0]["origin"] == appliance.chassis
    assert alarms[0]["args"] == ["Unit1", "System", "0", None]


def test_event_log_is_filtered_and_paged(service, operator):
    appliance = rack(service)
    raised = appliance.raises(1, "Alarm", "<b>Filter</b>")
    cleared = appliance.clears(1)
    again = appliance.raises(1, "Fault")
    message = appliance.raises(2, "Message", "for information")
    point = appliance.tells("ModeChanged", "Mode is now 'x'")

    def log(**query):
        return operator.ask("GET", f"{ONE}/events", "u-1", **query)

    def ids(**query):
        return [one["id"] for one in log(**query)["items"]]
    assert ids() == [point, message, again, cleared, raised]
    kinds = {one["id"]: (one["kind"], one["cleared"]) for one in log()["items"]}
    assert kinds == {raised: ("alarm", True), cleared: ("clear", False), again: ("alarm", False),
                     message: ("message", False), point: ("point", False)}
    assert ids(kind="alarm") == [again, raised]
    assert ids(severity="FAULT") == [again]
    assert ids(q="<B>filter") == [raised]
    assert ids(q="modechanged") == [point]
    assert ids(q="x' NOW modeCHANGED") == [point]
    assert ids(q="' OR 1=1 --") == []
    assert ids(until="2000-01-01T00:00:00Z") == []
    assert ids(since="2000-01-01T00:00:00+01:00") == ids()
    page, pages = log(limit=2), []
    while page["next"]:
        pages.append([one["id"] for one in page["items"]])
        page = log(limit=2, before=page["next"])
    assert pages + [[one["id"] for one in page["items"]]] == [[point, message], [again, cleared],
                                                             [raised]]
    times = {one["id"]: (one["created"], one["time"]) for one in log()["items"]}
    assert times[raised] == ("2026-03-05T14:07:09+0100", "2026-03-05T13:07:09Z")
    assert times[cleared] == ("", None)
    assert times[point] == ("2026-03-05T14:07:09Z", None), "its Z is not to be trusted"


@pytest.mark.sqlite
def test_search_in_a_long_log_comes_in_pages_that_may_be_empty(service, operator):
    appliance = rack(service)
    wanted = appliance.tells("first", "needle")
    with contextlib.closing(service.database()) as database, database:
        document = json.dumps({"Message": "hay"})
        database.executemany(
            "INSERT INTO event (manager, chassis, message_id, severity, document, received) "
            "SELECT id, '', 'm', 'MESSAGE', ?, 1 FROM manager", [(document,)] * 6000)
    page = operator.ask("GET", f"{ONE}/events", "u-1", q="needle")
    assert page["items"] == []
    page = operator.ask("GET", f"{ONE}/events", "u-1", q="needle", before=page["next"])
    assert ([one["id"] for one in page["items"]], page["next"]) == ([wanted], None)


def test_documents_are_as_they_were_sent(service, operator):
    appliance = rack(service)
    uri = appliance.keeps("Thermal", THERMAL)
    appliance.keeps("Plain", {"Name": "<i>"})
    items = operator.ask("GET", f"{ONE}/resources", "u-1")["items"]
    assert [(one["uri"].rpartition("/")[2], one["type"], one["name"]) for one in items] == [
        (appliance.chassis, None, "Cooling unit 7"), ("Plain", None, "<i>"),
        ("Thermal", "Thermal", "Thermal"), ("u-1", None, "Rack 7")]
    assert operator.ask("GET", f"{ONE}/resources/detail", "u-1", uri=uri)["document"] == THERMAL
    rack(service, "u-2")
    operator.ask("GET", f"{ONE}/resources/detail", "u-2", 404, uri=uri)


def test_numbers_have_names_and_units(service, operator):
    appliance = rack(service)
    uri = appliance.keeps("Thermal", THERMAL)
    numbers = {one["pointer"]: (one["name"], one["unit"], one["quantity"])
               for one in operator.ask("GET", f"{ONE}/numbers", "u-1")["items"]}
    assert numbers == {
        "/Temperatures/0/ReadingCelsius": ("Supply temperature", "°C", "temperature"),
        "/Temperatures/1/ReadingCelsius": ("return", "°C", "temperature"),
        "/Fans/0/Reading": ("Fan speed", "%", None),
        "/Oem/Quorvan/HumidityPercent": ("Humidity", "%", "humidity"),
        "/Oem/Quorvan/SevenDays/HighestTemperature": ("Highest temperature", "°C", None),
        "/Oem/Quorvan/SevenDays/LowestTemperature": ("Lowest temperature", "°C", None),
        "/Oem/Quorvan/SevenDays/LowestHumidity": ("Lowest humidity", "%", None)}
    extremes = operator.ask("GET", f"{ONE}/history", "u-1", uri=uri)["extremes"]
    assert [(one["quantity"], one["extreme"], one["value"], one["unit"]) for one in extremes] == [
        ("temperature", "highest", 30, "°C"), ("humidity", "lowest", 40, "%"),
        ("temperature", "lowest", 18.5, "°C")]


def test_history_keeps_its_extremes_however_few_points_are_asked(service, timed):
    operator, clock_now = timed
    appliance = rack(service)
    values = [20 + (7 * number) % 11 for number in range(60)]
    values[41] = -30
    values[17] = 99
    for value in values:
        uri = appliance.keeps("Thermal", {"Temperatures": [{"ReadingCelsius": value}]})
        clock_now.step(600)

    def series(**query):
        return operator.ask("GET", f"{ONE}/history", "u-1", uri=uri,
                            pointer="/Temperatures/0/ReadingCelsius", **query)["series"][0]
    whole = series()
    assert [value for _, value in whole["samples"]] == values
    assert (whole["min"]["value"], whole["max"]["value"]) == (-30, 99)
    for points in (4, 5, 30, 59):
        thin = series(points=points)
        assert 2 <= len(thin["samples"]) <= points
        assert {-30, 99} <= {value for _, value in thin["samples"]}
        assert all(sample in whole["samples"] for sample in thin["samples"])
        assert thin["samples"] == sorted(thin["samples"], key=lambda sample: sample[0])
        assert (thin["min"], thin["max"]) == (whole["min"], whole["max"])
    part = series(since="2026-03-05T14:00:00Z", until="2026-03-05T15:00:00Z")
    assert [value for _, value in part["samples"]] == values[6:12]
    assert series(since="2027-01-01T00:00:00Z", until="2027-01-02T00:00:00Z")["min"] is None
    operator.ask("GET", f"{ONE}/history", "u-1", 404, uri=uri, pointer="/Nothing")
    operator.ask("GET", f"{ONE}/history", "u-1", 400, uri=uri, since="2027-01-01T00:00:00Z")


def test_history_of_what_is_null_or_gone_stays_readable(service, timed):
    operator, clock_now = timed
    appliance = rack(service)
    uri = appliance.keeps("Thermal", THERMAL)
    before = {one["member"]: one for one in operator.ask("GET", f"{ONE}/numbers", "u-1")["items"]}
    assert all(one["present"] for one in before.values())
    clock_now.step(60)
    appliance.keeps("Thermal", {
        "Temperatures": [{"MemberId": "supply", "ReadingCelsius": None}], "Fans": None,
        "Oem": {"Quorvan": {"HumidityPercent": None, "SevenDays": {"HighestTemperature": 31}}}})
    after = operator.ask("GET", f"{ONE}/numbers", "u-1")["items"]
    assert {one["member"] for one in after} == set(before)
    assert [(one["pointer"], one["name"], one["unit"]) for one in after if not one["present"]] == [
        ("/Fans/-/Reading", "fans", None),
        ("/Oem/Quorvan/HumidityPercent", "Humidity", "%"),
        ("/Temperatures/-/ReadingCelsius", "return", "°C"),
        ("/Temperatures/0/ReadingCelsius", "supply", "°C")]
    whole = operator.ask("GET", f"{ONE}/history", "u-1", uri=uri)
    assert [one["member"] for one in whole["series"]] == [one["member"] for one in after]
    values = {"Fans[MemberId=fans]/Reading": 62.5, "Oem/Quorvan/HumidityPercent": 44,
              "Temperatures[MemberId=return]/ReadingCelsius": 27,
              "Temperatures[MemberId=supply]/ReadingCelsius": 21.5}
    for member, value in values.items():
        (series,) = operator.ask("GET", f"{ONE}/history", "u-1", uri=uri, member=member)["series"]
        assert [told for _, told in series["samples"]] == [value]
        assert series["min"]["value"] == series["max"]["value"] == value
        (same,) = operator.ask("GET", f"{ONE}/history", "u-1", uri=uri,
                               pointer=series["pointer"])["series"]
        assert same == series
    operator.ask("GET", f"{ONE}/history", "u-1", 404, uri=uri, member="Nothing")
    appliance.keeps("Thermal", {"Oem": {"Quorvan": {"HumidityPercent": 45}}})
    (series,) = operator.ask("GET", f"{ONE}/history", "u-1", uri=uri,
                             pointer="/Oem/Quorvan/HumidityPercent")["series"]
    assert series["present"] and [told for _, told in series["samples"]] == [44, 45]


def test_pretty_indents_what_operators_ask_for(service, operator):
    rack(service)
    for path in ("/appliances", "/appliances/u-1?pretty=false", "/openapi.json", "/nothing"):
        pretty = BASE + path.partition("?")[0] + "?pretty"
        (_, compact), (_, lines) = (raw(service, "GET", target, **operator.headers)
                                    for target in (BASE + path, pretty))
        assert is_compact(compact) and lines == indented(json.loads(compact)), path
    text = operator_error(service, operator, "/api/v1/appliances", dict(pretty="yes"))
    assert text == '"pretty" takes true, false.'


def test_parameters_are_checked_one_by_one(service, operator):
    rack(service)
    for query, name in ((dict(limit=0), "limit"), (dict(limit=501), "limit"), (dict(limit="x"), "limit"),
                        (dict(offset=-1), "offset"), (dict(state="dead"), "state"),
                        (dict(sort="size"), "sort"), (dict(severity="alarm"), "severity"),
                        (dict(q="a" * 201), "q"), (dict(other=1), "other")):
        text = operator_error(service, operator, "/api/v1/appliances", query)
        assert f'"{name}"' in text
    for query, name in ((dict(since="yesterday"), "since"), (dict(until="2026-02-30T00:00:00Z"), "until"),
                        (dict(kind="Alarm"), "kind"), (dict(before=0), "before")):
        assert f'"{name}"' in operator_error(service, operator, "/api/v1/appliances/u-1/events", query)


def operator_error(service, operator, path, query):
    target = path + "?" + "&".join(f"{name}={value}" for name, value in query.items())
    answer, text = raw(service, "GET", target, **operator.headers)
    assert answer.status == 400, target
    return json.loads(text)["error"]["message"]


def test_session_is_a_cookie_that_no_script_sees(service):
    service.start(faketime=clock(1))
    operator = Operator(service).is_added()
    operator.signs_in()
    cookie = operator.answered["Set-Cookie"]
    assert cookie.partition(";")[2] == " Path=/; HttpOnly; SameSite=Strict; Secure"
    assert operator.ask("GET", "/session")["name"] == "olga"
    operator.ask("DELETE", "/session", expected=204)
    assert "Max-Age=0" in operator.answered["Set-Cookie"]
    operator.ask("GET", "/session", expected=401)


def test_session_ends_after_twelve_hours_without_a_request(service, timed):
    operator, clock_now = timed
    operator.signs_in()
    for _ in range(2):
        clock_now.step(12 * 3600 - 60)
        operator.ask("GET", "/session")
    clock_now.step(12 * 3600)
    operator.ask("GET", "/session", expected=401)


def test_removed_operator_is_out_at_once(service, operator):
    token = service.command("operator", "add", "script", "--token").split()[1]
    script = Operator(service, "script")
    script.headers = {"Authorization": f"Bearer {token}"}
    assert script.ask("GET", "/session")["name"] == "script"
    operator.signs_in()
    assert operator.ask("GET", "/session")["name"] == "olga"
    for name in ("script", "olga"):
        service.command("operator", "remove", name)
    script.ask("GET", "/session", expected=401)
    operator.ask("GET", "/session", expected=401)
    operator.signs_in(PASSWORD, expected=401)
    service.command("operator", "add", "olga", "--password-stdin", text="another one\n")
    operator.ask("GET", "/session", expected=401)


def test_token_of_an_appliance_is_no_operators(service, operator):
    token = rack(service).token
    operator.headers = {"Authorization": f"Bearer {token}", "X-Auth-Token": token}
    operator.ask("GET", "/appliances", expected=401)


@pytest.mark.sqlite
def test_failing_database_is_told(service, operator):
    with contextlib.closing(service.database()) as database:
        database.execute("PRAGMA foreign_keys = OFF")
        database.execute("DROP TABLE manager")
    answer, text = raw(service, "GET", "/api/v1/appliances", **operator.headers)
    assert answer.status == 503
    assert json.loads(text)["error"]["code"] == "unavailable"
