# SPDX-License-Identifier: Apache-2.0
"""The whole conversation of the daemon with a service, recorded, and the document that shows it."""

import re
import threading
from collections import namedtuple

from .alarms import events_url
from .daemon import UUID
from .process import clock
from .proxy import Proxy
from .recorder import Request
from .wire import tls_context

ENABLED = "cloudclient is now registered for device changes"
LIST = "GET /redfish/v1/Oem/Quorvan:Events"

DEVICE = {
    "ProductSequenceId": "1.2.3", "Label": "Cooling unit 7",
    "Points": [{"Id": 1201, "Name": "supply", "Value": "21"},
               {"Id": 1401, "Name": "mode", "Value": "Cooling"}],
    "Events": [{"GddId": 4711, "Text": "Filter clogged", "Modules": 2}]}
PATCH_MAP = """{
  "resourceUrls": [
    {"name": "thermal", "url": "/redfish/v1/Chassis/<chassisid>/Thermal",
     "resourcePatch": "patch/thermal.txt", "resourceTag": "<chassisid>"}
  ],
  "thermal": [
    {"id": 1201, "pldQueryArgs": "1201,1,0,0,0", "patch": "{\\"ReadingCelsius\\":%1}"},
    {"id": 1401, "pldQueryArgs": "1401,1,0,0,0", "patch": "{\\"Mode\\":\\"%1\\"}",
     "event": {"msgid": "ModeChanged", "message": "The mode is %1 now.", "numargs": 1,
               "arg1": "1401,1,0,0,0", "arg1Type": "pldQueryArgs"}}
  ]
}
"""
THERMAL = """{
  "Temperatures": [{"MemberId": "supply", "ReadingCelsius": {{point:1201}}}],
  "Oem": {"Quorvan": {"Mode": "{{point:1401}}"}}
}
"""

Exchange = namedtuple("Exchange", "request answer")

# Far from midnight, which would bring requests of its own.
START = "2026-03-05 14:00:00"
# What stands in the document for what differs from run to run.
MOMENT = "2026-03-05T14:07:09"
STANDS_FOR_TOKEN = "6f9d2c1b80e34a57"
STANDS_FOR_CHASSIS = "50a593d0a5bf50ab"
STANDS_FOR_SERVICE = "service.example:8443"
STANDS_FOR_APPLIANCE = "192.0.2.7"
STANDS_FOR_VERSION = "1.0.0"

MARKED = re.compile(r"(<!-- recorded: ([\w-]+) -->\n).*?(<!-- end -->\n)", re.DOTALL)


class Tap(Proxy):
    """The way to a service, over TLS, that keeps each request with its answer."""

    def __init__(self, port, folder):
        self._kept = threading.Lock()
        self._exchanges = []
        super().__init__(port, tls_context(folder))

    def exchanges(self, name):
        """What was exchanged by requests of this name ("GET /path", no query)."""
        with self._kept:
            return [e for e in self._exchanges if e.request.name == name]

    def lines(self):
        with self._kept:
            return [e.request.line for e in self._exchanges]

    def _pass_on(self, request, link):
        answers = Answers()
        super()._pass_on(request, answers)
        with self._kept:
            self._exchanges.append(Exchange(Request(request, None), answers.raw))
        link.sendall(answers.raw)


class Answers:
    """Takes the pieces of an answer in place of a connection."""

    def __init__(self):
        self.raw = b""

    def sendall(self, piece):
        self.raw += piece


def record(daemon, device, service, folder):
    """Leads a daemon through all it ever says: the exchanges by name, as the document shows them,
    and the request lines of its first connection."""
    device.describe(DEVICE)
    device.page("1/2/covpatchmap.txt", PATCH_MAP)
    device.page("patch/thermal.txt", THERMAL)
    service.start("--http", faketime=clock(start=START))
    tap = Tap(service.port, folder)
    try:
        return _Run(daemon, device, tap).record()
    finally:
        tap.close()


