# SPDX-License-Identifier: Apache-2.0
"""Stripped sizes of the daemon, built for the purpose."""

import os
import pathlib
import subprocess

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
MACHINES = {"amd64": "", "powerpc": "powerpc-linux-gnu-"}


def _run(*command):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True,
                          check=False)
    if done.returncode != 0:
        raise SystemExit(f"footprint: {' '.join(map(str, command))} failed\n"
                         + (done.stdout + done.stderr)[-4000:])
    return done.stdout


class Builds:
    """Builds in a folder of their own, for one machine ("amd64" stands for this one)."""

    def __init__(self, folder, machine="amd64"):
        self._folder = pathlib.Path(folder) / machine
        self._strip = MACHINES[machine] + "strip"
        self._options = ["-G", "Ninja"]
        if MACHINES[machine]:
            _run(TOP / "scripts" / "powerpc-sysroot.sh")
            self._options.append(f"-DCMAKE_TOOLCHAIN_FILE={TOP}/cmake/powerpc.cmake")
        self._library = None

    def _configured(self, name, source, *options):
        build = self._folder / name
        _run("cmake", "-S", source, "-B", build, *self._options, *options)
        return build

    def _daemon(self, name, kind, *options):
        build = self._configured(name, TOP, f"-DCMAKE_BUILD_TYPE={kind}", "-DCLOUDCLIENT_TESTS=OFF",
                                 "-DCLOUDCLIENT_SERVICE=OFF", *options)
        _run("cmake", "--build", build, "--target", "cloudclient")
        return self.stripped(build / "app" / "cloudclient")

    def stripped(self, program):
        """Bytes of a program without symbols."""
        copy = self._folder / "stripped"
        _run(self._strip, "-o", copy, program)
        return os.path.getsize(copy)

    def with_host(self, kind):
        return self._daemon(f"host-{kind}", kind)

    def without_host(self, kind):
        """Linked against a shared library in place of host/."""
        return self._daemon(f"external-{kind}", kind, "-DCLOUDCLIENT_PLATFORM=external",
                            f"-DCLOUDCLIENT_PLATFORM_LIBS={self._standin()}")

    def _standin(self):
        if not self._library:
            headers = self._configured("headers", TOP, "-DCLOUDCLIENT_TESTS=OFF",
                                       "-DCLOUDCLIENT_SERVICE=OFF")
            sdk = self._folder / "sdk"
            _run("cmake", "--install", headers, "--component", "development", "--prefix", sdk)
            # By its folder: a cross build looks for packages nowhere else.
            build = self._configured(
                "standin", TOP / "tests" / "external" / "standin",
                f"-Dcloudclient-platform_DIR={sdk}/share/cmake/cloudclient-platform")
            _run("cmake", "--build", build, "--target", "standin")
            self._library = build / "libstandin.so"
        return self._library
