"""The output channel: where messages go, in what order, and what ends it."""

import os
import signal
import unittest

from support.pipe import SmallPipe
from support.program import FOUND, ProgramTest
from support.scenario import ECID, THE_END, device, report

LIST = ("--list-devices", "--detect-timeout", "0")
NO_DEVICE = ("DeviceList", [])
RESTORE = ("--restore", "/any", "--ecid", ECID, *FOUND)
ABORTED = -signal.SIGABRT


def burst(count):
    script = [report(77, 50, Sequence=number, Text="x" * 20) for number in range(count)]
    return [device(Restore=[*script, THE_END])]


class OutputTest(ProgramTest):
    def test_a_burst_to_a_slow_reader(self):
        """The pipe holds few of the messages, and is read in small pieces."""
        for count, blocking in ((20_000, True), (1_000, False)):
            with SmallPipe(blocking) as pipe:
                line = (*RESTORE, *pipe.option)
                run = self.start(*line, devices=burst(count), pass_fds=[pipe.writer])
                pipe.started()
                values = [value for _, value in pipe.messages(chunk=1500)]
                self.assertEqual(run.finish(self).messages, [])
                self.assertEqual([value["Sequence"] for value in values[:-1]], list(range(count)))
                self.assertEqual(values[-1], THE_END)

    def test_debug_lines_keep_off_the_channel(self):
        for line in [
            LIST,
            ("--device-info", "--ecid", ECID, *FOUND),
            ("--exit-recovery", "--ecid", ECID, *FOUND),
            ("--no-exit-recovery", "--ecid", ECID, *FOUND),
            (*RESTORE, "--enter-restore-mode"),
        ]:
            with self.subTest(line[0]), open(self.directory / "messages", "wb") as file:
                option = ("--output-pipe", str(file.fileno()))
                run = {"devices": burst(3), "pass_fds": [file.fileno()]}
                # As is said of every run: the streams hold messages and debug lines, no more.
                self.assertNotEqual(self.run_program(*line, "--debug", **run).messages, [])
                redirected = self.run_program(*line, *option, "--debug", **run)
                self.assertEqual(redirected.messages, [])
                self.assertNotEqual(redirected.stderr, "")

    def test_output_pipe_takes_any_descriptor(self):
        path = self.directory / "messages"
        with open(path, "wb") as file:
            option = ("--output-pipe", str(file.fileno()))
            self.run_program(*LIST, *option, pass_fds=[file.fileno()])
        to_file = path.read_bytes()
        with open(path, "wb") as file:
            self.run_program(*LIST, stdout=file)
        self.assertEqual(to_file, path.read_bytes())
        self.assertTrue(to_file.endswith(b"</plist>\n\n"))
        self.assertEqual(self.run_program(*LIST, "--output-pipe", "1").messages, [NO_DEVICE])

    def test_an_error_goes_to_the_pipe_too(self):
        with SmallPipe() as pipe:
            run = self.start(*pipe.option, pass_fds=[pipe.writer])
            pipe.started()
            [(kind, value)] = pipe.messages()
            self.assertEqual((kind, value["Code"]), ("InternalError", 3))
            self.assertEqual(run.finish(self, status=3).messages, [])

    def test_no_such_descriptor(self):
        for number in ("987", "-1", str(2**31), str(-(2**40)), str(2**63 - 1)):
            with self.subTest(number):
                result = self.run_program(*LIST, f"--output-pipe={number}", status=ABORTED)
                self.assertEqual(result.messages, [])
                self.assertRegex(result.stderr, "terminat(e called|ing)")  # libstdc++ or libc++

    def test_a_reader_that_goes_away(self):
        with SmallPipe() as pipe:
            line = (*RESTORE, *pipe.option)
            run = self.start(*line, devices=burst(1_000), pass_fds=[pipe.writer])
            pipe.started()
            self.assertEqual(next(pipe.messages())[1]["Sequence"], 0)
        result = run.finish(self, status=ABORTED)
        self.assertIn("write: Broken pipe", result.stderr)

    def test_standard_output_that_goes_away(self):
        pipe = SmallPipe()
        with pipe:
            run = self.start(*RESTORE, devices=burst(1_000), stdout=pipe.writer)
            pipe.started()
            self.assertEqual(next(pipe.messages())[1]["Sequence"], 0)
        run.finish(self)

    @unittest.skipUnless(os.path.exists("/dev/full"), "no device that is always full")
    def test_a_full_disk(self):
        with open("/dev/full", "wb") as full:
            self.run_program(*LIST, stdout=full)
            option = ("--output-pipe", str(full.fileno()))
            result = self.run_program(*LIST, *option, pass_fds=[full.fileno()], status=ABORTED)
        self.assertIn("write: No space left on device", result.stderr)


if __name__ == "__main__":
    unittest.main()