class _Run:
    def __init__(self, daemon, device, tap):
        self._daemon, self._device, self._tap = daemon, device, tap
        self._found = {}

    def record(self):
        daemon, device = self._daemon, self._device
        daemon.configure(Url=self._tap.url)
        self._connect()
        order = [line for line in self._tap.lines() if "/hb/" not in line]
        values = self._values_of_this_run()
        self._first_connection()
        self._alarm_and_its_end()
        device.sets(1401, "Heating")
        self._keep("point-event", f"POST {events_url()}", 2)
        self._keep("heartbeat", f"POST /hb/{UUID}", 0)
        device.raises(4711, module=1, state="Warning")
        self._after(f"POST {events_url()}", 3)
        daemon.stop()
        self._second_connection()
        daemon.disable()
        self._keep("unregistration", f"DELETE /redfish/v1/Managers/{UUID}", 0)
        shown = {name: _shown(exchange, values) for name, exchange in self._found.items()}
        shown["order"] = _fenced("\n".join(_settled(line, values) for line in order), "text")
        return shown

    def _connect(self):
        self._daemon.start(clock(start=START))
        self._daemon.logs(ENABLED)

    def _values_of_this_run(self):
        (chassis,) = self._daemon.chassis
        return {self._daemon.token: STANDS_FOR_TOKEN, chassis: STANDS_FOR_CHASSIS,
                self._tap.url.removeprefix("https://"): STANDS_FOR_SERVICE}

    def _after(self, name, index):
        """Waits for the exchange of this name at `index`."""
        def seen():
            found = self._tap.exchanges(name)
            return found[index:index + 1]
        return self._daemon.wait_until(seen, f"exchange {name!r} {index}")[0]

    def _keep(self, shown_as, name, index):
        self._found[shown_as] = self._after(name, index)

    def _first_connection(self):
        (chassis,) = self._daemon.chassis
        self._keep("service-root", "GET /redfish/v1", 0)
        self._keep("look-up-unknown", "GET /redfish/v1/Managers", 0)
        self._keep("registration", "POST /redfish/v1/Managers", 0)
        self._keep("chassis", "POST /redfish/v1/Chassis", 0)
        self._keep("resource", f"PATCH /redfish/v1/Chassis/{chassis}/Thermal", 0)
        self._keep("empty-list", LIST, 0)

    def _alarm_and_its_end(self):
        self._device.raises(4711)
        self._keep("event-raised", f"POST {events_url()}", 0)
        self._device.clears(4711)
        self._keep("event-cleared", f"POST {events_url()}", 1)

    def _second_connection(self):
        """The alarm is open at the service, and the device does not have it any more."""
        self._connect()
        self._keep("look-up-known", "GET /redfish/v1/Managers", 1)
        self._keep("manager", f"GET /redfish/v1/Managers/{UUID}", 0)
        self._keep("list", LIST, 5)
        listed = re.search(rb'"@odata\.id": *"([^"]+)"', self._found["list"].answer)
        assert listed, "no alarm in the list"
        self._keep("single-event", f"GET {listed.group(1).decode()}", 0)


def _settled(text, values):
    """`text` with what differs from run to run replaced."""
    for value, stands_for in values.items():
        text = text.replace(value, stands_for)
    text = re.sub(r"\b20\d\d-\d\d-\d\dT\d\d:\d\d:\d\d", MOMENT, text)
    text = re.sub(r"(?m)^(Date: ).*", r"\1Thu, 05 Mar 2026 13:07:09 GMT", text)
    text = re.sub(r"(?m)^(X-Request-Id: ).*", r"\1c07d4f2-1", text)
    text = re.sub(r"(?m)^(ETag: (?:W/)?).*", r'\1"5d3f80a1"', text)
    text = re.sub(r'("FirmwareVersion": *")[^"]*', rf"\g<1>{STANDS_FOR_VERSION}", text)
    text = re.sub(r'("Count": )[1-9]\d*', r"\g<1>1", text)
    text = re.sub(r'("Overdue": )true', r"\g<1>false", text)
    text = re.sub(r'("State": *)"UnavailableOffline"', r'\g<1>"Enabled"', text)
    return re.sub(r"(?m)^Host: [0-9a-fA-F.:]+$", f"Host: {STANDS_FOR_APPLIANCE}", text)


def _message(raw, values):
    """A message with its length corrected for what was replaced in it."""
    head, blank, body = raw.partition(b"\r\n\r\n")
    assert blank and b"\n" not in head.replace(b"\r\n", b"") and b"\r" not in body
    length = re.search(rb"(?m)^Content-Length: (\d+)\r?$", head)
    assert int(length.group(1) if length else 0) == len(body), "a length that is not the body's"
    text = _settled(body.decode(), values)
    head = _settled(head.decode().replace("\r\n", "\n"), values)
    head = re.sub(r"(?m)^Content-Length: \d+$", f"Content-Length: {len(text.encode())}", head)
    return f"{head}\n\n{text}"


def _fenced(text, language="http"):
    return f"```{language}\n" + text.rstrip("\n") + "\n```\n"


def _shown(exchange, values):
    return (_fenced(_message(exchange.request.raw, values)) + "\n"
            + _fenced(_message(exchange.answer, values)))


def with_recorded(document, shown):
    """The document with its marked blocks as they were recorded; each of them is in it once."""
    marked = [name for _, name, _ in MARKED.findall(document)]
    assert sorted(marked) == sorted(shown), f"marks {sorted(marked)}, recorded {sorted(shown)}"
    return MARKED.sub(lambda m: m.group(1) + shown[m.group(2)] + m.group(3), document)
