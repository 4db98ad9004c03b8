"""examples/drive.py, the program that integrators start from."""

import os
import pathlib
import plistlib
import pty
import signal
import subprocess
import sys
import termios
import unittest

from support.ipsw import write_ipsw
from support.program import PATIENCE, PROGRAM, ProgramTest
from support.scenario import device, report

EXAMPLES = pathlib.Path(__file__).parent.parent / "examples"
DRIVE = EXAMPLES / "drive.py"
PRESENT, FAILING, ENDLESS, ABSENT, ODD = (f"{number:016X}" for number in range(0xA1, 0xA6))
NUMBERS = {"ProductID": 0x9C40, "ChipID": 0x8000_0001, "LocationID": 0xFFFF_FFFF}
VALUES = {"After all": [1.5, -1e-7, float("inf"), 2**63, b"\x00", {"": "<\t\u20ac>"}, True]}
DEVICES = [
    device(PRESENT, ChipID=0x8020, BoardID=0x0E, RestoreSeconds=0.2),
    device(FAILING, Restore=[report(5, 40), report(0, 100, "Failed", Error={"Description": "No"})]),
    device(ENDLESS, Restore=[report(5, 40), report(0, 100) | {"After": 3600}]),
    device(
        ODD,
        **NUMBERS,
        SerialNumber="F2 & <L>",
        Restore=[
            report(-3, -1, **VALUES),
            report(77, 2**40, "") | {"After": 0.1},
            report(0, 99, TY_OperationName="Own"),
            report(0, 100, "Successful"),
        ],
    ),
]


class DriveTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.scratch = self.directory / "tmp"
        self.scratch.mkdir()
        self.addCleanup(lambda: self.assertEqual(os.listdir(self.scratch), []))
        self.ipsw = self.directory / "firmware.ipsw"
        write_ipsw(self.ipsw)

    def start_drive(self, *arguments, tool=PROGRAM, scenario=None, **popen) -> subprocess.Popen:
        if scenario is None:
            scenario = self.directory / "scenario.plist"
            content = {"Devices": DEVICES, "OperationTexts": {"77": "Baking"}}
            scenario.write_bytes(plistlib.dumps(content))
        environment = {"MOBILEDEVICE_SCENARIO": str(scenario), "TMPDIR": str(self.scratch)}
        line = [sys.executable, "-B", DRIVE, self.ipsw, "--tool", tool, "--detect-timeout", "2"]
        pipes = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "text": True}
        environment = os.environ | environment
        return subprocess.Popen([*line, *arguments], env=environment, **pipes | popen)

    def finish(self, drive, status) -> tuple:
        """The table of results, as a dictionary, and what came on standard error."""
        stdout, stderr = drive.communicate(timeout=PATIENCE)
        self.assertEqual(drive.returncode, status, stdout + stderr)
        table = stdout.rpartition("\n\n")[2]
        return dict(line.split("  ", 1) for line in table.split("\n") if line), stderr

    def test_every_device_has_its_result(self):
        results, stderr = self.finish(self.start_drive(PRESENT, PRESENT.lower()), 0)
        self.assertEqual((results, stderr), ({PRESENT: "restored"}, ""))
        results, stderr = self.finish(self.start_drive(FAILING, ABSENT, PRESENT), 1)
        absent = f"Failed to find device with ecid {ABSENT} after 2 seconds (code 4)"
        expected = {FAILING: "FAILED: No", ABSENT: f"FAILED: {absent}", PRESENT: "restored"}
        self.assertEqual((results, stderr), (expected, ""))
        with self.start_drive(PRESENT) as drive:
            drive.stdout.close()  # nobody looks: the restore goes on
        self.assertEqual(drive.returncode, 0)
        results, _ = self.finish(self.start_drive(PRESENT, "--detect-timeout", "x"), 1)
        self.assertRegex(results[PRESENT], r"^FAILED: .*--detect-timeout.* \(code 2\)$")

    def test_recorded_run_is_played_again(self):
        """The same messages come, byte for byte, whatever end the restore had."""
        recorded = self.directory / "recorded"
        options = ("--restore-timeout", "3", "--record")
        ecids = (PRESENT, FAILING, ENDLESS, ABSENT, ODD)
        results, _ = self.finish(self.start_drive(*ecids, *options, recorded), 1)
        self.assertRegex(results[ENDLESS], "did not complete in 3 seconds")
        replays = {}
        for ecid in ecids:
            line = (ecid, *options, self.directory / ecid)
            replays[ecid] = self.start_drive(*line, scenario=recorded / f"{ecid}.plist")
        for ecid, drive in replays.items():
            replayed, _ = self.finish(drive, 0 if results[ecid] == "restored" else 1)
            self.assertEqual(replayed[ecid], results[ecid])
            stream = (recorded / f"{ecid}.messages").read_bytes()
            self.assertEqual((self.directory / ecid / f"{ecid}.messages").read_bytes(), stream)
            times = (recorded / f"{ecid}.times").read_text().split()[::2]
            self.assertEqual(len(times), stream.count(b"</plist>\n\n"))
            self.assertEqual(times, sorted(times, key=float))
        [odd] = plistlib.loads((recorded / f"{ODD}.plist").read_bytes())["Devices"]
        self.assertLessEqual((NUMBERS | {"SerialNumber": "F2 & <L>"}).items(), odd.items())
        _, stderr = self.finish(self.start_drive(PRESENT, *options, recorded), 2)
        self.assertIn("File exists", stderr)

    def test_terminal(self):
        """Lines are cut to the width and redrawn in place if there are rows for all of them."""
        for rows, in_place in ((3, True), (2, False)):
            ours, terminal = pty.openpty()
            termios.tcsetwinsize(terminal, (rows, 30))
            drive = self.start_drive(PRESENT, FAILING, stdout=terminal)
            os.close(terminal)
            shown = b""
            try:
                while data := os.read(ours, 4096):
                    shown += data
            except OSError:  # the other end is closed
                os.close(ours)
            drive.communicate(timeout=PATIENCE)
            display = shown.decode().partition("\r\n\r\n")[0].split("\r\n")
            self.assertEqual("\x1b[2A" in shown.decode(), in_place)
            plain = [line.replace("\x1b[2K", "").replace("\x1b[2A", "") for line in display]
            self.assertEqual(max(map(len, plain)) < 30, in_place)

    def test_interruption_ends_all_tools(self):
        tool = self.directory / "tool"
        tool.write_text(f'#!/bin/sh\necho $$ >>"$0.pid"\nexec "{PROGRAM}" "$@"\n')
        tool.chmod(0o700)
        drive = self.start_drive(ENDLESS, tool=tool)
        while "40 %" not in drive.stdout.readline():
            self.assertIsNone(drive.poll())
        [running] = (self.directory / "tool.pid").read_text().split()
        drive.send_signal(signal.SIGINT)
        results, _ = self.finish(drive, 128 + signal.SIGINT)
        self.assertRegex(results[ENDLESS], "^FAILED: the tool was ended by signal 15")
        with self.assertRaises(ProcessLookupError):
            os.kill(int(running), 0)

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
        results, _ = self.finish(self.start_drive(PRESENT, tool="/nowhere/tool"), 2)
        failure = "FAILED: can't run /nowhere/tool: No such file or directory"
        self.assertEqual(results, {PRESENT: failure})


class MessageSplitterTest(unittest.TestCase):
    def test_reads_of_any_size(self):
        sys.dont_write_bytecode = True
        sys.path.insert(0, str(EXAMPLES))
        from restore_messages import MessageSplitter

        sent = [{"Type": kind, "Value": value} for kind, value in (("A", "</plist>\n"), ("B", []))]
        stream = b"".join(plistlib.dumps(message) + b"\n" for message in sent) + b"<plist>"
        for size in (1, 2, 9, 100, len(stream)):
            splitter = MessageSplitter()
            chunks = (stream[i : i + size] for i in range(0, len(stream), size))
            received = [message for chunk in chunks for message in splitter.feed(chunk)]
            self.assertEqual(received, sent, size)


if __name__ == "__main__":
    unittest.main()
