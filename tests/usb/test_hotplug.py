"""Devices that come and go while the program waits."""

from usb.machine import ECID, INFO, UsbTest

PAIRS = 80
# A socket holds ten uevents and umockdev gives up when it is full: so every third device stays
# until the program has seen it.
PAIRS_UNSEEN = 3
NEIGHBOUR = "0000000000000099"
ANOTHER = "00000000000000BB"


class HotplugTest(UsbTest):
    def start_watching(self, *arguments):
        """What comes next waits until the program has seen a device: libusb leaks one that leaves
        while it starts, as the address sanitizer tells. False: the program ended before."""
        self.usb.add("1-9", ecid=NEIGHBOUR)
        process = self.start("--debug", *arguments)
        return process, self.read_until(process, f"Adding '{NEIGHBOUR}'")

    def plug_and_unplug(self, process) -> bool:
        """False: the program ended before."""
        for pair in range(1, PAIRS + 1):
            port = f"2-{pair % 4 + 1}"
            self.usb.add(port, ("recovery", "dfu")[pair % 2], ecid=f"{pair:016X}")
            seen = pair % PAIRS_UNSEEN != 0 or self.read_until(process, f"Adding '{pair:016X}'")
            self.usb.remove(port)
            if not seen:
                return False
        return True

    def test_finds_a_device_that_comes_amid_many(self):
        process, watching = self.start_watching(*INFO, ECID)
        self.assertTrue(watching and self.plug_and_unplug(process))
        self.usb.remove("1-9")
        self.usb.add("1-1")
        result = self.finish(process)
        [(kind, value)] = result.messages
        self.assertEqual((kind, value["ECID"]), ("DeviceInfo", ECID))
        said = result.stderr
        self.assertLess(said.index(f"Removing '{NEIGHBOUR}'"), said.index(f"Adding '{ECID}'"))

    def test_lists_who_stays(self):
        for seconds in (4, 16, 64):  # until all came while the program waited
            line = ("--list-devices", "--detect-timeout", str(seconds))
            process, in_time = self.start_watching(*line)
            in_time = in_time and self.plug_and_unplug(process)
            self.usb.remove("1-9")
            self.usb.add("1-1", "dfu", ecid=ANOTHER)
            in_time = in_time and self.read_until(process, f"Adding '{ANOTHER}'")
            [(kind, value)] = self.finish(process).messages
            if in_time:
                break
            self.usb.remove("1-1")
        self.assertTrue(in_time)
        self.assertEqual((kind, value), ("DeviceList", [ANOTHER]))
