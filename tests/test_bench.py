"""korvrestore-bench: several devices, and the ways in which a restore can end."""

import os
import pathlib
import plistlib
import pty
import signal
import subprocess
import sys
import termios

from support.cases import TESTDATA, CasesTest
from support.program import PATIENCE, PROGRAM, wait_until

BENCH = pathlib.Path(__file__).parent.parent / "python/bin/korvrestore-bench"
SCENARIO = TESTDATA / "bench.plist"
PRESENT, FAILING, ENDLESS, ABSENT, ODD = (f"{number:016X}" for number in range(0xA1, 0xA6))


class BenchTest(CasesTest):
    def setUp(self):
        super().setUp()
        self.scratch = self.directory / "tmp"
        self.scratch.mkdir()
        self.addCleanup(lambda: self.assertEqual(os.listdir(self.scratch), []))

    def start_bench(self, *arguments, tool=PROGRAM, scenario=SCENARIO, term="dumb", **popen):
        environment = {"MOBILEDEVICE_SCENARIO": str(scenario), "TMPDIR": str(self.scratch)}
        line = [sys.executable, "-B", BENCH, self.directory / "firmware.ipsw"]
        line += ["--tool", tool, "--detect-timeout", "2", *arguments]
        pipes = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "text": True}
        environment = os.environ | environment | {"TERM": term}
        return subprocess.Popen(line, env=environment, cwd=self.directory, **pipes | popen)

    def finish(self, bench, status) -> tuple:
        """Returns the table of results as a dictionary, the line under it, and stderr."""
        stdout, stderr = bench.communicate(timeout=PATIENCE)
        self.assertEqual(bench.returncode, status, stdout + stderr)
        *_, results, counts = stdout.rstrip("\n").split("\n\n")
        return dict(line.split("  ", 1) for line in results.splitlines()), counts, stderr

    def make_tool(self, script) -> pathlib.Path:
        """Creates a tool that runs this script."""
        tool = self.directory / "tool"
        tool.write_text(f"#!/usr/bin/env bash\n{script}\n")
        tool.chmod(0o700)
        return tool

    def test_every_device_has_its_result(self):
        results = self.finish(self.start_bench(PRESENT, PRESENT.lower()), 0)
        self.assertEqual(results, ({PRESENT: "restored"}, "1 restored", ""))
        line = (FAILING, ABSENT, PRESENT, "--table", "table", "--at-once", "2")
        results = self.finish(self.start_bench(*line), 1)
        absent = f"Failed to find device with ecid {ABSENT} after 2 seconds (code 4)"
        failed = "FAILED at 40 % (Unrecognized operation): No"
        expected = {PRESENT: "restored", ABSENT: f"NOT BEGUN: {absent}", FAILING: failed}
        self.assertEqual(results, (expected, "1 restored, 1 failed, 1 not begun", ""))
        header, *rows = (self.directory / "table").read_text().splitlines()
        rows = {(row := line.split("\t"))[0]: row[2:5] + row[6:7] for line in rows}
        self.assertEqual(rows[FAILING], ["failed", "Unrecognized operation", "40", "No"])
        self.assertEqual(rows[ABSENT], ["not begun", "", "", absent])
        self.assertEqual(rows[PRESENT][0], "restored")
        with self.start_bench(PRESENT) as bench:
            bench.stdout.close()  # the restore continues without a reader
        self.assertEqual(bench.returncode, 0)

    def test_recording_replays_the_messages(self):
        """The messages are equal byte for byte, whatever the end of the restore."""
        recorded = self.directory / "recorded"
        options = ("--restore-timeout", "3", "--record")
        ecids = (PRESENT, FAILING, ENDLESS, ABSENT, ODD)
        results, *_ = self.finish(self.start_bench(*ecids, *options, recorded), 1)
        self.assertRegex(results[ENDLESS], "did not complete in 3 seconds")
        replays = {}
        for ecid in ecids:
            line = (ecid, *options, self.directory / ecid)
            faster = self.directory / f"{ecid}.plist"
            again = plistlib.loads((recorded / f"{ecid}.plist").read_bytes())
            faster.write_bytes(plistlib.dumps(again | {"TimeScale": 20}))
            replays[ecid] = self.start_bench(*line, scenario=faster)
        for ecid, bench in replays.items():
            replayed, *_ = self.finish(bench, 0 if results[ecid] == "restored" else 1)
            self.assertEqual(replayed[ecid], results[ecid])
            stream = (recorded / f"{ecid}.messages").read_bytes()
            self.assertEqual((self.directory / ecid / f"{ecid}.messages").read_bytes(), stream)
            times = (recorded / f"{ecid}.times").read_text().split()[::2]
            self.assertEqual(len(times), stream.count(b"</plist>\n\n"))
            self.assertEqual(times, sorted(times, key=float))
        files = (SCENARIO, recorded / f"{ODD}.plist")
        odd, again = (plistlib.loads(file.read_bytes())["Devices"][-1] for file in files)
        self.assertEqual({key for key in odd if again[key] != odd[key]}, {"Restore"})
        with self.start_bench(PRESENT, *options, recorded) as bench:
            self.assertIn("File exists", bench.stderr.read())
        self.assertEqual(bench.returncode, 2)

    def test_terminal(self):
        """Rows are drawn in place and fit rows and columns, or lines are printed."""
        for rows, term in ((6, "xterm"), (3, "xterm"), (6, "dumb")):
            ours, terminal = pty.openpty()
            termios.tcsetwinsize(terminal, (rows, 30))
            bench = self.start_bench(PRESENT, FAILING, stdout=terminal, term=term)
            os.close(terminal)
            shown = b""
            try:
                while data := os.read(ours, 4096):
                    shown += data
            except OSError:  # the other end is closed
                os.close(ours)
            bench.communicate(timeout=PATIENCE)
            self.assertEqual(b"\x1b[" in shown, term == "xterm")
            if term == "xterm":
                *frames, last = shown.decode().split("\x1b[J")
                lines = [frame.split("\x1b[K\r\n") for frame in frames]
                self.assertLessEqual(max(map(len, lines)), rows)
                self.assertLessEqual(max(len(line) for line in lines[0]), 29)
                self.assertTrue(any("00A2  40 % FAILED, Unrecogniz" in line for line in lines[-2]))
            self.assertTrue(shown.endswith(b"\r\n1 restored, 1 failed\r\n"))

    def test_signals_end_all_tools(self):
        """Also a tool that ignores signals; and SIGKILL, which the program can't handle."""
        deaf = f"""trap '' TERM INT HUP; echo >"$0.deaf"; exec sleep {PATIENCE}"""
        tool = self.make_tool(f"""[[ "$*" = *{ODD}* ]] && {{ {deaf}; }}\nexec "{PROGRAM}" "$@\"""")
        for number in (signal.SIGHUP, signal.SIGTERM, signal.SIGKILL):
            bench = self.start_bench(ENDLESS, ODD, FAILING, "--at-once", "2", tool=tool)
            while "40 %" not in bench.stdout.readline():
                self.assertIsNone(bench.poll())
            wait_until((self.directory / "tool.deaf").exists)
            (self.directory / "tool.deaf").unlink()
            bench.send_signal(number)
            if number != signal.SIGKILL:
                self.assertIn(f"{FAILING}  NOT BEGUN: interrupted", bench.stdout.readline())
                bench.send_signal(signal.SIGINT)
                results, *_ = self.finish(bench, 128 + number)
                self.assertRegex(results[ENDLESS], "^FAILED at 40 % .*: interrupted$")
            bench.communicate(timeout=PATIENCE)
            # The folder is removed when the last tool has ended.
            wait_until(lambda: os.listdir(self.scratch) == [])

    def test_tools_that_fail(self):
        unreadable = "<?xml version='1.0'?><plist><date>20000-01-01T00:00:00Z</date></plist>"
        for script, failure in {
            "kill -ABRT $$": "the tool was ended by signal 6",
            "echo oh >&2; kill -SEGV $$": "the tool was ended by signal 11. oh",
            "exit 3": r"the tool ended without a result \(exit status 3\)",
            f'echo "{unreadable}" >&"${{@: -1}}"': r"the last message can't be read \(Attr.*\); .*",
        }.items():
            results, *_ = self.finish(self.start_bench(PRESENT, tool=self.make_tool(script)), 1)
            self.assertRegex(results[PRESENT], f"^FAILED: {failure}$")
        tool = self.make_tool(f'echo "{unreadable}" >&"${{@: -1}}"\nexec "{PROGRAM}" "$@"')
        results, *_ = self.finish(self.start_bench(PRESENT, tool=tool), 0)
        self.assertEqual(results, {PRESENT: "restored"})
        results, counts, _ = self.finish(self.start_bench(PRESENT, tool="/nowhere/tool"), 2)
        failure = "NOT BEGUN: can't run /nowhere/tool: No such file or directory"
        self.assertEqual((results, counts), ({PRESENT: failure}, "1 not begun"))

    def test_watch_restores_new_devices(self):
        """Each only once until it has left and come back; never a device that isn't listed."""
        script = (
            'case $1 in --list-devices) cat "$0.list" >&"${@: -1}"; exec cp "$0.list" seen;; esac'
        )
        tool = self.make_tool(f'{script}\necho "$*" >>"$0.begun"\nexec "{PROGRAM}" "$@"')
        listed = self.directory / "tool.list"

        def attach(*ecids):
            new = listed.with_suffix(".new")
            new.write_bytes(plistlib.dumps({"Type": "DeviceList", "Value": list(ecids)}))
            new.replace(listed)

        attach(PRESENT, FAILING, ABSENT)
        (self.directory / "only").write_text(f"# mine\n{PRESENT}\n{FAILING} the old one\n")
        options = ("--watch", "--only", "only", "--at-once", "1")
        bench = self.start_bench(*options, tool=tool)

        def wait_for(text):
            while text not in (line := bench.stdout.readline()):
                self.assertNotEqual(line, "")

        wait_for(f"{FAILING}  FAILED at 40 %")
        seen = self.directory / "seen"
        for _ in range(3):  # the second list was begun later, and the third after it was handled
            seen.unlink()
            wait_until(seen.exists)
        attach()
        wait_until(lambda: b"<string>0" not in seen.read_bytes())
        attach(PRESENT)
        wait_for(f"{PRESENT}  restored")
        bench.send_signal(signal.SIGINT)
        stdout, stderr = bench.communicate(timeout=PATIENCE)
        self.assertEqual(bench.returncode, 128 + signal.SIGINT, stderr)
        begun = (self.directory / "tool.begun").read_text()
        self.assertEqual(begun.count(PRESENT), 2)
        self.assertEqual(begun.count("--restore "), 3)
        self.assertNotIn("--erase", begun)
        self.assertEqual((self.directory / "results.tsv").read_text().count("\n"), 4)
