# SPDX-License-Identifier: Apache-2.0
"""Fixtures of the acceptance cases, beside those that every layer with real programs has.

    python3 -m pytest tests/acceptance --programs=build/debug

The daemon may be another machine's, run by an emulator and with a clock of its own:

    ... --daemon=build/powerpc --emulator="qemu-ppc-static -L /usr/powerpc-linux-gnu" \
        --clock=build/powerpc/tests/powerpc/clock.so
"""

import pathlib
import shlex

import pytest

from harness.ctl import Ctl
from harness.daemon import Daemon
from harness.device import Device
from harness.proxy import Proxy
from harness.recorder import Recorder
from harness.service import POSTGRESQL
from harness.wire import Nobody, tls_context

pytest_plugins = ("harness.fixtures",)


def pytest_addoption(parser):
    parser.addoption("--daemon", default="",
                     help="CMake build folder of the daemon, when it is another one's")
    parser.addoption("--emulator", default="", help="command that runs the daemon's program")
    parser.addoption("--clock", default="",
                     help="accelerated clock that is preloaded into the daemon, in place of faketime")


def pytest_collection_modifyitems(config, items):
    """With another machine's daemon, what has no daemon in it is not tried again, and what is tried
    on two stores only on one."""
    if config.getoption("--daemon"):
        kept = [item for item in items
                if "daemon" in item.fixturenames and POSTGRESQL not in item.name]
        config.hook.pytest_deselected(items=[item for item in items if item not in kept])
        items[:] = kept


@pytest.fixture
def daemon(programs, folder, root, under_watch, pytestconfig):
    other = pytestconfig.getoption("--daemon")
    return under_watch(Daemon(
        pathlib.Path(other).resolve() if other else programs, folder, root,
        emulator=shlex.split(pytestconfig.getoption("--emulator")),
        clock_library=pytestconfig.getoption("--clock")))


@pytest.fixture
def ctl(programs, root, folder, daemon):
    return Ctl(programs, root, folder)


@pytest.fixture
def device(root, daemon):
    return Device(root)


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
def proxy_to():
    """Puts a way that can be disturbed before a service."""
    proxies = []

    def make(service):
        proxies.append(Proxy(service.port))
        return proxies[-1]
    yield make
    for proxy in proxies:
        proxy.close()
