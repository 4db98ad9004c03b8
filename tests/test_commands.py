"""The commands that list or describe devices, and those for devices in Recovery."""

import random

from support.cases import CasesTest
from support.program import FOUND
from support.scenario import ECID, device


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

    def test_returning_device_is_found(self):
        """The target arrives and leaves many times among others, and finally stays."""
        flapping = [{"After": 0.002 * i, "Type": i % 2} for i in range(1, 100)]
        others = [device(f"{n:016X}", Notifications=flapping) for n in range(1, 11)]
        stays = device(Notifications=[*flapping, {"After": 0.25, "Type": 0}])
        for _ in range(5):
            line = ("--device-info", "--ecid", ECID, *FOUND)
            result = self.run_program(*line, devices=[*others, stays])
            self.assertEqual([kind for kind, _ in result.messages], ["DeviceInfo"])
