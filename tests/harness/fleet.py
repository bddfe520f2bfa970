# SPDX-License-Identifier: Apache-2.0
"""Appliances without a daemon: seeded through the service's own Redfish interface."""

import contextlib
import json
import math
import urllib.parse
import uuid as uuids

from .appliance import Appliance
from .operators import BASE, basic
from .wire import connect

START = "2026-03-01 06:00:00"
WEEK, WEST_LAST = 7 * 24, 114  # hours after it; the second is the last heartbeat of one appliance
INTERVAL = 90
OPERATOR, PASSWORD = "keeper", "a password of eight words or so"
SUPPLY, RETURN = "/Temperatures/0/ReadingCelsius", "/Temperatures/1/ReadingCelsius"
HUMIDITY = "/Oem/Quorvan/HumidityPercent"


class CoolingUnit(Appliance):
    """One registered appliance with a chassis, which sends what the case says."""

    CREATED = ""  # its events are as old as their arrival

    def __init__(self, service, name, **more):
        self.name = name
        super().__init__(service, str(uuids.uuid5(uuids.NAMESPACE_URL, name)), name, **{
            "Model": "Control board 4", "FirmwareVersion": "2.14.3", "SerialNumber": "SN-20408",
            **more})
        self.has_unit(f"Cooling unit of {name}")

    def has_unit(self, name):
        """Another chassis, which its readings belong to from now on."""
        self.has_chassis(Name=name, ChassisType="Module",
                         Links={"ManagedBy": [{"@odata.id": self.path}]})

    @property
    def thermal(self):
        return f"{self.chassis_path}/Thermal"

    def reads(self, supply, back, humidity, **extremes):
        """Its temperatures and its humidity, and the extremes that it has found itself."""
        self.keeps("Thermal", {
            "@odata.type": "#Thermal.v1_7_0.Thermal", "Name": "Thermal",
            "Temperatures": [
                {"MemberId": "supply", "Name": "Supply temperature", "ReadingCelsius": supply},
                {"MemberId": "return", "Name": "Return temperature", "ReadingCelsius": back}],
            "Fans": [{"MemberId": "fans", "Name": "Fan speed", "Reading": 62.5,
                      "ReadingUnits": "Percent"}],
            "Oem": {"Quorvan": {"HumidityPercent": humidity, "SevenDays": extremes}}})


class Fleet:
    """The service with a clock that the case moves, and what it is asked for by a script."""

    def __init__(self, service, clock_of):
        self.service = service
        self.clock = clock_of(START, 1)
        self.appliances = {}

    def starts(self, tls=False):
        self.service.start(*([] if tls else ["--http"]), faketime=self.clock)

    def hires_operator(self):
        self.service.command("operator", "add", OPERATOR, "--password-stdin", text=PASSWORD + "\n")

    def dismisses_operator(self):
        self.service.command("operator", "remove", OPERATOR)

    def joins(self, name, **more):
        self.appliances[name] = CoolingUnit(self.service, name, **more)
        return self.appliances[name]

    def ask(self, path, **query):
        """What the operator API answers: the truth that the page is compared with."""
        text = urllib.parse.urlencode(query, quote_via=urllib.parse.quote)
        with contextlib.closing(connect(self.service.url)) as link:
            link.request("GET", BASE + path + (f"?{text}" if text else ""),
                         headers=basic(OPERATOR, PASSWORD))
            answer = link.getresponse()
            body = json.loads(answer.read())
            assert answer.status == 200, body
            return body


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
    west.beats(INTERVAL)
    west.raises(4720, "Fault", "[2] Fan failure.")
    west.raises(4711, "Alarm", "[1] Filter clogged.")
    days_of_readings(fleet, hall, WEST_LAST, WEEK)
    hall.reads(20.5, 34, 45, HighestTemperature=31, LowestTemperature=12.5, HighestHumidity=52,
               LowestHumidity=40)
    hall.raises(4711, "Alarm", "[1] Filter clogged.")
    fleet.clock.step(1800)
    hall.clears(4711, "[1] Filter clogged (Cleared).")
    hall.tells("ModeChanged", "The mode is Cooling now.", "Hall 3 north")
    hall.raises(4712, "Alarm", "[1] Supply temperature high.")
    hall.raises(4720, "Warning", "[2] Fan speed low.")
    rest[0].raises(4713, "Warning", "[1] Humidity low.")
    hall.sends("PATCH", hall.path + "/EthernetInterfaces/1", {
        "Name": "Service port", "IPv4Addresses": [{"Address": "192.0.2.7"}], "LinkStatus": "LinkUp"})
    shelter.beats(INTERVAL)
    fleet.clock.step(2 * INTERVAL + 20)
    for one in (hall, *rest):
        one.beats(INTERVAL)
    return fleet
