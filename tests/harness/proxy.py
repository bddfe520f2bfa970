# SPDX-License-Identifier: Apache-2.0
"""Ways to the service that can be disturbed."""

import random
import socket
import threading

from .wire import Server, answer, read_request, shut

THROUGH, DOWN, REFUSING, GARBLING, CLOSING = "through", "down", "refusing", "garbling", "closing"
DISTURBED = (DOWN, REFUSING, GARBLING, CLOSING)
REFUSING_PATCHES = "refusing patches"


class Proxy(Server):
    """Passes connections on to the service, or, disturbed, does something else with them:

    down      nobody listens
    refusing  every request is answered 500
    garbling  every request is answered with bytes that are no HTTP
    closing   connections are closed without an answer

    Refusing patches, it answers those 500, with a body, and passes all else on. The service speaks
    plain HTTP; the daemon makes a connection for each request.
    """

    def __init__(self, port, tls=None):
        self._service = ("127.0.0.1", port)
        self._mode = THROUGH
        self._noise = random.Random(4711)
        super().__init__(tls)

    def becomes(self, mode):
        """From the next connection on; a request under way is finished as it began."""
        if mode == self._mode:
            return
        if mode == DOWN:
            self.stop_listening()
        elif self._mode == DOWN:
            self.listen()
        self._mode = mode

    def _serve(self, link):
        mode = self._mode
        request = None if mode in (CLOSING, DOWN) else read_request(link)
        if request is None:
            return
        if mode == THROUGH or mode == REFUSING_PATCHES and request[:6] != b"PATCH ":
            self._pass_on(request, link)
        elif mode == GARBLING:
            link.sendall(self._noise.randbytes(200) + b"\r\n")
        else:
            link.sendall(answer(500, body="out of order"))

    def _pass_on(self, request, link):
        with socket.create_connection(self._service) as service:
            service.sendall(request)
            service.shutdown(socket.SHUT_WR)
            while piece := service.recv(65536):
                link.sendall(piece)


class Line(Server):
    """A line to the service, whatever is spoken on it, that can be cut and mended, and that can hang
    for a while."""

    def __init__(self, port):
        self._service = ("127.0.0.1", port)
        self._flows = threading.Event()
        self._flows.set()
        super().__init__()

    def cut(self):
        """Ends the connections; nobody listens any more."""
        self.close()

    def mend(self):
        self.listen()

    def hang(self):
        """From now on nothing arrives, and nobody is told."""
        self._flows.clear()

    def flow(self):
        """What was held arrives."""
        self._flows.set()

    def close(self):
        self.flow()
        super().close()

    def _serve(self, link):
        with self._hold(socket.create_connection(self._service)) as far:
            threading.Thread(target=_carry, args=(far, link, self._flows), daemon=True).start()
            _carry(link, far, self._flows)


def _carry(source, target, flows):
    """Until one of the two ends; then the other ends as well."""
    try:
        while piece := source.recv(65536):
            flows.wait()
            target.sendall(piece)
    except OSError:
        pass
    shut(target)
