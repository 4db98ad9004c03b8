"""One run of korvrestore: its command line, its messages, its limits and its end.

    with Tool(["korvrestore", "--list-devices"], limit=60) as tool:
        for message in tool:
            ...
    print(tool.outcome)

The process ends in every case: when the `with` block is left, when the limit has passed, and, on
Linux, when the calling program is killed.
"""

from __future__ import annotations

import contextlib
import ctypes
import os
import select
import signal
import subprocess
import sys
import tempfile
import time
from collections.abc import Callable, Iterator, Mapping, Sequence
from types import TracebackType

from korvrestore.messages import Message, MessageReader, Unreadable

GRACE = 10.0
"""Seconds that a tool has to end after SIGTERM, before SIGKILL."""
MARGIN = 60.0
"""Seconds that a tool may take beyond its own timeouts."""

_PR_SET_PDEATHSIG = 1


def _end_with_parent() -> Callable[[], None] | None:
    """What the child calls before it runs the tool, so that the kernel kills it when this program
    dies. Loads everything beforehand, because that isn't safe after a fork."""
    if not sys.platform.startswith("linux"):
        return None
    prctl, getppid, leave, parent = ctypes.CDLL(None).prctl, os.getppid, os._exit, os.getpid()

    def run_in_child() -> None:
        prctl(_PR_SET_PDEATHSIG, signal.SIGKILL, 0, 0, 0)
        if getppid() != parent:  # the parent died before the call, so no signal will arrive
            leave(1)

    return run_in_child


class Tool:
    """A process of korvrestore, or of a program that starts it.

    It has its own session, so that Ctrl-C doesn't reach it, and its own pipe for the
    messages. Linux kills it when the *thread* that started it ends: start it in a thread that
    outlives it. Not safe for use by several threads.
    """

    def __init__(
        self,
        command: Sequence[str],
        *,
        limit: float | None = None,
        environment: Mapping[str, str] | None = None,
        keep_open: Sequence[int] = (),
    ) -> None:
        """Starts it.

        command      the program and its options, without --output-pipe
        limit        seconds after which it is stopped; None: never
        environment  all variables; None: those of this program
        keep_open    descriptors that the process inherits

        Raises OSError if it can't be started.
        """
        self.is_late = False
        """Whether the limit has passed."""
        self.outcome = ""
        """How the process ended, in words, with what it wrote on standard error. Set by `close`."""
        self._deadline = None if limit is None else time.monotonic() + limit
        self._limit = limit
        self._is_stopping = False
        self._is_silent = True
        with contextlib.ExitStack() as files:
            self._output = files.enter_context(tempfile.TemporaryFile())
            self._errors = files.enter_context(tempfile.TemporaryFile())
            from_tool, to_us = os.pipe()
            self._messages = files.enter_context(open(from_tool, "rb", buffering=0))
            try:
                self._process = subprocess.Popen(
                    [*command, "--output-pipe", str(to_us)],
                    pass_fds=[to_us, *keep_open],
                    env=environment,
                    stdin=subprocess.DEVNULL,
                    stdout=self._output,
                    stderr=self._errors,
                    start_new_session=True,
                    preexec_fn=_end_with_parent(),
                )
            finally:
                os.close(to_us)  # so that the pipe ends when the tool does
            self._files = files.pop_all()

    def fileno(self) -> int:
        """The descriptor to wait on, for select; then call `read`."""
        return self._messages.fileno()

    def read(self) -> bytes:
        """Waits for the next bytes of the stream and returns them; b"" at its end."""
        data = self._messages.read(65536) or b""
        if not data and self._is_silent:
            # The tool reports errors in its command line on standard output.
            self._output.seek(0)
            data = self._output.read(1 << 20)
        self._is_silent = False
        return data

    def __iter__(self) -> Iterator[Message | Unreadable]:
        """Yields every message as it arrives. Enforces the limit."""
        reader, poll = MessageReader(), select.poll()
        poll.register(self, select.POLLIN)
        while True:
            self.keep_limit()
            if poll.poll(1000):
                data = self.read()
                yield from reader.feed(data) if data else reader.finish()
                if not data:
                    return

    def keep_limit(self) -> None:
        """Stops or kills the process when its limit has passed. Call it about once a second,
        unless you iterate over the messages."""
        if self._deadline is None or time.monotonic() < self._deadline:
            return
        if self._is_stopping:
            self.kill()
        else:
            self.is_late = True
            self.stop()

    def end_soon(self) -> None:
        """Gives the process ten seconds to end by itself after the end of its work."""
        self._deadline = min(self._deadline or float("inf"), time.monotonic() + GRACE)

    def stop(self) -> None:
        """Sends SIGTERM to the process, and SIGKILL if it hasn't ended after ten seconds."""
        self._is_stopping = True
        self._deadline = time.monotonic() + GRACE
        self._signal(signal.SIGTERM)

    def kill(self) -> None:
        self._deadline = None
        self._signal(signal.SIGKILL)

    def has_ended(self) -> bool:
        """Whether the process has ended; only after the end of its messages."""
        return self._process.poll() is not None

    @property
    def status(self) -> int | None:
        """The exit status, or a signal's number as a negative one; None while it runs."""
        return self._process.returncode

    def close(self) -> None:
        """Ends the process if it still runs, waits for it and releases everything."""
        if not self.has_ended():
            self.stop()
            try:
                self._process.wait(GRACE)
            except subprocess.TimeoutExpired:
                self.kill()
                self._process.wait()
        if not self._messages.closed:
            self.outcome = self._describe_end()
        self._files.close()

    def __enter__(self) -> Tool:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        self.close()

    def _describe_end(self) -> str:
        self._errors.seek(0)
        said = self._errors.read(4096).decode(errors="replace").strip()
        if self.is_late:
            how = f"the tool didn't end within {self._limit:.0f} seconds and was stopped"
        elif self._process.returncode < 0:
            how = f"the tool was ended by signal {-self._process.returncode}"
        else:
            how = f"the tool ended without a result (exit status {self._process.returncode})"
        return f"{how}. {said}" if said else how

    def _signal(self, number: int) -> None:
        # The number belongs to the process and its group until the process has been waited for.
        if self._process.returncode is None:
            with contextlib.suppress(ProcessLookupError, PermissionError):
                os.killpg(self._process.pid, number)
