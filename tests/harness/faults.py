# SPDX-License-Identifier: Apache-2.0
"""A way to the service with the faults of a hostile network."""

import random
import re
import socket
import threading

from .wire import Server, answer, missing, read_body, read_head, reset

_KEY = re.compile(rb"\r\nMessage-Key: *(\S+)\r\n")
_PATIENCE = 600  # real seconds that a fault holds at most: a case that fails leaves nothing behind


class Fault:
    """What becomes of a request in place of passing it on. One object serves any number of requests,
    each the same; what was released holds no more."""

    # Whether it spoils the handshake (`shakes`), or a request that is being read (`breaks`).
    of_handshake = of_request = False

    def __init__(self):
        self._released = threading.Event()

    def release(self):
        """Lets go what the fault holds."""
        self._released.set()

    def serve(self, exchange):
        """Answers, or not; whether the connection goes on."""
        raise NotImplementedError

    def _hold(self, seconds=_PATIENCE):
        return self._released.wait(seconds)


class ResetRequest(Fault):
    """Resets the connection once so many bytes of the request were read, its head at least, or all of
    it; the service gets none of it."""

    of_request = True

    def __init__(self, at):
        super().__init__()
        self.at = at

    def breaks(self, link, raw):
        _take(link, min(self.at - len(raw), missing(raw)))
        reset(link)


class Reset(Fault):
    """Passes on so many bytes of the answer, and resets the connection."""

    def __init__(self, at):
        super().__init__()
        self.at = at

    def serve(self, exchange):
        exchange.sends(exchange.answered()[:self.at])
        exchange.resets()
        return False


class Closes(Fault):
    """The same with an ordinary end of the connection."""

    def __init__(self, at=0):
        super().__init__()
        self.at = at

    def serve(self, exchange):
        exchange.sends(exchange.answered()[:self.at])
        return False


class Stall(Fault):
    """Passes on so many bytes of the answer, and the others when it is released."""

    def __init__(self, at=0):
        super().__init__()
        self.at = at

    def serve(self, exchange):
        raw = exchange.answered()
        exchange.sends(raw[:self.at])
        self._hold()
        exchange.sends(raw[self.at:])
        return True


class Trickle(Fault):
    """Passes on the answer, made longer by `padding` bytes, `size` bytes at a time, with pauses of so
    many real seconds; released, the rest at once."""

    def __init__(self, size, pause, padding):
        super().__init__()
        self.size, self.pause, self.padding = size, pause, padding

    def serve(self, exchange):
        line, _, rest = exchange.answered().partition(b"\r\n")
        raw = line + b"\r\nX-Padding: " + b"x" * self.padding + b"\r\n" + rest
        for at in range(0, len(raw), self.size):
            exchange.sends(raw[at:at + self.size])
            self._hold(self.pause)
        return True


class Answers(Fault):
    """Answers this in the service's place; then the connection ends, if `ends`."""

    def __init__(self, raw, ends=False):
        super().__init__()
        self.raw, self.ends = raw, ends

    def serve(self, exchange):
        exchange.sends(self.raw)
        return not self.ends


class Changes(Fault):
    """Passes on what `change` makes of the answer; then the connection ends, if `ends`."""

    def __init__(self, change, ends=False):
        super().__init__()
        self.change, self.ends = change, ends

    def serve(self, exchange):
        exchange.sends(self.change(exchange.answered()))
        return not self.ends


class Delivers(Fault):
    """Delivers the request so many times, and passes on the last answer."""

    def __init__(self, times=2):
        super().__init__()
        self.times = times

    def serve(self, exchange):
        for _ in range(self.times):
            raw = exchange.answered()
        exchange.sends(raw)
        return True


class CutHandshake(Fault):
    """Resets the connection after so many bytes of the handshake's first message."""

    of_handshake = True

    def __init__(self, at):
        super().__init__()
        self.at = at

    def shakes(self, link):
        _take(link, self.at)
        reset(link)
        raise ConnectionError("the handshake is cut")


class StallHandshake(Fault):
    """Begins no handshake before it is released."""

    of_handshake = True

    def shakes(self, link):
        self._hold()


def refused(status, *headers):
    """An answer of a service, or of what stands before it, that can't serve now."""
    return Answers(answer(status, *headers, body="not now"))


def redirected(location):
    return Answers(answer(302, f"Location: {location}"))


def truncated():
    """An answer that ends 50 bytes before its end."""
    return Changes(lambda raw: _with_body(raw, lambda body: body + b" " * 100)[:-50], ends=True)


def oversized(more):
    """So many blanks behind the answer's body."""
    return Changes(lambda raw: _with_body(raw, lambda body: body + b" " * more))


def chunked(trailer):
    """The answer's body in chunks, with a trailer of so many bytes."""
    return Changes(lambda raw: _chunks(raw, b"X-Trailer: " + b"t" * trailer + b"\r\n"))


def _lines(head):
    return [line for line in head.split(b"\r\n") if not line.lower().startswith(b"content-length:")]


