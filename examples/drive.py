#!/usr/bin/env python3
"""Restores several devices side by side with korvrestore, one process for each.

    drive.py firmware.ipsw 001A2B3C4D5E6F70 001A2B3C4D5E6F71

Every process sends its messages through a pipe of its own (--output-pipe). The exit status is 0
if every device was restored, 1 if one wasn't, 2 if the tool can't be run, 130 when interrupted.
"""

from __future__ import annotations

import argparse
import os
import pathlib
import queue
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
from collections.abc import Callable
from dataclasses import dataclass, replace

from recording import Recording
from restore_messages import MessageSplitter, Restore, ecid


class CannotRun(Exception):
    """The tool couldn't be started."""


class Tool:
    """One run of korvrestore."""

    def __init__(self, command: list[str], environment: dict[str, str]) -> None:
        """Starts it. Raises OSError when it can't be."""
        from_tool, to_us = os.pipe()
        self._messages = open(from_tool, "rb", buffering=0)
        self._output = tempfile.TemporaryFile()
        self._errors = tempfile.TemporaryFile()
        try:
            self._process = subprocess.Popen(
                [*command, "--output-pipe", str(to_us)],
                pass_fds=[to_us],
                env=environment,
                stdin=subprocess.DEVNULL,
                stdout=self._output,
                stderr=self._errors,
                start_new_session=True,  # Ctrl-C is ours to handle
            )
        except OSError:
            self._close()
            raise
        finally:
            os.close(to_us)  # so that the pipe ends when the tool does

    def read(self, take: Callable[[bytes], None]) -> tuple[int, str]:
        """Hands on the message stream as it comes. Answers the exit status and what stood on
        standard error. When `take` raises something, the tool is stopped."""
        try:
            is_silent = True
            while data := self._messages.read(65536):
                is_silent = False
                take(data)
            status = self._process.wait()
            if is_silent:  # a command line that the tool can't read: it doesn't know of our pipe
                self._output.seek(0)
                take(self._output.read())
            self._errors.seek(0)
            return status, self._errors.read().decode(errors="replace")
        except Exception:
            self.stop()
            self._process.wait()
            raise
        finally:
            self._close()

    def stop(self) -> None:
        self._process.terminate()

    def _close(self) -> None:
        for file in (self._messages, self._output, self._errors):
            file.close()


@dataclass
class Job:
    """One device. A thread puts a copy of `restore` into `changes` whenever it has changed, and
    None, the last, when all is done."""

    restore: Restore
    tool: list[str]  # the program and the options of every run
    restore_options: list[str]
    environment: dict[str, str]
    changes: queue.Queue[Restore | None]
    recording: Recording | None
    is_startable: bool = True
    _running: Tool | None = None
    _is_stopped: bool = False

    def start(self) -> None:
        threading.Thread(target=self._follow, daemon=True).start()

    def stop(self) -> None:
        self._is_stopped = True
        if self._running is not None:
            self._running.stop()

    def _follow(self) -> None:
        try:
            if self.recording is not None:
                self._ask_for_properties()
            self._restore()
        except CannotRun as error:
            self.is_startable = False
            self.restore.fail(str(error))
        except Exception as error:  # the other devices go on, whatever this stream holds
            self.restore.fail(f"the messages can't be read: {error!r}")
        self._record(Recording.finish)
        self.changes.put(None)

    def _run(self, options: list[str], take: Callable[[bytes], None]) -> tuple[int, str]:
        try:
            tool = Tool([*self.tool, *options, "--ecid", self.restore.ecid], self.environment)
        except OSError as error:
            raise CannotRun(f"can't run {self.tool[0]}: {error.strerror}") from error
        self._running = tool
        if self._is_stopped:  # while it was being started
            tool.stop()
        return tool.read(take)

    def _ask_for_properties(self) -> None:
        """For the recording, which can do without them."""
        answer = bytearray()
        self._run(["--device-info"], answer.extend)
        for message in MessageSplitter().feed(bytes(answer)):
            if message["Type"] == "DeviceInfo":
                self.recording.take_device_info(message["Value"])

    def _restore(self) -> None:
        if self._is_stopped:
            self.restore.fail("interrupted before it was begun")
            return
        splitter = MessageSplitter()

        def take(data: bytes) -> None:
            self._record(lambda recording: recording.write(data))
            for message in splitter.feed(data):
                self.restore.take(message)
                self.changes.put(replace(self.restore))

        self._record(Recording.start)
        self.restore.take_exit(*self._run(self.restore_options, take))

    def _record(self, action: Callable[[Recording], None]) -> None:
        """What goes wrong here (a full disk, say) ends the recording, not the restore."""
        if self.recording is None:
            return
        try:
            action(self.recording)
        except Exception as error:
            self.recording = None
            failure = f"the recording is broken off: {error}"
            print(f"drive.py: {self.restore.ecid}: {failure}", file=sys.stderr)


