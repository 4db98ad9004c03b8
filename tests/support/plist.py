"""Property lists that plistlib doesn't write."""

import plistlib

NULL = b"null"  # stands for a null object


def with_nulls(value) -> bytes:
    """A binary property list. A null is the byte 0; nothing refers to what is left behind it."""
    plist = plistlib.dumps(value, fmt=plistlib.FMT_BINARY)
    return plist.replace(b"\x44" + NULL, b"\x00" + NULL)
