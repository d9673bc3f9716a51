# SPDX-License-Identifier: Apache-2.0
"""Modal data per frequency and port."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Callable, List, NamedTuple, Optional, Tuple

import numpy as np

from . import _fieldstore
from ._base import Complexes, Floats, Ints, Longs, ResultObject, counted, frozen, offsets_of, span
from ._optional import need

if TYPE_CHECKING:
    import numpy.typing as npt


class _Columns(NamedTuple):
    """What a file holds, end to end: an entry for each frequency and port, in this order."""

    frequencies: Longs  # [entry]
    ports: Ints  # [entry]
    offsets: Longs  # of the modes, [entry + 1]
    groups: Ints  # [mode]
    gammas: Complexes  # [mode]
    data_ends: npt.NDArray[np.uint64]  # [mode]
    data: Complexes
    all_frequencies: Longs
    all_ports: Ints
    grid: Optional[Tuple[int, int, int]]  # frequencies, ports, modes, when these form a block

    @classmethod
    def of(cls, field: Tuple[Any, ...]) -> _Columns:
        frequencies, ports, ends, groups, gammas, data_ends, data = field
        all_frequencies, all_ports = np.unique(frequencies), frozen(np.unique(ports))
        shape = (len(all_frequencies), len(all_ports))
        modes = _fieldstore.even_length(ends, 0, len(ends)) if len(ends) else -1
        is_block = modes >= 0 and len(ends) == shape[0] * shape[1]
        grid = (*shape, modes) if is_block else None
        offsets = offsets_of(ends)
        return cls(
            frequencies, ports, offsets, groups, gammas, data_ends, data, all_frequencies, all_ports, grid
        )

    def halves(self, part: int) -> Complexes:
        """The voltages (0) or currents (1) of every mode, [mode, entry]."""
        count = len(self.data_ends)
        length = _fieldstore.even_length(self.data_ends, 0, count) if count else 0
        if length >= 0 and length % 2 == 0:
            return np.asarray(self.data.reshape(count, 2, length // 2)[:, part])
        offsets = offsets_of(self.data_ends)
        halves = np.diff(offsets) // 2
        result = np.full((count, int(halves.max())), np.nan, dtype=np.complex128)
        row = np.repeat(np.arange(count), halves)
        column = np.arange(len(row)) - np.repeat(np.cumsum(halves) - halves, halves)
        result[row, column] = self.data[offsets[:-1][row] + part * halves[row] + column]
        return frozen(result)


class Modes(ResultObject):
    """Modal voltages and currents per frequency and port (class ``POModeInfo``).

    Arrays are [frequency, mode] or [frequency, mode, entry], frequencies as in :attr:`frequencies`.
    Where a frequency has fewer modes than another, or a mode fewer entries, the rest is NaN.

    >>> modes = fieldstore.open(results / "modeinfo.dat")
    >>> modes.frequencies
    array([1.0e+10, 1.1e+10])
    >>> modes.gamma(port=1).shape, modes.voltages(port=1).shape
    ((2, 2), (2, 2, 2))
    >>> modes.gamma(port=1)[0]
    array([0.+209.j, 0. +12.j])
    """

    class_name = "POModeInfo"
    slice_keys = ("frequency", "port")

    @property
    def frequencies(self) -> Floats:
        """The distinct frequencies, ascending, float64 [frequency]; in the host's unit, say hertz."""
        return frozen(self._columns().all_frequencies.astype(np.float64))

    @property
    def ports(self) -> Ints:
        """The numbers of the ports, ascending, int32 [port]."""
        return self._columns().all_ports

    def mode_count(self, port: int = 1) -> int:
        """The largest number of modes that the port has at a frequency. Raises KeyError for a port
        that is not there, as all that take one do."""
        self._position(port)
        columns = self._columns()
        return int(np.diff(columns.offsets)[columns.ports == port].max(initial=0))

    def gamma(self, port: int = 1) -> Complexes:
        """The value of each mode, such as its propagation constant, complex128 [frequency, mode]."""
        return self._by_mode(port, self._columns().gammas, np.nan)

    def groups(self, port: int = 1) -> Ints:
        """The group of each mode, int32 [frequency, mode]; -1 where there is no mode."""
        return self._by_mode(port, self._columns().groups, -1)

    def voltages(self, port: int = 1) -> Complexes:
        """The voltage part of the data, complex128 [frequency, mode, entry]."""
        return self._by_mode(port, self._columns().halves(0), np.nan)

    def currents(self, port: int = 1) -> Complexes:
        """The current part of the data, complex128 [frequency, mode, entry]."""
        return self._by_mode(port, self._columns().halves(1), np.nan)

    def to_xarray(self) -> Any:
        """An ``xarray.Dataset``: gamma, group [port, frequency, mode], voltage and current
        [port, frequency, mode, entry]. Needs xarray."""
        xarray = need("xarray", "to_xarray()")
        parts: List[Tuple[Callable[[int], npt.NDArray[Any]], Tuple[str, ...], Any]] = [
            (self.gamma, ("mode",), np.nan),
            (self.groups, ("mode",), -1),
            (self.voltages, ("mode", "entry"), np.nan),
            (self.currents, ("mode", "entry"), np.nan),
        ]
        ports = self.ports.tolist()
        variables = {}
        for name, (part, dims, missing) in zip(("gamma", "group", "voltage", "current"), parts):
            arrays = [part(port) for port in ports]
            variables[name] = (("port", "frequency", *dims), _stacked(arrays, missing))
        return xarray.Dataset(
            variables,
            coords={"port": ports, "frequency": self.frequencies},
            attrs={"class": self.class_name, "path": self.path},
        )

    def to_pandas(self) -> Any:
        """A ``pandas.DataFrame`` with a row for each mode: frequency, port, mode, group, gamma, and
        the data as voltage_0, ..., current_0, ... Needs pandas."""
        pandas = need("pandas", "to_pandas()")
        held = self._columns()
        counts = np.diff(held.offsets)
        columns = {
            "frequency": np.repeat(held.frequencies.astype(np.float64), counts),
            "port": np.repeat(held.ports, counts),
            "mode": np.arange(len(held.groups)) - np.repeat(held.offsets[:-1], counts),
            "group": held.groups,
            "gamma": held.gammas,
        }
        for name, part in (("voltage", 0), ("current", 1)):
            for entry, values in enumerate(held.halves(part).T):
                columns[f"{name}_{entry}"] = values
        return pandas.DataFrame(columns)

    def _columns(self) -> _Columns:
        kept = "_kept_columns"
        if kept not in self.__dict__:
            self.__dict__[kept] = _Columns.of(self._field("modes"))
        columns: _Columns = self.__dict__[kept]
        return columns

    def _position(self, port: int) -> int:
        """The place of a port among all."""
        ports = self._columns().all_ports
        position = int(np.searchsorted(ports, port))
        if position == len(ports) or ports[position] != port:
            known = ", ".join(map(str, ports.tolist())) or "none"
            raise KeyError(f"there is no port {port} in {self.path}; ports: {known}")
        return position

    def _by_mode(self, port: int, values: npt.NDArray[Any], missing: Any) -> npt.NDArray[Any]:
        """The values of the port's modes as [frequency, mode, ...]."""
        columns, position = self._columns(), self._position(port)
        if columns.grid is not None:
            return values.reshape(*columns.grid, *values.shape[1:])[:, position]
        counts = np.diff(columns.offsets)
        own = columns.ports == port
        number = np.arange(len(values)) - np.repeat(columns.offsets[:-1], counts)
        is_own = np.repeat(own, counts)
        place = np.searchsorted(columns.all_frequencies, columns.frequencies[own])
        shape = (len(columns.all_frequencies), self.mode_count(port), *values.shape[1:])
        result = np.full(shape, missing, dtype=values.dtype)
        result[np.repeat(place, counts[own]), number[is_own]] = values[is_own]
        return frozen(result)

    def _contents(self) -> List[Tuple[str, str]]:
        ports = self.ports.tolist()
        modes = [self.mode_count(port) for port in ports]
        return [
            (counted(len(self.frequencies), "frequency"), span(self.frequencies)),
            (counted(len(ports), "port"), ", ".join(map(str, ports))),
            ("modes", ", ".join(map(str, modes))),
        ]


def _stacked(arrays: List[npt.NDArray[Any]], missing: Any) -> npt.NDArray[Any]:
    """The arrays along a new first axis, each filled up to the largest."""
    if not arrays:
        return np.empty((0, 0, 0))
    shape = tuple(max(sizes) for sizes in zip(*(array.shape for array in arrays)))
    result = np.full((len(arrays), *shape), missing, dtype=arrays[0].dtype)
    for place, array in zip(result, arrays):
        place[tuple(slice(size) for size in array.shape)] = array
    return result
