# SPDX-License-Identifier: Apache-2.0
"""Opening files and directories."""

from __future__ import annotations

import errno
import os
from types import TracebackType
from typing import Any, Dict, Iterator, List, Optional, Tuple, Type, TypeVar, Union, overload

from . import _loading, labels
from ._assembly import Assembly
from ._base import Path, ResultObject, html_table
from ._dofs import DofMap
from ._lists import DofList
from ._matrices import Matrices
from ._mesh import MeshTree
from ._metrics import Metrics
from ._modes import Modes
from ._ports import PortCircuitDofs
from ._slice import Key
from ._tree import BinaryTree

# The nine classes by the names that a store has for them.
CLASSES: Dict[str, Type[ResultObject]] = {
    "modes": Modes,
    "dofs": DofMap,
    "matrices": Matrices,
    "mesh": MeshTree,
    "lists": DofList,
    "tree": BinaryTree,
    "ports": PortCircuitDofs,
    "metrics": Metrics,
    "assembly": Assembly,
}

Object = TypeVar("Object", bound=ResultObject)


class Results:
    """A directory of result files, for reading; each is opened when its attribute is touched.

    >>> with fieldstore.open(results) as store:
    ...     sorted(store)
    ...     store.modes.ports
    ['assembly', 'dofs', 'lists', 'matrices', 'mesh', 'metrics', 'modes', 'ports', 'tree']
    array([1], dtype=int32)

    Iterating gives the names of what is there. An attribute whose file is missing raises
    FileNotFoundError, a damaged one DamagedError; the others are not affected.
    """

    def __init__(self, path: Path) -> None:
        self._path = os.fspath(path)
        if not os.path.isdir(self._path):
            kind = NotADirectoryError if os.path.exists(self._path) else FileNotFoundError
            number = errno.ENOTDIR if kind is NotADirectoryError else errno.ENOENT
            raise kind(number, os.strerror(number), self._path)
        self._objects: Dict[str, ResultObject] = {}

    @property
    def path(self) -> str:
        """The directory as it was given."""
        return self._path

    @property
    def labels(self) -> labels.Labels:
        """The names in ``labels.json`` of the directory; none without one."""
        return labels.read(self._path)

    def file(self, name: str) -> str:
        """The path of the file behind an attribute, whether or not it is there."""
        return os.path.join(self._path, CLASSES[name].file_name)

    def _get(self, name: str) -> Any:
        if name not in self._objects:
            self._objects[name] = CLASSES[name](self.file(name))
        return self._objects[name]

    @property
    def modes(self) -> Modes:
        """modeinfo.dat"""
        modes: Modes = self._get("modes")
        return modes

    @property
    def dofs(self) -> DofMap:
        """evdofmap.dat"""
        dofs: DofMap = self._get("dofs")
        return dofs

    @property
    def matrices(self) -> Matrices:
        """circuitmatrices.dat"""
        matrices: Matrices = self._get("matrices")
        return matrices

    @property
    def mesh(self) -> MeshTree:
        """evtree.dat"""
        mesh: MeshTree = self._get("mesh")
        return mesh

    @property
    def lists(self) -> DofList:
        """file2.dat"""
        lists: DofList = self._get("lists")
        return lists

    @property
    def tree(self) -> BinaryTree:
        """file1.dat"""
        tree: BinaryTree = self._get("tree")
        return tree

    @property
    def ports(self) -> PortCircuitDofs:
        """file3.dat"""
        ports: PortCircuitDofs = self._get("ports")
        return ports

    @property
    def metrics(self) -> Metrics:
        """solutiondata.dat"""
        metrics: Metrics = self._get("metrics")
        return metrics

    @property
    def assembly(self) -> Assembly:
        """assemblyinfo.dat"""
        assembly: Assembly = self._get("assembly")
        return assembly

    def __contains__(self, name: object) -> bool:
        return isinstance(name, str) and name in CLASSES and os.path.isfile(self.file(name))

    def __iter__(self) -> Iterator[str]:
        return (name for name in CLASSES if name in self)

    def __getitem__(self, name: str) -> ResultObject:
        if name not in CLASSES:
            raise KeyError(f"there is no {name!r} in a store; names: {', '.join(CLASSES)}")
        found: ResultObject = self._get(name)
        return found

    def close(self) -> None:
        """Closes what was opened. Arrays that were handed out stay valid."""
        for opened in self._objects.values():
            opened.close()
        self._objects.clear()

    def __enter__(self) -> Results:
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.close()

    def __reduce__(self) -> Tuple[Any, ...]:
        return (Results, (os.path.abspath(self._path),))

    def _contents(self) -> List[Tuple[str, str]]:
        return [
            (name, f"{CLASSES[name].file_name}, {os.path.getsize(self.file(name))} bytes")
            for name in self
        ]

    def __repr__(self) -> str:
        return f"<fieldstore.Results {self._path!r}: {', '.join(self) or 'no result files'}>"

    def _repr_html_(self) -> str:
        return html_table("fieldstore.Results", self._path, self._contents())


