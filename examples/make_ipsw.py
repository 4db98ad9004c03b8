#!/usr/bin/env python3
"""Creates a small firmware bundle (IPSW) for restoring a simulated device.

Like a real bundle it is a zip archive with a BuildManifest.plist, but a real device can't use it.
"""

import argparse
import plistlib
import random
import zipfile

SYSTEM_IMAGE = "system.dmg"


def build_manifest(chip_id: int, board_id: int) -> dict:
    """The identities list the devices that the bundle is for, with hexadecimal numbers."""
    image = {"SystemImage": {"Info": {"Path": SYSTEM_IMAGE}}}
    identities = [
        {
            "ApChipID": f"0x{chip_id:04X}",
            "ApBoardID": f"0x{board_id:02X}",
            "Info": {"RestoreBehavior": behavior, "Variant": f"Customer {behavior} Install"},
            "Manifest": image,
        }
        for behavior in ("Erase", "Update")
    ]
    return {
        "ProductVersion": "1.0",
        "ProductBuildVersion": "1A1",
        "SupportedProductTypes": ["Simulated1,1"],
        "BuildIdentities": identities,
    }


def write_ipsw(path: str, chip_id: int = 0x8020, board_id: int = 0x0E, size: int = 1 << 20) -> None:
    """Writes a bundle for one kind of device, with a system image of `size` bytes."""
    content = random.Random(0).randbytes(size)
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr("BuildManifest.plist", plistlib.dumps(build_manifest(chip_id, board_id)))
        archive.writestr(SYSTEM_IMAGE, content)


def main() -> None:
    def number(text: str) -> int:
        return int(text, 0)

    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("path", help="the file to write")
    parser.add_argument("--chip", type=number, default=0x8020, help="ChipID (default: 0x8020)")
    parser.add_argument("--board", type=number, default=0x0E, help="BoardID (default: 0x0E)")
    parser.add_argument("--size", type=number, default=1 << 20, help="bytes of the system image")
    arguments = parser.parse_args()
    write_ipsw(arguments.path, arguments.chip, arguments.board, arguments.size)


if __name__ == "__main__":
    main()
