# SPDX-License-Identifier: Apache-2.0
"""Metrics of a solve per entity and pass."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Dict, List, NamedTuple, Optional, Tuple

import numpy as np

from . import _fieldstore
from ._base import Floats, Ids, Ints, Lists, ResultObject, counted, frozen, offsets_of
from ._optional import need

if TYPE_CHECKING:
    import numpy.typing as npt

VALUE_TYPES_PER_ENTITY = 10


class MetricValues(NamedTuple):
    """The value vectors of an entity type and a value type.

    Attributes:
        values: float64 [vector, component].
        ids: The entity of each vector, uint32 [vector].
        indices: The index of each vector, such as the pass, uint32 [vector].
    """

    values: Floats
    ids: Ids
    indices: Ids


class Definition(NamedTuple):
    """How many values a vector has, and how vectors that meet are combined: by the number of a
    function, 0 replace, 1 append, 2 sum, 3 mean, 4 maximum, 5 minimum."""

    size: int
    function: int


class Nodes(NamedTuple):
    """Ids of nodes, uint32 [node], and their positions x, y, z, float64 [node, 3]."""

    ids: Ids
    positions: Floats


class Metrics(ResultObject):
    """Metrics per entity, pass and kind, and the graph that they belong to (class
    ``POSolutionMetrics``).

    >>> metrics = fieldstore.open(results / "solutiondata.dat")
    >>> values, ids, indices = metrics.values(entity=1, value=2)
    >>> values
    array([[1.5, 2.5],
           [0.5, 1. ]])
    >>> ids, indices
    (array([0, 0], dtype=uint32), array([0, 1], dtype=uint32))
    """

    class_name = "POSolutionMetrics"
    slice_keys = ("type", "index", "entity")

    @property
    def header_id(self) -> int:
        """A number of the host, unsigned."""
        return _unsigned(self._field("headerId"))

    @property
    def header_fields(self) -> Tuple[int, int, int, int]:
        """Four more of them."""
        first, second, third, fourth = (
            _unsigned(self._field(f"headerField{number}")) for number in range(1, 5)
        )
        return first, second, third, fourth

    @property
    def definitions(self) -> Dict[Tuple[int, int], Definition]:
        """The definitions by (entity type, value type)."""
        return {
            divmod(key, VALUE_TYPES_PER_ENTITY): Definition(_unsigned(count), function)
            for key, count, function in self._field("definitions").tolist()
        }

    def values(self, entity: int, value: int, *, id: Optional[int] = None) -> MetricValues:
        """The vectors of an entity type and a value type, by index and then by entity.

        Args:
            entity, value: The types; KeyError when there are no such values, nor a definition.
            id: Only those of this entity.

        Raises ValueError when the vectors differ in length.
        """
        begin, end = self._range(entity, value)
        keys, ends, values = self._columns()
        count = self._count(entity, value, begin, end)
        first = int(ends[begin - 1]) if begin else 0
        found = values[first : first + (end - begin) * count].reshape(end - begin, count)
        indices, ids = (keys[begin:end, part].view(np.uint32) for part in (1, 2))
        if _fieldstore.any_negative_id(keys, begin, end):
            order = np.lexsort((ids, indices))  # ids from 2^31 on are stored as negative ones
            found, ids, indices = frozen(found[order]), frozen(ids[order]), frozen(indices[order])
        if id is None:
            return MetricValues(found, ids, indices)
        own = ids == id
        return MetricValues(frozen(found[own]), frozen(ids[own]), frozen(indices[own]))

    def entities(self, entity: int, value: int) -> Ids:
        """The entities that have values of these types, ascending, uint32."""
        begin, end = self._range(entity, value)
        return frozen(np.unique(self._columns()[0][begin:end, 2].view(np.uint32)))

    def indices(self, entity: int, value: int) -> Ids:
        """The indices, such as passes, that have values of these types, ascending, uint32."""
        begin, end = self._range(entity, value)
        return frozen(np.unique(self._columns()[0][begin:end, 1].view(np.uint32)))

    @property
    def nodes(self) -> Nodes:
        """The nodes with their positions. Raises ValueError for a position of fewer than three
        numbers."""
        keys, ends, values = self._field("positions")
        offsets = offsets_of(ends)
        lengths = np.diff(offsets)
        if len(values) == 3 * len(keys) and (lengths == 3).all():
            return Nodes(keys.view(np.uint32), values.reshape(-1, 3))
        if (lengths < 3).any():
            raise ValueError(f"a position in {self.path} has fewer than three numbers")
        return Nodes(
            keys.view(np.uint32), frozen(values[offsets[:-1, np.newaxis] + np.arange(3)])
        )

    @property
    def neighbors(self) -> Lists:
        """The neighbours of each node."""
        return Lists(self._field("neighbors"), unsigned=True)

    @property
    def edges(self) -> Lists:
        """The nodes of each edge."""
        return Lists(self._field("edges"), unsigned=True)

    def to_pandas(self, entity: Optional[int] = None, value: Optional[int] = None) -> Any:
        """A ``pandas.DataFrame`` with a row for each number: entity_type, value_type, index, entity,
        component, value; of the types given, or of all. Needs pandas."""
        pandas = need("pandas", "to_pandas()")
        frames = []
        for entity_type, value_type in self._types():
            if entity not in (None, entity_type) or value not in (None, value_type):
                continue
            values, ids, indices = self.values(entity_type, value_type)
            width = values.shape[1]
            frames.append(
                pandas.DataFrame(
                    {
                        "entity_type": np.int32(entity_type),
                        "value_type": np.int32(value_type),
                        "index": np.repeat(indices, width),
                        "entity": np.repeat(ids, width),
                        "component": np.tile(np.arange(width), len(values)),
                        "value": values.reshape(-1),
                    }
                )
            )
        if not frames:
            raise KeyError(f"{self.path} has no values of these types")
        return pandas.concat(frames, ignore_index=True)

    def to_xarray(self, entity: int, value: int) -> Any:
        """An ``xarray.DataArray`` [index, entity, component], NaN where there is no vector. Needs
        xarray."""
        xarray = need("xarray", "to_xarray()")
        values, ids, indices = self.values(entity, value)
        all_indices, row = np.unique(indices, return_inverse=True)
        all_ids, column = np.unique(ids, return_inverse=True)
        grid = np.full((len(all_indices), len(all_ids), values.shape[1]), np.nan)
        grid[row, column] = values
        return xarray.DataArray(
            grid,
            dims=("index", "entity", "component"),
            coords={"index": all_indices, "entity": all_ids},
            name=f"values_{entity}_{value}",
            attrs={"class": self.class_name, "path": self.path},
        )

    def _columns(self) -> Tuple[Ints, npt.NDArray[np.uint64], Floats]:
        """Keys [vector, (type, index, entity)], ends of the vectors; values."""
        columns: Tuple[Ints, npt.NDArray[np.uint64], Floats] = self._field("values")
        return columns

    def _types(self) -> List[Tuple[int, int]]:
        """The (entity type, value type) that have values."""
        keys = self._columns()[0][:, 0]
        is_first = np.ones(len(keys), dtype=bool)
        is_first[1:] = keys[1:] != keys[:-1]
        return [divmod(key, VALUE_TYPES_PER_ENTITY) for key in keys[is_first].tolist()]

    def _range(self, entity: int, value: int) -> Tuple[int, int]:
        """Where the vectors of these types stand."""
        key = entity * VALUE_TYPES_PER_ENTITY + value
        begin, end = self._first(key), self._first(key + 1)
        if begin == end and (entity, value) not in self.definitions:
            known = ", ".join(map(str, self._types())) or "none"
            raise KeyError(
                f"there are no values of entity type {entity} and value type {value} in "
                f"{self.path}; (entity, value): {known}"
            )
        return begin, end

    def _first(self, key: int) -> int:
        """The first vector whose type is not below the key. NumPy would copy the column for this."""
        keys = self._columns()[0]
        low, high = 0, len(keys)
        while low < high:
            middle = (low + high) // 2
            low, high = (middle + 1, high) if keys[middle, 0] < key else (low, middle)
        return low

    def _count(self, entity: int, value: int, begin: int, end: int) -> int:
        """The components of the vectors."""
        if begin == end:
            return self.definitions[entity, value].size
        length = _fieldstore.even_length(self._columns()[1], begin, end)
        if length < 0:
            raise ValueError(
                f"the vectors of entity type {entity} and value type {value} in {self.path} "
                "differ in length"
            )
        return length

    def _contents(self) -> List[Tuple[str, str]]:
        keys = self._columns()[0]
        return [
            ("holds", counted(len(keys), "vector")),
            ("of (entity, value)", ", ".join(map(str, self._types())) or "none"),
            ("nodes", str(len(self._field("positions")[0]))),
            ("edges", str(len(self._field("edges")[0]))),
        ]


def _unsigned(stored: int) -> int:
    return stored & 0xFFFFFFFF
