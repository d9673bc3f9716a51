# SPDX-License-Identifier: Apache-2.0
"""Degrees of freedom by partition."""

from __future__ import annotations

from typing import Any, Dict, List, Mapping, Optional, Tuple

import numpy as np

from . import _fieldstore, _loading
from ._base import Ints, Path, ResultObject, counted, frozen
from ._optional import need
from ._slice import Key

KINDS = (1, 2, 3, 4)


class DofList(ResultObject):
    """Records of degrees of freedom by partition, in four kinds (class ``PODOFList``).

    A record is a row of integers: the partition that owns it, the first and the last degree of
    freedom of its range, and what the host adds.

    A list may be stored in blocks (:attr:`block_count` is not None). Then opening reads the header
    and the first block; :meth:`block` reads a single block, and :meth:`records` all of them when
    it is asked for the first time.

    >>> lists = fieldstore.open(results / "file2.dat")
    >>> lists.records(1)
    array([[ 0, 20, -1,  5],
           [ 2, 10, 12,  4]], dtype=int32)
    >>> lists.block_count, lists.block(1).records(1).tolist()
    (2, [[2, 10, 12, 4]])
    """

    class_name = "PODOFList"

    def __init__(
        self,
        path: Path,
        mode: Optional[str] = None,
        keys: Optional[Mapping[str, Key]] = None,
        block: Optional[int] = None,
    ) -> None:
        self._block = block
        self._block_count: Optional[int] = None
        self._all: Dict[str, Ints] = {}
        super().__init__(path, mode, keys)

    def _load(self, text: Optional[bool]) -> None:
        _loading.require_file(self._path)
        if text is not True and _loading.is_in_blocks(self._path):
            self._data, self._text = _loading.load(
                self._path, self.class_name, False, self._block or 0
            )
            self._block_count = self._data.block_count
        elif self._block is not None:
            raise ValueError(f"{self._path} is not stored in blocks")
        else:
            self._data, self._text = _loading.load(self._path, self.class_name, text)

    def __reduce__(self) -> Tuple[Any, ...]:
        return (*super().__reduce__()[:1], (*super().__reduce__()[1], self._block))

    @property
    def block_count(self) -> Optional[int]:
        """The number of blocks; None for a list that is stored whole."""
        return self._block_count

    def block(self, number: int) -> DofList:
        """One block of a list in blocks, as a list of its own; reads no other.

        Raises IndexError for a block that is not there, ValueError for a list without blocks.
        """
        if self._block_count is None:
            raise ValueError(f"{self._path} is not stored in blocks")
        if not 0 <= number < self._block_count:
            raise IndexError(f"{self._path} has blocks 0 to {self._block_count - 1}, not {number}")
        return type(self)(self._path, "binary", block=number)

    def records(self, kind: int) -> Ints:
        """The records of kind 1, 2, 3 or 4, int32 [record, width]."""
        if kind not in KINDS:
            raise KeyError(f"there is no kind {kind} of records; kinds: 1, 2, 3, 4")
        return self._rows(f"records{kind}", max(self.widths[kind - 1], 0))

    @property
    def extra(self) -> Ints:
        """The extra entries of the records of kind 2, int32 [record, entry]."""
        if self._data is None:
            raise ValueError(f"{self._path} is closed")
        return self._rows("", max(self._data.extra_width, 0))

    @property
    def distinct_count(self) -> int:
        """The number of distinct degrees of freedom that the file states."""
        return int(self._field("distinctCount"))

    @property
    def header(self) -> int:
        """A number of the host."""
        return int(self._field("header1"))

    @property
    def widths(self) -> Tuple[int, int, int, int]:
        """The widths of the records of kinds 1 to 4."""
        return self._four("width")

    @property
    def totals(self) -> Tuple[int, int, int, int]:
        """Numbers 1 to 4 of the host."""
        return self._four("total")

    def to_pandas(self) -> Any:
        """A ``pandas.DataFrame`` with a row for each record: kind, owner, first, last; further
        entries as entry_3, ... Needs pandas."""
        pandas = need("pandas", "to_pandas()")
        frames = []
        for kind in KINDS:
            records = self.records(kind)
            names = ["owner", "first", "last"]
            names += [f"entry_{number}" for number in range(3, records.shape[1])]
            frame = pandas.DataFrame(dict(zip(names, records.T)))
            frame.insert(0, "kind", kind)
            frames.append(frame)
        return pandas.concat(frames, ignore_index=True)

    def to_xarray(self) -> Any:
        """An ``xarray.Dataset`` with kind_1 to kind_4 [record, entry]. Needs xarray."""
        xarray = need("xarray", "to_xarray()")
        return xarray.Dataset(
            {
                f"kind_{kind}": ((f"record_{kind}", f"entry_{kind}"), self.records(kind))
                for kind in KINDS
            },
            attrs={"class": self.class_name, "path": self.path},
        )

    def _four(self, name: str) -> Tuple[int, int, int, int]:
        first, second, third, fourth = (int(self._field(f"{name}{kind}")) for kind in KINDS)
        return first, second, third, fourth

    def _rows(self, field: str, width: int) -> Ints:
        """The rows of a field ("" for the extra entries), of all blocks unless one was chosen."""
        if self._data is None:
            raise ValueError(f"{self._path} is closed")
        parts = [self._data]
        if self._block is None and self._block_count is not None:
            if field in self._all:
                return self._all[field]
            parts += [self._of_block(number) for number in range(1, self._block_count)]
        arrays = [part.field(field) if field else part.extra_entries() for part in parts]
        rows = [array[: len(array) // width * width if width else 0] for array in arrays]
        flat = rows[0] if len(rows) == 1 else frozen(np.concatenate(rows))
        result = np.asarray(flat.reshape(-1, width))
        if len(parts) > 1:
            self._all[field] = result
        return result

    def _of_block(self, number: int) -> _fieldstore.LoadedObject:
        return _loading.load(self._path, self.class_name, False, number).data

    def close(self) -> None:
        super().close()
        self._all.clear()

    def _contents(self) -> List[Tuple[str, str]]:
        rows = [
            ("distinct DOFs", str(self.distinct_count)),
            ("widths", ", ".join(map(str, self.widths))),
        ]
        if self._block_count is None:
            counts = [str(len(self.records(kind))) for kind in KINDS]
            return [("records of kinds 1 to 4", ", ".join(counts)), *rows]
        if self._block is None:
            return [("in", counted(self._block_count, "block")), *rows]
        return [(f"block {self._block} of", str(self._block_count)), *rows]
