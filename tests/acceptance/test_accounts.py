# SPDX-License-Identifier: Apache-2.0
"""Who owns appliances, and who may not."""

import contextlib
import json
import pathlib
import re
import sqlite3

import pytest

from harness.appliance import REGISTRATION, Appliance
from harness.daemon import EMAIL, KEY, UUID
from harness.operators import Operator
from harness.process import clock, environment

pytestmark = pytest.mark.both_stores

SCHEMA = pathlib.Path(__file__).parents[2] / "service" / "store" / "sqlite" / "Schema.cpp"
OTHER = "/redfish/v1/Managers?setup_email=other@example.org&registration_key=other-key"
ENABLED = "cloudclient is now registered for device changes"


def registration(email, key):
    return f"/redfish/v1/Managers?setup_email={email}&registration_key={key}"


def other_account(service):
    service.command("account", "add", "other@example.org", "--key-stdin", text="other-key\n")


def test_account_can_be_added_while_the_service_runs(service):
    service.start("--http")
    told = service.command("account", "add", "new@example.org")
    key = told.removeprefix("registration key: ").rstrip("\n")
    Appliance(service, "u-1", registration=registration("new@example.org", key))
    listed = service.command("account", "list").splitlines()
    assert [line.partition(", since ")[0] for line in listed] == [
        f"{EMAIL}  1 key, 0 appliances", "new@example.org  1 key, 1 appliance"]


def test_key_can_be_replaced(service):
    service.start("--http")
    service.command("account", "add", EMAIL, "--replace", "--key-stdin", text="new-key\n")
    assert service.send("POST", REGISTRATION, body=json.dumps({"UUID": "u-1"}))[0] == 401
    Appliance(service, "u-1", registration=registration(EMAIL, "new-key"))


def test_options_make_an_account_once(service):
    for _ in range(2):
        service.start("--http")
        Appliance(service, "u-1")
        service.stop()
    assert service.command("account", "list").startswith(f"{EMAIL}  1 key, 1 appliance, since ")
    assert "new registration key" not in service.error_text()


@pytest.mark.sqlite
def test_service_without_options_goes_on_with_its_accounts(programs, folder, service):
    service.start("--http")
    service.stop()
    service.launch([programs / "service" / "cloudservice", "--http", "--listen",
                    f"127.0.0.1:{service.port}", "--db", folder / "service.db"],
                   environment(clock(1)))
    service.wait_until(lambda: "listening on" in service.output(), "the line that it listens")
    Appliance(service, "u-1")


def test_removed_account_ends_its_tokens_and_its_data_stay(service):
    service.start("--http", faketime=clock(1))
    operator = Operator(service).is_added()
    appliance = Appliance(service, "u-1").has_chassis()
    appliance.raises(1)
    service.command("account", "remove", EMAIL)
    appliance.sends("GET", "/redfish/v1/Managers/u-1", expected=401)
    appliance.sends("GET", "/redfish/v1/Managers?uuid=u-1", expected=403)
    assert service.send("POST", REGISTRATION, body='{"UUID": "u-1"}')[0] == 401
    one = operator.ask("GET", "/appliances/{uuid}", "u-1")
    assert (one["account"], one["alarms"]["Alarm"]) == (None, 1)
    other_account(service)
    Appliance(service, "u-1", registration=OTHER)
    assert operator.ask("GET", "/appliances/{uuid}", "u-1")["account"] == "other@example.org"


def test_account_can_be_removed_with_its_appliances(service):
    service.start("--http", faketime=clock(1))
    operator = Operator(service).is_added()
    other_account(service)
    Appliance(service, "u-1")
    Appliance(service, "u-2", registration=OTHER)
    service.command("account", "remove", EMAIL, "--appliances")
    assert [one["uuid"] for one in operator.ask("GET", "/appliances")["items"]] == ["u-2"]


def test_appliance_of_another_account_is_not_taken_over(service):
    service.start("--http")
    other_account(service)
    mine = Appliance(service, "u-1").has_chassis()
    assert service.send("POST", OTHER, body='{"UUID": "u-1"}')[0] == 403
    mine.sends("GET", f"/redfish/v1/Chassis/{mine.chassis}", expected=200)


