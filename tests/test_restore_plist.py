"""--restore-plist: files of every kind, and what comes of them."""

import fcntl
import os
import plistlib
import unittest

from support.ipsw import BOARD, CHIP, identity, ipsw, manifest, write_ipsw
from support.program import FOUND, ProgramTest, error
from support.scenario import ECID, THE_END, device

# Keeps root from reading what the file's mode forbids.
AS_ANYBODY = ("setpriv", "--bounding-set=-dac_override,-dac_read_search")


class RestorePlistTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.file = self.directory / "options.plist"
        self.line = ("--restore-plist", str(self.file), "--ecid", ECID, *FOUND)

    def assert_unusable(self, why, **run):
        result = self.run_program(*self.line, status=8, **run)
        [(kind, value)] = result.messages
        reason = value["FailureReason"]
        self.assertEqual((kind, value), error(8, reason))
        self.assertTrue(reason.startswith(f"Cannot open file '{self.file}' - "), reason)
        self.assertIn(why, reason)

    def test_dictionaries_of_each_format(self):
        ipsw, personalized = self.directory / "firmware.ipsw", self.directory / "personal" / "ized"
        write_ipsw(ipsw)
        options = {
            "RestoreBundlePath": str(ipsw),
            "PersonalizedRestoreBundlePath": str(personalized),
        }
        openstep = "{" + "".join(f'"{key}" = "{value}"; ' for key, value in options.items()) + "}"
        phone = device(ChipID=CHIP, BoardID=BOARD, RestoreSeconds=0)
        for content in (
            plistlib.dumps(options),
            plistlib.dumps(options, fmt=plistlib.FMT_BINARY),
            plistlib.dumps(options).decode().replace("UTF-8", "UTF-16").encode("utf-16"),
            openstep.encode(),
        ):
            with self.subTest(content[:8]):
                self.file.write_bytes(content)
                result = self.run_program(*self.line, devices=[phone])
                self.assertEqual(result.messages[-1], ("RestoreStatus", THE_END))
                manifest = personalized / "BuildManifest.plist"
                self.assertEqual(len(plistlib.loads(manifest.read_bytes())["BuildIdentities"]), 1)
                manifest.unlink()

    def restore(self, options) -> dict:
        """Runs the simulator's own course and returns its last report."""
        self.file.write_bytes(plistlib.dumps(options))
        phone = device(ChipID=CHIP, BoardID=BOARD, RestoreSeconds=0)
        return self.run_program(*self.line, devices=[phone]).messages[-1][1]

    def test_identity_that_is_personalized(self):
        bundle, personalized = self.directory / "firmware.ipsw", self.directory / "personalized"
        by_text, by_number = identity("Update"), identity("Erase", CHIP, BOARD)
        other = identity("Erase", CHIP + 1, BOARD)
        bundle.write_bytes(ipsw(manifest("stray", other, by_text, by_number)))
        options = {
            "RestoreBundlePath": str(bundle),
            "PersonalizedRestoreBundlePath": str(personalized),
        }
        for behavior, chosen in (
            ({"AuthInstallRestoreBehavior": "Erase"}, by_number),
            ({"AuthInstallRestoreBehavior": "Update"}, by_text),
            ({}, by_text),
        ):
            self.assertEqual(self.restore(options | behavior), THE_END)
            written = plistlib.loads((personalized / "BuildManifest.plist").read_bytes())
            self.assertEqual(written, {"BuildIdentities": [chosen]})

    def test_paths_that_cannot_be_used(self):
        bundle, file = self.directory / "firmware.ipsw", self.directory / "file"
        write_ipsw(bundle)
        file.touch()
        for source, target, code, why in [
            (None, "x", 2, "restore options: RestoreBundlePath: expected a path, a string"),
            (bundle, "", 2, "restore options: PersonalizedRestoreBundlePath: expected a path"),
            (bundle, file / "below", 6, f"{file}/below: Not a directory"),
            (bundle, file, 6, f"{file}"),
        ]:
            options = {"PersonalizedRestoreBundlePath": str(target)}
            if source:
                options["RestoreBundlePath"] = str(source)
            last = self.restore(options)
            self.assertEqual((last["Status"], last["Error"]["Code"]), ("Failed", code))
            self.assertTrue(last["Error"]["Description"].startswith(why), last)

    def test_enter_restore_mode(self):
        self.file.write_bytes(plistlib.dumps({}))
        entered = THE_END | {"Operation": 9}
        line = (*self.line, "--enter-restore-mode")
        result = self.run_program(*line, devices=[device(Restore=[entered])])
        self.assertEqual(len(result.messages), 1)

    def test_unusable_files(self):
        directory = self.directory / "directory"
        (directory / "in it").mkdir(parents=True)
        self.assert_unusable("No such file or directory")
        for content, why in [
            (b"", "Empty file"),
            (plistlib.dumps(["an array"]), "Invalid format"),
            (plistlib.dumps("a string", fmt=plistlib.FMT_BINARY), "Invalid format"),
            (b"(an, array)", "Invalid format"),
            (b"\x00\xff\xfe", "Invalid format"),
        ]:
            with self.subTest(content):
                self.file.write_bytes(content)
                self.assert_unusable(why)
        self.file.chmod(0)
        as_anybody = AS_ANYBODY if os.geteuid() == 0 else ()
        self.assert_unusable("Permission denied", prefix=as_anybody)
        self.file.unlink()
        self.file.symlink_to(directory)
        self.assert_unusable("Is a directory")

    def test_more_than_a_gibibyte_is_not_read(self):
        with open(self.file, "wb") as file:
            file.truncate(2**30 + 1)
        size = f"'{self.file}' is {2**30 + 1} bytes (max size is {2**30} bytes)"
        self.assert_unusable(size)

    def test_locks_of_another_process(self):
        self.file.write_bytes(plistlib.dumps({}))
        with open(self.file) as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            self.assert_unusable("Could not obtain file lock")
            fcntl.flock(file, fcntl.LOCK_SH)
            self.run_program(*self.line, devices=[device(Restore=[THE_END])])


if __name__ == "__main__":
    unittest.main()
