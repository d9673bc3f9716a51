# SPDX-License-Identifier: Apache-2.0
"""Degrees of freedom of ports and circuits."""

from __future__ import annotations

from typing import Any, List, Tuple

import numpy as np

from ._base import Ints, ResultObject, counted
from ._optional import need


class PortCircuitDofs(ResultObject):
    """The degrees of freedom of ports and circuits (class ``POPortCircuitDOFs``).

    >>> ports = fieldstore.open(results / "file3.dat")
    >>> ports.port_dofs, ports.circuit_dofs
    (array([10, 11], dtype=int32), array([13, 14], dtype=int32))
    """

    class_name = "POPortCircuitDOFs"

    @property
    def port_count(self) -> int:
        """The number of positions of ports, at the start of the table."""
        return int(self._field("portDOFCount"))

    @property
    def offset_count(self) -> int:
        """The number of positions that are skipped after them."""
        return int(self._field("offsetDOFCount"))

    @property
    def circuit_counts(self) -> Tuple[int, int]:
        """The two numbers of positions of circuits."""
        return int(self._field("circuitDOFCount1")), int(self._field("circuitDOFCount2"))

    @property
    def positions(self) -> Ints:
        """The positions of the table, ascending, int32 [entry]."""
        return np.asarray(self._field("dofTable")[:, 0])

    @property
    def dofs(self) -> Ints:
        """The degree of freedom at each of them, int32 [entry]."""
        return np.asarray(self._field("dofTable")[:, 1])

    @property
    def port_dofs(self) -> Ints:
        """Those of the ports, int32 [number from 0]. Raises ValueError when the table lacks one."""
        return self._taken(0, self.port_count)

    @property
    def circuit_dofs(self) -> Ints:
        """Those of the circuits; as :attr:`port_dofs`."""
        return self._taken(self.port_count + self.offset_count, sum(self.circuit_counts))

    def _taken(self, first: int, count: int) -> Ints:
        begin, end = np.searchsorted(self.positions, (first, first + max(count, 0)))
        if end - begin != max(count, 0):
            raise ValueError(
                f"the table of {self.path} lacks positions {first} to {first + count - 1}"
            )
        return np.asarray(self.dofs[begin:end])

    def to_pandas(self) -> Any:
        """The table as a ``pandas.DataFrame``: position, dof. Needs pandas."""
        pandas = need("pandas", "to_pandas()")
        return pandas.DataFrame({"position": self.positions, "dof": self.dofs})

    def to_xarray(self) -> Any:
        """An ``xarray.DataArray`` of the degrees of freedom [position]. Needs xarray."""
        xarray = need("xarray", "to_xarray()")
        return xarray.DataArray(
            self.dofs,
            dims="position",
            coords={"position": self.positions},
            attrs={"class": self.class_name, "path": self.path},
        )

    def _contents(self) -> List[Tuple[str, str]]:
        first, second = self.circuit_counts
        return [
            ("port", counted(self.port_count, "DOF")),
            ("circuit", counted(first + second, "DOF")),
            ("table of", counted(len(self.positions), "position")),
        ]
