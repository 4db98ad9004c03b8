"""Runs the program with the USB devices of a test machine, emulated or virtual."""

import pathlib
import subprocess
import tempfile
import unittest

from support.program import FOUND, PROGRAM, Result, collect, error
from support.scenario import ECID

INFO = ("--device-info", *FOUND, "--ecid")
EXIT_RECOVERY = ("--exit-recovery", *FOUND, "--ecid")
STAY_IN_RECOVERY = ("--no-exit-recovery", *FOUND, "--ecid")
LEFT = "The device has left; plug it in again and retry"
BUSY = "Another program holds the device; end that program and retry"
NO_PERMISSION = (
    "No permission to open the device; install the udev rule 70-korvrestore.rules and plug the "
    "device in again"
)

HUBS = (1, 3, 5, 7, 9, 11, 13, 15)
# Ports, in turn at each hub, and ECIDs. The kernel enumerates different hubs in parallel.
PLACES = {f"{hub}-{number}": f"{number:08X}{hub:08X}" for number in range(1, 16) for hub in HUBS}


class UsbTest(unittest.TestCase):
    maxDiff = None
    make_machine = None  # set by subclasses; its result has add, remove, fault, seen_by and close

    def setUp(self):
        self.usb = self.make_machine()
        self.addCleanup(self.usb.close)
        self.directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.directory.chmod(0o755)

    def start(self, *arguments, program=PROGRAM, prefix=()) -> subprocess.Popen:
        process = subprocess.Popen(
            [*prefix, program, *arguments],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            env=self.usb.environment,
            bufsize=0,  # so that read_until leaves the rest to finish
        )
        process.read = ""
        return process

    def read_until(self, process, *texts) -> bool:
        """Reads debug lines until each of the texts was in a separate line. False: the program
        ended before."""
        missing = list(texts)
        while missing and (line := process.stderr.readline().decode()):
            process.read += line
            found = next((text for text in missing if text in line), None)
            if found:
                missing.remove(found)
        return not missing

    def finish(self, process, status=0) -> Result:
        return collect(self, process, status, process.read)

    def run_program(self, *arguments, status=0, **options) -> Result:
        return self.finish(self.start(*arguments, **options), status)

    def info(self, ecid, **options) -> dict:
        [(kind, value)] = self.run_program(*INFO, ecid, **options).messages
        self.assertEqual(kind, "DeviceInfo")
        return value

    def assert_succeeds(self, command, ecid=ECID, **options):
        result = self.run_program(*command, ecid, **options)
        self.assertEqual(result.messages, [("CommandSuccess", True)])

    def assert_refused(self, text, ecid=ECID, **options):
        result = self.run_program(*STAY_IN_RECOVERY, ecid, status=6, **options)
        self.assertEqual(result.messages, [error(6, f"SetAutoBoot command failed ({text})")])

    def assert_listed(self, *ecids):
        for seconds in (2, 8, 32):  # until all arrive in time
            line = ("--list-devices", "--detect-timeout", str(seconds))
            [(kind, value)] = self.run_program(*line).messages
            if len(value) >= len(ecids):
                break
        self.assertEqual((kind, value), ("DeviceList", [*ecids]))
