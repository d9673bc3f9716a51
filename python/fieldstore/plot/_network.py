# SPDX-License-Identifier: Apache-2.0
"""Circuit matrices as scattering parameters, and as they are."""

from __future__ import annotations

from typing import Any, Dict, List, Optional, Sequence, Tuple, Union

import numpy as np

from .._base import Complexes, Floats
from .._matrices import Matrices
from .._numbers import quantity
from ._axes import (
    DIVERGING,
    SEQUENTIAL,
    axes_or_current,
    colour_bar,
    draw_line,
    every,
    finish,
    frequency_axis,
    line_style,
    literally,
    note,
    span_is_wide,
    with_unit,
)

Parts = Union[int, Tuple[int, int]]
Pairs = Sequence[Tuple[int, int]]
MOST_LINES = 12
# Parameters smaller than this are what rounding leaves of zero.
NEGLIGIBLE = 1e-12
# A matrix has no more cells than this in the picture.
MOST_ROWS = 400


def parts_of(matrices: Matrices) -> Tuple[str, Parts]:
    """What the labels say, as ``("z", (0, 1))``: the types named Re S and Im S, or of Z or Y. Without
    such labels, types 0 and 1 count as Re Z and Im Z."""
    names = {matrices.labels.name("matrixTypes", type): type for type in reversed(list(matrices))}
    for kind in "SZY":
        if f"Re {kind}" in names and f"Im {kind}" in names:
            return kind.lower(), (names[f"Re {kind}"], names[f"Im {kind}"])
    return "z", (0, 1)


def s_parameters(
    source: Any,
    *,
    z: Optional[Parts] = None,
    y: Optional[Parts] = None,
    s: Optional[Parts] = None,
    z0: Any = 50,
) -> Tuple[Floats, Complexes]:
    """Frequencies in hertz and scattering parameters [frequency, n, n].

    Args:
        source: :class:`fieldstore.Matrices`, or anything with ``f`` and ``s``, such as a
            ``skrf.Network``, whose parameters are taken as they are.
        z, y, s: The matrix types of the real and of the imaginary part, or one type for real
            matrices; at most one of the three. Without any, the labels decide, and without labels
            ``z=(0, 1)``.
        z0: The reference impedance in ohm, real and positive, one or one for each port.

    Raises KeyError for a type that is not there; ValueError for a singular matrix, or more than one of
    z, y and s.

    With the reference R on the diagonal, S = R^(-1/2) (Z - R) (Z + R)^(-1) R^(1/2), as power waves
    define it.
    """
    if not isinstance(source, Matrices):
        return np.asarray(source.f), np.asarray(source.s)
    given = [(kind, parts) for kind, parts in (("z", z), ("y", y), ("s", s)) if parts is not None]
    if len(given) > 1:
        raise ValueError("at most one of z, y and s can be given")
    kind, parts = given[0] if given else parts_of(source)
    values = source[parts] + 0j if isinstance(parts, int) else source[parts[0]] + 1j * source[parts[1]]
    if kind == "s":
        return source.frequencies, values
    reference = np.broadcast_to(np.asarray(z0, dtype=float), values.shape[-1:])
    if not (np.isfinite(reference) & (reference > 0)).all():
        raise ValueError(f"z0 is {z0}; a reference impedance is real and positive")
    root = np.sqrt(reference)
    one = np.eye(values.shape[-1])
    # With z the impedance by the reference, S = (z - 1) (z + 1)^(-1); with y, (1 - y) (1 + y)^(-1).
    relative = values / (root[:, np.newaxis] * root) if kind == "z" else values * (
        root[:, np.newaxis] * root
    )
    sign = 1 if kind == "z" else -1
    whole = np.isfinite(relative).all(axis=(1, 2))
    result = np.full(values.shape, np.nan, dtype=np.complex128)
    try:
        result[whole] = np.linalg.solve(
            (relative[whole] + one).swapaxes(1, 2), (sign * (relative[whole] - one)).swapaxes(1, 2)
        ).swapaxes(1, 2)
    except np.linalg.LinAlgError as error:
        raise ValueError(f"{source.path}: no scattering parameters exist: {error}") from error
    return source.frequencies, result


def s_db(source: Any, *, which: Optional[Pairs] = None, ax: Optional[Any] = None, **kind: Any) -> Any:
    """|S| in dB over frequency.

    Args:
        source: As of :func:`s_parameters`, which also takes the other keywords.
        which: (row, column) from 0 of the parameters to draw; without it twelve of the strongest.
        ax: The axes to draw on; without it the current ones.
    """

    def decibel(values: Complexes) -> Floats:
        with np.errstate(divide="ignore"):
            level = 20 * np.log10(np.abs(values))
        return np.where(np.isneginf(level), np.nan, level)

    ax = _s_over_frequency(source, decibel, which, ax, kind)
    ax.set_ylabel("|S| (dB)")
    return ax


