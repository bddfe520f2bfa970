# SPDX-License-Identifier: Apache-2.0
"""Values of Modbus units: Debian's pymodbus, over TCP and on a serial line."""

import pytest

from harness.modbus import Cable, Units, words


@pytest.fixture
def units(folder, under_watch):
    return under_watch(Units(folder))


@pytest.fixture
def cable():
    line = Cable()
    yield line
    line.close()


def source(address, **more):
    return {"plc": {"Type": "modbus", "Address": address, "TimeoutSeconds": 1, "Retries": 0, **more}}


def point(number, register, name="", **more):
    own = {key: more.pop(key) for key in list(more)
           if key in ("Table", "Format", "WordOrder", "Bit", "UnitId")}
    return {"Id": number, "Name": name or f"p{number}", **more,
            "Source": {"From": "plc", "Register": register, **own}}


def fill(units):
    high = words("f", 23.5)
    units.has(1, "holding", r10=235, r11=65535, r12=high[0], r13=high[1], r14=high[1], r15=high[0],
              r20=0x8002)
    units.has(1, "input", r0=words("i", -70000)[0], r1=words("i", -70000)[1])
    units.has(1, "coil", r5=1)
    units.has(1, "discrete", r6=0)


POINTS = [point(1, 10, Scale=0.1, Decimals=1), point(2, 11, Format="int16"),
          point(3, 12, Format="float32", Decimals=1),
          point(4, 14, Format="float32", WordOrder="little", Decimals=1),
          point(5, 20, Bit=15, States={"1": "On", "0": "Off"}),
          point(6, 0, Table="input", Format="int32"), point(7, 5, Table="coil"),
          point(8, 6, Table="discrete")]
VALUES = {"p1": "23.5", "p2": "-1", "p3": "23.5", "p4": "23.5", "p5": "On", "p6": "-70000", "p7": "1",
          "p8": "0"}


def test_registers_and_coils_of_a_host_are_values(units, runs, values):
    fill(units)
    units.start()
    runs({"Sources": source(units.address), "Points": POINTS})
    values(**VALUES)
    assert {"1 holding 10 6", "1 holding 20 1", "1 input 0 2", "1 coil 5 1",
            "1 discrete 6 1"} == set(units.requests)
    units.has(1, "holding", r10=17)
    values(p1="1.7")


def test_registers_and_coils_of_a_line_are_values(root, units, cable, runs, values):
    fill(units)
    units.start(cable.paths[0])
    (root / "dev").mkdir()
    (root / "dev/ttyS1").symlink_to(cable.paths[1])
    runs({"Sources": {"plc": {"Type": "modbus", "Device": "/dev/ttyS1", "Baud": 19200,
                              "TimeoutSeconds": 2}}, "Points": POINTS})
    values(**VALUES)


def test_register_that_is_not_there_costs_its_own_point(daemon, units, runs, values):
    units.has(1, "holding", r1=11, r3=13)
    units.start()
    runs({"Sources": source(units.address), "Points": [point(1, 1), point(2, 2), point(3, 3)]})
    values(p1="11", p2="", p3="13")
    daemon.logs("point 2 has no value: Illegal data address")
    units.has(1, "holding", r2=12)
    values(p2="12")


def test_silent_unit_costs_its_own_points(daemon, units, runs, values):
    units.has(1, "holding", r1=11)
    units.start()
    runs({"Sources": source(units.address),
          "Points": [point(1, 1), point(2, 1, UnitId=7), point(3, 1, UnitId=255)]})
    values(p1="11", p2="", p3="")
    daemon.logs("point 2 has no value: Connection timed out")
    units.has(1, "holding", r1=12)
    values(p1="12")
    assert not daemon.logged("does not answer")


def test_host_that_goes_is_one_message_until_it_comes_back(daemon, units, runs, values):
    units.has(1, "holding", r1=11)
    units.start()
    runs({"Sources": source(units.address), "Points": [
        point(1, 1), {"Id": 99, "Name": "p99", "Source": {
            "Type": "command", "Command": ["/bin/echo", "7"]}}]})
    values(p1="11", p99="7")
    with units.held():
        daemon.logs("source plc does not answer: Connection timed out")
        values(p1="", p99="7")
    daemon.logs("source plc answers again")
    units.crash()
    values(p1="")
    units.start()
    values(p1="11")
    assert len(daemon.logged("source plc does not answer")) == 2
