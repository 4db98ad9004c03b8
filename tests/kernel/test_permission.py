"""Permission to open a device: the udev rule of the Debian package."""

import pathlib
import subprocess

from kernel.kernel_test import KernelTest
from support.scenario import ECID
from usb.machine import NO_PERMISSION, STAY_IN_RECOVERY

[PACKAGE] = pathlib.Path("/").glob("korvrestore_*.deb")
CHARGING_DRIVER = pathlib.Path("/sys/bus/usb/drivers/apple-mfi-fastcharge")
PLUGDEV = 46  # Debian's number of the group
# udev takes a second for each USB device, and then loads drivers.
SLOW_RULE = pathlib.Path("/etc/udev/rules.d/00-slow.rules")
SLOW = 'ACTION=="add", SUBSYSTEM=="usb", ENV{DEVTYPE}=="usb_device", PROGRAM="/usr/bin/sleep 1"\n'
NOBODY = ("setpriv", "--reuid=65534", "--regid=65534")
STRANGER = (*NOBODY, "--clear-groups")
MEMBER = (*NOBODY, f"--groups={PLUGDEV}")


class PermissionTest(KernelTest):
    def dpkg(self, *arguments):
        command = ["dpkg", "--force-depends", *arguments]
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual(result.returncode, 0, result.stdout)

    def assert_permitted(self, *users):
        """Of root, a member of the group and another user, only `users` may send a command. All may
        read the properties."""
        self.usb.add("1-1")
        self.usb.wait_for("1-1")
        subprocess.run(["udevadm", "settle"], check=True)
        for user in ((), MEMBER, STRANGER):
            with self.subTest(f"{' '.join(user)} of {len(users)}"):
                self.info(ECID, prefix=user)
                if user in users:
                    self.assert_succeeds(STAY_IN_RECOVERY, prefix=user)
                else:
                    self.assert_refused(NO_PERMISSION, prefix=user)
        self.usb.remove("1-1")

    def test_package_installs_and_removes_rule(self):
        self.assert_permitted(())
        self.dpkg("--install", str(PACKAGE))
        self.assert_permitted((), MEMBER)
        self.assert_waits_for_udev()
        self.dpkg("--remove", "korvrestore")
        self.assert_permitted(())

    def assert_waits_for_udev(self):
        """udev applies the rule that gives permission. For the first device it also loads a driver;
        the kernel then invalidates all handles of the device."""
        SLOW_RULE.write_text(SLOW)
        subprocess.run(["udevadm", "control", "--reload"], check=True)
        subprocess.run(["modprobe", "--remove", "apple-mfi-fastcharge"], check=True)
        self.usb.add("1-1", faults=[["setenv", "slow 1.5", 1]])
        self.usb.wait_for("1-1")
        self.assert_succeeds(STAY_IN_RECOVERY, prefix=MEMBER)
        self.assertTrue(CHARGING_DRIVER.exists())
        SLOW_RULE.unlink()
        subprocess.run(["udevadm", "control", "--reload"], check=True)
        self.usb.remove("1-1")
