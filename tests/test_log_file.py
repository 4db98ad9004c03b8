"""--amr-logfile: what is in the file, and what happens without one."""

import re
import stat
import unittest

from support.program import FOUND, PROGRAM, ProgramTest
from support.scenario import ECID, device

# A time, the ECID, the call and its result.
ENTRY = re.compile(rf"\S+Z {ECID} (\S+): (-?\d+)")


class LogFileTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.log = self.directory / "restore.log"
        self.logging = ("--amr-logfile", str(self.log))

    def entries(self, lines):
        matches = [ENTRY.fullmatch(line) for line in lines]
        self.assertTrue(all(matches), lines)
        return [(match[1], int(match[2])) for match in matches]

    def test_new_file_and_then_the_same(self):
        line = ("--exit-recovery", "--ecid", ECID, *FOUND, *self.logging)
        self.run_program(*line, devices=[device()], umask=0o022)
        first, *lines = self.log.read_text().splitlines()
        self.assertEqual(first, " ".join((PROGRAM, *line)))
        self.assertEqual(stat.S_IMODE(self.log.stat().st_mode), 0o644)
        calls = self.entries(lines)
        self.assertEqual([result for _, result in calls], [0] * len(calls))
        self.assertIn("SetAutoBoot", calls[-2][0])
        self.assertIn("Reboot", calls[-1][0])

        before = self.log.read_text()
        self.run_program(*line, devices=[device(SetAutoBootError=21)], status=6)
        content = self.log.read_text()
        self.assertTrue(content.startswith(before))
        added = self.entries(content[len(before) :].splitlines())
        self.assertEqual(added[-1], (calls[-2][0], 21))

    def test_the_command_line_stands_in_the_log_of_a_refused_command(self):
        arguments = ("--erase", "--ecid", "a  b", *self.logging, "")
        self.run_program(*arguments[:-1], status=2)
        self.assertEqual(self.log.read_text(), " ".join((PROGRAM, *arguments[:-1])) + "\n")

    def test_no_log_of_a_line_that_was_not_parsed(self):
        self.run_program(*self.logging, "--foo", status=3)
        self.assertFalse(self.log.exists())

    def test_failure_is_only_a_debug_line(self):
        list_devices = ("--list-devices", "--detect-timeout", "0", "--debug", "--amr-logfile")
        scenario = {"FileLoggingError": 21, "ErrorTexts": {"21": "Disk full"}}
        impossible = str(self.directory / "no directory" / "log")
        for path, run, failure in [
            (str(self.log), {"scenario": scenario}, r"21: .*\bDisk full\b.*"),
            (impossible, {}, r"[1-9]\d*: .+"),
            ("", {}, r"[1-9]\d*: .+"),
        ]:
            result = self.run_program(*list_devices, path, **run)
            self.assertEqual(result.messages, [("DeviceList", [])])
            speaker = "device_notifier_state: "
            said, enabling, failed = result.debug_lines(speaker)
            self.assertEqual(enabling, f"{speaker}AMRestoreEnableFileLogging({path})")
            pattern = rf"{speaker}AMRestoreEnableFileLogging failed \({failure}\)"
            self.assertRegex(failed, f"^{pattern}$")


if __name__ == "__main__":
    unittest.main()
