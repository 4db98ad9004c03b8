"""Devices that arrive and leave while the program waits."""

import re

from support.scenario import ECID
from usb.devices import APPLE
from usb.emulator import Emulator
from usb.machine import INFO, UsbTest

PAIRS = 120
# A socket has room for ten uevents, and umockdev fails if it is full. So every third device stays
# until the program has seen it.
PAIRS_UNSEEN = 3
NEIGHBOUR = "0000000000000099"


class HotplugTest(UsbTest):
    make_machine = Emulator

    def test_finds_one_of_many_devices(self):
        self.usb.add("1-9", ecid=NEIGHBOUR)
        process = self.start("--debug", *INFO, ECID)
        # libusb leaks a device that leaves while libusb starts; the address sanitizer reports that.
        self.assertTrue(self.read_until(process, f"Adding '{NEIGHBOUR}'"))
        self.usb.add("1-8", "other", vendor=APPLE)  # devices plugged in after it are still found
        for pair in range(1, PAIRS + 1):
            port = f"2-{pair % 4 + 1}"
            self.usb.add(port, ("recovery", "dfu")[pair % 2], ecid=f"{pair:016X}")
            if pair % PAIRS_UNSEEN == 0:
                self.assertTrue(self.read_until(process, f"Adding '{pair:016X}'"))
            self.usb.remove(port)
        self.usb.remove("1-9")
        self.usb.add("1-1")
        result = self.finish(process)
        [(kind, value)] = result.messages
        self.assertEqual((kind, value["ECID"]), ("DeviceInfo", ECID))
        came = re.findall(r"Adding '(\w+)'", result.stderr)
        left = re.findall(r"Removing '(\w+)'", result.stderr)
        self.assertEqual((came[-1:], left[-1:]), ([ECID], [NEIGHBOUR]))
        self.assertEqual(sorted(came), sorted([*left, ECID]))
