# SPDX-License-Identifier: Apache-2.0
"""What all pictures have in common: axes, colours, units, and how too much is thinned."""

from __future__ import annotations

from typing import Any, Dict, List, Optional, Tuple

import numpy as np
import numpy.typing as npt

from .._numbers import prefix_of
from .._optional import need

# As Okabe and Ito chose them, so that people with colour blindness can tell them apart; their yellow
# is too pale for a line, their black is that of the text.
COLOURS = ("#0072b2", "#d55e00", "#009e73", "#cc79a7", "#e69f00", "#56b4e9")
DASHES: Tuple[Any, ...] = ("-", (0, (5, 2)), (0, (1, 1.5)), (0, (6, 2, 1, 2)))
SEQUENTIAL = "cividis"
DIVERGING = "RdBu_r"

# More than this many points on a line cannot be told apart.
MOST_POINTS = 1000
NOTE = "fieldstore-note"


def axes_or_current(ax: Optional[Any]) -> Any:
    """The axes to draw on."""
    if ax is not None:
        need("matplotlib", "fieldstore.plot")
        return ax
    return need("matplotlib.pyplot", "fieldstore.plot").gca()


def line_style(number: int) -> Dict[str, Any]:
    """Colour and dashes of a line by its number: no two of the first 24 are the same, and neighbours
    differ in dashes as well, so that one shows through another."""
    dashes = DASHES[(number + number // 12) % len(DASHES)]
    return {"color": COLOURS[number % len(COLOURS)], "linestyle": dashes}


def note(ax: Any, text: str) -> None:
    """Says below the axes what the picture leaves out."""
    below = sum(1 for _ in notes(ax))
    ax.annotate(
        text,
        xy=(0, 0),
        xycoords="axes fraction",
        xytext=(0, -40 - 11 * below),
        textcoords="offset points",
        fontsize="x-small",
        style="italic",
        va="top",
        gid=NOTE,
    )


def notes(ax: Any) -> List[str]:
    """What the axes say about what was left out or thinned; empty when all is drawn."""
    return [text.get_text() for text in ax.texts if text.get_gid() == NOTE]


def every(ax: Any, count: int, noun: str, most: int = MOST_POINTS) -> slice:
    """Which of so many points to draw; notes it when these are not all."""
    step = -(-count // most) if count > most else 1
    if step > 1:
        note(ax, f"Every {ordinal(step)} of {count:,} {noun} is drawn.")
    return slice(None, None, step)


def first(ax: Any, count: int, noun: str, most: int) -> int:
    """How many of so many things to draw, the first ones; notes it when these are not all."""
    if count > most:
        note(ax, f"The first {most} of {count:,} {noun} are drawn.")
    return min(count, most)


def ordinal(count: int) -> str:
    """
    >>> ordinal(2), ordinal(13), ordinal(21)
    ('2nd', '13th', '21st')
    """
    ending = {1: "st", 2: "nd", 3: "rd"}.get(count % 10, "th")
    return f"{count:,}{'th' if count % 100 in (11, 12, 13) else ending}"


def frequency_axis(ax: Any, frequencies: npt.NDArray[np.float64]) -> npt.NDArray[np.float64]:
    """Labels the axis of frequencies, which count as hertz, and gives their places on it."""
    largest = float(np.abs(frequencies).max(initial=0))
    scale, prefix = prefix_of(largest)
    ax.set_xlabel(f"frequency ({prefix}Hz)")
    return np.asarray(frequencies) / scale


def draw_line(ax: Any, x: Any, y: Any, number: int, label: str, **keywords: Any) -> None:
    """A line, with marks where points without neighbours would not show."""
    style = {**line_style(number), "linewidth": 1.4, "label": label}
    if len(x) < 3 or np.isfinite(np.asarray(y, dtype=float)).sum() < 3:
        style["marker"] = "o"
    ax.plot(x, y, **{**style, **keywords})


def finish(ax: Any, lines: Optional[int] = None) -> Any:
    """A grid, and a legend when there is more than one line, outside the axes when it is long;
    returns the axes."""
    ax.grid(True, linewidth=0.4, alpha=0.5)
    if lines is not None and 1 < lines <= 3:
        ax.legend(fontsize="x-small", framealpha=0.7)
    elif lines is not None and lines > 3:
        ax.legend(fontsize="x-small", loc="upper left", bbox_to_anchor=(1.0, 1.02), frameon=False)
    return literally(ax)


def literally(ax: Any) -> Any:
    """Takes names as they are, dollar signs too, which matplotlib would take for formulas; returns the
    axes."""
    legend = ax.get_legend()
    for text in (ax.title, ax.xaxis.label, ax.yaxis.label, *(legend.get_texts() if legend else ())):
        text.set_parse_math(False)
    return ax


def with_unit(name: str, unit: str) -> str:
    return f"{name} ({unit})" if unit else name


def span_is_wide(values: npt.NDArray[np.float64]) -> bool:
    """Whether values are positive and so far apart that only a logarithmic axis shows them all."""
    finite = values[np.isfinite(values)]
    return bool(len(finite) and finite.min() > 0 and finite.max() > 100 * finite.min())


def colour_bar(ax: Any, drawn: Any, label: str) -> None:
    """A colour bar beside the axes, as high as they are."""
    bar = ax.figure.colorbar(drawn, cax=ax.inset_axes((1.03, 0, 0.04, 1)))
    bar.set_label(label)
    bar.ax.yaxis.label.set_parse_math(False)
    bar.outline.set_linewidth(0.4)


def binned(
    values: npt.NDArray[np.float64], bins: int
) -> Tuple[npt.NDArray[np.float64], npt.NDArray[np.float64], npt.NDArray[np.float64]]:
    """Minimum, mean and maximum of runs of values, each run as long as the others or one longer."""
    begins = np.linspace(0, len(values), bins, endpoint=False).astype(np.int64)
    counts = np.diff(np.append(begins, len(values)))
    return (
        np.minimum.reduceat(values, begins),
        np.add.reduceat(values, begins) / counts,
        np.maximum.reduceat(values, begins),
    )
