# SPDX-License-Identifier: Apache-2.0
"""An SNMP agent of Debian's with objects that the case sets, and the sender of notifications."""

import json
import os
import socket
import subprocess

from .process import Process
from .waiting import DEADLINE

OBJECTS = "1.3.6.1.4.1.58888"
COMMUNITY = "public-4711"
USER = {"User": "keeper", "AuthProtocol": "SHA-256", "AuthPassword": "auth-password",
        "PrivProtocol": "AES", "PrivPassword": "priv-password"}
# Without these programs' own files.
ENVIRONMENT = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C.UTF-8", "MIBS": ""}

# The tables of sensors and of their names.
SENSORS = "1.3.6.1.2.1.99.1.1.1"
PARTS = "1.3.6.1.2.1.47.1.1.1.1.7"

_PASS = """#!/bin/sh
# Answers one object of the file beside it, whose lines are in order: name, type, value. With -n that
# behind the name; a name that none of the lines has comes before all of them.
next=
grep -qF "$2 " {objects} || next=$1
while read -r name type value; do
  if [ "$name" = "$2" ] && [ "$1" = -n ]; then next=-n; continue; fi
  if [ "$name" = "$2" ] || [ "$next" = -n ]; then
    printf '%s\\n%s\\n%s\\n' "$name" "$type" "$value"
    exit 0
  fi
done <{objects}
"""


def free_udp_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as link:
        link.bind(("127.0.0.1", 0))
        return link.getsockname()[1]


def credentials(folder, name, **keys):
    """A file of credentials; its path."""
    path = folder / name
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(json.dumps(keys))
    path.chmod(0o600)
    return path


class Agent(Process):
    def __init__(self, folder):
        super().__init__("snmpd", folder)
        self._root = folder / "agent"
        self._root.mkdir()
        self._objects = self._root / "objects"
        self._values = {}
        self.port = free_udp_port()
        self.address = f"127.0.0.1:{self.port}"
        self.has()
        script = self._root / "pass.sh"
        script.write_text(_PASS.format(objects=self._objects))
        script.chmod(0o755)
        self._config = self._root / "snmpd.conf"
        self._config.write_text(
            f"agentaddress udp:{self.address}\n"
            f"rocommunity {COMMUNITY} 127.0.0.1\n"
            f'createUser {USER["User"]} SHA-256 "{USER["AuthPassword"]}" AES "{USER["PrivPassword"]}"\n'
            f'rouser {USER["User"]} authpriv\n'
            f"pass .{OBJECTS} {script}\n")

    def has(self, **objects):
        """Objects by the last number of their names: o7=("gauge", 235)."""
        self._values.update({int(name[1:]): value for name, value in objects.items()})
        new = self._root / "objects.new"
        new.write_text("".join(f".{OBJECTS}.{number} {kind} {value}\n"
                               for number, (kind, value) in sorted(self._values.items())))
        os.replace(new, self._objects)

    def has_sensor(self, row, name, kind, scale, precision, value):
        """A sensor of ENTITY-SENSOR-MIB, before the agent starts."""
        columns = enumerate((kind, scale, precision, value), 1)
        with self._config.open("a") as config:
            config.write(f'override .{PARTS}.{row} octet_str "{name}"\n')
            config.writelines(f"override .{SENSORS}.{column}.{row} integer {number}\n"
                              for column, number in columns)

    def start(self):
        self.launch(["/usr/sbin/snmpd", "-f", "-Lo", "-C", "-c", self._config],
                    {**ENVIRONMENT, "SNMP_PERSISTENT_DIR": str(self._root / "persistent")})
        self.wait_until(self._answers, "an answer")
        return self

    def _answers(self):
        return subprocess.run(
            ["snmpget", "-v2c", "-c", COMMUNITY, "-t", "1", "-r", "0", self.address,
             "1.3.6.1.2.1.1.3.0"], env=ENVIRONMENT, capture_output=True, check=False,
            timeout=DEADLINE).returncode == 0


def notifies(port, trap, version="2c", inform=False, community=COMMUNITY, engine=""):
    """Sends a notification; whether that was taken, as far as the sender knows."""
    who = (["-v2c", "-c", community] if version == "2c" else
           ["-v3", "-u", USER["User"], "-l", "authPriv", "-a", "SHA-256", "-A", USER["AuthPassword"],
            "-x", "AES", "-X", USER["PrivPassword"], "-e", f"0x{engine}"])
    command = ["snmpinform" if inform else "snmptrap", *who, "-t", "1", f"127.0.0.1:{port}", "",
               trap]
    return subprocess.run(command, env=ENVIRONMENT, capture_output=True, check=False,
                          timeout=DEADLINE).returncode == 0
