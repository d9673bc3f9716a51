# SPDX-License-Identifier: Apache-2.0
"""The mesh with values on it."""

from __future__ import annotations

from typing import Any, NamedTuple, Optional, Tuple

import numpy as np
import numpy.typing as npt

from .._assembly import Assembly
from .._base import Floats, Longs
from .._metrics import Metrics
from .._numbers import quantity
from ._axes import COLOURS, DIVERGING, SEQUENTIAL, axes_or_current, colour_bar, literally, note
from ._metrics import axis_label, component_name, entity_name, value_name

# A mesh of more triangles is drawn as the means in the cells of a grid.
MOST_TRIANGLES = 100_000
CELLS = 300
# Arrows that can be told apart, along the longer side.
ARROWS = 22
# Lines of more triangles than this hide the values.
MOST_WITH_LINES = 3000


class Surface(NamedTuple):
    """Triangles in a plane. ``nodes`` is the id of each point, ``elements`` the place in the assembly
    of each triangle; ``axes`` names what the plane spans."""

    points: Floats
    triangles: Longs
    nodes: npt.NDArray[Any]
    elements: Longs
    axes: Tuple[str, str]


def surface(metrics: Metrics, assembly: Assembly) -> Surface:
    """The triangles of a mesh: nodes with their positions from the metrics, elements from the first
    node lists of the assembly. Elements of four nodes count as tetrahedra if the mesh fills space, of
    which the outer faces are taken, else as quadrilaterals; of more nodes, as many are taken as are
    corners (3 of 6, 4 of 10).

    Raises ValueError when there are no positions, or no elements of such counts.
    """
    ids, positions = metrics.nodes
    if len(ids) == 0:
        raise ValueError(f"{metrics.path} has no positions of nodes")
    order = np.argsort(ids)
    extent = np.ptp(positions, axis=0)
    across = np.sort(np.argsort(-extent, kind="stable")[:2])
    lists = assembly.nodes(1)
    corners, elements = _corners(lists.elements, lists.offsets, bool(extent.min() > 0))
    place = np.searchsorted(ids[order], corners.view(np.uint32))
    place = np.minimum(place, len(ids) - 1)
    known = (ids[order][place] == corners.view(np.uint32)).all(axis=1)
    if not known.any():
        raise ValueError(
            f"no element of {assembly.path} is a triangle, a quadrilateral or a tetrahedron whose "
            f"nodes have positions in {metrics.path}"
        )
    name = "xyz"
    return Surface(
        np.ascontiguousarray(positions[:, across]),
        order[place[known]],
        ids,
        elements[known],
        (name[across[0]], name[across[1]]),
    )


def mesh(
    metrics: Metrics,
    assembly: Assembly,
    values: Optional[Tuple[int, int]] = None,
    component: int = 0,
    *,
    on: Optional[str] = None,
    index: Optional[int] = None,
    ax: Optional[Any] = None,
) -> Any:
    """The mesh, coloured by values of its elements or nodes.

    Args:
        metrics: The metrics with the positions of the nodes, and the values.
        assembly: The elements with their nodes.
        values: (entity type, value type); without it only the mesh.
        component: Which number of the vectors.
        on: ``"elements"`` or ``"nodes"``: what those entities are. Without it their label decides,
            which has to be ``element`` or ``node``.
        index: The index of the values, such as the pass; without it the last one.
        ax: The axes to draw on; without it the current ones.

    Raises ValueError when there is no mesh (:func:`surface`), or nothing says what the entities are;
    KeyError when there are no such values.
    """
    ax = axes_or_current(ax)
    found = surface(metrics, assembly)
    _frame(ax, found)
    if values is None:
        _draw_lines(ax, found, assembly)
        return ax
    on = on or on_what(metrics, values[0])
    known = metrics.values(*values)
    index = int(known.indices.max(initial=0)) if index is None else index
    own = known.indices == index
    ids = found.nodes if on == "nodes" else assembly.ids
    given = _by_id(ids, known.ids[own], np.asarray(known.values[own, component]))
    label = axis_label(metrics, *values, component, known.values.shape[1])
    per_triangle = given[found.elements] if on == "elements" else None
    drawn = _draw_values(ax, found, given, per_triangle)
    colour_bar(ax, drawn, label)
    ax.set_title(f"{value_name(metrics, *values)[0]}, index {index}")
    values_of = given[found.elements] if on == "elements" else given[found.triangles].sum(axis=1)
    missing = int(np.isnan(values_of).sum())
    if missing:
        note(ax, f"{missing:,} of {len(found.triangles):,} triangles have no value.")
    return literally(ax)


