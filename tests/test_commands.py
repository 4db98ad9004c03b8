"""The commands that list or describe devices, and those for devices in Recovery."""

import random

from support.cases import CasesTest
from support.scenario import device


class CommandsTest(CasesTest):
    def test_cases(self):
        self.play_all("commands.toml")

    def test_list_is_sorted_as_unsigned_numbers(self):
        source = random.Random(1)
        numbers = {1, 255, 256, 2**63 - 1, 2**63, 2**64 - 1}
        numbers |= {source.getrandbits(64) for _ in range(494)}
        expected = [f"{number:016X}" for number in sorted(numbers)]
        states = ["Unknown", "DFU", "Recovery", "RestoreOS", 7]
        devices = [device(ecid, states[i % 5]) for i, ecid in enumerate(expected)]
        source.shuffle(devices)
        devices[100:100] = [device("00000000000000AA", "BootedOS"), device("0" * 16)]

        for seconds in (1, 8, 64):  # until all devices arrive in time
            line = ("--list-devices", "--detect-timeout", str(seconds))
            [(kind, listed)] = self.run_program(*line, devices=devices).messages
            if len(listed) >= len(expected):
                break
        self.assertEqual((kind, listed), ("DeviceList", expected))
