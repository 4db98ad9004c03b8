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


def restore_options(count: int) -> dict:
    """Options with `count` images; always the same ones."""
    random_source = random.Random(0)
    images = {f"Image{index:07d}": image(index, random_source) for index in range(count)}
    return OPTIONS | {"Images": images}


def restore_options_file(size: int, plist_format: plistlib.PlistFormat) -> bytes:
    """A file within a hundredth of `size` bytes."""
    sample = 10_000  # large enough that references have the same width as in the whole file
    per_image = len(plistlib.dumps(restore_options(sample), fmt=plist_format)) / sample
    content = plistlib.dumps(restore_options(round(size / per_image)), fmt=plist_format)
    if abs(len(content) - size) > size / 100:
        raise ValueError(f"the file has {len(content)} bytes instead of {size}")
    return content
