#!/usr/bin/env python3
"""Runs many tools at once, each with one simulated device: many.py BUILD_DIRECTORY. Prints the cost
of each tool, and the time from the first end to the last."""

import fcntl
import os
import plistlib
import re
import statistics
import sys
import tempfile
import threading
import time
from pathlib import Path

COUNT = 64
ECID = "001A2B3C4D5E6F70"
COMMANDS = (("--device-info", "--ecid", ECID), ("--list-devices", "--detect-timeout", "1"))


def spawn(command: tuple, output: int) -> int:
    redirections = [(os.POSIX_SPAWN_DUP2, output, 1)]
    return os.posix_spawn(command[0], command, os.environ, file_actions=redirections)


def processor(usage) -> float:
    return (usage.ru_utime + usage.ru_stime) * 1e3


def run_all(command: tuple) -> tuple:
    """In milliseconds: each tool's processor time, and each end, counted from the first start."""
    usages, ends = [], []

    def take_ends() -> None:
        for _ in range(COUNT):
            started.acquire()
            _, status, usage = os.wait3(0)
            ends.append((time.perf_counter() - start) * 1e3)
            usages.append(processor(usage))
            if status != 0:
                print(f"  one ended with wait status {status}")

    started = threading.Semaphore(0)
    taker = threading.Thread(target=take_ends)
    start = time.perf_counter()
    taker.start()
    with open(os.devnull, "wb") as nowhere:
        for _ in range(COUNT):
            spawn(command, nowhere.fileno())
            started.release()
        taker.join()
    return usages, ends


def memory_of_all(command: tuple) -> list:
    """Each tool's proportional memory in KiB, while all tools wait for a reader of their
    messages."""
    reader, writer = os.pipe()
    size = fcntl.fcntl(writer, fcntl.F_GETPIPE_SZ)
    os.write(writer, bytes(size))
    running = [spawn(command, writer) for _ in range(COUNT)]
    os.close(writer)
    before, now = None, used(running)
    while now != before:
        time.sleep(2)  # longer than the detect timeout
        before, now = now, used(running)
    memory = []
    for process in running:
        rollup = Path(f"/proc/{process}/smaps_rollup").read_text()
        memory.append(int(re.search(r"^Pss:\s+(\d+) kB$", rollup, re.MULTILINE)[1]))
    while os.read(reader, size):
        pass
    os.close(reader)
    for process in running:
        os.waitpid(process, 0)
    return memory


def used(processes: list) -> list:
    """The ticks of processor time that each process has used."""
    stats = [Path(f"/proc/{process}/stat").read_text().rpartition(")")[2] for process in processes]
    return [stat.split()[11:13] for stat in stats]


def main() -> None:
    tool = str(Path(sys.argv[1]).resolve() / "korvrestore")
    with tempfile.TemporaryDirectory() as directory:
        scenario = Path(directory) / "scenario.plist"
        device = {"ECID": ECID, "State": "Recovery"}
        scenario.write_bytes(plistlib.dumps({"Devices": [device]}))
        os.environ["MOBILEDEVICE_SCENARIO"] = str(scenario)
        for arguments in COMMANDS:
            command = (tool, *arguments)
            usages, ends = run_all(command)
            memory = memory_of_all(command)
            print(
                f"  {arguments[0]:<16}"
                f" processor {statistics.mean(usages):.1f} ms each,"
                f" memory {statistics.mean(memory) / 1024:.2f} MiB each,"
                f" ends after {min(ends):.0f} to {max(ends):.0f} ms,"
                f" {max(ends) - min(ends):.0f} ms apart"
            )


if __name__ == "__main__":
    main()
