# SPDX-License-Identifier: Apache-2.0
"""Two deliberate endless loops: a document that ends in a temperature tag, and the search for a map
file that is nowhere. Both leave the daemon open to a second signal."""

import signal

import pytest

from harness.daemon import UUID
from harness.points import SUPPLY, map_file, point, resource
from harness.wire import answer

# What the log may grow to: the loop of the tag logs for as long as it runs.
LARGEST_LOG = 1_000_000


def ends_by_the_second_signal(daemon):
    def taken():
        return int(daemon.status("ShdPnd"), 16) >> (signal.SIGTERM - 1) & 1 == 0
    daemon.signal(signal.SIGTERM)
    daemon.wait_until(taken, "the first signal to be taken")
    assert daemon.running
    daemon.signal(signal.SIGTERM)
    daemon.ends(1)


@pytest.fixture
def known(daemon, device, recorder):
    recorder.knows_the_manager()
    recorder.answers("GET /redfish/v1/Oem/Quorvan:Events", answer(200, body="[]"))
    daemon.configure(Url=recorder.url, XAuthToken="secret",
                     Chassis={"C1": {"VelocityInstance": 0}})


def test_document_that_ends_in_a_tag_is_edited_for_ever(daemon, device, recorder, known):
    device.page("1/2/covpatchmap.txt",
                map_file([resource(tempUomCelsius=True)], thermal=[point(SUPPLY)]))
    device.page("patch/thermal.txt", "{}temp_uom_celsius~1201")
    daemon.start(largest_file=LARGEST_LOG)
    message = ("UpdateDocWithTempUomValues: Found invalid UoM tag (temp_uom_celsius~) at "
               "position 2.  No point ID.")
    daemon.wait_until(lambda: daemon.error_text().count(message) >= 1000, "the message, and again")
    ends_by_the_second_signal(daemon)
    assert not [r for r in recorder.requests() if r.line.startswith("PATCH ")]


def test_map_file_that_is_nowhere_is_looked_for_for_ever(daemon, device, recorder, known):
    (device.file.parents[2] / "var/local/orv/pldserver/0/1/2/covpatchmap.txt").unlink()
    daemon.start()
    daemon.logs("covpatchmap.txt")
    daemon.logs("DoWork: cloudclient is now ENABLED")
    daemon.sleeps(200)
    assert recorder.requests() == []
    ends_by_the_second_signal(daemon)


def test_search_for_a_map_file_that_is_nowhere_ends_where_the_policy_says(daemon, device, recorder,
                                                                          known):
    (device.file.parents[2] / "var/local/orv/pldserver/0/1/2/covpatchmap.txt").unlink()
    daemon.write("policy.json", {"Search": {"EndAtBase": True}})
    daemon.start()
    daemon.logs("FindPath: Failed to find covpatchmap.txt of the device 1.2.3")
    daemon.logs("cloudclient is now registered for device changes")
    recorder.receives(f"POST /hb/{UUID}")
