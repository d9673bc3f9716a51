# SPDX-License-Identifier: Apache-2.0
"""What a store offers for writing each class."""

from __future__ import annotations

from typing import Any, Dict, Mapping, Optional, Sequence, Tuple, Union

import numpy as np

from . import _fieldstore
from ._arguments import Sizes, frequencies, lists
from ._base import Ints

FUNCTIONS = {"replace": 0, "append": 1, "sum": 2, "mean": 3, "max": 4, "min": 5}


class Writer:
    """Collects what one commit stores; see :class:`fieldstore.Store`.

    Operations raise ValueError for a wrong shape and TypeError for a wrong type, both with names,
    and change nothing then. Arrays are copied.
    """

    def __init__(self, class_name: str) -> None:
        self._object = _fieldstore.WritableObject(class_name)
        self._changed = False

    @property
    def changed(self) -> bool:
        """Whether there is something to commit."""
        return self._changed

    def _note(self) -> None:
        self._changed = True


class ModesWriter(Writer):
    """Modal data; a commit appends them to those in the file, where the first of a frequency and
    port count."""

    def add(
        self, frequency: Any, port: int, gamma: Any, voltages: Any, currents: Any, groups: Any = None
    ) -> None:
        """Adds the modes of a port, at one frequency or several.

        Args:
            frequency: Whole numbers, a scalar or [frequency].
            port: The number of the port.
            gamma: The value of each mode, [mode], or [frequency, mode].
            voltages, currents: [mode, entry], or [frequency, mode, entry].
            groups: The group of each mode, from 0, [mode]; by default each has one of its own.

        >>> with fieldstore.Store(empty) as store:
        ...     store.modes.add(10e9, 1, [209j], [[50.0]], [[1.0]])
        >>> fieldstore.open(empty).modes.voltages(port=1)
        array([[[50.+0.j]]])
        """
        one = np.ndim(frequency) == 0
        sizes = Sizes()
        at = frequencies(sizes, frequency)
        arrays = [np.asarray(array)[np.newaxis] if one else array for array in (gamma, voltages)]
        gammas = sizes.take("gamma", arrays[0], np.complex128, "frequency", "mode")
        shape = ("frequency", "mode", "entry")
        voltage = sizes.take("voltages", arrays[1], np.complex128, *shape)
        given = np.asarray(currents)[np.newaxis] if one else currents
        current = sizes.take("currents", given, np.complex128, *shape)
        count = sizes["mode"]
        of_modes: Ints = np.arange(count, dtype=np.int32)
        if groups is not None:
            of_modes = sizes.take("groups", groups, np.int32, "mode")
            if count and not 0 <= of_modes.min() <= of_modes.max() < count:
                raise ValueError(f"groups has a number outside 0 to {count - 1}")
        if count == 0:
            raise ValueError("gamma has no mode")
        data = np.concatenate((voltage, current), axis=2)
        self._object.add_modes(at, int(port), of_modes, gammas, data)
        self._note()


class MatricesWriter(Writer):
    """Circuit matrices; a commit appends them to those in the file, where the last of a frequency
    and type count."""

    def add(self, frequency: Any, type: int, values: Any) -> None:
        """Adds the matrices of a type, at one frequency or several.

        Args:
            frequency: Whole numbers, a scalar or [frequency].
            type: The number of the type.
            values: Real, [n, n], or [frequency, n, n].
        """
        sizes = Sizes()
        at = frequencies(sizes, frequency)
        given = np.asarray(values)[np.newaxis] if np.ndim(frequency) == 0 else values
        matrices = sizes.take("values", given, np.float64, "frequency", "n", "n")
        self._object.set_matrices(int(type), at, matrices)
        self._note()


class DofMapWriter(Writer):
    """A map of degrees of freedom; a commit replaces the file."""

    def set(self, rows: Any, types: Any) -> None:
        """Sets the map.

        Args:
            rows: A sparse matrix of SciPy, square, or (offsets [row + 1], columns [entry],
                weights [entry]).
            types: The type of each row, [row].
        """
        sizes = Sizes()
        if hasattr(rows, "tocsr"):
            matrix = rows.tocsr()
            rows = (matrix.indptr, matrix.indices, matrix.data)
        offsets, columns, weights = rows
        column = sizes.take("columns", columns, np.int32, "entry")
        weight = sizes.take("weights", weights, np.float64, "entry")
        of_rows = sizes.take("types", types, np.int32, "row")
        begins, column = lists("rows", (offsets, column), len(of_rows), "type")
        self._object.set_dof_map(begins, column, weight, of_rows)
        self._note()


