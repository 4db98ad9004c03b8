"""Property lists that plistlib doesn't write."""

import plistlib

NULL = b"null"  # replaced by a null object


def with_nulls(value) -> bytes:
    """A binary property list. The byte 0 is a null; nothing refers to the bytes left after it."""
    plist = plistlib.dumps(value, fmt=plistlib.FMT_BINARY)
    return plist.replace(b"\x44" + NULL, b"\x00" + NULL)
