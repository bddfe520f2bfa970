# SPDX-License-Identifier: Apache-2.0
"""Values and events of SNMP agents: Debian's snmpd, and its senders of notifications."""

import pytest

from harness.snmp import COMMUNITY, OBJECTS, USER, Agent, credentials, free_udp_port, notifies

LINK_DOWN = "1.3.6.1.6.3.1.1.5.3"
LINK_UP = "1.3.6.1.6.3.1.1.5.4"
ENGINE = "80001f8804706475"

pytestmark = pytest.mark.usefixtures("secrets")


@pytest.fixture
def agent(folder, under_watch):
    return under_watch(Agent(folder))


@pytest.fixture
def secrets(root, device):
    """Credentials of both versions, where the daemon finds them."""
    credentials(root / "etc/cloudclient", "v2c.json", Community=COMMUNITY)
    credentials(root / "etc/cloudclient", "v3.json", **USER)


def source(agent, version, **more):
    name = "v2c" if version == "2c" else "v3"
    return {"Type": "snmp", "Address": agent.address, "Version": version,
            "Credentials": f"/etc/cloudclient/{name}.json", "TimeoutSeconds": 1, "Retries": 0, **more}


def point(number, **more):
    return {"Id": number, "Name": f"p{number}", **more,
            "Source": {"From": "pdu", "Oid": f"{OBJECTS}.{number}"}}


@pytest.fixture
def states(daemon, device):
    def become(**expected):
        def seen():
            found = {f"e{e['gdd']}": e["state"] for e in device.lists()["events"]}
            return all(found[name] == state for name, state in expected.items())
        daemon.wait_until(seen, f"states {expected}")
    return become


@pytest.mark.parametrize("version", ["2c", "3"])
def test_objects_of_an_agent_are_values(agent, runs, values, version):
    agent.has(o1=("integer", -235), o2=("gauge", 4000000000), o3=("string", 'Rack "B"'),
              o4=("integer", 2), o5=("objectid", ".1.3.6.1.4.1.58888"),
              o6=("ipaddress", "192.0.2.7"), o8=("counter64", 18446744073709551615))
    agent.start()
    runs({"Sources": {"pdu": source(agent, version)}, "Points": [
        point(1, Scale=0.1, Decimals=1), point(2), point(3), point(4, States={"1": "On", "2": "Off"}),
        point(5), point(6), point(7), point(8, Scale=1e-18, Decimals=1)]})
    values(p1="-23.5", p2="4000000000", p3="Rack 'B'", p4="Off", p5="1.3.6.1.4.1.58888",
           p6="192.0.2.7", p7="", p8="18.4")
    agent.has(o1=("integer", 17), o7=("timeticks", 4242))
    values(p1="1.7", p7="4242")


@pytest.mark.parametrize("version", ["2c", "3"])
def test_silent_agent_costs_its_own_points_until_it_answers(daemon, agent, runs, values, version):
    agent.has(o1=("integer", 5))
    agent.start()
    runs({"Sources": {"pdu": source(agent, version)}, "Points": [
        point(1), {"Id": 99, "Name": "p99", "Source": {
            "Type": "command", "Command": ["/bin/echo", "7"]}}]})
    values(p1="5", p99="7")
    with agent.held():
        daemon.logs("source pdu does not answer: no answer")
        values(p1="", p99="7")
    daemon.logs("source pdu answers again")
    values(p1="5")
    agent.stop()
    values(p1="")
    agent.start()
    values(p1="5")
    assert len(daemon.logged("does not answer")) == 2


def test_many_objects_come_with_few_requests(agent, runs, values):
    count = 200
    agent.has(**{f"o{n}": ("integer", n * 3) for n in range(1, count + 1)})
    agent.start()
    runs({"PollSeconds": 86400, "Sources": {"pdu": source(agent, "2c", TimeoutSeconds=30)},
          "Points": [point(n) for n in range(1, count + 1)]})
    values(**{f"p{n}": str(n * 3) for n in range(1, count + 1)})


def test_wrong_password_is_said_without_it(daemon, root, agent, runs, values):
    agent.has(o1=("integer", 5))
    agent.start()
    file = credentials(root / "etc/cloudclient", "v3.json", **{**USER, "AuthPassword": "wrong-secret"})
    runs({"Sources": {"pdu": source(agent, "3")}, "Points": [point(1)]})
    daemon.logs("source pdu does not answer: ")
    credentials(file.parent, file.name, **USER)
    values(p1="5")
    for secret in ("wrong-secret", *(USER[key] for key in ("AuthPassword", "PrivPassword"))):
        assert secret not in daemon.error_text()


def test_credentials_that_others_may_read_are_refused(daemon, root, agent, runs, values):
    agent.has(o1=("integer", 5))
    agent.start()
    file = root / "etc/cloudclient/v2c.json"
    file.chmod(0o640)
    runs({"Sources": {"pdu": source(agent, "2c")}, "Points": [point(1)]})
    daemon.logs(f"{file}: others than its owner may use it: give it mode 0600")
    file.chmod(0o600)
    values(p1="5")


def event(number, **more):
    return {"GddId": number, "Text": f"Event {number}", "Source": {"From": "traps", **more}}


@pytest.mark.parametrize("inform", [False, True], ids=["trap", "inform"])
def test_notifications_raise_and_clear_events(daemon, runs, states, inform):
    port = free_udp_port()
    runs({"Sources": {"traps": {"Type": "snmp", "Listen": f"127.0.0.1:{port}", "Version": "2c",
                                "Credentials": "/etc/cloudclient/v2c.json"}},
          "Events": [event(1, Raise=LINK_DOWN, Clear=LINK_UP, State="Warning"),
                     event(2, Raise=LINK_DOWN, Sender="192.0.2.1"), event(3, Raise=LINK_UP)]})

    def sends(trap, **more):
        def taken():
            notifies(port, trap, inform=inform, **more)
            return True
        taken()
    states(e1="Cleared")
    sends(LINK_DOWN, community="guessed")
    sends(LINK_DOWN)
    states(e1="Warning", e2="Cleared", e3="Cleared")
    sends(LINK_UP)
    states(e1="Cleared", e2="Cleared", e3="Alarm")


def test_notifications_of_version_3_are_believed_of_the_user_alone(runs, states):
    port = free_udp_port()
    runs({"Sources": {"traps": {"Type": "snmp", "Listen": f"127.0.0.1:{port}", "Version": "3",
                                "Engine": ENGINE, "Credentials": "/etc/cloudclient/v3.json"}},
          "Events": [event(1, Raise=LINK_DOWN), event(2, Raise=LINK_UP)]})
    states(e1="Cleared")
    notifies(port, LINK_DOWN)
    notifies(port, LINK_UP, version="3", engine=ENGINE)
    states(e1="Cleared", e2="Alarm")


def test_port_that_is_taken_is_said_and_tried_again(daemon, agent, runs, states):
    agent.start()
    runs({"Sources": {"traps": {"Type": "snmp", "Listen": agent.address, "Version": "2c",
                                "Credentials": "/etc/cloudclient/v2c.json"}},
          "Events": [event(1, Raise=LINK_DOWN)]})
    daemon.logs(f"source traps does not answer: cannot listen at udp:{agent.address}")
    agent.stop()
    daemon.logs("source traps answers again")
    notifies(agent.port, LINK_DOWN)
    states(e1="Alarm")
