"""--amr-logfile: the content of the file."""

import functools
import os
import pathlib
import re
import resource
import signal
import stat

from support.program import FOUND, PROGRAM, ProgramTest
from support.scenario import ECID, THE_END, device

AUTO_BOOT, REBOOT = "AMRecoveryModeDeviceSetAutoBoot(true)", "AMRecoveryModeDeviceReboot()"


class LogFileTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.log = self.directory / "restore.log"
        self.logging = ("--amr-logfile", str(self.log))

    def test_command_line_then_calls(self):
        target = ("--ecid", ECID, *FOUND, *self.logging)
        line = ("--exit-recovery", *target)
        self.run_program(*line, devices=[device()], umask=0o022)
        self.assertEqual(stat.S_IMODE(self.log.stat().st_mode), 0o644)
        self.run_program(*line, devices=[device(SetAutoBootError=21)], status=6)
        self.run_program("--restore", "x", *target, devices=[device(Restore=[THE_END])])
        time = r"(?m)^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z"
        first, *entries = re.sub(time, "TIME", self.log.read_text()).splitlines()
        self.assertEqual(first, " ".join((PROGRAM, *line)))
        calls = [(AUTO_BOOT, 0), (REBOOT, 0), (AUTO_BOOT, 21), ("AMRestorableDeviceRestore()", 0)]
        self.assertEqual(entries, [f"TIME {ECID} {call}: {result}" for call, result in calls])

    def test_unwritable_log_is_ignored(self):
        """A FIFO without a reader, and a file size limit."""
        line = ("--list-devices", "--detect-timeout", "0")
        os.mkfifo(self.directory / "fifo")
        self.run_program(*line, "--amr-logfile", str(self.directory / "fifo"))
        if b"__tsan_init" in pathlib.Path(PROGRAM).read_bytes():
            self.skipTest("the thread sanitizer's runtime exceeds every file size limit")
        set_limit = functools.partial(resource.setrlimit, resource.RLIMIT_FSIZE, (0, 0))
        result = self.run_program(*line, *self.logging, preexec_fn=set_limit)
        self.assertEqual(result.messages, [("DeviceList", [])])

    def test_log_never_becomes_the_output(self):
        line = ("--exit-recovery", "--ecid", ECID, *FOUND, "--output-pipe", "3")
        self.run_program(*line, *self.logging, devices=[device()], status=-signal.SIGABRT)
        self.assertFalse(self.log.exists())

    def test_refused_command_is_logged(self):
        self.run_program(*self.logging, "--foo", status=3)
        self.assertFalse(self.log.exists())
        arguments = ("--erase", "--ecid", "a  b", *self.logging)
        self.run_program(*arguments, status=2)
        self.assertEqual(self.log.read_text(), " ".join((PROGRAM, *arguments)) + "\n")
