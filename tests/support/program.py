"""Starts the built program as its callers do, and collects its output."""

import dataclasses
import io
import os
import pathlib
import plistlib
import re
import signal
import subprocess
import tempfile
import time
import unittest

from support.messages import messages

PROGRAM = os.environ["KORVRESTORE"]
# Another CoreFoundation has other error texts and writes control characters unchanged.
OWN_COREFOUNDATION = os.environ.get("OWN_COREFOUNDATION", "1") == "1"
PATIENCE = 300  # seconds; a process that takes longer hangs
FOUND = ("--detect-timeout", str(PATIENCE))  # for devices that arrive: the wait ends when they do

DESCRIPTIONS = {
    1: "Unknown error",
    2: "Invalid argument",
    3: "Bad command",
    4: "Bad ECID specified",
    5: "Device is in bad state",
    6: "Recovery mode command failed",
    7: "Restore did not complete before timeout expired",
    8: "Read error",
}
CALLBACKS = ("deviceNotificationCallback", "restoreCallback")
SPEAKERS = CALLBACKS + (
    "device_notifier_state",
    "~device_notifier_state",
    "waitForCompletion",
    "waitForDevice",
    "operateOnRecoveryDevice",
)


def wait_until(happened):
    """Polls until `happened` returns a true value, and returns it."""
    deadline = time.monotonic() + PATIENCE
    while not (result := happened()):
        if time.monotonic() > deadline:
            raise TimeoutError
        time.sleep(0.01)
    return result


def error(code, reason) -> tuple:
    """The message for an error of the tool's own domain."""
    value = {"Domain": "korvrestore", "Code": code, "Description": DESCRIPTIONS[code]}
    return "InternalError", value | {"FailureReason": reason}


@dataclasses.dataclass
class Result:
    status: int
    messages: list  # of (Type, Value)
    stderr: str

    def debug_lines(self, *beginnings) -> list:
        """The debug lines that begin with `start`, in order. HANDLE replaces each pointer."""
        lines = re.sub("0x[0-9a-f]+", "HANDLE", self.stderr).splitlines()
        return [line for line in lines if line.startswith(beginnings)]


def collect(test, process, status, read="") -> Result:
    """Reads to the end and checks the exit status. `read` is stderr that was read before."""
    try:
        stdout, stderr = process.communicate(timeout=PATIENCE)
    except subprocess.TimeoutExpired:
        process.kill()
        process.communicate()
        raise
    stdout, stderr = stdout or b"", read + stderr.decode()
    test.assertEqual(process.returncode, status, stdout.decode() + stderr)
    return Result(status, list(messages(io.BytesIO(stdout).read)), stderr)


class Run:
    """One run with a scenario and its own temporary directory."""

    def __init__(self, directory, arguments, scenario, prefix=(), **popen):
        self.temporary = pathlib.Path(tempfile.mkdtemp(dir=directory))
        self.speaks = {"--debug", "--debug-dump", "--help"} & set(arguments)
        file = self.temporary.with_suffix(".plist")
        file.write_bytes(scenario)
        environment = {"TMPDIR": str(self.temporary), "MOBILEDEVICE_SCENARIO": str(file)}
        self.process = subprocess.Popen(
            [*prefix, PROGRAM, *map(os.fsencode, arguments)],
            stdin=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
            env=os.environ | environment,
            **{"stdout": subprocess.PIPE} | popen,
        )

    def finish(self, test, status=0) -> Result:
        """Reads to the end and checks the properties of every run."""
        result = collect(test, self.process, status)
        stderr, ended = result.stderr, result.status
        if ended != -signal.SIGABRT:
            test.assertEqual(os.listdir(self.temporary), [], "the scratch directory is still there")
            if not self.speaks:
                test.assertEqual(stderr, "")
            elif self.speaks == {"--debug"}:
                for line in stderr.splitlines():
                    test.assertTrue(line.startswith(SPEAKERS), line)
        return result


class ProgramTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

    def start(self, *arguments, devices=(), scenario={}, **options) -> Run:
        """`scenario` is the whole file as bytes, or its content in addition to the devices.
        `options` are passed to the process, and `prefix` is put before the program."""
        if not isinstance(scenario, bytes):
            scenario = plistlib.dumps({"Devices": devices} | scenario)
        return Run(self.directory, arguments, scenario, **options)

    def run_program(self, *arguments, status=0, **options) -> Result:
        return self.start(*arguments, **options).finish(self, status)
