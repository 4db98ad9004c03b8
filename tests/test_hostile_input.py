"""Restore options that were made to do harm end in an error message."""

import unittest

from support.program import FOUND, ProgramTest, error
from support.scenario import ECID

NEST = 100_000
ENTITIES = "".join(f'<!ENTITY e{n} "&e{n - 1};&e{n - 1};">' for n in range(1, 64))
BOMBS = {
    "deep XML": b"<plist>" + b"<array>" * NEST + b"</array>" * NEST + b"</plist>",
    "deep OpenStep": b"(" * NEST + b")" * NEST,
    "entities": f'<!DOCTYPE p [<!ENTITY e0 "ha">{ENTITIES}]>'.encode()
    + b"<plist><dict><key>a</key><string>&e63;</string></dict></plist>",
}


class HostileInputTest(ProgramTest):
    def test_bombs(self):
        file = self.directory / "options.plist"
        for name, content in BOMBS.items():
            with self.subTest(name):
                file.write_bytes(content)
                line = ("--restore-plist", str(file), "--ecid", ECID, *FOUND)
                result = self.run_program(*line, status=8)
                invalid = error(8, f"Cannot open file '{file}' - Invalid format")
                self.assertEqual(result.messages, [invalid])


if __name__ == "__main__":
    unittest.main()
