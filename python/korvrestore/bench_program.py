"""The program korvrestore-bench: restores the devices of one bench at the same time."""

from __future__ import annotations

import argparse
import os
import pathlib
import sys

from korvrestore.arguments import DETECT_TIMEOUT, RESTORE_TIMEOUT, ecid, number, read_ecids
from korvrestore.bench import NAME, Bench, Settings
from korvrestore.loop import Loop
from korvrestore.restore import Stage
from korvrestore.scratch import Scratch
from korvrestore.table import Table
from korvrestore.watch import Watch

DESCRIPTION = """
Restores several devices at the same time, with one process of korvrestore for each. On a terminal
it shows all of them in place. Otherwise, and with TERM=dumb, it prints a line when a restore
begins, at every 10 %, and when it ends. With --watch it restores every device that appears, until
interrupted.
"""
EPILOG = """
A signal (SIGINT, SIGTERM, SIGHUP) ends the tools, a second one kills them. Tools that don't end
within ten seconds are killed, too. With --watch the first SIGINT lets the running restores finish.
The exit status is 0 if every device was restored, 1 if one wasn't, 2 if no restore could start, and
128 plus the signal's number after a signal.
"""


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog=NAME, description=DESCRIPTION, epilog=EPILOG)
    parser.add_argument("ipsw", help="the firmware bundle")
    parser.add_argument("ecid", nargs="*", type=ecid, help="a device: 16 hexadecimal digits")
    parser.add_argument("--erase", action="store_true", help="erase the devices (default: update)")
    parser.add_argument(
        "--detect-timeout",
        type=number,
        default=DETECT_TIMEOUT,
        metavar="SECONDS",
        help="how long to wait for each device (default: %(default)s)",
    )
    parser.add_argument(
        "--restore-timeout",
        type=number,
        default=RESTORE_TIMEOUT,
        metavar="SECONDS",
        help="how long to wait for the end of each restore after the device was found; a tool that "
        "takes a minute longer than both timeouts is ended (default: %(default)s)",
    )
    parser.add_argument(
        "--at-once", type=number, metavar="N", help="restore at most N devices at a time"
    )
    parser.add_argument(
        "--record",
        type=pathlib.Path,
        metavar="FOLDER",
        help="write the messages, and scenarios that replay them, to a new folder",
    )
    parser.add_argument(
        "--table",
        type=pathlib.Path,
        metavar="FILE",
        help="append a row for each result to this tab-separated file (default with --watch: "
        "results.tsv)",
    )
    parser.add_argument(
        "--watch",
        action="store_true",
        help="restore every device that appears, until interrupted; after its restore a device is "
        "ignored until it has left and come back",
    )
    parser.add_argument(
        "--only",
        type=pathlib.Path,
        metavar="FILE",
        help="with --watch: restore only the devices of this list, an ECID on each line",
    )
    parser.add_argument(
        "--tool", default="korvrestore", metavar="PROGRAM", help="default: korvrestore, from PATH"
    )
    arguments = parser.parse_intermixed_args()  # options may be between the ECIDs
    if arguments.at_once == 0:
        parser.error("--at-once: at least 1")
    if arguments.watch:
        if arguments.ecid:
            parser.error("--watch takes no ECID; --only FILE limits it to some devices")
        if arguments.record:
            parser.error("--watch can't record")
        arguments.table = arguments.table or pathlib.Path("results.tsv")
    elif arguments.only:
        parser.error("--only goes with --watch")
    elif not arguments.ecid:
        parser.error("no ECID given, and no --watch")
    return arguments


def main() -> int:
    arguments = parse_arguments()
    options = ["--restore", arguments.ipsw, "--restore-timeout", str(arguments.restore_timeout)]
    options += ["--erase"] if arguments.erase else []
    try:
        only = None if arguments.only is None else read_ecids(arguments.only)
        results = None if arguments.table is None else Table(arguments.table)
        if arguments.record is not None:
            arguments.record.mkdir()
        # A tool that is stopped leaves its own temporary folder: create all of these in ours.
        scratch = Scratch(NAME)
    except (OSError, ValueError) as error:
        print(f"{NAME}: {error}", file=sys.stderr)
        return 2
    with scratch as folder:
        settings = Settings(
            arguments.tool,
            options,
            arguments.detect_timeout,
            arguments.restore_timeout,
            os.environ | {"TMPDIR": folder},
            [scratch.descriptor],
            arguments.record,
        )
        with Loop() as loop:
            bench = Bench(loop, settings, arguments.at_once, results, is_watching=arguments.watch)
            if arguments.watch:
                watch = Watch(loop, bench, settings, only)
                watch.run()
                status = 0 if watch.is_startable else 2
            else:
                try:
                    for device in dict.fromkeys(arguments.ecid):
                        bench.add(device)
                except OSError as error:
                    print(f"{NAME}: can't record: {error}", file=sys.stderr)
                    return 2
                while bench.is_busy:
                    bench.step()
                bench.show_results()
                is_restored = all(each.stage is Stage.RESTORED for each in bench.restores)
                status = 0 if is_restored else 1 if bench.is_startable else 2
        bench.flush()
    return 128 + loop.signals[0] if loop.signals else status
