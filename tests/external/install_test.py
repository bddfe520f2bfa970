#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Installs a build below a folder that is emptied first, and checks what is there.

    install_test.py CMAKE BUILD TREE
"""

import configparser
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
PACKAGE = "share/cmake/cloudclient-platform/cloudclient-platform-config"
DOC = "share/doc/cloudclient"
UNIT_PARTS = ("systemd/system/{}.service", "sysusers.d/{}.conf", "tmpfiles.d/{}.conf")


def with_unit(program):
    return {f"bin/{program}"} | {f"lib/{part.format(program)}" for part in UNIT_PARTS}


DAEMON = with_unit("cloudclient")
SERVICE = with_unit("cloudservice")
PROGRAMS = {"bin/cloudclient", "bin/cloudclientctl", "bin/cloudservice"}


def tracked(folder):
    """The files of the repository below `folder`, new ones included."""
    listed = subprocess.run(
        ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard", folder], cwd=TOP,
        check=True, capture_output=True, text=True).stdout
    return {name for name in listed.split("\0") if name and (TOP / name).exists()}


def documents():
    return ({f"{DOC}/{name.removeprefix('docs/')}" for name in tracked("docs")}
            | {f"{DOC}/{name}" for name in tracked("examples") | {"LICENSE"}})


def sources():
    """The modules that the build has."""
    return {f"lib/cloudclient/sources/{path.name}"
            for path in (pathlib.Path(BUILD) / "app" / "sources").glob("*.so")}


def headers():
    return {f"include/cloudclient/{n}" for n in tracked("platform") if n.endswith(".h")}


class Installed(unittest.TestCase):
    def install(self, prefix="/usr", component=None):
        shutil.rmtree(TREE, ignore_errors=True)
        only = ["--component", component] if component else []
        subprocess.run([CMAKE, "--install", BUILD, "--prefix", prefix, *only], check=True,
                       stdout=subprocess.DEVNULL, env={**os.environ, "DESTDIR": str(TREE)})
        root = TREE / prefix.lstrip("/")
        files = {str(path.relative_to(root)) for path in root.rglob("*") if not path.is_dir()}
        beside = [path for path in TREE.rglob("*")
                  if not path.is_dir() and root not in path.parents]
        self.assertEqual(beside, [])
        return files

    def test_components(self):
        self.assertEqual(self.install(component="daemon"), DAEMON)
        self.assertEqual(self.install(component="tools"), {"bin/cloudclientctl"})
        for module in sources():
            self.assertEqual(self.install(component=f"source-{pathlib.Path(module).stem}"), {module})
        self.assertEqual(self.install(component="service"), SERVICE)
        self.assertEqual(self.install(component="documentation"), documents())
        self.assertEqual(self.install(component="development"), headers() | {
            f"{PACKAGE}.cmake", f"{PACKAGE}-version.cmake"})

    def test_unit_file_names_the_prefix(self):
        self.install("/opt/cloud", "daemon")
        unit = (TREE / "opt/cloud/lib/systemd/system/cloudclient.service").read_text()
        self.assertEqual(re.findall(r"(?m)^ExecStart=(.*)$", unit), ["/opt/cloud/bin/cloudclient"])
        self.assertRegex(
            unit, r"\nExecPaths=/opt/cloud/bin/cloudclient /usr/lib -/opt/cloud/\S+/cloudclient\n")
        self.assertNotRegex(unit, "@[a-z]+@")
        self.assertIn("\nEnvironment=GLIBC_TUNABLES=", unit)

    def test_unit_file_starts_the_daemon_again_for_good(self):
        self.install(component="daemon")
        unit = configparser.ConfigParser(interpolation=None, strict=False)
        unit.optionxform = str
        unit.read(TREE / "usr/lib/systemd/system/cloudclient.service")
        self.assertEqual(unit["Unit"]["StartLimitIntervalSec"], "0")
        self.assertEqual(unit["Service"]["Restart"], "on-failure")
        self.assertEqual(unit["Service"]["RestartSec"], "5")
        self.assertEqual(unit["Service"]["RestartPreventExitStatus"], "2")

    def test_z_whole_tree(self):  # the last one: what follows builds upon this tree
        files = self.install()
        self.assertEqual(files, DAEMON | SERVICE | PROGRAMS | sources() | documents() | headers() | {
            f"{PACKAGE}.cmake", f"{PACKAGE}-version.cmake"})
        for program in PROGRAMS | sources():
            # A library needs no permission to be run; where it has none, Debian wants it so.
            may = os.X_OK if program in PROGRAMS else os.R_OK
            self.assertTrue(os.access(TREE / "usr" / program, may), program)
            dynamic = subprocess.run(["readelf", "-d", TREE / "usr" / program], check=True,
                                     capture_output=True, text=True).stdout
            self.assertIn("NEEDED", dynamic)
            self.assertNotRegex(dynamic, "RPATH|RUNPATH")
        for path in TREE.rglob("*.cmake"):
            self.assertNotIn(str(TOP), path.read_text(), path)


if __name__ == "__main__":
    CMAKE, BUILD, TREE = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
    unittest.main(argv=sys.argv[:1])
