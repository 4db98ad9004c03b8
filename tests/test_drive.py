"""examples/drive.py, the program that integrators start from."""

import os
import pathlib
import plistlib
import signal
import subprocess
import sys
import unittest

from support.ipsw import write_ipsw
from support.program import PATIENCE, PROGRAM, ProgramTest
from support.scenario import device, report

EXAMPLES = pathlib.Path(__file__).parent.parent / "examples"
DRIVE = EXAMPLES / "drive.py"
PRESENT, FAILING, ENDLESS, ABSENT = (f"{number:016X}" for number in range(1, 5))
DEVICES = [
    device(PRESENT, ChipID=0x8020, BoardID=0x0E, RestoreSeconds=0.2),
    device(FAILING, Restore=[report(5, 40), report(0, 100, "Failed", Error={"Description": "No"})]),
    device(ENDLESS, Restore=[report(5, 40), report(0, 100) | {"After": 3600}]),
]


class DriveTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.scratch = self.directory / "tmp"
        self.scratch.mkdir()
        self.ipsw = self.directory / "firmware.ipsw"
        write_ipsw(self.ipsw)

    def start_drive(self, *ecids, tool=PROGRAM) -> subprocess.Popen:
        scenario = self.directory / "scenario.plist"
        scenario.write_bytes(plistlib.dumps({"Devices": DEVICES}))
        environment = {"MOBILEDEVICE_SCENARIO": str(scenario), "TMPDIR": str(self.scratch)}
        return subprocess.Popen(
            [sys.executable, DRIVE, self.ipsw, *ecids, "--tool", tool, "--detect-timeout", "1"],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
            env=os.environ | environment,
        )

    def finish(self, drive, status) -> tuple:
        """The table of results, as a dictionary, and what came on standard error."""
        stdout, stderr = drive.communicate(timeout=PATIENCE)
        self.assertEqual(drive.returncode, status, stdout + stderr)
        self.assertEqual(os.listdir(self.scratch), [])
        table = stdout.rpartition("\n\n")[2]
        return dict(line.split("  ", 1) for line in table.split("\n") if line), stderr

    def test_every_device_has_its_result(self):
        results, stderr = self.finish(self.start_drive(PRESENT), 0)
        self.assertEqual((results, stderr), ({PRESENT: "restored"}, ""))
        results, stderr = self.finish(self.start_drive(FAILING, ABSENT, PRESENT), 1)
        absent = f"Failed to find device with ecid {ABSENT} after 1 seconds (code 4)"
        expected = {FAILING: "FAILED: No", ABSENT: f"FAILED: {absent}", PRESENT: "restored"}
        self.assertEqual((results, stderr), (expected, ""))

    def test_interruption_ends_all_tools(self):
        drive = self.start_drive(ENDLESS)
        while "40 %" not in drive.stdout.readline():
            self.assertIsNone(drive.poll())
        tools = pathlib.Path(f"/proc/{drive.pid}/task/{drive.pid}/children").read_text().split()
        self.assertEqual(len(tools), 1)
        drive.send_signal(signal.SIGINT)
        results, _ = self.finish(drive, 128 + signal.SIGINT)
        self.assertRegex(results[ENDLESS], "^FAILED: the tool was ended by signal 15")
        with self.assertRaises(ProcessLookupError):
            os.kill(int(tools[0]), 0)

    def test_tools_that_fail(self):
        stand_ins = {
            "kill -ABRT $$": "the tool was ended by signal 6.",
            "echo oh >&2; kill -SEGV $$": "the tool was ended by signal 11. oh",
            "exit 3": r"the tool ended without a result \(exit status 3\)",
            'echo "<plist></plist>" >&"${@: -1}"': "the messages can't be read: .*",
        }
        for script, failure in stand_ins.items():
            with self.subTest(script):
                tool = self.directory / "tool"
                tool.write_text(f"#!/usr/bin/env bash\n{script}\n")
                tool.chmod(0o700)
                results, _ = self.finish(self.start_drive(PRESENT, tool=tool), 1)
                self.assertRegex(results[PRESENT], f"^FAILED: {failure}$")
        results, stderr = self.finish(self.start_drive(PRESENT, tool="/nowhere/tool"), 2)
        failure = "drive.py: can't run /nowhere/tool: No such file or directory\n"
        self.assertEqual((results, stderr), ({}, failure))


class MessageSplitterTest(unittest.TestCase):
    def test_reads_of_any_size(self):
        sys.dont_write_bytecode = True
        sys.path.insert(0, str(EXAMPLES))
        from drive import MessageSplitter

        sent = [{"Type": kind, "Value": value} for kind, value in (("A", "</plist>\n"), ("B", []))]
        stream = b"".join(plistlib.dumps(message) + b"\n" for message in sent) + b"<plist>"
        for size in (1, 2, 9, 100, len(stream)):
            splitter = MessageSplitter()
            chunks = (stream[i : i + size] for i in range(0, len(stream), size))
            received = [message for chunk in chunks for message in splitter.feed(chunk)]
            self.assertEqual(received, sent, size)


if __name__ == "__main__":
    unittest.main()
