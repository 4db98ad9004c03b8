"""Base of the tests with a real kernel. Needs root, udev and the module vhci_hcd."""

import contextlib
import os
import pathlib
import re
import subprocess

from kernel.virtual_bus import VirtualBus
from support.scenario import ECID
from usb.machine import INFO, UsbTest

BLACKLIST = pathlib.Path("/etc/modprobe.d/test.conf")
WARNING = 4  # the level of a line in the kernel's log; more important ones have lower numbers
# The kernel's log lines about wrong use of usbfs and about its own faults.
COMPLAINT = re.compile("usbfs|korvrestore|WARNING|BUG|Oops|Call Trace|blocked for more than")


@contextlib.contextmanager
def without_charging_driver():
    """Disables the driver apple-mfi-fastcharge, which binds Apple devices and prevents their
    suspension."""
    subprocess.run(["modprobe", "--remove", "apple-mfi-fastcharge"], check=True)
    BLACKLIST.write_text("blacklist apple-mfi-fastcharge\n")
    subprocess.run(["udevadm", "control", "--reload"], check=True)
    try:
        yield
    finally:
        BLACKLIST.unlink()
        subprocess.run(["udevadm", "control", "--reload"], check=True)
        subprocess.run(["modprobe", "apple-mfi-fastcharge"], check=True)


class KernelTest(UsbTest):
    make_machine = VirtualBus

    def setUp(self):
        super().setUp()
        log = os.open("/dev/kmsg", os.O_RDONLY | os.O_NONBLOCK)
        self.addCleanup(os.close, log)
        os.lseek(log, 0, os.SEEK_END)
        self.addCleanup(self.check_log, log)

    def start_waiting(self):
        """Starts the program, which waits for the device ECID."""
        process = self.start("--debug", *INFO, ECID)
        self.assertTrue(self.read_until(process, "Waiting for device"))
        return process

    def check_log(self, log):
        self.usb.close()  # the departures must be in the log, too
        complaints = []
        with contextlib.suppress(BlockingIOError):  # at the end
            while record := os.read(log, 8192).decode():
                numbers, _, text = record.partition(";")
                if int(numbers.split(",")[0]) % 8 <= WARNING and COMPLAINT.search(text):
                    complaints.append(text)
        self.assertEqual(complaints, [])
