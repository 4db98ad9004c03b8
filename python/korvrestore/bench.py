"""korvrestore-bench: restores the devices of one bench side by side."""

from __future__ import annotations

import argparse
import os
import pathlib
import platform
import signal
import sys
import time
from collections import deque
from collections.abc import Callable, Mapping, Sequence
from dataclasses import dataclass, field

from korvrestore import table
from korvrestore.arguments import DETECT_TIMEOUT, RESTORE_TIMEOUT, ecid, number, read_ecids
from korvrestore.display import Log, Output, Screen, plain, result_line
from korvrestore.loop import Loop
from korvrestore.messages import Message, MessageReader
from korvrestore.recording import Recording
from korvrestore.restore import Restore, Stage, counts
from korvrestore.scratch import Scratch
from korvrestore.tool import MARGIN, Tool

NAME = "korvrestore-bench"
LIST_SECONDS = 2  # how long one list of devices takes when watching
_STARTS_PER_STEP = 8  # few, so that what is shown goes on meanwhile

DESCRIPTION = """
Restores several devices side by side, one process of korvrestore for each. On a terminal it shows
all of them in place; otherwise, and with TERM=dumb, it prints a line when a restore begins, at each
tenth, and when it ends. With --watch it restores every device that appears, until it is interrupted.
"""
EPILOG = """
A signal (SIGINT, SIGTERM, SIGHUP) ends the tools, a second one kills them; those that don't end in
ten seconds are killed, too. With --watch the first SIGINT lets the running restores finish. The exit
status is 0 if every device was restored, 1 if one wasn't, 2 if nothing could be begun, 128 and the
signal's number after a signal.
"""


@dataclass
class Settings:
    """What all restores of one run have in common."""

    tool: str
    options: list[str]  # of the restore
    detect_timeout: int
    restore_timeout: int
    environment: Mapping[str, str]
    keep_open: list[int]  # descriptors that the tools inherit
    record: pathlib.Path | None = None


@dataclass
class Job:
    """One device: perhaps a question for its properties, then its restore."""

    restore: Restore
    settings: Settings
    loop: Loop
    note: Callable[[str], None]  # prints what went wrong beside the restore
    is_interrupted: Callable[[], bool]
    recording: Recording | None = None
    is_done: bool = False
    is_startable: bool = True
    _reader: MessageReader = field(default_factory=MessageReader)
    _tool: Tool | None = None

    def begin(self) -> None:
        self.restore.begin(time.monotonic())
        if self.recording is None:
            self._begin_restore()
            return
        answer = bytearray()

        def done(_: Tool) -> None:
            self._record(lambda recording: recording.take_device_info(bytes(answer)))
            self._begin_restore()

        self._run(["--device-info"], MARGIN + self.settings.detect_timeout, answer.extend, done)

    def _begin_restore(self) -> None:
        if self.is_interrupted():
            self.give_up("interrupted before it was begun")
            return
        timeouts = self.settings.detect_timeout + self.settings.restore_timeout
        self._record(Recording.start)
        self._tool = self._run(self.settings.options, timeouts + MARGIN, self._take, self._end)

    def _run(
        self,
        options: list[str],
        limit: float,
        take: Callable[[bytes], None],
        done: Callable[[Tool], None],
    ) -> Tool | None:
        settings = self.settings
        line = [settings.tool, *options, "--ecid", self.restore.ecid]
        line += ["--detect-timeout", str(settings.detect_timeout)]
        try:
            return self.loop.start(
                line,
                limit=limit,
                take=take,
                done=done,
                environment=settings.environment,
                keep_open=settings.keep_open,
            )
        except OSError as error:
            self.is_startable = False
            self.give_up(f"can't run {settings.tool}: {error.strerror}")
            return None

    def _take(self, data: bytes) -> None:
        self._record(lambda recording: recording.write(data))
        for message in self._reader.feed(data):
            self.restore.take(message, time.monotonic())
        if self.restore.has_ended and self._tool is not None:
            self._tool.end_soon()

    def _end(self, tool: Tool) -> None:
        now = time.monotonic()
        for message in self._reader.finish():
            self.restore.take(message, now)
        self.restore.take_end("interrupted" if self.is_interrupted() else tool.outcome, now)
        self._finish()

    def give_up(self, reason: str) -> None:
        """The restore isn't begun."""
        self.restore.end(Stage.NOT_BEGUN, time.monotonic(), reason)
        self._finish()

    def _finish(self) -> None:
        self._record(Recording.finish)
        self.is_done = True

    def _record(self, action: Callable[[Recording], None]) -> None:
        """What goes wrong here (a full disk, say) ends the recording, not the restore."""
        if self.recording is None:
            return
        try:
            action(self.recording)
        except Exception as error:
            self.recording = None
            self.note(f"{self.restore.ecid}: the recording is broken off: {error}")


