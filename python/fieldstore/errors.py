# SPDX-License-Identifier: Apache-2.0
"""What goes wrong with result files, apart from what Python has exceptions for already."""

from __future__ import annotations

from typing import Optional


class Error(Exception):
    """The base of the package's own errors."""


class DamagedError(Error):
    """A file does not hold what its class requires.

    Attributes:
        file: The path as it was given.
        byte: Where in the file it goes wrong; None when no byte is to blame.
        cause: What is wrong.
        remedy: What to do about it.
    """

    def __init__(self, file: str, byte: Optional[int], cause: str, remedy: str) -> None:
        super().__init__(file, byte, cause, remedy)
        self.file = file
        self.byte = byte
        self.cause = cause
        self.remedy = remedy

    def __str__(self) -> str:
        place = self.file if self.byte is None else f"{self.file}: byte {self.byte}"
        return f"{place}: {self.cause}. {self.remedy}"


class LockedError(Error):
    """Another writer kept the lock for as long as a commit waits.

    Attributes:
        file: The path of the data.
        marker: The path of the marker file that is the lock.
        holder: Who holds it, as far as it is known: a sentence for people.
    """

    def __init__(self, file: str, marker: str, holder: str, reason: str) -> None:
        super().__init__(file, marker, holder, reason)
        self.file = file
        self.marker = marker
        self.holder = holder
        self.reason = reason

    def __str__(self) -> str:
        return (
            f"{self.reason} {self.holder} Wait for the writer or, when none is left, run: "
            f"fieldstore unlock {self.file}"
        )


class StoreError(Error):
    """A commit failed for another reason; the text is the library's."""


class MissingPackageError(Error, ImportError):
    """Something needs a Python package that is not installed; the text names it."""