def field(
    metrics: Metrics,
    assembly: Assembly,
    values: Tuple[int, int],
    component: int = 0,
    *,
    index: Optional[int] = None,
    ax: Optional[Any] = None,
) -> Any:
    """The field of a mode at the nodes. Vectors (:func:`are_vectors`) are drawn as their magnitude in
    colours, and arrows; of other values the component, as by :func:`mesh`, around a neutral colour.
    Arguments as of :func:`mesh`."""
    ax = axes_or_current(ax)
    known = metrics.values(*values)
    if not are_vectors(metrics, values, known.values.shape[1]):
        return mesh(metrics, assembly, values, component, on="nodes", index=index, ax=ax)
    found = surface(metrics, assembly)
    _frame(ax, found)
    index = int(known.indices.max(initial=0)) if index is None else index
    own = known.indices == index
    in_plane = ["xyz".index(name) for name in found.axes]
    width = known.values.shape[1]
    vectors = np.stack(
        [
            _by_id(found.nodes, known.ids[own], np.asarray(known.values[own, part]))
            if part < width
            else np.zeros(len(found.nodes))
            for part in range(min(max(width, max(in_plane) + 1), 3))
        ],
        axis=1,
    )
    magnitude = np.sqrt((vectors**2).sum(axis=1))
    drawn = _draw_values(ax, found, magnitude, None)
    name, unit = value_name(metrics, *values)
    colour_bar(ax, drawn, f"|{name}| ({unit})" if unit else f"|{name}|")
    _draw_arrows(ax, found, vectors[:, in_plane])
    ax.set_title(f"{name}, index {index}")
    return literally(ax)


def are_vectors(metrics: Metrics, values: Tuple[int, int], width: int) -> bool:
    """Whether values are vectors in space: of two or three components, which labels, if there are any,
    name after directions, as x or E_x. Otherwise each component is a value of its own, such as that
    of one mode."""
    names = [component_name(metrics, *values, part, 1) for part in range(width)]
    return width in (2, 3) and all(not name or name[-1].lower() in "xyz" for name in names)


def on_what(metrics: Metrics, entity: int) -> str:
    """Whether the labels call an entity type nodes or elements. Raises ValueError when neither."""
    name = entity_name(metrics, entity).lower()
    if name in ("node", "element"):
        return name + "s"
    raise ValueError(
        f"nothing says whether entity type {entity} of {metrics.path} is nodes or elements; say "
        'on="nodes" or on="elements", or name it in labels.json'
    )


def _corners(nodes: npt.NDArray[np.int32], offsets: Longs, fills_space: bool) -> Tuple[Any, Longs]:
    """The triangles of elements [triangle, 3], and the element of each."""
    lengths = np.diff(offsets)
    triangles, elements = [], []
    for count in np.unique(lengths).tolist():
        own = np.flatnonzero(lengths == count)
        corners = 3 if count in (3, 6) else 4 if count in (4, 8, 9, 10) else 0
        if corners == 0:
            continue
        lists = nodes[offsets[own, np.newaxis] + np.arange(corners)]
        faces = [(0, 1, 2)]
        if corners == 4:
            solid = fills_space and count in (4, 10)
            faces = [(0, 1, 2), (0, 1, 3), (0, 2, 3), (1, 2, 3)] if solid else [(0, 1, 2), (0, 2, 3)]
        made = np.concatenate([lists[:, face] for face in faces])
        of = np.tile(own, len(faces))
        if len(faces) == 4:
            _, place, times = np.unique(
                np.sort(made, axis=1), axis=0, return_index=True, return_counts=True
            )
            made, of = made[place[times == 1]], of[place[times == 1]]
        triangles.append(made)
        elements.append(of)
    if not triangles:
        return np.empty((0, 3), dtype=np.int32), np.empty(0, dtype=np.int64)
    return np.ascontiguousarray(np.concatenate(triangles)), np.concatenate(elements)


def _by_id(ids: Any, known: Any, values: Floats) -> Floats:
    """The values in the order of ids, NaN where there is none."""
    result = np.full(len(ids), np.nan)
    if len(known) == 0:
        return result
    order = np.argsort(known)
    place = np.minimum(np.searchsorted(known[order], ids), len(known) - 1)
    same = known[order][place] == ids
    result[same] = values[order][place[same]]
    return result


def _frame(ax: Any, found: Surface) -> None:
    from matplotlib import ticker

    extent = float(np.ptp(found.points, axis=0).max())
    if not 0 < extent < 1000:
        extent = 1000.0
    unit = quantity(extent, "m")[-2:].strip()
    scale = {"m": 1.0, "mm": 1e3, "µm": 1e6, "nm": 1e9, "pm": 1e12}.get(unit, 1.0)
    show = ticker.FuncFormatter(lambda value, _: f"{value * scale:.6g}")
    for axis, name, set_label in (
        (ax.xaxis, found.axes[0], ax.set_xlabel),
        (ax.yaxis, found.axes[1], ax.set_ylabel),
    ):
        axis.set_major_locator(ticker.MaxNLocator(6))
        axis.set_major_formatter(show)
        set_label(f"{name} ({unit if unit in ('m', 'mm', 'µm', 'nm', 'pm') else 'm'})")
    ax.set_aspect("equal")


