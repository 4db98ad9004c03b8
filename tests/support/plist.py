"""Property lists that plistlib doesn't write."""

import plistlib

MARKER = b"null"


def with_nulls(value) -> bytes:
    """A binary property list in which each None is a null object."""

    def marked(value):
        if isinstance(value, dict):
            return {key: marked(item) for key, item in value.items()}
        if isinstance(value, list):
            return [marked(item) for item in value]
        return MARKER if value is None else value

    # A null is the byte 0; nothing refers to what is left of the marker's object.
    plist = plistlib.dumps(marked(value), fmt=plistlib.FMT_BINARY)
    return plist.replace(b"\x44" + MARKER, b"\x00" + MARKER)
