# SPDX-License-Identifier: Apache-2.0
"""Files that appear whole or not at all, and what programs say to people."""

from __future__ import annotations

import contextlib
import errno
import os
import signal
import sys
import tempfile
import unicodedata
from typing import Any, Callable, Iterator

DONE, TROUBLE = 0, 2


class OutputError(Exception):
    """Nothing was written; the text says why and what to do."""


def require_free(path: str, force: bool) -> None:
    """Raises OutputError when nothing may be written there, before much work is done for it."""
    if os.path.isdir(path):
        raise OutputError(f"{path}: this is a directory. Name a file.")
    if os.path.lexists(path) and not force:
        raise OutputError(f"{path}: exists already. Replace it with --force, or name another file.")


def write_whole(path: str, content: bytes, force: bool) -> None:
    """Writes a file next to its place and puts it there when it is on the disk; an existing one is
    replaced only by force."""
    require_free(path, force)
    target = os.path.realpath(path)
    try:
        handle, temporary = tempfile.mkstemp(
            prefix=os.path.basename(target)[:200] + ".tmp", dir=os.path.dirname(target)
        )
    except OSError as error:
        raise OutputError(f"{path}: cannot be written ({error.strerror}).") from error
    try:
        with open(handle, "wb") as file:
            file.write(content)
            file.flush()
            os.fsync(file.fileno())
            os.fchmod(file.fileno(), _mode_for(target))
        if force:
            os.replace(temporary, target)
        else:
            _put_unless_there(temporary, target)
    except OSError as error:
        reason = "exists already" if error.errno == errno.EEXIST else error.strerror
        raise OutputError(f"{path}: cannot be written ({reason}).") from error
    finally:
        with contextlib.suppress(FileNotFoundError):
            os.unlink(temporary)


def _put_unless_there(temporary: str, target: str) -> None:
    try:
        os.link(temporary, target)
    except OSError as error:
        if error.errno == errno.EEXIST:
            raise
        os.rename(temporary, target)  # a file system without hard links


def _mode_for(target: str) -> int:
    """The permissions of the file that is replaced, or of a new one."""
    try:
        return os.stat(target).st_mode & 0o777
    except FileNotFoundError:
        mask = os.umask(0)
        os.umask(mask)
        return 0o666 & ~mask


def visible(text: str) -> str:
    """A text without what a terminal would obey or what could fake a line, escaped.

    >>> visible("a" + chr(27) + "[2J" + chr(0x202e))
    'a\\\\x1b[2J\\\\u202e'
    """
    return "".join(
        letter
        if unicodedata.category(letter) not in ("Cc", "Cf", "Cs", "Zl", "Zp")
        else letter.encode("unicode_escape").decode("ascii")
        for letter in text
    )


def say(name: str, text: str) -> None:
    """A line to the person at the terminal."""
    print(f"{name}: {visible(text)}", file=sys.stderr)


@contextlib.contextmanager
def ended_by_signals() -> Iterator[None]:
    """Lets what asks a program to end do so by way of an exception, so that no temporary file is
    left."""

    def end(number: int, frame: Any) -> None:
        raise SystemExit(128 + number)

    numbers = (signal.SIGTERM, signal.SIGHUP)
    before = [signal.signal(number, end) for number in numbers]
    try:
        yield
    finally:
        for number, handler in zip(numbers, before):
            signal.signal(number, handler)


def run(name: str, action: Callable[[], int]) -> int:
    """The exit status of a program, whose errors become lines for people."""
    from .errors import Error

    try:
        with ended_by_signals():
            return action()
    except (Error, OutputError, ValueError) as error:
        say(name, str(error))
    except KeyError as error:
        say(name, str(error.args[0]) if error.args else "a key is missing")
    except OSError as error:
        where = f"{error.filename}: " if error.filename else ""
        say(name, f"{where}{error.strerror or error}")
    except MemoryError:
        say(name, "there is not enough memory for this file")
    except KeyboardInterrupt:
        return 128 + signal.SIGINT
    return TROUBLE
