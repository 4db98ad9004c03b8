"""Runs a part of the tests and bench/kernel in a guest and prints a line for each check. Arguments:
the part and the number of parts. scripts/check-kernel searches for the last line."""

import os
import sys
import time
import unittest


class Result(unittest.TextTestResult):
    """Counts each subtest as a check."""

    checks = 0

    def addSubTest(self, test, subtest, error):
        super().addSubTest(test, subtest, error)
        self.checks += 1
        print("  ok" if error is None else "  FAILED", subtest._message, flush=True)

    def startTest(self, test):
        self.started = time.monotonic()
        super().startTest(test)

    def addSuccess(self, test):
        self.checks += 1
        super().addSuccess(test)

    def stopTest(self, test):
        super().stopTest(test)
        print(f"  {time.monotonic() - self.started:.1f} s", flush=True)


def flatten(tests):
    for test in tests:
        yield from flatten(test) if isinstance(test, unittest.TestSuite) else [test]


part, parts = map(int, sys.argv[1:])
loader = unittest.defaultTestLoader
tests = loader.discover("kernel", top_level_dir=".")
tests.addTests(loader.discover("../bench/kernel", "latency.py", "../bench/kernel"))
# For five seconds after this test, the kernel may wait for devices that have left.
tests = sorted(flatten(tests), key=lambda test: "leaves_during_enumeration" in test.id())
tests = unittest.TestSuite(tests[part::parts])
result = unittest.TextTestRunner(sys.stdout, verbosity=2, resultclass=Result).run(tests)
if result.wasSuccessful():
    print(f"kernel: {result.checks} checks passed on Linux {os.uname().release}")
