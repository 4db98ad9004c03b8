"""The USB devices of both test machines: their descriptors, and their answers to control transfers
(USB 2.0, chapter 9)."""

import collections
import struct

APPLE = 0x05AC
CHIP = "CPID:8020 CPRV:11 CPFM:03 SCEP:01 BDID:0E ECID:{} IBFL:3C "
RECOVERY_SERIAL = CHIP + "SRNM:[F2LXXXXXXXXX]"
DFU_SERIAL = CHIP + "SRTG:[Loader-1.0]"
Identity = collections.namedtuple("Identity", "vendor product serial name")
DEVICES = {
    "recovery": Identity(APPLE, 0x1281, RECOVERY_SERIAL, "Apple Mobile Device (Recovery Mode)"),
    "dfu": Identity(APPLE, 0x1227, DFU_SERIAL, "Apple Mobile Device (DFU Mode)"),
    "other": Identity(0x1234, 0x5678, "1234", "Keyboard"),
    "hub": Identity(0x1D6B, 2, "", ""),
}

SETUP = struct.Struct("<BBHHH")
DEVICE_DESCRIPTOR = struct.Struct("<BBHBBBBHHHBBBB")
DEVICE, CONFIGURATION, STRING = 1, 2, 3  # types of descriptors
PRODUCT, SERIAL = 3, 4  # indexes of strings
US_ENGLISH = 0x0409
# One configuration with one interface of the class DFU, without further endpoints.
ONE_INTERFACE = bytes([9, 2, 18, 0, 1, 1, 0, 0xC0, 250, 9, 4, 0, 0, 0, 0, 0xFE, 1, 0, 0])


def make_identity(kind, ecid, **changes) -> Identity:
    """One of DEVICES, with its `changes`."""
    identity = DEVICES[kind]._replace(**changes)
    return identity._replace(serial=identity.serial and identity.serial.format(ecid))


class Device:
    """A plugged device. A device that comes back is a new object."""

    def __init__(self, port, identity):
        self.port = port
        self.faults = []  # [beginning of an operation, its result, how many more times]
        self.strings = {PRODUCT: identity.name, SERIAL: identity.serial}
        serial = 0 if identity.serial is None else SERIAL
        numbers = (18, DEVICE, 0x200, 0, 0, 0, 64, identity.vendor, identity.product, 0)
        descriptor = DEVICE_DESCRIPTOR.pack(*numbers, 0, PRODUCT, serial, 1)
        self.descriptors = {DEVICE: descriptor, CONFIGURATION: ONE_INTERFACE}

    def take_fault(self, operation) -> str:
        """The result of the operation: a fault, or ok."""
        for fault in self.faults:
            if operation.startswith(fault[0]) and fault[2] != 0:
                fault[2] -= 1
                return fault[1]
        return "ok"

    def control(self, setup, sent) -> tuple:
        """The operation of a control transfer, its result, and the answer."""
        kind, request, value, index, length = SETUP.unpack(setup)
        high, low = value >> 8, value & 0xFF
        operation, answer = f"control {setup.hex()}", None
        if (kind, request, high) == (0x80, 6, STRING):
            operation, answer = f"string:{low}", self._string(low, index)
        elif (kind, request) == (0x80, 6):
            operation, answer = f"descriptor:{high}", self.descriptors.get(high)
        elif (kind, request) == (0x80, 0):
            operation, answer = "status", b"\x01\x00"  # self-powered
        elif (kind, request) == (0x00, 9):
            operation, answer = "configure", b""
        elif (kind, request, value, index) == (0x40, 0, 0, 0) and sent.endswith(b"\0"):
            operation, answer = sent[:-1].decode("latin-1"), b""
        if answer is None:
            return operation, "stall", b""
        return operation, self.take_fault(operation), answer[:length]

    def _string(self, number, language) -> bytes:
        if number == 0:
            encoded = US_ENGLISH.to_bytes(2, "little")
        elif language == US_ENGLISH and self.strings.get(number) is not None:
            encoded = self.strings[number].encode("utf-16-le")
        else:
            return None
        return bytes([len(encoded) + 2, STRING]) + encoded
