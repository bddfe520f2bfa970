# SPDX-License-Identifier: Apache-2.0
"""Times that 32 bits can't hold."""

from harness.process import clock


def test_daemon_registers_and_beats_in_2040(daemon, device, service):
    then = clock(start="2040-01-02 03:04:05")
    service.start(faketime=then)
    daemon.configure(Url=service.url)
    daemon.start(then)
    daemon.logs("cloudclient is now registered for device changes")
    assert {entry.time.year for entry in daemon.entries()} == {2040}
    service.heartbeats(daemon.token, 2)
    assert service.manager(daemon.token)["DateTime"].startswith("2040-01-02T03:")
