# SPDX-License-Identifier: Apache-2.0
"""HTTP as bytes, TLS, and servers at loopback ports."""

import base64
import contextlib
import hashlib
import http.client
import json
import re
import socket
import ssl
import struct
import subprocess
import threading
import urllib.parse

_LENGTH = re.compile(rb"(?mi)^content-length: *(\d+)")


def answer(status, *headers, body=""):
    """The bytes of an answer; `body` is a text or what is rendered as JSON."""
    text = body if isinstance(body, str) else json.dumps(body)
    lines = [f"HTTP/1.1 {status} Scripted", *headers, f"Content-Length: {len(text.encode())}"]
    return ("\r\n".join(lines) + "\r\n\r\n" + text).encode()


def read_head(link):
    """What was read up to the end of a request's head, with what came along of its body. None when
    the other side ends before, or speaks something else."""
    raw = b""
    while b"\r\n\r\n" not in raw:
        piece = link.recv(65536)
        raw += piece
        if not piece or not raw[:1].isupper():
            return None
    return raw


def missing(raw):
    """How many bytes of a request have not come yet, whose head at least has."""
    head, _, body = raw.partition(b"\r\n\r\n")
    length = _LENGTH.search(head)
    return int(length.group(1) if length else 0) - len(body)


def read_body(link, raw):
    """The whole request whose beginning, its head at least, is `raw`."""
    left = missing(raw)
    while left > 0:
        piece = link.recv(65536)
        if not piece:
            raise ConnectionError("the request ended within its body")
        raw += piece
        left -= len(piece)
    return raw


def read_request(link):
    """The bytes of the next request, or None: see `read_head`."""
    raw = read_head(link)
    return raw and read_body(link, raw)


def trusting():
    """A client's side of TLS, which takes whatever certificate it is shown."""
    context = ssl.create_default_context()
    context.check_hostname = False
    context.verify_mode = ssl.CERT_NONE
    return context


def connect(url, timeout=60):
    """A client's connection for HTTP."""
    parts = urllib.parse.urlsplit(url)
    if parts.scheme == "http":
        return http.client.HTTPConnection(parts.hostname, parts.port, timeout=timeout)
    return http.client.HTTPSConnection(parts.hostname, parts.port, timeout=timeout,
                                       context=trusting())


def dial(url, timeout=60):
    """A client's connection that says what it is told, byte for byte."""
    parts = urllib.parse.urlsplit(url)
    link = socket.create_connection((parts.hostname, parts.port), timeout=timeout)
    return link if parts.scheme == "http" else trusting().wrap_socket(link)


def read_all(link):
    """All that comes until the other side ends, in whatever way."""
    raw = b""
    with contextlib.suppress(ConnectionError):
        while piece := link.recv(65536):
            raw += piece
    return raw


def certificate_pair(certificate, key, *options):
    """Makes a certificate, by more options of `openssl req`, and its key in these two files."""
    subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
         "-nodes", "-subj", "/CN=server", "-days", "2", "-keyout", str(key),
         "-out", str(certificate), *options], check=True, capture_output=True)


def pin_of(certificate):
    """The hash of a certificate's key, as the policy names it; the certificate as PEM."""
    key = subprocess.run(["openssl", "x509", "-pubkey", "-noout"], input=certificate, check=True,
                         capture_output=True, text=True).stdout
    hashed = hashlib.sha256(base64.b64decode("".join(key.splitlines()[1:-1])))
    return "sha256//" + base64.b64encode(hashed.digest()).decode()


def tls_context(folder, *options):
    """A server's side, with a certificate that is made for it, by more options of `openssl req`:
    `server.pem` in `folder`."""
    key, certificate = folder / "server.key", folder / "server.pem"
    certificate_pair(certificate, key, *options)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate, key)
    return context


def shut(link):
    """Ends a connection that another thread may be reading."""
    try:
        link.shutdown(socket.SHUT_RDWR)
    except OSError:
        pass  # it was ended already
    link.close()


def reset(link):
    """Has the end of a connection, when it is closed, be a reset."""
    link.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))


class Server:
    """Listens from its making on. Each connection has a thread of its own, in which a derived class
    serves it (`_serve`); that ends when either side ends the connection, or by an OSError."""

    def __init__(self, tls=None):
        """With TLS, if `tls` is a context."""
        self._tls = tls
        self._lock = threading.Lock()
        self._links = set()
        self._accepted = 0
        self._listener = None
        self.port = 0
        self.listen()
        self.url = f"{'https' if tls else 'http'}://127.0.0.1:{self.port}"

    def listen(self):
        """At a free port, or again at the one it had before."""
        self._listener = socket.create_server(("127.0.0.1", self.port), backlog=64)
        self.port = self._listener.getsockname()[1]
        threading.Thread(target=self._accept, args=(self._listener,), daemon=True).start()

    def connections(self):
        """How many there were."""
        with self._lock:
            return self._accepted

    def stop_listening(self):
        """Connections that are there go on."""
        with self._lock:
            if self._listener:
                shut(self._listener)
            self._listener = None

    def close(self):
        self.stop_listening()
        with self._lock:
            links = list(self._links)
        for link in links:
            shut(link)

    def _serve(self, link):
        raise NotImplementedError

    def _secured(self, link, tls):
        """The server's side of TLS on a new connection."""
        return tls.wrap_socket(link, server_side=True)

    def _hold(self, link):
        """Has a connection ended by `close`."""
        with self._lock:
            self._links.add(link)
        return link

    def _accept(self, listener):
        while True:
            try:
                link, _ = listener.accept()
            except OSError:
                return
            with self._lock:
                if self._listener is not listener:
                    link.close()
                    return
                self._links.add(link)
                self._accepted += 1
            threading.Thread(target=self._begin, args=(link,), daemon=True).start()

    def _begin(self, link):
        held = [link]
        try:
            link.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            if self._tls:
                held.append(self._hold(self._secured(link, self._tls)))
            self._serve(held[-1])
        except OSError:
            pass  # the other side went away
        finally:
            with self._lock:
                self._links.difference_update(held)
            held[-1].close()


class Nobody:
    """An address at which nobody listens, for as long as the case runs."""

    def __init__(self):
        self._socket = socket.socket()
        self._socket.bind(("127.0.0.1", 0))
        self.url = f"http://127.0.0.1:{self._socket.getsockname()[1]}"

    def close(self):
        self._socket.close()
