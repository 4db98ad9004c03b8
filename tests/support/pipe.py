"""A descriptor for --output-pipe."""

import fcntl
import os

from support.messages import messages


class SmallPipe:
    """Holds one page, or 64 KiB where the system doesn't let itself be told (macOS), so that the
    program waits for its reader before it goes on."""

    def __init__(self, blocking=True):
        self.reader, self.writer = os.pipe()
        if hasattr(fcntl, "F_SETPIPE_SZ"):
            fcntl.fcntl(self.reader, fcntl.F_SETPIPE_SZ, 4096)
        os.set_blocking(self.writer, blocking)
        self.option = ("--output-pipe", str(self.writer))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.close(self.reader)

    def started(self) -> None:
        """The program has its own copy of the writing end."""
        os.close(self.writer)

    def messages(self, chunk=1000):
        return messages(lambda: os.read(self.reader, chunk))
