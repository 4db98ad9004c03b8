"""The Recovery commands."""

from kernel.kernel_test import KernelTest
from usb.cases import RecoveryCases


class RecoveryTest(RecoveryCases, KernelTest):
    parallel = True
