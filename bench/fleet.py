#!/usr/bin/env python3
"""Measures korvrestore-fleet with 2, 8 and 32 hosts of four devices each, or as given.

    KORVRESTORE=build/release/korvrestore bench/fleet.py [HOSTSxDEVICES...]

Each host is an sshd on a loopback address. A restore takes 20 seconds and reports every second.
"""

import os
import pathlib
import resource
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests"))
from support.hosts import Host, Lab, adopt, descendants  # noqa: E402
from support.scenario import THE_END, device, report  # noqa: E402

SECONDS = 20
TICK = os.sysconf("SC_CLK_TCK")


def processor_time(pid: int) -> float:
    """The processor time of the process and of the children that it has waited for."""
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(") ")[2].split()
    return sum(map(int, fields[11:15])) / TICK


def memory(pids: list) -> float:
    """In MB; the processes share the size of common pages."""
    total = 0
    for pid in pids:
        try:
            lines = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines()
        except (FileNotFoundError, ProcessLookupError):
            continue
        total += sum(int(line.split()[1]) for line in lines if line.startswith("Pss:"))
    return total / 1024


def measure(count: int, devices: int, directory: pathlib.Path) -> None:
    lab = Lab(directory)
    script = [report(5, 5 * i) | {"After": 1} for i in range(SECONDS)] + [THE_END]
    hosts, table = [], ""
    for number in range(1, count + 1):
        ecids = [f"{number:08X}{each:08X}" for each in range(devices)]
        hosts.append(Host(lab, number, [device(ecid, Restore=script) for ecid in ecids]))
        table += "".join(f"{ecid} any\n" for ecid in ecids)
    (directory / "hosts").write_text("".join(f"{host.name}\n" for host in hosts))
    (directory / "table").write_text(table)
    command = [sys.executable, ROOT / "python/bin/korvrestore-fleet", directory / "hosts"]
    command += [directory / "table", directory / "run", "--ssh", lab.ssh, "--pause", "1"]
    command += ["--tool", str(pathlib.Path(os.environ["KORVRESTORE"]).resolve())]
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.monotonic()
    with open(directory / "output", "w") as output:
        desk = subprocess.Popen(command, stdout=output, preexec_fn=adopt)
    most = 0.0
    while desk.poll() is None:
        most = max(most, memory([desk.pid, *descendants(desk.pid)]))
        time.sleep(2)
    elapsed = time.monotonic() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    restored = (directory / "output").read_text().count("  restored\n")
    at_desk = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    at_hosts = sum(processor_time(host.sshd.pid) for host in hosts)
    for host in hosts:
        host.cut_power()
    print(
        f"{count:5}  {count * devices:7}  {restored:8}  {elapsed:9.1f}  {at_desk:9.2f}  "
        f"{at_hosts / count:9.2f}  {most:6.0f}",
        flush=True,
    )


def main() -> None:
    print("hosts  devices  restored  elapsed s  CPU desk s  CPU/host s  MB desk")
    for size in sys.argv[1:] or ["2x4", "8x4", "32x4"]:
        count, devices = map(int, size.split("x"))
        with tempfile.TemporaryDirectory() as directory:
            measure(count, devices, pathlib.Path(directory))


if __name__ == "__main__":
    main()
