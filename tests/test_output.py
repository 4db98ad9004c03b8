"""The output channel: destination and order of messages, and failures to write."""

import fcntl
import os
import signal
import unittest

from support.messages import messages
from support.program import FOUND, ProgramTest, error
from support.scenario import ECID, THE_END, device, report

LIST = ("--list-devices", "--detect-timeout", "0")
RESTORE = ("--restore", "/any", "--ecid", ECID, *FOUND)
ABORTED = -signal.SIGABRT
CHANNELS = [(20_000, True, False), (1_000, False, False), (1_000, False, True)]


def burst(count):
    script = [report(77, 50, Sequence=number, Text="x" * 20) for number in range(count)]
    return [device(Restore=[*script, THE_END])]


class SmallPipe:
    """A pipe with room for one page, or 64 KiB where the size can't be set (macOS). So the program
    must wait for its reader."""

    def __init__(self, blocking=True):
        self.reader, self.writer = os.pipe()
        if hasattr(fcntl, "F_SETPIPE_SZ"):
            fcntl.fcntl(self.reader, fcntl.F_SETPIPE_SZ, 4096)
        os.set_blocking(self.writer, blocking)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.close(self.reader)

    def messages(self, chunk=1000):
        return messages(lambda: os.read(self.reader, chunk))


class OutputTest(ProgramTest):
    def start_to_pipe(self, pipe, *line, as_stdout=False, **options):
        if as_stdout:
            run = self.start(*line, stdout=pipe.writer, **options)
        else:
            line += ("--output-pipe", str(pipe.writer))
            run = self.start(*line, pass_fds=[pipe.writer], **options)
        os.close(pipe.writer)  # the program has its own copy
        return run

    def test_slow_reader_gets_every_message(self):
        """The pipe has room for few messages and is read in small pieces. It doesn't block if the
        reader's event loop shares the descriptor."""
        for count, blocking, as_stdout in CHANNELS:
            with SmallPipe(blocking) as pipe:
                run = self.start_to_pipe(pipe, *RESTORE, as_stdout=as_stdout, devices=burst(count))
                values = [value for _, value in pipe.messages(chunk=1500)]
                self.assertEqual(run.finish(self).messages, [])
                self.assertEqual([value["Sequence"] for value in values[:-1]], list(range(count)))
                self.assertEqual(values[-1], THE_END)

    def test_output_pipe_takes_any_descriptor(self):
        path = self.directory / "messages"
        with open(path, "wb") as file:
            option = ("--output-pipe", str(file.fileno()))
            result = self.run_program(*LIST, *option, "--debug", pass_fds=[file.fileno()])
            self.assertEqual(result.messages, [])
            self.assertNotEqual(result.stderr, "")
        to_file = path.read_bytes()
        with open(path, "wb") as file:
            self.run_program(*LIST, stdout=file)
        self.assertEqual(to_file, path.read_bytes())
        self.assertTrue(to_file.endswith(b"</plist>\n\n"))
        to_pipe = self.run_program(*LIST, "--output-pipe", "1").messages
        self.assertEqual(to_pipe, [("DeviceList", [])])

    def test_error_goes_to_the_pipe(self):
        with SmallPipe() as pipe:
            run = self.start_to_pipe(pipe)
            self.assertEqual(list(pipe.messages()), [error(3, "Invalid command option")])
            self.assertEqual(run.finish(self, status=3).messages, [])

    def test_unopened_descriptor_aborts(self):
        for number in ("987", "-1", str(2**31), str(-(2**40)), str(2**63 - 1)):
            with self.subTest(number):
                result = self.run_program(*LIST, f"--output-pipe={number}", status=ABORTED)
                self.assertEqual(result.messages, [])
                self.assertRegex(result.stderr, "terminat(e called|ing)")  # libstdc++ or libc++

    def test_closed_pipe_aborts(self):
        """Only a closed --output-pipe ends the program."""
        for as_stdout, status in ((False, ABORTED), (True, 0)):
            with SmallPipe() as pipe:
                run = self.start_to_pipe(pipe, *RESTORE, as_stdout=as_stdout, devices=burst(1_000))
                self.assertEqual(next(pipe.messages())[1]["Sequence"], 0)
            stderr = run.finish(self, status).stderr
            self.assertEqual("write: Broken pipe" in stderr, not as_stdout)

    @unittest.skipUnless(os.path.exists("/dev/full"), "no device that is always full")
    def test_full_disk(self):
        with open("/dev/full", "wb") as full:
            self.run_program(*LIST, stdout=full)
            option = ("--output-pipe", str(full.fileno()))
            result = self.run_program(*LIST, *option, pass_fds=[full.fileno()], status=ABORTED)
        self.assertIn("write: No space left on device", result.stderr)
