# SPDX-License-Identifier: Apache-2.0
"""docs/protocol.md against a fresh recording, and what it warns the other side of."""

import pathlib

import pytest

from harness.daemon import UUID
from harness.transcript import ENABLED, LIST, record, with_recorded
from harness.wire import answer

DOCUMENT = pathlib.Path(__file__).resolve().parent.parent.parent / "docs" / "protocol.md"
LOOKUP = "GET /redfish/v1/Managers"
RESOURCE = "PATCH /redfish/v1/Chassis/C1/Thermal"


@pytest.fixture
def registered(daemon, device, recorder):
    """Starts a daemon that the service knows, with a chassis, and returns when it is connected."""
    def start():
        daemon.configure(Url=recorder.url, XAuthToken="secret",
                         Chassis={"C1": {"VelocityInstance": 0}})
        daemon.start()
        daemon.logs(ENABLED)
    recorder.knows_the_manager()
    recorder.answers(LIST, answer(200, body="[]"))
    recorder.answers(RESOURCE, answer(204))
    return start


def test_document_is_as_recorded(daemon, device, service, folder):
    document = DOCUMENT.read_text(encoding="utf-8")
    assert with_recorded(document, record(daemon, device, service, folder)) == document, (
        "record it anew: scripts/record_protocol.py")


def test_body_of_a_patch_spoils_the_next_list(daemon, recorder, registered):
    recorder.answers(RESOURCE, answer(200, body={"Id": "Thermal"}))
    registered()
    assert len(recorder.requests(LIST)) == 3
    (spoiled,) = daemon.logged("ProcessAlarmList: Failed(pos: ")
    assert spoiled.level == 3
    assert len(daemon.logged("ProcessAlarmList: number of active events: 0")) == 2


def test_patch_without_a_body_spoils_nothing(daemon, recorder, registered):
    registered()
    assert len(recorder.requests(RESOURCE)) == 1
    assert len(daemon.logged("ProcessAlarmList: number of active events: 0")) == 3


def test_collection_in_place_of_the_array_is_an_empty_list(daemon, recorder, registered):
    recorder.answers(LIST, answer(
        200, body={"Members": [{"@odata.id": "/redfish/v1/Oem/Quorvan:Events/1"}]}))
    registered()
    assert len(daemon.logged("ProcessAlarmList: number of active events: 0")) == 3
    assert not [line for line in recorder.lines() if line.endswith("/Events/1")]


def test_whole_url_in_the_location_leads_nowhere(daemon, recorder, registered):
    recorder.answers(LOOKUP, answer(
        302, f"Location: {recorder.url}/redfish/v1/Managers/{UUID}"))
    registered()
    daemon.logs("GetManagerInstance: Failed to retrieve manager instance")
    assert recorder.requests(f"GET /redfish/v1/Managers/{UUID}") == []
