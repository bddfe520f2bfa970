# SPDX-License-Identifier: Apache-2.0
"""Alarms on both sides, as sets of (event number, module, state)."""

import re
import urllib.parse

from .daemon import UUID

SEVERITIES = ("Fault", "Alarm", "Warning")
_ID = re.compile(r"Zarvel\.GDD\.(\d+)(?::(\d+))?")


def at_the_service(service, daemon, severities=SEVERITIES):
    """The open alarms that the service holds for the daemon's chassis."""
    token = daemon.token
    found = set()
    for chassis in daemon.chassis:
        for severity in severities:
            query = urllib.parse.urlencode(
                {"OriginOfCondition": chassis, "Cleared": "false", "Severity": severity})
            status, references = service.ask(
                "GET", f"/redfish/v1/Oem/Quorvan:Events?{query}", token)
            assert status == 200
            for reference in references:
                status, event = service.ask("GET", reference["@odata.id"], token)
                assert status == 200
                number, module = _ID.fullmatch(event["MessageId"]).groups()
                found.add((int(number), int(module or 0), event["Severity"]))
    return found


def at_the_device(device):
    return {(e["gdd"], e["module"], e["state"]) for e in device.lists()["events"]
            if e["state"] in SEVERITIES}


def events_url():
    return f"/redfish/v1/Managers/{UUID}/Oem/Quorvan:Events"
