# SPDX-License-Identifier: Apache-2.0
"""A binary tree level by level."""

from __future__ import annotations

from typing import Any, List, Optional

import numpy as np

from .._base import Floats
from .._tree import BinaryTree
from ._axes import SEQUENTIAL, axes_or_current, colour_bar, note

# Nodes of one level that can be told apart.
MOST_CELLS = 512


def tree(tree: BinaryTree, *, counter: Optional[int] = None, ax: Optional[Any] = None) -> Any:
    """The tree with its root on top: a cell for each node, as wide as what is below it, coloured by the
    number of its items. Nodes without items are blank.

    Args:
        tree: The tree.
        counter: 1 to 5: colours the leaves by that counter instead, and leaves out the nodes.
        ax: The axes to draw on; without it the current ones.

    Levels of more than 512 nodes are drawn as the sums of neighbours.
    """
    ax = axes_or_current(ax)
    if counter is not None:
        if counter not in (1, 2, 3, 4, 5):
            raise ValueError(f"counter is {counter}; the counters are 1 to 5")
        levels, first = [tree.leaf_counts[counter - 1].astype(float)], tree.level_count - 1
        label = f"counter {counter} of the leaves"
    else:
        levels, first, label = _items_by_level(tree), 0, "items of a node"
    from matplotlib import colors

    merged = [_summed(level) for level in levels]
    largest = max((float(np.nanmax(level)) for level in merged if np.isfinite(level).any()), default=1)
    norm = colors.Normalize(0, max(largest, 1))
    image = None
    for depth, level in enumerate(merged):
        if len(level) == 0:
            continue
        edges = np.linspace(0, 1, len(level) + 1)
        bottom = first + depth
        image = ax.pcolormesh(
            edges,
            [bottom - 0.5, bottom + 0.5],
            level[np.newaxis],  # NaN is left blank
            norm=norm,
            cmap=SEQUENTIAL,
            edgecolor="#808080" if len(level) <= 64 else "none",
            linewidth=0.4,
            rasterized=len(level) > 64,
        )
        if len(level) != len(levels[depth]):
            per_cell = -(-len(levels[depth]) // len(level))
            note(ax, f"Level {bottom}: each cell is the sum over {per_cell:,} nodes.")
    if image is not None:
        colour_bar(ax, image, label)
    ax.set_yticks(range(first, first + len(levels)))
    ax.set_ylim(first + len(levels) - 0.5, first - 0.5)
    ax.set_xlim(0, 1)
    ax.set_xticks([])
    ax.set_ylabel("level")
    ax.set_xlabel("nodes of a level, side by side")
    ax.set_title(f"{tree.level_count} levels, {tree.leaf_count:,} leaves")
    return ax


def _items_by_level(tree: BinaryTree) -> List[Floats]:
    """The number of items of each node by level, NaN for a node that is not there."""
    nodes = tree.nodes
    own = np.flatnonzero(nodes.ids >= 0)
    ids, lengths = nodes.ids[own].astype(np.int64), nodes.lengths[own]
    deepest = int(ids.max(initial=0)) + 1
    # A level has twice the nodes of the one above; a file's numbers do not make us draw more than
    # that.
    count = min(max(tree.level_count, 1), deepest.bit_length(), 24)
    levels = []
    for depth in range(count):
        begin, end = (1 << depth) - 1, (2 << depth) - 1
        here = (ids >= begin) & (ids < end)
        level = np.full(end - begin, np.nan)
        level[ids[here] - begin] = lengths[here]
        levels.append(level)
    return levels


def _summed(level: Floats) -> Floats:
    """Sums of neighbours, so that no more cells are left than can be told apart."""
    if len(level) <= MOST_CELLS:
        return level
    begins = np.linspace(0, len(level), MOST_CELLS, endpoint=False).astype(np.int64)
    known = np.add.reduceat(np.isfinite(level).astype(int), begins)
    return np.where(known > 0, np.add.reduceat(np.nan_to_num(level), begins), np.nan)
