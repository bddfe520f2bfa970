# SPDX-License-Identifier: Apache-2.0
"""What the packages hold, judged without installing them."""

import re
import subprocess

import pytest

from conftest import TOP, field
from program_help import describe

PROGRAMS = {"cloudclient": "cloudclient", "cloudclientctl": "cloudclient",
            "cloudservice": "cloudservice"}
PAGES = {
    "cloudclient": {"cloudclient.8", "cloudclientctl.8", "cloudclient-config.5",
                    "cloudclient-policy.5", "cloudclient-device.5", "cloudclient-covpatchmap.5",
                    "cloudclient-cloudchassis.5"},
    "cloudservice": {"cloudservice.8", "cloudservice.conf.5"},
}


def test_lintian_has_nothing_to_say(packages):
    said = subprocess.run(
        ["lintian", "--allow-root", "--pedantic", "--fail-on=error,warning", *packages.values()],
        capture_output=True, text=True, check=False)
    assert (said.returncode, said.stdout) == (0, ""), said.stdout + said.stderr


def test_a_program_its_unit_and_what_makes_user_and_folders_lie_together(unpacked):
    for name in ("cloudclient", "cloudservice"):
        for path in (f"usr/bin/{name}", f"lib/systemd/system/{name}.service",
                     f"usr/lib/sysusers.d/{name}.conf", f"usr/lib/tmpfiles.d/{name}.conf"):
            assert (unpacked[name] / path).is_file(), path
    assert (unpacked["cloudclient"] / "usr/bin/cloudclientctl").is_file()
    # Those that need no library but the daemon's.
    assert modules(unpacked, "cloudclient") == {"command.so", "hwmon.so"}
    examples = unpacked["cloudclient"] / "usr/share/doc/cloudclient/examples"
    assert {path.name for path in examples.iterdir()} == {
        "cooling-unit", "command-sources.conf", "serial-lines.conf"}
    assert not (unpacked["cloudclient"] / "etc").exists()


def modules(unpacked, package):
    return {path.name for path in (unpacked[package] / "usr/lib").glob("*/cloudclient/sources/*")}


@pytest.mark.parametrize("name, library", [
    ("modbus", "libmodbus5"), ("redfish", "libcurl4"), ("snmp", "libsnmp40")])
def test_source_lies_in_a_package_of_its_own_with_its_library(packages, unpacked, name, library):
    package = f"cloudclient-source-{name}"
    assert modules(unpacked, package) == {f"{name}.so"}
    depends = field(packages[package], "Depends")
    assert f"cloudclient (= {field(packages['cloudclient'], 'Version')})" in depends
    assert library in depends
    files = {path.relative_to(unpacked[package]).parts[:3] for path in
             unpacked[package].rglob("*") if path.is_file()}
    assert {parts[:2] for parts in files} == {("usr", "lib"), ("usr", "share")}


def test_headers_package_and_guide_are_for_whoever_ports(unpacked, folder):
    tree = unpacked["cloudclient-dev"]
    assert (tree / "usr/share/doc/cloudclient-dev/porting.md").is_file()
    (folder / "CMakeLists.txt").write_text(
        "cmake_minimum_required(VERSION 3.25)\nproject(port CXX)\n"
        "find_package(cloudclient-platform REQUIRED)\n"
        "add_library(port port.cpp)\ntarget_link_libraries(port cloudclient::platform)\n")
    (folder / "port.cpp").write_text('#include "platform/util/dlog.h"\n')
    for words in (["-S", folder, "-B", folder / "build", f"-DCMAKE_PREFIX_PATH={tree}/usr"],
                  ["--build", folder / "build"]):
        subprocess.run(["cmake", *words], check=True, capture_output=True)


@pytest.mark.parametrize("words, reason", [
    ([], "name the folder that gets the packages"),
    (["--host", "m68k", "out"], "nothing is built for m68k"),
    (["--host"], "--host takes an architecture"),
    (["--sign", "out"], "there is no option --sign"),
    (["out", "more"], "one folder is enough: more"),
])
def test_build_that_is_asked_for_something_else_says_what(words, reason, folder):
    ended = subprocess.run([TOP / "packaging" / "build.sh", *words], capture_output=True, text=True,
                           check=False, cwd=folder)
    assert (ended.returncode, ended.stdout) == (2, "")
    assert ended.stderr.startswith(f"build.sh: {reason}\n")
    assert not list(folder.iterdir())


# Manual pages

def page(unpacked, package, name):
    folder = unpacked[package] / "usr/share/man" / f"man{name[-1]}"
    return folder / f"{name}.gz"


def test_each_program_and_each_file_has_a_page_and_no_other(unpacked):
    for package, names in PAGES.items():
        found = {path.name[:-len(".gz")] for path in
                 (unpacked[package] / "usr/share/man").rglob("*.gz")}
        assert found == names


