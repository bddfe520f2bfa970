# SPDX-License-Identifier: Apache-2.0
"""The service as a client of Redfish finds it: every resource, header, option and error."""

import json
import xml.etree.ElementTree as ElementTree

import pytest
from harness.daemon import UUID
from harness.redfish import METHODS, Client, documents, indented, links, namespaces
from test_service import REGISTRATION

pytestmark = pytest.mark.both_stores

EDM = "{http://docs.oasis-open.org/odata/ns/edm}"
# What appliances send: as it should be, and as it should not.
THERMAL = {
    "Temperatures": [
        {"MemberId": "supply", "Name": "Supply", "ReadingCelsius": 21.5,
         "PhysicalContext": "Intake", "Status": {"State": "Enabled", "Health": "OK"}},
        {"ReadingCelsius": "warm", "PhysicalContext": "Elsewhere", "Trend": [1, 2]}],
    "Fans": [{"Reading": 1200.0, "ReadingUnits": "RPM", "Status": {"State": "Odd", "Health": None}}],
    "Temperatures@odata.count": 2, "Status": "fine", "Mode": "Cooling"}
CHASSIS = {
    "Name": "Cooling unit 7", "ChassisType": "Cupboard", "AssetTag": "1.2.3", "WeightKg": -1,
    "Location": {"PostalAddress": {"City": "Kiel", "Planet": "Earth"}, "Latitude": 54.3},
    "Thermal": {"@odata.id": "/redfish/v1/Nowhere"}, "Links": {"Contains": [
        {"@odata.id": "/redfish/v1/Chassis/none"}]}, "@odata.type": "#Nothing.Nothing",
    "UUID": "not one", "Supply": {"@odata.id": "/nowhere", "Name": "<b>x</b>"}}
EVENT = {"MessageId": "Zarvel.GDD.4711:0", "Severity": "Alarm", "Message": "Filter clogged.",
         "MessageArgs": ["Unit1", "System", "0", None], "Created": "2026-03-05T14:07:09+0100"}


@pytest.fixture
def client(service):
    """Registers an appliance with all kinds of documents; its client."""
    service.start("--http")
    anyone = Client(service)
    manager = {"DateTime": "2026-03-05T14:07:09+0100", "FirmwareVersion": "1.0.0", "UUID": UUID,
               "ManagerType": "ManagementController", "Model": "Kyros", "Name": "Hall 3 north"}
    owner = Client(service, anyone.ask("POST", REGISTRATION, json.dumps(manager))
                   .headers["X-Auth-Token"])
    chassis = owner.ask("POST", "/redfish/v1/Chassis", json.dumps(CHASSIS)).headers["Location"]
    for path, document in (
            (f"{chassis}/Thermal", THERMAL),
            (f"{chassis}/EnvironmentMetrics", {"HumidityPercent": {"Reading": 44, "Sort": "rh"},
                                               "TemperatureCelsius": 21}),
            (f"{chassis}/Sensors/supply", {"Reading": 21.5, "ReadingUnits": "Cel",
                                           "ReadingTime": "2026-13-05T14:07:09Z"}),
            (f"{chassis}/Room/1", {"Size": 20}),
            (f"/redfish/v1/Managers/{UUID}/Network", {"Id": "eth0", "Speed": 100})):
        assert owner.ask("PATCH", path, json.dumps(document)).status == 204
    for origin, event in ((chassis, EVENT), ("", {**EVENT, "Severity": "MESSAGE", "Created": ""})):
        assert owner.ask("POST", f"/redfish/v1/Managers/{UUID}/Oem/Quorvan:Events",
                         json.dumps({**event, "OriginOfCondition": {"@odata.id": origin}})
                         ).status == 201
    owner.ask("POST", f"/hb/{UUID}", '{"HeartbeatInterval": 90}')
    owner.chassis = chassis
    return owner


def test_every_link_leads_to_a_resource_of_a_type_that_is_described(client):
    described = namespaces(client.get("/redfish/v1/$metadata").body)
    found = documents(client)
    assert len(found) > 20
    for path, answer in found.items():
        document = answer.json
        assert document["@odata.id"].rstrip("/") == path.rstrip("/")
        namespace, _, name = document["@odata.type"].removeprefix("#").rpartition(".")
        assert namespace in described, document["@odata.type"]
        assert namespace.split(".")[0] == name
        (link,) = answer.headers.get_all("Link")
        address, relation = link.split(">; ")
        assert relation == "rel=describedby" and address.endswith(f"/{namespace}.json")
        if "Quorvan" in name:
            schema = client.get(address[1:]).json
            assert schema["title"] == document["@odata.type"]


