"""Runs of the program that are data in testdata/*.toml. Each [[case]] is one run:

why       what the case shows; its name if it fails
options   the command line, as in a shell; a character up to ÿ is the byte of that number.
          $target is the device and a timeout that ends when it arrives; $directory is the test's
device    the keys of the device in addition to its ECID and State; or `devices`, a list of all
scenario  the keys of the scenario file in addition to the devices
files     text files in $directory, which also contains the bundle firmware.ipsw
messages  all messages, by their Type; `last` is only the last of them
error     code and reason of the only message; the code is also the exit status
status    the exit status
stderr    the whole standard error
debug     the debug lines of the functions that occur here, in order. The order is checked for each
          thread, and each callback has its own. "waitForDevice: Waiting" is ignored unless it is
          listed, since the device may already be present
"""

import os
import pathlib
import shlex
import string
import tomllib

from support.ipsw import ipsw
from support.program import CALLBACKS, FOUND, SPEAKERS, ProgramTest
from support.program import error as error_message
from support.scenario import ECID
from support.scenario import device as make_device

TESTDATA = pathlib.Path(__file__).parent.parent / "testdata"
THREADS = [{name} for name in CALLBACKS] + [set(SPEAKERS) - set(CALLBACKS)]


class CasesTest(ProgramTest):
    def setUp(self):
        super().setUp()
        (self.directory / "firmware.ipsw").write_bytes(ipsw())

    def load(self, file) -> dict:
        words = {"directory": self.directory, "target": " ".join(("--ecid", ECID, *FOUND))}
        return tomllib.loads(string.Template((TESTDATA / file).read_text()).substitute(words))

    def play_all(self, file) -> None:
        for case in self.load(file)["case"]:
            with self.subTest(case.pop("why")):
                self.play(**case)

    def play(self, options, files={}, devices=None, device={}, scenario={}, **outcome):
        for name, text in files.items():
            (self.directory / name).write_text(text)
        words = [os.fsdecode(word.encode("latin-1")) for word in shlex.split(options)]
        devices = [make_device(**device)] if devices is None else devices
        run = self.start(*words, devices=devices, scenario=scenario)
        self.assert_outcome(run, **outcome)

    def assert_outcome(
        self, run, error=None, status=0, messages=None, last={}, stderr=None, debug=""
    ):
        if error:
            messages, status = [dict([error_message(*error)])], error[0]
        result = run.finish(self, status)
        if messages is not None:
            expected = [message for each in messages for message in each.items()]
            self.assertEqual(result.messages, expected)
        if last:
            self.assertEqual(result.messages[-1:], [*last.items()])
        if stderr is not None:
            self.assertEqual(result.stderr, stderr)
        self.assert_debug_lines(result, debug.splitlines())

    def assert_debug_lines(self, result, lines):
        named = {line.partition(":")[0] for line in lines}
        for thread in THREADS:
            if speakers := tuple(named & thread):
                heard = [
                    line
                    for line in result.debug_lines(*speakers)
                    if line in lines or not line.startswith("waitForDevice: Waiting")
                ]
                self.assertEqual(heard, [line for line in lines if line.startswith(speakers)])
