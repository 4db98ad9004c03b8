"""Runs several tools at the same time, in one thread.

One thread, because Linux kills a tool when the thread that started it ends, and because a child of
a program with several threads can't safely call anything before it runs the tool.
"""

from __future__ import annotations

import os
import selectors
import signal
from collections.abc import Callable, Mapping, Sequence
from dataclasses import dataclass
from types import FrameType

from korvrestore.tool import Tool

_TICK = 0.1  # seconds


@dataclass
class _Run:
    tool: Tool
    take: Callable[[bytes], None]
    done: Callable[[Tool], None]


class Loop:
    """Starts tools, passes on their messages, enforces their limits, ends them on a signal."""

    def __init__(self) -> None:
        """Handles SIGINT, SIGTERM and SIGHUP from now on. Only in the main thread."""
        self.signals: list[int] = []
        """The signals that have arrived, in order."""
        self._reading: dict[int, _Run] = {}
        self._ending: list[_Run] = []
        self._selector = selectors.DefaultSelector()
        self._woken, waker = os.pipe()
        os.set_blocking(self._woken, False)
        os.set_blocking(waker, False)
        self._selector.register(self._woken, selectors.EVENT_READ)
        signal.set_wakeup_fd(waker, warn_on_full_buffer=False)
        self._handled = [signal.SIGINT, signal.SIGTERM]
        if signal.getsignal(signal.SIGHUP) is not signal.SIG_IGN:  # nohup
            self._handled.append(signal.SIGHUP)
        for number in self._handled:
            signal.signal(number, self._note_signal)

    def __enter__(self) -> Loop:
        return self

    def __exit__(self, *_: object) -> None:
        """Ends what still runs. From now on signals end the program as usual."""
        for run in self._all():
            run.tool.close()
        signal.set_wakeup_fd(-1)
        for number in self._handled:
            signal.signal(number, signal.SIG_DFL)

    def start(
        self,
        command: Sequence[str],
        *,
        limit: float,
        take: Callable[[bytes], None],
        done: Callable[[Tool], None],
        environment: Mapping[str, str] | None = None,
        keep_open: Sequence[int] = (),
    ) -> Tool:
        """Starts a tool. `take` is called with each part of its stream, `done` once it has ended
        and is closed. Raises OSError if it can't be started."""
        tool = Tool(command, limit=limit, environment=environment, keep_open=keep_open)
        self._reading[tool.fileno()] = _Run(tool, take, done)
        self._selector.register(tool, selectors.EVENT_READ)
        return tool

    @property
    def running(self) -> int:
        """The number of running tools."""
        return len(self._reading) + len(self._ending)

    def stop(self) -> None:
        """Stops all tools; those that don't end in ten seconds are killed."""
        for run in self._all():
            run.tool.stop()

    def kill(self) -> None:
        for run in self._all():
            run.tool.kill()

    def step(self) -> None:
        """Waits for the next event, at most a tenth of a second, and handles it."""
        for key, _ in self._selector.select(_TICK):
            if key.fd == self._woken:
                os.read(self._woken, 4096)
            else:
                self._read(self._reading[key.fd])
        for run in self._all():
            run.tool.keep_limit()
        for run in [run for run in self._ending if run.tool.has_ended()]:
            self._ending.remove(run)
            run.tool.close()
            run.done(run.tool)

    def _read(self, run: _Run) -> None:
        if data := run.tool.read():
            run.take(data)
            return
        self._selector.unregister(run.tool)
        self._ending.append(self._reading.pop(run.tool.fileno()))

    def _all(self) -> list[_Run]:
        return [*self._reading.values(), *self._ending]

    def _note_signal(self, number: int, _: FrameType | None) -> None:
        self.signals.append(number)
