#!/usr/bin/env python3
"""A Low Energy controller on /dev/vhci in whose air beacons advertise.

usage: virtual_controller.py BEACONS PER_SECOND

Every second beacon advertises its service data instead of its identity. Like a strict chip the
controller leaves repetitions out when it is told to filter duplicates. Each end of a scan writes one
line: kind, filter, advertisements that were passed on and left out.
"""

import math
import os
import select
import struct
import sys
import time
import uuid

PROXIMITY_UUID = uuid.UUID("e2c56db5-dffb-48d2-b060-d0f5a71096e0").bytes
COMMAND, EVENT = 1, 4
VENDOR = 0xFF
COMMAND_COMPLETE, LE_META = 0x0E, 0x3E

READ_LOCAL_VERSION = 0x1001
READ_COMMANDS = 0x1002
READ_FEATURES = 0x1003
READ_EXTENDED_FEATURES = 0x1004
READ_BUFFER_SIZE = 0x1005
READ_ADDRESS = 0x1009
READ_NAME = 0x0C14
LE_READ_BUFFER_SIZE = 0x2002
LE_READ_FEATURES = 0x2003
LE_READ_ADVERTISING_POWER = 0x2007
LE_SET_SCAN_PARAMETERS = 0x200B
LE_SET_SCAN_ENABLE = 0x200C
LE_READ_ACCEPT_LIST_SIZE = 0x200F
LE_RANDOM = 0x2018
LE_READ_STATES = 0x201C

# Which commands there are: octet of the list, bits. Disconnect and the events' masks, reset, the
# reading of what the controller is, and the Low Energy set.
COMMANDS = {5: 0xC0, 10: 0x04, 14: 0xA8, 15: 0x02, 25: 0xFF, 26: 0xFF, 27: 0xFF, 28: 0x7F}
LOW_ENERGY_ONLY = 0x60
BLUETOOTH_5_0 = 9

ANSWERS = {
    READ_LOCAL_VERSION: struct.pack("<BHBHH", BLUETOOTH_5_0, 0, BLUETOOTH_5_0, 0x05F1, 0),
    READ_COMMANDS: bytes(COMMANDS.get(octet, 0) for octet in range(64)),
    READ_FEATURES: bytes([0, 0, 0, 0, LOW_ENERGY_ONLY, 0, 0, 0]),
    READ_EXTENDED_FEATURES: bytes(10),
    READ_BUFFER_SIZE: bytes(7),
    READ_ADDRESS: bytes.fromhex("4200000001aa"),
    READ_NAME: bytes(248),
    LE_READ_BUFFER_SIZE: struct.pack("<HB", 251, 8),
    LE_READ_FEATURES: bytes(8),
    LE_READ_ADVERTISING_POWER: bytes(1),
    LE_READ_ACCEPT_LIST_SIZE: b"\x08",
    LE_RANDOM: os.urandom(8),
    LE_READ_STATES: bytes.fromhex("ffffffffff030000"),
}


class Controller:
    def __init__(self, beacons, per_second):
        self.beacons, self.per_second = beacons, per_second
        self.device = os.open("/dev/vhci", os.O_RDWR)
        os.write(self.device, bytes([VENDOR, 0]))
        os.read(self.device, 4096)
        self.scanning, self.filters, self.active = False, False, False
        self.reported, self.passed, self.left_out, self.sent = set(), 0, 0, 0

    def run(self):
        begin = time.monotonic()
        pace = self.beacons * self.per_second
        while True:
            due = begin + self.sent / pace - time.monotonic()
            if due <= 0:
                self.advertise(self.sent % self.beacons)
                self.sent += 1
            if select.select([self.device], [], [], max(0, min(due, 0.2)))[0]:
                packet = os.read(self.device, 4096)
                if packet[0] == COMMAND:
                    self.command(struct.unpack_from("<H", packet, 1)[0], packet[4:])

    def command(self, code, parameters):
        if code == LE_SET_SCAN_PARAMETERS:
            self.active = bool(parameters[0])
        if code == LE_SET_SCAN_ENABLE:
            self.scan(bool(parameters[0]), bool(parameters[1]))
        answer = b"\x01" + struct.pack("<HB", code, 0) + ANSWERS.get(code, b"")
        os.write(self.device, bytes([EVENT, COMMAND_COMPLETE, len(answer)]) + answer)

    def scan(self, scanning, filters):
        if self.scanning and not scanning:
            kind = "active" if self.active else "passive"
            filter_text = "filter on" if self.filters else "filter off"
            print(kind, filter_text, "passed", self.passed, "left out", self.left_out, flush=True)
        self.scanning, self.filters = scanning, filters
        self.reported, self.passed, self.left_out = set(), 0, 0

    def advertise(self, number):
        if not self.scanning:
            return
        if self.filters and number in self.reported:
            self.left_out += 1
            return
        self.reported.add(number)
        self.passed += 1
        data = bytes.fromhex("020106")
        if number % 2 == 0:
            identity = PROXIMITY_UUID + struct.pack(">HHb", 1, number, -59)
            data += bytes.fromhex("1aff4c000215") + identity
        else:
            data += bytes.fromhex("03030dd0" + "0a160dd0") + b"BK%02d\0\0" % number + b"\x57"
        strength = int(-65 + 20 * math.sin(time.monotonic() / 3 + number))
        address = bytes([number, 0, 0, 0, 0, 0xC0])
        report = b"\x02\x01\x03\x01" + address + bytes([len(data)]) + data
        report += struct.pack("b", strength)
        os.write(self.device, bytes([EVENT, LE_META, len(report)]) + report)


if __name__ == "__main__":
    Controller(int(sys.argv[1]), float(sys.argv[2])).run()
