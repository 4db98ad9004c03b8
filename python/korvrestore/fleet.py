"""korvrestore-fleet: restores devices on many hosts from one desk, with GNU parallel over ssh."""

from __future__ import annotations

import argparse
import contextlib
import fcntl
import json
import pathlib
import plistlib
import shlex
import signal
import subprocess
import sys
import time
import uuid
from collections import defaultdict
from typing import NoReturn

from korvrestore import table
from korvrestore.arguments import ecid, lines, write_whole
from korvrestore.display import Log, Output, Screen, plain
from korvrestore.loop import Loop
from korvrestore.restore import Restore, Stage, counts
from korvrestore.status import Streams
from korvrestore.tool import GRACE

NAME = "korvrestore-fleet"
DESCRIPTION = """
Restores devices on many hosts from one desk. GNU parallel starts a job for each device, and ssh
runs the tool on the host that the device is attached to. Options after -- go to every tool.
"""
EPILOG = """
The same command line continues an interrupted run; no restore is begun twice. The exit status is 0
if every device was restored, 1 if one wasn't, 2 if no restore could start, and 128 plus the
signal's number after a signal.
"""
HERE = pathlib.Path(__file__).resolve().parent
SSH = "ssh -o BatchMode=yes -o ConnectTimeout=10 -o ServerAliveInterval=15 -o ServerAliveCountMax=4"


def fail(reason: object) -> NoReturn:
    print(f"{NAME}: {reason}", file=sys.stderr)
    sys.exit(2)


def read_table(file: pathlib.Path) -> dict[str, str]:
    """ECID → bundle."""
    bundles: dict[str, str] = {}
    for line in lines(file):
        device, _, bundle = line.replace("\t", " ").partition(" ")
        try:
            device = ecid(device)
        except argparse.ArgumentTypeError as error:
            fail(f"{file}: {error}")
        if not bundle or device in bundles:
            fail(f"{file}: {device} {'is there twice' if bundle else 'has no bundle'}")
        bundles[device] = bundle.strip()
    return bundles or fail(f"{file}: no device")


def read_hosts(file: pathlib.Path) -> list[str]:
    return list(dict.fromkeys(lines(file))) or fail(f"{file}: no host")


