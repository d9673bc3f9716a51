# SPDX-License-Identifier: Apache-2.0
"""Arrays as callers give them, checked and turned into those that the library takes."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Dict, Optional, Sequence, Tuple, Union

import numpy as np

from ._base import Ints, Lists, Longs, counted

if TYPE_CHECKING:
    import numpy.typing as npt

Size = Union[int, str]
ListColumns = Tuple[Longs, Ints]


class Sizes:
    """Checks the shapes of the arguments of one call, and that sizes of one name agree.

    >>> sizes = Sizes()
    >>> sizes.take("ids", [1, 2, 3], np.uint32, "entity").dtype
    dtype('uint32')
    >>> sizes.take("values", [[1.0], [2.0]], np.float64, "entity", "component")
    Traceback (most recent call last):
        ...
    ValueError: values has shape (2, 1), expected (entity, component) = (3, any): entity is 3 in ids
    """

    def __init__(self) -> None:
        self._known: Dict[str, Tuple[int, str]] = {}

    def __getitem__(self, name: str) -> int:
        return self._known[name][0]

    def take(self, name: str, value: Any, dtype: Any, *shape: Size) -> npt.NDArray[Any]:
        """The argument row after row in the type wanted. A size is a number, or a name of one."""
        array = np.asarray(value)
        if array.size == 0 and array.ndim < len(shape):  # an empty list has one dimension alone
            array = array.reshape([size if isinstance(size, int) else 0 for size in shape])
        wanted = [self._known.get(s, (None, ""))[0] if isinstance(s, str) else s for s in shape]
        found = dict(zip(shape, array.shape))  # of a size that occurs twice, the last one
        fits = array.ndim == len(shape) and all(
            size in (None, length) and found[named] == length
            for named, size, length in zip(shape, wanted, array.shape)
        )
        if not fits:
            raise ValueError(self._misfit(name, array.shape, shape, wanted))
        for size, length in found.items():
            if isinstance(size, str):
                self._known.setdefault(size, (length, name))
        return converted(name, array, np.dtype(dtype))

    def _misfit(
        self,
        name: str,
        found: Tuple[int, ...],
        shape: Tuple[Size, ...],
        wanted: Sequence[Optional[int]],
    ) -> str:
        names = ", ".join(map(str, shape))
        numbers = ", ".join("any" if size is None else str(size) for size in wanted)
        sources = [
            f"{size} is {self._known[size][0]} in {self._known[size][1]}"
            for size in dict.fromkeys(shape)
            if isinstance(size, str) and size in self._known
        ]
        text = f"{name} has shape {found}, expected ({names})"
        if numbers != names and sources:
            text += f" = ({numbers})"
        return text + (": " + ", ".join(sources) if sources else "")


def converted(name: str, array: npt.NDArray[Any], dtype: np.dtype[Any]) -> npt.NDArray[Any]:
    """The array in that type, as long as no value is lost but digits of wider floats."""
    if array.size == 0:
        return np.zeros(array.shape, dtype)
    if array.dtype.kind not in {"f": "fiub", "c": "cfiub", "i": "iub", "u": "iub"}[dtype.kind]:
        raise TypeError(f"{name} is of type {array.dtype}, expected {dtype}")
    if dtype.kind in "iu":
        limits = np.iinfo(dtype)
        low, high = int(array.min()), int(array.max())
        if low < limits.min or high > limits.max:
            outside = low if low < limits.min else high
            raise ValueError(f"{name} has {outside}, outside {limits.min} to {limits.max}")
    return np.ascontiguousarray(array, dtype)


def frequencies(sizes: Sizes, value: Any) -> npt.NDArray[np.float64]:
    """Whole numbers, as files have no others."""
    array = sizes.take("frequency", np.atleast_1d(value), np.float64, "frequency")
    lost = array[np.trunc(array) != array]
    if len(lost) or not np.isfinite(array).all():
        number = lost[0] if len(lost) else array[~np.isfinite(array)][0]
        raise ValueError(f"frequency has {number}: files keep whole numbers only; round it first")
    return array


def lists(name: str, value: Any, count: int, of: str) -> ListColumns:
    """As many lists as given, from a sequence of them, :class:`Lists`, or (offsets, elements)."""
    if isinstance(value, Lists):
        return lists(name, (value.offsets, value.elements), count, of)
    if isinstance(value, tuple) and len(value) == 2:
        sizes = Sizes()
        offsets = sizes.take(f"offsets of {name}", value[0], np.int64, "offset")
        elements = sizes.take(f"elements of {name}", value[1], np.int32, "element")
        is_sound = len(offsets) == count + 1 and offsets[0] == 0 and offsets[-1] == len(elements)
        if not is_sound or (np.diff(offsets) < 0).any():
            raise ValueError(
                f"offsets of {name} have to ascend from 0 to {len(elements)}, the number of "
                f"elements, in {count + 1} steps: one for each {of}, and the end"
            )
        return offsets, elements
    parts = [np.asarray(part).reshape(-1) for part in value]
    if len(parts) != count:
        raise ValueError(f"{name} has {counted(len(parts), 'list')}, expected one per {of}: {count}")
    offsets = np.zeros(count + 1, np.int64)
    np.cumsum([len(part) for part in parts], out=offsets[1:])
    flat = np.concatenate(parts) if parts and offsets[-1] else np.zeros(0, np.int32)
    return offsets, converted(name, flat, np.dtype(np.int32))
