"""Commands to a device in Recovery: the requests that it receives, and the program's messages."""

import os
import pathlib
import shutil

from support.program import PROGRAM
from support.scenario import ECID
from usb.cases import RecoveryCases
from usb.emulator import Emulator
from usb.machine import BUSY, EXIT_RECOVERY, LEFT, NO_PERMISSION, STAY_IN_RECOVERY, UsbTest

OPENING = ["open -> ok", "claim 0 -> ok"]
SAVING = [*OPENING, "setenv auto-boot true -> ok", "saveenv -> ok"]


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

    def assert_seen(self, *expected):
        self.assertEqual(self.usb.seen_by("1-1"), [*expected])
        self.usb.seen.clear()

    def test_device_returns_after_exit_recovery(self):
        for returns_as in ("recovery", "dfu"):
            self.assert_succeeds(EXIT_RECOVERY)
            self.assert_seen(*SAVING, *OPENING, "reboot -> ok")
            self.usb.add("1-1", returns_as)
        self.assertEqual(self.info(ECID)["ProductID"], 0x1227)

    def test_claims_the_device(self):
        self.usb.fault("1-1", "claim", "busy")
        self.assert_refused(BUSY)
        self.assert_seen("open -> ok", "claim 0 -> busy")
        self.usb.fault("1-1", "claim", "unconfigured")
        self.assert_succeeds(STAY_IN_RECOVERY)

    def test_refuses_another_device_in_its_place(self):
        swap = "swap CPID:8020 ECID:0000000000000022"
        self.usb.fault("1-1", "open", swap)
        self.assert_refused(LEFT)
        self.assert_seen(f"open -> {swap}")

    def test_requests_identity_missing_in_sysfs(self):
        self.usb.remove("1-1")
        self.usb.add("1-1", sysfs=False)
        self.assert_succeeds(STAY_IN_RECOVERY)
        self.assert_seen(
            *["open -> ok", "string:4 -> ok", "string:3 -> ok"],
            *["open -> ok", "string:4 -> ok", "claim 0 -> ok"],
            *["setenv auto-boot false -> ok", "saveenv -> ok"],
        )

    def test_only_commands_need_permission(self):
        """The user nobody can list devices, but can't open one whose node belongs to root."""
        options = {}
        if os.geteuid() == 0:
            copy = shutil.copy(PROGRAM, self.directory / pathlib.Path(PROGRAM).name)
            as_nobody = ("setpriv", "--reuid=65534", "--regid=65534", "--clear-groups")
            options = {"program": copy, "prefix": as_nobody}
        self.usb.node("1-1").chmod(0)
        self.info(ECID, **options)
        self.assert_refused(NO_PERMISSION, **options)
        self.usb.node("1-1").chmod(0o666)
        self.assert_succeeds(STAY_IN_RECOVERY, **options)
