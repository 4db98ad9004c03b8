"""Devices that come and go while the program waits."""

from usb.bench import ECID, INFO, UsbTest

PAIRS = 80


class HotplugTest(UsbTest):
    def plug_and_unplug(self):
        for pair in range(PAIRS):
            port = f"2-{pair % 4 + 1}"
            self.usb.command(f"add {port} {('recovery', 'dfu')[pair % 2]} ecid={pair + 1:016X}")
            self.usb.command(f"remove {port}")

    def test_finds_a_device_that_comes_amid_many(self):
        self.usb.command("add 1-9 recovery ecid=0000000000000099")
        process = self.start("--debug", *INFO, ECID)
        self.read_until(process, "Waiting for device", "Adding '0000000000000099'")
        self.plug_and_unplug()
        self.usb.command("remove 1-9")
        self.usb.command("add 1-1 recovery")
        result = self.finish(process)
        [(kind, value)] = result.messages
        self.assertEqual((kind, value["ECID"]), ("DeviceInfo", ECID))
        said = result.stderr
        self.assertLess(said.index("Removing '0000000000000099'"), said.index(f"Adding '{ECID}'"))

    def test_lists_who_stays(self):
        for seconds in (4, 16, 64):  # until all came while the program waited
            self.usb.command("add 1-1 recovery")
            self.usb.command("add 1-2 dfu ecid=00000000000000AA")
            process = self.start("--debug", "--list-devices", "--detect-timeout", str(seconds))
            self.read_until(process, f"Adding '{ECID}'")
            self.plug_and_unplug()
            self.usb.command("remove 1-1")
            self.usb.command("add 1-1 dfu ecid=00000000000000BB")
            in_time = process.poll() is None
            [(kind, value)] = self.finish(process).messages
            self.assertEqual(kind, "DeviceList")
            if in_time:
                break
            self.usb.command("remove 1-1")
            self.usb.command("remove 1-2")
        self.assertTrue(in_time)
        self.assertEqual(value, ["00000000000000AA", "00000000000000BB"])