@overload
def open(path: Path, class_: Type[Results]) -> Results: ...


@overload
def open(
    path: Path, class_: Type[Object], mode: Optional[str] = None, **keys: Key
) -> Object: ...


@overload
def open(
    path: Path, class_: Optional[str] = None, mode: Optional[str] = None, **keys: Key
) -> Any: ...


def open(
    path: Path,
    class_: Union[None, str, Type[ResultObject], Type[Results]] = None,
    mode: Optional[str] = None,
    **keys: Key,
) -> Any:
    """Opens a result file, or a directory of them, for reading.

    Args:
        path: A file, or a directory.
        class_: The class of the file's data: a class of this package, such as
            :class:`fieldstore.Modes`, the name of one of the library, ``"POModeInfo"``, or of an
            attribute of a store, ``"modes"``; :class:`Results` for a directory. None: as the file's
            name says, which is that of its class as a rule; when it does not, the whole file is read
            to find out.
        mode: ``"text"`` or ``"binary"``. None: as found in the file.
        keys: The part of a file to load, found by skipping the rest: ``frequency`` and ``port`` of
            modes, ``frequency`` and ``type`` of matrices, ``type`` (10 x entity type + value type),
            ``index`` and ``entity`` of metrics. Each is a number, a pair of the first and the last
            one, with None for an open end, or a text as the tool takes it: ``"8GHz:12GHz"``.
            Frequencies are in hertz, as stored. What has no such keys is loaded whole.

    Returns:
        An object of the class that goes with the data, or :class:`Results` for a directory. Both are
        context managers; :mod:`fieldstore` lists the classes.

    Raises:
        FileNotFoundError, IsADirectoryError, PermissionError: As ``open`` of Python does.
        DamagedError: The file does not hold what its class requires.
        KeyError: There is no such class, or no entry with such keys.
        TypeError: The class has no such keys.

    Reading happens here, without the interpreter's lock; Ctrl-C ends it.

    >>> with fieldstore.open(results / "modeinfo.dat") as modes:
    ...     modes.ports
    array([1], dtype=int32)
    >>> fieldstore.open(results / "modeinfo.dat", frequency=(5e9, 10e9)).frequencies
    array([1.e+10])
    """
    if class_ is Results or (class_ is None and os.path.isdir(path)):
        if keys:
            raise TypeError(f"{', '.join(keys)} select a part of a file; {path} is a directory")
        return Results(path)
    return _class_of(path, class_)(path, mode, keys)


def _class_of(path: Path, wanted: Union[None, str, Type[Any]]) -> Type[ResultObject]:
    if isinstance(wanted, type):
        return wanted
    if wanted is not None:
        for name, known in CLASSES.items():
            if wanted in (name, known.class_name, known.__name__):
                return known
        names = ", ".join(known.class_name for known in CLASSES.values())
        raise KeyError(f"there is no class {wanted!r}; classes: {names}")
    for known in CLASSES.values():
        if os.path.basename(os.fspath(path)) == known.file_name:
            return known
    return _class_of(path, _loading.guess_class(os.fspath(path)))