@pytest.mark.parametrize("name", sorted(set().union(*PAGES.values())))
def test_page_is_laid_out_without_a_warning(unpacked, name):
    package = "cloudservice" if name.startswith("cloudservice") else "cloudclient"
    shown = subprocess.run(
        ["man", "--warnings", "--encoding=UTF-8", "--local-file", page(unpacked, package, name)],
        capture_output=True, text=True, check=True,
        env={"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8", "MANWIDTH": "80", "MANROFFSEQ": ""})
    assert shown.stderr == ""
    headings = re.findall(r"(?m)^([A-Z].*)$", shown.stdout)
    assert headings[:3] == ["NAME", "SYNOPSIS", "DESCRIPTION"]


def test_page_of_the_service_has_every_option(unpacked):
    pages = page(unpacked, "cloudservice", "cloudservice.8")
    shown = subprocess.run(["man", "--local-file", pages], capture_output=True, text=True,
                           check=True).stdout
    for option in described(unpacked, "cloudservice").options:
        assert option.names[-1] in shown


# Completions

def described(unpacked, program):
    return describe([unpacked[PROGRAMS[program]] / "usr/bin" / program])


def every_command(program, path=()):
    yield path, program
    for command in program.commands:
        yield from every_command(command, (*path, command.name))


def completed_by_bash(script, words):
    """What bash offers for the last of the words."""
    quoted = " ".join(f"'{word}'" for word in words)
    shell = (f". '{script}'; COMP_WORDS=({quoted}); COMP_CWORD={len(words) - 1}; "
             f"_{words[0]}; printf '%s\\n' \"${{COMPREPLY[@]}}\"")
    return subprocess.run(["bash", "--norc", "-c", shell], check=True, capture_output=True,
                          text=True).stdout.split()


@pytest.mark.parametrize("program", sorted(PROGRAMS))
def test_bash_completes_every_command_and_option(unpacked, program):
    script = unpacked[PROGRAMS[program]] / "usr/share/bash-completion/completions" / program
    for path, command in every_command(described(unpacked, program)):
        offered = completed_by_bash(script, [program, *path, ""])
        wanted = [sub.name for sub in command.commands]
        wanted += [name for option in command.options for name in option.names]
        wanted += [choice for argument in command.positionals for choice in argument.choices]
        assert set(wanted) <= set(offered), path


def test_bash_completes_the_values_of_an_option(unpacked):
    script = unpacked["cloudclient"] / "usr/share/bash-completion/completions/cloudclientctl"
    for words, value in (("device raise --state F", "Fault"), ("--timeout 5 st", "status")):
        assert completed_by_bash(script, ["cloudclientctl", *words.split()]) == [value]


@pytest.mark.parametrize("program", sorted(PROGRAMS))
def test_zsh_has_every_command_and_option(unpacked, program):
    script = unpacked[PROGRAMS[program]] / "usr/share/zsh/vendor-completions" / f"_{program}"
    subprocess.run(["zsh", "-n", script], check=True)
    functions = re.split(r"(?m)^(_\w+)\(\) \{$", script.read_text())
    bodies = dict(zip(functions[1::2], functions[2::2]))
    for path, command in every_command(described(unpacked, program)):
        body = bodies["_" + "_".join([program, *path])]
        for option in command.options:
            for name in option.names:
                assert re.search(rf"'\*{name}=?\[", body), (path, name)
        for sub in command.commands:
            assert f"'{sub.name}:" in body and f" {sub.name}) " in body


# The service's options

def test_file_of_options_has_each_with_its_description_and_default(unpacked):
    content = (unpacked["cloudservice"] / "etc/cloudservice/cloudservice.conf").read_text()
    entries = {name: (re.sub(r"\s*\n?# ", " ", comment).strip(), value) for comment, name, value
               in re.findall(r"\n\n((?:# .*\n)+)#?([a-z-]+) = (.*)", content)}
    options = {option.names[-1][2:]: option
               for option in described(unpacked, "cloudservice").options}
    for name in ("help", "version", "config"):
        del options[name]
    assert entries.keys() == options.keys()
    for name, option in options.items():
        assert entries[name][0] == option.text
        if option.default and name != "db":
            assert entries[name][1] == option.default


def test_file_of_options_is_the_only_one_that_a_person_is_asked_about(packages):
    for name, conffiles in (("cloudclient", ""),
                            ("cloudservice", "/etc/cloudservice/cloudservice.conf\n")):
        shown = subprocess.run(["dpkg-deb", "--info", packages[name], "conffiles"],
                               capture_output=True, text=True, check=False)
        assert shown.stdout == conffiles
