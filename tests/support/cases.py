"""Runs of the program that testdata/*.toml has as data. Each [[case]] is one run:

why       what the case shows; names it when it fails
options   the command line, in a shell's words; a character up to ÿ is the byte of that number.
          $target is the device, and a wait that ends as it comes; $directory is the test's own
device    what the device has beside its ECID and the state Recovery; or `devices`, a list of all
scenario  what the scenario file has beside the devices
files     the text files that $directory holds, beside firmware.ipsw, a bundle
messages  all that come, by their Type; `last` is the last of them alone
error     code and reason of the one message that comes; its code is the exit status
status    the exit status
stderr    all of standard error
said      the debug lines, in order, of the functions that speak here. Order holds for a thread, and
          the callbacks have threads of their own. Whether a device is waited for, is said here only
          if it comes late: else it may be there before or not
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
        self, run, error=None, status=0, messages=None, last={}, stderr=None, said=""
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
        self.assert_said(result, said.splitlines())

    def assert_said(self, result, lines):
        named = {line.partition(":")[0] for line in lines}
        for thread in THREADS:
            if speakers := tuple(named & thread):
                heard = [
                    line
                    for line in result.debug_lines(*speakers)
                    if line in lines or not line.startswith("waitForDevice: Waiting")
                ]
                self.assertEqual(heard, [line for line in lines if line.startswith(speakers)])
