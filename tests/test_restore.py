"""--restore and --enter-restore-mode, from bundles and by script."""

import struct
import unittest
import unittest.mock
import zipfile

from support.cases import CasesTest
from support.ipsw import BOARD, CHIP, IMAGE, identity, ipsw, manifest
from support.plist import NULL, with_nulls
from support.program import FOUND, OWN_COREFOUNDATION
from support.scenario import ECID, THE_END, device, report

# The operations and progress of a successful restore.
COURSE = [(1, progress) for progress in range(11)] + [(2, 12), (9, 15), (9, 20), (9, 25), (10, 30)]
COURSE += [(11, 35), (11, 45), (11, 55), (11, 65), (12, 70), (12, 80), (13, 85), (13, 90)]
COURSE += [(14, 95), (0, 100)]


def patched(archive, record, at, new) -> bytes:
    """Replaces bytes in the zip archive's last record of this kind."""
    at += archive.rindex(record)
    return archive[:at] + new + archive[at + len(new) :]


class BundleTest(CasesTest):
    """The simulator's built-in restore, which reads the real bundle."""

    def setUp(self):
        super().setUp()
        self.ipsw = self.directory / "firmware.ipsw"
        self.line = ("--restore", str(self.ipsw), "--ecid", ECID, *FOUND)

    def reports(self, *options, state="Recovery"):
        fitting = device(state=state, ChipID=CHIP, BoardID=BOARD, RestoreSeconds=0)
        messages = self.run_program(*self.line, *options, devices=[fitting]).messages
        self.assertEqual({kind for kind, _ in messages}, {"RestoreStatus"})
        return [value for _, value in messages]

    def test_fitting_bundle_in_any_state(self):
        with unittest.mock.patch.object(zipfile, "ZIP64_LIMIT", 1):
            zip64 = ipsw()
        deflated = ipsw(compression=zipfile.ZIP_DEFLATED)
        # A comment that contains the signature of the record it belongs to.
        bundle = ipsw()
        commented = bundle[:-16] + b"\x24\0" + bundle[-14:] + b"PK\5\6" + b"\1" * 18
        bundles = ("Recovery", ipsw()), ("DFU", deflated), (7, zip64), ("DFU", commented)
        for state, content in bundles:
            self.ipsw.write_bytes(content)
            reports = self.reports(state=state)
            course = [(value["Operation"], value["Progress"]) for value in reports]
            self.assertEqual(course, COURSE)
            self.assertEqual({value["Status"] for value in reports[:-1]}, {"Restoring"})
            self.assertEqual(reports[-1], THE_END)

    def test_timeout_leaves_no_scratch_directory(self):
        """The restore is still writing when the tool removes the directory."""
        phone = device(ChipID=CHIP, BoardID=BOARD, RestoreSeconds=0)
        for _ in range(30):
            self.run_program(*self.line, "--restore-timeout", "0", devices=[phone])

    def test_erase_chooses_the_identity(self):
        """The identity for erasing can't be written, and the failure names its file."""
        self.ipsw.write_bytes(ipsw(manifest(identity("Update"), identity("Erase", Null=NULL))))
        self.assertEqual(self.reports()[-1], THE_END)
        failure = self.reports("--erase")[-1]["Error"]["Description"]
        self.assertRegex(failure, "/korvrestore[.][0-9a-f]{6}/PRB/1/BuildManifest.plist: ")

    def test_unfit_bundles(self):
        stored, deflated = ipsw(), ipsw(compression=zipfile.ZIP_DEFLATED)
        less, size, more = (struct.pack("<I", len(IMAGE) + extra) for extra in (-1, 0, 1))
        local, entry, end = b"PK\3\4", b"PK\1\2", b"PK\5\6"
        file, image = "BuildManifest.plist", "Firmware/system.dmg"
        unlike = "listed with another name or method than it has"
        other = f"{file} has no identity for ChipID 0x8020, BoardID 0xE"
        for content, code, why in [
            (b"", 3, "not a zip archive"),
            (stored[: len(stored) // 2], 3, "not a zip archive"),
            (patched(stored, end, 4, b"\1"), 3, "is one of several parts"),
            (patched(stored, end, 12, b"\0"), 3, "the list of its entries is damaged"),
            (patched(stored, entry, 0, b"X"), 3, "the list of its entries is damaged"),
            (patched(stored, entry, 30, b"\xff\xff"), 3, "the archive ends too early"),
            (patched(stored, entry, 8, b"\1"), 3, f"{file}: is encrypted"),
            (patched(stored, entry, 10, b"\7"), 3, f"{file}: neither stored nor deflated"),
            (patched(stored, entry, 42, bytes(4)), 3, "has entries that overlap"),
            (patched(stored, local, 0, b"X"), 3, f"{file}: damaged"),
            (patched(stored, local, 8, b"\x08"), 3, f"{file}: {unlike}"),
            (patched(stored, local, 30, b"X"), 3, f"{file}: {unlike}"),
            (stored.replace(IMAGE, IMAGE[::-1]), 3, f"{image}: CRC error"),
            (deflated.replace(size, more), 3, f"{image}: shorter than its entry says"),
            (deflated.replace(size, less), 3, f"{image}: longer than its entry says"),
            (ipsw(None), 4, f"holds no {file}"),
            (ipsw(bytes(2**26 + 1), zipfile.ZIP_DEFLATED), 4, f"{file} is larger than 64 MiB"),
            (ipsw(b"<plist>"), 4, f"{file}: not a property list: no element found at line 1"),
            (ipsw(b"<plist><array/></plist>"), 4, f"{file} has no array BuildIdentities"),
            (ipsw(manifest(identity("Update", CHIP + 1))), 5, other),
            (ipsw(manifest(identity("Update", board=BOARD + 1))), 5, other),
            (ipsw(manifest(identity("Update", board="0xZ"))), 5, other),
            (None, 3, "No such file or directory"),
            ("directory", 3, "is a directory, expected a firmware bundle, a zip archive"),
        ]:
            with self.subTest(why):
                self.ipsw.unlink(missing_ok=True)
                if content == "directory":
                    self.ipsw.mkdir()
                elif content is not None:
                    self.ipsw.write_bytes(content)
                end = self.reports()[-1]
                text = f"{self.ipsw}: {why}"
                if not OWN_COREFOUNDATION and "not a property list: " in why:
                    text = text.removesuffix("no element found at line 1")
                    end["Error"]["Description"] = end["Error"]["Description"][: len(text)]
                failure = {"Domain": "MobileDeviceSimulator", "Code": code, "Description": text}
                self.assertEqual(end, report(0, 100, "Failed", Error=failure))


class ScriptTest(CasesTest):
    """Reports exactly as in the scenario."""

    line = ("--restore", "/any", "--ecid", ECID, *FOUND)

    def test_cases(self):
        self.play_all("restore.toml")

    def test_values_that_xml_cannot_hold(self):
        """Nulls are dropped at every level. Our CoreFoundation replaces control characters."""
        odd_text = "a\x00b\x1b</plist>\n\n" if OWN_COREFOUNDATION else "</plist>\n\n"
        odd = {"Null": NULL, "List": [1, NULL, {"Null": NULL}], "Text": odd_text}
        script = [THE_END | odd | {"Bytes": b"\x00"}]
        scenario = with_nulls({"Devices": [device(Restore=script)]})
        text = odd_text.replace("\x00", "\ufffd").replace("\x1b", "\ufffd")
        expected = THE_END | {"List": [1, {}], "Text": text, "Bytes": b"\x00"}
        messages = self.run_program(*self.line, scenario=scenario).messages
        self.assertEqual(messages, [("RestoreStatus", expected)])

    def test_repeated_ends(self):
        """The second end may arrive during or after the end of the session."""
        entered = "enter restore mode complete"
        line = (*self.line, "--enter-restore-mode", "--debug")
        for script, notice in [
            ([THE_END] * 50, "restore complete"),
            ([report(9, p) for p in range(50)], entered),
            ([report(9, 5), THE_END, THE_END], entered),
            ([THE_END, report(9, 5)], "restore complete"),
        ]:
            result = self.run_program(*line, devices=[device(Restore=script)])
            self.assertEqual(result.messages[0][1]["Operation"], script[0]["Operation"])
            self.assertLessEqual(len(result.messages), len(script))
            notices = result.debug_lines("restoreCallback: Notifying")
            self.assertEqual(notices[0], f"restoreCallback: Notifying {notice}")
