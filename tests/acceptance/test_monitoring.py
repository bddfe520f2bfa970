# SPDX-License-Identifier: Apache-2.0
"""The alert rules and the dashboard that come with the service, tried with Prometheus."""

import json
import pathlib

import pytest

from harness.daemon import EMAIL, KEY, UUID
from harness.process import clock
from harness.prometheus import Prometheus, promtool

DOCUMENTS = pathlib.Path(__file__).resolve().parents[2] / "docs"
RULES = DOCUMENTS / "prometheus-alerts.yml"
DASHBOARD = json.loads((DOCUMENTS / "grafana-dashboard.json").read_text())
CASES = pathlib.Path(__file__).with_name("alerts.test.yml")
# What Grafana puts in the place of its variables.
VARIABLES = {"$__rate_interval": "1m", "$instance": ".*"}


def queries():
    for panel in DASHBOARD["panels"]:
        for target in panel["targets"]:
            query = target["expr"]
            for variable, value in VARIABLES.items():
                query = query.replace(variable, value)
            yield f"{panel['title']}: {query}", query


@pytest.fixture
def prometheus(folder, under_watch):
    return under_watch(Prometheus(folder, RULES))


def test_rules_tell_when_they_should_and_else_not(folder):
    cases = folder / "alerts.test.yml"
    cases.write_text(CASES.read_text().replace("RULES", str(RULES)))
    is_well, said = promtool("test", "rules", cases)
    assert is_well, said


def test_every_rule_and_every_query_of_the_dashboard_finds_the_metrics(service, prometheus):
    service.start("--http", "--metrics-of-appliances", faketime=clock(1))
    service.send("POST", f"/redfish/v1/Managers?setup_email={EMAIL}&registration_key={KEY}",
                 body=json.dumps({"UUID": UUID, "Name": "a"}))
    prometheus.start(service)
    # A rate needs two looks.
    prometheus.wait_until(
        lambda: prometheus.query("rate(cloudservice_requests_total[1m])"), "two looks")
    prometheus.wait_until(
        lambda: all(rule["health"] == "ok" for rule in prometheus.rules()), "all rules at work")
    assert {rule["name"] for rule in prometheus.rules() if rule["state"] != "inactive"} == set()
    assert [title for title, query in queries() if not prometheus.query(query)] == []
    ((labels, state),) = prometheus.query(
        "cloudservice_appliance_state "
        "* on (instance, uuid) group_left (name) cloudservice_appliance_info")
    assert (labels["name"], state) == ("a", 0)


def test_dashboard_asks_for_its_source_and_its_processes():
    assert [one["name"] for one in DASHBOARD["__inputs"]] == ["DS_PROMETHEUS"]
    source = {"type": "prometheus", "uid": "${DS_PROMETHEUS}"}
    (variable,) = DASHBOARD["templating"]["list"]
    assert (variable["name"], variable["datasource"]) == ("instance", source)
    panels = DASHBOARD["panels"]
    assert len({panel["id"] for panel in panels}) == len(panels) > 10
    for panel in panels:
        assert panel["datasource"] == source and panel["title"] and panel["description"]
        assert all(target["datasource"] == source for target in panel["targets"])
        place = panel["gridPos"]
        assert place["x"] + place["w"] <= 24
