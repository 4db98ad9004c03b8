"""The table of results, for programs: tab-separated, a header, a row for each device."""

from __future__ import annotations

import os
import pathlib
import platform
import time

from korvrestore.restore import Restore

HEADER = "ECID\thost\tresult\tstep\tpercentage\tseconds\treason\tended\n"


def row(restore: Restore, now: float, wall_clock: float) -> str:
    """`now` is a time of the restore's clock, `wall_clock` the same moment in time.time()."""
    seconds = restore.seconds(now)
    ended = ""
    if restore.ended is not None:
        moment = time.gmtime(wall_clock - now + restore.ended)
        ended = time.strftime("%Y-%m-%dT%H:%M:%SZ", moment)
    cells = [restore.ecid, restore.host]
    cells += ["stalled" if restore.is_stalled(now) else restore.stage.value, restore.step]
    cells += ["" if restore.progress is None else str(restore.progress)]
    cells += ["" if seconds is None else f"{seconds:.0f}", restore.reason, ended]
    return "\t".join(" ".join(cell.split()) for cell in cells) + "\n"


class Table:
    """A file to which a row is added when a restore ends."""

    def __init__(self, file: pathlib.Path) -> None:
        """Raises OSError."""
        self._file = file.open("a")
        self._host = platform.node()
        if self._file.tell() == 0:
            self._write(HEADER)

    def add(self, restore: Restore) -> None:
        """Raises OSError."""
        restore.host = self._host
        self._write(row(restore, time.monotonic(), time.time()))

    def _write(self, text: str) -> None:
        self._file.write(text)
        self._file.flush()
        os.fsync(self._file.fileno())
