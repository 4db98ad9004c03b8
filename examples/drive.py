#!/usr/bin/env python3
"""Restores several devices side by side with korvrestore, one process for each.

    drive.py firmware.ipsw 001A2B3C4D5E6F70 001A2B3C4D5E6F71

Every process sends its messages through a pipe of its own (--output-pipe). The exit status is 0
if every device was restored, 1 if one wasn't, 2 if the tool can't be run, 130 when interrupted.
"""

from __future__ import annotations

import argparse
import os
import plistlib
import queue
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
from collections.abc import Iterator
from dataclasses import dataclass, replace
from typing import BinaryIO


class MessageSplitter:
    """Cuts the message stream into property lists, wherever the reads happen to end."""

    # Ends every document; inside one it can't stand, since XML writes "<" in a text as "&lt;".
    _END = b"</plist>\n"

    def __init__(self) -> None:
        self._pending = bytearray()

    def feed(self, data: bytes) -> Iterator[dict]:
        """The messages that `data` completes. Raises what plistlib raises on anything else."""
        search_from = max(0, len(self._pending) - len(self._END) + 1)
        self._pending += data
        while (end := self._pending.find(self._END, search_from)) >= 0:
            document = bytes(self._pending[: end + len(self._END)]).lstrip()
            del self._pending[: end + len(self._END)]
            search_from = 0
            yield plistlib.loads(document)


@dataclass
class Restore:
    """What is known of one device's restore."""

    ecid: str
    step: str = "waiting for the device"
    progress: int = 0
    failure: str | None = None
    is_restored: bool = False

    def take(self, message: dict) -> None:
        value = message["Value"]
        if message["Type"] == "InternalError":
            reason = value.get("FailureReason") or value.get("Description") or "no reason given"
            self.failure = f"{reason} (code {value.get('Code')})"
        elif message["Type"] == "RestoreStatus":
            self.step = value.get("TY_OperationName", value["Status"])
            self.progress = value["Progress"]
            if (value["Operation"], value["Progress"]) == (0, 100):
                self._take_end(value)

    def _take_end(self, value: dict) -> None:
        # The end of a restore is reported in the same way whether it went well or not.
        error = value.get("Error")
        if error is None and value["Status"] != "Failed":
            self.is_restored = True
        else:
            self.failure = error["Description"] if isinstance(error, dict) else value["Status"]

    def take_exit(self, status: int, error_output: str) -> None:
        if status < 0:
            self.failure = f"the tool was ended by signal {-status}. {error_output}".rstrip()
        elif not self.is_restored and self.failure is None:
            self.failure = f"the tool ended without a result (exit status {status})"

    @property
    def result(self) -> str:
        return "restored" if self.failure is None else f"FAILED: {self.failure}"


@dataclass
class Job:
    """A running tool. Its thread puts a copy of `restore` into `changes` whenever it has changed,
    and None, the last, when the tool has ended."""

    restore: Restore
    command: list[str]
    environment: dict[str, str]
    changes: queue.Queue[Restore | None]
    process: subprocess.Popen | None = None

    def start(self) -> None:
        """Raises OSError when the tool can't be run."""
        from_tool, to_us = os.pipe()
        errors = tempfile.TemporaryFile()
        try:
            self.process = subprocess.Popen(
                [*self.command, "--ecid", self.restore.ecid, "--output-pipe", str(to_us)],
                pass_fds=[to_us],
                env=self.environment,
                stdin=subprocess.DEVNULL,
                stdout=subprocess.DEVNULL,
                stderr=errors,
                start_new_session=True,  # Ctrl-C is ours to handle
            )
        except OSError:
            os.close(from_tool)
            raise
        finally:
            os.close(to_us)  # so that the pipe ends when the tool does
        threading.Thread(target=self._follow, args=(from_tool, errors), daemon=True).start()

    def stop(self) -> None:
        if self.process is not None:
            self.process.terminate()

    def _follow(self, from_tool: int, errors: BinaryIO) -> None:
        stream_failure = None
        try:
            with open(from_tool, "rb", buffering=0) as messages:
                self._read(messages)
        except Exception as error:  # the other devices go on, whatever this stream holds
            stream_failure = f"the messages can't be read: {error!r}"
            self.stop()
        status = self.process.wait()
        with errors:
            errors.seek(0)
            self.restore.take_exit(status, errors.read().decode(errors="replace").strip())
        self.restore.failure = stream_failure or self.restore.failure
        self.changes.put(None)

    def _read(self, messages: BinaryIO) -> None:
        splitter = MessageSplitter()
        while data := messages.read(65536):
            for message in splitter.feed(data):
                self.restore.take(message)
                self.changes.put(replace(self.restore))


