"""Creates large restore-options property lists: a few options on top, and below them a table of
images, each with its digests, sizes, flags and rules."""

import datetime
import plistlib
import random

OPTIONS = {
    "AuthInstallRestoreBehavior": "Erase",
    "BootImageType": "UserOrInternal",
    "RestoreBundlePath": "/srv/firmware/current.ipsw",
    "PersonalizedRestoreBundlePath": "/tmp/personalized",
    "CreateFilesystemPartitions": True,
    "UpdateBaseband": False,
    "MinimumBattery": 0.25,
    "Created": datetime.datetime(2024, 2, 29, 12, 30, 15),
}


def image(index: int, random_source: random.Random) -> dict:
    """One entry of the table. Names, paths and digests differ; keys and flags repeat."""
    return {
        "Info": {
            "Path": f"Firmware/all_flash/image-{index:07d}.im4p",
            "Comment": f"Image {index} & its “{random_source.choice(['cold', 'warm'])}” twin",
            "Personalize": True,
            "IsFirmwarePayload": random_source.random() < 0.5,
            "RestoreRequestRules": [
                {"Actions": {"EPRO": True}, "Conditions": {"ApRawProductionMode": True}},
                {"Actions": {"ESEC": False}, "Conditions": {"ApRawSecurityMode": False}},
            ],
        },
        "Digest": random_source.randbytes(48),
        "Epoch": random_source.randrange(1 << 8),
        "Size": random_source.randrange(1 << 40),
        "Weight": random_source.random(),
        "Measurement": random_source.randbytes(200),
    }


def restore_options(images: int, paths: int) -> dict:
    """Options with so many images and additional paths; always the same ones."""
    random_source = random.Random(0)
    table = {f"Image{index:07d}": image(index, random_source) for index in range(images)}
    additional = {f"Path{index:02d}": f"/srv/firmware/part-{index:02d}" for index in range(paths)}
    return OPTIONS | additional | ({"Images": table} if images else {})


def restore_options_file(size: int, plist_format: plistlib.PlistFormat) -> bytes:
    """A file within 100 bytes or a hundredth of `size` bytes, which must be at least 700."""
    sample = plistlib.dumps(restore_options(1000, 0), fmt=plist_format)
    size_of_image = len(sample) // 1000
    images = paths = 0
    while True:
        content = plistlib.dumps(restore_options(images, paths), fmt=plist_format)
        missing = size - len(content)
        if abs(missing) <= max(100, size // 100):
            return content
        if 0 < missing < size_of_image:
            paths += 1
        else:
            images += missing // size_of_image
