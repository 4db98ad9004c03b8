"""Devices that arrive and leave."""

import collections
import pathlib
import re

from kernel.kernel_test import KernelTest
from kernel.virtual_bus import CONTROLLER
from support.program import error, wait_until
from support.scenario import ECID
from usb.machine import HUBS, LEFT, STAY_IN_RECOVERY

CYCLES = 13  # at each hub
HUB_DRIVER = pathlib.Path("/sys/bus/usb/drivers/hub")
CONTROLLER_DRIVER = pathlib.Path("/sys/bus/platform/drivers/vhci_hcd")


class HotplugTest(KernelTest):
    def assert_reported(self, process, change, ecids):
        self.assertTrue(self.read_until(process, *[f"{change} '{ecid}'" for ecid in ecids]))

    def assert_found(self, process) -> collections.Counter:
        """Plugs in the device that the program waits for. Counts changes of other devices."""
        self.usb.add("1-15")
        result = self.finish(process)
        [(_, value)] = result.messages
        self.assertEqual(value["ECID"], ECID)
        return collections.Counter(re.findall(f"(Adding|Removing) '(?!{ECID})", result.stderr))

    def test_waits_among_a_hundred_devices(self):
        process = self.start_waiting()
        for cycle in range(1, CYCLES + 1):
            ecids = {f"{hub}-1": f"{cycle // 2:08X}{hub:08X}" for hub in HUBS}
            for port, ecid in ecids.items():
                self.usb.add(port, ("recovery", "dfu")[cycle % 2], ecid=ecid)
            self.assert_reported(process, "Adding", ecids.values())
            for port in ecids:
                self.usb.remove(port)
            self.assert_reported(process, "Removing", ecids.values())
        count = len(HUBS) * CYCLES
        self.assertEqual(self.assert_found(process), {"Adding": count, "Removing": count})

    def test_device_leaves_during_enumeration(self):
        process = self.start_waiting()
        for hub, operation in zip(HUBS, ("descriptor:1", "descriptor:2", "string:4", "configure")):
            fault = [operation, "stall-and-leave", 1]
            self.usb.add(f"{hub}-1", ecid="00000000000000AA", faults=[fault])
        wait_until(lambda: not self.usb.by_port)
        self.usb.close()
        changes = self.assert_found(process)
        self.assertEqual(changes["Adding"], changes["Removing"])

    def test_hub_leaves_with_eight_of_fourteen_devices(self):
        """One of the eight hangs in a command. They come back with the hub."""
        ports = [f"1-{number}" for number in range(1, 9)] + [f"{hub}-1" for hub in HUBS[1:7]]
        ecids = [f"{number:016X}" for number in range(1, 15)]
        waiting = self.start_waiting()
        for port, ecid in zip(ports, ecids):
            self.usb.add(port, ecid=ecid)
        self.assert_reported(waiting, "Adding", ecids)
        self.usb.fault("1-1", "setenv", "hang")
        commanded = self.start(*STAY_IN_RECOVERY, ecids[0])
        wait_until(lambda: "1-1 setenv auto-boot false -> hang" in self.usb.seen)
        (HUB_DRIVER / "unbind").write_text("1-0:1.0")
        messages = self.finish(commanded, 6).messages
        self.assertEqual(messages, [error(6, f"SetAutoBoot command failed ({LEFT})")])
        self.assert_reported(waiting, "Removing", ecids[:8])
        (HUB_DRIVER / "bind").write_text("1-0:1.0")
        self.assert_reported(waiting, "Adding", ecids[:8])
        self.assertEqual(self.assert_found(waiting), {"Adding": 14 + 8, "Removing": 8})
        self.assert_listed(*ecids, ECID)

    def test_another_device_gets_the_numbers(self):
        """The controller counts from the beginning when its driver is bound again."""
        numbers = []
        waiting = self.start_waiting()
        for ecid in ("00000000000000A1", "00000000000000A2"):
            for action in ("unbind", "bind"):
                (CONTROLLER_DRIVER / action).write_text(CONTROLLER.name)
            self.usb.add("1-1", ecid=ecid)
            self.assert_reported(waiting, "Adding", [ecid])
            numbers.append(self.usb.node("1-1"))
            self.usb.remove("1-1")
            self.assert_reported(waiting, "Removing", [ecid])
        self.assertEqual(numbers[0], numbers[1])
        self.assert_found(waiting)
