"""The cases of testdata/usb.toml, for each test machine."""

import pathlib
import shlex
import tomllib

from support.program import FOUND, error
from usb.machine import PLACES

CASES = pathlib.Path(__file__).parent.parent / "testdata" / "usb.toml"
COMMANDS = ("setenv", "saveenv", "reboot")


class RecoveryCases:
    parallel = False  # whether the machine can run several programs

    def test_cases(self):
        cases = tomllib.loads(CASES.read_text())["case"]
        runs = [self.run_case(*place, **case) for place, case in zip(PLACES.items(), cases)]
        if self.parallel:
            for run in runs:
                next(run)
        for run in runs:
            list(run)

    def run_case(self, port, ecid, why, seen, options="--exit-recovery", fault=(), refused=""):
        """Yields when the program has started."""
        self.usb.add(port, ecid=ecid)
        if fault:
            self.usb.fault(port, *fault)
        process = self.start(*shlex.split(options), *FOUND, "--ecid", ecid)
        yield
        with self.subTest(why):
            result = self.finish(process, 6 if refused else 0)
            expected = error(6, refused) if refused else ("CommandSuccess", True)
            self.assertEqual(result.messages, [expected])
            commands = [line for line in self.usb.seen_by(port) if line.startswith(COMMANDS)]
            self.assertEqual(commands, seen)
