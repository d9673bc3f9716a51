# SPDX-License-Identifier: Apache-2.0
"""What is stored: files, their state, and what the tool's check finds in them."""

from __future__ import annotations

import json
import os
import shutil
import subprocess
import threading
from typing import Any, Dict, List, NamedTuple, Optional, Tuple, Type

from .. import _fieldstore
from .._base import ResultObject
from .._open import CLASSES

# What lies next to the data and is none.
_BESIDE = (".lck", ".lck.next", ".err", ".undo", ".seal", ".json", ".html", ".bak")
SEAL = ".seal"


class File(NamedTuple):
    """A file of a store, as it was found. ``fault`` is (byte, cause) or None."""

    path: str
    name: str
    kind: Optional[Type[ResultObject]]
    state: str
    text: bool
    guessed: bool
    size: int
    bodies: int
    entries: int
    version: Optional[str]
    fault: Optional[Tuple[int, str]]
    locked: bool
    seal: str


def files_of(directory: str) -> List[Tuple[str, str]]:
    """Path and class name ("" for unknown) of what may be results, those with the names of the classes
    first, in the order of the classes."""
    known = {kind.file_name: kind.class_name for kind in CLASSES.values()}
    others = sorted(
        entry.name
        for entry in os.scandir(directory)
        if entry.is_file()
        and not entry.name.startswith(".")
        and not entry.name.endswith(_BESIDE)
        and ".new" not in entry.name
        and entry.name not in known
    )
    named = [name for name in known if os.path.isfile(os.path.join(directory, name))]
    return [(os.path.join(directory, name), known.get(name, "")) for name in (*named, *others)]


def look(path: str, class_name: str) -> File:
    """Reads a file through and says what it is. Raises OSError when it cannot be read."""
    found = _fieldstore.inspect(path, class_name)
    kinds = {kind.class_name: kind for kind in CLASSES.values()}
    unreadable = found["state"] == "unreadable"
    version = found["version"]
    return File(
        path=path,
        name=os.path.basename(path),
        kind=kinds.get(class_name or ("" if unreadable else found["class"])),
        state=found["state"],
        text=found["text"],
        guessed=found["guessed"],
        size=found["size"],
        bodies=len(found["bodies"]),
        entries=sum(body[2] for body in found["bodies"]),
        version=None if version is None else version.decode("utf-8", "backslashreplace"),
        fault=found["fault"],
        locked=os.path.exists(_fieldstore.lock_path(path)),
        seal=seal_of(path),
    )


def seal_of(path: str) -> str:
    """What is known of the seal beside a file: whether there is one, and from when."""
    try:
        with open(path + SEAL, encoding="utf-8") as file:
            first = json.loads(file.readline(65536))
    except FileNotFoundError:
        return "none"
    except (OSError, ValueError, RecursionError):
        return "cannot be read"
    made = first.get("time", first.get("sealed")) if isinstance(first, dict) else None
    return f"of {made}" if isinstance(made, str) and len(made) < 40 else "there"


class Check:
    """``fieldstore check`` of some files, at work in a process of its own until its answer is asked
    for."""

    def __init__(self, paths: List[str]) -> None:
        self._process: Optional[subprocess.Popen[bytes]] = None
        self._output = b""
        self._thread: Optional[threading.Thread] = None
        self.trouble = ""
        # The tool names itself when it runs the report, so that both are of one version.
        tool = os.environ.get("FIELDSTORE_TOOL") or shutil.which("fieldstore")
        if not paths:
            return
        if tool is None:
            self.trouble = "The program fieldstore, which checks files, is not on the PATH."
            return
        try:
            self._process = subprocess.Popen(
                [tool, "check", "--json", "--", *paths],
                stdin=subprocess.DEVNULL,
                stdout=subprocess.PIPE,
                stderr=subprocess.DEVNULL,
            )
        except OSError as error:
            self.trouble = f"{tool} could not be run: {error.strerror}."
            return
        self._thread = threading.Thread(target=self._read, daemon=True)
        self._thread.start()

    def _read(self) -> None:
        if self._process is not None and self._process.stdout is not None:
            self._output = self._process.stdout.read()

    def verdicts(self) -> Dict[str, Any]:
        """The verdicts by path; without any, :attr:`trouble` says why."""
        if self._process is None or self._thread is None:
            return {}
        self._thread.join()
        status = self._process.wait()
        try:
            return {verdict["path"]: verdict for verdict in json.loads(self._output)}
        except (ValueError, KeyError, TypeError):
            self.trouble = f"fieldstore check ended with {status} and without an answer."
            return {}

    def stop(self) -> None:
        """Ends the process if it is still at work."""
        if self._process is not None and self._process.poll() is None:
            self._process.kill()
            self._process.wait()
