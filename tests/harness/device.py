# SPDX-License-Identifier: Apache-2.0
"""The managed device: its file, its pages, and the control socket that drives it."""

import json
import socket

from .waiting import DEADLINE, wait_until

PLD = "var/local/orv/pldserver/0"
CHASSIS = """{
  "Name": "{{label}}",
  "ChassisType": "Module",
  "AssetTag": "{{psi}}",
  "Supply": "{{point:1201}}",
  "Links": {"ManagedBy": [{"@odata.id": "/redfish/v1/Managers/{{uuid}}"}]}
}
"""
PATCH_MAP = """{
  "resourceUrls": [
    {"name": "thermal", "url": "/redfish/v1/Chassis/<chassisid>/Thermal",
     "resourcePatch": "patch/thermal.txt", "resourceTag": "<chassisid>"}
  ],
  "thermal": [
    {"id": 1201, "pldQueryArgs": "1201,1,0,0,0", "patch": "{\\"ReadingCelsius\\":%1}"}
  ]
}
"""


class Device:
    def __init__(self, root):
        self._root = root
        self._socket = root / "run" / "cloudclient" / "device.sock"
        self._socket.parent.mkdir(parents=True)
        self.file = root / "etc" / "cloudclient" / "device.json"
        self.describe({
            "VelocityId": 0, "ProductSequenceId": "1.2.3", "Label": "Cooling unit 7",
            "PollSeconds": 1,
            "Points": [{"Id": 1201, "Name": "supply", "Value": "21", "Unit": "C", "Decimals": 0,
                        "Modules": 1, "Report": 7}],
            "Events": [{"GddId": 4711, "Text": "Filter clogged", "Modules": 2}]})
        self.page("1/2/cloudchassis.txt", CHASSIS)
        self.page("1/2/covpatchmap.txt", PATCH_MAP)
        self.page("patch/thermal.txt", '{"Temperatures": [{"ReadingCelsius": {{point:1201}}}]}')

    def describe(self, description):
        self.file.write_text(
            description if isinstance(description, str) else json.dumps(description, indent=2))

    def page(self, name, text):
        path = self._root / PLD / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def connect(self):
        link = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        link.settimeout(DEADLINE)

        def connected():
            try:
                link.connect(str(self._socket))
            except (FileNotFoundError, ConnectionRefusedError):
                return False
            return True
        wait_until(connected, "the control socket")
        return link

    def says(self, line):
        """Sends one line as it is; the line that comes back, or "" when the link was closed."""
        with self.connect() as link:
            try:
                link.sendall(line.encode() + b"\n")
            except (BrokenPipeError, ConnectionResetError):
                pass  # closed before all of it was sent; what it answered may still be there
            try:
                return link.makefile("r", encoding="utf-8").readline()
            except ConnectionResetError:
                return ""

    def asks(self, op, **arguments):
        text = self.says(json.dumps({"op": op, **arguments}))
        assert text, f"{op}: the device went away without an answer"
        answer = json.loads(text)
        assert answer["ok"], answer
        return answer

    def refuses(self, line):
        """Sends a line that is to be refused; the error that came back."""
        answer = json.loads(self.says(line))
        assert answer["ok"] is False
        assert answer["error"]
        return answer["error"]

    def sets(self, point, value):
        return self.asks("set", point=point, value=value)

    def raises(self, gdd, module=0, state="Alarm"):
        return self.asks("raise", gdd=gdd, module=module, state=state)

    def clears(self, gdd, module=0):
        return self.asks("clear", gdd=gdd, module=module)

    def lists(self):
        return self.asks("list")
