# SPDX-License-Identifier: Apache-2.0
"""Circuit matrices per frequency and type."""

from __future__ import annotations

import math
from typing import TYPE_CHECKING, Any, Iterator, List, Mapping, Optional, Tuple, Union

import numpy as np

from ._base import Complexes, Floats, Ints, Longs, ResultObject, counted, frozen, offsets_of, span
from ._optional import need

if TYPE_CHECKING:
    import numpy.typing as npt

Parts = Union[int, Tuple[int, int]]


class Matrices(ResultObject, Mapping[int, Floats]):
    """Square matrices per frequency and matrix type (class ``POCircuitMatrices``); a mapping from
    type to float64 [frequency, n, n].

    Where a type lacks a frequency of :attr:`frequencies`, its matrix is NaN.

    >>> matrices = fieldstore.open(results / "circuitmatrices.dat")
    >>> list(matrices), matrices[0].shape
    ([0, 1], (2, 2, 2))
    >>> matrices.matrix(1, 11e9)
    array([[1., 2.],
           [2., 5.]])
    """

    class_name = "POCircuitMatrices"
    slice_keys = ("frequency", "type")

    @property
    def frequencies(self) -> Floats:
        """The distinct frequencies, ascending, float64 [frequency]; in the host's unit, say hertz."""
        return frozen(np.unique(self._columns()[0]).astype(np.float64))

    @property
    def types(self) -> Ints:
        """The types that have a matrix, ascending, int32 [type]."""
        return frozen(np.unique(self._columns()[1]))

    def matrix(self, type: int, frequency: float) -> Floats:
        """One matrix, float64 [n, n]. Raises KeyError when there is none, ValueError when its
        values are not those of a square one."""
        frequencies, types, _, values = self._columns()
        place = np.flatnonzero((types == type) & (frequencies == int(frequency)))
        if len(place) == 0:
            raise KeyError(f"there is no matrix of type {type} at {frequency:g} in {self.path}")
        offsets = self._offsets()
        size = self._dimension(type, int(offsets[place[0] + 1] - offsets[place[0]]))
        begin = offsets[place[0]]
        return np.asarray(values[begin : begin + size * size].reshape(size, size))

    def __getitem__(self, type: int) -> Floats:
        """The matrices of a type, float64 [frequency, n, n]. Raises KeyError for a type that is not
        there, ValueError when its matrices differ in size or are not square."""
        frequencies, types, _, values = self._columns()
        offsets = self._offsets()
        own = np.flatnonzero(types == type)
        if len(own) == 0:
            known = ", ".join(map(str, self.types.tolist())) or "none"
            raise KeyError(f"there is no type {type} in {self.path}; types: {known}")
        counts = np.diff(offsets)
        size = self._dimension(type, int(counts[own[0]]))
        if (counts[own] != size * size).any():
            raise ValueError(
                f"the matrices of type {type} in {self.path} differ in size; take them one by one "
                "with matrix(type, frequency)"
            )
        all_frequencies = np.unique(frequencies)
        steps = np.unique(np.diff(own))
        if len(own) == len(all_frequencies) and (counts == size * size).all() and len(steps) < 2:
            step = int(steps[0]) if len(steps) else 1
            return np.asarray(values.reshape(-1, size, size)[own[0] : own[-1] + 1 : step])
        result = np.full((len(all_frequencies), size, size), np.nan)
        rows = np.searchsorted(all_frequencies, frequencies[own])
        for row, entry in zip(rows, own):
            result[row] = values[offsets[entry] : offsets[entry + 1]].reshape(size, size)
        return frozen(result)

    def __iter__(self) -> Iterator[int]:
        return iter(self.types.tolist())

    def __len__(self) -> int:
        return len(self.types)

    def network(
        self,
        z: Optional[Parts] = None,
        z0: Any = 50,
        *,
        y: Optional[Parts] = None,
        s: Optional[Parts] = None,
        name: Optional[str] = None,
    ) -> Any:
        """A ``skrf.Network`` of matrices that are impedances (``z``, by default the types 0 and 1),
        admittances (``y``) or scattering parameters (``s``). Needs scikit-rf.

        Args:
            z, y, s: The types of the real and of the imaginary part, or one type for real matrices.
                Exactly one is given, or none for ``z=(0, 1)``. In ohm, in siemens, and 1.
            z0: The reference impedance in ohm, one or one for each port.
            name: The name of the network.

        Frequencies count as hertz.

        >>> matrices = fieldstore.open(results / "circuitmatrices.dat")
        >>> matrices.network(z=(0, 1), z0=50).s.shape
        (2, 2, 2)
        """
        given = [parts for parts in (z, y, s) if parts is not None]
        if len(given) > 1:
            raise ValueError("network() takes one of z, y and s")
        skrf = need("skrf", "network()")
        parts = given[0] if given else (0, 1)
        values = self[parts] + 0j if isinstance(parts, int) else self[parts[0]] + 1j * self[parts[1]]
        if s is None:
            values = _scattering(values, z0, admittance=y is not None)
        frequency = skrf.Frequency.from_f(self.frequencies, unit="hz")
        return skrf.Network(frequency=frequency, s=values, z0=z0, name=name)

    def to_xarray(self) -> Any:
        """An ``xarray.Dataset`` with a variable ``type_N`` [frequency, row, column] for each type.
        Needs xarray."""
        xarray = need("xarray", "to_xarray()")
        # Dimensions of types that differ in size differ in name.
        sizes = {type: self[type].shape[1] for type in self}
        same = len(set(sizes.values())) < 2
        variables = {
            f"type_{type}": (
                ("frequency", "row", "column")
                if same
                else ("frequency", f"row_{size}", f"column_{size}"),
                self[type],
            )
            for type, size in sizes.items()
        }
        return xarray.Dataset(
            variables,
            coords={"frequency": self.frequencies},
            attrs={"class": self.class_name, "path": self.path},
        )

    def to_pandas(self) -> Any:
        """A ``pandas.DataFrame`` with a row for each value: frequency, type, row, column, value.
        Needs pandas."""
        pandas = need("pandas", "to_pandas()")
        frequencies, types, _, values = self._columns()
        offsets = self._offsets()
        counts = np.diff(offsets)
        size = np.repeat([self._dimension(int(t), int(n)) for t, n in zip(types, counts)], counts)
        place = np.arange(len(values)) - np.repeat(offsets[:-1], counts)
        return pandas.DataFrame(
            {
                "frequency": np.repeat(frequencies.astype(np.float64), counts),
                "type": np.repeat(types, counts),
                "row": place // size,
                "column": place % size,
                "value": values,
            }
        )

    def _columns(self) -> Tuple[Longs, Ints, Any, Floats]:
        """Frequencies, types, ends of the values; values."""
        columns: Tuple[Longs, Ints, Any, Floats] = self._field("matrices")
        return columns

    def _offsets(self) -> Longs:
        return offsets_of(self._columns()[2])

    def _dimension(self, type: int, count: int) -> int:
        size = math.isqrt(count)
        if size * size != count:
            raise ValueError(f"a matrix of type {type} in {self.path} has {count} values: no square")
        return size

    def _contents(self) -> List[Tuple[str, str]]:
        _, types, _, _ = self._columns()
        counts = np.diff(self._offsets())
        sizes = [math.isqrt(int(counts[types == type].max())) for type in self]
        return [
            (counted(len(self.frequencies), "frequency"), span(self.frequencies)),
            (
                counted(len(sizes), "type"),
                ", ".join(f"{type}: {size} x {size}" for type, size in zip(self, sizes)),
            ),
        ]


def _scattering(values: npt.NDArray[Any], z0: Any, admittance: bool) -> Complexes:
    """Scattering parameters of impedances or admittances [frequency, n, n], as power waves have them:
    S = F (Z - G*) (Z + G)^-1 F^-1 with G = diag(z0), F = diag(1 / (2 sqrt(Re z0))).

    Source: K. Kurokawa, Power Waves and the Scattering Matrix, IEEE Transactions on Microwave Theory
    and Techniques 13 (1965). Worked out here, as scikit-rf in Debian 12 cannot with NumPy there.
    """
    size = values.shape[1]
    reference = np.broadcast_to(np.asarray(z0, dtype=np.complex128), (len(values), size))
    unit = np.broadcast_to(np.eye(size), values.shape)
    column = reference[:, :, np.newaxis]  # times a matrix, that of the diagonal matrix
    if admittance:
        above, below = unit - column.conj() * values, unit + column * values
    else:
        above, below = values - column.conj() * unit, values + column * unit
    transposed = np.linalg.solve(below.transpose(0, 2, 1), above.transpose(0, 2, 1))
    scale = 1 / (2 * np.sqrt(column.real))
    return np.asarray(scale * transposed.transpose(0, 2, 1) / scale.transpose(0, 2, 1))
