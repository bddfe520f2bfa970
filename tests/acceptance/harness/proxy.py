# SPDX-License-Identifier: Apache-2.0
"""A way to the service that can be disturbed."""

import random
import re
import socket
import threading

from .recorder import answer

THROUGH, DOWN, REFUSING, GARBLING, CLOSING = "through", "down", "refusing", "garbling", "closing"
DISTURBED = (DOWN, REFUSING, GARBLING, CLOSING)
REFUSING_PATCHES = "refusing patches"


class Proxy:
    """Passes connections on to the service, or, disturbed, does something else with them:

    down      nobody listens
    refusing  every request is answered 500
    garbling  every request is answered with bytes that are no HTTP
    closing   connections are closed without an answer

    Refusing patches, it answers those 500, with a body, and passes all else on. Plain HTTP; the
    daemon makes a connection for each request.
    """

    def __init__(self, port):
        self._service = ("127.0.0.1", port)
        self._mode = THROUGH
        self._lock = threading.Lock()
        self._noise = random.Random(4711)
        self._listener = None
        self._listen(0)
        self.url = f"http://127.0.0.1:{self._port}"

    def _listen(self, port):
        self._listener = socket.create_server(("127.0.0.1", port))
        self._port = self._listener.getsockname()[1]
        threading.Thread(target=self._accept, args=(self._listener,), daemon=True).start()

    def becomes(self, mode):
        """From the next connection on; a request under way is finished as it began."""
        with self._lock:
            if mode == self._mode:
                return
            if mode == DOWN:
                self._shut()
            elif self._mode == DOWN:
                self._listen(self._port)
            self._mode = mode

    def _shut(self):
        try:
            self._listener.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass
        self._listener.close()

    def close(self):
        with self._lock:
            if self._mode != DOWN:
                self._shut()

    def _accept(self, listener):
        while True:
            try:
                link, _ = listener.accept()
            except OSError:
                return
            with self._lock:
                mode = self._mode
            threading.Thread(target=self._serve, args=(link, mode), daemon=True).start()

    def _serve(self, link, mode):
        with link:
            try:
                if mode == CLOSING:
                    return
                request = self._read_request(link)
                if mode == THROUGH or mode == REFUSING_PATCHES and request[:6] != b"PATCH ":
                    self._pass_on(request, link)
                elif mode == GARBLING:
                    link.sendall(self._noise.randbytes(200) + b"\r\n")
                else:
                    link.sendall(answer(500, body="out of order"))
            except OSError:
                pass  # either side went away

    def _pass_on(self, request, link):
        with socket.create_connection(self._service) as service:
            service.sendall(request)
            service.shutdown(socket.SHUT_WR)
            while piece := service.recv(65536):
                link.sendall(piece)

    @staticmethod
    def _read_request(link):
        raw = b""
        while b"\r\n\r\n" not in raw:
            piece = link.recv(65536)
            if not piece:
                raise OSError("no whole request")
            raw += piece
        head, _, body = raw.partition(b"\r\n\r\n")
        length = re.search(rb"(?mi)^content-length: *(\d+)", head)
        while length and len(body) < int(length.group(1)):
            piece = link.recv(65536)
            if not piece:
                raise OSError("no whole request")
            raw += piece
            body += piece
        return raw
