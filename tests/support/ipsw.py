"""Creates firmware bundles."""

import io
import zipfile

from support.plist import with_nulls

CHIP, BOARD = 0x8020, 0x0E
IMAGE = bytes(range(256)) * 256 + b"end"


def identity(behavior, chip=f"0x{CHIP:04X}", board=f"0x{BOARD:02X}", **keys) -> dict:
    return {"ApChipID": chip, "ApBoardID": board, "Info": {"RestoreBehavior": behavior}, **keys}


def manifest(*identities) -> bytes:
    return with_nulls({"BuildIdentities": list(identities)})


FITTING = manifest(identity("Update"), identity("Erase"))


def ipsw(build_manifest=FITTING, compression=zipfile.ZIP_STORED) -> bytes:
    file = io.BytesIO()
    with zipfile.ZipFile(file, "w", compression) as archive:
        archive.writestr("Firmware/", b"")
        archive.comment = archive.getinfo("Firmware/").comment = b"may stand here"
        archive.writestr("Firmware/system.dmg", IMAGE)
        if build_manifest is not None:
            archive.writestr("BuildManifest.plist", build_manifest)
    return file.getvalue()
