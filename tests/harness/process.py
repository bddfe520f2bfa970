# SPDX-License-Identifier: Apache-2.0
"""One program under test as a process."""

import contextlib
import ctypes
import glob
import os
import re
import resource
import signal
import subprocess
import sys

from .waiting import DEADLINE, wait_until

SPEED = 50
SANITIZER_REPORTS = ("ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "runtime error: ")
PR_SET_PDEATHSIG = 1
_libc = ctypes.CDLL(None)


def clock(speed=SPEED, start=None):
    """The clock of a process: `speed` times as fast, from now or from `start` (local time)."""
    return f"{'@' + start if start else '+0'} x{speed}"


def faketime():
    """The library that is the accelerated clock."""
    found = glob.glob("/usr/lib/*/faketime/libfaketimeMT.so.1")
    if not found:
        raise FileNotFoundError("the package faketime is not installed")
    return found[0]


# The preloaded clock comes before the sanitizer's run-time library, which only minds.
# Its symbolizer dies under this clock: named_frames does its work.
SANITIZERS = {
    "ASAN_OPTIONS": "verify_asan_link_order=0:abort_on_error=0:exitcode=99:symbolize=0",
    "UBSAN_OPTIONS": "print_stacktrace=1:symbolize=0",
}


def _prepare_child(largest_file):
    _libc.prctl(PR_SET_PDEATHSIG, signal.SIGKILL)
    if largest_file is not None:
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (largest_file, largest_file))


def environment(its_clock):
    """A small environment of known content: no proxy, no locale, a time zone one hour east.

    `its_clock` is the text of a clock that only runs, or a clock that can be moved."""
    moving = {"FAKETIME": its_clock} if isinstance(its_clock, str) else its_clock.variables()
    return {
        "PATH": "/usr/bin:/bin",
        "LC_ALL": "C.UTF-8",
        "TZ": "CET-1",
        "LD_PRELOAD": faketime(),
        **moving,
        **SANITIZERS,
    }


def named_frames(report):
    """A sanitizer's report with the functions and lines of its frames."""
    def named(frame):
        found = subprocess.run(["addr2line", "-Cfpie", frame[1], frame[2]], capture_output=True,
                               text=True, check=False)
        return f"{frame[0]} {found.stdout.strip()}"
    return re.sub(r"(?<=  )\((/[^()\n]+)\+(0x[0-9a-f]+)\)", named, report)


# Becomes the program, whose descriptors from 3 on are those that were handed over.
_HAND_OVER = """
import fcntl, os, sys
high = [fcntl.fcntl(int(fd), fcntl.F_DUPFD, 100) for fd in sys.argv[1].split(",")]
for place, fd in enumerate(high, 3):
    os.dup2(fd, place)
    os.close(fd)
os.environ |= {"LISTEN_PID": str(os.getpid()), "LISTEN_FDS": str(len(high)),
               "LISTEN_FDNAMES": ":".join("web" for _ in high)}
os.execv(sys.argv[2], sys.argv[2:])
"""


class Process:
    """Started once or more; what each start wrote is kept in files of its own."""

    def __init__(self, name, folder):
        self.name = name
        self._folder = folder
        self._starts = 0
        self._holds = 0
        self._child = None
        self._expected = 0
        self._noticed = True

    def launch(self, argv, env, largest_file=None, errors=None, handed=()):
        """Starts the program; writes that make a file of more than `largest_file` bytes fail.
        `errors`: a descriptor that becomes its standard error in the place of the kept file.
        `handed`: descriptors that the program gets as the service manager hands sockets over."""
        if handed:
            argv = [sys.executable, "-c", _HAND_OVER, ",".join(map(str, handed)), *argv]
        assert not self.running, f"{self.name} runs already"
        self._starts += 1
        self._expected = 0
        self._noticed = False
        with open(self._path("out"), "wb") as out, open(self._path("err"), "wb") as err:
            self._child = subprocess.Popen(
                [str(a) for a in argv], env=env, stdin=subprocess.DEVNULL, stdout=out,
                stderr=err if errors is None else errors,
                cwd=self._folder, pass_fds=handed,
                preexec_fn=lambda: _prepare_child(largest_file))

    def _path(self, stream):
        return self._folder / f"{self.name}.{self._starts}.{stream}"

    @property
    def running(self):
        return self._child is not None and self._child.poll() is None

    @property
    def pid(self):
        return self._child.pid

    def status(self, key):
        """What the system says of the main thread."""
        with open(f"/proc/{self.pid}/status", encoding="ascii") as status:
            return re.search(rf"(?m)^{key}:\s+(\S+)", status.read()).group(1)

    def is_sanitized(self):
        """Whether it was built with the sanitizer that holds freed memory back."""
        with open(f"/proc/{self.pid}/maps", encoding="utf-8") as maps:
            return "libasan" in maps.read()

    def sleeps(self, times):
        """Waits until the main thread has gone to sleep so often: whoever looks again and again has
        done all that there was to do."""
        def count():
            return int(self.status("voluntary_ctxt_switches"))
        begun = count()
        self.wait_until(lambda: count() >= begun + times, "the main thread to look again and again")

    def _read(self, stream):
        if self._starts == 0:
            return ""
        return self._path(stream).read_bytes().decode("utf-8", "replace")

    def output(self):
        return self._read("out")

    def error_text(self):
        return self._read("err")

    def must_run(self):
        assert self.running, f"{self.name} ended by itself with status {self._child.returncode}"

    def wait_until(self, predicate, what):
        return wait_until(predicate, f"{self.name}: {what}", alive=self.must_run)

    def signal(self, number):
        self._child.send_signal(number)

    @contextlib.contextmanager
    def held(self):
        """Meanwhile the process does nothing, if it runs."""
        self._holds += 1
        if self._holds == 1 and self.running:
            self.signal(signal.SIGSTOP)
        try:
            yield
        finally:
            self._holds -= 1
            if self._holds == 0 and self.running:
                self.signal(signal.SIGCONT)

    def ends(self, status):
        """Waits for the end of the process, which is to come with `status`."""
        self._expected = status
        try:
            self._child.wait(DEADLINE)
        except subprocess.TimeoutExpired:
            raise AssertionError(f"{self.name} does not end") from None
        self._check()

    def stop(self):
        """Asks the process to end as an administrator does: SIGTERM, status 0."""
        self.must_run()
        self.signal(signal.SIGTERM)
        self.ends(0)

    def crash(self):
        """Takes the process away without a word."""
        self.signal(signal.SIGKILL)
        self.ends(-signal.SIGKILL)

    def _check(self):
        self._noticed = True
        text = self.error_text()
        for report in SANITIZER_REPORTS:
            assert report not in text, f"{self.name}: sanitizer report"
        assert self._child.returncode == self._expected, (
            f"{self.name} ended with status {self._child.returncode}, not {self._expected}")

    def close(self):
        """Teardown: stops what still runs, and looks at the status of what ended unnoticed."""
        if self.running:
            try:
                self.stop()
            finally:
                if self.running:
                    self._child.kill()
                    self._child.wait()
        elif not self._noticed:
            self._check()

    def story(self):
        """All that the process wrote, start by start, for the report of a failed case."""
        parts = []
        for path in sorted(self._folder.glob(f"{self.name}.*.*"), key=os.path.getmtime):
            text = path.read_bytes().decode("utf-8", "replace")
            if any(report in text for report in SANITIZER_REPORTS):
                text = named_frames(text)
            if text:
                parts.append(f"--- {path.name}\n{text[-200_000:]}")
        return "\n".join(parts)