def test_pretty_shows_the_same_documents_with_the_same_tags_in_lines(client):
    for path, answer in documents(client).items():
        pretty = client.get(f"{path}{'&' if '?' in path else '?'}pretty")
        assert pretty.body == indented(answer.json), path
        assert pretty.headers["ETag"] == answer.headers["ETag"]
        assert pretty.headers["Content-Length"] == str(len(pretty.body))
    assert client.get("/redfish/v1/Chassis?pretty=2").error() == (
        "QueryParameterValueFormatError", ["2", "pretty"])
    nothing = client.get("/redfish/v1/Nothing?pretty=true")
    assert nothing.status == 404 and nothing.body == indented(nothing.json)


def test_kinds_of_resources_are_all_found(client):
    types = {answer.json["@odata.type"].split(".")[-1] for answer in documents(client).values()}
    assert types == {
        "ServiceRoot", "ManagerCollection", "Manager", "ChassisCollection", "Chassis", "Thermal",
        "EnvironmentMetrics", "SensorCollection", "Sensor", "SessionService", "SessionCollection",
        "JsonSchemaFileCollection", "JsonSchemaFile", "MessageRegistryFileCollection",
        "MessageRegistryFile", "QuorvanDocument", "QuorvanEvent", "QuorvanEventCollection",
        "QuorvanHistory"}


def test_every_answer_has_the_headers_of_the_protocol(client):
    for path, answer in documents(client).items():
        assert answer.headers["OData-Version"] == "4.0"
        assert answer.headers["Content-Type"] == "application/json; charset=utf-8"
        assert answer.headers["Cache-Control"] == "no-cache"
        head = client.ask("HEAD", path)
        assert (head.status, head.body) == (200, b"")
        for name in ("ETag", "Allow", "Link", "Content-Length", "Content-Type"):
            assert head.headers[name] == answer.headers[name], (path, name)


def test_entity_tags_hold_for_every_resource(client):
    for path, answer in documents(client).items():
        tag = answer.headers["ETag"]
        unchanged = client.get(path, If_None_Match=f'"x", {tag}')
        assert (unchanged.status, unchanged.body) == (304, b"")
        assert unchanged.headers["ETag"] == tag
        assert client.get(path, If_None_Match='"x"').status == 200
        assert client.get(path, If_Match=tag).status == 200
        refused = client.get(path, If_Match='"x"')
        assert (refused.status, refused.error()) == (412, ("PreconditionFailed", []))


def test_allow_says_what_each_method_then_does(client):
    for path, answer in documents(client).items():
        allowed = answer.headers["Allow"].split(", ")
        options = client.ask("OPTIONS", path)
        assert (options.status, options.headers["Allow"]) == (204, answer.headers["Allow"])
        # What appliances may send without its being offered.
        taken = [*allowed, "PATCH"] if path.endswith("/Sensors") else allowed
        for method in METHODS:
            # Changes are tried without a token, so that they don't happen.
            asked = client.ask(method, path, "{}", X_Auth_Token="none") if method in (
                "POST", "PUT", "PATCH", "DELETE") else client.ask(method, path)
            assert (asked.status == 405) == (method not in taken), (method, path)
            if asked.status == 405:
                assert asked.headers["Allow"] == answer.headers["Allow"]
                assert asked.error() == ("OperationNotAllowed", [])


def test_without_a_token_only_the_way_in_is_open(client):
    paths = documents(client)
    client.token = ""
    for path in paths:
        answer = client.get(path)
        if path == "/redfish/v1/":
            assert answer.status == 200
        else:
            assert (answer.status, answer.error()) == (401, ("NoValidSession", []))
            assert answer.headers["WWW-Authenticate"]
    for path in ("/redfish", "/redfish/v1", "/redfish/v1/odata", "/redfish/v1/$metadata"):
        assert client.get(path).status == 200


def test_service_document_names_what_there_is(client):
    document = client.get("/redfish/v1/odata").json
    assert document["@odata.context"] == "/redfish/v1/$metadata"
    for entry in document["value"]:
        assert entry["kind"] == "Singleton"
        assert client.get(entry["url"]).status == 200, entry


def test_own_types_are_described_in_both_ways(client):
    answer = client.get("/redfish/v1/$metadata")
    assert answer.headers["Content-Type"] == "application/xml; charset=utf-8"
    own = {uri for uri in namespaces(answer.body).values() if uri.startswith("/")}
    assert len(own) == 5
    types = {}
    for uri in own:
        for schema in ElementTree.fromstring(client.get(uri).body).iter(f"{EDM}Schema"):
            for kind in schema:
                types[f"{schema.get('Namespace')}.{kind.get('Name')}"] = kind
    for answer in documents(client).values():
        name = answer.json["@odata.type"].removeprefix("#")
        if not name.startswith("Quorvan"):
            continue
        inherited = {"Id", "Name", "Description", "Oem"}
        known = {member.get("Name") for member in types[name]} | inherited
        assert {key for key in answer.json if "@" not in key} <= known


