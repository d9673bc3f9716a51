# SPDX-License-Identifier: Apache-2.0
"""Storing results from a host in Python."""

from __future__ import annotations

import contextlib
import errno
import os
import time
from types import TracebackType
from typing import Any, Dict, List, Optional, Tuple, Type

from . import _fieldstore, _writers
from ._base import Path, counted
from ._open import CLASSES
from ._ranks import Communicator, changes_of_all, require_of_all
from .errors import LockedError, StoreError

WRITERS: Dict[str, Type[_writers.Writer]] = {
    "modes": _writers.ModesWriter,
    "dofs": _writers.DofMapWriter,
    "matrices": _writers.MatricesWriter,
    "mesh": _writers.MeshTreeWriter,
    "lists": _writers.DofListWriter,
    "tree": _writers.BinaryTreeWriter,
    "ports": _writers.PortsWriter,
    "metrics": _writers.MetricsWriter,
    "assembly": _writers.AssemblyWriter,
}


class Store:
    """A directory to store results in. What is given to its nine attributes is committed at the end
    of a ``with`` block, or by :meth:`commit`; a block that raises commits nothing.

    Args:
        path: The directory, which has to be there.
        lock: Whether other writers are kept out of a file during its commit: always when several
            processes may store in it.
        lock_directory: Where the lock files lie; next to the data when None.
        mode: ``"text"`` or ``"binary"`` for all files; None: the default of each class. A file that
            is appended to keeps the mode that it has only if the same is given each time.
        durable: Whether a commit waits until its data would survive a power cut.
        version: A text at the start of new files of trees and metrics.
        comm: The communicator of ranks that store as one, such as ``mpi4py.MPI.COMM_WORLD``.

    One commit writes one file whole or not at all. The files of several classes are written one
    after the other: when one fails, those before it are stored, and the error tells which.

    With ``comm``, making the store, :meth:`commit` and the end of the block are collective. Each rank
    gives its own part, or nothing. What the ranks append to a file is appended in one step, in their
    order and under a lock, by rank 0, which has all of it in memory. What replaces a file comes from
    one rank, whichever it is: ValueError when several give it. An error is raised on all ranks. A
    block that raises on one rank stores nothing, and the others get a StoreError at its end.

    >>> with fieldstore.Store(empty, lock=True) as store:
    ...     store.matrices.add(10e9, type=0, values=[[50.0, 1.0], [1.0, 50.0]])
    ...     store.mesh.set(ids=[3, 1, 2], pairs=[[1, 2]])
    >>> fieldstore.open(empty).mesh.ids
    array([1, 2, 3], dtype=int32)
    """

    def __init__(
        self,
        path: Path,
        *,
        lock: bool = False,
        lock_directory: Optional[Path] = None,
        mode: Optional[str] = None,
        durable: bool = True,
        version: str = "",
        comm: Optional[Communicator] = None,
    ) -> None:
        if mode not in (None, "text", "binary"):
            raise ValueError(f"mode is {mode!r}; it can be 'text', 'binary' or None")
        self._path = os.fspath(path)
        self._ranks = comm
        self._lock = lock or comm is not None
        self._lock_directory = "" if lock_directory is None else os.path.join(lock_directory, "")
        error = _why_no_directory(self._path)
        if error is None and self._lock_directory:
            error = _why_no_directory(self._lock_directory)
        if comm is not None:
            require_of_all(comm, error)
        elif error is not None:
            raise error
        self._text = None if mode is None else mode == "text"
        self._durable = durable
        self._version = version
        self._writers: Dict[str, _writers.Writer] = {}

    @property
    def path(self) -> str:
        """The directory as it was given."""
        return self._path

    def _get(self, name: str) -> Any:
        if name not in self._writers:
            self._writers[name] = WRITERS[name](CLASSES[name].class_name)
        return self._writers[name]

    @property
    def modes(self) -> _writers.ModesWriter:
        """modeinfo.dat"""
        writer: _writers.ModesWriter = self._get("modes")
        return writer

    @property
    def dofs(self) -> _writers.DofMapWriter:
        """evdofmap.dat"""
        writer: _writers.DofMapWriter = self._get("dofs")
        return writer

    @property
    def matrices(self) -> _writers.MatricesWriter:
        """circuitmatrices.dat"""
        writer: _writers.MatricesWriter = self._get("matrices")
        return writer

    @property
    def mesh(self) -> _writers.MeshTreeWriter:
        """evtree.dat"""
        writer: _writers.MeshTreeWriter = self._get("mesh")
        return writer

    @property
    def lists(self) -> _writers.DofListWriter:
        """file2.dat"""
        writer: _writers.DofListWriter = self._get("lists")
        return writer

    @property
    def tree(self) -> _writers.BinaryTreeWriter:
        """file1.dat"""
        writer: _writers.BinaryTreeWriter = self._get("tree")
        return writer

    @property
    def ports(self) -> _writers.PortsWriter:
        """file3.dat"""
        writer: _writers.PortsWriter = self._get("ports")
        return writer

    @property
    def metrics(self) -> _writers.MetricsWriter:
        """solutiondata.dat"""
        writer: _writers.MetricsWriter = self._get("metrics")
        return writer

    @property
    def assembly(self) -> _writers.AssemblyWriter:
        """assemblyinfo.dat"""
        writer: _writers.AssemblyWriter = self._get("assembly")
        return writer

    def commit(self) -> None:
        """Stores what was given since the last commit, and waits for locks, up to 20 s each, and for
        files. The attributes are new ones then, with nothing in them.

        Raises:
            LockedError: Another writer kept the lock.
            StoreError: The library could not store a file, for the reason that it gives.

        What could not be stored is kept, for another attempt.
        """
        self._commit(None)

    def discard(self) -> None:
        """Forgets what was given since the last commit."""
        self._writers.clear()

    def _commit(self, raised: Optional[BaseException]) -> None:
        """Stores; unless a rank has raised something, which the others learn here."""
        own = [name for name, writer in self._writers.items() if writer.changed]
        changed = [own]
        if self._ranks is not None:
            changed = changes_of_all(self._ranks, self._path, own, raised)
        givers = {
            name: [rank for rank, names in enumerate(changed) if name in names] for name in WRITERS
        }
        self._require_one_giver(givers)
        stored: List[str] = []
        for name in WRITERS:
            if not givers[name]:
                continue
            error = self._store(name, givers[name], stored)
            if error is not None:
                raise error
            self._writers.pop(name, None)
            stored.append(name)

    def _require_one_giver(self, givers: Dict[str, List[int]]) -> None:
        for name, ranks in givers.items():
            if len(ranks) > 1 and not self._get(name)._object.appends:
                raise ValueError(
                    f"{name} was given by ranks {', '.join(map(str, ranks))}, but "
                    f"{CLASSES[name].file_name} is replaced as a whole; gather it on one rank"
                )

    def _store(self, name: str, givers: List[int], stored: List[str]) -> Optional[Exception]:
        """Stores one file; all ranks get the error."""
        ranks, writer = self._ranks, self._get(name)
        target = self._target(name)
        if ranks is None:
            return self._error(name, writer._object.commit(target), stored)
        error: Optional[Exception] = None
        if not writer._object.appends:
            if ranks.rank == givers[0]:
                error = self._error(name, writer._object.commit(target), stored)
            error = ranks.bcast(error, givers[0])
            return error
        shares = ranks.gather(_share(writer, target))
        if shares is not None:
            error = self._append(name, shares, stored)
        error = ranks.bcast(error)
        return error

    def _append(self, name: str, shares: List[Any], stored: List[str]) -> Optional[Exception]:
        """Appends what the ranks gave: bytes, None, or why there are none."""
        for rank, share in enumerate(shares):
            if isinstance(share, str):
                return self._error(name, (1, f"Rank {rank}: {share}"), stored)
        parts = [share for share in shares if share is not None]
        outcome = self._get(name)._object.append_parts(self._target(name), parts)
        return self._error(name, outcome, stored)

    def _file(self, name: str) -> str:
        return os.path.join(self._path, CLASSES[name].file_name)

    def _target(self, name: str) -> _fieldstore.Target:
        return _fieldstore.Target(
            self._file(name),
            self._text,
            self._lock,
            self._lock_directory,
            self._durable,
            self._version,
        )

    def _error(
        self, name: str, outcome: Tuple[int, str], stored: List[str]
    ) -> Optional[Exception]:
        """The exception for the outcome of a commit; None for success."""
        result, reason = outcome
        if result == 0:
            return None
        if stored:
            reason += f" Stored before: {', '.join(stored)}."
        if "Unable to acquire file lock" not in reason:
            return StoreError(reason)
        path = self._file(name)
        in_directory = os.path.join(self._lock_directory, os.path.basename(path))
        marker = _fieldstore.lock_path(in_directory if self._lock_directory else path)
        return LockedError(path, marker, _holder_of(path, marker), reason)

    def __enter__(self) -> Store:
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        try:
            if kind is None:
                self._commit(None)
            elif self._ranks is not None:
                with contextlib.suppress(StoreError):  # which is for the other ranks
                    self._commit(error)
        finally:
            self.discard()

    def __repr__(self) -> str:
        changed = [name for name, writer in self._writers.items() if writer.changed]
        return f"<fieldstore.Store {self._path!r}: {', '.join(changed) or 'nothing'} to commit>"


