"""The Recovery commands."""

from kernel.kernel_test import KernelTest
from support.scenario import ECID
from usb.cases import RecoveryCases
from usb.machine import EXIT_RECOVERY


class RecoveryTest(RecoveryCases, KernelTest):
    parallel = True

    def test_device_returns_in_another_mode(self):
        self.usb.add("1-1")
        self.assert_succeeds(EXIT_RECOVERY)
        self.usb.add("1-1", "dfu")
        self.assertEqual(self.info(ECID)["ProductID"], 0x1227)
