# SPDX-License-Identifier: Apache-2.0
"""What sections are made of."""

from __future__ import annotations

import dataclasses
from typing import Any, List, NamedTuple, Optional, Sequence, Tuple

from .._numbers import number
from ..plot._axes import ordinal

# Rows of a table that people still look through.
MOST_ROWS = 25


class Cells(NamedTuple):
    """A table: what it shows, the names of its columns, its rows as texts, and what it leaves out."""

    caption: str
    header: Tuple[str, ...]
    rows: Sequence[Tuple[str, ...]]
    note: str = ""


class Drawing(NamedTuple):
    """A picture as SVG, with a text for those who do not see it, and what it leaves out."""

    title: str
    svg: str
    description: str
    notes: List[str]


@dataclasses.dataclass
class Section:
    """What the report says of one file."""

    anchor: str
    title: str
    file: str
    facts: List[Tuple[str, str]] = dataclasses.field(default_factory=list)
    drawings: List[Drawing] = dataclasses.field(default_factory=list)
    tables: List[Cells] = dataclasses.field(default_factory=list)
    remarks: List[str] = dataclasses.field(default_factory=list)
    damage: Optional[str] = None


def numbers(values: Sequence[Any]) -> Tuple[str, ...]:
    return tuple(number(float(value)) for value in values)


def spread(count: int, most: int = MOST_ROWS) -> List[int]:
    """Places of rows at equal distances, and that of the last."""
    step = max(-(-count // most), 1)
    places = list(range(0, count, step))
    return places if not places or places[-1] == count - 1 else [*places, count - 1]


def left_out(count: int, noun: str) -> str:
    """What a table says that has but the rows of :func:`spread`; "" when it has all."""
    step = -(-count // MOST_ROWS)
    return f"Every {ordinal(step)} of {count:,} {noun}, and the last." if step > 1 else ""
