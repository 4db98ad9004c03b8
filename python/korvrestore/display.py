"""The programs' output: rows that fit a terminal, or lines for a log."""

from __future__ import annotations

import os
import select
import sys
import textwrap
import time
import unicodedata
from collections.abc import Sequence

from korvrestore.restore import Restore, Stage, counts

_ORDER = [Stage.FAILED, Stage.UNKNOWN, None]  # None: stalled
_ORDER += [Stage.RUNNING, Stage.WAITING, Stage.NOT_BEGUN, Stage.RESTORED]
_BAR = 12


def duration(seconds: float) -> str:
    """Formatted as 0:05, 12:34 or 1:02:03."""
    minutes, rest = divmod(int(seconds), 60)
    hours, minutes = divmod(minutes, 60)
    return f"{hours}:{minutes:02}:{rest:02}" if hours else f"{minutes}:{rest:02}"


def plain(text: str) -> str:
    """Replaces control characters of a terminal."""
    return "".join(each if each.isprintable() or each == "\n" else "?" for each in text)


def result_line(restore: Restore, now: float) -> str:
    """A line with a device's result."""
    seconds = restore.seconds(now)
    taken = "" if seconds is None else f" ({duration(seconds)})"
    return f"{restore.ecid}  {restore.result}{taken}"


def _columns(character: str) -> int:
    if unicodedata.combining(character):
        return 0
    return 2 if unicodedata.east_asian_width(character) in "WF" else 1


def fit(text: str, width: int) -> str:
    """The text in exactly `width` columns: cut or padded, without characters that would move the
    cursor."""
    fitting, left = "", width
    for character in plain(text):
        if (columns := _columns(character)) > left:
            break
        fitting, left = fitting + character, left - columns
    return fitting + " " * left


def in_order(restores: Sequence[Restore], now: float) -> list[Restore]:
    """Failed ones first, then stalled, running, waiting and restored ones."""

    def place(restore: Restore) -> int:
        return _ORDER.index(None if restore.is_stalled(now) else restore.stage)

    return sorted(restores, key=place)


def _text(restore: Restore, now: float) -> str:
    if restore.is_stalled(now):
        step = restore.step or "waiting for the device"
        return f"stalled {duration(restore.silence(now))}, {step}"
    if restore.reason:
        step = f", {restore.step}" if restore.step else ""
        return f"{restore.stage.value.upper()}{step}: {restore.reason}"
    if restore.stage is Stage.RESTORED:
        return "restored"
    if restore.began is None:
        return "waits for its turn"
    return restore.step or "waiting for the device"


def _row(restore: Restore, now: float, width: int, digits: int) -> str:
    percent = restore.progress
    left = f"{restore.ecid[-digits:]} " + ("    -" if percent is None else f"{percent:3} %")
    right = ""
    if not restore.reason:
        seconds = restore.seconds(now)
        time_taken = "" if seconds is None else duration(seconds)
        if width >= 72 and seconds is not None and not restore.is_stalled(now):
            full = max(0, min(percent or 0, 100)) * _BAR // 100
            right += f" [{'#' * full:<{_BAR}}]"
        if width >= 40:
            right += f" {time_taken:>7}"
    text = _text(restore, now)
    middle = fit(text, max(0, width - len(left) - len(right) - 1))
    return fit(f"{left} {middle}{right}", width).rstrip()


def _digits(restores: Sequence[Restore], width: int) -> int:
    """The number of ECID digits to show: all, or the fewest that distinguish the devices."""
    digits = 16 if width >= 60 else 8 if width >= 40 else 4
    while digits < 16 and len({each.ecid[-digits:] for each in restores}) < len(restores):
        digits += 1
    return digits


def render(
    restores: Sequence[Restore],
    now: float,
    width: int,
    height: int | None = None,
    before: Sequence[Restore] = (),
) -> list[str]:
    """Lines of at most `width` columns: a row for each device, as many as fit into `height` lines,
    then the counts, which include those of `before`. Restored ones are hidden first."""
    last = counts([*before, *restores], now)
    shown = in_order(restores, now)
    if height is not None and len(shown) + len(textwrap.wrap(last, max(width, 10))) > height:
        shown = [restore for restore in shown if restore.stage is not Stage.RESTORED]
    digits = _digits(restores, width)
    hidden = 0
    while True:
        more = f"{hidden} more not shown; " if hidden else ""
        footer = textwrap.wrap(more + last, max(width, 10))
        room = len(shown) if height is None else max(0, height - len(footer))
        if len(shown) - hidden <= room:
            break
        hidden = len(shown) - room
    rows = [_row(restore, now, width, digits) for restore in shown[: len(shown) - hidden]]
    return rows + [fit(line, width).rstrip() for line in footer[:height]]