def _why_no_directory(path: str) -> Optional[OSError]:
    if not os.path.exists(path):
        return FileNotFoundError(errno.ENOENT, os.strerror(errno.ENOENT), path)
    if not os.path.isdir(path):
        return NotADirectoryError(errno.ENOTDIR, os.strerror(errno.ENOTDIR), path)
    return None


def _share(writer: _writers.Writer, target: _fieldstore.Target) -> Any:
    """The bytes that a rank adds to a file, None for nothing, or why there are none."""
    if not writer.changed:
        return None
    try:
        return writer._object.bytes(target)
    except Exception as error:  # whatever it is, the other ranks wait to be told
        return str(error) or type(error).__name__


def _holder_of(path: str, marker: str) -> str:
    """Who holds a lock, as far as the files next to the data tell."""
    for place in (path, marker):
        host, process = _writer_in_mark(place + ".undo")
        if process:
            where = "" if host == os.uname().nodename else f" on {host}"
            return f"Process {process}{where} is appending to the file."
    try:
        age = max(0, round(time.time() - os.lstat(marker).st_mtime))
    except OSError:
        return "It has been released since."
    return f"A writer has had it for {counted(age, 'second')}."


def _writer_in_mark(path: str) -> Tuple[str, str]:
    """Host and process of the mark of an append; "" without one."""
    try:
        with open(path, encoding="utf-8", errors="replace") as file:
            lines = file.read(4096).splitlines()
    except OSError:
        return "", ""
    entries = dict(line.partition(" ")[::2] for line in lines[1:])
    return entries.get("host", ""), entries.get("process", "")
