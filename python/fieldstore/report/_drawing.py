# SPDX-License-Identifier: Apache-2.0
"""Pictures as SVG that takes the colours of the page, and their descriptions."""

from __future__ import annotations

import io
import re
from typing import Any, Callable

import numpy as np

from .._numbers import number
from ..plot._axes import COLOURS, NOTE, notes
from ._content import Drawing, Section

SIZE = (4.6, 3.3)
# Colours that the style sheet has by name, so that they suit a dark page as well.
_NAMED = {"#010203": "var(--ink)", **{c: f"var(--line-{n})" for n, c in enumerate(COLOURS, 1)}}
_STYLE = {
    "font.family": "sans-serif",
    "font.size": 10,
    "axes.titlesize": "medium",
    "axes.linewidth": 0.6,
    "axes.edgecolor": "#010203",
    "axes.labelcolor": "#010203",
    "axes.facecolor": "none",
    "text.color": "#010203",
    "xtick.color": "#010203",
    "ytick.color": "#010203",
    "xtick.labelsize": "small",
    "ytick.labelsize": "small",
    "figure.facecolor": "none",
    "legend.facecolor": "none",
    "legend.edgecolor": "none",
    "svg.fonttype": "none",
    "svg.hashsalt": "fieldstore",
}
_MOST_DESCRIBED = 6


class Artist:
    """Draws the pictures of a report, each with names of its own for what it refers to."""

    def __init__(self) -> None:
        self._count = 0

    def draw(self, section: Section, title: str, function: Callable[..., Any], *data: Any, **keywords: Any) -> None:
        """Adds what a function of :mod:`fieldstore.plot` draws; where the data do not allow that, a
        remark that says why."""
        from matplotlib import rc_context
        from matplotlib.figure import Figure

        with rc_context(_STYLE):
            figure = Figure(figsize=SIZE, layout="constrained")
            ax = figure.add_subplot()
            try:
                function(*data, ax=ax, **keywords)
            except (ValueError, KeyError, IndexError) as error:
                reason = str(error.args[0]) if error.args else type(error).__name__
                section.remarks.append(f"{title}: not drawn. {reason}")
                return
            said = notes(ax)
            for text in ax.texts:
                if text.get_gid() == NOTE:
                    text.remove()
            section.drawings.append(Drawing(title, self._svg(figure), describe(title, ax), said))

    def _svg(self, figure: Any) -> str:
        out = io.StringIO()
        # Pictures in the picture, such as large meshes, have twice the points of a common screen.
        figure.savefig(out, format="svg", dpi=144, metadata={"Date": None})
        self._count += 1
        return adapted(out.getvalue(), f"p{self._count}-")


def adapted(svg: str, prefix: str) -> str:
    """The SVG element alone, its colours from the page, and its names unlike those of others."""
    svg = svg[svg.index("<svg") :]
    svg = re.sub(r"<metadata>.*?</metadata>", "", svg, flags=re.DOTALL)
    svg = re.sub(r"<!--.*?-->\n?", "", svg, flags=re.DOTALL)
    used = set(re.findall(r'(?:url\(|href=")#([^")]+)', svg))
    svg = re.sub(
        r' id="([^"]*)"', lambda m: f' id="{prefix}{m[1]}"' if m[1] in used else "", svg
    )
    svg = re.sub(r'(url\(|href=")#', rf"\1#{prefix}", svg)
    svg = re.sub(r"#[0-9a-f]{6}\b", lambda match: _NAMED.get(match[0], match[0]), svg)
    svg = re.sub(r"font: ([^;\"']*?)(\d[\d.]*px)[^;\"]*", r"font: \1\2 var(--sans)", svg)
    width, height = re.search(r'viewBox="0 0 ([\d.]+) ([\d.]+)"', svg).groups()  # type: ignore[union-attr]
    head = f'<svg viewBox="0 0 {width} {height}" xmlns:xlink="http://www.w3.org/1999/xlink"'
    return re.sub(r"<svg[^>]*", head, svg, count=1)


def describe(title: str, ax: Any) -> str:
    """A text with what the axes show, from the data drawn."""
    sentences = [title]
    lines = [
        line
        for line in ax.lines
        if line.get_gid() != "smith-grid" and np.isfinite(_values(line.get_ydata())).any()
    ]
    x, y = ax.get_xlabel(), ax.get_ylabel()
    if x and y:
        sentences.append(f"{y} over {x}")
    if ax.get_title() and ax.get_title() not in title:
        sentences.append(ax.get_title())
    sentences += [_line_sentence(line) for line in lines[:_MOST_DESCRIBED]]
    if len(lines) > _MOST_DESCRIBED:
        sentences.append(f"and {len(lines) - _MOST_DESCRIBED} more lines")
    for drawn in (*ax.images, *ax.collections):
        shown = drawn.get_array()
        if shown is not None and np.isfinite(_values(shown)).any():
            values = _values(shown)
            values = values[np.isfinite(values)]
            sentences.append(
                f"colours for values from {number(float(values.min()), 3)} to "
                f"{number(float(values.max()), 3)}"
            )
            break
    return ". ".join(part.rstrip(".") for part in sentences) + "."


def _line_sentence(line: Any) -> str:
    values = _values(line.get_ydata())
    values = values[np.isfinite(values)]
    label = line.get_label()
    name = "" if label.startswith("_") or not label else label + ": "
    if len(values) == 1:
        return f"{name}{number(float(values[0]), 3)}"
    ends = f"{number(float(values[0]), 3)} to {number(float(values[-1]), 3)}"
    low, high = number(float(values.min()), 3), number(float(values.max()), 3)
    return f"{name}{len(values):,} points from {ends}, between {low} and {high}"


def _values(array: Any) -> Any:
    masked: Any = np.ma
    return masked.filled(masked.asarray(array, dtype=float), np.nan).ravel()


