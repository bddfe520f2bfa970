# SPDX-License-Identifier: Apache-2.0
"""cloudclientctl device init: a device from what a source offers."""

import json

import pytest

from harness.controller import PASSWORD, Controller
from harness.controller import USER as KEEPER
from harness.modbus import Units
from harness.process import clock
from harness.snmp import COMMUNITY, OBJECTS, USER, Agent, credentials

DATA = "var/local/orv/pldserver/0"


@pytest.fixture
def chips(root):
    """Two chips of this machine."""
    def chip(number, name, **files):
        folder = root / "sys/class/hwmon" / f"hwmon{number}"
        folder.mkdir(parents=True)
        for file, text in {"name": name, **files}.items():
            (folder / file).write_text(f"{text}\n")
    chip(0, "coretemp", temp1_input=45500, temp1_label="Package id 0", temp2_input=44000)
    chip(1, "nct6775", fan1_input=900, in0_input=1200, power1_input=35000000, humidity1_input=50500)


@pytest.fixture
def agent(folder, under_watch):
    return under_watch(Agent(folder))


@pytest.fixture
def controller(root, daemon):
    credentials(root / "etc/cloudclient", "bmc.json", User=KEEPER, Password=PASSWORD)
    server = Controller()
    yield server
    server.close()


@pytest.fixture
def units(folder, under_watch):
    return under_watch(Units(folder))


@pytest.fixture
def inits(ctl, daemon, root):
    """Makes the device; its description, in which nothing is found, with map and pages."""
    def make(*arguments):
        told = ctl.tells("device", "init", *arguments)
        description = root / "etc/cloudclient/device.json"
        data = root / DATA / "1/0/0"
        assert ctl.does("device", "check", str(description)) == f"{description}: nothing found\n"
        patches = data / "covpatchmap.txt"
        assert ctl.does("map", "check", str(patches)) == f"{patches}: nothing found\n"
        json.loads((data / "cloudchassis.txt").read_text())
        device = json.loads(description.read_text())
        assert told["points"] == len(device["Points"])
        assert f"{data / 'README.md'}" in told["files"]
        return device
    return make


@pytest.fixture
def runs_as_made(daemon):
    """Starts a disabled daemon, whose engine runs all the same. What sources wait for is real."""
    def start():
        daemon.disable()
        daemon.start(clock(1))
    return start


def files_of(root):
    return {str(path.relative_to(root)): path.read_bytes()
            for path in root.rglob("*") if path.is_file()}


def test_chips_of_the_machine_become_a_device(chips, inits, device, daemon, runs_as_made, values):
    device.file.unlink()
    made = inits("hwmon", "--label", "Server 3")
    assert made["Label"] == "Server 3"
    assert sorted(made["Sources"]) == ["coretemp", "nct6775"]
    runs_as_made()
    values(package_id_0="45.5", temp2="44.0", fan1="900", in0="1.200", power1="35.0",
           humidity1="50.5")
    assert not daemon.logged("has no value") and not daemon.logged("device.json")


def test_files_that_are_there_are_left_unless_told(ctl, root, chips, daemon):
    ctl.does("device", "init", "hwmon")
    before = files_of(root)
    description = root / "etc/cloudclient/device.json"
    assert ctl.refuses(1, "device", "init", "hwmon", "--label", "new") == (
        f"{description}: File exists: --force replaces it; nothing is written")
    assert files_of(root) == before
    ctl.does("device", "init", "hwmon", "--label", "new", "--force")
    assert json.loads(description.read_text())["Label"] == "new"


def test_failure_leaves_no_file(ctl, root, chips, daemon):
    before = files_of(root)
    (root / DATA).parent.mkdir(parents=True)
    (root / DATA).write_text("no folder")
    assert "Not a directory" in ctl.refuses(1, "device", "init", "hwmon")
    (root / DATA).unlink()
    assert files_of(root) == before


def test_files_go_into_one_folder(ctl, root, folder, chips, daemon):
    before = files_of(root)
    ctl.does("device", "init", "hwmon", "--chip", "coretemp", "--to", str(folder / "trial"))
    assert sorted(files_of(folder / "trial")) == [
        "README.md", "cloudchassis.txt", "covpatchmap.txt", "device.json", "patch/thermal.txt"]
    assert files_of(root) == before


@pytest.mark.parametrize("arguments, message", [
    (("hwmon", "--chip", "none"), 'no chip "none" has a sensor'),
    (("hwmon", "--sequence", "1.x"), '"ProductSequenceId"'),
    (("modbus", "[::1", "--table", "t.csv"), '[::1: "Address" is no host'),
    (("modbus", "127.0.0.1", "--table", "none.csv"), "none.csv: No such file"),
    (("modbus", "127.0.0.1", "--table", "t.csv", "--baud", "9600"),
     '127.0.0.1: "Baud" goes with a "Device" alone'),
    (("modbus", "127.0.0.1", "--table", "bad.csv"), 'bad.csv: line 3: "Table" is none of holding'),
    (("snmp", "127.0.0.1:1", "--credentials", "x"), '"Credentials" is not an absolute path'),
    (("snmp", "127.0.0.1:1", "--credentials", "/nowhere.json"), "/nowhere.json: No such file"),
    (("snmp", "127.0.0.1", "--credentials", "/x", "--oid", "sysUpTime"),
     '"sysUpTime" is no object identifier'),
])
def test_bad_input_is_one_message(ctl, root, folder, chips, daemon, arguments, message):
    (folder / "t.csv").write_text("Name,Register\na,1\n")
    (folder / "bad.csv").write_text("Name,Register,Table\na,1,\nb,2,outputs\n")
    before = files_of(root)
    assert message in ctl.refuses(1, "device", "init", *arguments)
    assert files_of(root) == before


