# SPDX-License-Identifier: Apache-2.0
"""Files and lines that are not what they should be: one clear message, and the daemon goes on."""

import json
import re

import pytest

from harness.daemon import UUID
from harness.waiting import wait_until

ENABLED = "cloudclient is now registered for device changes"
# A JSON text that ends wrongly on its third line.
BROKEN = '{\n  "Enabled": true,\n  "Url": oops\n}\n'


def complaint(daemon, file):
    """The one message about `file`, which names where in it the fault is."""
    daemon.logs(file)
    found = [e for e in daemon.entries() if file in e.text and e.level <= 4]
    assert len(found) == 1, found
    assert found[0].unit == "Host"
    assert re.search(r"line 3\D+column \d+", found[0].text), found[0].text
    return found[0].text


@pytest.mark.parametrize("file", ["cloud.json", "sysinfo.json", "device.json"])
def test_unparsable_at_start(daemon, device, recorder, file):
    good = daemon.path(file).read_text()
    if file != "cloud.json":
        daemon.configure(Url=recorder.url)
    daemon.write(file, BROKEN)
    daemon.start()
    complaint(daemon, file)
    daemon.logs("DISABLED" if file == "cloud.json" else "cloudclient is now ENABLED")
    daemon.stop()
    assert daemon.path(file).read_text() == BROKEN
    assert good != BROKEN


@pytest.mark.parametrize("file", ["cloud.json", "sysinfo.json"])
def test_unparsable_while_running_keeps_the_last_good_values(daemon, device, recorder, file):
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs(ENABLED)
    daemon.write(file, BROKEN)
    complaint(daemon, file)
    before = len(recorder.requests())
    wait_until(lambda: len(recorder.requests()) > before, "requests to go on")
    daemon.stop()
    assert daemon.path(file).read_text() == BROKEN
    assert not daemon.logged("cloudclient is now DISABLED")


def test_unparsable_cloud_json_is_not_overwritten_by_a_save(daemon, device, recorder):
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs(ENABLED)
    daemon.write("cloud.json", BROKEN)
    complaint(daemon, "cloud.json")
    daemon.rename("Hall 4")
    daemon.logs("HandleCfgEvent: Failed to save configuration")
    assert len(daemon.logged("cloud.json is not saved: ")) == 1
    assert daemon.path("cloud.json").read_text() == BROKEN


def test_repaired_cloud_json_is_taken(daemon, device, recorder):
    good = {**daemon.config(), "Url": recorder.url}
    daemon.write("cloud.json", BROKEN)
    daemon.start()
    complaint(daemon, "cloud.json")
    daemon.write("cloud.json", good)
    daemon.logs(ENABLED)


def test_file_that_can_not_be_saved_is_left_as_it_was(daemon, device, recorder):
    daemon.configure(Url=recorder.url, Remark="x" * 300_000)
    before = daemon.path("cloud.json").read_text()
    daemon.start(largest_file=200_000)
    recorder.receives(f"POST /hb/{UUID}")  # token and chassis are known all the same
    daemon.stop()
    refusals = daemon.logged("cloud.json is not saved: File too large")
    assert refusals
    assert {(e.unit, e.level) for e in refusals} == {("Host", 3)}
    assert daemon.path("cloud.json").read_text() == before
    left = {path.name for path in daemon.path("cloud.json").parent.iterdir()}
    assert left == {"cloud.json", "cloud.json.lock", "device.json", "sysinfo.json"}


def test_keys_that_the_daemon_does_not_know_are_kept(daemon, device, recorder):
    daemon.configure(Url=recorder.url, Remark={"by": ["the keeper", 1.5, None]})
    daemon.start()
    daemon.logs(ENABLED)
    assert daemon.token
    assert daemon.config()["Remark"] == {"by": ["the keeper", 1.5, None]}
    assert daemon.path("cloud.json").stat().st_mode & 0o777 == 0o600


NONSENSE = {
    "no_json": "not json",
    "cut_off": '{"op": "list"',
    "array": "[]",
    "number": "17",
    "no_op": "{}",
    "op_is_a_number": '{"op": 5}',
    "unknown_op": '{"op": "explode"}',
    "unknown_point": '{"op": "set", "point": 9999, "value": "1"}',
    "point_is_a_text": '{"op": "set", "point": "1201", "value": "1"}',
    "no_value": '{"op": "set", "point": 1201}',
    "unknown_event": '{"op": "raise", "gdd": 9999, "state": "Alarm"}',
    "unknown_module": '{"op": "raise", "gdd": 4711, "module": 2, "state": "Alarm"}',
    "unknown_state": '{"op": "raise", "gdd": 4711, "state": "Loud"}',
    "no_event": '{"op": "clear"}',
}


@pytest.mark.parametrize("line", NONSENSE.values(), ids=NONSENSE.keys())
def test_control_line_that_makes_no_sense_is_refused(daemon, device, line):
    daemon.configure(Enabled=False)
    daemon.start()
    before = device.lists()
    device.refuses(line)
    assert device.lists() == before


def test_control_line_of_ten_megabytes_is_not_taken(daemon, device):
    daemon.configure(Enabled=False)
    daemon.start()
    device.lists()
    line = json.dumps({"op": "set", "point": 1201, "value": "7" * 10_000_000})
    answer = device.says(line)
    assert not answer or json.loads(answer)["ok"] is False
    assert "777777" not in json.dumps(device.lists())


def test_device_is_driven_through_its_socket(daemon, device):
    daemon.configure(Enabled=False)
    daemon.start()
    device.sets(1201, "23.5")
    device.raises(4711, module=1, state="Warning")
    listed = json.dumps(device.lists())
    assert '"23.5"' in listed
    assert '"Warning"' in listed
    device.clears(4711, module=1)
    assert '"Warning"' not in json.dumps(device.lists())
