"""Damaged restore options end in an error message or are read; the program never falls over."""

import plistlib
import random
import struct
import unittest

from support.program import FOUND, ProgramTest, error
from support.scenario import ECID, THE_END, device

OPTIONS = {"RestoreBundlePath": "/any", "List": [1, 2.5, True, b"\x00\xff"], "Text": "ä🙂"}
SAMPLES = [
    plistlib.dumps(OPTIONS).rstrip(),
    plistlib.dumps(OPTIONS, fmt=plistlib.FMT_BINARY),
    b'{ RestoreBundlePath = "/any"; List = (1, "two\\U00e4", <00ff>); }',
]


def binary(objects, declared=None, references=1) -> bytes:
    """A binary property list of raw objects, the first being the root."""
    body, offsets = b"bplist00", []
    for content in objects:
        offsets.append(len(body))
        body += content
    table = b"".join(struct.pack(">H", offset) for offset in offsets)
    count = declared or len(offsets)
    return body + table + struct.pack(">6xBBQQQ", 2, references, count, 0, len(body))


class HostileInputTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.file = self.directory / "options.plist"
        self.line = ("--restore-plist", str(self.file), "--ecid", ECID, *FOUND)
        self.invalid = [error(8, f"Cannot open file '{self.file}' - Invalid format")]

    def assert_outcome(self, content, statuses):
        self.file.write_bytes(content)
        run = {"devices": [device(Restore=[THE_END])], "status": statuses}
        result = self.run_program(*self.line, **run)
        expected = [("RestoreStatus", THE_END)] if result.status == 0 else self.invalid
        self.assertEqual(result.messages, expected)

    def test_cut_and_changed(self):
        source = random.Random(2)
        for sample in SAMPLES:
            for _ in range(12):
                cut = sample[: source.randrange(1, len(sample))]
                at, bit = source.randrange(len(sample)), source.randrange(8)
                changed = sample[:at] + bytes([sample[at] ^ 1 << bit]) + sample[at + 1 :]
                with self.subTest(cut):
                    self.assert_outcome(cut, {8})
                with self.subTest(changed):
                    self.assert_outcome(changed, {0, 8})

    def test_bombs(self):
        dictionary = b"\xd1\x01\x02", b"\x51a"
        doubling = [bytes([0xA2, n + 1, n + 1]) for n in range(2, 60)] + [b"\xa0"]
        laughs = "".join(f'<!ENTITY e{n} "&e{n - 1};&e{n - 1};">' for n in range(1, 64))
        nest = 100_000
        for name, content in {
            "deep xml": b"<plist>" + b"<array>" * nest + b"</array>" * nest + b"</plist>",
            "deep openstep": b"(" * nest + b")" * nest,
            "declares 2^60 objects": binary([*dictionary, b"\x08"], declared=2**60),
            "array of 2^60": binary([*dictionary, b"\xaf\x13" + struct.pack(">Q", 2**60)]),
            "string of 2^62": binary([*dictionary, b"\x6f\x13" + struct.pack(">Q", 2**62)]),
            "cycle": binary([*dictionary, b"\xa1\x00"]),
            "doubling": binary([*dictionary, *doubling]),
            "entities": f'<!DOCTYPE p [<!ENTITY e0 "ha">{laughs}]>'.encode()
            + b"<plist><dict><key>a</key><string>&e63;</string></dict></plist>",
            "external": b'<!DOCTYPE p [<!ENTITY e SYSTEM "file:///etc/passwd">]>'
            b"<plist><dict><key>a</key><string>&e;</string></dict></plist>",
        }.items():
            with self.subTest(name):
                self.assert_outcome(content, {8})


if __name__ == "__main__":
    unittest.main()
