# SPDX-License-Identifier: Apache-2.0
"""Sets of mesh ids."""

from __future__ import annotations

from typing import Any, List, Tuple

from ._base import Ints, ResultObject, counted
from ._optional import need


class MeshTree(ResultObject):
    """Sets of mesh ids and of pairs of them (class ``POMeshTree``).

    >>> mesh = fieldstore.open(results / "evtree.dat")
    >>> mesh.ids
    array([-5,  3,  8], dtype=int32)
    >>> mesh.pairs
    array([[3, 5],
           [4, 9]], dtype=int32)
    """

    class_name = "POMeshTree"

    @property
    def ids(self) -> Ints:
        """The ids, ascending, int32 [id]."""
        ids: Ints = self._field("ids")
        return ids

    @property
    def pairs(self) -> Ints:
        """The pairs, ascending, int32 [pair, 2]."""
        pairs: Ints = self._field("idPairs")
        return pairs

    def to_pandas(self) -> Any:
        """The pairs as a ``pandas.DataFrame``: first, second. Needs pandas."""
        pandas = need("pandas", "to_pandas()")
        return pandas.DataFrame({"first": self.pairs[:, 0], "second": self.pairs[:, 1]})

    def to_xarray(self) -> Any:
        """An ``xarray.Dataset`` of id [id] and pair [pair, end]. Needs xarray."""
        xarray = need("xarray", "to_xarray()")
        return xarray.Dataset(
            {"ids": ("id", self.ids), "pairs": (("pair", "end"), self.pairs)},
            attrs={"class": self.class_name, "path": self.path},
        )

    def _contents(self) -> List[Tuple[str, str]]:
        return [
            ("holds", counted(len(self.ids), "id")),
            ("and", counted(len(self.pairs), "pair")),
        ]