class Display:
    """A line per device: redrawn in place on a terminal, else written when it changes."""

    def __init__(self, restores: list[Restore]) -> None:
        self._lines = {restore.ecid: self._line(restore) for restore in restores}
        self._in_place = sys.stdout.isatty()
        print(*self._lines.values(), sep="\n", flush=True)

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
            width = shutil.get_terminal_size().columns - 1
            block = "".join(f"\x1b[2K{each[:width]}\n" for each in self._lines.values())
            print(f"\x1b[{len(self._lines)}A{block}", end="", flush=True)
        else:
            print(line, flush=True)


class Bench:
    """All the jobs of one run."""

    def __init__(self, jobs: list[Job], changes: queue.Queue[Restore | None]) -> None:
        self.jobs = jobs
        self.is_interrupted = False
        self._changes = changes

    def interrupt(self, *_: object) -> None:
        self.is_interrupted = True
        self._stop()

    def run(self) -> None:
        """Returns when every tool has ended. Raises OSError when the tool can't be run."""
        try:
            for job in self.jobs:
                job.start()
        except OSError:
            self._stop()
            raise
        if self.is_interrupted:  # while one was being started
            self._stop()
        display = Display([job.restore for job in self.jobs])
        running = len(self.jobs)
        while running:
            if change := self._changes.get():
                display.show(change)
            else:
                running -= 1

    def _stop(self) -> None:
        for job in self.jobs:
            job.stop()


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("ipsw", help="the firmware bundle")
    parser.add_argument("ecid", nargs="+", help="16 hexadecimal digits")
    parser.add_argument("--tool", default="korvrestore", help="the program (default: from PATH)")
    parser.add_argument("--erase", action="store_true", help="erase the devices")
    parser.add_argument("--detect-timeout", default="10", metavar="SECONDS")
    parser.add_argument("--restore-timeout", default="7200", metavar="SECONDS")
    return parser.parse_args()


def main() -> int:
    arguments = parse_arguments()
    command = [arguments.tool, "--restore", arguments.ipsw]
    command += ["--detect-timeout", arguments.detect_timeout]
    command += ["--restore-timeout", arguments.restore_timeout]
    command += ["--erase"] if arguments.erase else []

    # A tool that is stopped midway leaves its scratch directory behind: keep all of them in ours.
    with tempfile.TemporaryDirectory(prefix="drive.") as scratch:
        environment = os.environ | {"TMPDIR": scratch}
        changes: queue.Queue[Restore | None] = queue.Queue()
        restores = [Restore(ecid) for ecid in dict.fromkeys(arguments.ecid)]
        bench = Bench([Job(each, command, environment, changes) for each in restores], changes)
        for number in (signal.SIGINT, signal.SIGTERM):
            signal.signal(number, bench.interrupt)
        try:
            bench.run()
        except OSError as error:
            print(f"drive.py: can't run {arguments.tool}: {error.strerror}", file=sys.stderr)
            return 2

    print()
    for restore in restores:
        print(f"{restore.ecid}  {restore.result}")
    if bench.is_interrupted:
        return 128 + signal.SIGINT
    return 0 if all(restore.failure is None for restore in restores) else 1


if __name__ == "__main__":
    sys.exit(main())
