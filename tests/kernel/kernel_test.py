"""A test on the kernel that runs it, as root, with udev running and vhci_hcd loaded."""

import contextlib
import os
import pathlib
import re
import subprocess

from kernel.virtual_bus import VirtualBus
from usb.machine import UsbTest

BLACKLIST = pathlib.Path("/etc/modprobe.d/test.conf")
WARNING = 4  # the level of a line in the kernel's log; more important ones have lower numbers
# What the kernel logs about a program that uses usbfs against its rules, and about its own faults.
COMPLAINT = re.compile("usbfs|korvrestore|WARNING|BUG|Oops|Call Trace|blocked for more than")


@contextlib.contextmanager
def without_charging_driver():
    """The kernel's driver apple-mfi-fastcharge takes Apple's devices, and keeps them from being
    suspended."""
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

    def check_log(self, log):
        self.usb.close()  # the devices leave before the log ends
        complaints = []
        while record := self.next_record(log):
            numbers, _, text = record.partition(";")
            if int(numbers.split(",")[0]) % 8 <= WARNING and COMPLAINT.search(text):
                complaints.append(text)
        self.assertEqual(complaints, [])

    def next_record(self, log) -> str:
        try:
            return os.read(log, 8192).decode()
        except BlockingIOError:
            return ""
