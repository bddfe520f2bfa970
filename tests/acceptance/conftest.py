"""Fixtures of the acceptance cases. Each case has processes, ports and a root folder of its own.

    python3 -m pytest tests/acceptance --programs=build/debug

The daemon may be another machine's, run by an emulator and with a clock of its own:

    ... --daemon=build/powerpc --emulator="qemu-ppc-static -L /usr/powerpc-linux-gnu" \
        --clock=build/powerpc/tests/powerpc/clock.so
"""

import os
import pathlib
import re
import shlex
import shutil
import tempfile

import pytest

from harness.clocks import MovableClock
from harness.daemon import Daemon
from harness.device import Device
from harness.proxy import Proxy
from harness.recorder import Nobody, Recorder, tls_context
from harness.service import Service

HERE = pathlib.Path(__file__).resolve().parent
PROCESSES = pytest.StashKey[list]()
# Their clock runs 5,000 times as fast. The minute within which the daemon has to stop is 12 ms of
# real time then, in which an emulated one can't.
TOO_FAST_TO_STOP = ("test_every_day_turns_once_also_where_the_offset_changes",)


def pytest_addoption(parser):
    parser.addoption("--programs", default=os.environ.get("CLOUDCLIENT_PROGRAMS", ""),
                     help="CMake build folder whose programs are tried (CLOUDCLIENT_PROGRAMS)")
    parser.addoption("--daemon", default="",
                     help="CMake build folder of the daemon, when it is another one's")
    parser.addoption("--emulator", default="", help="command that runs the daemon's program")
    parser.addoption("--clock", default="",
                     help="accelerated clock that is preloaded into the daemon, in place of faketime")


def pytest_collection_modifyitems(config, items):
    """With another machine's daemon, what has no daemon in it is not tried again."""
    if config.getoption("--daemon"):
        items[:] = [item for item in items if "daemon" in item.fixturenames
                    and item.originalname not in TOO_FAST_TO_STOP]


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item):
    report = (yield).get_result()
    if report.failed:
        for process in item.stash.get(PROCESSES, []):
            report.sections.append((f"what {process.name} wrote", process.story()))


@pytest.fixture(scope="session")
def programs(pytestconfig):
    given = pytestconfig.getoption("--programs")
    if not given:
        pytest.exit("name the programs' build folder: --programs DIR", returncode=2)
    return pathlib.Path(given).resolve()


@pytest.fixture(scope="session")
def version():
    """The project's version."""
    text = (HERE.parent.parent / "CMakeLists.txt").read_text()
    return re.search(r"project\(\w+ VERSION (\S+)", text).group(1)


@pytest.fixture
def folder():
    """The case's folder. Short, since the path of a socket lies below it."""
    path = pathlib.Path(tempfile.mkdtemp(prefix="cc-"))
    yield path
    shutil.rmtree(path)


@pytest.fixture
def root(folder):
    path = folder / "root"
    path.mkdir()
    return path


@pytest.fixture
def under_watch(request):
    """Has a process stopped and judged at the end of the case, and shown when the case fails."""
    watched = request.node.stash.setdefault(PROCESSES, [])

    def watch(process):
        watched.append(process)
        return process
    yield watch
    faults = []
    for process in reversed(watched):
        try:
            process.close()
        except AssertionError as fault:
            faults.append(str(fault))
    assert not faults, "; ".join(faults)


@pytest.fixture
def daemon(programs, folder, root, under_watch, pytestconfig):
    other = pytestconfig.getoption("--daemon")
    return under_watch(Daemon(
        pathlib.Path(other).resolve() if other else programs, folder, root,
        emulator=shlex.split(pytestconfig.getoption("--emulator")),
        clock_library=pytestconfig.getoption("--clock")))


@pytest.fixture
def device(root, daemon):
    return Device(root)


@pytest.fixture
def service(programs, folder, under_watch):
    return under_watch(Service(programs, folder))


@pytest.fixture
def recorder():
    server = Recorder()
    yield server
    server.close()


@pytest.fixture
def tls_recorder(folder):
    server = Recorder(tls_context(folder))
    yield server
    server.close()


@pytest.fixture
def nobody():
    address = Nobody()
    yield address
    address.close()


@pytest.fixture
def clock_of(folder):
    """Makes a clock that starts at a time of UTC and can be moved."""
    return lambda start, speed: MovableClock(folder, start, speed)


@pytest.fixture
def proxy_to():
    """Puts a way that can be disturbed before a service."""
    proxies = []

    def make(service):
        proxies.append(Proxy(service.port))
        return proxies[-1]
    yield make
    for proxy in proxies:
        proxy.close()
