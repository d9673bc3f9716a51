# SPDX-License-Identifier: Apache-2.0
"""Modal data over frequency."""

from __future__ import annotations

from typing import Any, Dict, Optional, Sequence, Tuple

import numpy as np
import numpy.typing as npt

from .._base import Complexes, Ints
from .._modes import Modes
from ._axes import axes_or_current, draw_line, every, finish, first, frequency_axis, note

MOST_MODES = 12
_PARTS: Dict[str, Tuple[Any, str]] = {
    "imag": (np.imag, "Im γ (1/m)"),
    "real": (np.real, "Re γ (1/m)"),
    "abs": (np.abs, "|γ| (1/m)"),
}


def gamma(
    modes: Modes,
    port: int = 1,
    part: str = "imag",
    *,
    which: Optional[Sequence[int]] = None,
    ax: Optional[Any] = None,
) -> Any:
    """The propagation constants of a port over frequency.

    Args:
        modes: Modal data.
        port: The number of the port; KeyError when it is not there.
        part: ``"imag"`` (the phase constant), ``"real"`` (the attenuation) or ``"abs"``; in 1/m when
            the host keeps to SI units.
        which: The numbers of the modes, from 0; without it the first twelve.
        ax: The axes to draw on; without it the current ones.

    >>> modes = fieldstore.open(results / "modeinfo.dat")
    >>> len(fieldstore.plot.gamma(modes, port=1).lines) == modes.mode_count(1)
    True
    """
    if part not in _PARTS:
        raise ValueError(f"part is {part!r}; it can be {', '.join(map(repr, _PARTS))}")
    take, label = _PARTS[part]
    return _over_frequency(modes, take(modes.gamma(port)), label, port, which, ax)


def voltage(
    modes: Modes,
    port: int = 1,
    entry: Optional[int] = None,
    *,
    which: Optional[Sequence[int]] = None,
    ax: Optional[Any] = None,
) -> Any:
    """The magnitude of one entry of the modal voltages over frequency; without ``entry`` of each mode
    the one that is largest anywhere. Other arguments as of :func:`gamma`."""
    values = modes.voltages(port)
    return _over_frequency(
        modes, np.abs(_taken(values, _entries(values, entry))), "|V| (V)", port, which, ax
    )


def current(
    modes: Modes,
    port: int = 1,
    entry: Optional[int] = None,
    *,
    which: Optional[Sequence[int]] = None,
    ax: Optional[Any] = None,
) -> Any:
    """The magnitude of one entry of the modal currents over frequency; arguments as of
    :func:`voltage`."""
    values = modes.currents(port)
    return _over_frequency(
        modes, np.abs(_taken(values, _entries(values, entry))), "|I| (A)", port, which, ax
    )


def impedance(
    modes: Modes,
    port: int = 1,
    entry: Optional[int] = None,
    *,
    which: Optional[Sequence[int]] = None,
    ax: Optional[Any] = None,
) -> Any:
    """The magnitude of voltage by current over frequency, both of the same entry; arguments as of
    :func:`voltage`, the largest current counting."""
    below = modes.currents(port)
    at = _entries(below, entry)
    with np.errstate(divide="ignore", invalid="ignore"):
        values = np.abs(_taken(modes.voltages(port), at) / _taken(below, at))
    values[~np.isfinite(values)] = np.nan
    return _over_frequency(modes, values, "|V/I| (Ω)", port, which, ax)


def _entries(values: Complexes, entry: Optional[int]) -> Ints:
    """Which entry of each mode to draw, of values [frequency, mode, entry]."""
    if entry is not None:
        return np.full(values.shape[1], entry, dtype=np.int32)
    if values.shape[2] == 0:
        raise ValueError("the modes have no voltages and currents")
    largest = np.nan_to_num(np.abs(values)).max(axis=0, initial=0)
    return np.asarray(np.argmax(largest, axis=1), dtype=np.int32)


def _taken(values: Complexes, entries: Ints) -> Complexes:
    """Values [frequency, mode], of each mode those of one entry."""
    return values[:, np.arange(values.shape[1]), entries]


def _over_frequency(
    modes: Modes,
    values: npt.NDArray[np.float64],
    label: str,
    port: int,
    which: Optional[Sequence[int]],
    ax: Optional[Any],
) -> Any:
    """A line for each mode of values [frequency, mode]."""
    ax = axes_or_current(ax)
    x = frequency_axis(ax, modes.frequencies)
    drawn = every(ax, len(x), "frequencies")
    shown = which if which is not None else range(first(ax, values.shape[1], "modes", MOST_MODES))
    known = [mode for mode in shown if np.isfinite(values[:, mode]).any()]
    for number, mode in enumerate(shown):
        if mode in known:
            draw_line(ax, x[drawn], values[drawn, mode], number, f"mode {mode}")
    if len(known) < len(shown):
        note(ax, f"{len(shown) - len(known)} of {len(shown)} modes have no such value.")
    ax.set_ylabel(label)
    ax.set_title(f"port {port}")
    return finish(ax, len(known))
