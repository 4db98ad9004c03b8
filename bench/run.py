#!/usr/bin/env python3
"""Measures the built tool and its parts, beside their peers, and prints the figures with their
aims: run.py BUILD_DIRECTORY. scripts/bench builds and calls this."""

import json
import os
import platform
import plistlib
import statistics
import subprocess
import sys
import tempfile
import time
import timeit
from pathlib import Path

from restore_options import restore_options_file

HERE = Path(__file__).resolve().parent
MESSAGE = HERE / "restore_status.plist"
MIB = 1 << 20
REPETITIONS = 5


def output_of(*command: object) -> str:
    """What a program that must succeed prints."""
    words = [str(word) for word in command]
    return subprocess.run(words, check=True, stdout=subprocess.PIPE, text=True).stdout


def title(text: str) -> None:
    print(f"\n{text}", flush=True)


def row(name: str, *figures: str) -> None:
    print(f"  {name:<12}" + "".join(f"{figure:>22}" for figure in figures), flush=True)


def aim(text: str, met: bool) -> None:
    print(f"  aim: {text}: {'met' if met else 'MISSED'}", flush=True)


def measure_writing(build: Path) -> None:
    """Least CPU time of a few repetitions each."""
    title("Writing a RestoreStatus message")
    report = json.loads(
        output_of(
            build / "bench/write_message",
            MESSAGE,
            f"--benchmark_repetitions={REPETITIONS}",
            "--benchmark_format=json",
        )
    )
    times = {}
    for run in report["benchmarks"]:
        if run["run_type"] == "iteration":
            times.setdefault(run["name"], []).append(run["cpu_time"])
    message = plistlib.loads(MESSAGE.read_bytes())
    timer = timeit.Timer(lambda: plistlib.dumps(message), timer=time.process_time)
    count = 10_000
    times["plistlib"] = [seconds / count * 1e9 for seconds in timer.repeat(REPETITIONS, count)]

    least = {name: min(values) for name, values in times.items()}
    for name, nanoseconds in least.items():
        row(name, f"{nanoseconds:,.0f} ns", f"{nanoseconds / least['ours']:.1f} x ours")
    ratio = least["libplist"] / least["ours"]
    aim(f"at least 3 times libplist's speed, is {ratio:.1f}", ratio >= 3)


def measure_reading(build: Path, kind: str, path: Path) -> None:
    """Least CPU time and median peak memory of a few processes each."""
    title(f"Reading {kind} restore options, {path.stat().st_size / MIB:.1f} MiB")
    programs = {
        "ours": (build / "bench/read_plist", "ours", path),
        "libplist": (build / "bench/read_plist", "libplist", path),
        "plistlib": (sys.executable, HERE / "read_plistlib.py", path),
    }
    seconds, memory = {}, {}
    for name, command in programs.items():
        runs = [output_of(*command).split() for _ in range(REPETITIONS)]
        seconds[name] = min(float(run[0]) for run in runs)
        memory[name] = statistics.median(int(run[1]) for run in runs)
        row(name, f"{seconds[name]:.3f} s", f"{memory[name] / MIB:.0f} MiB at the peak")
    aim("no slower than libplist", seconds["ours"] <= seconds["libplist"])
    aim("no more peak memory than libplist", memory["ours"] <= memory["libplist"])


def measure_messages(build: Path) -> None:
    count = 200_000
    title(f"{count:,} messages through print_value to a drained pipe")
    rates = [
        float(output_of(build / "bench/print_messages", MESSAGE, count))
        for _ in range(REPETITIONS)
    ]
    row("ours", f"{statistics.median(rates):,.0f} messages/s", f"best {max(rates):,.0f}")


def start_to_exit(*command: str, status: int) -> float:
    """Seconds from the start of a program to its end, its output thrown away."""
    discard = [
        (os.POSIX_SPAWN_OPEN, descriptor, os.devnull, os.O_WRONLY, 0) for descriptor in (1, 2)
    ]
    start = time.perf_counter()
    process = os.posix_spawn(command[0], command, os.environ, file_actions=discard)
    _, wait_status = os.waitpid(process, 0)
    elapsed = time.perf_counter() - start
    if os.waitstatus_to_exitcode(wait_status) != status:
        sys.exit(f"{command} ended with wait status {wait_status}")
    return elapsed


def measure_refusal(build: Path) -> None:
    count = 200
    title(f"Start to exit of a refused command line, {count} runs")
    commands = {"korvrestore": ((str(build / "korvrestore"), "--foo"), 3),
                "/bin/true": (("/bin/true",), 0)}  # what starting any program takes here
    medians = {}
    for name, (command, status) in commands.items():
        runs = [start_to_exit(*command, status=status) for _ in range(count)]
        medians[name] = statistics.median(runs)
        row(name, f"median {medians[name] * 1e3:.2f} ms", f"best {min(runs) * 1e3:.2f} ms")
    aim("under 10 ms", medians["korvrestore"] < 0.010)


def measure_device_list(build: Path, work: Path) -> None:
    count = 500
    title(f"--list-devices --detect-timeout 1 over {count} simulated devices")
    scenario = work / "scenario.plist"
    devices = [
        {"ECID": f"{0x1A2B3C4D5E0000 + index:016X}", "State": "Recovery"} for index in range(count)
    ]
    scenario.write_bytes(plistlib.dumps({"Devices": devices}))
    os.environ["MOBILEDEVICE_SCENARIO"] = str(scenario)
    command = (str(build / "korvrestore"), "--list-devices", "--detect-timeout", "1")
    message = plistlib.loads(output_of(*command).encode())
    if len(message["Value"]) != count:
        sys.exit(f"{len(message['Value'])} of {count} devices were listed")
    runs = [start_to_exit(*command, status=0) - 1 for _ in range(REPETITIONS)]
    del os.environ["MOBILEDEVICE_SCENARIO"]
    row("korvrestore", f"1 s + {statistics.median(runs) * 1e3:.2f} ms",
        f"best 1 s + {min(runs) * 1e3:.2f} ms")


def measure_usb(build: Path) -> None:
    """The figures over emulated USB devices, where the build has them."""
    script = HERE / "usb.py"
    if script.exists():
        title("Emulated USB devices")
        subprocess.run([sys.executable, script, build], check=True)


def main() -> None:
    build = Path(sys.argv[1]).resolve()
    load = os.getloadavg()[0]
    print(f"{platform.machine()}, {os.cpu_count()} cores, load {load:.1f}; {REPETITIONS} repetitions"
          " where nothing else is said; times of parts are CPU time")
    measure_writing(build)
    with tempfile.TemporaryDirectory() as directory:
        work = Path(directory)
        for kind, plist_format in (("XML", plistlib.FMT_XML), ("binary", plistlib.FMT_BINARY)):
            path = work / f"options-{kind}.plist"
            path.write_bytes(restore_options_file(64 * MIB, plist_format))
            measure_reading(build, kind, path)
            path.unlink()
        measure_messages(build)
        measure_refusal(build)
        measure_device_list(build, work)
    measure_usb(build)


if __name__ == "__main__":
    main()