def test_what_an_appliance_sent_is_all_there_in_its_place_or_under_oem(client):
    chassis = client.get(client.chassis).json
    oem = chassis["Oem"]["Quorvan"]
    assert (chassis["ChassisType"], oem["ChassisType"]) == ("Other", "Cupboard")
    assert (oem["WeightKg"], oem["UUID"]) == (-1, "not one")
    assert chassis["Thermal"] == {"@odata.id": f"{client.chassis}/Thermal"}
    assert oem["Thermal"] == "/redfish/v1/Nowhere"
    assert oem["Supply"] == {"Name": "<b>x</b>"}
    assert chassis["Location"]["PostalAddress"] == {"City": "Kiel"}
    thermal = client.get(f"{client.chassis}/Thermal").json
    first, second = thermal["Temperatures"]
    assert first["@odata.id"] == f"{client.chassis}/Thermal#/Temperatures/0"
    assert (first["MemberId"], second["MemberId"]) == ("0", "1")
    assert first["Oem"]["Quorvan"]["MemberId"] == "supply"
    assert second["Oem"]["Quorvan"]["ReadingCelsius"] == "warm"
    assert thermal["Fans"][0]["Reading"] == 1200
    assert thermal["Oem"]["Quorvan"]["Status"] == "fine"
    sensor = client.get(f"{client.chassis}/Sensors/supply").json
    assert sensor["Oem"]["Quorvan"]["ReadingTime"] == "2026-13-05T14:07:09Z"
    manager = client.get(f"/redfish/v1/Managers/{UUID}").json
    assert manager["DateTime"] == "2026-03-05T14:07:09+01:00"


def test_pages_of_a_collection_follow_one_another(client):
    for number in range(5):
        client.ask("POST", "/redfish/v1/Chassis", f'{{"Name": "{number}"}}')
    whole = [member["@odata.id"] for member in client.get("/redfish/v1/Chassis").json["Members"]]
    seen, path = [], "/redfish/v1/Chassis?$top=4"
    while path:
        page = client.get(path).json
        assert page["Members@odata.count"] == 6
        seen += links(page["Members"])
        path = page.get("Members@odata.nextLink")
    assert seen == whole
    assert client.get("/redfish/v1/Chassis?$skip=6").json["Members"] == []
    none = client.get("/redfish/v1/Chassis?$top=0").json
    assert none["Members"] == [] and "Members@odata.nextLink" not in none


def test_expansion_goes_as_deep_as_it_is_told(client):
    def expanded(option, path="/redfish/v1/Chassis"):
        return client.get(f"{path}?$expand={option}").json
    chassis = expanded(".")["Members"][0]
    assert chassis["Name"] == "Cooling unit 7" and set(chassis["Thermal"]) == {"@odata.id"}
    chassis = expanded(".(%24levels=2)")["Members"][0]
    assert chassis["Thermal"]["Fans"][0]["Reading"] == 1200
    assert set(chassis["Links"]["ManagedBy"][0]) == {"@odata.id"}
    chassis = expanded("*($levels=2)")["Members"][0]
    assert chassis["Links"]["ManagedBy"][0]["Model"] == "Kyros"
    chassis = expanded("~", client.chassis)
    assert chassis["Links"]["ManagedBy"][0]["Model"] == "Kyros"
    assert set(chassis["Thermal"]) == {"@odata.id"}
    assert client.get(f"{client.chassis}?$expand=*($levels=6)").status in (200, 507)


def test_view_that_would_be_too_large_is_refused(client):
    path = f"{client.chassis}/Thermal"
    for elements, status, message in ((60_000, 200, None), (95_000, 400, "GeneralError")):
        client.ask("PATCH", path, '{"Fans": [' + ",".join(["{}"] * elements) + "]}")
        answer = client.get(path)
        assert answer.status == status and len(answer.body) < 8 << 20
        assert message is None or answer.error() == (message, [])
    assert client.get(f"{client.chassis}?$expand=.").error() == ("InsufficientStorage", [])
    assert client.get(client.chassis).status == 200


def test_selection_keeps_what_names_the_resource(client):
    chosen = client.get(f"{client.chassis}?$select=Name,Location/PostalAddress/City").json
    assert chosen == {"@odata.id": client.chassis, "@odata.type": "#Chassis.v1_28_0.Chassis",
                      "Name": "Cooling unit 7", "Location": {"PostalAddress": {"City": "Kiel"}}}
    list_of_names = client.get("/redfish/v1/Chassis?$expand=.&$select=Members/Name").json
    assert list_of_names["Members"][0] == {
        "@odata.id": client.chassis, "@odata.type": "#Chassis.v1_28_0.Chassis",
        "Name": "Cooling unit 7"}


