"""Finding devices, and reading their properties without opening them."""

import plistlib

from support.program import FOUND, error
from support.scenario import ECID
from usb.emulator import Emulator
from usb.machine import EXIT_RECOVERY, INFO, UsbTest


class DiscoveryTest(UsbTest):
    make_machine = Emulator

    def test_lists_none_one_and_fourteen(self):
        self.assert_listed()
        self.usb.add("1-1")
        self.assert_listed(ECID)
        ecids = [f"{number * 0x1111111111111111:016X}" for number in range(13, 0, -1)]
        for port, ecid in enumerate(ecids, start=2):
            self.usb.add(f"1-{port}", ("dfu", "recovery")[port % 2], ecid=ecid)
        self.assert_listed(*sorted([ECID, *ecids]))

    def test_ignores_other_devices(self):
        self.usb.add("1-1", "other")
        self.usb.add("1-2", "other", vendor=0x05AC, serial="ECID:{}")  # an Apple keyboard
        self.usb.add("1-3", product=0x1284)
        self.usb.add("1-4", "other", product=0x1281, serial="ECID:{}")
        self.usb.add("2-1", "dfu", ecid="00000000000000AA")
        self.assert_listed("00000000000000AA")
        self.assertEqual(self.usb.seen, [])

    def test_prints_the_properties(self):
        other = "00000000000000AA"
        self.usb.add("2-1.3")
        self.usb.add("2-17.4.15.1.2.3.5", "dfu", ecid=other)
        chip = {"BoardID": 0x0E, "ChipID": 0x8020, "FusingInfo": 3, "ProductType": 0}
        usb = {"ProductID": 0x1281, "ProductString": "Apple Mobile Device (Recovery Mode)"}
        own = {"ECID": ECID, "LocationID": 0x02130000, "SerialNumber": "F2LXXXXXXXXX"}
        self.assertEqual(self.info(ECID), chip | usb | own)
        usb = {"ProductID": 0x1227, "ProductString": "Apple Mobile Device (DFU Mode)"}
        own = {"ECID": other, "LocationID": 0x0214F123}
        self.assertEqual(self.info(other), chip | usb | own)
        self.assertEqual(self.usb.seen, [])

    def test_product_determines_the_mode(self):
        reason = "Device in state DFU not valid for exit-recovery"
        products = (0x1222, 0x1227, 0x1280, 0x1281, 0x1282, 0x1283)
        for port, product in enumerate(products, start=1):
            with self.subTest(f"{product:x}"):
                self.usb.add(f"1-{port}", product=product, ecid=f"{product:016X}")
                dfu = product < 0x1280
                result = self.run_program(*EXIT_RECOVERY, f"{product:016X}", status=5 if dfu else 0)
                expected = error(5, reason) if dfu else ("CommandSuccess", True)
                self.assertEqual(result.messages, [expected])

    def test_requests_strings_missing_in_sysfs(self):
        """A device that hangs delays no other device, and is reported too. So are two devices with
        the same ECID."""
        self.usb.add("1-1", sysfs=False, ecid="0000000000000011")
        self.usb.fault("1-1", "string", "hang", count=-1)
        self.usb.add("1-2", sysfs=False)
        self.assertEqual(self.info(ECID)["SerialNumber"], "F2LXXXXXXXXX")
        self.assertEqual(self.info(ECID)["ProductString"], "Apple Mobile Device (Recovery Mode)")
        asked = ["open -> ok", "string:4 -> ok", "string:3 -> ok"]
        self.assertEqual(self.usb.seen_by("1-2"), asked * 2)
        self.usb.add("1-3", "dfu")
        process = self.start("--debug", *INFO, "00000000000000AA")
        adding = f"Adding '{ECID}'"
        self.assertTrue(self.read_until(process, adding, adding))
        nobody = "Ignoring AMRestorableDevice with invalid ECID"
        self.assertTrue(self.read_until(process, nobody), "it was given up")
        self.usb.add("1-4", ecid="00000000000000AA")
        self.finish(process)

    def test_offers_no_restore(self):
        self.usb.add("1-1")
        options = self.directory / "options.plist"
        options.write_bytes(plistlib.dumps({}))
        line = ("--restore-plist", str(options), *FOUND, "--ecid", ECID)
        [(kind, value)] = self.run_program(*line).messages
        text = "Restoring over USB is not offered on Linux; restore this device on a Mac"
        failure = {"Domain": "MobileDeviceUSB", "Code": 0x55534207, "Description": text}
        expected = {"Operation": 0, "Progress": 100, "Status": "Failed", "Error": failure}
        self.assertEqual((kind, value), ("RestoreStatus", expected))
