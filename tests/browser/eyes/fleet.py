# SPDX-License-Identifier: Apache-2.0
"""Appliances without a daemon: seeded through the service's own Redfish interface."""

import base64
import http.client
import json
import math
import subprocess
import urllib.parse
import uuid as uuids

from harness.daemon import EMAIL, KEY
from harness.process import clock, environment

START = "2026-03-01 06:00:00"
WEEK, WEST_LAST = 7 * 24, 114  # hours after it; the second is the last heartbeat of one appliance
INTERVAL = 90
OPERATOR, PASSWORD = "keeper", "a password of eight words or so"
SUPPLY, RETURN = "/Temperatures/0/ReadingCelsius", "/Temperatures/1/ReadingCelsius"
HUMIDITY = "/Oem/Quorvan/HumidityPercent"


class Appliance:
    """One registered appliance, which sends what the case says."""

    def __init__(self, service, name, **more):
        self._service = service
        self.name = name
        self.uuid = str(uuids.uuid5(uuids.NAMESPACE_URL, name))
        self.path = f"/redfish/v1/Managers/{self.uuid}"
        self.token = ""
        document = {"UUID": self.uuid, "Name": name, "Model": "Control board 4",
                    "FirmwareVersion": "2.14.3", "SerialNumber": "SN-20408", **more}
        status, headers = service.send(
            "POST", f"/redfish/v1/Managers?setup_email={EMAIL}&registration_key={KEY}",
            body=json.dumps(document))
        assert status == 201
        self.token = headers["X-Auth-Token"]
        self.chassis = self.thermal = ""
        self.has_chassis(f"Cooling unit of {name}")

    def _ask(self, method, path, expected, body=None):
        status, document = self._service.ask(method, path, self.token, json.dumps(body))
        assert status == expected, (status, document)
        return document

    def has_chassis(self, name):
        """Another one, which its readings belong to from now on."""
        chassis = self._ask("POST", "/redfish/v1/Chassis", 201, {
            "Name": name, "ChassisType": "Module",
            "Links": {"ManagedBy": [{"@odata.id": self.path}]}})
        self.chassis = f"/redfish/v1/Chassis/{chassis['Id']}"
        self.thermal = self.chassis + "/Thermal"

    def drops_chassis(self):
        self._ask("DELETE", self.chassis, 204)

    def beats(self):
        self._ask("POST", f"/hb/{self.uuid}", 200, {"HeartbeatInterval": INTERVAL})

    def tells(self, message_id, severity, message, args=("Unit1", "System", "0", None), created=""):
        self._ask("POST", self.path + "/Oem/Quorvan:Events", 201, {
            "MessageId": message_id, "Severity": severity, "MessageArgs": list(args),
            "Message": message, "OriginOfCondition": {"@odata.id": self.chassis},
            "Created": created})

    def raises(self, gdd, severity, message):
        self.tells(f"Zarvel.GDD.{gdd}:0", severity, message)

    def clears(self, gdd, message):
        self.tells("258", "MESSAGE", message, ("Unit1", "System", "", f"Zarvel.GDD.{gdd}:0"))

    def keeps(self, path, document):
        self._ask("PATCH", path, 204, document)

    def reads(self, supply, back, humidity, **extremes):
        """Its temperatures and its humidity, and the extremes that it has found itself."""
        self.keeps(self.thermal, {
            "@odata.type": "#Thermal.v1_7_0.Thermal", "Name": "Thermal",
            "Temperatures": [
                {"MemberId": "supply", "Name": "Supply temperature", "ReadingCelsius": supply},
                {"MemberId": "return", "Name": "Return temperature", "ReadingCelsius": back}],
            "Fans": [{"MemberId": "fans", "Name": "Fan speed", "Reading": 62.5,
                      "ReadingUnits": "Percent"}],
            "Oem": {"Quorvan": {"HumidityPercent": humidity, "SevenDays": extremes}}})

    def leaves(self):
        self._ask("DELETE", self.path, 204)


