#!/usr/bin/env python3
"""Reads one property list with plistlib and prints the same figures as read_plist:
read_plistlib.py FILE [ROUNDS]."""

import plistlib
import sys
import time


def peak_memory() -> int:
    """The peak memory of this process, in bytes."""
    with open("/proc/self/status") as status:
        return next(int(line.split()[1]) * 1024 for line in status if line.startswith("VmHWM:"))


def main() -> None:
    with open(sys.argv[1], "rb") as file:
        content = file.read()
    rounds = int(sys.argv[2]) if len(sys.argv) == 3 else 1
    memory_before = peak_memory()
    time_before = time.process_time()
    for _ in range(rounds):
        value = plistlib.loads(content)
    elapsed = (time.process_time() - time_before) / rounds
    if not isinstance(value, dict):
        sys.exit("not a dictionary")
    print(elapsed, peak_memory() - memory_before)


if __name__ == "__main__":
    main()