class Table:
    """The file of --table: a row is added when a restore ends."""

    def __init__(self, file: pathlib.Path) -> None:
        """Raises OSError."""
        self._file = file.open("a")
        self._host = platform.node()
        if self._file.tell() == 0:
            self._write(table.HEADER)

    def add(self, restore: Restore) -> None:
        """Raises OSError."""
        restore.host = self._host
        self._write(table.row(restore, time.monotonic(), time.time()))

    def _write(self, text: str) -> None:
        self._file.write(text)
        self._file.flush()
        os.fsync(self._file.fileno())


class Bench:
    """All the jobs of one run."""

    FINISH, STOP, KILL = 1, 2, 3  # what signals have asked for

    def __init__(
        self,
        loop: Loop,
        settings: Settings,
        at_once: int | None,
        results: Table | None,
        *,
        is_watching: bool,
    ) -> None:
        self.restores: list[Restore] = []
        """Those to show."""
        self.is_startable = True
        self.asked_for = 0
        self._loop = loop
        self._settings = settings
        self._at_once = at_once
        self._results = results
        self._least = self.FINISH if is_watching else self.STOP  # what SIGINT asks for
        self._waiting: deque[Job] = deque()
        self._running: list[Job] = []
        self._signals_seen = 0
        self._output = Output()
        self._display: Screen | Log
        self._display = Screen(self._output) if self._output.can_draw else Log(self._output)

    @property
    def is_busy(self) -> bool:
        return bool(self._waiting or self._running or self._loop.running)

    def add(self, device: str) -> None:
        """Restores the device as soon as there is a place."""
        job = Job(Restore(device), self._settings, self._loop, self.note, self._is_stopped)
        if self._settings.record is not None:
            job.recording = Recording(self._settings.record, device)
        self.restores.append(job.restore)
        self._waiting.append(job)

    def withdraw(self, devices: set[str]) -> None:
        """Doesn't restore those of the devices that still wait for a place."""
        for job in [job for job in self._waiting if job.restore.ecid in devices]:
            self._waiting.remove(job)
            self.restores.remove(job.restore)

    def step(self, before: Sequence[Restore] = ()) -> list[Restore]:
        """Waits for the next event and handles it. Returns the restores that have ended. The counts
        include those of `before`."""
        self._loop.step()
        self._handle_signals()
        for _ in range(_STARTS_PER_STEP):
            if not self._waiting or len(self._running) == self._at_once:
                break
            job = self._waiting.popleft()
            self._running.append(job)
            job.begin()
        ended = [job for job in self._running if job.is_done]
        for job in ended:
            self._running.remove(job)
            self.is_startable &= job.is_startable
            self._tabulate(job.restore)
        self._display.update(self.restores, time.monotonic(), before)
        return [job.restore for job in ended]

    def _handle_signals(self) -> None:
        for number in self._loop.signals[self._signals_seen :]:
            self._signals_seen += 1
            least = self._least if number == signal.SIGINT else self.STOP
            self._interrupt(max(self.asked_for + 1, least))

    def _interrupt(self, asked_for: int) -> None:
        self.asked_for = min(asked_for, self.KILL)
        for job in self._waiting:
            job.give_up("interrupted before it was begun")
            self._running.append(job)
        self._waiting.clear()
        if self.asked_for == self.FINISH:
            self.note("interrupted: the running restores are finished; once more ends them")
        elif self.asked_for == self.STOP:
            self.note("interrupted: the tools are ended; once more kills them")
            self._loop.stop()
        else:
            self._loop.kill()

    def _is_stopped(self) -> bool:
        return self.asked_for >= self.STOP

    def _tabulate(self, restore: Restore) -> None:
        if self._results is None:
            return
        try:
            self._results.add(restore)
        except OSError as error:
            self.note(f"{restore.ecid}: no row in the table: {error}")

    def print(self, text: str) -> None:
        """Lines that stay."""
        self._display.print(plain(text))

    def note(self, text: str) -> None:
        """What isn't a result."""
        if self._output.can_draw:
            self.print(f"{NAME}: {text}")
        else:
            print(f"{NAME}: {plain(text)}", file=sys.stderr)

    def show_results(self) -> None:
        """The table for people: what needs attention comes last."""
        order = (Stage.RESTORED, Stage.NOT_BEGUN, Stage.FAILED)
        rows = sorted(self.restores, key=lambda restore: order.index(restore.stage))
        lines = ["", *(f"{each.ecid}  {each.result}" for each in rows), "", counts(rows)]
        self.print("\n".join(lines))

    def print_result(self, restore: Restore) -> None:
        """Of a restore that isn't shown any more. A log has it already."""
        if self._output.can_draw:
            self.print(result_line(restore, time.monotonic()))

    def flush(self) -> None:
        """Waits until all has been written."""
        self._output.flush(wait=True)