def s_phase(
    source: Any, *, which: Optional[Pairs] = None, ax: Optional[Any] = None, **kind: Any
) -> Any:
    """The phase of S in degrees, -180 to 180, over frequency; arguments as of :func:`s_db`."""
    ax = _s_over_frequency(source, lambda values: np.degrees(np.angle(values)), which, ax, kind)
    for line in ax.lines:
        line.set_data(*_broken_at_jumps(*line.get_data()))
    ax.set_ylabel("phase of S (°)")
    ax.set_ylim(-190, 190)
    ax.set_yticks(range(-180, 181, 90))
    return ax


def smith(source: Any, *, which: Optional[Pairs] = None, ax: Optional[Any] = None, **kind: Any) -> Any:
    """The reflections in a Smith chart; arguments as of :func:`s_db`. Without ``which`` they are the
    first twelve of the diagonal; a dot marks the lowest frequency."""
    ax = axes_or_current(ax)
    frequencies, s = s_parameters(source, **kind)
    if which is None:
        which = [(port, port) for port in range(min(s.shape[1], MOST_LINES))]
        if s.shape[1] > MOST_LINES:
            note(ax, f"The first {MOST_LINES} of {s.shape[1]} reflections are drawn.")
    drawn = every(ax, len(frequencies), "frequencies")
    draw_smith_grid(ax)
    for number, (row, column) in enumerate(which):
        curve = s[drawn, row, column]
        label = s_name(row, column, s.shape[1])
        draw_line(ax, curve.real, curve.imag, number, label)
        ax.plot(curve.real[:1], curve.imag[:1], "o", markersize=4, color=line_style(number)["color"])
    if len(which) > 1:
        ax.legend(fontsize="x-small", loc="upper left", bbox_to_anchor=(1.0, 1.0), framealpha=0.7)
    return ax


def draw_smith_grid(ax: Any) -> None:
    """The circles of constant resistance r, centre r/(1 + r), radius 1/(1 + r), and the arcs of
    constant reactance x, centre 1 + i/x, radius 1/|x|, within the unit circle."""
    angle = np.linspace(0, 2 * np.pi, 181)
    style: Dict[str, Any] = {"color": "#808080", "linewidth": 0.5, "zorder": 0.5, "gid": "smith-grid"}
    for resistance in (0.0, 0.2, 0.5, 1.0, 2.0, 5.0):
        circle = (resistance + np.exp(1j * angle)) / (1 + resistance)
        ax.plot(circle.real, circle.imag, **{**style, "linewidth": 1.0 if resistance == 0 else 0.5})
        if resistance > 0:
            left = (resistance - 1) / (resistance + 1)
            ax.text(left, 0.01, f"{resistance:g}", fontsize="x-small", ha="left", va="bottom")
    ax.plot([-1, 1], [0, 0], **style)
    ends = np.tan(np.linspace(0, np.pi / 2, 61)[:-1])  # resistances up to nearly infinite
    for reactance in (0.2, 0.5, 1.0, 2.0, 5.0):
        impedance = np.append(ends, 1e6) + 1j * reactance
        arc = (impedance - 1) / (impedance + 1)
        for part, sign in ((arc, "+"), (arc.conj(), "−")):
            ax.plot(part.real, part.imag, **style)
            rim = part[0] * 1.07
            ax.text(
                rim.real, rim.imag, f"{sign}{reactance:g}j", fontsize="x-small", ha="center", va="center"
            )
    ax.set_aspect("equal")
    ax.set_xlim(-1.15, 1.15)
    ax.set_ylim(-1.15, 1.15)
    ax.set_axis_off()


