"""Splits the message stream of korvrestore and parses its messages.

    reader = MessageReader()
    for message in reader.feed(data):       # bytes, split anywhere
        if isinstance(message, Message):
            print(message.type, message.value)

Each message is one XML property list; docs/messages.md describes them all.
"""

from __future__ import annotations

import plistlib
from dataclasses import dataclass
from typing import Any

# Ends every document. A text inside one can't contain it, nor _BEGIN: XML writes "<" as "&lt;".
_END = b"</plist>\n"
_BEGIN = b"<?xml "
MAX_DOCUMENT = 64 << 20
"""Bytes. The tool's messages are shorter: a longer part of the stream isn't a message."""


@dataclass(frozen=True)
class Message:
    """One message. `type` determines the content of `value`; `document` is the original XML."""

    type: str
    value: Any
    document: bytes


@dataclass(frozen=True)
class Unreadable:
    """A part of the stream that isn't a message, or a message that plistlib can't parse. Later
    messages are not affected."""

    document: bytes
    reason: str


def parse(document: bytes) -> Message | Unreadable:
    """Reads one document. Raises nothing, even if Python can't represent a value."""
    try:
        content = plistlib.loads(document)
    except Exception as error:  # ValueError, AttributeError, ExpatError, OverflowError and others
        return Unreadable(document, f"{type(error).__name__}: {error}")
    if isinstance(content, dict) and isinstance(content.get("Type"), str) and "Value" in content:
        return Message(content["Type"], content["Value"], document)
    return Unreadable(document, "not a dictionary with the keys Type and Value")


class DocumentSplitter:
    """Splits the stream into documents without parsing them. Keeps at most one unfinished
    document, and no more than MAX_DOCUMENT bytes of it."""

    def __init__(self) -> None:
        self._pending = bytearray()

    def feed(self, data: bytes) -> list[bytes]:
        """Returns the documents that `data` completes. Bytes that belong to none are returned as
        a separate document."""
        documents: list[bytes] = []
        search_from = max(0, len(self._pending) - len(_END) + 1)
        self._pending += data
        while (end := self._pending.find(_END, search_from)) >= 0:
            end += len(_END)
            begin = self._pending.rfind(_BEGIN, 0, end)
            if begin > 1:  # 1: after the line feed between two messages
                documents += self._take(begin)
                end -= begin
            documents += self._take(end)
            search_from = 0
        if len(self._pending) > MAX_DOCUMENT:
            documents += self._take(len(self._pending))
        return documents

    def finish(self) -> list[bytes]:
        """Returns the rest at the end of the stream: nothing, or a document that was cut off."""
        return self._take(len(self._pending))

    def _take(self, size: int) -> list[bytes]:
        document = bytes(self._pending[:size]).strip()
        del self._pending[:size]
        return [document + b"\n"] if document else []


class MessageReader:
    """Reads the stream as it comes. One reader serves one run of the tool."""

    def __init__(self) -> None:
        self._splitter = DocumentSplitter()

    def feed(self, data: bytes) -> list[Message | Unreadable]:
        """Returns the messages that `data` completes, in order."""
        return [parse(document) for document in self._splitter.feed(data)]

    def finish(self) -> list[Message | Unreadable]:
        """Call it at the end of the stream. Returns the rest, if a message was cut off."""
        return [parse(document) for document in self._splitter.finish()]