def _with_body(raw, change):
    head, _, body = raw.partition(b"\r\n\r\n")
    body = change(body)
    if head.split(b" ")[1] == b"204":  # has no body
        head = head.replace(b" 204 ", b" 200 ", 1)
    return b"\r\n".join([*_lines(head), b"Content-Length: %d" % len(body), b"", body])


def _chunks(raw, trailer):
    head, _, body = _with_body(raw, lambda body: body or b" ").partition(b"\r\n\r\n")
    middle = len(body) // 2
    pieces = [b"%x\r\n%s\r\n" % (len(piece), piece) for piece in (body[:middle], body[middle:])
              if piece]
    return b"\r\n".join([*_lines(head), b"Transfer-Encoding: chunked", b"", b"".join(pieces)]) + (
        b"0\r\n" + trailer + b"\r\n")


def _take(link, size):
    """Reads so many bytes, or what comes before the end."""
    while size > 0 and (piece := link.recv(size)):
        size -= len(piece)


class Exchange:
    """One request, and the means to spoil its answer."""

    def __init__(self, link, request, service, heard):
        """`heard`: told of each answer of the service."""
        self._link, self._service, self._heard = link, service, heard
        self.request = request

    def answered(self):
        """The whole answer of the service, which gets the request with each call."""
        with socket.create_connection(self._service) as far:
            far.sendall(self.request)
            far.shutdown(socket.SHUT_WR)
            raw = b""
            while piece := far.recv(65536):
                raw += piece
        if not raw:
            raise ConnectionError("the service ended without an answer")
        self._heard(raw)
        return raw

    def sends(self, raw):
        self._link.sendall(raw)

    def resets(self):
        reset(self._link)


class FaultyWay(Server):
    """Passes requests on to a service that speaks plain HTTP, on connections that stay, and does what
    the case says to those whose line ("POST /hb/...") begins in a certain way. TLS ends here."""

    def __init__(self, port, tls=None, seed=0):
        self._service = ("127.0.0.1", port)
        self._random = random.Random(seed)
        self._fault = self._chance = None
        self._begins = ""
        self._touched = []
        self._keyed = {}
        self._all = set()
        super().__init__(tls)

    def shows(self, tls):
        """Another certificate, from the next connection on."""
        self._tls = tls

    def does(self, fault, begins=""):
        """To each request whose line, with a blank behind it, begins so, or to each handshake, until
        it heals."""
        with self._lock:
            self._begins, self._fault = begins, fault
            self._all.add(fault)

    def at_random(self, chance, faults):
        """To each request, with this chance, one of the faults that these functions make of a
        random.Random, until it heals."""
        with self._lock:
            self._chance, self._makers = chance, faults

    def refuses(self):
        """Nobody listens, and the connections that there are end."""
        self.close()

    def heals(self):
        """Passes on from the next request on; what a fault holds is let go."""
        with self._lock:
            held, self._all = self._all, set()
            self._fault = self._chance = None
            silent = self._listener is None
        for fault in held:
            fault.release()
        if silent:
            self.listen()

    def touched(self):
        """The lines of the requests that met a fault."""
        with self._lock:
            return list(self._touched)

    def keyed(self):
        """The keys of the requests that had one (`Message-Key`), and how the service answered each
        time that it got the request: [(status, body)]."""
        with self._lock:
            return {key: list(answers) for key, answers in self._keyed.items()}

    def close(self):
        with self._lock:
            held = set(self._all)
        for fault in held:
            fault.release()
        super().close()

    def _secured(self, link, tls):
        fault = self._fault
        if fault and fault.of_handshake:
            fault.shakes(link)
        return super()._secured(link, tls)

    def _take(self, line):
        """The fault that this request meets, if any."""
        with self._lock:
            fault = self._fault
            if fault and (fault.of_handshake or not f"{line} ".startswith(self._begins)):
                fault = None
            if not fault and self._chance and self._random.random() < self._chance:
                fault = self._random.choice(self._makers)(self._random)
                self._all.add(fault)
            if fault:
                self._touched.append(line)
        return fault

    def _answers_of(self, head):
        """What is to be told of each answer to the request with this head."""
        key = _KEY.search(head)
        with self._lock:
            answers = self._keyed.setdefault(key[1].decode(), []) if key else None

        def heard(raw):
            if answers is not None:
                with self._lock:
                    answers.append((int(raw.split(b" ")[1]), raw.partition(b"\r\n\r\n")[2]))
        return heard

    def _serve(self, link):
        while self._pass_on(link):
            pass

    def _pass_on(self, link):
        """One request; whether another may come."""
        raw = read_head(link)
        if raw is None:
            return False
        answers = self._answers_of(raw)
        fault = self._take(raw.split(b" HTTP/1.1\r\n", 1)[0].decode())
        if fault and fault.of_request:
            fault.breaks(link, raw)
            return False
        exchange = Exchange(link, read_body(link, raw), self._service, answers)
        if fault:
            return fault.serve(exchange)
        exchange.sends(exchange.answered())
        return True
