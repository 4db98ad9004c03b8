"""Parts that the programs' command lines share."""

from __future__ import annotations

import argparse
import os
import pathlib
import re

DETECT_TIMEOUT, RESTORE_TIMEOUT = 10, 7200  # seconds


def ecid(text: str) -> str:
    """An ECID, in upper case. Raises argparse.ArgumentTypeError if it isn't one."""
    if not re.fullmatch("[0-9A-Fa-f]{16}", text):
        raise argparse.ArgumentTypeError(f"{text!r} is not an ECID (16 hexadecimal digits)")
    return text.upper()


def number(text: str) -> int:
    """A whole number, 0 or more."""
    if not re.fullmatch("[0-9]{1,9}", text):
        raise argparse.ArgumentTypeError(f"{text!r} is not a whole number from 0 to 999999999")
    return int(text)


def lines(file: pathlib.Path) -> list[str]:
    """The lines of a list, without empty ones and those that begin with #. Raises OSError, and
    ValueError if it isn't text."""
    try:
        stripped = (line.strip() for line in file.read_text("utf-8").splitlines())
    except UnicodeDecodeError as error:
        raise ValueError(f"{file}: not a text file") from error
    return [line for line in stripped if line and not line.startswith("#")]


def read_ecids(file: pathlib.Path) -> list[str]:
    """One ECID on each line; the rest of the line is ignored. Raises OSError and ValueError."""
    try:
        found = [ecid(line.split()[0]) for line in lines(file)]
    except argparse.ArgumentTypeError as error:
        raise ValueError(f"{file}: {error}") from error
    if not found:
        raise ValueError(f"{file}: no ECID")
    return found


def write_whole(file: pathlib.Path, text: str) -> None:
    """Replaces the file's content, completely or not at all. Raises OSError."""
    new = file.with_name(f"{file.name}.new")
    with new.open("w") as output:
        output.write(text)
        output.flush()
        os.fsync(output.fileno())
    new.replace(file)