class Watch:
    """Restores every device that appears."""

    def __init__(
        self, loop: Loop, bench: Bench, settings: Settings, only: Sequence[str] | None
    ) -> None:
        self.is_startable = True
        self._loop = loop
        self._bench = bench
        self._settings = settings
        self._only = None if only is None else set(only)
        self._busy: set[str] = set()
        # Devices that were restored or failed, and when: left alone until a list that was begun
        # later lacks them.
        self._left_alone: dict[str, float] = {}
        self._next_list: float | None = 0.0  # None while one runs
        self._complaint = ""
        self._ended: list[Restore] = []

    def run(self) -> None:
        """Until a signal has come and what was begun has ended."""
        while self._bench.asked_for == 0 and self.is_startable or self._bench.is_busy:
            if self._bench.asked_for == 0 and self.is_startable:
                self._ask()
            for restore in self._bench.step(self._ended):
                self._take_result(restore)
        self._bench.print(f"\n{counts(self._ended)}")

    def _take_result(self, restore: Restore) -> None:
        self._busy.remove(restore.ecid)
        self._left_alone[restore.ecid] = time.monotonic()
        self._ended.append(restore)
        self._bench.restores.remove(restore)
        self._bench.print_result(restore)

    def _ask(self) -> None:
        start = time.monotonic()
        if self._next_list is None or start < self._next_list:
            return
        answer = bytearray()

        def done(tool: Tool) -> None:
            self._next_list = time.monotonic() + 1
            for message in MessageReader().feed(bytes(answer)):
                if isinstance(message, Message) and message.type == "DeviceList":
                    self._take_list(set(message.value), start)
                    return
            if self._bench.asked_for == 0:
                self._complain(tool.outcome)

        self._next_list = None
        line = [self._settings.tool, "--list-devices", "--detect-timeout", str(LIST_SECONDS)]
        try:
            self._loop.start(
                line,
                limit=LIST_SECONDS + MARGIN,
                take=answer.extend,
                done=done,
                environment=self._settings.environment,
                keep_open=self._settings.keep_open,
            )
        except OSError as error:
            self.is_startable = False
            self._bench.note(f"can't run {self._settings.tool}: {error.strerror}")

    def _take_list(self, listed: set[str], start: float) -> None:
        self._complaint = ""
        self._left_alone = {
            device: end
            for device, end in self._left_alone.items()
            if device in listed or end > start
        }
        gone = {restore.ecid for restore in self._bench.restores if restore.began is None} - listed
        self._bench.withdraw(gone)
        self._busy -= gone
        if self._bench.asked_for:
            return
        for device in sorted(listed - self._busy - self._left_alone.keys()):
            if self._only is None or device in self._only:
                self._busy.add(device)
                self._bench.add(device)

    def _complain(self, reason: str) -> None:
        """Once, however often it happens."""
        if reason != self._complaint:
            self._complaint = reason
            self._bench.note(f"the devices can't be listed: {reason}")


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog=NAME, description=DESCRIPTION, epilog=EPILOG)
    parser.add_argument("ipsw", help="the firmware bundle")
    parser.add_argument("ecid", nargs="*", type=ecid, help="a device: 16 hexadecimal digits")
    parser.add_argument("--erase", action="store_true", help="erase the devices (default: update)")
    parser.add_argument(
        "--detect-timeout",
        type=number,
        default=DETECT_TIMEOUT,
        metavar="SECONDS",
        help="how long to wait for each device (default: %(default)s)",
    )
    parser.add_argument(
        "--restore-timeout",
        type=number,
        default=RESTORE_TIMEOUT,
        metavar="SECONDS",
        help="how long to wait for the end of each restore, from when the device was found; a tool "
        "that takes a minute longer than both timeouts is ended (default: %(default)s)",
    )
    parser.add_argument(
        "--at-once", type=number, metavar="N", help="restore at most N devices at a time"
    )
    parser.add_argument(
        "--record",
        type=pathlib.Path,
        metavar="FOLDER",
        help="keep the messages, and scenarios that play them again, in a new folder",
    )
    parser.add_argument(
        "--table",
        type=pathlib.Path,
        metavar="FILE",
        help="append a row for each result to this tab-separated file (default with --watch: "
        "results.tsv)",
    )
    parser.add_argument(
        "--watch",
        action="store_true",
        help="restore every device that appears, until interrupted; one that was restored or failed "
        "is left alone until it has been away",
    )
    parser.add_argument(
        "--only",
        type=pathlib.Path,
        metavar="FILE",
        help="with --watch: restore no device but those of this list, an ECID on each line",
    )
    parser.add_argument(
        "--tool", default="korvrestore", metavar="PROGRAM", help="default: korvrestore, from PATH"
    )
    arguments = parser.parse_intermixed_args()  # options may stand between the ECIDs
    if arguments.at_once == 0:
        parser.error("--at-once: at least 1")
    if arguments.watch:
        if arguments.ecid:
            parser.error("--watch takes no ECID; --only FILE limits it to some devices")
        if arguments.record:
            parser.error("--watch can't record")
        arguments.table = arguments.table or pathlib.Path("results.tsv")
    elif arguments.only:
        parser.error("--only goes with --watch")
    elif not arguments.ecid:
        parser.error("no ECID given, and no --watch")
    return arguments


