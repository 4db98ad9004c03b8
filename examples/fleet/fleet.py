#!/usr/bin/env python3
"""Restores devices on many hosts from one desk, with GNU parallel over ssh.

    fleet.py hosts table folder

`hosts` names a host on each line, as ssh knows it; `table` has an ECID and the path of a bundle on
the host. `folder` is new, or that of a run that goes on. docs/fleet.md tells more. The exit status
is 0 if every device was restored, 1 if one wasn't, 2 if nothing could be done, 130 if interrupted.
"""

from __future__ import annotations

import argparse
import fcntl
import json
import os
import pathlib
import plistlib
import shlex
import signal
import subprocess
import sys
import uuid
from collections import defaultdict
from typing import NoReturn

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent))
from restore_messages import MessageSplitter, Restore, ecid  # noqa: E402

SSH = "ssh -o BatchMode=yes -o ConnectTimeout=10 -o ServerAliveInterval=15 -o ServerAliveCountMax=4"


def fail(reason: object) -> NoReturn:
    print(f"fleet.py: {reason}", file=sys.stderr)
    sys.exit(2)


def lines_of(file: pathlib.Path) -> list[str]:
    lines = (line.strip() for line in file.read_text().splitlines())
    return [line for line in lines if line and not line.startswith("#")]


def read_table(file: pathlib.Path) -> dict[str, str]:
    """ECID → bundle."""
    table: dict[str, str] = {}
    for line in lines_of(file):
        device, _, bundle = line.replace("\t", " ").partition(" ")
        try:
            device = ecid(device)
        except argparse.ArgumentTypeError as error:
            fail(f"{file}: {error}")
        if not bundle or device in table:
            fail(f"{file}: {device} {'is there twice' if bundle else 'has no bundle'}")
        table[device] = bundle.strip()
    return table


def write(file: pathlib.Path, text: str) -> None:
    """The whole text stands in the file, or what stood there before."""
    new = file.with_suffix(".new")
    with new.open("w") as output:
        output.write(text)
        output.flush()
        os.fsync(output.fileno())
    new.replace(file)


