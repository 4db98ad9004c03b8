#!/usr/bin/env -S umockdev-wrapper /usr/bin/python3
"""Measures the program with twelve emulated USB devices, one of which hangs.

bench/usb.py BUILD: a release build.
"""

import os
import pathlib
import statistics
import subprocess
import sys
import time

RUNS = 20
BUILD = pathlib.Path(sys.argv[1]).resolve()
os.environ["KORVRESTORE"] = str(BUILD / "korvrestore")
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests"))

from usb.machine import INFO, Emulator  # noqa: E402: it reads the environment


def measure(emulator, name, arguments, without=0.0, runs=RUNS):
    """Prints the median and the longest time from start to exit, minus the wait `without`."""
    times = []
    for _ in range(runs):
        begin = time.monotonic()
        subprocess.run(
            [os.environ["KORVRESTORE"], *arguments],
            env=emulator.environment,
            capture_output=True,
            check=True,
        )
        times.append((time.monotonic() - begin - without) * 1000)
    print(f"{name}: median {statistics.median(times):.1f} ms, longest {max(times):.1f} ms")


def main():
    emulator = Emulator()
    for port in range(1, 13):
        emulator.add(f"1-{port}", ecid=f"{port:016X}")
    emulator.fault("1-5", "", "hang", count=-1)
    measure(emulator, "--device-info of the last of twelve", [*INFO, f"{12:016X}"])
    one_second = ("--list-devices", "--detect-timeout", "1")
    measure(emulator, "--list-devices beyond its second", one_second, without=1.0, runs=RUNS // 4)
    emulator.close()


main()
