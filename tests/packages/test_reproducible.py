# SPDX-License-Identifier: Apache-2.0
"""That the same sources give the same bytes, and packages of other machines. Takes long."""

import hashlib
import os
import re
import shutil
import subprocess

import pytest

from conftest import TOP, build, by_name, field

pytestmark = pytest.mark.load


def output_of(*words):
    return subprocess.run(words, check=True, capture_output=True, text=True).stdout


def digests(packages):
    return {path.name: hashlib.sha256(path.read_bytes()).hexdigest() for path in packages.values()}


def test_build_elsewhere_at_another_time_gives_the_same_bytes(folder):
    """Both compile all of it: the second would else be served with what the first one made."""
    first = build(TOP, folder / "first", CCACHE_DISABLE="1")
    tree = folder / "a rather different place"
    subprocess.run(["cp", "-r", "--no-preserve=timestamps", TOP, tree], check=True)
    shutil.rmtree(tree / "build", ignore_errors=True)
    again = (f"umask 077; cd / && exec faketime '+3 days' '{tree}/packaging/build.sh' "
             f"'{folder}/second'")
    subprocess.run(["bash", "-c", again], check=True, stdout=subprocess.DEVNULL, env={
        **os.environ, "CCACHE_DISABLE": "1", "LC_ALL": "de_DE.UTF-8", "LANG": "tr_TR.UTF-8",
        "TZ": "Asia/Kathmandu", "USER": "somebody", "MAKEFLAGS": ""})
    assert digests(by_name(folder / "second")) == digests(first)


def test_tree_without_git_is_built(folder, version):
    tree = folder / "tree"
    shutil.copytree(TOP, tree, ignore=shutil.ignore_patterns(".git", "build", "build-*"))
    packages = build(tree, folder / "out")
    assert {field(package, "Version") for package in packages.values()} == {version}
    assert set(packages) >= {"cloudclient", "cloudservice", "cloudclient-dev"}


def test_daemon_for_powerpc_depends_on_the_c_library_alone(folder):
    packages = build(TOP, folder / "out", "--host", "powerpc")
    assert set(packages) - {"cloudclient-dbgsym"} == {"cloudclient"}
    package = packages["cloudclient"]
    assert field(package, "Architecture") == "powerpc"
    assert re.fullmatch(r"libc6 \(>= [0-9.]+\)", field(package, "Depends"))
    subprocess.run(["dpkg-deb", "--extract", package, folder / "tree"], check=True)
    program = folder / "tree/usr/bin/cloudclient"
    needed = output_of("readelf", "-d", program)
    assert set(re.findall(r"NEEDED.*\[(.*)\]", needed)) <= {"libc.so.6", "libm.so.6", "ld.so.1"}
    shown = output_of("qemu-ppc-static", "-L", "/usr/powerpc-linux-gnu", program, "--version")
    assert shown.startswith("cloudclient ")
    assert output_of("lintian", "--allow-root", "--pedantic", package) == ""
