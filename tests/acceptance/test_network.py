# SPDX-License-Identifier: Apache-2.0
"""A service that is not there, or only in part."""

from harness.process import clock
from harness.recorder import CLOSES
from harness.daemon import UUID
from harness.wire import answer

ENABLED = "cloudclient is now registered for device changes"
DISABLED = "DoWork: cloudclient is now DISABLED"
DOWN = "ConnectWithCloudService: Cloud Service is not available at this time(8)"


def test_unresolved_host_is_tried_three_times(daemon, device):
    url = f"http://{'x' * 64}.example"
    daemon.configure(Url=url)
    daemon.start(clock(2))
    daemon.logs(DOWN)
    notices = daemon.logged("PerformGet: GET DNS fail")
    (failure,) = daemon.logged(f"PerformGet: Get({url}/redfish/v1) failed (curlres: 6 - ")
    assert [n.level for n in notices] == [5, 5]
    assert failure.level == 3
    times = [e.time for e in (*notices, failure)]
    pauses = [(b - a).total_seconds() for a, b in zip(times, times[1:])]
    assert all(pause >= 0.3 for pause in pauses), pauses


def test_unresolved_host_of_an_unregistration_is_tried_three_times(daemon, device):
    daemon.configure(Url=f"http://{'x' * 64}.example", XAuthToken="secret")
    daemon.start()
    daemon.logs(ENABLED)
    daemon.disable()
    daemon.logs("DoWork: Failed to unregister(3)")
    assert len(daemon.logged("DeleteResource: DELETE DNS fail")) == 2
    assert daemon.logged("DeleteResource: xauthtoken: secret")
    assert daemon.token == ""


def test_service_down_at_start_is_not_tried_again(daemon, device, nobody):
    daemon.configure(Url=nobody.url)
    daemon.start()
    daemon.logs(ENABLED)
    daemon.logs(DOWN)
    daemon.disable()
    daemon.logs(DISABLED)
    assert len(daemon.logged("PerformGet: Get(")) == 1
    assert not daemon.logged("DNS fail")


def test_service_that_comes_later_is_met_at_the_next_enabling(daemon, device, service):
    service.start()
    service.stop()
    daemon.configure(Url=service.url)
    daemon.start()
    daemon.logs(DOWN)
    daemon.logs(ENABLED)
    service.start()
    daemon.disable()
    daemon.logs(DISABLED)
    daemon.enable()
    daemon.logs(ENABLED, times=2)
    service.heartbeats(daemon.token, 1)


def test_closed_connection_is_a_transport_failure(daemon, device, recorder):
    recorder.answers("GET /redfish/v1", CLOSES)
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs(f"PerformGet: Get({recorder.url}/redfish/v1) failed (curlres: 52 - ")
    daemon.logs(DOWN)
    assert recorder.lines() == ["GET /redfish/v1"]


def test_service_that_speaks_no_tls_is_down(daemon, device, recorder):
    daemon.configure(Url=recorder.url.replace("http:", "https:"))
    daemon.start()
    daemon.logs(DOWN)
    assert recorder.lines() == []


def test_failed_unregistration_forgets_the_registration_all_the_same(daemon, device, recorder):
    recorder.answers(f"DELETE /redfish/v1/Managers/{UUID}", answer(200))
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs(ENABLED)
    daemon.disable()
    daemon.logs("DoWork: Failed to unregister(3)")
    assert (daemon.token, daemon.chassis) == ("", [])


def test_body_of_a_deletion_goes_to_standard_output(daemon, device, recorder):
    recorder.answers(f"DELETE /redfish/v1/Managers/{UUID}", answer(500, body="what the"))
    daemon.configure(Url=recorder.url)
    daemon.start()
    daemon.logs(ENABLED)
    assert daemon.output() == ""
    daemon.disable()
    daemon.logs("DoWork: Failed to unregister(3)")
    daemon.stop()
    assert daemon.output() == "what the"
