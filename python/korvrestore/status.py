"""korvrestore-status: the progress of the restores in a folder, also while they run."""

from __future__ import annotations

import argparse
import contextlib
import pathlib
import re
import sys
import time

from korvrestore import table
from korvrestore.display import Log, Output, Screen, in_order, render
from korvrestore.loop import Loop
from korvrestore.messages import DocumentSplitter, parse
from korvrestore.restore import Restore

NAME = "korvrestore-status"
DESCRIPTION = """
Shows the restores in a folder of korvrestore-bench --record or of korvrestore-fleet, also while
they run: failed ones first, then stalled, running and restored ones. On a terminal it shows as many
as fit, otherwise all.
"""
# Only these documents can end a restore. Most others aren't parsed, because parsing is slow.
_END = re.compile(
    rb"<string>InternalError</string>|<key>Operation</key>\s*<(?:integer|real)>[+-]?0+(?:\.0*)?<"
)

# What a host of a fleet reports at the end.
_EXIT = re.compile(r"exit status (?P<status>\d+) after (?P<seconds>\d+) s$", re.MULTILINE)


class Stream:
    """The growing file of one device's messages, ECID.messages."""

    def __init__(self, file: pathlib.Path, host: str = "") -> None:
        self.restore = Restore(file.stem, host)
        self._file = file
        self._size = 0
        self._splitter = DocumentSplitter()
        self._last: bytes | None = None  # a document that hasn't been parsed

    def refresh(self) -> None:
        """Reads the new part of the file. Raises OSError."""
        if self.restore.has_ended:
            return
        with contextlib.suppress(FileNotFoundError):
            status = self._file.stat()
            if self.restore.began is None:
                self.restore.begin(_start(self._file, status.st_mtime))
            if status.st_size > self._size:
                self._read(status.st_mtime)
        self._read_end()

    def _read(self, now: float) -> None:
        with self._file.open("rb") as file:
            file.seek(self._size)
            data = file.read()
        self._size += len(data)
        documents = self._splitter.feed(data)
        for document in documents:
            if _END.search(document):
                self._take_last(now)  # where it was when it ended
                self.restore.take(parse(document), now)
                self._last = None
            else:
                self._last = document
        self._take_last(now)
        self.restore.reported = now

    def _take_last(self, now: float) -> None:
        if self._last is not None:
            self.restore.take(parse(self._last), now)
            self._last = None

    def _read_end(self) -> None:
        """Reads how the tool ended, if a file beside the messages contains that."""
        if self.restore.has_ended:
            return
        end = self._file.with_suffix(".end")  # of a fleet
        with contextlib.suppress(FileNotFoundError):
            now = end.stat().st_mtime
            match = _EXIT.match(end.read_text())
            if match is None:
                self.restore.take_end("broken off: the tool is gone", now)
            else:
                self.restore.take_end(_how_it_ended(int(match["status"])), now)
                self.restore.began = now - int(match["seconds"])
        scenario = self._file.with_suffix(".plist")  # of a recording, written at its end
        with contextlib.suppress(FileNotFoundError):
            self.restore.take_end("the tool ended without a result", scenario.stat().st_mtime)


def _how_it_ended(status: int) -> str:
    """`status` is an exit status in a shell."""
    if status == 124:
        return "the tool took too long and was stopped"
    if status > 128:
        return f"the tool was ended by signal {status - 128}"
    return f"the tool ended without a result (exit status {status})"


def _start(messages: pathlib.Path, otherwise: float) -> float:
    """The time when the restore began, if a file contains it, else `otherwise`."""
    times, log = messages.with_suffix(".times"), messages.with_suffix(".log")
    with contextlib.suppress(FileNotFoundError, ValueError):
        lines = times.read_text().split("\n")
        return times.stat().st_mtime - (float(lines[-2].split()[0]) if len(lines) > 1 else 0)
    with contextlib.suppress(FileNotFoundError, ValueError), log.open(errors="replace") as file:
        return float(file.readline().removeprefix("asked since "))
    return otherwise


class Streams:
    """All restores of a folder, in the order of their ECIDs."""

    def __init__(self, path: pathlib.Path) -> None:
        """Raises OSError if it can't be read."""
        self._path = path
        self._streams: dict[str, Stream] = {}
        self.refresh()

    @property
    def restores(self) -> list[Restore]:
        return [stream.restore for _, stream in sorted(self._streams.items())]

    def refresh(self) -> None:
        """Reads the new parts of the files. Raises OSError."""
        known = {file.stem: "" for file in self._path.iterdir() if file.suffix == ".messages"}
        jobs = self._path / "jobs.tsv"
        if jobs.exists():
            for line in jobs.read_text().splitlines():
                host, ecid, _ = line.split("\t")
                known[ecid] = host
        for ecid in known.keys() - self._streams.keys():
            self._streams[ecid] = Stream(self._path / f"{ecid}.messages", known[ecid])
        for stream in self._streams.values():
            stream.refresh()


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog=NAME, description=DESCRIPTION)
    parser.add_argument("folder", type=pathlib.Path)
    how = parser.add_mutually_exclusive_group()
    how.add_argument("--watch", action="store_true", help="continue until interrupted")
    how.add_argument("--tsv", action="store_true", help="a tab-separated table, for programs")
    return parser.parse_args()


def watch(folder: Streams) -> None:
    output = Output()
    display: Screen | Log = Screen(output) if output.can_draw else Log(output)
    refreshed = time.monotonic()
    with Loop() as loop:
        while not loop.signals:
            display.update(folder.restores, time.time())
            loop.step()
            if time.monotonic() - refreshed >= 1:
                folder.refresh()
                refreshed = time.monotonic()


def main() -> int:
    arguments = parse_arguments()
    try:
        folder = Streams(arguments.folder)
        if arguments.watch:
            watch(folder)
            return 0
    except OSError as error:
        print(f"{NAME}: {error}", file=sys.stderr)
        return 2
    now = time.time()
    output = Output()
    if arguments.tsv:
        rows = [table.row(restore, now, now) for restore in in_order(folder.restores, now)]
        output.write(table.HEADER + "".join(rows))
    else:
        columns, lines = output.size()
        size = (columns - 1, lines - 1) if output.is_terminal else (120, None)
        output.write("".join(f"{line}\n" for line in render(folder.restores, now, *size)))
    output.flush(wait=True)
    return 0