class Fleet:
    """The service with a clock that the case moves, and what it is asked for by a script."""

    def __init__(self, programs, folder, service, clock_of):
        self._program = programs / "service" / "cloudservice"
        self._database = folder / "service.db"
        self.service = service
        self.clock = clock_of(START, 1)
        self.appliances = {}

    def starts(self, tls=False):
        self.service.start(*([] if tls else ["--http"]), faketime=self.clock)

    def hires_operator(self):
        self._operator("add", OPERATOR, "--password-stdin", text=PASSWORD + "\n")

    def _operator(self, *words, text=""):
        subprocess.run([self._program, "operator", *words, "--db", self._database], input=text,
                       text=True, check=True, capture_output=True, env=environment(clock(1)))

    def dismisses_operator(self):
        self._operator("remove", OPERATOR)

    def joins(self, name, **more):
        self.appliances[name] = Appliance(self.service, name, **more)
        return self.appliances[name]

    def ask(self, path, **query):
        """What the operator API answers: the truth that the page is compared with."""
        link = http.client.HTTPConnection("127.0.0.1", self.service.port, timeout=60)
        try:
            proof = base64.b64encode(f"{OPERATOR}:{PASSWORD}".encode()).decode()
            text = urllib.parse.urlencode(query, quote_via=urllib.parse.quote)
            link.request("GET", "/api/v1" + path + (f"?{text}" if text else ""),
                         headers={"Authorization": f"Basic {proof}"})
            answer = link.getresponse()
            body = json.loads(answer.read())
            assert answer.status == 200, body
            return body
        finally:
            link.close()


def days_of_readings(fleet, appliance, first, last):
    """The hours pass, with readings every three. The supply is at its highest on the fourth day, at
    its lowest on the fifth."""
    for hours in range(first, last, 3):
        wave = math.sin(hours / 24 * 2 * math.pi)
        peak = 8 if 84 <= hours < 90 else -7 if 99 <= hours < 105 else 0
        appliance.reads(round(20 + 2 * wave + peak, 1), round(33.5 + 1.5 * wave, 1),
                        round(46 - 5 * wave, 1), HighestTemperature=31, LowestTemperature=12.5,
                        HighestHumidity=52, LowestHumidity=40)
        fleet.clock.step(3 * 3600)


def seed(fleet):
    """Eight appliances after a week: alive, late and offline ones, with and without alarms."""
    hall = fleet.joins("Hall 3 north", Model="Control board 5")
    west = fleet.joins("Roof unit west")
    shelter = fleet.joins("Telecom shelter 12", FirmwareVersion="2.9.11")
    rest = [fleet.joins(name) for name in (
        "Server room A", "Server room B", "Lab cold aisle", "battery room", "Pump room")]
    days_of_readings(fleet, hall, 0, WEST_LAST)
    west.beats()
    west.raises(4720, "Fault", "[2] Fan failure.")
    west.raises(4711, "Alarm", "[1] Filter clogged.")
    days_of_readings(fleet, hall, WEST_LAST, WEEK)
    hall.reads(20.5, 34, 45, HighestTemperature=31, LowestTemperature=12.5, HighestHumidity=52,
               LowestHumidity=40)
    hall.raises(4711, "Alarm", "[1] Filter clogged.")
    fleet.clock.step(1800)
    hall.clears(4711, "[1] Filter clogged (Cleared).")
    hall.tells("ModeChanged", "MESSAGE", "The mode is Cooling now.", ("Hall 3 north",))
    hall.raises(4712, "Alarm", "[1] Supply temperature high.")
    hall.raises(4720, "Warning", "[2] Fan speed low.")
    rest[0].raises(4713, "Warning", "[1] Humidity low.")
    hall.keeps(hall.path + "/EthernetInterfaces/1", {
        "Name": "Service port", "IPv4Addresses": [{"Address": "192.0.2.7"}], "LinkStatus": "LinkUp"})
    shelter.beats()
    fleet.clock.step(2 * INTERVAL + 20)
    for one in (hall, *rest):
        one.beats()
    return fleet
