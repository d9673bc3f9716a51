# SPDX-License-Identifier: Apache-2.0
"""A bar for people who wait."""

from __future__ import annotations

import os
import sys
import threading
import time
from types import TracebackType
from typing import Optional, TextIO, Type

WIDTH = 30


class Progress:
    """Shows on a terminal, after the first second, how much of the work is done, what is at work, and
    the seconds so far. A thread of its own draws, so that it moves while something large is read.

    Within a step, what the process has read tells how far it is, where the system counts that.
    """

    def __init__(self, total: int, stream: Optional[TextIO] = None) -> None:
        self._stream = stream if stream is not None else sys.stderr
        self._total = max(total, 1)
        self._done = 0
        self._step = 0
        self._name = ""
        self._read_at_begin = 0
        self._begin = time.monotonic()
        self._delay = int(os.environ.get("FIELDSTORE_PROGRESS_DELAY", "1000") or 0) / 1000
        self._ended = threading.Event()
        self._thread: Optional[threading.Thread] = None

    def step(self, name: str, weight: int) -> None:
        """What comes next, and how much of the total it is."""
        self._done += self._step
        self._name, self._step, self._read_at_begin = name, weight, _bytes_read()

    def line(self) -> str:
        """What the bar looks like now."""
        within = min(_bytes_read() - self._read_at_begin, self._step)
        share = min((self._done + max(within, 0)) / self._total, 1.0)
        filled = round(share * WIDTH)
        seconds = time.monotonic() - self._begin
        bar = "#" * filled + "." * (WIDTH - filled)
        return f"[{bar}] {share:4.0%} {seconds:4.0f} s  {self._name}"

    def _run(self) -> None:
        wait = self._delay
        while not self._ended.wait(wait):
            self._stream.write("\r\x1b[K" + self.line()[:100])
            self._stream.flush()
            wait = 0.2

    def __enter__(self) -> Progress:
        if self._stream.isatty():
            self._thread = threading.Thread(target=self._run, daemon=True)
            self._thread.start()
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self._ended.set()
        if self._thread is not None:
            self._thread.join()
            self._stream.write("\r\x1b[K")
            self._stream.flush()


def _bytes_read() -> int:
    try:
        with open("/proc/self/io", "rb") as file:
            return int(file.readline().split()[1])
    except (OSError, ValueError, IndexError):
        return 0
