"""Reads the program's message stream as an integrator would: one XML document after another."""

import plistlib

END_OF_MESSAGE = b"</plist>\n\n"


def parse(document: bytes) -> tuple:
    """The Type and the Value of one message."""
    if not document.startswith(b"<?xml "):
        raise AssertionError(f"a message begins with {document[:80]!r}")
    message = plistlib.loads(document)
    if message.keys() != {"Type", "Value"}:
        raise AssertionError(f"a message has the keys {list(message)}")
    return message["Type"], message["Value"]


def messages(read):
    """Yields each complete message. `read` returns the next bytes, b"" at the end."""
    buffer = b""
    while chunk := read():
        *documents, buffer = (buffer + chunk).split(END_OF_MESSAGE)
        for document in documents:
            yield parse(document + END_OF_MESSAGE)
    if buffer:
        raise AssertionError(f"the stream ends in the middle of a message: {buffer[-80:]!r}")