class Output:
    """Standard output, written without waiting for its reader: a terminal whose connection hangs,
    or that is stopped with Ctrl-S, must not delay the restores."""

    def __init__(self) -> None:
        self._pending = b""
        if sys.stdout is None:  # closed by the caller
            sys.stdout = open(os.devnull, "w")
        self._encoding = sys.stdout.encoding
        self._descriptor = sys.stdout.fileno()
        self.is_terminal = os.isatty(self._descriptor)
        self.can_draw = self.is_terminal and os.environ.get("TERM", "dumb") not in ("", "dumb")
        """Whether lines can be drawn in place."""
        if self.is_terminal:
            # Opened again: the shell shares our descriptor, and would get its non-blocking mode.
            try:
                name = os.ttyname(self._descriptor)
                self._descriptor = os.open(name, os.O_WRONLY | os.O_NOCTTY | os.O_NONBLOCK)
            except OSError:
                pass

    @property
    def is_idle(self) -> bool:
        """Whether the terminal or pipe has accepted all output."""
        return not self._pending

    def size(self) -> tuple[int, int]:
        """Columns and rows."""
        try:
            columns, rows = os.get_terminal_size(sys.stdout.fileno())
        except OSError:
            columns = rows = 0
        return columns or 80, rows or 24

    def write(self, text: str) -> None:
        self._pending += text.encode(self._encoding, errors="replace")
        self.flush()

    def flush(self, *, wait: bool = False) -> None:
        """Writes what can be written now; with `wait` all of it."""
        while self._pending:
            poll = select.poll()
            poll.register(self._descriptor, select.POLLOUT)
            if not poll.poll(None if wait else 0):
                return
            try:  # a pipe that can be written to takes this much without waiting
                written = os.write(self._descriptor, self._pending[: select.PIPE_BUF])
            except BlockingIOError:
                if not wait:
                    return
                time.sleep(0.01)
                continue
            except OSError:  # the reader has gone; the restores continue
                self._descriptor = os.open(os.devnull, os.O_WRONLY)
                continue
            self._pending = self._pending[written:]


class Screen:
    """Rows drawn in place, below the earlier output of the terminal."""

    def __init__(self, output: Output) -> None:
        self._output = output
        self._drawn: list[str] = []
        self._size = output.size()

    def update(
        self, restores: Sequence[Restore], now: float, before: Sequence[Restore] = ()
    ) -> None:
        """Draws the rows if they have changed and the terminal has accepted the last ones."""
        if not self._output.is_idle:
            self._output.flush()
            return
        columns, rows = self._output.size()
        lines = render(restores, now, columns - 1, max(1, rows - 1), before)
        if lines == self._drawn and self._size == (columns, rows):
            return
        begin = self._to_the_first_row()
        self._output.write(begin + "".join(f"{line}\x1b[K\n" for line in lines) + "\x1b[J")
        self._drawn = lines

    def print(self, text: str) -> None:
        """Writes permanent lines above the rows. The next update draws the rows again."""
        self._output.write(f"{self._to_the_first_row()}\x1b[J{text}\n")

    def _to_the_first_row(self) -> str:
        drawn, self._drawn = len(self._drawn), []
        if self._size != (size := self._output.size()):
            self._size = size
            return "\x1b[2J\x1b[H"  # only the terminal knows where the rows are now
        return f"\x1b[{drawn}A\r" if drawn else ""


class Log:
    """Lines when a restore begins, at every 10 %, and when it ends; or only when it ends."""

    def __init__(self, output: Output, *, ends_only: bool = False) -> None:
        self._output = output
        self._ends_only = ends_only
        self._tenths: dict[str, int] = {}

    def update(
        self, restores: Sequence[Restore], now: float, before: Sequence[Restore] = ()
    ) -> None:
        shown = {restore.ecid for restore in restores}
        self._tenths = {ecid: each for ecid, each in self._tenths.items() if ecid in shown}
        for restore in restores:
            if not restore.has_ended and (self._ends_only or restore.began is None):
                continue
            tenth = 99 if restore.has_ended else min((restore.progress or 0) // 10, 10)
            last = self._tenths.get(restore.ecid, -1)
            if tenth <= last:
                continue
            self._tenths[restore.ecid] = tenth
            if last == -1 and restore.began is not None and not self._ends_only:
                self.print(f"{restore.ecid}  begun")
            if restore.has_ended:
                self.print(result_line(restore, now))
            elif tenth > 0:
                self.print(f"{restore.ecid}  {restore.progress:3} %  {restore.step}")

    def print(self, text: str) -> None:
        self._output.write(f"{plain(text)}\n")
