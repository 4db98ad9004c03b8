"""A folder for temporary files that is removed even if the program is killed."""

from __future__ import annotations

import contextlib
import os
import subprocess
import tempfile

from korvrestore.tool import GRACE


class Scratch(contextlib.AbstractContextManager[str]):
    """A folder for temporary files, which is removed when this program and its tools have ended,
    even if they are killed. A shell waits for that and removes the folder.

    The shell waits until all copies of `descriptor`, the end of a pipe, are closed. Tools inherit
    this descriptor.
    """

    def __init__(self, name: str) -> None:
        """Raises OSError."""
        self.folder = tempfile.mkdtemp(prefix=f"{name}.")
        reader, self.descriptor = os.pipe()
        script = 'trap "" HUP INT TERM; cat >/dev/null; rm -rf -- "$0"'
        try:
            self._remover = subprocess.Popen(
                ["/bin/sh", "-c", script, self.folder],
                stdin=reader,
                stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL,
                start_new_session=True,
            )
        finally:
            os.close(reader)

    def __enter__(self) -> str:
        return self.folder

    def __exit__(self, *_: object) -> None:
        os.close(self.descriptor)
        with contextlib.suppress(subprocess.TimeoutExpired):
            self._remover.wait(GRACE)