def test_ids_of_another_owner_lead_nowhere(service):
    service.start("--http")
    other_account(service)
    mine = Appliance(service, "u-1").has_chassis()
    uri = mine.keeps("Thermal", {"Name": "mine"})
    event = mine.raises(1)
    theirs = Appliance(service, "u-2", registration=OTHER).has_chassis()
    for method, path in (
            ("GET", "/redfish/v1/Managers/u-1"), ("DELETE", "/redfish/v1/Managers/u-1"),
            ("GET", f"/redfish/v1/Chassis/{mine.chassis}"),
            ("DELETE", f"/redfish/v1/Chassis/{mine.chassis}"), ("GET", uri),
            ("GET", f"{uri}/Oem/Quorvan:History"), ("GET", f"/redfish/v1/Oem/Quorvan:Events/{event}")):
        theirs.sends(method, path, expected=404)
    for path in ("/redfish/v1/Managers/u-1", uri, "/redfish/v1/Managers/u-1/X"):
        theirs.sends("PATCH", path, {"Name": "theirs"}, expected=404)
    theirs.sends("POST", "/hb/u-1", {"HeartbeatInterval": 90}, expected=404)
    theirs.sends("POST", "/redfish/v1/Managers/u-1/Oem/Quorvan:Events",
                 {"MessageId": "m", "Severity": "Alarm", "Message": "m"}, expected=404)
    own_event = {"MessageId": "m", "Severity": "Alarm", "Message": "m",
                 "OriginOfCondition": {"@odata.id": f"/redfish/v1/Chassis/{mine.chassis}"}}
    theirs.sends("POST", "/redfish/v1/Managers/u-2/Oem/Quorvan:Events", own_event, expected=400)
    theirs.sends("GET", "/redfish/v1/Managers?uuid=u-1", expected=403)
    listed = f"/redfish/v1/Oem/Quorvan:Events?OriginOfCondition={mine.chassis}"
    assert theirs.sends("GET", listed, expected=200) == []
    assert mine.sends("GET", uri, expected=200)["Name"] == "mine"
    assert mine.sends("GET", "/redfish/v1/Managers/u-1",
                      expected=200)["Oem"]["Quorvan"]["Heartbeat"]["Count"] == 0


def test_token_ends_with_its_manager(service):
    service.start("--http")
    appliance = Appliance(service, "u-1").has_chassis()
    uri = appliance.keeps("Thermal", {"A": 1})
    appliance.leaves()
    for method, path, body in (
            ("GET", "/redfish/v1/Managers/u-1", None), ("POST", "/redfish/v1/Chassis", {}),
            ("GET", uri, None), ("PATCH", uri, {"A": 2}),
            ("POST", "/hb/u-1", {"HeartbeatInterval": 90}), ("GET", "/redfish/v1/Chassis", None),
            ("POST", "/redfish/v1/Managers/u-1/Oem/Quorvan:Events", {"MessageId": "m"})):
        appliance.sends(method, path, body, expected=401)
    again = Appliance(service, "u-1")
    appliance.sends("GET", "/redfish/v1/Managers/u-1", expected=401)
    again.sends("GET", uri, expected=404)


def test_wrong_keys_have_to_wait_and_the_right_one_with_them(service, clock_of):
    its_clock = clock_of("2026-03-05 12:00:00", 1)
    service.start("--http", faketime=its_clock)
    # Ten at once and one more each half minute, of which a busy machine may see some go by.
    for i in range(40):
        wrong = registration(EMAIL, f"{KEY}{i}")
        status, headers = service.send("POST", wrong, body='{"UUID": "u-1"}')
        if status == 429:
            break
        assert status == 401
    assert status == 429
    assert 1 <= int(headers["Retry-After"]) <= 30
    assert service.send("POST", REGISTRATION, body='{"UUID": "u-1"}')[0] == 429
    its_clock.step(int(headers["Retry-After"]))
    assert service.send("POST", REGISTRATION, body='{"UUID": "u-1"}')[0] == 201
    assert KEY not in service.error_text()


def shuts_out(service, headers):
    """Guesses keys until no more is looked at; `headers` gives those of the guess with a number."""
    for i in range(40):
        status, _ = service.send("POST", registration(EMAIL, f"{KEY}{i}"), body='{"UUID": "u-1"}',
                                 headers=headers(i))
        if status == 429:
            return
        assert status == 401
    assert False, "every key is looked at"


def registers(service, uuid, headers):
    """The status of a registration with the right key."""
    return service.send("POST", REGISTRATION, body=json.dumps({"UUID": uuid}), headers=headers)[0]


def test_sender_behind_a_trusted_proxy_is_shut_out_alone(service):
    service.start("--http", "--trusted-proxy", "192.0.2.1", "--trusted-proxy", "127.0.0.0/8",
                  faketime=clock(1))
    # It invents another address each time, which the proxy leaves to the left of its own.
    shuts_out(service, lambda i: {"X-Forwarded-For": f"203.0.113.{i}, 198.51.100.7, 192.0.2.1"})
    assert registers(service, "u-1", {"X-Forwarded-For": "198.51.100.7"}) == 429
    assert registers(service, "u-2", {"X-Forwarded-For": "198.51.100.8"}) == 201
    assert registers(service, "u-3", {"X-Forwarded-For": "198.51.100.7, nonsense"}) == 201
    service.says(" from 198.51.100.7: POST /redfish/v1/Managers")
    service.says(" from 198.51.100.8: POST /redfish/v1/Managers")
    service.says(" from 127.0.0.1: POST /redfish/v1/Managers")
    assert "203.0.113." not in service.error_text()


