# SPDX-License-Identifier: Apache-2.0
"""Fixtures of the acceptance cases, beside those that every layer with real programs has.

    python3 -m pytest tests/acceptance --programs=build/debug

The daemon may be another machine's, run by an emulator and with a clock of its own:

    ... --daemon=build/powerpc --emulator="qemu-ppc-static -L /usr/powerpc-linux-gnu" \
        --clock=build/powerpc/tests/powerpc/clock.so

With --policy=hardened the daemon has that preset, and cases run that it should not change.
"""

import os
import pathlib
import shlex

import pytest

from differences import is_meant
from harness.ctl import Ctl
from harness.daemon import Daemon, HardenedDaemon
from harness.device import Device
from harness.process import clock
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
    parser.addoption("--policy", choices=["", "hardened"],
                     default=os.environ.get("CLOUDCLIENT_POLICY", ""),
                     help="preset of the daemon's policy (CLOUDCLIENT_POLICY)")


def pytest_collection_modifyitems(config, items):
    """With another machine's daemon or a preset, what has no daemon in it is not tried again, and what
    is tried on two stores only on one. The name service of cases is this machine's alone. A source that
    is not built for the other machine, for want of its library, has no case there."""
    if config.getoption("--daemon"):
        modules = pathlib.Path(config.getoption("--daemon")) / "app" / "sources"
        servers = {"modbus": "units", "redfish": "controller", "snmp": "agent"}
        missing = [name for name in servers if not (modules / f"{name}.so").exists()]
        files = [f"test_sources_{name}.py" for name in missing]
        fixtures = {"names", *(servers[name] for name in missing)}
        named = [item for item in items
                 if fixtures.intersection(item.fixturenames) or item.path.name in files]
        config.hook.pytest_deselected(items=named)
        items[:] = [item for item in items if item not in named]
    if config.getoption("--policy"):
        differ = [item for item in items if is_meant(item.nodeid)]
        config.hook.pytest_deselected(items=differ)
        items[:] = [item for item in items if item not in differ]
    if config.getoption("--daemon") or config.getoption("--policy"):
        kept = [item for item in items
                if "make_daemon" in item.fixturenames and POSTGRESQL not in item.name]
        config.hook.pytest_deselected(items=[item for item in items if item not in kept])
        items[:] = kept


@pytest.fixture
def make_daemon(programs, pytestconfig):
    """Makes a daemon in a folder, and with a root, of its own."""
    other = pytestconfig.getoption("--daemon")
    kind = HardenedDaemon if pytestconfig.getoption("--policy") else Daemon
    return lambda folder, root: kind(
        pathlib.Path(other).resolve() if other else programs, folder, root,
        emulator=shlex.split(pytestconfig.getoption("--emulator")),
        clock_library=pytestconfig.getoption("--clock"))


@pytest.fixture
def daemon(make_daemon, folder, root, under_watch):
    return under_watch(make_daemon(folder, root))


@pytest.fixture
def ctl(programs, root, folder, daemon):
    return Ctl(programs, root, folder)


@pytest.fixture
def device(root, daemon):
    return Device(root)


@pytest.fixture
def runs(daemon, device):
    """Starts a disabled daemon with that device, whose engine runs all the same. What sources wait for
    is real: so is its clock."""
    def start(description, **more):
        device.describe(description)
        daemon.disable()
        daemon.start(clock(1), **more)
    return start


@pytest.fixture
def values(daemon, device):
    """Waits until the points have these values."""
    def become(**expected):
        def seen():
            found = {p["name"]: p["value"] for p in device.lists()["points"]}
            return all(found[name] == value for name, value in expected.items())
        daemon.wait_until(seen, f"values {expected}")
    return become


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
