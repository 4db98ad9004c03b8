"""Commands to a device in Recovery: the requests that it receives, and the program's messages."""

import os
import pathlib
import shutil

from support.program import PROGRAM, error
from support.scenario import ECID
from usb.cases import RecoveryCases
from usb.emulator import Emulator
from usb.machine import EXIT_RECOVERY, INFO, STAY_IN_RECOVERY, UsbTest

OPENING = ["open -> ok", "claim 0 -> ok"]
SETENV_ON = "setenv auto-boot true"
SETENV_OFF = "setenv auto-boot false"
SAVING = [*OPENING, f"{SETENV_ON} -> ok", "saveenv -> ok"]

TEXTS = {
    "left": "The device has left; plug it in again and retry",
    "busy": "Another program holds the device; end that program and retry",
    "no permission": "No permission to open the device; install the udev rule "
    "70-korvrestore.rules and plug the device in again",
}


class RecoveryCasesTest(RecoveryCases, UsbTest):
    make_machine = Emulator


class RecoveryTest(UsbTest):
    make_machine = Emulator

    def setUp(self):
        super().setUp()
        # Another device that no longer answers: it is never asked, so it causes no delay.
        self.usb.add("1-9", ecid="0000000000000099")
        self.usb.fault("1-9", "", "hang", count=-1)
        self.usb.add("1-1")

    def tearDown(self):
        self.assertEqual(self.usb.seen_by("1-9"), [])

    def assert_succeeds(self, arguments, **options):
        result = self.run_program(*arguments, ECID, **options)
        self.assertEqual(result.messages, [("CommandSuccess", True)])

    def assert_refused(self, arguments, failure, text, **options):
        result = self.run_program(*arguments, ECID, status=6, **options)
        self.assertEqual(result.messages, [error(6, f"{failure} command failed ({text})")])

    def assert_seen(self, *expected):
        self.assertEqual(self.usb.seen_by("1-1"), [*expected])
        self.usb.seen.clear()

    def test_stays_in_recovery(self):
        self.assert_succeeds(STAY_IN_RECOVERY)
        self.assert_seen(*OPENING, f"{SETENV_OFF} -> ok", "saveenv -> ok")

    def test_device_returns_after_exit_recovery(self):
        for returns_as in ("recovery", "dfu"):
            self.assert_succeeds(EXIT_RECOVERY)
            self.assert_seen(*SAVING, *OPENING, "reboot -> ok")
            self.usb.add("1-1", returns_as)
        [(_, value)] = self.run_program(*INFO, ECID).messages
        self.assertEqual(value["ProductID"], 0x1227)

    def test_claims_the_device(self):
        self.usb.fault("1-1", "claim", "busy")
        self.assert_refused(STAY_IN_RECOVERY, "SetAutoBoot", TEXTS["busy"])
        self.assert_seen("open -> ok", "claim 0 -> busy")
        self.usb.fault("1-1", "claim", "unconfigured")
        self.assert_succeeds(STAY_IN_RECOVERY)

    def test_refuses_another_device_in_its_place(self):
        swap = "swap CPID:8020 ECID:0000000000000022"
        self.usb.fault("1-1", "open", swap)
        self.assert_refused(STAY_IN_RECOVERY, "SetAutoBoot", TEXTS["left"])
        self.assert_seen(f"open -> {swap}")

    def test_requests_identity_missing_in_sysfs(self):
        self.usb.remove("1-1")
        self.usb.add("1-1", sysfs=False)
        self.assert_succeeds(STAY_IN_RECOVERY)
        self.assert_seen(
            *["open -> ok", "string:4 -> ok", "string:3 -> ok"],
            *["open -> ok", "string:4 -> ok", "claim 0 -> ok"],
            *[f"{SETENV_OFF} -> ok", "saveenv -> ok"],
        )

    def test_only_commands_need_permission(self):
        """The user nobody can list devices, but can't open one whose node belongs to root."""
        options = {}
        if os.geteuid() == 0:
            copy = shutil.copy(PROGRAM, self.directory / pathlib.Path(PROGRAM).name)
            as_nobody = ("setpriv", "--reuid=65534", "--regid=65534", "--clear-groups")
            options = {"program": copy, "prefix": as_nobody}
        self.usb.node("1-1").chmod(0)
        self.assertEqual(self.run_program(*INFO, ECID, **options).messages[0][0], "DeviceInfo")
        self.assert_refused(STAY_IN_RECOVERY, "SetAutoBoot", TEXTS["no permission"], **options)
        self.usb.node("1-1").chmod(0o666)
        self.assert_succeeds(STAY_IN_RECOVERY, **options)
