# SPDX-License-Identifier: Apache-2.0
"""Agents that Debian packages, pushing at the same rate; nothing of them is installed."""

import socket
import threading

from harness.unpacked import TRIPLET, version
from programs import INTERVAL, Program

PACKAGES = ("collectd-core", "libyajl2", "monit", "syslog-ng-core", "syslog-ng-mod-http")


class Agent(Program):
    package = ""

    def __init__(self, folder, tree):
        super().__init__(folder)
        self.tree = tree
        self.name = f"{type(self).title} {version(tree, self.package)}"

    title = ""

    def variables(self):
        libraries = [self.tree / "usr/lib" / TRIPLET, self.tree / "usr/lib/syslog-ng"]
        return {"LD_LIBRARY_PATH": ":".join(map(str, libraries))}

    def write(self, name, text):
        path = self.folder / name
        path.write_text(text)
        path.chmod(0o600)
        return path


class Collectd(Agent):
    title = "collectd, write_http"
    package = "collectd-core"

    def command(self):
        config = self.write("collectd.conf", f"""
            BaseDir "{self.folder}"
            PIDFile "{self.folder}/pid"
            PluginDir "{self.tree}/usr/lib/collectd"
            TypesDB "{self.tree}/usr/share/collectd/types.db"
            Interval {INTERVAL}
            ReadThreads 1
            WriteThreads 1
            LoadPlugin load
            <LoadPlugin write_http>
              FlushInterval {INTERVAL}
            </LoadPlugin>
            <Plugin write_http>
              <Node "sink">
                URL "{self.sink.url}/collectd"
                Format "JSON"
                VerifyPeer false
                VerifyHost false
              </Node>
            </Plugin>
            """)
        return [self.tree / "usr/sbin/collectd", "-f", "-C", config]


class Monit(Agent):
    title = "monit, M/Monit collector"
    package = "monit"

    def command(self):
        config = self.write("monitrc", f"""
            set daemon {INTERVAL}
            set log {self.folder}/monit.log
            set pidfile {self.folder}/pid
            set idfile {self.folder}/id
            set statefile {self.folder}/state
            set ssl {{ verify: disable, selfsigned: allow }}
            set mmonit {self.sink.url.replace("://", "://u:p@")}/collector
              and register without credentials
            check system local if loadavg (1min) > 1000 then alert
            """)
        return [self.tree / "usr/bin/monit", "-I", "-c", config]


class SyslogNg(Agent):
    """It pushes what it is told: one message an interval."""

    title = "syslog-ng, http"
    package = "syslog-ng-core"

    def __init__(self, *arguments):
        super().__init__(*arguments)
        self._ended = threading.Event()

    def command(self):
        config = self.write("syslog-ng.conf", f"""
            @version: 3.38
            options {{ stats-freq(0); }};
            source s {{ unix-dgram("{self.folder}/in"); }};
            destination d {{ http(url("{self.sink.url}/syslog") method("POST")
              tls(peer-verify(no)) body("$(format-json message=$MESSAGE)")); }};
            log {{ source(s); destination(d); }};
            """.replace("\n            ", "\n").lstrip())
        return [self.tree / "usr/sbin/syslog-ng", "-F", "--no-caps", "-f", config,
                f"--module-path={self.tree}/usr/lib/syslog-ng/3.38",
                f"--persist-file={self.folder}/persist", f"--pidfile={self.folder}/pid",
                f"--control={self.folder}/ctl"]

    def start(self, faketime=None):
        super().start(faketime)
        self._ended.clear()
        threading.Thread(target=self._tell, daemon=True).start()

    def _tell(self):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as way:
            pause = 0.001
            while not self._ended.wait(pause):
                try:
                    way.sendto(b"<13>bench: alive", str(self.folder / "in"))
                    pause = INTERVAL
                except OSError:
                    pause = 0.001  # not there yet

    def stop(self, hard=False):
        self._ended.set()
        super().stop(hard)


ALL = (Collectd, Monit, SyslogNg)
