"""The cases of testdata/usb.toml, for each test machine."""

import pathlib
import shlex
import tomllib

from support.program import FOUND, error
from support.scenario import ECID

CASES = pathlib.Path(__file__).parent.parent / "testdata" / "usb.toml"
COMMANDS = ("setenv", "saveenv", "reboot")


class RecoveryCases:
    def test_cases(self):
        for case in tomllib.loads(CASES.read_text())["case"]:
            with self.subTest(case.pop("why")):
                self.usb.add("1-1")
                try:
                    self.play(**case)
                finally:
                    if "1-1" in self.usb.by_port:  # it hasn't left by itself
                        self.usb.remove("1-1")
                    self.usb.seen.clear()

    def play(self, seen, options="--exit-recovery", fault=(), refused=""):
        if fault:
            self.usb.fault("1-1", *fault)
        expected = error(6, refused) if refused else ("CommandSuccess", True)
        line = (*shlex.split(options), *FOUND, "--ecid", ECID)
        result = self.run_program(*line, status=6 if refused else 0)
        self.assertEqual(result.messages, [expected])
        commands = [line for line in self.usb.seen_by("1-1") if line.startswith(COMMANDS)]
        self.assertEqual(commands, seen)