class Folder:
    """The files of one run. A lock allows only one process to use them."""

    def __init__(self, path: pathlib.Path) -> None:
        self.path = path
        self.run_file = path / "run"
        self.jobs_file = path / "jobs.tsv"
        self.joblog = path / "joblog"
        path.mkdir(exist_ok=True)
        if any(path.iterdir()) and not self.run_file.exists():
            fail(f"{path} exists and isn't the folder of a run")
        self.lock = (path / "lock").open("w")
        try:
            fcntl.flock(self.lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            fail(f"{path} is in use")
        # The hosts store the state of the restores under this name.
        if not self.run_file.exists():
            write_whole(self.run_file, uuid.uuid4().hex)
        self.run = self.run_file.read_text()
        # GNU parallel refuses a file whose last line a power cut has cut off.
        if self.joblog.exists():
            text = self.joblog.read_text()
            write_whole(self.joblog, text[: text.rfind("\n") + 1])

    def jobs(self) -> dict[str, tuple[str, str]]:
        """ECID → host and bundle. A device stays assigned to the host where it was first found:
        only that host knows whether its restore was begun."""
        if not self.jobs_file.exists():
            return {}
        rows = (line.split("\t") for line in self.jobs_file.read_text().splitlines())
        return {device: (host, bundle) for host, device, bundle in rows}

    def add_job(self, host: str, device: str, bundle: str) -> None:
        """Appends a job: the joblog refers to jobs by their numbers, so these must not change."""
        before = self.jobs_file.read_text() if self.jobs_file.exists() else ""
        write_whole(self.jobs_file, f"{before}{host}\t{device}\t{bundle}\n")

    def last_word(self, device: str) -> str:
        """Why a host hasn't reported the end, in the words of ssh or the host."""
        log = self.path / f"{device}.log"
        words = log.read_text(errors="replace").split("\n")[1:] if log.exists() else []
        last = next((line for line in reversed(words) if line), "the host wasn't asked")
        return "the host hasn't reported the end" if last == "begun" else last


def list_devices(hosts: list[str], arguments: argparse.Namespace) -> dict[str, list[str]]:
    """ECID → the hosts that the device is attached to."""
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
    found: dict[str, list[str]] = defaultdict(list)
    for answer in map(json.loads, answers.splitlines()):
        [host] = answer["V"]
        try:
            for device in plistlib.loads(answer["Stdout"].encode())["Value"]:
                found[device].append(host)
        except Exception:  # the host can't be reached, or has no tool
            reason = " ".join(answer["Stderr"].split()) or f"exit status {answer['Exitval']}"
            print(f"{NAME}: {host} doesn't list its devices: {reason}", file=sys.stderr)
    return found


def assign(folder: Folder, bundles: dict[str, str], arguments: argparse.Namespace) -> None:
    """Searches the hosts for the devices that have no host yet."""
    hosts = read_hosts(arguments.hosts)
    jobs = folder.jobs()
    for device in bundles.keys() & jobs.keys():
        if jobs[device][1] != bundles[device]:
            fail(f"{device} was begun with {jobs[device][1]}: use a new folder")
    missing = [device for device in bundles if device not in jobs]
    if not missing:
        return
    found = list_devices(hosts, arguments)
    for device in missing:
        if len(found[device]) == 1:
            folder.add_job(found[device][0], device, bundles[device])
        elif found[device]:
            print(f"{NAME}: {device} is on {' and on '.join(found[device])}", file=sys.stderr)


def run(folder: Folder, arguments: argparse.Namespace, output: Output) -> int | None:
    """Runs a job for each device whose end isn't known, and shows their progress. Returns the
    number of the signal that has ended it, if any."""
    if not folder.jobs():
        return None
    words = ["bash", HERE / "fleet_watch.sh", folder.path.resolve(), folder.run, arguments.ssh]
    words += [arguments.limit, arguments.pause]
    command = f"{shlex.join(map(str, words))} {{1}} {{2}} {{3}} "
    command += shlex.join([arguments.tool, *arguments.options])
    options = ["--jobs", "0", "--colsep", "\t", "--arg-file", folder.jobs_file]
    options += ["--joblog", folder.joblog, "--resume-failed", "--retries", arguments.retries]
    # The host enforces the limit; if it doesn't answer then, the next attempt asks it again.
    options += ["--timeout", arguments.limit + 60]
    complaints = folder.path / "parallel.log"
    with complaints.open("w") as log, Loop() as loop:
        parallel = subprocess.Popen(
            ["parallel", *map(str, options), command],
            # Jobs hold the folder's lock too, so that all have ended when the next run begins.
            pass_fds=[folder.lock.fileno()],
            stdin=subprocess.DEVNULL,
            stdout=log,
            stderr=log,
            start_new_session=True,
        )
        follow(parallel, Streams(folder.path), loop, output)
        if loop.signals:
            parallel.send_signal(signal.SIGINT)  # it ends its jobs
            with contextlib.suppress(subprocess.TimeoutExpired):
                parallel.wait(GRACE)
            parallel.kill()
        status = parallel.wait()
    if status == 255 and not loop.signals:  # other values are the number of failed jobs
        print(f"{NAME}: GNU parallel: {complaints.read_text()}", file=sys.stderr)
    return loop.signals[0] if loop.signals else None


def follow(parallel: subprocess.Popen[bytes], streams: Streams, loop: Loop, output: Output) -> None:
    """Shows the progress of the restores until GNU parallel ends or a signal arrives."""
    display: Screen | Log
    display = Screen(output) if output.can_draw else Log(output, ends_only=True)
    refreshed = time.monotonic()
    while True:
        is_over = parallel.poll() is not None or loop.signals
        if is_over or time.monotonic() - refreshed >= 1:
            streams.refresh()
            display.update(streams.restores, time.time())
            refreshed = time.monotonic()
        if is_over:
            return
        loop.step()


def results(folder: Folder, devices: list[str]) -> list[Restore]:
    """The state of each device's restore."""
    jobs = folder.jobs()
    known = {restore.ecid: restore for restore in Streams(folder.path).restores}
    now = time.time()
    found = []
    for device in devices:
        restore = known.get(device, Restore(device, "-"))
        if device not in jobs:
            restore.end(Stage.NOT_BEGUN, now, "on none of the hosts, or on several")
        elif not restore.has_ended:
            restore.stage, restore.reason = Stage.UNKNOWN, folder.last_word(device)
        found.append(restore)
    return found


def show_results(restores: list[Restore], output: Output) -> None:
    """Prints the table for people; restores that need attention come last."""
    order = (Stage.RESTORED, Stage.NOT_BEGUN, Stage.UNKNOWN, Stage.FAILED)
    width = max(len(restore.host) for restore in restores)
    rows = sorted(restores, key=lambda restore: order.index(restore.stage))
    shown = [f"{each.ecid}  {each.host:<{width}}  {each.result}" for each in rows]
    output.write(plain("\n".join(["", *shown, "", counts(restores), ""])))
    output.flush(wait=True)


def parse_arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        prog=NAME,
        description=DESCRIPTION,
        epilog=EPILOG,
        usage="%(prog)s [OPTION...] hosts table folder [-- TOOL-OPTION...]",
    )
    parser.add_argument(
        "hosts", type=pathlib.Path, help="a file with a host on each line, as ssh knows it"
    )
    parser.add_argument(
        "table",
        type=pathlib.Path,
        help="a file with an ECID and the path of a bundle on the host on each line",
    )
    parser.add_argument(
        "folder", type=pathlib.Path, help="a new folder, or the folder of an interrupted run"
    )
    parser.add_argument(
        "--tool",
        default="korvrestore",
        metavar="PROGRAM",
        help="the tool on the hosts (default: %(default)s)",
    )
    parser.add_argument(
        "--ssh",
        default=SSH,
        metavar="COMMAND",
        help="the command line that reaches a host (default: %(default)s)",
    )
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
    output = Output()
    number: int | None = None
    try:
        bundles = read_table(arguments.table)
        folder = Folder(arguments.folder)
        try:
            assign(folder, bundles, arguments)
            number = run(folder, arguments, output)
        except KeyboardInterrupt:
            number = signal.SIGINT
        restores = results(folder, list(bundles))
        now = time.time()
        rows = [table.row(restore, now, now) for restore in restores]
        write_whole(folder.path / "results.tsv", table.HEADER + "".join(rows))
    except (OSError, ValueError) as error:
        fail(error)
    if number is not None:
        print(f"{NAME}: the hosts continue; repeat the command to watch them", file=sys.stderr)
    show_results(restores, output)
    is_restored = all(restore.stage is Stage.RESTORED for restore in restores)
    return 128 + number if number is not None else 0 if is_restored else 1
