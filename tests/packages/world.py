# SPDX-License-Identifier: Apache-2.0
"""Service and daemon of one root, as an administrator sets them up by what the packages brought."""

import json

from harness.waiting import wait_until

EMAIL = "me@example.org"
URL = "https://127.0.0.1:8443"
CONFIG = "/etc/cloudservice/cloudservice.conf"
DATA = "/var/local/orv/pldserver/0"
EXAMPLE = "/usr/share/doc/cloudclient/examples/cooling-unit"


class World:
    def __init__(self, root, unit):
        self.root = root
        self.service = unit("cloudservice")
        self.daemon = unit("cloudclient")

    def status(self):
        return json.loads(self.root.run("cloudclientctl", "--json", "status"))

    def sets_up(self):
        """From two fresh packages to an appliance that is registered, with its chassis."""
        root = self.root
        root.run("cp", f"{EXAMPLE}/device.json", "/etc/cloudclient/device.json")
        root.run("cp", "-r", f"{EXAMPLE}/cloudchassis.txt", f"{EXAMPLE}/covpatchmap.txt",
                 f"{EXAMPLE}/patch", DATA)
        self.service.start()
        # "registration key: ..."
        key = root.run("cloudservice", "--config", CONFIG, "account", "add", EMAIL).split()[-1]
        self.daemon.start()
        for name, value in (("Url", URL), ("UserEmail", EMAIL), ("SysName", "Hall 3")):
            root.run("cloudclientctl", "config", "set", name, value)
        root.run("cloudclientctl", "config", "set", "RegistrationKey", "-", stdin=key)
        root.run("cloudclientctl", "trust", "--yes", URL)
        # The policy is read at the start.
        self.daemon.stop()
        root.run("cloudclientctl", "enable")
        self.daemon.start()
        self.is_connected()

    def is_connected(self):
        wait_until(lambda: self.status()["chassis"], lambda: f"a chassis:\n{self.daemon.log()}")
