"""The example drivers in three languages."""

import os
import pathlib
import shutil
import subprocess
import sys

from support.cases import TESTDATA, CasesTest
from support.program import PATIENCE, PROGRAM

EXAMPLES = pathlib.Path(__file__).parent.parent / "examples"
DRIVERS = {"driver.py": [sys.executable, "-B"], "driver.mjs": ["node"], "driver.sh": ["bash"]}
EXPECTED = {
    "00000000000000A1": "restored",
    "00000000000000A2": "FAILED at 40 % (Unrecognized operation): No",
    "00000000000000A5": "restored",
}


class DriversTest(CasesTest):
    def test_results(self):
        environment = os.environ | {"MOBILEDEVICE_SCENARIO": str(TESTDATA / "bench.plist")}
        for name, interpreter in DRIVERS.items():
            for ecid, result in EXPECTED.items():
                with self.subTest(name, ecid=ecid):
                    if shutil.which(interpreter[0]) is None:
                        self.skipTest(f"{name} IS NOT TESTED: {interpreter[0]} isn't installed")
                    line = [*interpreter, EXAMPLES / name, PROGRAM]
                    driver = subprocess.run(
                        [*line, self.directory / "firmware.ipsw", ecid],
                        env=environment,
                        stdout=subprocess.PIPE,
                        text=True,
                        timeout=PATIENCE,
                    )
                    self.assertEqual(driver.stdout.splitlines()[-1], f"{ecid} {result}")
                    self.assertEqual(driver.returncode, 0 if result == "restored" else 1)
