"""Which devices are found, and what is known of them without opening any."""

import plistlib

from support.program import PATIENCE, error
from usb.machine import ECID, EXIT_RECOVERY, INFO, UsbTest


class DiscoveryTest(UsbTest):
    def info(self, ecid, **options) -> dict:
        [(kind, value)] = self.run_program(*INFO, ecid, **options).messages
        self.assertEqual(kind, "DeviceInfo")
        return value

    def test_lists_none_one_and_twelve(self):
        self.assert_listed()
        self.usb.add("1-1")
        self.assert_listed(ECID)
        ecids = [f"{number * 0x1555555555555555:016X}" for number in range(11, 0, -1)]
        for port, ecid in enumerate(ecids, start=2):
            self.usb.add(f"1-{port}", ("dfu", "recovery")[port % 2], ecid=ecid)
        self.assert_listed(*sorted([ECID, *ecids]))

    def test_opens_nothing_and_ignores_strangers(self):
        self.usb.add("1-1", "other")
        self.usb.add("1-2", "other", vendor=0x05AC, serial="ECID:{}")  # a keyboard of Apple's
        self.usb.add("1-3", product=0x1284)
        self.usb.add("1-4", "other", product=0x1281, serial="ECID:{}")
        self.usb.add("2-1", "dfu", ecid="00000000000000AA")
        self.assert_listed("00000000000000AA")
        self.usb.command("sync")
        self.assertEqual(self.usb.seen, [])

    def test_tells_the_properties(self):
        self.usb.add("2-1.3")
        self.usb.add("2-1.4.15", "dfu", ecid="00000000000000AA")
        chip = {"BoardID": 0x0E, "ChipID": 0x8020, "FusingInfo": 3, "ProductType": 0}
        self.assertEqual(
            self.info(ECID),
            chip
            | {
                "ECID": ECID,
                "ProductID": 0x1281,
                "LocationID": 0x02130000,
                "SerialNumber": "F2LXXXXXXXXX",
                "ProductString": "Apple Mobile Device (Recovery Mode)",
            },
        )
        self.assertEqual(
            self.info("00000000000000AA"),
            chip
            | {
                "ECID": "00000000000000AA",
                "ProductID": 0x1227,
                "LocationID": 0x0214F000,
                "ProductString": "Apple Mobile Device (DFU Mode)",
            },
        )
        self.usb.command("sync")
        self.assertEqual(self.usb.seen, [])

    def test_tells_the_mode_by_the_product(self):
        products = ["1222", "1227", "1280", "1281", "1282", "1283"]
        for port, product in enumerate(products, start=1):
            self.usb.add(f"1-{port}", product=int(product, 16), ecid=f"000000000000{product}")
        for product in products:
            with self.subTest(product):
                self.assertEqual(self.info(f"000000000000{product}")["ProductID"], int(product, 16))
        result = self.run_program(*EXIT_RECOVERY, "0000000000001222", status=5)
        reason = "Device in state DFU not valid for exit-recovery"
        self.assertEqual(result.messages, [error(5, reason)])
        self.run_program(*EXIT_RECOVERY, "0000000000001280")

    def test_reports_devices_without_an_ecid_and_with_the_same(self):
        self.usb.add("1-1", serial="SDOM:01 CPID:8020")
        self.usb.add("1-2")
        self.usb.add("1-3", "dfu")
        process = self.start("--debug", *INFO, "00000000000000AA")
        adding = f"Adding '{ECID}'"
        nobody = "Ignoring AMRestorableDevice with invalid ECID"
        self.assertTrue(self.read_until(process, nobody, adding, adding))
        self.usb.add("1-4", ecid="00000000000000AA")
        self.finish(process)

    def test_asks_for_strings_that_sysfs_has_not(self):
        """One that hangs then holds up nobody, and one that can't be opened is reported too."""
        self.usb.add("1-1", sysfs=False, ecid="0000000000000011")
        self.usb.fault("1-1", "string", "hang", count=0)
        self.usb.add("1-2", sysfs=False)
        self.assertEqual(self.info(ECID)["SerialNumber"], "F2LXXXXXXXXX")
        self.assertEqual(self.info(ECID)["ProductString"], "Apple Mobile Device (Recovery Mode)")
        self.assertEqual(
            self.usb.seen_by("1-2"), ["open -> ok", "string:4 -> ok", "string:3 -> ok"] * 2
        )
        process = self.start("--debug", *INFO, "00000000000000AA")
        self.assertTrue(self.read_until(process, f"Adding '{ECID}'"))
        nobody = "Ignoring AMRestorableDevice with invalid ECID"
        self.assertTrue(self.read_until(process, nobody), "it was given up")
        self.usb.add("1-3", ecid="00000000000000AA")
        self.finish(process)

    def test_offers_no_restore(self):
        self.usb.add("1-1")
        options = self.directory / "options.plist"
        options.write_bytes(plistlib.dumps({}))
        arguments = ("--restore-plist", str(options), "--ecid", ECID)
        result = self.run_program(*arguments, "--detect-timeout", str(PATIENCE))
        [(kind, value)] = result.messages
        self.assertEqual(kind, "RestoreStatus")
        failure = value.pop("Error")
        self.assertEqual(value, {"Operation": 0, "Progress": 100, "Status": "Failed"})
        self.assertEqual(failure["Domain"], "MobileDeviceUSB")
        self.assertEqual(
            failure["Description"],
            "Restoring over USB is not offered on Linux; restore this device on a Mac",
        )
