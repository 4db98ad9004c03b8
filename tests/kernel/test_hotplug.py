"""Devices that arrive and leave."""

import collections
import pathlib
import re

from kernel.kernel_test import KernelTest, without_charging_driver
from kernel.virtual_bus import CONTROLLER
from support.program import error, wait_until
from support.scenario import ECID
from usb.machine import INFO, LEFT, STAY_IN_RECOVERY

HUBS = (1, 3, 5, 7, 9, 11, 13, 15)
CYCLES = 13  # at each hub
HUB_DRIVER = pathlib.Path("/sys/bus/usb/drivers/hub")
CONTROLLER_DRIVER = pathlib.Path("/sys/bus/platform/drivers/vhci_hcd")


class HotplugTest(KernelTest):
    def wait_for_info(self):
        """Starts the program, which waits for the device ECID."""
        process = self.start("--debug", *INFO, ECID)
        self.assertTrue(self.read_until(process, "Waiting for device"))
        return process

    def assert_reported(self, process, change, ecids):
        self.assertTrue(self.read_until(process, *[f"{change} '{ecid}'" for ecid in ecids]))

    def assert_found(self, process) -> list:
        """Plugs in the device that the program waits for. Returns other arrivals, departures."""
        self.usb.add("1-15")
        result = self.finish(process)
        [(_, value)] = result.messages
        self.assertEqual(value["ECID"], ECID)
        changes = re.findall(r"(Adding|Removing) '(\w+)'", result.stderr)
        changes.remove(("Adding", ECID))
        return changes

    def test_waits_among_a_hundred_devices(self):
        process = self.wait_for_info()
        for cycle in range(1, CYCLES + 1):
            ecids = {f"{hub}-1": f"{cycle:08X}{hub:08X}" for hub in HUBS}
            for port, ecid in ecids.items():
                self.usb.add(port, ("recovery", "dfu")[cycle % 2], ecid=ecid)
            self.assert_reported(process, "Adding", ecids.values())
            for port in ecids:
                self.usb.remove(port)
            self.assert_reported(process, "Removing", ecids.values())
        changes = self.assert_found(process)
        came = [ecid for change, ecid in changes if change == "Adding"]
        left = [ecid for change, ecid in changes if change == "Removing"]
        self.assertEqual(len(came), len(HUBS) * CYCLES)
        self.assertEqual(sorted(came), sorted(left))

    def test_device_leaves_during_enumeration(self):
        process = self.wait_for_info()
        for hub, operation in zip(HUBS, ("descriptor:1", "descriptor:2", "string:4", "configure")):
            fault = [operation, "stall-and-leave", 1]
            self.usb.add(f"{hub}-1", ecid="00000000000000AA", faults=[fault])
        wait_until(lambda: not self.usb.by_port)
        self.usb.close()
        came_and_left = collections.Counter(change for change, _ in self.assert_found(process))
        self.assertEqual(came_and_left["Adding"], came_and_left["Removing"])

    def test_device_leaves_during_opening(self):
        """The kernel asks a suspended device for its status when a program opens it."""
        with without_charging_driver():
            self.usb.add("1-1")
            self.usb.suspend("1-1")
            self.usb.fault("1-1", "status", "stall-and-leave")
            self.assert_refused(LEFT)

    def test_hub_leaves_with_fourteen_devices(self):
        """One of them hangs in a command. All come back with the hub."""
        ecids = [f"{number:016X}" for number in range(1, 15)]
        waiting = self.wait_for_info()
        for number, ecid in enumerate(ecids, start=1):
            self.usb.add(f"1-{number}", ecid=ecid)
        self.assert_reported(waiting, "Adding", ecids)
        self.usb.fault("1-1", "setenv", "hang")
        commanded = self.start(*STAY_IN_RECOVERY, ecids[0])
        wait_until(lambda: "1-1 setenv auto-boot false -> hang" in self.usb.seen)
        (HUB_DRIVER / "unbind").write_text("1-0:1.0")
        messages = self.finish(commanded, 6).messages
        self.assertEqual(messages, [error(6, f"SetAutoBoot command failed ({LEFT})")])
        self.assert_reported(waiting, "Removing", ecids)
        (HUB_DRIVER / "bind").write_text("1-0:1.0")
        self.assert_reported(waiting, "Adding", ecids)
        changes = self.assert_found(waiting)
        self.assert_listed(*ecids, ECID)
        expected = [(change, ecid) for ecid in ecids for change in ("Adding", "Removing", "Adding")]
        self.assertEqual(sorted(changes, key=lambda change: change[1]), expected)

    def test_another_device_gets_the_numbers(self):
        """The controller counts from the beginning when its driver is bound again."""
        numbers = []
        waiting = self.wait_for_info()
        for ecid in ("00000000000000A1", "00000000000000A2"):
            self.rebind_controller()
            self.usb.add("1-1", ecid=ecid)
            self.assert_reported(waiting, "Adding", [ecid])
            numbers.append(self.usb.node("1-1"))
            self.usb.remove("1-1")
            self.assert_reported(waiting, "Removing", [ecid])
        self.assertEqual(numbers[0], numbers[1])
        self.assert_found(waiting)

    def rebind_controller(self):
        (CONTROLLER_DRIVER / "unbind").write_text(CONTROLLER.name)
        (CONTROLLER_DRIVER / "bind").write_text(CONTROLLER.name)
