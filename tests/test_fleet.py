"""korvrestore-fleet: devices on several hosts, and failures of all parts."""

import contextlib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

from support.hosts import Host, Lab, adopt, cut_power
from support.program import PATIENCE, PROGRAM, ProgramTest, wait_until
from support.scenario import THE_END, device, report

FLEET = pathlib.Path(__file__).parent.parent / "python/bin/korvrestore-fleet"
QUICK, FAILING, HELD, ENDLESS, ABSENT = (f"{number:016X}" for number in range(0xA1, 0xA6))
# Counts the restores. If the bundle is a FIFO, the restore waits until something is written to it.
TOOL = f"""#!/usr/bin/env bash
if [ "$1" = --restore ]; then
  echo "$4" >>"$HOME/begun"
  [ -p "$2" ] && read -r <"$2"
fi
exec {PROGRAM} "$@"
"""


def writer(fifo):
    """The FIFO opened for writing; None while it has no reader."""
    with contextlib.suppress(OSError):
        return open(os.open(fifo, os.O_WRONLY | os.O_NONBLOCK), "w")


@unittest.skipUnless(
    shutil.which("parallel") and shutil.which("/usr/sbin/sshd"),
    "needs sshd and GNU parallel: scripts/setup --fleet",
)
class FleetTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.folder = self.directory / "run"
        self.tool = self.directory / "tool"
        self.tool.write_text(TOOL)
        self.tool.chmod(0o700)
        self.lab = Lab(self.directory)

    def host(self, *arguments) -> Host:
        host = Host(self.lab, *arguments)
        self.addCleanup(host.cut_power)
        return host

    def start_fleet(self) -> subprocess.Popen:
        line = [sys.executable, "-B", FLEET, self.directory / "hosts", self.directory / "table"]
        line += [self.folder, "--tool", self.tool, "--ssh", self.lab.ssh]
        line += ["--retries", "8", "--pause", "0.1", "--", "--detect-timeout", str(PATIENCE)]
        desk = subprocess.Popen(
            line, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, preexec_fn=adopt
        )
        self.addCleanup(cut_power, desk)
        return desk

    def finish(self, desk, counts) -> dict:
        stdout, stderr = desk.communicate(timeout=PATIENCE)
        self.assertEqual(desk.returncode, 1, stdout + stderr)
        *_, results, last = stdout.rstrip("\n").split("\n\n")
        self.assertEqual(last, counts)
        rows = [re.split("  +", line, maxsplit=2) for line in results.splitlines()]
        return {ecid: (host, result) for ecid, host, result in rows}

    def wait_for(self, desk, happened):
        """Returns the first true result of `happened`. The desk must keep running."""
        result = wait_until(lambda: happened() or desk.poll() is not None)
        self.assertIsNone(desk.poll())
        return result

    def wait_for_text(self, desk, text, name) -> None:
        """Waits until the run's file `name` contains `text`."""
        file = self.folder / name
        self.wait_for(desk, lambda: file.exists() and text in file.read_text())

    def test_refusals(self):
        """Nothing is begun, on any host."""
        (self.directory / "hosts").write_text("nowhere\n")
        for table, kept, reason in [
            ("00A1 any", {}, "'00A1' is not an ECID"),
            (f"{QUICK.lower()} a\n{QUICK} b", {}, f"{QUICK} is there twice"),
            (QUICK, {}, f"{QUICK} has no bundle"),
            ("# none", {}, "no device"),
            (b"\xff", {}, "not a text file"),
            (f"{QUICK} any", {"letter": ""}, "exists and isn't the folder of a run"),
            (f"{QUICK} b", {"run": "1", "jobs.tsv": f"bench1\t{QUICK}\ta\n"}, "begun with a"),
        ]:
            table = table if isinstance(table, bytes) else table.encode()
            (self.directory / "table").write_bytes(table)
            self.folder.mkdir()
            for name, content in kept.items():
                (self.folder / name).write_text(content)
            _, stderr = (desk := self.start_fleet()).communicate(timeout=PATIENCE)
            self.assertEqual(desk.returncode, 2)
            self.assertIn(reason, stderr)
            shutil.rmtree(self.folder)

    def test_no_device_is_restored_twice(self):
        """A connection that hangs, a desk that is switched off, a host that dies and comes back."""
        failed = report(0, 100, "Failed", Error={"Description": "No"})
        restores = {QUICK: [THE_END], FAILING: [failed], HELD: [report(5, 40), THE_END]}
        forever = [report(5, 40), THE_END | {"After": 3600}]
        first = self.host(1, [device(ecid, Restore=script) for ecid, script in restores.items()])
        second = self.host(2, [device(ENDLESS, Restore=forever)])
        (self.directory / "hosts").write_text("# two rooms\nbench1\nbench2\n")
        fifo = self.directory / "hold it"
        os.mkfifo(fifo)
        table = f"{QUICK.lower()}\tany\n{FAILING} any\n{HELD} {fifo}\n{ENDLESS} any\n{ABSENT} any\n"
        (self.directory / "table").write_text(table)

        desk = self.start_fleet()
        held = self.wait_for(desk, lambda: writer(fifo))  # its restore has begun
        first.hang()
        self.wait_for_text(desk, "not responding", f"{HELD}.log")
        self.wait_for_text(desk, "<integer>40<", f"{ENDLESS}.messages")
        cut_power(desk)
        desk = self.start_fleet()
        held.write("go on\n")
        held.close()
        self.wait_for_text(desk, "exit status 0", f"{HELD}.end")
        second.cut_power()
        results = {
            QUICK: ("bench1", "restored"),
            FAILING: ("bench1", "FAILED: No"),
            HELD: ("bench1", "restored"),
            ABSENT: ("-", "NOT BEGUN: on none of the hosts, or on several"),
        }
        unfinished = self.finish(desk, "2 restored, 1 failed, 1 not begun, 1 unknown")
        host, result = unfinished.pop(ENDLESS)
        self.assertRegex(result, r"^UNKNOWN at 40 % \(Unrecognized operation\): .*onnect")
        self.assertEqual((host, unfinished), ("bench2", results))

        second.start()
        broken_off = "FAILED at 40 % (Unrecognized operation): broken off: the tool is gone"
        results[ENDLESS] = ("bench2", broken_off)
        again = self.finish(self.start_fleet(), "2 restored, 2 failed, 1 not begun")
        self.assertEqual(again, results)
        rows = (self.folder / "results.tsv").read_text().splitlines()
        by_ecid = {(row := line.split("\t"))[0]: row[1:7] for line in rows}
        reason = broken_off.partition(": ")[2]
        operation = "Unrecognized operation"
        self.assertEqual(by_ecid[HELD][:4], ["bench1", "restored", operation, "100"])
        *place, _, why = by_ecid[ENDLESS]
        self.assertEqual((place, why), (["bench2", "failed", operation, "40"], reason))
        self.assertEqual(by_ecid[ABSENT][:2], ["-", "not begun"])
        # The earlier part of the messages wasn't copied again.
        self.assertEqual((self.folder / f"{ENDLESS}.messages").read_text().count("</plist>"), 1)
        begun = [(host.home / "begun").read_text().split() for host in (first, second)]
        self.assertEqual([sorted(ecids) for ecids in begun], [[QUICK, FAILING, HELD], [ENDLESS]])
