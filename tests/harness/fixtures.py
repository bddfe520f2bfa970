# SPDX-License-Identifier: Apache-2.0
"""Fixtures of every layer that tries real programs. Each case has processes, ports and a root folder
of its own."""

import os
import pathlib
import re

import pytest

from .clocks import MovableClock
from .folders import case_folder
from .postgresql import database, server
from .service import POSTGRESQL, SQLITE, Service

TOP = pathlib.Path(__file__).resolve().parents[2]
PROCESSES = pytest.StashKey[list]()


def pytest_addoption(parser):
    parser.addoption("--programs", default=os.environ.get("CLOUDCLIENT_PROGRAMS", ""),
                     help="CMake build folder whose programs are tried (CLOUDCLIENT_PROGRAMS)")


def pytest_generate_tests(metafunc):
    """Cases with the mark `both_stores` run on either, but for those that have `sqlite` as well."""
    case = metafunc.definition
    if "service" in metafunc.fixturenames and case.get_closest_marker("both_stores") and (
            not case.get_closest_marker("sqlite")):
        metafunc.parametrize("store", [SQLITE, POSTGRESQL], indirect=True)


def pytest_make_parametrize_id(val, argname):
    """A case is named by one short line whatever it is given: CMake reads a list of the names, in
    which a bracket that nothing closes would swallow the names behind it. What has no text is named
    by its parameter alone, and not numbered."""
    if isinstance(val, (list, tuple)) and all(isinstance(part, (str, bytes)) for part in val):
        return " ".join(pytest_make_parametrize_id(part, argname) for part in val)
    if isinstance(val, bool):
        return argname if val else f"not {argname}"
    if isinstance(val, dict):
        return argname
    if isinstance(val, bytes):
        val = val.decode("latin-1")
    if isinstance(val, str):
        return re.sub(r"[^\w.,:/?&=%$()+<> -]+", "_", val, flags=re.ASCII)[:60]
    return None


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
    text = (TOP / "CMakeLists.txt").read_text()
    return re.search(r"project\(\w+ VERSION (\S+)", text).group(1)


@pytest.fixture
def folder():
    with case_folder() as path:
        yield path


@pytest.fixture
def root(folder):
    path = folder / "root"
    path.mkdir()
    return path


@pytest.fixture(scope="session")
def postgresql():
    with server() as url:
        yield url


@pytest.fixture
def store(request):
    """The URL of the service's database, or nothing for a file."""
    if getattr(request, "param", SQLITE) == SQLITE:
        yield ""
        return
    with database(request.getfixturevalue("postgresql")) as url:
        yield url


@pytest.fixture
def under_watch(request, store):
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
            # Its files are gone when this case's report is made.
            faults.append(f"{fault}\n{process.story()}")
    assert not faults, "\n".join(faults)


@pytest.fixture
def service(programs, folder, under_watch, store):
    return under_watch(Service(programs, folder, store))


@pytest.fixture
def clock_of(folder):
    """Makes a clock that starts at a time of UTC and can be moved."""
    return lambda start, speed: MovableClock(folder, start, speed)
