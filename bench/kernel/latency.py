"""Compares the program's times with those of a plain libusb program. The times are only printed: in
an emulator that shares its processors, absolute times mean little."""

import statistics
import time

from kernel.kernel_test import KernelTest
from support.program import PROGRAM
from support.scenario import ECID
from usb.machine import INFO, PLACES

RUNS = 3
BARE = ("/usr/local/bin/bare_libusb", (ECID,))
TOOL = (PROGRAM, ("--debug", *INFO, ECID))


class LatencyTest(KernelTest):
    def test_from_plug_to_message(self):
        self.compare("from plug to message", self.plug_to_message)

    def test_the_last_of_fourteen(self):
        for port, ecid in [*PLACES.items()][:13]:
            self.usb.add(port, ecid=ecid)
        self.usb.add("1-14")
        self.usb.wait_for("1-14")
        self.compare("from start to message, last of 14", self.start_to_message)

    def compare(self, what, measure):
        times = [(measure(*TOOL), measure(*BARE)) for _ in range(RUNS)]
        medians = [statistics.median(each) * 1000 for each in zip(*times)]
        print("\n  {}: {:.0f} ms, plain libusb {:.0f} ms".format(what, *medians), flush=True)

    def plug_to_message(self, program, arguments) -> float:
        process = self.start(*arguments, program=program)
        self.assertTrue(self.read_until(process, "Waiting for device"))
        self.usb.add("3-1")
        started = time.monotonic()
        seconds = self.first_output(process) - started
        self.usb.remove("3-1")
        return seconds

    def start_to_message(self, program, arguments) -> float:
        started = time.monotonic()
        return self.first_output(self.start(*arguments, program=program)) - started

    def first_output(self, process) -> float:
        self.assertTrue(process.stdout.read(1))
        arrived = time.monotonic()
        process.communicate()
        return arrived
