# SPDX-License-Identifier: Apache-2.0
"""What the objects of all nine classes have in common."""

from __future__ import annotations

import os
from types import TracebackType
from typing import TYPE_CHECKING, Any, ClassVar, List, Mapping, Optional, Tuple, Type, TypeVar, Union

import numpy as np

from . import _fieldstore, _loading, labels
from ._slice import Key, ranges

if TYPE_CHECKING:
    import numpy.typing as npt

    Ints = npt.NDArray[np.int32]
    Longs = npt.NDArray[np.int64]
    Ids = npt.NDArray[np.uint32]
    Floats = npt.NDArray[np.float64]
    Complexes = npt.NDArray[np.complex128]
    Counters = npt.NDArray[np.uint64]
else:  # numpy.typing would take as long to import as all of this package
    Ints = Longs = Ids = Floats = Complexes = Counters = np.ndarray

Path = Union[str, "os.PathLike[str]"]
Self = TypeVar("Self", bound="ResultObject")


class ResultObject:
    """The data of one file, for reading. Made by :func:`fieldstore.open`.

    Arrays are read-only. They are views of the loaded data where these lie flat in memory, and stay
    valid after the object is closed. The file is read once, when it is opened; what is written to it
    later does not show.

    Objects are pickled by path, class, mode and slice: whoever gets one loads the file again.
    """

    class_name: ClassVar[str]
    file_name: ClassVar[str]
    slice_keys: ClassVar[Tuple[str, ...]] = ()  # what a part of the file can be selected by

    def __init_subclass__(cls) -> None:
        cls.file_name = _fieldstore.FILE_NAMES[cls.class_name]

    def __init__(
        self, path: Path, mode: Optional[str] = None, keys: Optional[Mapping[str, Key]] = None
    ) -> None:
        if mode not in (None, "text", "binary"):
            raise ValueError(f"mode is {mode!r}; it can be 'text', 'binary' or None")
        self._path = os.fspath(path)
        self._keys = ranges(keys or {}, self.slice_keys, type(self).__name__)
        self._data: Optional[_fieldstore.LoadedObject] = None
        self._load(None if mode is None else mode == "text")

    def _load(self, text: Optional[bool]) -> None:
        if self._keys:
            self._data, self._text = _loading.load_slice(self._path, self.class_name, self._keys)
        else:
            self._data, self._text = _loading.load(self._path, self.class_name, text)

    @property
    def path(self) -> str:
        """The path as it was given."""
        return self._path

    @property
    def mode(self) -> str:
        """``"text"`` or ``"binary"``."""
        return "text" if self._text else "binary"

    @property
    def closed(self) -> bool:
        """Whether :meth:`close` was called."""
        return self._data is None

    def close(self) -> None:
        """Lets go of the data. Arrays that were handed out stay valid."""
        self._data = None
        for name in [name for name in self.__dict__ if name.startswith("_kept_")]:
            del self.__dict__[name]

    def __enter__(self: Self) -> Self:
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.close()

    def __reduce__(self) -> Tuple[Any, ...]:
        return (type(self), (os.path.abspath(self._path), self.mode, self._keys))

    @property
    def labels(self) -> labels.Labels:
        """The names in ``labels.json`` next to the file; none without one."""
        return labels.read(os.path.dirname(self._path) or ".")

    def _field(self, name: str) -> Any:
        """A field of the class's layout; what is not a view is converted once."""
        kept = "_kept_" + name
        if kept not in self.__dict__:
            if self._data is None:
                raise ValueError(f"{self._path} is closed")
            self.__dict__[kept] = self._data.field(name)
        return self.__dict__[kept]

    def _contents(self) -> List[Tuple[str, str]]:
        """What is inside, as pairs of a name and a text."""
        raise NotImplementedError

    def __repr__(self) -> str:
        head = f"<fieldstore.{type(self).__name__} {self._path!r}"
        if self.closed:
            return head + ", closed>"
        inside = ", ".join(f"{name} {text}" for name, text in self._contents())
        return f"{head} ({self.mode}): {inside}>"

    def _repr_html_(self) -> str:
        contents = [] if self.closed else self._contents()
        state = "closed" if self.closed else self.mode
        return html_table(f"fieldstore.{type(self).__name__}", f"{self._path} ({state})", contents)


class Lists(Mapping[int, Ints]):
    """Lists of integers by id, end to end in one array; a mapping from id to its list.

    Attributes:
        ids: The ids, as the file has them.
        offsets: int64 [list + 1]; list i is ``elements[offsets[i]:offsets[i + 1]]``.
        elements: The elements of all lists, int32.
    """

    def __init__(
        self, columns: Tuple[Ints, npt.NDArray[np.uint64], Ints], unsigned: bool = False
    ) -> None:
        keys, ends, elements = columns
        self._keys = keys
        self._unsigned = unsigned
        self.ids: npt.NDArray[Any] = keys.view(np.uint32) if unsigned else keys
        self.offsets: Longs = offsets_of(ends)
        self.elements: Ints = elements

    @property
    def lengths(self) -> Longs:
        """The number of elements of each list, int64 [list]."""
        return np.diff(self.offsets)

    def at(self, index: int) -> Ints:
        """The list at a position, rather than of an id."""
        begin, end = self.offsets[index], self.offsets[index + 1]
        return self.elements[begin:end]

    def __getitem__(self, id: int) -> Ints:
        key = id - (1 << 32) if self._unsigned and id >= 1 << 31 else id
        place = int(np.searchsorted(self._keys, key))
        if place == len(self._keys) or self._keys[place] != key:
            raise KeyError(id)
        return self.at(place)

    def __iter__(self) -> Any:
        return iter(self.ids.tolist())

    def __len__(self) -> int:
        return len(self._keys)

    def __repr__(self) -> str:
        return f"<fieldstore.Lists: {counted(len(self), 'list')}, {len(self.elements)} elements>"


def offsets_of(ends: npt.NDArray[np.uint64]) -> Longs:
    """Where entries begin, and the end of the last: what comes before the first end is 0."""
    offsets = np.zeros(len(ends) + 1, dtype=np.int64)
    offsets[1:] = ends
    offsets.flags.writeable = False
    return offsets


def frozen(array: npt.NDArray[Any]) -> npt.NDArray[Any]:
    """The array, read-only like all that are handed out."""
    array.flags.writeable = False
    return array


def counted(count: int, noun: str) -> str:
    """A count with its noun.

    >>> counted(1, "port"), counted(3, "frequency")
    ('1 port', '3 frequencies')
    """
    if count == 1:
        return f"1 {noun}"
    return f"{count} {noun[:-1]}ies" if noun.endswith("y") else f"{count} {noun}s"


def span(values: npt.NDArray[Any]) -> str:
    """The first and the last of ascending values."""
    if len(values) == 0:
        return "none"
    if len(values) == 1:
        return f"{values[0]:g}"
    return f"{values[0]:g} to {values[-1]:g}"


def html_table(title: str, subtitle: str, rows: List[Tuple[str, str]]) -> str:
    """A small table for notebooks."""
    from html import escape  # takes long to import

    body = "".join(
        f'<tr><th style="text-align:left">{escape(name)}</th>'
        f'<td style="text-align:left">{escape(text)}</td></tr>'
        for name, text in rows
    )
    return f"<b>{escape(title)}</b> <code>{escape(subtitle)}</code><table>{body}</table>"
