# SPDX-License-Identifier: Apache-2.0
"""An appliance without a daemon: says to the service what the case wants."""

import json

from .daemon import EMAIL, KEY

REGISTRATION = f"/redfish/v1/Managers?setup_email={EMAIL}&registration_key={KEY}"


class Appliance:
    def __init__(self, service, uuid, name="Hall 3 north", registration=REGISTRATION, **members):
        """Registers."""
        self._service = service
        self.uuid = uuid
        status, headers = service.send("POST", registration, body=json.dumps(
            {"UUID": uuid, "Name": name, **members}))
        assert status == 201, status
        self.token = headers["X-Auth-Token"]
        self.chassis = ""

    def sends(self, method, path, body=None, expected=204):
        status, answer = self._service.ask(
            method, path, self.token, None if body is None else json.dumps(body))
        assert status == expected, (status, answer)
        return answer

    def has_chassis(self, **members):
        self.chassis = self.sends("POST", "/redfish/v1/Chassis", members, 201)["Id"]
        return self

    def keeps(self, below, document):
        """A document below the chassis; its uri."""
        uri = f"/redfish/v1/Chassis/{self.chassis}/{below}"
        self.sends("PATCH", uri, document)
        return uri

    def beats(self, interval=90):
        self.sends("POST", f"/hb/{self.uuid}", {"HeartbeatInterval": interval}, 200)

    def _posts(self, event):
        return int(self.sends("POST", f"/redfish/v1/Managers/{self.uuid}/Oem/Quorvan:Events",
                              event, 201)["Id"])

    def raises(self, number, severity="Alarm", text="Filter clogged."):
        return self._posts({
            "MessageId": f"Zarvel.GDD.{number}", "Severity": severity, "Message": text,
            "MessageArgs": ["Unit1", "System", "0", None], "Created": "2026-03-05T14:07:09+0100",
            "OriginOfCondition": {"@odata.id": f"/redfish/v1/Chassis/{self.chassis}"}})

    def clears(self, number):
        return self._posts({
            "MessageId": "258", "Severity": "MESSAGE", "Message": "Filter clogged (Cleared).",
            "MessageArgs": ["Unit1", "System", "", f"Zarvel.GDD.{number}"], "Created": "",
            "OriginOfCondition": {"@odata.id": f"/redfish/v1/Chassis/{self.chassis}"}})

    def tells(self, message_id, text):
        """A point event."""
        return self._posts({"MessageId": message_id, "Severity": "MESSAGE", "Message": text,
                            "MessageArgs": [], "Created": "2026-03-05T14:07:09Z"})

    def leaves(self):
        self.sends("DELETE", f"/redfish/v1/Managers/{self.uuid}")