def say(text: str) -> None:
    """The restores go on even if nobody reads what we print."""
    try:
        print(text, end="", flush=True)
    except OSError:
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())


class Display:
    """A line per device: redrawn in place on a terminal that has room for all of them, else written
    when it changes."""

    def __init__(self, restores: list[Restore]) -> None:
        self._lines = {restore.ecid: self._line(restore) for restore in restores}
        rows = shutil.get_terminal_size().lines
        self._in_place = sys.stdout.isatty() and len(restores) < rows
        if self._in_place:
            self._draw()
        else:
            say("".join(f"{line}\n" for line in self._lines.values()))

    @staticmethod
    def _line(restore: Restore) -> str:
        bar = "#" * (max(0, min(restore.progress, 100)) // 5)
        return f"{restore.ecid}  [{bar:<20}] {restore.progress:3} %  {restore.step}"

    def show(self, restore: Restore) -> None:
        line = self._line(restore)
        if line == self._lines[restore.ecid]:
            return
        self._lines[restore.ecid] = line
        if self._in_place:
            say(f"\x1b[{len(self._lines)}A")
            self._draw()
        else:
            say(f"{line}\n")

    def _draw(self) -> None:
        width = shutil.get_terminal_size().columns - 1
        say("".join(f"\x1b[2K{line[:width]}\n" for line in self._lines.values()))


class Bench:
    """All the jobs of one run."""

    def __init__(self, jobs: list[Job], changes: queue.Queue[Restore | None]) -> None:
        self.jobs = jobs
        self.is_interrupted = False
        self._changes = changes

    def interrupt(self, *_: object) -> None:
        self.is_interrupted = True
        for job in self.jobs:
            job.stop()

    def run(self) -> None:
        """Returns when every job is done."""
        display = Display([job.restore for job in self.jobs])
        for job in self.jobs:
            job.start()
        running = len(self.jobs)
        while running:
            if change := self._changes.get():
                display.show(change)
            else:
                running -= 1

    @property
    def exit_status(self) -> int:
        if self.is_interrupted:
            return 128 + signal.SIGINT
        if not all(job.is_startable for job in self.jobs):
            return 2
        return 0 if all(job.restore.is_restored for job in self.jobs) else 1


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("ipsw", help="the firmware bundle")
    parser.add_argument("ecid", nargs="+", type=ecid, help="16 hexadecimal digits")
    parser.add_argument("--tool", default="korvrestore", help="the program (default: from PATH)")
    parser.add_argument("--erase", action="store_true", help="erase the devices")
    parser.add_argument("--detect-timeout", default="10", metavar="SECONDS")
    parser.add_argument("--restore-timeout", default="7200", metavar="SECONDS")
    help_record = "keep the messages, and scenarios that play them again, in a new folder"
    parser.add_argument("--record", type=pathlib.Path, metavar="FOLDER", help=help_record)
    return parser.parse_args()


def main() -> int:
    arguments = parse_arguments()
    tool = [arguments.tool, "--detect-timeout", arguments.detect_timeout]
    options = ["--restore", arguments.ipsw, "--restore-timeout", arguments.restore_timeout]
    options += ["--erase"] if arguments.erase else []
    ecids = list(dict.fromkeys(arguments.ecid))

    recordings: dict[str, Recording] = {}
    if arguments.record is not None:
        try:
            arguments.record.mkdir()
            recordings = {each: Recording(arguments.record, each) for each in ecids}
        except OSError as error:
            print(f"drive.py: can't record: {error}", file=sys.stderr)
            return 2

    # A tool that is stopped midway leaves its scratch directory behind: keep all of them in ours.
    with tempfile.TemporaryDirectory(prefix="drive.") as scratch:
        environment = os.environ | {"TMPDIR": scratch}
        changes: queue.Queue[Restore | None] = queue.Queue()
        jobs = [
            Job(Restore(each), tool, options, environment, changes, recordings.get(each))
            for each in ecids
        ]
        bench = Bench(jobs, changes)
        for number in (signal.SIGINT, signal.SIGTERM):
            signal.signal(number, bench.interrupt)
        bench.run()

    say("".join(f"\n{job.restore.ecid}  {job.restore.result}" for job in jobs) + "\n")
    return bench.exit_status


if __name__ == "__main__":
    sys.exit(main())