def main() -> int:
    arguments = parse_arguments()
    options = ["--restore", arguments.ipsw, "--restore-timeout", str(arguments.restore_timeout)]
    options += ["--erase"] if arguments.erase else []
    try:
        only = None if arguments.only is None else read_ecids(arguments.only)
        results = None if arguments.table is None else Table(arguments.table)
        if arguments.record is not None:
            arguments.record.mkdir()
        # A tool that is stopped midway leaves its own folder behind: keep all of them in ours.
        scratch = Scratch(NAME)
    except (OSError, ValueError) as error:
        print(f"{NAME}: {error}", file=sys.stderr)
        return 2
    with scratch as folder:
        settings = Settings(
            arguments.tool,
            options,
            arguments.detect_timeout,
            arguments.restore_timeout,
            os.environ | {"TMPDIR": folder},
            [scratch.descriptor],
            arguments.record,
        )
        with Loop() as loop:
            bench = Bench(loop, settings, arguments.at_once, results, is_watching=arguments.watch)
            if arguments.watch:
                watch = Watch(loop, bench, settings, only)
                watch.run()
                status = 0 if watch.is_startable else 2
            else:
                try:
                    for device in dict.fromkeys(arguments.ecid):
                        bench.add(device)
                except OSError as error:
                    print(f"{NAME}: can't record: {error}", file=sys.stderr)
                    return 2
                while bench.is_busy:
                    bench.step()
                bench.show_results()
                is_restored = all(each.stage is Stage.RESTORED for each in bench.restores)
                status = 0 if is_restored else 1 if bench.is_startable else 2
        bench.flush()
    return 128 + loop.signals[0] if loop.signals else status
