#!/usr/bin/env python3
"""Measures the built tool and its parts, and similar programs and libraries. Prints the figures and
the targets: run.py BUILD_DIRECTORY. scripts/bench builds and calls this."""

import json
import os
import platform
import plistlib
import resource
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
KIB = 1 << 10
MIB = 1 << 20
REPETITIONS = 5


def output_of(*command: object) -> str:
    """The output of a program that must succeed."""
    words = [str(word) for word in command]
    return subprocess.run(words, check=True, stdout=subprocess.PIPE, text=True).stdout


def title(text: str) -> None:
    print(f"\n{text}", flush=True)


def row(name: str, *figures: str) -> None:
    print(f"  {name:<12}" + "".join(f"{figure:>22}" for figure in figures), flush=True)


def aim(text: str, met: bool) -> None:
    print(f"  aim: {text}: {'met' if met else 'MISSED'}", flush=True)


def measure_writing(build: Path) -> None:
    """Prints the least CPU time of many short repetitions in turn: some run undisturbed."""
    title("Writing a RestoreStatus message")
    repetitions = 20
    times = {}
    for _ in range(REPETITIONS):
        report = output_of(
            build / "bench/write_message",
            MESSAGE,
            f"--benchmark_repetitions={repetitions}",
            "--benchmark_min_time=0.02",
            "--benchmark_enable_random_interleaving=true",
            "--benchmark_format=json",
        )
        for run in json.loads(report)["benchmarks"]:
            if run["run_type"] == "iteration":
                times.setdefault(run["name"], []).append(run["cpu_time"])
    message = plistlib.loads(MESSAGE.read_bytes())
    timer = timeit.Timer(lambda: plistlib.dumps(message), timer=time.process_time)
    count = 200
    runs = timer.repeat(REPETITIONS * repetitions, count)
    times["plistlib"] = [seconds / count * 1e9 for seconds in runs]

    least = {name: min(values) for name, values in times.items()}
    for name, nanoseconds in sorted(least.items(), key=lambda item: item[1]):
        row(name, f"{nanoseconds:,.0f} ns", f"{nanoseconds / least['ours']:.1f} x ours")
    ratio = least["libplist"] / least["ours"]
    aim(f"at least 3 times libplist's speed, is {ratio:.1f}", ratio >= 3)


def measure_reading(
    build: Path, plist_format: plistlib.PlistFormat, path: Path, warm_aim: int
) -> None:
    """Prints the CPU time of a process's only reading (cold), of one of many (warm), and the peak
    memory: of a few processes the least time, the median memory. The libraries take turns, so that
    other load on the machine affects all of them."""
    programs = {
        "ours": (build / "bench/read_plist", "ours", path),
        "libplist": (build / "bench/read_plist", "libplist", path),
        "plistlib": (sys.executable, HERE / "read_plistlib.py", path),
    }
    ratios: dict[str, list] = {"cold": [], "warm": []}
    excess = []
    for size in (KIB, 30 * KIB, MIB, 64 * MIB):
        title(f"Reading restore options, {size // KIB:,} KiB, {plist_format.name[4:]}")
        path.write_bytes(restore_options_file(size, plist_format))
        rounds = max(2, min(10_000, 16 * MIB // size))
        cold: dict[str, list] = {name: [] for name in programs}
        warm: dict[str, list] = {name: [] for name in programs}
        for _ in range(REPETITIONS):
            for name, command in programs.items():
                cold[name].append([float(word) for word in output_of(*command).split()[:2]])
                warm[name].append(float(output_of(*command, rounds).split()[0]))
        times = {name: (min(run[0] for run in cold[name]), min(warm[name])) for name in programs}
        memory = {name: statistics.median(run[1] for run in cold[name]) for name in programs}
        for name in programs:
            row(
                name,
                *(f"{kind} {s * 1e6:,.1f} us" for kind, s in zip(ratios, times[name])),
                f"{memory[name] / MIB:.1f} MiB",
            )
        for kind, ours, peer in zip(ratios, times["ours"], times["libplist"]):
            ratios[kind].append(peer / ours)
        if size >= MIB:  # the memory of smaller files is that of the code
            excess.append(memory["ours"] - memory["libplist"])
    print()
    for kind, least in (("cold", 1), ("warm", warm_aim)):
        ratio = min(ratios[kind])
        aim(f"{kind}, at least {least} x libplist's speed, is {ratio:.1f} x", ratio >= least)
    aim("from 1 MiB, no more peak memory than libplist", max(excess) <= 0)


def limit_resources() -> None:
    """Limits a reader that would otherwise use the whole machine."""
    resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))
    resource.setrlimit(resource.RLIMIT_CPU, (20, 20))


def read_shape(build: Path, library: str, path: Path) -> tuple[float, int, str]:
    """Least CPU seconds (infinity beyond the limits), peak memory, and the result of reading."""
    runs = []
    for _ in range(3):
        command = [build / "bench/read_plist", library, path]
        run = subprocess.run(command, capture_output=True, text=True, preexec_fn=limit_resources)
        if run.returncode != 0:
            return float("inf"), 0, "gave up"
        runs.append(run.stdout.split())
    return min(float(run[0]) for run in runs), int(runs[0][1]), runs[0][2]


