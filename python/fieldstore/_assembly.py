# SPDX-License-Identifier: Apache-2.0
"""Elements and their nodes."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, List, NamedTuple, Tuple

import numpy as np

from ._base import Ids, Ints, Lists, ResultObject, counted, frozen
from ._optional import need

if TYPE_CHECKING:
    import numpy.typing as npt


class BasisCounts(NamedTuple):
    """Nodes, int32 [node], and the number of basis functions on each, int32 [node]."""

    nodes: Ints
    counts: Ints


class Assembly(ResultObject):
    """The elements of an assembled system with a flag and three node lists each (class
    ``POAssemblyInfo``), ascending by id.

    >>> assembly = fieldstore.open(results / "assemblyinfo.dat")
    >>> assembly.ids, assembly.flags
    (array([5, 7], dtype=uint32), array([False,  True]))
    >>> assembly.nodes(1)[5]
    array([1, 1, 2], dtype=int32)
    """

    class_name = "POAssemblyInfo"

    @property
    def ids(self) -> Ids:
        """The ids of the elements, uint32 [element]."""
        elements = self._field("elements")
        # The smallest integer stands for the largest id.
        return frozen(np.minimum(np.abs(elements.astype(np.int64)), 0x7FFFFFFF).astype(np.uint32))

    @property
    def flags(self) -> npt.NDArray[np.bool_]:
        """The flag of each element, bool [element]."""
        return frozen(self._field("elements") > 0)

    def nodes(self, number: int) -> Lists:
        """The first, second or third node lists by element id. A node occurs once for each basis
        function on it."""
        return Lists(self._field(f"nodes{_known(number)}"))

    def basis_counts(self, number: int) -> BasisCounts:
        """The basis functions of the first, second or third node lists, by node. Raises ValueError
        when elements disagree about a node."""
        if self._data is None:
            raise ValueError(f"{self.path} is closed")
        try:
            return BasisCounts(*self._data.basis_counts(_known(number)))
        except RuntimeError as error:
            raise ValueError(f"{self.path}: {error}") from error

    def to_pandas(self) -> Any:
        """A ``pandas.DataFrame`` with a row for each node of a list: list, element, flag, node.
        Needs pandas."""
        pandas = need("pandas", "to_pandas()")
        flags = dict(zip(self.ids.tolist(), self.flags.tolist()))
        frames = []
        for number in (1, 2, 3):
            lists = self.nodes(number)
            of_list = [flags.get(id, False) for id in lists]
            frames.append(
                pandas.DataFrame(
                    {
                        "list": np.int32(number),
                        "element": np.repeat(lists.ids, lists.lengths),
                        "flag": np.repeat(np.array(of_list, dtype=bool), lists.lengths),
                        "node": lists.elements,
                    }
                )
            )
        return pandas.concat(frames, ignore_index=True)

    def to_xarray(self) -> Any:
        """An ``xarray.Dataset`` of id and flag [element], and of the lists' elements and nodes.
        Needs xarray."""
        xarray = need("xarray", "to_xarray()")
        variables = {"id": ("element", self.ids), "flag": ("element", self.flags)}
        for number in (1, 2, 3):
            lists = self.nodes(number)
            entry = f"entry_{number}"
            variables[f"element_{number}"] = (entry, np.repeat(lists.ids, lists.lengths))
            variables[f"node_{number}"] = (entry, lists.elements)
        return xarray.Dataset(variables, attrs={"class": self.class_name, "path": self.path})

    def _contents(self) -> List[Tuple[str, str]]:
        return [
            ("holds", counted(len(self._field("elements")), "element")),
            ("flagged", str(int(np.count_nonzero(self.flags)))),
            ("nodes in lists 1 to 3", ", ".join(str(len(self.nodes(k).elements)) for k in (1, 2, 3))),
        ]


def _known(number: int) -> int:
    if number not in (1, 2, 3):
        raise KeyError(f"there are no node lists {number}; lists: 1, 2, 3")
    return number
