"""Emulated USB devices, and the program run against them."""

import io
import os
import pathlib
import queue
import re
import signal
import subprocess
import tempfile
import threading
import unittest

from support.messages import messages
from support.program import PATIENCE, PROGRAM, Result

EMULATOR = os.environ["USB_EMULATOR"]
ECID = "001A2B3C4D5E6F70"  # of an emulated device that was given no other
INFO = ("--device-info", "--detect-timeout", str(PATIENCE), "--ecid")
EXIT_RECOVERY = ("--exit-recovery", "--detect-timeout", str(PATIENCE), "--ecid")
STAY_IN_RECOVERY = ("--no-exit-recovery", "--detect-timeout", str(PATIENCE), "--ecid")

CHIP = "CPID:8020 CPRV:11 CPFM:03 SCEP:01 BDID:0E ECID:{} IBFL:3C "
DEVICES = {
    "recovery": {
        "vendor": 0x05AC,
        "product": 0x1281,
        "serial": CHIP + "SRNM:[F2LXXXXXXXXX]",
        "name": "Apple Mobile Device (Recovery Mode)",
    },
    "dfu": {
        "vendor": 0x05AC,
        "product": 0x1227,
        "serial": CHIP + "SRTG:[iBoot-3865.0.0.4.7]",
        "name": "Apple Mobile Device (DFU Mode)",
    },
    "other": {"vendor": 0x1234, "product": 0x5678, "serial": "1234", "name": "Keyboard"},
}


def preload(program) -> str:
    """The LD_PRELOAD that shows the emulated machine to `program`. A sanitizer's runtime wants to
    be the first library of all."""
    libraries = subprocess.run(["ldd", program], capture_output=True, text=True, check=True).stdout
    sanitizers = re.findall(r"=> (\S*/lib[at]san\.so\S*)", libraries)
    return " ".join([*sanitizers, "libumockdev-preload.so.0"])


def outcome(status) -> str:
    """How a process ended."""
    return f"by {signal.Signals(-status).name}" if status < 0 else f"with status {status}"


class Emulator:
    """See emulator/main.cpp for the commands."""

    def __init__(self):
        self.process = subprocess.Popen(
            [EMULATOR],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            env=os.environ | {"LD_PRELOAD": preload(EMULATOR)},
            text=True,
            bufsize=1,
            umask=0,  # other users may use the nodes and the sockets
        )
        self.seen = []  # what the devices saw
        self._unread = queue.SimpleQueue()
        threading.Thread(target=self._read, daemon=True).start()
        self.root = pathlib.Path(self.wait_for("UMOCKDEV_DIR=").partition("=")[2])
        self.root.chmod(0o777)
        self.environment = {"UMOCKDEV_DIR": str(self.root), "LD_PRELOAD": preload(PROGRAM)}

    def _read(self):
        for line in self.process.stdout:
            self._unread.put(line.rstrip("\n"))
        self._unread.put("")

    def wait_for(self, *beginnings) -> str:
        """The next line that begins so."""
        while line := self._unread.get(timeout=PATIENCE):
            if line.startswith("usb "):
                self.seen.append(line.removeprefix("usb "))
            if line.startswith(beginnings):
                return line
        raise AssertionError(f"the emulator ended {outcome(self.process.wait())}")

    def command(self, line):
        print(line, file=self.process.stdin, flush=True)
        answer = self.wait_for("done", "error")
        if answer != "done":
            raise AssertionError(f"{line}: {answer}")

    def add(self, port, kind="recovery", ecid=ECID, sysfs=True, **changes):
        """Plugs in one of DEVICES, with its `changes`."""
        device = DEVICES[kind] | changes
        numbers = f"{device['vendor']:x} {device['product']:x} {sysfs:d}"
        self.command(f"add {port} {numbers} {device['serial'].format(ecid)}|{device['name']}")

    def remove(self, port):
        self.command(f"remove {port}")

    def fault(self, port, operation, action, count=1):
        self.command(f"fault {port} {count} {operation}|{action}")

    def node(self, port) -> pathlib.Path:
        device = self.root / "sys/bus/usb/devices" / port
        numbers = [int((device / name).read_text()) for name in ("busnum", "devnum")]
        return self.root / "dev/bus/usb/{:03}/{:03}".format(*numbers)

    def seen_by(self, port) -> list:
        """What this device has seen up to now."""
        self.command("sync")
        return [line.removeprefix(port + " ") for line in self.seen if line.startswith(port + " ")]

    def close(self):
        self.process.stdin.close()
        status = self.process.wait(PATIENCE)
        self.process.stdout.close()
        if status != 0:
            raise AssertionError(f"the emulator ended {outcome(status)}")


class UsbTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.usb = Emulator()
        self.addCleanup(self.usb.close)
        self.directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.directory.chmod(0o755)

    def start(self, *arguments, program=PROGRAM, prefix=()) -> subprocess.Popen:
        environment = os.environ | self.usb.environment
        environment.pop("MOBILEDEVICE_SCENARIO", None)
        return subprocess.Popen(
            [*prefix, program, *arguments],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            env=environment,
            bufsize=0,  # so that read_until leaves the rest to finish
        )

    def read_until(self, process, *texts) -> bool:
        """Reads debug lines until each of the texts has stood in one of its own. False: the program
        ended before."""
        missing = list(texts)
        while missing and (line := process.stderr.readline().decode()):
            found = next((text for text in missing if text in line), None)
            if found:
                missing.remove(found)
        return not missing

    def finish(self, process, status=0) -> Result:
        try:
            stdout, stderr = process.communicate(timeout=PATIENCE)
        except subprocess.TimeoutExpired:
            process.kill()
            process.communicate()
            raise
        stderr = stderr.decode()
        self.assertEqual(process.returncode, status, stderr)
        return Result(status, list(messages(io.BytesIO(stdout).read)), stderr)

    def run_program(self, *arguments, status=0, **options) -> Result:
        return self.finish(self.start(*arguments, **options), status)

    def assert_listed(self, *ecids):
        for seconds in (2, 8, 32):  # until all came in time
            line = ("--list-devices", "--detect-timeout", str(seconds))
            [(kind, value)] = self.run_program(*line).messages
            if len(value) >= len(ecids):
                break
        self.assertEqual((kind, value), ("DeviceList", [*ecids]))