def measure_shapes(build: Path, work: Path) -> None:
    """Prints how time grows with the size of inputs that make a careless reader slow."""
    factor, most = 4, 7
    title(f"Reading hostile lists, and how much longer {factor} times as much takes")
    folders = [work / "small", work / "large"]
    for folder, times in zip(folders, (1, factor)):
        folder.mkdir()
        output_of(build / "bench/write_shapes", folder, times)
    worst = 0.0
    for path in sorted(folders[0].iterdir()):
        large = folders[1] / path.name
        seconds, _, _ = read_shape(build, "ours", path)
        large_seconds, memory, result = read_shape(build, "ours", large)
        peer_seconds, _, peer_result = read_shape(build, "libplist", large)
        growth = large_seconds / seconds
        worst = max(worst, growth)
        print(
            f"  {path.name:<42}{large.stat().st_size / MIB:>5.2f} MiB"
            f"{large_seconds * 1e3:>8.2f} ms, x {growth:<5.1f}{memory / large.stat().st_size:>5.1f}"
            f" bytes per byte, {result:<8}   libplist{peer_seconds * 1e3:>9.2f} ms, {peer_result}",
            flush=True,
        )
    aim(f"less than {most} times as long, worst is {worst:.1f}", worst < most)


def measure_messages(build: Path) -> None:
    count = 200_000
    title(f"{count:,} messages through print_value to a drained pipe")
    rates = [
        float(output_of(build / "bench/print_messages", MESSAGE, count)) for _ in range(REPETITIONS)
    ]
    row("ours", f"{statistics.median(rates):,.0f} messages/s", f"best {max(rates):,.0f}")


class Runs:
    """Times of whole runs of a program, in milliseconds: start to exit, and on the processor."""

    def __init__(self) -> None:
        self.elapsed: list[float] = []
        self.processor: list[float] = []

    def run(self, *command: str, status: int) -> None:
        """Runs the program, discards its output, and stores the times."""
        discard = [
            (os.POSIX_SPAWN_OPEN, descriptor, os.devnull, os.O_WRONLY, 0) for descriptor in (1, 2)
        ]
        start = time.perf_counter()
        process = os.posix_spawn(command[0], command, os.environ, file_actions=discard)
        _, wait_status, usage = os.wait4(process, 0)
        self.elapsed.append((time.perf_counter() - start) * 1e3)
        self.processor.append((usage.ru_utime + usage.ru_stime) * 1e3)
        if os.waitstatus_to_exitcode(wait_status) != status:
            sys.exit(f"{command} ended with wait status {wait_status}")

    def print(self, name: str, without: float = 0) -> None:
        """Prints the times from start to exit minus `without`, the milliseconds of a given wait."""
        row(
            name,
            f"median {statistics.median(self.elapsed) - without:.2f} ms",
            f"best {min(self.elapsed) - without:.2f} ms",
            f"processor {statistics.median(self.processor):.2f} ms",
        )


def measure_refusal(build: Path) -> None:
    count = 200
    title(f"Start to exit of a refused command line, {count} runs")
    refused, smallest = Runs(), Runs()
    for _ in range(count):
        refused.run(str(build / "korvrestore"), "--foo", status=3)
        smallest.run("/bin/true", status=0)
    refused.print("korvrestore")
    smallest.print("/bin/true")
    median = statistics.median(refused.elapsed)
    ratio = median / statistics.median(smallest.elapsed)
    aim("median of at most 3 ms", median <= 3)
    aim(f"at most 3.2 times /bin/true, is {ratio:.1f}", ratio <= 3.2)
    ratio = statistics.median(refused.processor) / statistics.median(smallest.processor)
    row("processor", f"{ratio:.1f} x /bin/true")


def measure_device_list(build: Path, work: Path) -> None:
    count = 500
    title(f"--list-devices --detect-timeout 1 over {count} simulated devices, beyond its second")
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
    runs = Runs()
    for _ in range(2 * REPETITIONS):
        runs.run(*command, status=0)
    del os.environ["MOBILEDEVICE_SCENARIO"]
    runs.print("korvrestore", without=1000)


def measure_many(build: Path) -> None:
    title("64 tools at once, one simulated device each")
    subprocess.run([sys.executable, HERE / "many.py", build], check=True)


def measure_usb(build: Path) -> None:
    """Measures with emulated USB devices, unless the build has no USB."""
    if (build / "tests/usb").exists():
        title("Twelve emulated USB devices, aim: medians under 50 ms")
        subprocess.run([HERE / "usb.py", build], check=True)


def main() -> None:
    build = Path(sys.argv[1]).resolve()
    load = os.getloadavg()[0]
    print(
        f"{platform.machine()}, {os.cpu_count()} cores, load {load:.1f}."
        f" Times of parts are CPU time, the least that was seen."
    )
    measure_writing(build)
    with tempfile.TemporaryDirectory() as directory:
        work = Path(directory)
        for plist_format, warm_aim in ((plistlib.FMT_XML, 2), (plistlib.FMT_BINARY, 1)):
            measure_reading(build, plist_format, work / "options.plist", warm_aim)
        measure_shapes(build, work)
        measure_messages(build)
        measure_refusal(build)
        measure_device_list(build, work)
    measure_many(build)
    measure_usb(build)


if __name__ == "__main__":
    main()
