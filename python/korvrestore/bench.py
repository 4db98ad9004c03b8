"""Restores the devices of one bench at the same time."""

from __future__ import annotations

import pathlib
import signal
import sys
import time
from collections import deque
from collections.abc import Callable, Mapping, Sequence
from dataclasses import dataclass, field

from korvrestore.display import Log, Output, Screen, plain, result_line
from korvrestore.loop import Loop
from korvrestore.messages import MessageReader
from korvrestore.recording import Recording
from korvrestore.restore import Restore, Stage, counts
from korvrestore.table import Table
from korvrestore.tool import MARGIN, Tool

NAME = "korvrestore-bench"
_STARTS_PER_STEP = 8  # few, so that the display is still updated


@dataclass
class Settings:
    """Settings that all restores of one run share."""

    tool: str
    options: list[str]  # of the restore
    detect_timeout: int
    restore_timeout: int
    environment: Mapping[str, str]
    keep_open: list[int]  # descriptors that the tools inherit
    record: pathlib.Path | None = None


@dataclass
class Job:
    """One device: if recorded, --device-info first, then its restore."""

    restore: Restore
    settings: Settings
    loop: Loop
    note: Callable[[str], None]  # prints a problem that isn't the restore's
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
        """Ends the job without starting the restore."""
        self.restore.end(Stage.NOT_BEGUN, time.monotonic(), reason)
        self._finish()

    def _finish(self) -> None:
        self._record(Recording.finish)
        self.is_done = True

    def _record(self, action: Callable[[Recording], None]) -> None:
        """An error here (such as a full disk) ends the recording, not the restore."""
        if self.recording is None:
            return
        try:
            action(self.recording)
        except Exception as error:
            self.recording = None
            self.note(f"{self.restore.ecid}: the recording stopped: {error}")


class Bench:
    """All the jobs of one run."""

    FINISH, STOP, KILL = 1, 2, 3  # what signals ask for

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
        """The restores to show."""
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
        """Restores the device as soon as fewer than --at-once restores run."""
        job = Job(Restore(device), self._settings, self._loop, self.note, self._is_stopped)
        if self._settings.record is not None:
            job.recording = Recording(self._settings.record, device)
        self.restores.append(job.restore)
        self._waiting.append(job)

    def withdraw(self, devices: set[str]) -> None:
        """Drops those of the devices whose restore hasn't started yet."""
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
            self.note("interrupted: waiting for the running restores; interrupt again to end them")
        elif self.asked_for == self.STOP:
            self.note("interrupted: ending the tools; interrupt again to kill them")
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
        """Prints lines that aren't redrawn."""
        self._display.print(plain(text))

    def note(self, text: str) -> None:
        """Prints a line that isn't a result."""
        if self._output.can_draw:
            self.print(f"{NAME}: {text}")
        else:
            print(f"{NAME}: {plain(text)}", file=sys.stderr)

    def show_results(self) -> None:
        """Prints the table for people; restores that need attention come last."""
        order = (Stage.RESTORED, Stage.NOT_BEGUN, Stage.FAILED)
        rows = sorted(self.restores, key=lambda restore: order.index(restore.stage))
        lines = ["", *(f"{each.ecid}  {each.result}" for each in rows), "", counts(rows)]
        self.print("\n".join(lines))

    def print_result(self, restore: Restore) -> None:
        """Prints the result of a restore that is no longer shown. A log contains it already."""
        if self._output.can_draw:
            self.print(result_line(restore, time.monotonic()))

    def flush(self) -> None:
        """Waits until all output is written."""
        self._output.flush(wait=True)