def test_sender_that_is_no_trusted_proxy_cannot_be_another(service):
    service.start("--http", "--trusted-proxy", "192.0.2.1", faketime=clock(1))
    shuts_out(service, lambda i: {"X-Forwarded-For": f"198.51.100.{i}"})
    assert registers(service, "u-1", {"X-Forwarded-For": "198.51.100.99"}) == 429
    assert "198.51.100." not in service.error_text()


def test_wrong_key_of_one_appliance_does_not_shut_out_the_others(service):
    """It tries again and again with the key that it has."""
    service.start("--http", faketime=clock(1))
    wrong = registration(EMAIL, KEY + "x")
    for _ in range(15):
        assert service.send("POST", wrong, body='{"UUID": "u-1"}')[0] == 401
    assert service.send("POST", REGISTRATION, body='{"UUID": "u-2"}')[0] == 201


def test_session_goes_on_after_a_restart(service):
    service.start("--http", faketime=clock(1))
    operator = Operator(service).is_added()
    operator.signs_in()
    service.stop()
    service.start("--http", faketime=clock(1))
    assert operator.ask("GET", "/session")["name"] == "olga"


@pytest.mark.sqlite
def test_secrets_are_not_in_the_database(service, folder):
    service.start("--http", faketime=clock(1))
    operator = Operator(service).is_added()
    password = service.command("operator", "add", "otto").split()[1]
    token = service.command("operator", "add", "script", "--token").split()[1]
    appliance = Appliance(service, "u-1")
    operator.signs_in()
    cookie = operator.headers["Cookie"].partition("=")[2]
    service.stop()
    kept = b"".join(path.read_bytes() for path in folder.glob("service.db*"))
    for secret in (KEY, password, token, appliance.token, cookie, "the operator's pass word"):
        assert secret.encode() not in kept, secret
        assert secret not in service.error_text()


def put_back_to_version_2(file):
    """Leaves managers and chassis in a database as the first two steps of the schema make it."""
    steps = re.findall(r'R"sql\((.*?)\)sql"', SCHEMA.read_text(), re.DOTALL)
    newer = file.rename(file.with_suffix(".newer"))
    with contextlib.closing(sqlite3.connect(file)) as database, database:
        database.executescript(steps[0] + steps[1])
        database.execute("ATTACH ? AS newer", (str(newer),))
        database.execute("""
            INSERT INTO manager (uuid, name, token_hash, document, registered)
            SELECT uuid, name, token_hash, document, registered
            FROM newer.manager JOIN newer.manager_document ON manager = id""")
        database.execute("""
            INSERT INTO chassis (id, manager, document, created)
            SELECT chassis.id, uuid, document, created FROM newer.chassis
            JOIN newer.manager ON newer.manager.id = newer.chassis.manager""")
        (application,) = database.execute("PRAGMA newer.application_id").fetchone()
        database.execute(f"PRAGMA application_id = {application}")
        database.execute("PRAGMA user_version = 2")


@pytest.mark.sqlite
def test_older_database_is_brought_up_to_date_and_kept(service, folder, version):
    """What the version before accounts left: its appliances keep their tokens."""
    service.start("--http", faketime=clock(1))
    appliance = Appliance(service, "u-1").has_chassis()
    service.stop()
    put_back_to_version_2(folder / "service.db")
    service.start("--http", faketime=clock(1))
    service.says("database upgraded, the one before is kept as ")
    assert (folder / "service.db.v2").exists()
    appliance.sends("GET", f"/redfish/v1/Chassis/{appliance.chassis}", expected=200)
    operator = Operator(service).is_added()
    assert operator.ask("GET", "/appliances")["items"][0]["account"] is None
    Appliance(service, "u-1")
    assert operator.ask("GET", "/appliances")["items"][0]["account"] == EMAIL


def test_daemon_of_a_removed_account_is_told_so(service, daemon, device):
    service.start()
    daemon.configure(Url=service.url)
    daemon.start()
    daemon.logs(ENABLED)
    token = daemon.token
    service.command("account", "remove", EMAIL)
    assert service.ask("GET", f"/redfish/v1/Managers?uuid={UUID}", token)[0] == 403
    service.says(f"POST /hb/{UUID}: 401")


@pytest.mark.sqlite
def test_commands_say_what_is_wrong(service, folder):
    for words in (("operator", "list"), ("operator", "add", "olga"), ("account", "add", "x@y"),
                  ("account", "list"), ("backup", str(folder / "copy.db"))):
        assert service.command(*words, status=1) == (
            f"cloudservice: cannot open {folder / 'service.db'}: it is not there\n")
    assert not list(folder.glob("*.db*"))
    service.command("operator", "add", "olga", "--create")
    for words, reason in ((("account", "remove", "x@y"), "there is no account x@y"),
                          (("operator", "add", "olga"), "there is an operator olga already"),
                          (("operator", "remove", "otto"), "there is no operator otto")):
        assert service.command(*words, status=1) == f"cloudservice: {reason}\n"
    assert service.command("operator", "list").startswith("olga  password, since ")