class MeshTreeWriter(Writer):
    """Sets of mesh ids; a commit replaces the file."""

    def set(self, ids: Any, pairs: Any) -> None:
        """Sets the ids, [id], and the pairs, [pair, 2]; in any order, each is kept once."""
        sizes = Sizes()
        all_ids = np.unique(sizes.take("ids", ids, np.int32, "id"))
        all_pairs = sizes.take("pairs", pairs, np.int32, "pair", 2)
        self._object.set_mesh(all_ids, np.unique(all_pairs, axis=0) if len(all_pairs) else all_pairs)
        self._note()


class DofListWriter(Writer):
    """Degrees of freedom by partition; a commit replaces the file."""

    def set(
        self,
        records: Sequence[Any],
        *,
        totals: Sequence[int] = (0, 0, 0, 0),
        header: int = 0,
        last_block: int = 0x7FFFFFFF,
        in_blocks: bool = False,
        extra: Any = None,
    ) -> None:
        """Sets the list. Records are stored grouped by block, two owners to a block.

        Args:
            records: Those of kinds 1 to 4, [record, width] each; (0, width) without any.
            totals: Four numbers of the host, 1 to 4.
            header: One more.
            last_block: Records of this owner and above do not count as distinct ones.
            in_blocks: Stores the list so that each block can be read by itself.
            extra: The extra entries of the records of kind 2, [record, entry].
        """
        if len(records) != 4:
            raise ValueError(f"records has {len(records)} kinds, expected 4")
        sizes = Sizes()
        kinds = [
            sizes.take(f"records of kind {k}", array, np.int32, f"record {k}", f"width {k}")
            for k, array in enumerate(records, 1)
        ]
        given = np.zeros((sizes["record 2"], 0), np.int32) if extra is None else extra
        if not in_blocks and np.size(given):
            raise ValueError("extra is stored only with in_blocks=True")
        entries = sizes.take("extra", given, np.int32, "record 2", "entry")
        four = sizes.take("totals", totals, np.int32, 4).tolist()
        self._object.set_records(kinds, four, header, last_block, in_blocks, entries)
        self._note()


class BinaryTreeWriter(Writer):
    """A levelled tree; a commit replaces the file."""

    def set(
        self,
        nodes: Mapping[int, Any],
        *,
        level_count: int,
        leaf_counts: Any = None,
        mapped: Optional[Mapping[int, Any]] = None,
        auxiliary: Any = (),
        tag: int = 0,
        id_count: int = 0,
    ) -> None:
        """Sets the tree.

        Args:
            nodes: The items by node; each is kept once, ascending.
            level_count: The number of levels, that of the leaves included.
            leaf_counts: The five counters of the leaves, [5, leaf].
            mapped: Lists by key.
            auxiliary: A list of the host.
            tag, id_count: Numbers of the host, and of ids.
        """
        sizes = Sizes()
        given = np.zeros((5, 0), np.uint64) if leaf_counts is None else leaf_counts
        counters = sizes.take("leaf_counts", given, np.uint64, 5, "leaf")
        of_nodes, of_keys = dict(nodes), dict(mapped or {})
        keys = [
            sizes.take(name, list(known), np.int32, name)
            for name, known in (("nodes", of_nodes), ("mapped", of_keys))
        ]
        columns = [
            lists(name, list(known.values()), len(known), "key")
            for name, known in (("nodes", of_nodes), ("mapped", of_keys))
        ]
        rest = sizes.take("auxiliary", auxiliary, np.int32, "auxiliary")
        self._object.set_tree(
            tag,
            id_count,
            level_count,
            sizes["leaf"],
            list(counters),
            keys[0],
            columns[0],
            keys[1],
            columns[1],
            rest,
        )
        self._note()


class PortsWriter(Writer):
    """Degrees of freedom of ports and circuits; a commit replaces the file."""

    def set(
        self,
        dofs: Any,
        *,
        port_count: int,
        offset_count: int = 0,
        circuit_counts: Tuple[int, int] = (0, 0),
        positions: Any = None,
    ) -> None:
        """Sets the table: the degree of freedom at each position, [position], the positions being
        0, 1, ... unless given, and how many of them belong to whom."""
        sizes = Sizes()
        table = sizes.take("dofs", dofs, np.int32, "position")
        at = np.arange(len(table)) if positions is None else positions
        places = sizes.take("positions", at, np.int32, "position")
        counts = [port_count, offset_count, *circuit_counts]
        self._object.set_ports(counts, places, table)
        self._note()


