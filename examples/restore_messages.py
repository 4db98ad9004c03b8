"""korvrestore's message stream, and what it tells about one device's restore."""

from __future__ import annotations

import argparse
import plistlib
import re
from collections.abc import Iterator
from dataclasses import dataclass


def ecid(text: str) -> str:
    """An ECID on a command line, in the one spelling that the tool gives back."""
    if not re.fullmatch("[0-9A-Fa-f]{16}", text):
        raise argparse.ArgumentTypeError(f"{text!r} is no ECID: 16 hexadecimal digits")
    return text.upper()


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

    @property
    def has_ended(self) -> bool:
        return self.is_restored or self.failure is not None

    @property
    def result(self) -> str:
        return "restored" if self.is_restored else f"FAILED: {self.failure}"

    def fail(self, reason: str) -> None:
        """Unless it has ended before: the first end is the one that counts."""
        if not self.has_ended:
            self.failure = " ".join(reason.split())

    def take(self, message: dict) -> None:
        if self.has_ended:
            return
        value = message["Value"]
        if message["Type"] == "InternalError":
            reason = value.get("FailureReason") or value.get("Description") or "no reason given"
            self.fail(f"{reason} (code {value.get('Code')})")
        elif message["Type"] == "RestoreStatus":
            self.step = " ".join(value.get("TY_OperationName", value["Status"]).split())
            self.progress = value["Progress"]
            if (value["Operation"], value["Progress"]) == (0, 100):
                self._take_end(value)

    def _take_end(self, value: dict) -> None:
        # The end of a restore is reported in the same way whether it went well or not.
        error = value.get("Error")
        if error is None and value["Status"] != "Failed":
            self.is_restored = True
        else:
            self.fail(error["Description"] if isinstance(error, dict) else value["Status"])

    def take_exit(self, status: int, error_output: str) -> None:
        """`status` as subprocess has it: a signal's number is negative."""
        if status < 0:
            self.fail(f"the tool was ended by signal {-status}. {error_output}")
        self.fail(f"the tool ended without a result (exit status {status})")
