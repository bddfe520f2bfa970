# SPDX-License-Identifier: Apache-2.0
"""Values that come from modules of sources: chips and programs of the machine."""

import os


def program(folder, name, text):
    path = folder / name
    path.write_text(f"#!/bin/sh\n{text}\n")
    path.chmod(0o755)
    return str(path)


def chip(root, number, name, **files):
    folder = root / "sys" / "class" / "hwmon" / f"hwmon{number}"
    folder.mkdir(parents=True)
    (folder / "name").write_text(f"{name}\n")
    for file, text in files.items():
        (folder / file).write_text(f"{text}\n")
    return folder


def test_sensor_of_a_chip_is_found_under_its_new_number(daemon, root, runs, values):
    first = chip(root, 0, "coretemp", temp1_input=45000, temp1_label="Package id 0")
    runs({"Points": [{"Id": 1, "Name": "cpu", "Decimals": 1, "Source": {
        "Type": "hwmon", "Chip": "coretemp", "Label": "Package id 0"}}]})
    values(cpu="45.0")
    os.rename(first, first.with_name("hwmon4"))
    (first.with_name("hwmon4") / "temp1_input").write_text("51500\n")
    values(cpu="51.5")
    assert not daemon.logged("does not answer")[1:]


def test_programs_that_hang_flood_and_fail_cost_their_own_points(daemon, folder, runs, values):
    def point(number, name, words, **more):
        return {"Id": number, "Name": name, **more, "Source": {
            "Type": "command", "Command": words, "TimeoutSeconds": 1}}
    good = program(folder, "good", "echo 17")
    runs({"Points": [
        point(1, "good", [good], States={"17": "Ready"}),
        point(2, "hangs", [program(folder, "hangs", "echo 5; sleep 1000")]),
        point(3, "floods", [program(folder, "floods", "cat /dev/zero")]),
        point(4, "fails", [program(folder, "fails", "echo 5; exit 3")]),
        point(5, "nowhere", ["/nowhere/program"])]})
    values(good="Ready", hangs="", floods="", fails="", nowhere="")
    for reason in ("does not end within 1 s", "writes more than 1048576 bytes",
                   "ended with status 3", "cannot be started: No such file or directory"):
        daemon.logs(f"does not answer: {reason}")
    program(folder, "fails", "echo 6")
    values(fails="6", good="Ready")
    daemon.logs("answers again")


def test_pointers_share_one_run_of_a_program(folder, runs, values):
    tool = program(folder, "ups", "echo x >> runs; echo '{\"battery\": {\"charge\": 87}, "
                   "\"status\": \"on \\\\\"line\\\\\"\"}'".replace("runs", str(folder / "runs")))
    runs({"PollSeconds": 86400, "Sources": {"ups": {"Type": "command", "Command": [tool]}},
          "Points": [
              {"Id": 1, "Name": "charge", "Scale": 0.01, "Decimals": 2,
               "Source": {"From": "ups", "Pointer": "/battery/charge"}},
              {"Id": 2, "Name": "status", "Source": {"From": "ups", "Pointer": "/status"}}]})
    values(charge="0.87", status="on 'line'")
    assert (folder / "runs").read_text() == "x\n"


def test_missing_module_is_one_message(daemon, runs, values):
    runs({"Sources": {"a": {"Type": "nowhere"}, "b": {"Type": "nowhere"}}, "Points": [
        {"Id": 1, "Name": "lost", "Value": "7", "Source": {"From": "a", "Oid": "1"}},
        {"Id": 2, "Name": "gone", "Source": {"From": "b"}}, {"Id": 3, "Name": "set", "Value": "5"}]})
    values(lost="", gone="", set="5")
    assert len(daemon.logged('sources of the type "nowhere" are not read')) == 1


def test_module_that_a_device_file_cannot_reach_is_not_loaded(daemon, folder, runs, values):
    (folder / "evil.so").write_text("")
    runs({"Points": [{"Id": 1, "Name": "lost", "Source": {"Type": f"../../..{folder}/evil"}}]})
    values(lost="")
    daemon.logs('"Type" in "Source" of "Points"[0] names no kind of source')


def test_program_that_hangs_does_not_hold_the_end(daemon, folder, runs):
    runs({"Points": [{"Id": 1, "Source": {
        "Type": "command", "Command": [program(folder, "hangs", f"touch {folder}/begun; sleep 1000")],
        "TimeoutSeconds": 3600}}]})
    daemon.wait_until((folder / "begun").exists, "the program")
    daemon.stop()