@pytest.mark.parametrize("path, status, message", [
    ("/redfish/v1/Chassis?$filter=Name", 501, "QueryNotSupported"),
    ("/redfish/v1/Chassis?$top=", 400, "QueryParameterValueTypeError"),
    ("/redfish/v1/Chassis?$top=ten", 400, "QueryParameterValueTypeError"),
    ("/redfish/v1/Chassis?$top=-1", 400, "QueryParameterOutOfRange"),
    ("/redfish/v1/Chassis?$skip=2", 400, "QueryParameterOutOfRange"),
    ("/redfish/v1/Chassis?$top=1&$top=2", 400, "QueryCombinationInvalid"),
    ("/redfish/v1/Chassis?$expand=", 400, "QueryParameterValueFormatError"),
    ("/redfish/v1/Chassis?$expand=Thermal", 400, "QueryParameterValueFormatError"),
    ("/redfish/v1/Chassis?$expand=.($levels=7)", 400, "QueryParameterOutOfRange"),
    ("/redfish/v1/Chassis?$expand=.($levels=x)", 400, "QueryParameterValueTypeError"),
    ("/redfish/v1/Chassis?$select=", 400, "QueryParameterValueFormatError"),
    ("/redfish/v1/Chassis?$select=a//b", 400, "QueryParameterValueFormatError"),
    ("/redfish/v1/?$top=1", 400, "QueryNotSupportedOnResource"),
    ("/redfish/v1/odata?$select=value", 400, "QueryNotSupportedOnResource"),
    ("/redfish/v1/Oem/Quorvan:Events?Cleared=false&$top=1", 400, "QueryCombinationInvalid"),
    ("/redfish/v1/Oem/Quorvan:Events?Cleared=maybe", 400, "QueryParameterValueFormatError"),
])
def test_query_that_cannot_be_is_refused(client, path, status, message):
    answer = client.get(path)
    assert (answer.status, answer.error()[0]) == (status, message)


def test_query_that_is_nobodys_is_ignored(client):
    assert client.get("/redfish/v1/Chassis?only&x=%zz").json["Members@odata.count"] == 1


def test_change_happens_only_to_the_state_that_was_seen(client):
    path = f"{client.chassis}/Thermal"
    seen = client.get(path).headers["ETag"]
    assert client.ask("PATCH", path, '{"Name": "T"}', If_Match=seen).status == 204
    late = client.ask("PATCH", path, '{"Name": "U"}', If_Match=seen)
    assert (late.status, late.error()[0]) == (412, "PreconditionFailed")
    assert client.get(path).json["Name"] == "T"
    assert client.ask("PATCH", f"{path}2", "{}", If_Match="*").status == 412
    assert client.ask("PATCH", path, "{}", If_None_Match="*").status == 412
    assert client.ask("DELETE", client.chassis, If_Match='"x"').status == 412
    assert client.get(f"{path}2").status == 404


def test_what_the_service_gives_is_not_to_be_changed(client):
    refused = client.ask("PATCH", client.chassis, '{"Id": "mine"}')
    assert (refused.status, refused.error()) == (400, ("PropertyNotWritable", ["Id"]))
    # Beside something else it is left out, as an appliance may send its whole document.
    assert client.ask("PATCH", client.chassis, '{"Id": "mine", "AssetTag": "9"}').status == 204
    assert client.get(client.chassis).json["AssetTag"] == "9"
    for path in ("/redfish/v1", "/redfish/v1/SessionService", "/redfish/v1/Oem/Quorvan:Events/1"):
        assert client.ask("PATCH", path, "{}").status == 405


def test_created_chassis_is_where_its_location_says(client):
    answer = client.ask("POST", "/redfish/v1/Chassis", '{"Name": "Second"}')
    assert answer.status == 201
    again = client.get(answer.headers["Location"])
    assert (again.body, again.headers["ETag"]) == (answer.body, answer.headers["ETag"])


def test_version_that_is_not_spoken_is_refused(client):
    assert client.get("/redfish/v1/Chassis", OData_Version="4.0").status == 200
    refused = client.get("/redfish/v1/Chassis", OData_Version="3.0")
    assert (refused.status, refused.error()) == (412, ("HeaderInvalid", ["OData-Version"]))


# On PostgreSQL the clock does not run faster: it would take six minutes.
@pytest.mark.sqlite
def test_documents_stay_valid_while_the_appliance_is_silent(service, client):
    """Also the one that says so."""
    manager = f"/redfish/v1/Managers/{UUID}"
    service.wait_until(lambda: client.get(manager).json["Status"]["State"] == "UnavailableOffline",
                       "the appliance offline")
    assert client.get(manager).json["Oem"]["Quorvan"]["Heartbeat"]["Overdue"] is True
