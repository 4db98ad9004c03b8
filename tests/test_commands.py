"""The commands that look at devices and those for devices in Recovery."""

import random
import time
import unittest

from support.program import FOUND, ProgramTest
from support.scenario import ECID, device

SESSION = [
    "device_notifier_state: initializing",
    "waitForCompletion: AMRestorableDeviceRegisterForNotifications()",
]
LOOKING = [f"waitForDevice: Looking for device '{ECID}'"]
WAITING = [f"waitForDevice: Waiting for device '{ECID}'"]
UNREGISTER = ["waitForCompletion: AMRestorableDeviceUnregisterForNotifications()"]


class ListDevicesTest(ProgramTest):
    def test_nothing_attached(self):
        for seconds in (0, 1):
            start = time.monotonic()
            line = ("--list-devices", "--detect-timeout", str(seconds), "--debug")
            result = self.run_program(*line)
            self.assertGreaterEqual(time.monotonic() - start, seconds)
            self.assertEqual(result.messages, [("DeviceList", [])])
            self.assertEqual(result.debug_lines(), SESSION + UNREGISTER)

    def test_five_hundred_sorted_as_unsigned_numbers(self):
        numbers = {1, 255, 256, 2**63 - 1, 2**63, 2**64 - 1}
        source = random.Random(1)
        while len(numbers) < 500:
            numbers.add(source.getrandbits(64))
        expected = [f"{number:016X}" for number in sorted(numbers)]
        states = ["Unknown", "DFU", "Recovery", "RestoreOS", 7]
        devices = [device(ecid, states[i % 5]) for i, ecid in enumerate(expected)]
        source.shuffle(devices)
        devices[100:100] = [device("00000000000000AA", "BootedOS"), device("0" * 16)]

        for seconds in (1, 8, 64):  # until all came in time
            line = ("--list-devices", "--detect-timeout", str(seconds))
            [(kind, listed)] = self.run_program(*line, devices=devices).messages
            if len(listed) >= len(expected):
                break
        self.assertEqual((kind, listed), ("DeviceList", expected))


class DeviceInfoTest(ProgramTest):
    def info(self, phone, *options, **run):
        line = ("--device-info", "--ecid", ECID.lower(), *FOUND, *options)
        result = self.run_program(*line, devices=[phone], **run)
        [(kind, value)] = result.messages
        self.assertEqual(kind, "DeviceInfo")
        return value, result

    def test_values(self):
        keys = ["BoardID", "ChipID", "ProductType", "FusingInfo", "LocationID"]
        numbers = [0x80000000, 0x8020, 2**31 - 1, 2**32 - 1, 0x14100000]
        texts = {"SerialNumber": "F2LX", "ProductString": "Gerät <&> 🙂"}
        phone = device(ProductID=0x8000, **dict(zip(keys, numbers)), **texts)
        signed = dict(zip(keys, [-(2**31), 0x8020, 2**31 - 1, -1, 0x14100000]))
        value, _ = self.info(phone)
        self.assertEqual(value, {"ECID": ECID, "ProductID": -0x8000, **signed, **texts})
        zeros = dict.fromkeys(["ProductID", *keys], 0)
        self.assertEqual(self.info(device(state="Unknown"))[0], {"ECID": ECID, **zeros})

    def test_device_that_comes_after_a_second(self):
        start = time.monotonic()
        _, result = self.info(device(AttachAfter=1), "--debug")
        self.assertGreaterEqual(time.monotonic() - start, 1)
        self.assertEqual(result.debug_lines(), SESSION + LOOKING + WAITING + UNREGISTER)

    def test_device_that_never_comes(self):
        line = ("--device-info", "--debug", "--ecid", ECID, "--detect-timeout")
        for seconds, devices in {
            "0": [],
            "1": [device("001A2B3C4D5E6F71"), device(state="BootedOS")],
        }.items():
            reason = f"Failed to find device with ecid {ECID} after {seconds} seconds"
            result = self.assert_refused([*line, seconds], 4, reason, devices=devices)
            self.assertEqual(result.debug_lines(), SESSION + LOOKING + WAITING)

    def test_every_kind_of_report(self):
        """All reports about the others come before the target, so all have been handled."""
        other, callback = "00000000000000FF", "deviceNotificationCallback: "
        reports = [
            {"After": 0.01 * step, "Type": kind}
            for step, kind in enumerate([0, 7, 1, 1, -1], start=1)
        ]
        reports.append({"After": 0.06, "Type": 0, "State": "BootedOS"})
        zero = device("0" * 16, AttachAfter=0.07, Notifications=[{"After": 0.08, "Type": 7}])
        devices = [device(other, Notifications=reports), zero, device(AttachAfter=0.1)]
        line = ("--device-info", "--ecid", ECID, *FOUND, "--debug")
        result = self.run_program(*line, devices=devices)
        self.assertEqual([kind for kind, _ in result.messages], ["DeviceInfo"])
        invalid = "Ignoring AMRestorableDevice with invalid ECID (HANDLE type "
        expected = [
            f"Adding '{other}' (HANDLE)",
            f"Connected AMRestorableDevice, but '{other}' already present",
            f"Adding '{other}' (HANDLE)",
            "called with invalid notification type 7",
            f"Disconnected AMRestorableDevice, but '{other}' not present",
            f"Removing '{other}'",
            f"Removing '{other}'",
            "called with invalid notification type -1",
            "Ignoring booted device",
            invalid + "connected)",
            invalid + "<invalid notification type 7>)",
            f"Adding '{ECID}' (HANDLE)",
        ]
        self.assertEqual(result.debug_lines(callback), [callback + line for line in expected])

    def test_arrivals_and_departures_race_the_wait(self):
        """The target comes and goes many times among others, and stays at last."""
        flapping = [{"After": 0.002 * i, "Type": i % 2} for i in range(1, 100)]
        others = [device(f"{n:016X}", Notifications=flapping) for n in range(1, 11)]
        stays = device(Notifications=[*flapping, {"After": 0.25, "Type": 0}])
        leaves = device(DetachAfter=0)
        for _ in range(5):
            line = ("--device-info", "--ecid", ECID)
            result = self.run_program(*line, *FOUND, devices=[*others, stays])
            self.assertEqual([kind for kind, _ in result.messages], ["DeviceInfo"])
            run = {"devices": [*others, leaves], "status": {0, 4}}
            result = self.run_program(*line, "--detect-timeout", "0", **run)
            expected = "DeviceInfo" if result.status == 0 else "InternalError"
            self.assertEqual([kind for kind, _ in result.messages], [expected])


