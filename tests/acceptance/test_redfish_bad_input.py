# SPDX-License-Identifier: Apache-2.0
"""What a client can do wrong, over the wire: a clear error, nothing stored, the service goes on."""

import json
import socket

import pytest
from harness.daemon import UUID
from harness.redfish import Client, encoded
from harness.wire import dial, read_all
from test_service import REGISTRATION

OTHER = "11111111-2222-3333-4444-555555555555"
MARKUP = "<script>alert('x')</script> \" & ' \\ {{7*7}} \u202e"
SQL = "x'; DROP TABLE manager; --"


@pytest.fixture
def owner(service):
    """A registered appliance with a chassis and a document."""
    service.start("--http", "--max-body", "4096")
    client = Client(service)
    client.token = client.ask("POST", REGISTRATION, json.dumps({"UUID": UUID, "Name": "a"})
                              ).headers["X-Auth-Token"]
    client.chassis = client.ask("POST", "/redfish/v1/Chassis", "{}").headers["Location"]
    assert client.ask("PATCH", f"{client.chassis}/Thermal", '{"Name": "T"}').status == 204
    client.state = lambda: [client.get(path).body for path in (
        client.chassis, f"{client.chassis}/Thermal", f"/redfish/v1/Managers/{UUID}",
        "/redfish/v1/Chassis", "/redfish/v1/Oem/Quorvan:Events")]
    return client


def requests_with_a_body(owner):
    return (("POST", "/redfish/v1/Chassis"), ("PATCH", owner.chassis),
            ("PATCH", f"{owner.chassis}/Thermal"), ("PATCH", f"{owner.chassis}/New"),
            ("PATCH", f"/redfish/v1/Managers/{UUID}"), ("POST", f"/hb/{UUID}"),
            ("POST", f"/redfish/v1/Managers/{UUID}/Oem/Quorvan:Events"), ("POST", REGISTRATION))


def exchange(service, request):
    """What a connection reads that sends these bytes and nothing more."""
    with dial(service.url) as link:
        link.sendall(request)
        link.shutdown(socket.SHUT_WR)
        return read_all(link)


@pytest.mark.parametrize("body, message", [
    (b"", "MalformedJSON"),
    (b"hello", "InvalidJSON"),
    (b'{"a": 1', "InvalidJSON"),
    (b'{"a": 1} {}', "InvalidJSON"),
    (b'{"a": NaN}', "InvalidJSON"),
    pytest.param(b"{'a': 1}", "InvalidJSON", id="single quotes"),
    pytest.param(b'{"a": "\xff\xfe"}', "InvalidJSON", id="no UTF-8"),
    (b'{"a": "\\ud800"}', "InvalidJSON"),
    pytest.param(b'{"a": 1}\x00', "InvalidJSON", id="NUL behind"),
    (b'{"a": "b\x00c"}', "InvalidJSON"),
    (b'{"a": 1e999}', "MalformedJSON"),
    (b"[]", "UnrecognizedRequestBody"),
    (b"null", "UnrecognizedRequestBody"),
    (b'"text"', "UnrecognizedRequestBody"),
    pytest.param(b'{"a": ' + b"[" * 32 + b"]" * 32 + b"}", "InvalidJSON", id="too deep"),
    pytest.param(b"[" * 4000, "InvalidJSON", id="brackets that nothing closes"),
])
def test_body_that_is_no_object_is_refused_everywhere(owner, body, message):
    before = owner.state()
    for method, path in requests_with_a_body(owner):
        answer = owner.ask(method, path, body)
        assert (answer.status, answer.error()[0]) == (400, message), (method, path)
    assert owner.state() == before
    assert owner.get(f"{owner.chassis}/New").status == 404


def test_error_says_where(owner):
    answer = owner.ask("PATCH", owner.chassis, '{\n "a": 1,\n "b" 2\n}')
    assert answer.error() == ("InvalidJSON", ["3"])
    assert "line 3, column 6: " in answer.json["error"]["message"]


def test_depth_of_32_is_taken(owner):
    body = '{"a": ' + "[" * 31 + "]" * 31 + "}"
    assert owner.ask("PATCH", f"{owner.chassis}/Deep", body).status == 204
    assert owner.get(f"{owner.chassis}/Deep").status == 200


def test_body_above_the_limit_is_refused(owner):
    before = owner.state()
    body = json.dumps({"a": "x" * 5000})
    for method, path in requests_with_a_body(owner):
        answer = owner.ask(method, path, body)
        assert (answer.status, answer.error()[0]) == (413, "PayloadTooLarge")
    assert owner.state() == before


@pytest.mark.parametrize("length, body, status", [
    (b"100", b'{"A": 1}', b"400"),      # the end comes too early
    (b"-1", b'{"A": 1}', b"400"),
    (b"x", b'{"A": 1}', b"400"),
    (b"3, 8", b'{"A": 1}', b"400"),
    (b"99999999999999999999", b'{"A": 1}', b"400"),
    (b"5000", b"", b"413"),
    (b"4", b'{"A": 1}', b"400"),        # half an object
])
def test_wrong_length_stores_nothing(service, owner, length, body, status):
    before = owner.state()
    answer = exchange(service, b"PATCH %b HTTP/1.1\r\nHost: x\r\nX-Auth-Token: %b\r\n"
                      b"Content-Length: %b\r\n\r\n%b" % (
                          owner.chassis.encode(), owner.token.encode(), length, body))
    assert answer.startswith(b"HTTP/1.1 " + status + b" "), answer
    assert b"\r\nOData-Version: 4.0\r\n" in answer
    assert owner.state() == before


