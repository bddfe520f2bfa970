# SPDX-License-Identifier: Apache-2.0
"""HAProxy before two processes of the service, with the configuration of docs/haproxy.cfg."""

import pathlib
import signal
import socket

from .process import Process, clock, environment
from .service import Asked
from .wire import certificate_pair

CONFIGURATION = pathlib.Path(__file__).resolve().parents[2] / "docs" / "haproxy.cfg"


class Haproxy(Asked, Process):
    def __init__(self, folder):
        super().__init__("haproxy", folder)
        self._folder_of_certificate = folder
        self._listener = socket.create_server(("127.0.0.1", 0), backlog=64)
        self.port = self._listener.getsockname()[1]
        self.url = f"https://127.0.0.1:{self.port}"

    def start(self, one, two, faketime=None):
        """Both listen already, with --http."""
        pem = self._folder_of_certificate / "haproxy.pem"
        parts = [self._folder_of_certificate / f"haproxy.{end}" for end in ("crt", "key")]
        certificate_pair(*parts)
        pem.write_text("".join(part.read_text() for part in parts))
        self.launch(["/usr/sbin/haproxy", "-db", "-f", CONFIGURATION],
                    {**environment(faketime or clock(1)),
                     "CLOUDSERVICE_BIND": "fd@3", "CLOUDSERVICE_PEM": str(pem),
                     "CLOUDSERVICE_ONE": f"127.0.0.1:{one.port}",
                     "CLOUDSERVICE_TWO": f"127.0.0.1:{two.port}"}, handed=[self._listener.fileno()])

    def close(self):
        try:
            super().close()
        finally:
            self._listener.close()

    def stop(self):
        """Its status is that of the signal."""
        self.must_run()
        self.signal(signal.SIGTERM)
        self.ends(-signal.SIGTERM)
