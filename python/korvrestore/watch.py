"""Restores every device that appears."""

from __future__ import annotations

import time
from collections.abc import Sequence

from korvrestore.bench import Bench, Settings
from korvrestore.loop import Loop
from korvrestore.messages import Message, MessageReader
from korvrestore.restore import Restore, counts
from korvrestore.tool import MARGIN, Tool

LIST_SECONDS = 2  # how long one list of devices takes


class Watch:
    """Lists the devices repeatedly, and restores new ones."""

    def __init__(
        self, loop: Loop, bench: Bench, settings: Settings, only: Sequence[str] | None
    ) -> None:
        self.is_startable = True
        self._loop = loop
        self._bench = bench
        self._settings = settings
        self._only = None if only is None else set(only)
        self._busy: set[str] = set()
        # Devices that were restored or failed, with the time. They are ignored until a list that
        # was started after that time lacks them.
        self._left_alone: dict[str, float] = {}
        self._next_list: float | None = 0.0  # None while one runs
        self._complaint = ""
        self._ended: list[Restore] = []

    def run(self) -> None:
        """Runs until a signal has arrived and the started restores have ended."""
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
        """Reports a failure to list the devices, unless the last one had the same reason."""
        if reason != self._complaint:
            self._complaint = reason
            self._bench.note(f"the devices can't be listed: {reason}")
