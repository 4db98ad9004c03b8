"""Makes firmware bundles, whole ones and damaged ones."""

import zipfile

from support.plist import with_nulls

CHIP, BOARD = 0x8020, 0x0E
IMAGE = bytes(range(256)) * 256


def write_ipsw(path, chip=CHIP, board=BOARD, manifest=True, erase_by={}) -> None:
    """`erase_by` stands in the identity to erase by, too."""
    identity = {"ApChipID": f"0x{chip:04X}", "ApBoardID": f"0x{board:02X}", "Manifest": {}}
    identities = [
        identity | {"Info": {"RestoreBehavior": "Update"}},
        identity | {"Info": {"RestoreBehavior": "Erase"}} | erase_by,
    ]
    with zipfile.ZipFile(path, "w") as archive:
        if manifest:
            archive.writestr("BuildManifest.plist", with_nulls({"BuildIdentities": identities}))
        archive.writestr("system.dmg", IMAGE)


def damage(path) -> None:
    """Changes one byte of the stored image, so that its checksum is wrong."""
    content = bytearray(path.read_bytes())
    content[content.index(IMAGE) + len(IMAGE) // 2] ^= 1
    path.write_bytes(content)
