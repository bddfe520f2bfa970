# SPDX-License-Identifier: Apache-2.0
"""An appliance without a daemon: says to the service what the case wants."""

import contextlib
import json

from .daemon import EMAIL, KEY
from .wire import connect

REGISTRATION = f"/redfish/v1/Managers?setup_email={EMAIL}&registration_key={KEY}"


class Appliance:
    # When its events say that they were created.
    CREATED = "2026-03-05T14:07:09+0100"

    def __init__(self, service, uuid, name="Hall 3 north", registration=REGISTRATION, **members):
        """Registers."""
        self._service = service
        self.uuid = uuid
        self.path = f"/redfish/v1/Managers/{uuid}"
        status, headers = service.send("POST", registration, body=json.dumps(
            {"UUID": uuid, "Name": name, **members}))
        assert status == 201, status
        self.token = headers["X-Auth-Token"]
        self.chassis = ""

    def moved_to(self, service):
        """Speaks to this service from now on, which has what the former had."""
        self._service = service
        return self

    def sends(self, method, path, body=None, expected=204):
        status, answer = self._service.ask(
            method, path, self.token, None if body is None else json.dumps(body))
        assert status == expected, (status, answer)
        return answer

    def has_chassis(self, **members):
        """Another one, which what it says belongs to from now on."""
        self.chassis = self.sends("POST", "/redfish/v1/Chassis", members, 201)["Id"]
        return self

    @property
    def chassis_path(self):
        return f"/redfish/v1/Chassis/{self.chassis}"

    def drops_chassis(self):
        self.sends("DELETE", self.chassis_path)

    def keeps(self, below, document):
        """A document below the chassis; its uri."""
        uri = f"{self.chassis_path}/{below}"
        self.sends("PATCH", uri, document)
        return uri

    def beats(self, interval=90):
        self.sends("POST", f"/hb/{self.uuid}", {"HeartbeatInterval": interval}, 200)

    def beats_often(self, times):
        """So many heartbeats over one connection, each with another interval."""
        with contextlib.closing(connect(self._service.url)) as link:
            for number in range(times):
                link.request("POST", f"/hb/{self.uuid}",
                             json.dumps({"HeartbeatInterval": 90 + number}),
                             {"X-Auth-Token": self.token})
                answer = link.getresponse()
                assert answer.status == 200, answer.read()
                answer.read()

    def posts(self, message_id, severity, text, args=(), created="", **more):
        """An event; its number."""
        return int(self.sends("POST", f"{self.path}/Oem/Quorvan:Events", {
            "MessageId": message_id, "Severity": severity, "Message": text, "MessageArgs": args,
            "Created": created, **more}, 201)["Id"])

    def _posts_alarm(self, message_id, severity, text, args, created=""):
        return self.posts(message_id, severity, text, ["Unit1", "System", *args], created,
                          OriginOfCondition={"@odata.id": self.chassis_path})

    def raises(self, number, severity="Alarm", text="Filter clogged."):
        return self._posts_alarm(f"Zarvel.GDD.{number}", severity, text, ["0", None], self.CREATED)

    def clears(self, number, text="Filter clogged (Cleared)."):
        return self._posts_alarm("258", "MESSAGE", text, ["", f"Zarvel.GDD.{number}"])

    def tells(self, message_id, text, *args):
        """A point event, as appliances write its time: a local one."""
        return self.posts(message_id, "MESSAGE", text, args, "2026-03-05T14:07:09Z")

    def leaves(self):
        self.sends("DELETE", self.path)
