# SPDX-License-Identifier: Apache-2.0
"""Degrees of freedom, and pairs of ids."""

from __future__ import annotations

from typing import Any, Optional

import numpy as np

from .._assembly import Assembly
from .._dofs import DofMap
from .._lists import KINDS, DofList
from .._mesh import MeshTree
from .._ports import PortCircuitDofs
from ._axes import COLOURS, SEQUENTIAL, axes_or_current, colour_bar, every, finish, note

# More entries are drawn as counts in the cells of a grid.
MOST_MARKS = 4000
CELLS = 300
MOST_OWNERS = 60


def sparsity(dofs: DofMap, ax: Optional[Any] = None) -> Any:
    """Where the entries of a DOF map are; of more than 4,000, how many there are in each cell of a
    grid.

    >>> dofs = fieldstore.open(results / "evdofmap.dat")
    >>> fieldstore.plot.sparsity(dofs).get_xlabel()
    'column (DOF)'
    """
    rows = np.repeat(np.arange(len(dofs.offsets) - 1), np.diff(dofs.offsets))
    ax = _marks_or_counts(axes_or_current(ax), dofs.columns, rows, "entries")
    ax.set_xlabel("column (DOF)")
    ax.set_ylabel("row (DOF)")
    ax.set_title(f"{len(dofs.offsets) - 1:,} rows, {len(rows):,} entries")
    ax.invert_yaxis()
    return ax


def pairs(mesh: MeshTree, ax: Optional[Any] = None) -> Any:
    """The pairs of a mesh tree, as :func:`sparsity`."""
    ax = _marks_or_counts(axes_or_current(ax), mesh.pairs[:, 1], mesh.pairs[:, 0], "pairs")
    ax.set_xlabel("second id")
    ax.set_ylabel("first id")
    ax.set_title(f"{len(mesh.pairs):,} pairs")
    ax.invert_yaxis()
    return ax


def records(lists: DofList, ax: Optional[Any] = None) -> Any:
    """The number of records of each kind for each partition; of more than 60 partitions, for runs of
    them. A list in blocks is read whole."""
    ax = axes_or_current(ax)
    owners = {kind: lists.records(kind)[:, :1].ravel() for kind in KINDS}
    known = np.unique(np.concatenate(list(owners.values())))
    per_bar = max(-(-len(known) // MOST_OWNERS), 1)
    bars = -(-len(known) // per_bar)
    below = np.zeros(bars)
    for number, kind in enumerate(KINDS):
        place = np.searchsorted(known, owners[kind]) // per_bar
        counts = np.bincount(place, minlength=bars).astype(float)
        ax.bar(range(bars), counts, bottom=below, color=COLOURS[number], label=f"kind {kind}")
        below += counts
    if per_bar > 1:
        note(ax, f"Each bar is {per_bar:,} of {len(known):,} partitions.")
    shown = np.unique(np.linspace(0, max(bars - 1, 0), min(bars, 10)).astype(int))
    ax.set_xticks(shown, [str(known[place * per_bar]) for place in shown] if bars else [])
    ax.set_xlabel("partition")
    ax.set_ylabel("records")
    return finish(ax, len(KINDS))


def assembly(elements: Assembly, ax: Optional[Any] = None) -> Any:
    """How many elements have how many nodes in their three lists."""
    ax = axes_or_current(ax)
    most = 0
    for number in (1, 2, 3):
        lengths = elements.nodes(number).lengths
        most = max(most, int(lengths.max(initial=0)))
        counts = np.bincount(lengths) if len(lengths) else np.zeros(1)
        ax.bar(
            np.arange(len(counts)) + 0.27 * (number - 2),
            counts,
            width=0.25,
            color=COLOURS[number - 1],
            label=f"list {number}",
        )
    ax.set_xlabel("nodes in a list of an element")
    ax.set_ylabel("elements")
    _whole(ax.xaxis)
    return finish(ax, 3)


def ports(dofs: PortCircuitDofs, ax: Optional[Any] = None) -> Any:
    """The degree of freedom at each position of the table: ports, skipped positions, circuits."""
    ax = axes_or_current(ax)
    positions, first = dofs.positions, dofs.port_count
    groups = (
        ("ports", positions < first),
        ("skipped", (positions >= first) & (positions < first + dofs.offset_count)),
        ("circuits", positions >= first + dofs.offset_count),
    )
    drawn = every(ax, len(positions), "positions")
    for number, (name, own) in enumerate(groups):
        ax.plot(
            positions[drawn][own[drawn]],
            dofs.dofs[drawn][own[drawn]],
            "os^"[number],
            markersize=4,
            color=COLOURS[number],
            label=name,
        )
    ax.set_xlabel("position")
    ax.set_ylabel("degree of freedom")
    _whole(ax.xaxis)
    _whole(ax.yaxis)
    return finish(ax, len(groups))


def _marks_or_counts(ax: Any, x: Any, y: Any, noun: str) -> Any:
    if len(x) <= MOST_MARKS:
        ax.plot(x, y, "s", markersize=2 if len(x) > 500 else 3.5, color=COLOURS[0])
        _whole(ax.xaxis)
        _whole(ax.yaxis)
        return ax
    from matplotlib import colors

    low_x, high_x, low_y, high_y = int(x.min()), int(x.max()) + 1, int(y.min()), int(y.max()) + 1
    shape = (min(CELLS, high_y - low_y), min(CELLS, high_x - low_x))
    row = (y.astype(np.int64) - low_y) * shape[0] // (high_y - low_y)
    column = (x.astype(np.int64) - low_x) * shape[1] // (high_x - low_x)
    counts = np.bincount(row * shape[1] + column, minlength=shape[0] * shape[1]).reshape(shape)
    image = ax.imshow(
        np.where(counts > 0, counts, np.nan),  # NaN is left blank
        origin="lower",
        extent=(low_x - 0.5, high_x - 0.5, low_y - 0.5, high_y - 0.5),
        norm=colors.LogNorm(1, max(int(counts.max()), 2)),
        cmap=SEQUENTIAL,
        interpolation="nearest",
        aspect="auto",
    )
    colour_bar(ax, image, f"{noun} per cell")
    note(ax, f"{len(x):,} {noun}, counted in {shape[1]} x {shape[0]} cells.")
    return ax


def _whole(axis: Any) -> None:
    from matplotlib import ticker

    axis.set_major_locator(ticker.MaxNLocator(6, integer=True))