def _draw_lines(ax: Any, found: Surface, assembly: Assembly) -> None:
    """Only the mesh; flagged elements are filled."""
    from matplotlib.colors import ListedColormap

    if len(found.triangles) > MOST_TRIANGLES:
        drawn = _draw_cells(ax, found, np.ones(len(found.triangles)), "count")
        colour_bar(ax, drawn, "elements per cell")
        return
    x, y = found.points.T
    many = len(found.triangles) > MOST_WITH_LINES
    flagged = found.triangles[assembly.flags[found.elements]]
    if len(flagged):
        ones = np.ones(len(flagged))
        look = ListedColormap([COLOURS[5]])
        ax.tripcolor(x, y, flagged, facecolors=ones, cmap=look, alpha=0.6, rasterized=many)
    ax.triplot(x, y, found.triangles, color="#808080", linewidth=0.5, rasterized=many)
    count = int(np.count_nonzero(assembly.flags))
    if count:
        ax.set_title(f"{len(assembly.ids):,} elements, {count:,} flagged (filled)")
    else:
        ax.set_title(f"{len(assembly.ids):,} elements")


def _draw_values(ax: Any, found: Surface, at_nodes: Floats, per_triangle: Optional[Floats]) -> Any:
    from matplotlib import colors, tri

    values = per_triangle if per_triangle is not None else at_nodes[found.triangles].mean(axis=1)
    finite = (per_triangle if per_triangle is not None else at_nodes)
    finite = finite[np.isfinite(finite)]
    if finite.min(initial=0) < 0:
        largest = float(np.abs(finite).max())
        look = {"cmap": DIVERGING, "norm": colors.Normalize(-largest, largest)}
    else:
        look = {"cmap": SEQUENTIAL}
    if len(found.triangles) > MOST_TRIANGLES:
        return _draw_cells(ax, found, values, "mean", **look)
    x, y = found.points.T
    net = tri.Triangulation(x, y, found.triangles)
    many = len(found.triangles) > MOST_WITH_LINES
    net.set_mask(~np.isfinite(values))
    if per_triangle is not None:
        drawn = ax.tripcolor(net, facecolors=values, rasterized=many, **look)
        if not many:
            ax.triplot(net, color="#80808080", linewidth=0.3)
        return drawn
    # Gouraud shading is a raster in any case: an SVG would have a gradient for each triangle.
    safe = np.where(np.isfinite(at_nodes), at_nodes, 0)
    drawn = ax.tripcolor(net, safe, shading="gouraud", rasterized=True, **look)
    return drawn


def _draw_cells(ax: Any, found: Surface, values: Floats, what: str, **look: Any) -> Any:
    """Means of the triangles, or their number, in the cells of a grid."""
    low, high = found.points.min(axis=0), found.points.max(axis=0)
    extent = np.maximum(high - low, 1e-300)
    cells = np.maximum((CELLS * extent / extent.max()).astype(int), 1)
    middle = found.points[found.triangles].mean(axis=1)
    place = np.minimum(((middle - low) / extent * cells).astype(int), cells - 1)
    flat, known = place[:, 1] * cells[0] + place[:, 0], np.isfinite(values)
    counts = np.bincount(flat[known], minlength=int(cells.prod())).astype(float)
    sums = np.bincount(flat[known], weights=values[known], minlength=len(counts))
    with np.errstate(invalid="ignore", divide="ignore"):
        shown = np.where(counts > 0, counts if what == "count" else sums / counts, np.nan)
    words = "Number" if what == "count" else "Mean"
    note(
        ax,
        f"{words} of the {len(values):,} triangles in each of {cells[0]} x {cells[1]} cells.",
    )
    return ax.imshow(
        shown.reshape(cells[1], cells[0]),
        origin="lower",
        extent=(low[0], high[0], low[1], high[1]),
        interpolation="nearest",
        **{"cmap": SEQUENTIAL, **look},
    )


def _draw_arrows(ax: Any, found: Surface, vectors: Floats) -> None:
    """Arrows at nodes that lie apart from each other."""
    low, extent = found.points.min(axis=0), max(float(np.ptp(found.points, axis=0).max()), 1e-300)
    places = ((found.points - low) / extent * ARROWS).astype(int)
    known = np.flatnonzero(np.isfinite(vectors).all(axis=1))
    _, first = np.unique(places[known], axis=0, return_index=True)
    chosen = known[first]
    largest = float(np.sqrt((vectors[chosen] ** 2).sum(axis=1)).max(initial=0))
    if largest == 0:
        return
    ax.quiver(*found.points[chosen].T, *vectors[chosen].T, color="white", edgecolor="black",
              linewidth=0.4, angles="xy", scale_units="xy", scale=largest / (1.6 * extent / ARROWS),
              width=0.006, pivot="middle")