def heatmap(
    matrices: Matrices, type: int, frequency: Optional[float] = None, ax: Optional[Any] = None
) -> Any:
    """One matrix, a cell for each entry; values of both signs around a neutral colour.

    Args:
        matrices: Circuit matrices.
        type: The matrix type.
        frequency: Its frequency; without it the middle one.
        ax: The axes to draw on; without it the current ones.
    """
    ax = axes_or_current(ax)
    frequencies = matrices.frequencies
    if frequency is None:
        frequency = float(frequencies[len(frequencies) // 2])
    values = np.asarray(matrices.matrix(type, frequency))
    label = matrices.labels.get("matrixTypes", type)
    name = label.name if label else f"type {type}"
    step = -(-len(values) // MOST_ROWS)
    if step > 1:
        note(ax, f"Each cell is the largest magnitude of {step} x {step} entries.")
        values = _largest_of_blocks(values, step)
    finite = np.abs(values[np.isfinite(values)])
    largest = float(finite.max(initial=0)) or 1.0
    signed = values.min(initial=0) < 0
    extent = (-0.5, len(values) * step - 0.5, len(values) * step - 0.5, -0.5)
    norm, colours = _norm(finite, largest, bool(signed)), DIVERGING if signed else SEQUENTIAL
    image = ax.imshow(values, cmap=colours, norm=norm, interpolation="nearest", extent=extent)
    colour_bar(ax, image, with_unit(name, label.unit if label else ""))
    ax.set_xlabel("column")
    ax.set_ylabel("row")
    _whole_ticks(ax)
    ax.set_title(f"{name}, {quantity(frequency, 'Hz')}")
    return literally(ax)


def _norm(magnitudes: Floats, largest: float, signed: bool) -> Any:
    """Linear, or logarithmic where most of the entries would look like zero."""
    from matplotlib import colors

    nonzero = magnitudes[magnitudes > 0]
    if signed:
        if len(nonzero) and span_is_wide(nonzero):
            threshold = max(float(np.median(nonzero)), largest * 1e-6)
            return colors.SymLogNorm(threshold, vmin=-largest, vmax=largest)
        return colors.Normalize(-largest, largest)
    if len(nonzero) == len(magnitudes) and span_is_wide(nonzero):
        return colors.LogNorm(float(nonzero.min()), largest)
    return colors.Normalize(0, largest)


def _largest_of_blocks(values: Floats, step: int) -> Floats:
    """Of blocks of so many rows and columns, the value that is largest in magnitude."""
    rows = -(-len(values) // step)
    padded = np.zeros((rows * step, rows * step))
    padded[: len(values), : len(values)] = values
    blocks = padded.reshape(rows, step, rows, step).swapaxes(1, 2).reshape(rows, rows, -1)
    place = np.abs(blocks).argmax(axis=2)
    return np.take_along_axis(blocks, place[:, :, np.newaxis], axis=2)[:, :, 0]


def _whole_ticks(ax: Any) -> None:
    from matplotlib import ticker

    for axis in (ax.xaxis, ax.yaxis):
        axis.set_major_locator(ticker.MaxNLocator(8, integer=True))


def _s_over_frequency(
    source: Any, value: Any, which: Optional[Pairs], ax: Optional[Any], kind: Any
) -> Any:
    ax = axes_or_current(ax)
    frequencies, s = s_parameters(source, **kind)
    x = frequency_axis(ax, frequencies)
    drawn = every(ax, len(x), "frequencies")
    chosen = list(which) if which is not None else strongest(s, MOST_LINES)
    if which is None:
        _note_left_out(ax, s, len(chosen))
    for number, (row, column) in enumerate(chosen):
        draw_line(
            ax, x[drawn], value(s[drawn, row, column]), number, s_name(row, column, s.shape[1])
        )
    return finish(ax, len(chosen))


def _broken_at_jumps(x: Any, degrees: Any) -> Tuple[Any, Any]:
    """The line without the strokes from 180 to -180 degrees."""
    jumps = np.flatnonzero(np.abs(np.diff(degrees)) > 180) + 1
    return np.insert(x, jumps, np.nan), np.insert(degrees, jumps, np.nan)


def strongest(s: Complexes, most: int) -> List[Tuple[int, int]]:
    """(row, column) of so many parameters that are largest anywhere, in the order of the matrix; of a
    symmetric matrix only those of its lower half."""
    peaks = np.nan_to_num(np.abs(s)).max(axis=0, initial=0)
    if _is_symmetric(s):
        peaks = np.tril(peaks)
    count = min(most, max(np.count_nonzero(peaks > NEGLIGIBLE), 1))
    flat = np.sort(np.argsort(-peaks, axis=None, kind="stable")[:count])
    return [(int(place // len(peaks)), int(place % len(peaks))) for place in flat]


def s_name(row: int, column: int, size: int) -> str:
    """The name of a parameter, whose ports count from 1 as everywhere."""
    comma = "," if size > 9 else ""
    return f"S{row + 1}{comma}{column + 1}"


def _is_symmetric(s: Complexes) -> bool:
    """Whether the transmissions are the same in both directions, as those of reciprocal networks."""
    return s.shape[1] > 1 and np.allclose(s, s.swapaxes(1, 2), rtol=1e-6, atol=1e-12, equal_nan=True)


def _note_left_out(ax: Any, s: Complexes, drawn: int) -> None:
    count = int(np.count_nonzero(np.nan_to_num(np.abs(s)).max(axis=0, initial=0) > NEGLIGIBLE))
    if drawn < count:
        both = " S is symmetric: its lower half is drawn." if _is_symmetric(s) else ""
        note(ax, f"{drawn} of {count:,} parameters that are not zero.{both}")
