"""examples/drive.py, the program that integrators start from."""

import os
import pathlib
import plistlib
import pty
import signal
import subprocess
import sys
import termios

from support.cases import TESTDATA, CasesTest
from support.program import PATIENCE, PROGRAM

EXAMPLES = pathlib.Path(__file__).parent.parent / "examples"
SCENARIO = TESTDATA / "drive.plist"
PRESENT, FAILING, ENDLESS, ABSENT, ODD = (f"{number:016X}" for number in range(0xA1, 0xA6))


class DriveTest(CasesTest):
    def setUp(self):
        super().setUp()
        self.scratch = self.directory / "tmp"
        self.scratch.mkdir()
        self.addCleanup(lambda: self.assertEqual(os.listdir(self.scratch), []))

    def start_drive(self, *arguments, tool=PROGRAM, scenario=SCENARIO, **popen):
        environment = {"MOBILEDEVICE_SCENARIO": str(scenario), "TMPDIR": str(self.scratch)}
        line = [sys.executable, "-B", EXAMPLES / "drive.py", self.directory / "firmware.ipsw"]
        line += ["--tool", tool, "--detect-timeout", "2", *arguments]
        pipes = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "text": True}
        return subprocess.Popen(line, env=os.environ | environment, **pipes | popen)

    def finish(self, drive, status) -> tuple:
        """The table of results, as a dictionary, and what came on standard error."""
        stdout, stderr = drive.communicate(timeout=PATIENCE)
        self.assertEqual(drive.returncode, status, stdout + stderr)
        table = stdout.rpartition("\n\n")[2]
        return dict(line.split("  ", 1) for line in table.split("\n") if line), stderr

    def stand_in(self, script) -> pathlib.Path:
        """A tool that does this."""
        tool = self.directory / "tool"
        tool.write_text(f"#!/usr/bin/env bash\n{script}\n")
        tool.chmod(0o700)
        return tool

    def test_every_device_has_its_result(self):
        results = self.finish(self.start_drive(PRESENT, PRESENT.lower()), 0)
        self.assertEqual(results, ({PRESENT: "restored"}, ""))
        results = self.finish(self.start_drive(FAILING, ABSENT, PRESENT), 1)
        absent = f"FAILED: Failed to find device with ecid {ABSENT} after 2 seconds (code 4)"
        expected = {FAILING: "FAILED: No", ABSENT: absent, PRESENT: "restored"}
        self.assertEqual(results, (expected, ""))
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
        files = (SCENARIO, recorded / f"{ODD}.plist")
        odd, again = (plistlib.loads(file.read_bytes())["Devices"][-1] for file in files)
        self.assertEqual({key for key in odd if again[key] != odd[key]}, {"Restore"})
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
            self.assertEqual(b"\x1b[2A" in shown, in_place)
            display = shown.partition(b"\r\n\r\n")[0]
            plain = display.replace(b"\x1b[2K", b"").replace(b"\x1b[2A", b"").split(b"\r\n")
            self.assertEqual(max(map(len, plain)) < 30, in_place)

    def test_interruption_ends_all_tools(self):
        tool = self.stand_in(f'echo $$ >>"$0.pid"\nexec "{PROGRAM}" "$@"')
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
        for script, failure in {
            "kill -ABRT $$": "the tool was ended by signal 6.",
            "echo oh >&2; kill -SEGV $$": "the tool was ended by signal 11. oh",
            "exit 3": r"the tool ended without a result \(exit status 3\)",
            'echo "<plist></plist>" >&"${@: -1}"': "the messages can't be read: .*",
        }.items():
            results, _ = self.finish(self.start_drive(PRESENT, tool=self.stand_in(script)), 1)
            self.assertRegex(results[PRESENT], f"^FAILED: {failure}$")
        results, _ = self.finish(self.start_drive(PRESENT, tool="/nowhere/tool"), 2)
        failure = "FAILED: can't run /nowhere/tool: No such file or directory"
        self.assertEqual(results, {PRESENT: failure})

    def test_messages_are_split_wherever_reads_end(self):
        sys.path.insert(0, str(EXAMPLES))
        from restore_messages import MessageSplitter

        sent = [{"Type": kind, "Value": value} for kind, value in (("A", "</plist>\n"), ("B", []))]
        stream = b"".join(plistlib.dumps(message) + b"\n" for message in sent) + b"<plist>"
        for size in (1, 2, 9, 100, len(stream)):
            splitter = MessageSplitter()
            chunks = (stream[i : i + size] for i in range(0, len(stream), size))
            received = [message for chunk in chunks for message in splitter.feed(chunk)]
            self.assertEqual(received, sent, size)
