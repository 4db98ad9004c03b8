"""--restore-plist with files of every kind."""

import fcntl
import os
import plistlib

from support.cases import CasesTest
from support.ipsw import BOARD, CHIP, identity, ipsw, manifest
from support.program import FOUND, error
from support.scenario import ECID, THE_END, device

# Prevents root from reading files whose mode forbids it.
AS_ANYBODY = ("setpriv", "--bounding-set=-dac_override,-dac_read_search")
NEST = 100_000
ENTITIES = "".join(f'<!ENTITY e{n} "&e{n - 1};&e{n - 1};">' for n in range(1, 64))
INVALID = [
    plistlib.dumps("a string", fmt=plistlib.FMT_BINARY),
    b"\x00\xff\xfe",
    # Hostile input.
    b"<plist>" + b"<array>" * NEST + b"</array>" * NEST + b"</plist>",
    b"(" * NEST + b")" * NEST,
    f'<!DOCTYPE p [<!ENTITY e0 "ha">{ENTITIES}]>'.encode()
    + b"<plist><dict><key>a</key><string>&e63;</string></dict></plist>",
]


class RestorePlistTest(CasesTest):
    def setUp(self):
        super().setUp()
        self.file = self.directory / "options.plist"
        self.line = ("--restore-plist", str(self.file), "--ecid", ECID, *FOUND)

    def assert_unusable(self, why, **run):
        result = self.run_program(*self.line, status=8, **run)
        expected = error(8, f"Cannot open file '{self.file}' - {why}")
        self.assertEqual(result.messages, [expected])

    def test_cases(self):
        self.play_all("restore_plist.toml")

    def test_any_file_format_personalizes_identity(self):
        by_text, by_number = identity("Update"), identity("Erase", CHIP, BOARD)
        other = identity("Erase", CHIP + 1, BOARD)
        bundle, personalized = self.directory / "firmware.ipsw", self.directory / "two" / "deep"
        bundle.write_bytes(ipsw(manifest("stray", other, by_text, by_number)))
        paths = {"RestoreBundlePath": bundle, "PersonalizedRestoreBundlePath": personalized}
        options = {key: str(path) for key, path in paths.items()}
        erase = options | {"AuthInstallRestoreBehavior": "Erase"}
        update = options | {"AuthInstallRestoreBehavior": "Update"}
        openstep = "{" + "".join(f'"{key}" = "{value}"; ' for key, value in erase.items()) + "}"
        utf16 = plistlib.dumps(update).decode().replace("UTF-8", "UTF-16").encode("utf-16")
        for content, chosen in (
            (plistlib.dumps(erase), by_number),
            (plistlib.dumps(options, fmt=plistlib.FMT_BINARY), by_text),
            (utf16, by_text),
            (openstep.encode(), by_number),
        ):
            with self.subTest(content):
                self.file.write_bytes(content)
                phone = device(ChipID=CHIP, BoardID=BOARD, RestoreSeconds=0)
                result = self.run_program(*self.line, devices=[phone])
                self.assertEqual(result.messages[-1], ("RestoreStatus", THE_END))
                written = plistlib.loads((personalized / "BuildManifest.plist").read_bytes())
                self.assertEqual(written, {"BuildIdentities": [chosen]})

    def test_unusable_files(self):
        reading = f"when opening file '{self.file}' for reading: "
        self.assert_unusable(f"{reading}No such file or directory [generic:2]")
        for content in INVALID:
            with self.subTest(content[:20]):
                self.file.write_bytes(content)
                self.assert_unusable("Invalid format")
        self.file.chmod(0)
        as_anybody = AS_ANYBODY if os.geteuid() == 0 else ()
        self.assert_unusable(f"{reading}Permission denied [generic:13]", prefix=as_anybody)
        self.file.unlink()
        self.file.symlink_to(self.directory)
        self.assert_unusable("read: Is a directory [system:21]")

    def test_files_beyond_one_gibibyte_are_refused(self):
        with open(self.file, "wb") as file:
            file.truncate(2**30 + 1)
        size = f"'{self.file}' is {2**30 + 1} bytes (max size is {2**30} bytes)"
        self.assert_unusable(f"{size}: File is too large to fit into the buffer [TY::file:1]")

    def test_locks_of_another_process(self):
        self.file.write_bytes(plistlib.dumps({}))
        with open(self.file) as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            self.assert_unusable("open_and_assign: Could not obtain file lock [TY::file:3]")
            fcntl.flock(file, fcntl.LOCK_SH)
            self.run_program(*self.line, devices=[device(Restore=[THE_END])])
