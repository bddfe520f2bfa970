#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs a daemon that is linked against the stand-in platform, up to its registration.

    daemon_test.py DAEMON LIBRARY
"""

import json
import pathlib
import signal
import subprocess
import sys
import unittest

from harness.folders import case_folder
from harness.process import Process, clock, environment
from harness.recorder import Recorder
from harness.wire import answer


def listing(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


class Daemon(unittest.TestCase):
    def setUp(self):
        folder = self.enterContext(case_folder())
        self.service = Recorder()
        self.addCleanup(self.service.close)
        self.daemon = Process("cloudclient", folder)

    def test_asks_for_the_service_root_and_registers_with_what_the_platform_says(self):
        self.service.answers("POST /redfish/v1/Managers", answer(401))
        self.daemon.launch([DAEMON], {**environment(clock()), "STANDIN_URL": self.service.url})
        try:
            first = self.service.receives("GET /redfish/v1")
            self.assertEqual(self.service.requests()[0], first)
            address = self.service.url.removeprefix("http://")
            self.assertEqual(first.raw.decode(), "GET /redfish/v1 HTTP/1.1\r\n"
                             f"Host: {address}\r\nAccept: */*\r\n\r\n")
            registration = self.service.receives("POST /redfish/v1/Managers")
            self.assertIn(b"\r\nHost: 192.0.2.99\r\n", registration.raw)
            document = json.loads(registration.body)
            self.assertEqual(document["FirmwareVersion"], "2.0-standin")
            self.assertEqual(document["Name"], "Stand-in")
            self.daemon.wait_until(
                lambda: "failed to register(3)" in self.daemon.error_text(), "the refusal")
            self.daemon.signal(signal.SIGTERM)
            self.daemon.ends(0)
        finally:
            self.daemon.close()

    def test_holds_nothing_of_the_host_platform(self):
        symbols = listing("nm", "--demangle", DAEMON)
        self.assertIn("cloudclient::CloudClient::DoWork", symbols)
        self.assertNotIn(" host::", symbols)
        undefined = listing("nm", "--demangle", "--undefined-only", DAEMON)
        self.assertIn("LxBaseProxyApp::LxBaseProxyApp(", undefined)

    def test_needs_the_given_library(self):
        needed = listing("readelf", "-d", DAEMON)
        self.assertIn(f"[{pathlib.Path(LIBRARY).name}]", needed)


if __name__ == "__main__":
    DAEMON, LIBRARY = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1])
