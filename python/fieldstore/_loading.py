# SPDX-License-Identifier: Apache-2.0
"""From a path to loaded data, or to the error that says why not."""

from __future__ import annotations

import errno
import os
import stat
import struct
from typing import NamedTuple, NoReturn, Optional

from . import _fieldstore
from ._slice import Ranges
from .errors import DamagedError

LOADED, NOT_OPENED = 0, 2


class Loaded(NamedTuple):
    """Data of a file, and the mode that it is stored in."""

    data: _fieldstore.LoadedObject
    text: bool


def require_file(path: str) -> None:
    """Raises what ``open`` of Python raises for what is no file, or may not be read."""
    info = os.stat(path)
    if stat.S_ISDIR(info.st_mode):
        raise IsADirectoryError(errno.EISDIR, os.strerror(errno.EISDIR), path)
    if not stat.S_ISREG(info.st_mode):
        raise OSError(errno.EINVAL, "Not a regular file", path)
    if not os.access(path, os.R_OK):
        raise PermissionError(errno.EACCES, os.strerror(errno.EACCES), path)


def looks_like_text(path: str) -> bool:
    """Whether the file begins as text does: binary counts have zero bytes among the first ones."""
    with open(path, "rb") as file:
        front = file.read(64)
    return all(byte >= 32 or byte in b"\t\n\v\f\r" for byte in front)


def is_in_blocks(path: str) -> bool:
    """Whether a binary DOF list is stored in blocks: behind the 11 header values of that form
    stands an index, whose length follows from its number of entries."""
    width, head = 6, struct.Struct("<11i Q 2i".replace(" ", ""))
    with open(path, "rb") as file:
        front = file.read(head.size)
    if len(front) < head.size:
        return False
    *_, length, entries, name_width = head.unpack(front)
    return bool(entries > 0 and name_width == width and length == 8 + entries * (width + 8))


def load(path: str, class_name: str, text: Optional[bool], block: Optional[int] = None) -> Loaded:
    """Loads a file as an object of that class, in that mode, or in the mode that it is found in."""
    require_file(path)
    first = looks_like_text(path) if text is None else text
    loaded = _fieldstore.LoadedObject(class_name, path, first, block)
    if loaded.result != LOADED and text is None:
        other = _fieldstore.LoadedObject(class_name, path, not first, block)
        if other.result == LOADED:
            return Loaded(other, not first)
    if loaded.result == NOT_OPENED:
        raise OSError(errno.EIO, loaded.reason, path)
    if loaded.result != LOADED:
        raise_failure(path, class_name, loaded.reason)
    return Loaded(loaded, first)


def load_slice(path: str, class_name: str, keys: Ranges) -> Loaded:
    """Loads the entries of a file whose keys are wanted, skipping the others."""
    require_file(path)
    try:
        loaded = _fieldstore.LoadedObject.sliced(class_name, path, keys)
    except KeyError:
        words = ", ".join(f"{name}={key!r}" for name, key in keys.items())
        raise KeyError(f"{path} has no entry with {words}") from None
    except RuntimeError as error:
        raise_failure(path, class_name, str(error))
    if loaded.result != LOADED:
        raise_failure(path, class_name, loaded.reason)
    return Loaded(loaded, loaded.text)


def raise_failure(path: str, class_name: str, reason: str) -> NoReturn:
    """Raises why a load failed, with the place in the file as far as there is one."""
    found = _fieldstore.inspect(path, class_name)
    if found["fault"] is None:
        raise DamagedError(
            path, None, reason.rstrip("."), f"What is wrong, tells: fieldstore check {path}"
        )
    byte, cause = found["fault"]
    if found["state"] == "torn":
        remedy = f"Save what is whole: fieldstore repair {path} -o OUT"
    elif found["size"] == 0:
        remedy = "Let the solver write it again."
    else:
        remedy = f"Is it a file of class {class_name}? class_= names another one."
    raise DamagedError(path, byte, cause, remedy)


def guess_class(path: str) -> str:
    """The class of a file whose name does not tell it; reads all of it."""
    require_file(path)
    found = _fieldstore.inspect(path, "")
    if found["state"] == "unreadable":
        byte = found["fault"][0] if found["fault"] is not None else 0
        raise DamagedError(
            path,
            byte,
            "not a result file of any class",
            "If it is one, name its class with class_=.",
        )
    return str(found["class"])
