# SPDX-License-Identifier: Apache-2.0
"""The sparse map between degrees of freedom."""

from __future__ import annotations

from typing import Any, List, Tuple

import numpy as np

from ._base import Floats, Ints, Longs, ResultObject, counted
from ._optional import need


class DofMap(ResultObject):
    """A sparse map between degrees of freedom, and their types (class ``PODOFMap``).

    Row r has the entries ``offsets[r]`` to ``offsets[r + 1]`` of :attr:`columns` and
    :attr:`weights`, in the order of the file.

    >>> dofs = fieldstore.open(results / "evdofmap.dat")
    >>> dofs.to_scipy().toarray()
    array([[0.5, 0.5, 0. ],
           [0. , 0. , 2. ],
           [0. , 0. , 0. ]])
    """

    class_name = "PODOFMap"

    @property
    def offsets(self) -> Longs:
        """Where each row begins, and the end of the last, int64 [row + 1]."""
        offsets: Longs = self._field("rows")[0]
        return offsets

    @property
    def columns(self) -> Ints:
        """The column of each entry, int32 [entry]."""
        columns: Ints = self._field("rows")[1]
        return columns

    @property
    def weights(self) -> Floats:
        """The weight of each entry, float64 [entry]."""
        weights: Floats = self._field("rows")[2]
        return weights

    @property
    def types(self) -> Ints:
        """The type of each row, int32 [row]; 0, 1 or what the host has of its own."""
        types: Ints = self._field("types")
        return types

    def to_scipy(self) -> Any:
        """A ``scipy.sparse.csr_matrix``, square: columns are numbers of rows. Needs SciPy.

        Raises ValueError for a column outside the rows.
        """
        sparse = need("scipy.sparse", "to_scipy()")
        offsets, columns = self.offsets, self.columns
        rows = len(offsets) - 1
        if len(columns) and (columns.min() < 0 or columns.max() >= rows):
            raise ValueError(
                f"a column of {self.path} is outside its {counted(rows, 'row')}: "
                f"{columns.min()} to {columns.max()}"
            )
        if offsets[-1] < 1 << 31:
            offsets = offsets.astype(np.int32)  # else SciPy widens the columns
        return sparse.csr_matrix((self.weights, columns, offsets), shape=(rows, rows))

    def to_pandas(self) -> Any:
        """A ``pandas.DataFrame`` with a row for each entry: row, column, weight. Needs pandas."""
        pandas = need("pandas", "to_pandas()")
        offsets = self.offsets
        row = np.repeat(np.arange(len(offsets) - 1), np.diff(offsets))
        return pandas.DataFrame({"row": row, "column": self.columns, "weight": self.weights})

    def to_xarray(self) -> Any:
        """An ``xarray.Dataset`` of row, column and weight [entry] and type [row]. Needs xarray."""
        xarray = need("xarray", "to_xarray()")
        row = np.repeat(np.arange(len(self.offsets) - 1), np.diff(self.offsets))
        return xarray.Dataset(
            {
                "row": ("entry", row),
                "column": ("entry", self.columns),
                "weight": ("entry", self.weights),
                "type": ("row_number", self.types),
            },
            attrs={"class": self.class_name, "path": self.path},
        )

    def _contents(self) -> List[Tuple[str, str]]:
        types, counts = np.unique(self.types, return_counts=True)
        return [
            (counted(len(self.offsets) - 1, "row"), counted(len(self.columns), "entry")),
            ("types", ", ".join(f"{t}: {n}" for t, n in zip(types, counts)) or "none"),
        ]
