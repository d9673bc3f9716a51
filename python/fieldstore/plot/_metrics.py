# SPDX-License-Identifier: Apache-2.0
"""Metrics over passes and over entities."""

from __future__ import annotations

from typing import Any, Optional, Tuple

import numpy as np

from .._base import Floats
from .._metrics import VALUE_TYPES_PER_ENTITY, Metrics
from ._axes import axes_or_current, binned, draw_line, every, finish, note, span_is_wide, with_unit

# With more entities than this, their range is drawn instead of a line for each.
MOST_ENTITIES = 12
MOST_MARKS = 2000
BINS = 400
# So many ids tell soon whether there are more than that.
_FEW = 10_000


def entity_name(metrics: Metrics, entity: int) -> str:
    """The name of an entity type in the labels, or its number."""
    return metrics.labels.name("entityTypes", entity, default=f"entity type {entity}")


def value_name(metrics: Metrics, entity: int, value: int) -> Tuple[str, str]:
    """The name of a value type of an entity type, and its unit."""
    label = metrics.labels.get("valueTypes", entity * VALUE_TYPES_PER_ENTITY + value)
    return (label.name, label.unit) if label else (f"value type {value}", "")


def component_name(metrics: Metrics, entity: int, value: int, component: int, count: int) -> str:
    """The name of one component of the vectors; "" where they have but one, without a name."""
    names = metrics.labels.components("valueTypes", entity * VALUE_TYPES_PER_ENTITY + value)
    if component < len(names):
        return names[component]
    return f"component {component}" if count > 1 else ""


def axis_label(metrics: Metrics, entity: int, value: int, component: int, count: int) -> str:
    """What an axis says of such values."""
    name, unit = value_name(metrics, entity, value)
    part = component_name(metrics, entity, value, component, count)
    return with_unit(f"{name}: {part}" if part else name, unit)


def convergence(
    metrics: Metrics, entity: int, value: int, component: int = 0, *, ax: Optional[Any] = None
) -> Any:
    """Metrics over their index, such as the pass: a line for each entity or, of more than twelve, the
    smallest, the mean and the largest value.

    Args:
        metrics: Solution metrics.
        entity, value: The types; KeyError when there are no such values.
        component: Which number of the vectors; IndexError when they have fewer.
        ax: The axes to draw on; without it the current ones.

    Positive values that spread over more than two decades get a logarithmic axis.
    """
    ax = axes_or_current(ax)
    found = metrics.values(entity, value)
    values = np.asarray(found.values[:, component])
    indices, rows = np.unique(found.indices, return_inverse=True)
    many = len(np.unique(found.ids[:_FEW])) > MOST_ENTITIES or len(np.unique(found.ids)) > MOST_ENTITIES
    name = entity_name(metrics, entity)
    drawn = every(ax, len(indices), "passes")
    entities, columns = np.unique(found.ids[:0] if many else found.ids, return_inverse=True)
    if not many:
        grid = np.full((len(indices), len(entities)), np.nan)
        grid[rows, columns] = values
        for number, id in enumerate(entities):
            draw_line(ax, indices[drawn], grid[drawn, number], number, f"{name} {id}", marker="o", ms=3)
        lines = len(entities)
    else:
        for number, (label, extreme) in enumerate(_spread(values, rows, len(indices))):
            draw_line(ax, indices[drawn], extreme[drawn], number, label, marker="o", ms=3)
        ax.set_title(f"range over the entities “{name}”")
        lines = 3
    if span_is_wide(values):
        ax.set_yscale("log")
    ax.set_xlabel("index (pass)")
    ax.xaxis.set_major_locator(_whole_numbers())
    ax.set_ylabel(axis_label(metrics, entity, value, component, found.values.shape[1]))
    if lines == 1:
        ax.set_title(f"{name} {entities[0]}")
    return finish(ax, lines)


def metric(
    metrics: Metrics,
    entity: int,
    value: int,
    component: int = 0,
    *,
    index: Optional[int] = None,
    ax: Optional[Any] = None,
) -> Any:
    """Metrics over the ids of their entities, of one index; without ``index`` of the last one. Other
    arguments as of :func:`convergence`. Of more than 2,000 entities the range and the mean of runs of
    entities are drawn."""
    ax = axes_or_current(ax)
    found = metrics.values(entity, value)
    if index is None:
        index = int(found.indices.max(initial=0))
    own = found.indices == index
    values, ids = np.asarray(found.values[own, component]), np.asarray(found.ids[own])
    if len(values) > MOST_MARKS:
        low, mean, high = binned(values, BINS)
        x = ids[np.linspace(0, len(ids), BINS, endpoint=False).astype(np.int64)]
        ax.fill_between(x, low, high, alpha=0.3, linewidth=0, step="post", label="range")
        draw_line(ax, x, mean, 1, "mean", drawstyle="steps-post")
        ax.legend(fontsize="x-small")
        note(ax, f"Range and mean of {BINS} runs of {len(values):,} entities.")
    else:
        draw_line(ax, ids, values, 0, "", linestyle="", marker="o", ms=3)
    if span_is_wide(values):
        ax.set_yscale("log")
    ax.set_xlabel(f"{entity_name(metrics, entity)} (id)")
    ax.set_ylabel(axis_label(metrics, entity, value, component, found.values.shape[1]))
    ax.set_title(f"index {index}")
    ax.xaxis.set_major_locator(_whole_numbers())
    return finish(ax)


def _spread(values: Floats, rows: Any, count: int) -> Any:
    """Smallest, mean and largest value of each row, with their names."""
    order = np.argsort(rows, kind="stable")
    begins = np.searchsorted(rows[order], np.arange(count))
    sorted_values = values[order]
    sizes = np.diff(np.append(begins, len(values)))
    return (
        ("largest", np.maximum.reduceat(sorted_values, begins)),
        ("mean", np.add.reduceat(sorted_values, begins) / sizes),
        ("smallest", np.minimum.reduceat(sorted_values, begins)),
    )


def _whole_numbers() -> Any:
    from matplotlib import ticker

    return ticker.MaxNLocator(8, integer=True)