class MetricsWriter(Writer):
    """Metrics of a solve and their graph; a commit appends them, and a load combines values of one
    entity and index by the function of their definition. A load needs edges or neighbours.

    >>> with fieldstore.Store(empty) as store:
    ...     store.metrics.define(1, 2, size=1, function="sum")
    ...     store.metrics.add(1, 2, ids=[5, 6], indices=0, values=[0.5, 0.25])
    ...     store.metrics.add_edges([1], [[5, 6]])
    >>> fieldstore.open(empty).metrics.values(1, 2).values
    array([[0.5 ],
           [0.25]])
    """

    def __init__(self, class_name: str) -> None:
        super().__init__(class_name)
        self._sizes: Dict[Tuple[int, int], int] = {}

    def define(
        self, entity: int, value: int, size: int = 1, function: Union[str, int] = "replace"
    ) -> None:
        """Defines how many components the vectors of an entity type and a value type have, and how
        those that meet are combined: ``"replace"``, ``"append"``, ``"sum"``, ``"mean"``,
        ``"max"`` or ``"min"``. All commits to a file have to define the same."""
        number = FUNCTIONS.get(function, -1) if isinstance(function, str) else function
        if number not in FUNCTIONS.values():
            raise ValueError(f"function is {function!r}; it can be {', '.join(FUNCTIONS)}")
        key = entity * 10 + value
        if not 0 <= value < 10 or not 0 <= key < 1 << 31:
            raise ValueError(
                f"entity and value are {entity} and {value}; value can be 0 to 9, and "
                "10 * entity + value below 2**31"
            )
        self._object.define_values(entity, value, size, number)
        self._sizes[entity, value] = size
        self._note()

    def add(self, entity: int, value: int, ids: Any, values: Any, indices: Any = 0) -> None:
        """Adds a vector for each entity.

        Args:
            entity, value: The types, which have been defined.
            ids: The entities, [vector].
            values: [vector, component], or [vector] for one component.
            indices: The index of each, such as the pass, [vector], or one for all.
        """
        if (entity, value) not in self._sizes:
            raise ValueError(f"entity type {entity} and value type {value} are not defined yet")
        sizes = Sizes()
        all_ids = sizes.take("ids", ids, np.uint32, "vector")
        size = self._sizes[entity, value]
        array = np.asarray(values)
        if size == 1 and array.ndim == 1:
            array = array[:, np.newaxis]
        vectors = sizes.take("values", array, np.float64, "vector", size)
        given = np.asarray(indices)
        given = np.broadcast_to(given, all_ids.shape) if given.ndim == 0 else given
        passes = sizes.take("indices", given, np.uint32, "vector")
        self._object.add_values(entity, value, all_ids, passes, vectors)
        self._note()

    def add_nodes(self, ids: Any, positions: Any, neighbors: Any = None) -> None:
        """Adds nodes: ids [node], positions x, y, z [node, 3], and the neighbours of each, a
        sequence of sequences; without any, a load makes them of the edges."""
        sizes = Sizes()
        nodes = sizes.take("ids", ids, np.uint32, "node")
        places = sizes.take("positions", positions, np.float64, "node", 3)
        given = neighbors
        if neighbors is None:
            given = (np.zeros(len(nodes) + 1, np.int64), np.zeros(0, np.int32))
        self._object.add_nodes(nodes, places, lists("neighbors", given, len(nodes), "node"))
        self._note()

    def add_edges(self, ids: Any, nodes: Any) -> None:
        """Adds edges: ids [edge], and their nodes [edge, 2]."""
        sizes = Sizes()
        edges = sizes.take("ids", ids, np.uint32, "edge")
        self._object.add_edges(edges, sizes.take("nodes", nodes, np.int32, "edge", "end"))
        self._note()

    def set_header(self, id: int = 0, fields: Sequence[int] = (0, 0, 0, 0)) -> None:
        """Sets the five numbers of the host, unsigned."""
        sizes = Sizes()
        number = sizes.take("id", [id], np.uint32, 1).tolist()
        self._object.set_header(number[0], sizes.take("fields", fields, np.uint32, 4).tolist())
        self._note()


class AssemblyWriter(Writer):
    """Elements and their nodes; a commit appends them. An element may be stored once."""

    def add(self, ids: Any, flags: Any, nodes1: Any, nodes2: Any, nodes3: Any) -> None:
        """Adds elements.

        Args:
            ids: From 1, [element].
            flags: Whether each is flagged, [element], or one for all.
            nodes1, nodes2, nodes3: The node lists of each, a sequence of sequences, or (offsets
                [element + 1], nodes); a node occurs once per basis function on it.
        """
        sizes = Sizes()
        numbers = sizes.take("ids", ids, np.int32, "element")
        if len(numbers) and numbers.min() < 1:
            raise ValueError(f"ids has {numbers.min()}, expected 1 or more")
        given = np.asarray(flags, dtype=bool)
        given = np.broadcast_to(given, numbers.shape) if given.ndim == 0 else given
        flagged = sizes.take("flags", given, np.int32, "element").astype(bool)
        elements = np.where(flagged, numbers, -numbers).astype(np.int32)
        node_lists = [
            lists(name, nodes, len(numbers), "element")
            for name, nodes in (("nodes1", nodes1), ("nodes2", nodes2), ("nodes3", nodes3))
        ]
        self._object.add_elements(elements, node_lists)
        self._note()
