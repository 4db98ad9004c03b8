#!/usr/bin/env python3
"""Restores one device: driver.py TOOL IPSW ECID. Needs python/korvrestore of this project."""

import pathlib
import sys
import time

source = pathlib.Path(__file__).resolve().parent.parent / "python"
if source.exists():  # else the package is installed
    sys.path.insert(0, str(source))

from korvrestore import Restore, Stage, Tool, Unreadable  # noqa: E402

program, ipsw, ecid = sys.argv[1:]
restore = Restore(ecid)
# The tool's own timeouts are 3 and 7200 seconds. A tool that hangs is ended a minute later.
with Tool([program, "--restore", ipsw, "--ecid", ecid], limit=7263) as tool:
    for message in tool:
        if isinstance(message, Unreadable):
            print(f"skipped a message: {message.reason}", file=sys.stderr)
        restore.take(message, time.monotonic())
        if not restore.has_ended and restore.place:
            print(f"{ecid} {restore.place}", flush=True)
restore.take_end(tool.outcome, time.monotonic())
print(f"{ecid} {restore.result}")
sys.exit(0 if restore.stage is Stage.RESTORED else 1)