def test_serial_line_is_described(ctl, folder, daemon):
    (folder / "t.csv").write_text("Name,Register\na,1\n")
    ctl.does("device", "init", "modbus", "/dev/ttyUSB0", "--baud", "19200", "--parity", "none",
             "--stop-bits", "2", "--table", "t.csv", "--to", "line")
    (line,) = json.loads((folder / "line/device.json").read_text())["Sources"].values()
    assert line == {"Type": "modbus", "Device": "/dev/ttyUSB0", "Baud": 19200, "Parity": "none",
                    "StopBits": 2}
    assert "--parity" in ctl.refuses(
        2, "device", "init", "modbus", "/dev/ttyUSB0", "--table", "t.csv", "--parity", "odd?")


def test_registers_of_a_table_become_a_device(
        inits, device, daemon, folder, units, runs_as_made, values):
    units.has(1, "holding", r10=235, r11=1)
    units.has(2, "input", r0=65535)
    units.start()
    table = folder / "registers.csv"
    table.write_text("# a cooling unit\n"
                     "Name, Register, Unit, Decimals, Scale, UnitId, Table, Format, States\n"
                     "Supply, 10, degC, 1, 0.1\n"
                     "Mode, 11, , , , , , , 0=Off; 1=Cooling\n"
                     "Offset, 0, , , , 2, input, int16\n")
    device.file.unlink()
    inits("modbus", units.address, "--table", str(table), "--label", "Cooling unit")
    runs_as_made()
    values(supply="23.5", mode="Cooling", offset="-1")


@pytest.mark.parametrize("version", ["2c", "3"])
def test_numbers_below_an_identifier_become_a_device(
        inits, device, root, agent, daemon, runs_as_made, values, version):
    keys = {"Community": COMMUNITY} if version == "2c" else USER
    credentials(root / "etc/cloudclient", "pdu.json", **keys)
    agent.has(o1=("integer", 17), o2=("string", "a text"), o3=("gauge", 4000000000))
    agent.start()
    device.file.unlink()
    made = inits("snmp", agent.address, "--snmp-version", version, "--oid", OBJECTS,
                 "--credentials", "/etc/cloudclient/pdu.json")
    for secret in keys.values():
        assert secret not in json.dumps(made) or secret in ("SHA-256", "AES")
    runs_as_made()
    values(object_1="17", object_3="4000000000")


def test_sensors_of_an_agent_come_with_units_and_names(
        inits, device, root, agent, daemon, runs_as_made, values):
    credentials(root / "etc/cloudclient", "pdu.json", Community=COMMUNITY)
    agent.has_sensor(1, "Inlet", kind=8, scale=9, precision=1, value=235)
    agent.has_sensor(2, "Input", kind=6, scale=10, precision=0, value=2)
    agent.start()
    device.file.unlink()
    made = inits("snmp", agent.address, "--snmp-version", "2c", "--credentials",
                 "/etc/cloudclient/pdu.json")
    assert [(point["Unit"], point.get("Decimals")) for point in made["Points"]] == [
        ("degC", 1), ("W", None)]
    runs_as_made()
    values(inlet="23.5", input="2000")


def test_readings_of_a_controller_become_a_device(
        inits, device, daemon, controller, runs_as_made, values):
    device.file.unlink()
    made = inits("redfish", controller.url, "--credentials", "/etc/cloudclient/bmc.json")
    assert {point["Name"]: point.get("Unit") for point in made["Points"]} == {
        "cpu1_temp": "degC", "fan1": "rpm", "point_1003": "W", "inlet": "degC"}
    assert PASSWORD not in json.dumps(made)
    runs_as_made()
    values(cpu1_temp="41.5", fan1="5400", point_1003="344", inlet="22.2")
    assert PASSWORD not in daemon.error_text()


def test_wrong_password_of_a_controller_is_said_without_it(ctl, root, daemon, controller):
    credentials(root / "etc/cloudclient", "bmc.json", User=KEEPER, Password="wrong-secret")
    said = ctl.refuses(1, "device", "init", "redfish", controller.url, "--credentials",
                       "/etc/cloudclient/bmc.json")
    assert "its controller refuses the credentials" in said and "wrong-secret" not in said


def test_agent_without_sensors_is_told_what_to_do(ctl, root, agent, daemon):
    credentials(root / "etc/cloudclient", "pdu.json", Community=COMMUNITY)
    agent.start()
    assert "name the object below which its numbers are" in ctl.refuses(
        1, "device", "init", "snmp", agent.address, "--snmp-version", "2c", "--credentials",
        "/etc/cloudclient/pdu.json")
