"""Devices with unusual descriptors."""

import fcntl
import os
import struct

from kernel.kernel_test import KernelTest, without_charging_driver
from support.program import wait_until
from support.scenario import ECID
from usb.machine import BUSY, INFO, LEFT, PLACES, STAY_IN_RECOVERY

CLAIM, RESET = 0x8004550F, 0x5514  # linux/usbdevice_fs.h
LONG = "CPID:8020 ECID:00000000000000A1 SRNM:["
LONG += "x" * (125 - len(LONG)) + "]"  # 126 characters, the most that a descriptor holds
FOUND_SERIALS = {
    "00000000000000A1": LONG,
    "00000000000000A2": "ECID:00000000000000a2",
    "00000000000000A3": "ECID:00000000000000A3 ECID:00000000000000B3",
    "00000000000000A4": "SRNM:[F\u00fc\U0001f642] ECID:00000000000000A4",
}
IGNORED_SERIALS = [None, "", "CPID:8020 SRNM:[F2LXXXXXXXXX]", "\u00fc\U0001f642", "ECID:"]
IGNORING = "Ignoring AMRestorableDevice with invalid ECID"


class DescriptorsTest(KernelTest):
    def test_odd_serial_strings(self):
        serials = [*FOUND_SERIALS.values(), *IGNORED_SERIALS]
        for port, serial in zip(PLACES, serials):
            self.usb.add(port, serial=serial)
        process = self.start("--debug", *INFO, "00000000000000FF")
        adding = [f"Adding '{ecid}'" for ecid in FOUND_SERIALS]
        self.assertTrue(self.read_until(process, *adding, *[IGNORING] * len(IGNORED_SERIALS)))
        self.usb.add("1-14", ecid="00000000000000FF", name="Ger\u00e4t \U0001f642")
        [(_, value)] = self.finish(process).messages
        self.assertEqual(value["ProductString"], "Ger\u00e4t \U0001f642")
        self.assertEqual(self.info("00000000000000A1")["SerialNumber"], LONG[38:-1])
        self.assertEqual(self.info("00000000000000A4")["SerialNumber"], "F\u00fc\U0001f642")

    def test_slow_or_failing_string_requests(self):
        """The kernel waits five seconds for a string, the program two."""
        slow = ["string:4", "slow 4", 1]
        process = self.start_waiting()
        self.usb.add("1-1", ecid="00000000000000A1", faults=[["string", "stall", -1]])
        self.usb.add("5-1", ecid="00000000000000A2", sysfs=False, faults=[slow])
        self.usb.add("3-1", ecid="00000000000000A3", faults=[slow])
        self.usb.add("7-1", ecid="00000000000000A4", sysfs=False)
        found = ("Adding '00000000000000A3'", "Adding '00000000000000A4'")
        self.assertTrue(self.read_until(process, *found, IGNORING, IGNORING))
        self.usb.add("1-4")
        self.finish(process)
        self.assert_succeeds(STAY_IN_RECOVERY, "00000000000000A4")

    def test_no_configuration(self):
        self.usb.add("1-1", faults=[["configure", "stall", -1]])
        self.assert_succeeds(STAY_IN_RECOVERY)
        self.assertEqual(self.usb.attribute("1-1", "bConfigurationValue"), "")

    def test_claimed_or_reset_device(self):
        self.usb.add("1-1")
        self.usb.wait_for("1-1")
        with open(self.usb.node("1-1"), "rb+", buffering=0) as node:
            fcntl.ioctl(node, CLAIM, struct.pack("I", 0))
            self.assert_refused(BUSY)
        number = self.usb.attribute("1-1", "devnum")
        with open(self.usb.node("1-1"), "rb+", buffering=0) as node:
            fcntl.ioctl(node, RESET)  # the kernel enumerates it again, with the same numbers
        self.assert_succeeds(STAY_IN_RECOVERY)
        self.assertEqual(self.usb.attribute("1-1", "devnum"), number)

    def test_two_devices_with_one_ecid(self):
        """One of them gets all commands."""
        self.usb.add("1-1")
        self.usb.add("3-1")
        self.usb.wait_for("1-1")
        self.usb.wait_for("3-1")
        self.usb.seen.clear()
        self.assert_succeeds(STAY_IN_RECOVERY)
        ports = {line.split()[0] for line in self.usb.seen}
        self.assertEqual((len(ports), len(self.usb.seen)), (1, 2))

    def test_suspended_device(self):
        with without_charging_driver():
            self.usb.add("1-1")
            self.usb.suspend("1-1")
            # The hub may wake the device, too, but then only once.
            wait_until(lambda: self.info(ECID) and self.usb.is_suspended("1-1"))
            self.assert_succeeds(STAY_IN_RECOVERY)
            self.usb.suspend("1-1")
            # The kernel asks a suspended device for its status when a program opens it.
            self.usb.fault("1-1", "status", "stall-and-leave")
            self.assert_refused(LEFT)