class RegistrationTest(ProgramTest):
    def test_the_error_is_printed_twice(self):
        for code, status in {4: 4, 0: 0, 9: 1, -1: 1, 2**32 + 5: 5}.items():
            failure = {"Domain": "Lab", "Code": code, "Description": "No bus"}
            run = {"scenario": {"RegistrationError": failure}, "status": status}
            result = self.run_program("--list-devices", "--debug", **run)
            self.assertEqual(result.messages, [("InternalError", failure)] * 2)
            self.assertEqual(result.debug_lines(), SESSION)


class RecoveryTest(ProgramTest):
    def arguments(self, command):
        return ("--debug", f"--{command}", "--ecid", ECID, *FOUND)

    def test_success(self):
        calls = {
            "exit-recovery": ["SetAutoBoot(true)", "Reboot()"],
            "no-exit-recovery": ["SetAutoBoot(false)"],
        }
        for command, expected in calls.items():
            result = self.run_program(*self.arguments(command), devices=[device()])
            self.assertEqual(result.messages, [("CommandSuccess", True)])
            lines = [f"operateOnRecoveryDevice: AMRecoveryModeDevice{call}" for call in expected]
            spoken = [line for line in result.debug_lines() if line not in WAITING]
            self.assertEqual(spoken, SESSION + LOOKING + lines + UNREGISTER)

    def test_refusals(self):
        texts = {"5": "Too hot", "6": "Unknown"}
        texts |= {"7": "Unrecognized error", "8": "Unrecognized error 8"}
        auto_boot, reboot = "SetAutoBoot command failed ({})", "Reboot command failed ({})"
        gone = "Recovery device not available for this Restorable device"
        both = ("exit-recovery", "no-exit-recovery")
        for commands, keys, code, reason, calls in [
            (both, {"SetAutoBootError": 5, "RebootError": 9}, 6, auto_boot.format("Too hot"), 1),
            (both, {"SetAutoBootError": 6}, 6, auto_boot.format("Unknown error 6"), 1),
            (both, {"SetAutoBootError": -7777}, 6, auto_boot.format("Unknown error -7777"), 1),
            (both[:1], {"RebootError": 7}, 6, reboot.format("Unknown error 7"), 2),
            (both[:1], {"RebootError": 8}, 6, reboot.format("Unrecognized error 8"), 2),
            (both, {"NoRecoveryDevice": True}, 5, gone, 0),
            (both, {"state": "DFU"}, 5, "Device in state DFU not valid for {}", 0),
            (both, {"state": "Unknown"}, 5, "Device in state Unknown not valid for {}", 0),
            (both, {"state": "RestoreOS"}, 5, "Device in state RestoreOS not valid for {}", 0),
            (both, {"state": 7}, 5, "Device in state <invalid device state 7> not valid for {}", 0),
        ]:
            for command in commands:
                with self.subTest(command, **keys):
                    run = {"devices": [device(**keys)], "scenario": {"ErrorTexts": texts}}
                    line = self.arguments(command)
                    result = self.assert_refused(line, code, reason.format(command), **run)
                    self.assertEqual(len(result.debug_lines("operateOnRecoveryDevice")), calls)
                    self.assertNotIn(UNREGISTER[0], result.debug_lines())


if __name__ == "__main__":
    unittest.main()
