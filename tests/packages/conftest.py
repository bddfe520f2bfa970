# SPDX-License-Identifier: Apache-2.0
"""Fixtures of the packages' cases: packages, and fresh roots of Debian to install them in.

    python3 -m pytest tests/packages --packages=FOLDER     (as root)
"""

import os
import pathlib
import re
import shutil
import subprocess

import pytest

from debian_root import CACHE, base, fresh_root
from harness.folders import case_folder
from unit import Unit

TOP = pathlib.Path(__file__).resolve().parents[2]


def pytest_addoption(parser):
    parser.addoption("--packages", required=True, help="folder that packaging/build.sh has filled")


def by_name(folder):
    """The packages of a folder by their names."""
    return {path.name.split("_")[0]: path for path in sorted(folder.glob("*.deb"))}


def build(top, out, *options, **environment):
    subprocess.run([top / "packaging" / "build.sh", *options, out], check=True,
                   stdout=subprocess.DEVNULL, env={**os.environ, **environment})
    return by_name(out)


def field(package, name):
    return subprocess.run(["dpkg-deb", "--field", package, name], check=True, capture_output=True,
                          text=True).stdout.strip()


@pytest.fixture(scope="session")
def version():
    """The project's version."""
    text = (TOP / "CMakeLists.txt").read_text()
    return re.search(r"project\(\w+ VERSION (\S+)", text).group(1)


@pytest.fixture(scope="session")
def packages(pytestconfig):
    found = by_name(pathlib.Path(pytestconfig.getoption("--packages")).resolve())
    assert set(found) >= {"cloudclient", "cloudclient-source-snmp", "cloudservice",
                          "cloudclient-dev"}, "build.sh has not run"
    return found


def git(*words):
    return subprocess.run(["git", "-C", TOP, *words], capture_output=True, text=True, check=False)


@pytest.fixture(scope="session")
def earlier(packages):
    """The packages of the commit before: of the last one where something is not committed. Without
    such a commit the present ones: the upgrade is one from themselves."""
    name = "HEAD" if git("status", "--porcelain").stdout else "HEAD^"
    commit = git("rev-parse", "--verify", "--quiet", name).stdout.strip()
    if not commit or git("cat-file", "-e", f"{commit}:packaging/build.sh").returncode:
        return packages
    kept = CACHE / "cloudclient" / "packages"
    if not (kept / commit).is_dir():
        with case_folder() as folder:
            subprocess.run(["git", "clone", "--quiet", "--shared", "--no-checkout", TOP,
                            folder / "tree"], check=True)
            subprocess.run(["git", "-C", folder / "tree", "checkout", "--quiet", commit],
                           check=True)
            build(folder / "tree", folder / "out")
            shutil.rmtree(kept, ignore_errors=True)
            shutil.copytree(folder / "out", kept / commit)
    return by_name(kept / commit)


@pytest.fixture(scope="session")
def debian(packages):
    """The base of every root: what the packages depend on, and a manual's reader."""
    assert os.geteuid() == 0, "roots of Debian are made by root"
    listed = ", ".join(field(package, "Depends") for name, package in packages.items()
                       if name != "cloudclient-dev")
    needed = {re.match(r"\s*([a-z0-9.+-]+)", one).group(1) for one in listed.split(",")}
    return base(needed - packages.keys())


@pytest.fixture
def folder():
    with case_folder() as path:
        yield path


@pytest.fixture
def root(debian):
    with fresh_root(debian) as fresh:
        yield fresh


@pytest.fixture
def unit(root, folder):
    """Makes a unit of the root by its name."""
    units = []

    def make(name):
        units.append(Unit(root, name, folder))
        return units[-1]
    yield make
    for one in units:
        one.close()


@pytest.fixture(scope="session")
def unpacked(packages, tmp_path_factory):
    """The files of each package, in a folder of its own."""
    folders = {}
    for name, package in packages.items():
        folders[name] = tmp_path_factory.mktemp(name)
        subprocess.run(["dpkg-deb", "--extract", package, folders[name]], check=True)
    return folders
