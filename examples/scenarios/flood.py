#!/usr/bin/env python3
"""Writes a scenario to standard output: a restore that sends 20,000 reports as fast as it can.

    flood.py > flood.plist

It is a program because the scenario has 20,001 entries and takes megabytes.
"""

import plistlib
import sys

REPORTS = 20_000

reports = [
    {"Status": "Restoring", "Operation": 11, "Progress": 100 * number // REPORTS}
    for number in range(REPORTS)
]
end = {"Status": "Successful", "Operation": 0, "Progress": 100}
device = {"ECID": "001A2B3C4D5E6F70", "State": "Recovery", "Restore": [*reports, end]}
plistlib.dump({"Devices": [device]}, sys.stdout.buffer)
