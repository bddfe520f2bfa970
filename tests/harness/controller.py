# SPDX-License-Identifier: Apache-2.0
"""A machine's own controller that speaks Redfish: Thermal, Sensors and Power of one chassis."""

import base64
import json
import threading

from .wire import Server, answer, read_request

CHASSIS = "/redfish/v1/Chassis/1U"
SESSIONS = "/redfish/v1/SessionService/Sessions"
USER, PASSWORD = "keeper", "pass-4711"


def documents():
    return {
        "/redfish/v1/Chassis": {"Members": [{"@odata.id": CHASSIS}]},
        CHASSIS: {"@odata.id": CHASSIS, "Id": "1U", "Name": "Server", **{
            name: {"@odata.id": f"{CHASSIS}/{name}"} for name in ("Thermal", "Power", "Sensors")}},
        f"{CHASSIS}/Sensors": {"Members": [{"@odata.id": f"{CHASSIS}/Sensors/Inlet"}]},
        f"{CHASSIS}/Thermal": {
            "@odata.id": f"{CHASSIS}/Thermal", "@odata.type": "#Thermal.v1_7_1.Thermal",
            "Id": "Thermal", "Name": "Thermal",
            "Temperatures": [
                {"@odata.id": f"{CHASSIS}/Thermal#/Temperatures/0", "MemberId": "0",
                 "Name": "CPU1 Temp", "SensorNumber": 5, "ReadingCelsius": 41.5,
                 "UpperThresholdCritical": 95, "PhysicalContext": "CPU",
                 "Status": {"State": "Enabled", "Health": "OK"}},
                {"@odata.id": f"{CHASSIS}/Thermal#/Temperatures/1", "MemberId": "1",
                 "Name": "CPU2 Temp", "SensorNumber": 6, "ReadingCelsius": None,
                 "PhysicalContext": "CPU", "Status": {"State": "Absent"}}],
            "Fans": [
                {"@odata.id": f"{CHASSIS}/Thermal#/Fans/0", "MemberId": "0", "Name": "FAN1",
                 "Reading": 5400, "ReadingUnits": "RPM",
                 "Status": {"State": "Enabled", "Health": "OK"}}]},
        f"{CHASSIS}/Sensors/Inlet": {
            "@odata.id": f"{CHASSIS}/Sensors/Inlet", "@odata.type": "#Sensor.v1_7_0.Sensor",
            "Id": "Inlet", "Name": "Inlet", "ReadingType": "Temperature", "ReadingUnits": "Cel",
            "Reading": 22.25, "Status": {"State": "Enabled", "Health": "OK"}},
        f"{CHASSIS}/Power": {
            "@odata.id": f"{CHASSIS}/Power", "@odata.type": "#Power.v1_7_1.Power", "Id": "Power",
            "Name": "Power", "PowerControl": [
                {"@odata.id": f"{CHASSIS}/Power#/PowerControl/0", "MemberId": "0",
                 "PowerConsumedWatts": 344, "PowerCapacityWatts": 800}]},
    }


class Controller(Server):
    def __init__(self, tls=None):
        self.documents = documents()
        self.logins = 0
        self.asked = []
        self._password = PASSWORD
        self._tokens = set()
        self._speaks = threading.Event()
        self._speaks.set()
        super().__init__(tls)

    def falls_silent(self):
        self._speaks.clear()

    def speaks(self):
        self._speaks.set()

    def forgets_sessions(self):
        self._tokens.clear()

    def _serve(self, link):
        while True:
            request = read_request(link)
            if not request:
                return
            self._speaks.wait()
            link.sendall(self._answer(request))

    def _answer(self, request):
        head, _, body = request.partition(b"\r\n\r\n")
        lines = head.decode().split("\r\n")
        method, path, _ = lines[0].split(" ")
        headers = {name.lower(): value for name, _, value in
                   (line.partition(": ") for line in lines[1:])}
        self.asked.append(f"{method} {path}")
        if (method, path) == ("POST", SESSIONS):
            return self._opens(json.loads(body))
        if not self._knows(headers):
            return answer(401, "WWW-Authenticate: Basic realm=\"controller\"", body={})
        if path not in self.documents:
            return answer(404, body={})
        return answer(200, "Content-Type: application/json", body=self.documents[path])

    def _opens(self, login):
        if login != {"UserName": USER, "Password": self._password}:
            return answer(401, body={})
        self.logins += 1
        token = f"session-{self.logins}"
        self._tokens.add(token)
        return answer(201, f"X-Auth-Token: {token}", f"Location: {SESSIONS}/{self.logins}", body={})

    def _knows(self, headers):
        basic = base64.b64encode(f"{USER}:{self._password}".encode()).decode()
        return (headers.get("x-auth-token") in self._tokens
                or headers.get("authorization") == f"Basic {basic}")
