# SPDX-License-Identifier: Apache-2.0
"""A cable between browser and service, that can be pulled and put back."""

import socket
import threading


class Cable:
    def __init__(self, port):
        self._service = ("127.0.0.1", port)
        self._lock = threading.Lock()
        self._links = []
        self._listener = None
        self.port = 0
        self.mend()

    def mend(self):
        self._listener = socket.create_server(("127.0.0.1", self.port))
        self.port = self._listener.getsockname()[1]
        threading.Thread(target=self._accept, args=(self._listener,), daemon=True).start()

    def cut(self):
        """Ends the connections; nobody listens any more."""
        with self._lock:
            self._shut(self._listener)
            for link in self._links:
                self._shut(link)
            self._links.clear()

    @staticmethod
    def _shut(link):
        try:
            link.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass
        link.close()

    def _accept(self, listener):
        while True:
            try:
                near, _ = listener.accept()
                far = socket.create_connection(self._service)
            except OSError:
                return
            with self._lock:
                self._links += [near, far]
            for one, other in ((near, far), (far, near)):
                threading.Thread(target=self._carry, args=(one, other), daemon=True).start()

    def _carry(self, one, other):
        try:
            while data := one.recv(65536):
                other.sendall(data)
        except OSError:
            pass
        self._shut(other)