class Folder:
    """What one run keeps. Who holds it is alone in it."""

    def __init__(self, path: pathlib.Path) -> None:
        self.path = path
        self.run_file = path / "run"
        self.jobs_file = path / "jobs.tsv"
        self.joblog = path / "joblog"
        path.mkdir(exist_ok=True)
        if any(path.iterdir()) and not self.run_file.exists():
            fail(f"{path} is neither new nor that of a run")
        self.lock = (path / "lock").open("w")
        try:
            fcntl.flock(self.lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            fail(f"{path} is in use")
        # By this name the hosts know which restores they have begun already.
        if not self.run_file.exists():
            write(self.run_file, uuid.uuid4().hex)
        self.run = self.run_file.read_text()
        # GNU parallel refuses a line that a power cut has left unfinished.
        if self.joblog.exists():
            text = self.joblog.read_text()
            write(self.joblog, text[: text.rfind("\n") + 1])

    def jobs(self) -> dict[str, tuple[str, str]]:
        """ECID → host and bundle. A device stays with the host that it was first found on: only
        that one knows whether its restore was begun."""
        if not self.jobs_file.exists():
            return {}
        rows = (line.split("\t") for line in self.jobs_file.read_text().splitlines())
        return {device: (host, bundle) for host, device, bundle in rows}

    def add_job(self, host: str, device: str, bundle: str) -> None:
        """Below the others: the joblog tells them by their numbers."""
        before = self.jobs_file.read_text() if self.jobs_file.exists() else ""
        write(self.jobs_file, f"{before}{host}\t{device}\t{bundle}\n")

    def restore(self, device: str) -> Restore:
        """What the messages and the host have told so far."""
        restore = Restore(device)
        stream, end = (self.path / f"{device}.{kind}" for kind in ("messages", "end"))
        try:
            for message in MessageSplitter().feed(stream.read_bytes() if stream.exists() else b""):
                restore.take(message)
        except Exception as error:
            restore.fail(f"the messages can't be read: {error!r}")
        if end.exists():
            *_, status = end.read_text().split()
            if status == "gone":
                restore.fail(f"broken off at {restore.progress} %, {restore.step}")
            else:
                restore.take_exit(int(status) if int(status) <= 128 else 128 - int(status), "")
        return restore

    def last_word(self, device: str) -> str:
        """Why a host hasn't told the end, as ssh or the host put it."""
        log = self.path / f"{device}.log"
        words = log.read_text(errors="replace").split("\n") if log.exists() else []
        return next((line for line in reversed(words) if line), "the host wasn't asked")


def list_devices(hosts: list[str], arguments: argparse.Namespace) -> dict[str, list[str]]:
    """ECID → the hosts that see the device."""
    command = f"{arguments.ssh} {{}} {shlex.quote(shlex.quote(arguments.tool))} --list-devices"
    options = ["--jobs", "0", "--retries", "2", "--timeout", "60", "--results", "-.json"]
    answers = subprocess.run(
        ["parallel", *options, command],
        input="\n".join(hosts),
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
        text=True,
        errors="replace",
    ).stdout
    found = defaultdict(list)
    for answer in map(json.loads, answers.splitlines()):
        [host] = answer["V"]
        try:
            for device in plistlib.loads(answer["Stdout"].encode())["Value"]:
                found[device].append(host)
        except Exception:  # it can't be reached, or has no tool
            reason = " ".join(answer["Stderr"].split()) or f"exit status {answer['Exitval']}"
            print(f"fleet.py: {host} doesn't list its devices: {reason}", file=sys.stderr)
    return found


def assign(folder: Folder, table: dict[str, str], arguments: argparse.Namespace) -> None:
    """Looks for the devices that have no host yet."""
    jobs = folder.jobs()
    for device in table.keys() & jobs.keys():
        if jobs[device][1] != table[device]:
            fail(f"{device} was begun with {jobs[device][1]}: use a new folder")
    missing = [device for device in table if device not in jobs]
    if not missing:
        return
    found = list_devices(list(dict.fromkeys(lines_of(arguments.hosts))), arguments)
    for device in missing:
        if len(found[device]) == 1:
            folder.add_job(found[device][0], device, table[device])
        elif found[device]:
            print(f"fleet.py: {device} is on {' and on '.join(found[device])}", file=sys.stderr)


def run(folder: Folder, arguments: argparse.Namespace) -> None:
    """A job for each device whose end isn't known. Raises KeyboardInterrupt."""
    if not folder.jobs():
        return
    words = [HERE / "watch.sh", folder.path.resolve(), folder.run, arguments.ssh]
    words += [arguments.limit, arguments.pause]
    command = f"{shlex.join(map(str, words))} {{1}} {{2}} {{3}} "
    command += shlex.join([arguments.tool, *arguments.options])
    options = ["--jobs", "0", "--colsep", "\t", "--arg-file", folder.jobs_file]
    options += ["--joblog", folder.joblog, "--resume-failed", "--retries", arguments.retries]
    # The host holds to the limit; should it not answer then, the next attempt asks it again.
    options += ["--timeout", arguments.limit + 60]
    options += ["--bar"] if sys.stderr.isatty() else []
    # Jobs hold the folder's lock too, so that none is left when the next run begins.
    lock = [folder.lock.fileno()]
    with subprocess.Popen(["parallel", *map(str, options), command], pass_fds=lock) as parallel:
        try:
            parallel.wait()
        except KeyboardInterrupt:
            parallel.send_signal(signal.SIGINT)  # it ends its jobs
            raise


def show_results(folder: Folder, table: dict[str, str]) -> bool:
    """Prints the table. Whether all are restored."""
    jobs = folder.jobs()
    restores = {device: folder.restore(device) for device in table}
    width = max((len(host) for host, _ in jobs.values()), default=1)
    for device, restore in restores.items():
        host, _ = jobs.get(device, ("-", ""))
        result = restore.result
        if host == "-":
            result = "NOT BEGUN: on none of the hosts, or on several"
        elif not restore.has_ended:
            reason = folder.last_word(device)
            result = f"UNKNOWN after {restore.progress} %, {restore.step}: {reason}"
        print(f"{device}  {host:<{width}}  {result}")
    return all(restore.is_restored for restore in restores.values())


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        description=__doc__.splitlines()[0],
        usage="%(prog)s [OPTION...] hosts table folder [-- TOOL-OPTION...]",
    )
    parser.add_argument("hosts", type=pathlib.Path)
    parser.add_argument("table", type=pathlib.Path)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--tool", default="korvrestore", help="the program on the hosts")
    parser.add_argument("--ssh", default=SSH, help="the command line that reaches a host")
    parser.add_argument(
        "--limit",
        type=int,
        default=9000,
        metavar="SECONDS",
        help="stop a tool that takes longer (default: 9000)",
    )
    parser.add_argument(
        "--retries",
        type=int,
        default=20,
        metavar="N",
        help="how often to ask a host that doesn't answer (default: 20)",
    )
    parser.add_argument(
        "--pause",
        type=float,
        default=30,
        metavar="SECONDS",
        help="how long to wait in between (default: 30)",
    )
    ours, tools = sys.argv[1:], []
    if "--" in ours:
        end = ours.index("--")
        ours, tools = ours[:end], ours[end + 1 :]
    return parser.parse_args(ours, argparse.Namespace(options=tools))


def main() -> int:
    arguments = parse_arguments()
    is_interrupted = False
    try:
        table = read_table(arguments.table)
        folder = Folder(arguments.folder)
        assign(folder, table, arguments)
        run(folder, arguments)
    except OSError as error:
        fail(error)
    except KeyboardInterrupt:
        is_interrupted = True
        print("fleet.py: the hosts go on; the same command line watches them", file=sys.stderr)
    is_restored = show_results(folder, table)
    return 128 + signal.SIGINT if is_interrupted else 0 if is_restored else 1


if __name__ == "__main__":
    sys.exit(main())
