"""The state of one device's restore, as its messages report it."""

from __future__ import annotations

import enum
from collections.abc import Sequence
from dataclasses import dataclass
from typing import Any

from korvrestore.messages import Message, Unreadable

STALLED_AFTER = 30.0
"""Seconds without a report after which a restore counts as stalled."""

# The tool reports these codes before it asks the device for anything: invalid argument, bad
# command, no such device, unreadable restore options.
_NOT_BEGUN = (2, 3, 4, 8)


class Stage(enum.Enum):
    """Where a restore is. The values are the words of a table of results."""

    WAITING = "waiting"
    RUNNING = "running"
    RESTORED = "restored"
    FAILED = "failed"
    NOT_BEGUN = "not begun"
    UNKNOWN = "unknown"  # its host can't be asked


_ENDS = (Stage.RESTORED, Stage.FAILED, Stage.NOT_BEGUN)


@dataclass
class Restore:
    """One device's restore. `take` every message, then call `take_end`.

    All times are seconds of one clock, which the caller chooses. `step` and `progress` come from
    the last report before the end: they show where a restore failed.
    """

    ecid: str
    host: str = ""
    stage: Stage = Stage.WAITING
    step: str = ""
    progress: int | None = None  # per cent, as reported: it may be beyond 0 to 100
    reason: str = ""  # why it failed or wasn't begun
    began: float | None = None
    reported: float | None = None  # the last message, or the start
    ended: float | None = None
    _unreadable: str = ""

    @property
    def has_ended(self) -> bool:
        return self.stage in _ENDS

    @property
    def place(self) -> str:
        """The last step, as "37 % (Sending the system image)"; empty without a report."""
        return "" if self.progress is None else f"{self.progress} % ({self.step})"

    @property
    def result(self) -> str:
        """One line for people."""
        word = self.stage.value
        if self.stage is Stage.RESTORED:
            return word
        at = f" at {self.place}" if self.place else ""
        return f"{word.upper()}{at}: {self.reason}" if self.reason else f"{word}{at}"

    def seconds(self, now: float) -> float | None:
        """The duration of the restore, or of the part so far."""
        end = self.ended if self.ended is not None else now
        return None if self.began is None else max(0.0, end - self.began)

    def silence(self, now: float) -> float:
        """Seconds since the last report."""
        return 0.0 if self.reported is None else max(0.0, now - self.reported)

    def is_stalled(self, now: float) -> bool:
        is_going_on = self.stage in (Stage.WAITING, Stage.RUNNING)
        return is_going_on and self.silence(now) >= STALLED_AFTER

    def begin(self, now: float) -> None:
        self.began = self.reported = now

    def end(self, stage: Stage, now: float, reason: str = "") -> None:
        """Sets the result, unless the restore has ended before: only the first end counts."""
        if not self.has_ended:
            self.stage, self.ended, self.reason = stage, now, " ".join(reason.split())

    def take(self, message: Message | Unreadable, now: float) -> None:
        """Takes one message. Messages that aren't about a restore are ignored."""
        if self.has_ended:
            return
        self.reported = now
        if isinstance(message, Unreadable):
            self._unreadable = message.reason
        elif isinstance(message.value, dict):
            if message.type == "InternalError":
                self._take_error(message.value, now)
            elif message.type == "RestoreStatus":
                self._take_status(message.value, now)

    def take_end(self, reason: str, now: float) -> None:
        """Call it when the tool has ended, with the `reason`. Used if no message has the result."""
        if self._unreadable:
            reason = f"the last message can't be read ({self._unreadable}); {reason}"
        self.end(Stage.FAILED, now, reason)

    def _take_error(self, value: dict[str, Any], now: float) -> None:
        code = value.get("Code")
        untouched = code in _NOT_BEGUN and value.get("Domain") == "korvrestore"
        reason = value.get("FailureReason") or value.get("Description") or "no reason given"
        stage = Stage.NOT_BEGUN if untouched else Stage.FAILED
        self.end(stage, now, f"{reason} (code {code})")

    def _take_status(self, value: dict[str, Any], now: float) -> None:
        progress, status = value.get("Progress"), value.get("Status")
        if not isinstance(progress, (int, float)):
            return
        self._unreadable = ""
        # The end of a restore is reported in the same way whether it went well or not.
        if (value.get("Operation"), progress) == (0, 100):
            error = value.get("Error")
            if error is None and status != "Failed":
                self.progress = 100
                self.end(Stage.RESTORED, now)
            else:
                given = error.get("Description") if isinstance(error, dict) else None
                self.end(Stage.FAILED, now, str(given or status))
            return
        self.stage = Stage.RUNNING
        self.step = " ".join(str(value.get("TY_OperationName", status)).split())
        self.progress = int(progress)


def counts(restores: Sequence[Restore], now: float | None = None) -> str:
    """The line under a table of results: "37 restored, 2 failed, 1 not begun". With `now`, stalled
    restores are counted separately."""
    words = [
        "stalled" if now is not None and each.is_stalled(now) else each.stage.value
        for each in restores
    ]
    order = ("restored", "failed", "not begun", "unknown", "stalled", "running", "waiting")
    return (
        ", ".join(f"{words.count(each)} {each}" for each in order if each in words) or "no device"
    )