@pytest.mark.parametrize("path", [
    "/redfish/v1/../../etc/passwd", "/redfish/v1/Chassis/..", "/redfish/v1/Chassis/%2e%2e/x",
    "/redfish/v1/Schemas/..%2f..%2fetc%2fpasswd", "/redfish/v1/Schemas/%2e%2e",
    "/redfish//v1", "/redfish/v1/Chassis/a%00b", "/redfish/v1/Chassis/%", "redfish/v1"])
def test_path_that_leaves_the_tree_is_refused(owner, path):
    answer = owner.get(path)
    assert (answer.status, answer.error()[0]) == (400, "InvalidURI")


def test_path_of_a_file_is_nothing_but_a_name(owner):
    for path in ("/etc/passwd", "/redfish/v1/Schemas/passwd", "/redfish/v1/Schemas"):
        answer = owner.get(path)
        assert (answer.status, answer.error()) == (404, ("ResourceMissingAtURI", [path]))


def test_identifiers_of_another_owner_lead_nowhere(service, owner):
    event = {"MessageId": "Z.1", "Severity": "Alarm", "Message": "m",
             "OriginOfCondition": {"@odata.id": owner.chassis}}
    location = owner.ask("POST", f"/redfish/v1/Managers/{UUID}/Oem/Quorvan:Events",
                         json.dumps(event)).headers["Location"]
    thief = Client(service)
    thief.token = thief.ask("POST", REGISTRATION, json.dumps({"UUID": OTHER})
                            ).headers["X-Auth-Token"]
    before = owner.state()
    for path in (owner.chassis, f"{owner.chassis}/Thermal", f"{owner.chassis}/Oem/Quorvan:History",
                 f"/redfish/v1/Managers/{UUID}", f"/redfish/v1/Managers/{UUID}/X", location):
        for method in ("GET", "PATCH", "DELETE"):
            assert thief.ask(method, path, "{}").status in (404, 405), (method, path)
    assert thief.ask("POST", f"/hb/{UUID}", '{"HeartbeatInterval": 90}').status == 404
    assert thief.ask("POST", f"/redfish/v1/Managers/{OTHER}/Oem/Quorvan:Events",
                     json.dumps(event)).error() == ("PropertyValueError", ["OriginOfCondition"])
    # A link to another's resource is none: whether it exists does not show.
    for there in (owner.chassis, "/redfish/v1/Chassis/none"):
        path = f"/redfish/v1/Managers/{OTHER}/Links"
        thief.ask("PATCH", path, json.dumps({"Look": {"@odata.id": there}}))
        assert thief.get(path).json["Oem"]["Quorvan"]["Look"] == there
    assert thief.get("/redfish/v1/Chassis?$expand=*($levels=6)").json["Members"] == []
    assert owner.state() == before


@pytest.mark.parametrize("text", [MARKUP, SQL, "' OR '1'='1", "%27%3B--", "$(reboot)", "{\"a\": 1}"])
def test_text_of_any_kind_is_text(owner, text):
    owner.ask("PATCH", owner.chassis, json.dumps({"Name": text, "AssetTag": text, text: text}))
    chassis = owner.get(owner.chassis).json
    assert (chassis["Name"], chassis["AssetTag"]) == (text, text)
    assert chassis["Oem"]["Quorvan"][text] == text
    event = {"MessageId": text, "Severity": text, "Message": text, "MessageArgs": [text, None],
             "OriginOfCondition": {"@odata.id": owner.chassis}}
    location = owner.ask("POST", f"/redfish/v1/Managers/{UUID}/Oem/Quorvan:Events",
                         json.dumps(event)).headers["Location"]
    answered = owner.get(location).json
    assert all(answered[name] == value for name, value in event.items())
    query = f"/redfish/v1/Oem/Quorvan:Events?Cleared=false&Severity={encoded(text)}"
    assert owner.get(query).json == [{"@odata.id": location}]
    name = text.replace("/", "_")
    below = f"{owner.chassis}/{encoded(name)}"
    assert owner.ask("PATCH", below, "{}").status == 204
    answer = owner.get(below)
    assert (answer.json["Id"], answer.json["Name"]) == (name, name)
    assert answer.headers["Content-Type"] == "application/json; charset=utf-8"
    assert owner.get(answer.json["@odata.id"]).body == answer.body
    assert owner.get(f"/redfish/v1/Chassis/{encoded(name)}").status == 404


def test_body_of_another_type_is_refused(owner):
    before = owner.state()
    for method, path in requests_with_a_body(owner):
        answer = owner.ask(method, path, '{"a": 1}', Content_Type="text/html")
        assert (answer.status, answer.error()) == (415, ("HeaderInvalid", ["Content-Type"]))
    assert owner.state() == before
    assert owner.ask("PATCH", owner.chassis, "{}",
                     Content_Type="Application/JSON; charset=utf-8").status == 204


def test_token_ends_with_its_manager(owner):
    assert owner.ask("DELETE", f"/redfish/v1/Managers/{UUID}").status == 204
    for path in ("/redfish/v1/Chassis", owner.chassis, f"/redfish/v1/Managers/{UUID}"):
        assert owner.get(path).status == 401
    assert owner.get(f"/redfish/v1/Managers?uuid={UUID}").status == 403
