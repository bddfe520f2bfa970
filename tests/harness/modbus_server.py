# SPDX-License-Identifier: Apache-2.0
"""A Modbus server of Debian's pymodbus, over what a file beside it says:

    python3 modbus_server.py REGISTERS tcp PORT
    python3 modbus_server.py REGISTERS rtu DEVICE

REGISTERS: {"1": {"holding": {"10": 17}, "input": {}, "coil": {}, "discrete": {}}}, by unit."""

import asyncio
import json
import os
import pathlib
import sys

from pymodbus.datastore import ModbusServerContext, ModbusSlaveContext
from pymodbus.datastore.store import BaseModbusDataBlock
from pymodbus.factory import ServerDecoder
from pymodbus.server import StartAsyncTcpServer
from pymodbus.transaction import ModbusRtuFramer

FILE = pathlib.Path(sys.argv[1])


class Block(BaseModbusDataBlock):
    """A table of a unit; each request reads the file."""

    def __init__(self, unit, table):
        self._unit, self._table = unit, table
        self.values, self.address, self.default_value = {}, 0, 0

    def _elements(self):
        return json.loads(FILE.read_text())[self._unit].get(self._table, {})

    def validate(self, address, count=1):
        elements = self._elements()
        return all(str(n) in elements for n in range(address, address + count))

    def getValues(self, address, count=1):
        elements = self._elements()
        with open(FILE.with_suffix(".requests"), "a", encoding="ascii") as requests:
            requests.write(f"{self._unit} {self._table} {address} {count}\n")
        return [elements[str(n)] for n in range(address, address + count)]

    def setValues(self, address, values):
        raise AssertionError("nothing is written to a device")


def unit(name):
    return ModbusSlaveContext(
        di=Block(name, "discrete"), co=Block(name, "coil"), hr=Block(name, "holding"),
        ir=Block(name, "input"), zero_mode=True)


def serve_line(context, path):
    """pymodbus's own serial server is not heard from on a pseudo-terminal."""
    framer = ModbusRtuFramer(ServerDecoder())
    line = os.open(path, os.O_RDWR | os.O_NOCTTY)

    def answer(request):
        response = request.execute(context[request.unit_id])
        response.unit_id = request.unit_id
        os.write(line, framer.buildPacket(response))
    while True:
        framer.processIncomingPacket(os.read(line, 256), answer, unit=context.slaves())


def main():
    units = {int(name): unit(name) for name in json.loads(FILE.read_text())}
    context = ModbusServerContext(slaves=units, single=False)
    if sys.argv[2] == "tcp":
        asyncio.run(StartAsyncTcpServer(
            context=context, address=("127.0.0.1", int(sys.argv[3])), allow_reuse_address=True,
            ignore_missing_slaves=True))
    else:
        serve_line(context, sys.argv[3])


main()
