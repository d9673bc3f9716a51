# SPDX-License-Identifier: Apache-2.0
"""The levelled tree of nodes and leaves."""

from __future__ import annotations

from typing import Any, List, Tuple

import numpy as np

from ._base import Counters, Ints, Lists, ResultObject, counted, frozen
from ._optional import need


class BinaryTree(ResultObject):
    """A complete binary tree with items per node and counters per leaf (class ``POBinaryTree``).

    Nodes are numbered breadth first from 0, the leaves follow on; item list -1 belongs to the whole
    tree. A tree of :attr:`level_count` has ``level_count - 1`` levels of nodes, and then the leaves.

    >>> tree = fieldstore.open(results / "file1.dat")
    >>> tree.nodes[0], tree.level(0), tree.level(1)
    (array([2, 4], dtype=int32), 0, 1)
    >>> tree.leaf_counts.shape
    (5, 2)
    """

    class_name = "POBinaryTree"

    @property
    def tag(self) -> int:
        """A number of the host."""
        return int(self._field("tag"))

    @property
    def id_count(self) -> int:
        """The number of ids that the mapped lists are about."""
        return int(self._field("idCount"))

    @property
    def level_count(self) -> int:
        """The number of levels, that of the leaves included."""
        return int(self._field("levelCount"))

    @property
    def leaf_count(self) -> int:
        """The number of leaves."""
        return int(self._field("leafCount"))

    @property
    def leaf_counts(self) -> Counters:
        """The five counters of the leaves, uint64 [counter, leaf]; 0 where a file has none."""
        counters = [self._field(f"leafCounts{number}") for number in range(1, 6)]
        result = np.zeros((5, max(map(len, counters))), dtype=np.uint64)
        for row, counter in zip(result, counters):
            row[: len(counter)] = counter
        return frozen(result)

    @property
    def nodes(self) -> Lists:
        """The items of nodes, leaves and (-1) the whole tree."""
        return Lists(self._field("nodeItems"))

    @property
    def mapped(self) -> Lists:
        """The mapped lists by key."""
        return Lists(self._field("mappedItems"))

    @property
    def auxiliary(self) -> Ints:
        """A list of the host, int32."""
        auxiliary: Ints = self._field("auxiliaryList")
        return auxiliary

    @staticmethod
    def level(node: int) -> int:
        """The level of a node, the root's being 0. Raises ValueError for a negative number."""
        if node < 0:
            raise ValueError(f"node {node} has no level")
        return (node + 1).bit_length() - 1

    def to_pandas(self) -> Any:
        """A ``pandas.DataFrame`` with a row for each item: node, level, item. Needs pandas."""
        pandas = need("pandas", "to_pandas()")
        nodes = self.nodes
        level = [self.level(node) if node >= 0 else -1 for node in nodes]
        return pandas.DataFrame(
            {
                "node": np.repeat(nodes.ids, nodes.lengths),
                "level": np.repeat(level, nodes.lengths).astype(np.int32),
                "item": nodes.elements,
            }
        )

    def to_xarray(self) -> Any:
        """An ``xarray.Dataset`` of the counters [counter, leaf], and the items with the node of
        each [item]. Needs xarray."""
        xarray = need("xarray", "to_xarray()")
        nodes = self.nodes
        return xarray.Dataset(
            {
                "leaf_counts": (("counter", "leaf"), self.leaf_counts),
                "node": ("entry", np.repeat(nodes.ids, nodes.lengths)),
                "item": ("entry", nodes.elements),
            },
            attrs={"class": self.class_name, "path": self.path, "tag": self.tag},
        )

    def _contents(self) -> List[Tuple[str, str]]:
        return [
            (counted(self.level_count, "level"), f"{self.leaf_count} leaves"),
            ("item lists of", counted(len(self.nodes), "node")),
            ("items", str(len(self.nodes.elements))),
            ("mapped lists", str(len(self.mapped))),
            ("tag", str(self.tag)),
        ]
