"""--restore and --enter-restore-mode, from bundles and by script."""

import struct
import unittest
import unittest.mock
import zipfile

from support.ipsw import BOARD, CHIP, IMAGE, identity, ipsw, manifest, write_ipsw
from support.plist import with_nulls
from support.program import FOUND, ProgramTest, error
from support.scenario import ECID, THE_END, device, report

AT_RESTORE_MODE = 9


class BundleTest(ProgramTest):
    """The simulator's own course, which reads the bundle for real."""

    def setUp(self):
        super().setUp()
        self.ipsw = self.directory / "firmware.ipsw"
        self.line = ("--restore", str(self.ipsw), "--ecid", ECID, *FOUND)
        self.device = device(ChipID=CHIP, BoardID=BOARD, RestoreSeconds=0)

    def reports(self, *options, **run):
        messages = self.run_program(*self.line, *options, **run).messages
        self.assertEqual({kind for kind, _ in messages}, {"RestoreStatus"})
        return [value for _, value in messages]

    def test_fitting_bundle_in_any_state(self):
        with unittest.mock.patch.object(zipfile, "ZIP64_LIMIT", 1):
            zip64 = ipsw()
        deflated = ipsw(compression=zipfile.ZIP_DEFLATED)
        for state, content in (("Recovery", ipsw()), ("DFU", deflated), (7, zip64)):
            self.ipsw.write_bytes(content)
            reports = self.reports(devices=[self.device | {"State": state}])
            progress = [value["Progress"] for value in reports]
            self.assertEqual(progress, sorted(progress))
            self.assertIn(AT_RESTORE_MODE, [value["Operation"] for value in reports])
            for value in reports[:-1]:
                self.assertNotEqual(value["Operation"], 0)
                self.assertNotIn("Unrecognized", value["TY_OperationName"])
            self.assertEqual(reports[-1], THE_END)

    def test_erase_chooses_the_identity(self):
        """The one to erase by can't be written, and the failure says where it would have stood."""
        self.ipsw.write_bytes(ipsw(manifest(identity("Update"), identity("Erase", Null=None))))
        self.assertEqual(self.reports(devices=[self.device])[-1], THE_END)
        failure = self.reports("--erase", devices=[self.device])[-1]["Error"]["Description"]
        self.assertRegex(failure, "/korvrestore[.][0-9a-f]{6}/PRB/1/BuildManifest.plist: ")

    def test_unfit_bundles(self):
        stored, deflated = ipsw(), ipsw(compression=zipfile.ZIP_DEFLATED)
        size, more = (struct.pack("<I", len(IMAGE) + extra) for extra in (0, 1))
        other = "has no identity for ChipID 0x8020, BoardID 0xE"
        for content, code, why in [
            (None, 3, "No such file or directory"),
            (b"", 3, "not a zip archive"),
            (b"no archive", 3, "not a zip archive"),
            (stored[: len(stored) // 2], 3, "not a zip archive"),
            (stored.replace(IMAGE, IMAGE[::-1]), 3, "Firmware/system.dmg: CRC error"),
            (deflated.replace(size, more), 3, "Firmware/system.dmg: shorter than its entry says"),
            (ipsw(None), 4, "holds no BuildManifest.plist"),
            (ipsw(b"<plist>"), 4, "BuildManifest.plist: not a property list"),
            (ipsw(b"<plist><array/></plist>"), 4, "has no array BuildIdentities"),
            (ipsw(manifest(identity("Update", CHIP + 1))), 5, other),
            (ipsw(manifest(identity("Update", board=BOARD + 1))), 5, other),
            (ipsw(manifest(identity("Update", board="0xZ"))), 5, other),
            ("directory", 3, "is a directory, expected a firmware bundle, a zip archive"),
        ]:
            with self.subTest(why):
                self.ipsw.unlink(missing_ok=True)
                if content == "directory":
                    self.ipsw.mkdir()
                elif content is not None:
                    self.ipsw.write_bytes(content)
                last = self.reports(devices=[self.device])[-1]
                self.assertEqual(last.keys(), {"Status", "Operation", "Progress", "Error"})
                self.assertEqual(
                    (last["Status"], last["Operation"], last["Progress"]), ("Failed", 0, 100)
                )
                self.assertEqual(last["Error"]["Domain"], "MobileDeviceSimulator")
                self.assertEqual(last["Error"]["Code"], code)
                text = last["Error"]["Description"]
                self.assertTrue(text.startswith(f"{self.ipsw}: "), text)
                self.assertIn(why, text)

    def test_device_that_vanishes(self):
        write_ipsw(self.ipsw)
        for seconds in (0.3, 3, 30):  # until the restore began before the device left
            fleeting = self.device | {"RestoreSeconds": 10_000, "DetachAfter": seconds}
            line = (*self.line[:-1], "1")
            result = self.run_program(*line, devices=[fleeting], status={0, 4})
            if result.status == 0:
                break
        kind, value = result.messages[-1]
        self.assertEqual((kind, value["Status"]), ("RestoreStatus", "Failed"))

    def test_enter_restore_mode(self):
        write_ipsw(self.ipsw)
        line = (*self.line, "--enter-restore-mode", "--debug")
        result = self.run_program(*line, devices=[self.device])
        operations = [value["Operation"] for _, value in result.messages]
        entered = operations.index(AT_RESTORE_MODE)
        self.assertNotIn(0, operations[:entered])
        notices = result.debug_lines("restoreCallback: Notifying")
        self.assertEqual(notices[0], "restoreCallback: Notifying enter restore mode complete")

    def test_timeout_is_a_message_not_a_failure(self):
        write_ipsw(self.ipsw)
        slow = self.device | {"RestoreSeconds": 10_000}
        for seconds in ("0", "1"):
            result = self.run_program(*self.line, "--restore-timeout", seconds, devices=[slow])
            timeout = error(7, f"Aborting, restore did not complete in {seconds} seconds")
            others = [message for message in result.messages if message != timeout]
            self.assertEqual(len(result.messages), len(others) + 1)
            self.assertLessEqual({kind for kind, _ in others}, {"RestoreStatus"})
            self.assertNotIn(0, [value["Operation"] for _, value in others])

    def test_no_default_options(self):
        reason = "AMRestoreCreateDefaultOptions failed"
        self.assert_refused(self.line, 1, reason, scenario={"NoDefaultRestoreOptions": True})


class ScriptTest(ProgramTest):
    """Reports exactly as the scenario gives them."""

    def restore(self, script, *options, **scenario):
        line = ("--restore", "/any", "--ecid", ECID, *FOUND, "--debug", *options)
        return self.run_program(*line, devices=[device(Restore=script)], scenario=scenario)

    def test_texts_and_completion(self):
        script = [
            report(77, -1, "Warm", Extra=[1, {"a": b"\x00"}]),
            report(78, 2**63 - 1),
            report(-3, 1),
            report(9, 100),
            report(0, 99),
            report(0, 101),
            THE_END,
        ]
        texts = {"77": "Baking", "78": "Unknown", "9": "Baking", "0": "The end"}
        result = self.restore(script, OperationTexts=texts)
        names = ["Baking", "Unknown", "Unrecognized operation", "Baking"]
        expected = [value | {"TY_OperationName": name} for value, name in zip(script, names)]
        expected += script[len(names) :]
        self.assertEqual(result.messages, [("RestoreStatus", value) for value in expected])
        lines = [
            "status Warm, operation Baking, progress -1",
            f"status Restoring, operation Unknown operation 78, progress {2**63 - 1}",
            "status Restoring, operation Unknown operation -3, progress 1",
            "status Restoring, operation Baking, progress 100",
            "status Restoring, operation The end, progress 99",
            "status Restoring, operation The end, progress 101",
            "status Successful, operation The end, progress 100",
            "Notifying restore complete",
        ]
        spoken = [f"restoreCallback: {line}" for line in lines]
        self.assertEqual(result.debug_lines("restoreCallback"), spoken)

    def test_departure_does_not_end_it(self):
        script = [report(9, 1), THE_END | {"After": 1}]
        line = ("--restore", "/any", "--ecid", ECID, *FOUND)
        result = self.run_program(*line, devices=[device(Restore=script, DetachAfter=0.3)])
        self.assertEqual(len(result.messages), 2)

    def test_reports_that_are_ignored(self):
        invalid = [
            {"Operation": 0, "Progress": 100},
            {"Status": "x", "Progress": 100},
            {"Status": "x", "Operation": 0},
            {"Status": 7, "Operation": 0, "Progress": 100},
            {"Status": "x", "Operation": "0", "Progress": 100},
            {"Status": "x", "Operation": 2**32, "Progress": 100},
            {"Status": "x", "Operation": 0, "Progress": 99.5},
            {"Status": "x", "Operation": 0, "Progress": [100]},
            {},
        ]
        result = self.restore([*invalid, THE_END])
        self.assertEqual(result.messages, [("RestoreStatus", THE_END)])
        lines = result.debug_lines("restoreCallback")[:-2]
        self.assertEqual(lines, ["restoreCallback: Ignoring invalid statusDict"] * len(invalid))

    def test_values_that_xml_cannot_hold(self):
        """Nulls are dropped at every level, control characters become U+FFFD."""
        odd = {"Null": None, "List": [1, None, {"Null": None}], "Text": "a\x00b\x1b</plist>\n\n"}
        script = with_nulls({"Devices": [device(Restore=[report(4, 1, **odd), THE_END])]})
        line = ("--restore", "/any", "--ecid", ECID, *FOUND)
        [(_, value), _] = self.run_program(*line, scenario=script).messages
        self.assertEqual(value["List"], [1, {}])
        self.assertNotIn("Null", value)
        self.assertEqual(value["Text"], "a\ufffdb\ufffd</plist>\n\n")

    def test_ends_that_are_said_again(self):
        """The second end may come while the session goes or after it has gone."""
        enter = ("--enter-restore-mode",)
        for option, script, notice in [
            ((), [THE_END] * 50, "restore complete"),
            (enter, [report(9, p) for p in range(50)], "enter restore mode complete"),
            (enter, [report(9, 5), THE_END, THE_END], "enter restore mode complete"),
            (enter, [THE_END, report(9, 5)], "restore complete"),
        ]:
            result = self.restore(script, *option)
            self.assertEqual(result.messages[0][1]["Operation"], script[0]["Operation"])
            self.assertLessEqual(len(result.messages), len(script))
            notices = result.debug_lines("restoreCallback: Notifying")
            self.assertEqual(notices[0], f"restoreCallback: Notifying {notice}")


if __name__ == "__main__":
    unittest.main()
