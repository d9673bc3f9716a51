# SPDX-License-Identifier: Apache-2.0
"""A section for each class: pictures, and tables with numbers."""

from __future__ import annotations

import itertools
from typing import Any, Callable, Dict, List, NamedTuple, Optional, Sequence, Tuple, Type

import numpy as np

from .. import plot
from .._assembly import Assembly
from .._base import ResultObject
from .._dofs import DofMap
from .._lists import KINDS, DofList
from .._matrices import Matrices
from .._mesh import MeshTree
from .._metrics import Metrics
from .._modes import Modes
from .._numbers import column, number, quantity, signed
from .._ports import PortCircuitDofs
from .._tree import BinaryTree
from ..plot._mesh import are_vectors
from ..plot._metrics import component_name, entity_name, value_name
from ._content import MOST_ROWS, Cells, Section, left_out, numbers, spread
from ._drawing import Artist

MOST_PORTS = 4
MOST_DRAWINGS = 12
MOST_COLUMNS = 6
_FUNCTIONS = ("replace", "append", "sum", "mean", "maximum", "minimum")


class Settings(NamedTuple):
    """What the person chose: reference impedance, and matrix types by ``z``, ``y`` or ``s``."""

    reference: float = 50.0
    parts: Dict[str, Any] = {}


class Network(NamedTuple):
    """Frequencies and scattering parameters, which the pictures and the table share."""

    f: Any
    s: Any


class Context(NamedTuple):
    """What a section may need apart from its own data. ``elements`` opens the assembly of the store,
    or raises."""

    artist: Artist
    settings: Settings
    elements: Callable[[], Assembly]


def fill(section: Section, data: ResultObject, context: Context) -> None:
    """Adds to a section what its data allow."""
    _FILLED_BY[type(data)](section, data, context)


def _frequency_facts(frequencies: Any) -> List[Tuple[str, str]]:
    if len(frequencies) == 0:
        return [("Frequencies", "none")]
    first, last = (quantity(float(frequencies[at]), "Hz") for at in (0, -1))
    span = first if len(frequencies) == 1 else f"{first} to {last}"
    return [("Frequencies", f"{len(frequencies):,}, {span}")]


def _modes(section: Section, modes: Modes, context: Context) -> None:
    draw = context.artist.draw
    ports = modes.ports.tolist()
    counts = [modes.mode_count(port) for port in ports]
    section.facts += _frequency_facts(modes.frequencies)
    section.facts.append(("Ports", f"{len(ports):,}: {_few(ports)}"))
    section.facts.append(("Modes of a port", _few(sorted(set(counts)))))
    groups = _same_ports(modes, ports)
    if len(groups) > MOST_PORTS:
        section.remarks.append(
            f"Pictures and tables are of the first {MOST_PORTS} of {len(groups):,} ports."
        )
    section.remarks.append(
        "Frequencies count as hertz; γ, voltages and currents as SI units. Of the voltages "
        "and currents of a mode the entry that is largest is drawn."
    )
    for same in groups[:MOST_PORTS]:
        port, name = same[0], f"port {same[0]}" if len(same) == 1 else f"ports {_few(same)}"
        draw(section, f"Phase constant, {name}", plot.gamma, modes, port)
        draw(section, f"Attenuation, {name}", plot.gamma, modes, port, "real")
        if modes.voltages(port).shape[2] > 0:
            draw(section, f"Voltage, {name}", plot.voltage, modes, port)
            draw(section, f"Current, {name}", plot.current, modes, port)
            draw(section, f"Impedance, {name}", plot.impedance, modes, port)
        section.tables.append(_gamma_table(modes, port, name))
    if any(len(same) > 1 for same in groups):
        section.remarks.append("Ports with the same γ and the same magnitudes are shown once.")


def _few(values: Sequence[Any]) -> str:
    """The first values of many."""
    return ", ".join(map(str, values[:8])) + (", ..." if len(values) > 8 else "")


def _same_ports(modes: Modes, ports: List[int]) -> List[List[int]]:
    """The ports, those whose pictures would be the same together."""
    groups: List[List[int]] = []
    shown: List[List[Any]] = []
    for port in ports:
        own = [modes.gamma(port), np.abs(modes.voltages(port)), np.abs(modes.currents(port))]
        for same, theirs in zip(groups, shown):
            if all(_are_equal(a, b) for a, b in zip(own, theirs)):
                same.append(port)
                break
        else:
            groups.append([port])
            if len(shown) < MOST_PORTS:
                shown.append(own)
    return groups


def _are_equal(first: Any, second: Any) -> bool:
    """Up to what a picture could show; what is zero but for rounding counts as zero."""
    if first.shape != second.shape:
        return False
    least = 1e-9 * float(np.nanmax(np.abs(first), initial=0))
    return np.allclose(first, second, rtol=1e-9, atol=least, equal_nan=True)


def _gamma_table(modes: Modes, port: int, name: str) -> Cells:
    gamma, groups, frequencies = modes.gamma(port), modes.groups(port), modes.frequencies
    shown = spread(len(frequencies))
    columns = min(gamma.shape[1], MOST_COLUMNS)
    first = groups[0] if len(groups) else []
    names = tuple(f"mode {mode}, group {first[mode]}" for mode in range(columns))
    texts = [_complex_column(gamma[shown, mode]) for mode in range(columns)]
    rows = list(zip(_frequency_column(frequencies[shown]), *texts))
    note = left_out(len(frequencies), "frequencies")
    if columns < gamma.shape[1]:
        note = f"{note} The first {columns} of {gamma.shape[1]:,} modes.".strip()
    return Cells(f"γ of {name} (1/m)", ("Frequency", *names), rows, note)


def _frequency_column(frequencies: Any) -> List[str]:
    return [quantity(float(frequency), "Hz") for frequency in frequencies]


def _complex_column(values: Any) -> List[str]:
    """Complex numbers below each other; a part that is zero in all of them is left out."""
    real, imaginary = column(values.real), column(np.abs(values.imag))
    if not np.nan_to_num(values.imag).any():
        return real
    signs = ["−" if value < 0 else "+" for value in values.imag]
    if not np.nan_to_num(values.real).any():
        return [f"{'−' if s == '−' else ''}{i} j" for s, i in zip(signs, imaginary)]
    return [f"{r} {s} {i} j" for r, s, i in zip(real, signs, imaginary)]


def _matrices(section: Section, matrices: Matrices, context: Context) -> None:
    draw, settings = context.artist.draw, context.settings
    section.facts += _frequency_facts(matrices.frequencies)
    labels = matrices.labels
    for type in list(matrices)[:MOST_DRAWINGS]:
        size = matrices[type].shape[1]
        name = labels.name("matrixTypes", type, default="no label")
        section.facts.append((f"Type {type}", f"{name}, {size:,} x {size:,}"))
    kind: Dict[str, Any] = {**settings.parts, "z0": settings.reference}
    network: Optional[Network] = None
    try:
        network = Network(*plot.s_parameters(matrices, **kind))
    except (KeyError, ValueError) as error:
        section.remarks.append(f"No scattering parameters: {error.args[0]}")
    if network is not None:
        draw(section, "Scattering parameters, magnitude", plot.s_db, network)
        draw(section, "Scattering parameters, phase", plot.s_phase, network)
        draw(section, f"Smith chart, {settings.reference:g} Ω", plot.smith, network)
    for type in list(matrices)[:MOST_DRAWINGS]:
        name = matrices.labels.name("matrixTypes", type, default=f"type {type}")
        draw(section, f"Matrix {name}", plot.heatmap, matrices, type)
    if network is not None:
        taken, parts = plot._network.parts_of(matrices)
        taken, parts = next(iter(settings.parts.items()), (taken, parts))
        section.remarks.append(
            f"Scattering parameters are those of {taken.upper()} = types {_types_text(parts)}, with a "
            f"reference of {settings.reference:g} Ω; other ones: fieldstore report --reference OHM, "
            "--z, --y, --s."
        )
        section.tables.append(_s_table(network))


def _types_text(parts: Any) -> str:
    return str(parts) if isinstance(parts, int) else f"{parts[0]} + j {parts[1]}"


def _s_table(network: Network) -> Cells:
    frequencies, s = network
    pairs = plot._network.strongest(s, MOST_COLUMNS)
    shown = spread(len(frequencies))
    with np.errstate(divide="ignore"):
        level = 20 * np.log10(np.abs(s[shown]))
    level[np.abs(level) < 5e-4] = 0.0
    texts = [
        [signed(f"{value:.3f}") if np.isfinite(value) else number(value) for value in level[:, i, j]]
        for i, j in pairs
    ]
    names = tuple(plot._network.s_name(*pair, s.shape[1]) for pair in pairs)
    note = left_out(len(frequencies), "frequencies")
    if len(pairs) < s.shape[1] ** 2:
        note = f"{note} The {len(pairs)} strongest of {s.shape[1] ** 2:,} parameters.".strip()
    rows = list(zip(_frequency_column(frequencies[shown]), *texts))
    return Cells("|S| (dB)", ("Frequency", *names), rows, note)


def _metrics(section: Section, metrics: Metrics, context: Context) -> None:
    rows = []
    for (entity, value), definition in metrics.definitions.items():
        rows.append(_definition_row(metrics, entity, value, definition))
    shown = rows[: 2 * MOST_ROWS]
    note = f"The first {len(shown)} of {len(rows):,} kinds." if len(shown) < len(rows) else ""
    header = ("Entity", "Value", "Numbers", "Merged by", "Vectors", "Entities", "Indices", "Smallest",
              "Largest")
    section.tables.append(Cells("Kinds of metrics", header, shown, note))
    section.facts += [
        ("Vectors", f"{len(metrics._columns()[0]):,}"),
        ("Nodes", f"{len(metrics.nodes.ids):,}"),
        ("Edges", f"{len(metrics.edges):,}"),
    ]
    _mesh_drawings(section, metrics, context)
    _metric_drawings(section, metrics, context)


def _definition_row(metrics: Metrics, entity: int, value: int, definition: Any) -> Any:
    name, unit = value_name(metrics, entity, value)
    known = definition.function in range(len(_FUNCTIONS))
    head = (
        entity_name(metrics, entity),
        f"{name} ({unit})" if unit else name,
        f"{definition.size:,}",
        _FUNCTIONS[definition.function] if known else str(definition.function),
    )
    try:
        found = metrics.values(entity, value)
    except ValueError:
        return (*head, "–", "–", "–", "lengths differ", "–")
    if len(found.ids) == 0:
        return (*head, "0", "–", "–", "–", "–")
    low, high = int(found.indices.min()), int(found.indices.max())
    return (
        *head,
        f"{len(found.ids):,}",
        f"{len(np.unique(found.ids)):,}",
        str(low) if low == high else f"{low} to {high}",
        *numbers((np.nanmin(found.values), np.nanmax(found.values))),
    )


def _mesh_drawings(section: Section, metrics: Metrics, context: Context) -> None:
    if len(metrics.nodes.ids) == 0:
        section.remarks.append("There are no positions of nodes, and so no picture of the mesh.")
        return
    try:
        elements = context.elements()
    except Exception as error:  # whatever is wrong with the other file is told in its own section
        section.remarks.append(f"The mesh is not drawn, as the elements are not there: {error}")
        return
    draw = context.artist.draw
    draw(section, "Mesh", plot.mesh, metrics, elements)
    count = 0
    for entity, value in metrics._types():
        kind = entity_name(metrics, entity).lower()
        if kind not in ("node", "element"):
            continue
        name = value_name(metrics, entity, value)[0]
        indices = metrics.indices(entity, value).tolist()
        # Elements are those of the last pass, since each has its own mesh; at the nodes are modes.
        try:
            width = metrics.values(entity, value).values.shape[1]
        except ValueError:
            continue  # as the section of the values says
        separate = kind == "node" and not are_vectors(metrics, (entity, value), width)
        drawn = indices if kind == "node" else indices[-1:]
        for index, component in itertools.product(drawn, range(width if separate else 1)):
            if count == MOST_DRAWINGS:
                section.remarks.append(
                    f"Values on the mesh: the first {MOST_DRAWINGS} pictures; fieldstore plot draws "
                    "the others."
                )
                return
            count += 1
            part = component_name(metrics, entity, value, component, width) if separate else ""
            what = f"{name[:1].upper()}{name[1:]}" + (f", {part}," if part else "")
            draw_on: Any = plot.field if kind == "node" else plot.mesh
            draw(
                section, f"{what} on the mesh, index {index}", draw_on, metrics, elements,
                (entity, value), component, index=index,
            )


def _metric_drawings(section: Section, metrics: Metrics, context: Context) -> None:
    drawn = 0
    for entity, value in metrics._types():
        try:
            found = metrics.values(entity, value)
        except ValueError as error:
            section.remarks.append(str(error))
            continue
        if entity_name(metrics, entity).lower() == "node":
            continue  # which the mesh shows
        several = len(np.unique(found.indices)) > 1
        width = found.values.shape[1]
        for component in range(width):
            part = component_name(metrics, entity, value, component, width)
            name = value_name(metrics, entity, value)[0] + (f", {part}" if part else "")
            if not several and len(found.ids) < 2:
                continue  # a single number, which the table shows
            if drawn == MOST_DRAWINGS:
                section.remarks.append(
                    f"The first {MOST_DRAWINGS} pictures of metrics; fieldstore plot draws the others."
                )
                return
            drawn += 1
            function: Any = plot.convergence if several else plot.metric
            title = f"{entity_name(metrics, entity)}: {name}" + (" by pass" if several else "")
            context.artist.draw(
                section, title[:1].upper() + title[1:], function, metrics, entity, value, component
            )


def _dofs(section: Section, dofs: DofMap, context: Context) -> None:
    types, counts = np.unique(dofs.types, return_counts=True)
    section.facts += [
        ("Rows", f"{len(dofs.offsets) - 1:,}"),
        ("Entries", f"{len(dofs.columns):,}"),
        ("Rows by type", _few([f"{type}: {count:,}" for type, count in zip(types, counts)]) or "none"),
    ]
    context.artist.draw(section, "Sparsity", plot.sparsity, dofs)
    lengths = np.bincount(np.diff(dofs.offsets)) if len(dofs.offsets) > 1 else np.zeros(0, dtype=int)
    known = np.flatnonzero(lengths)
    rows = [(f"{known[at]:,}", f"{lengths[known[at]]:,}") for at in spread(len(known))]
    section.tables.append(
        Cells("Rows by their entries", ("Entries", "Rows"), rows,
              left_out(len(known), "lengths"))
    )


def _mesh(section: Section, mesh: MeshTree, context: Context) -> None:
    if len(mesh.pairs):
        context.artist.draw(section, "Pairs", plot.pairs, mesh)
    rows = [("ids", f"{len(mesh.ids):,}", *_range(mesh.ids)),
            ("pairs", f"{len(mesh.pairs):,}", *_range(mesh.pairs))]
    section.tables.append(Cells("Ids", ("What", "Number", "Smallest id", "Largest id"), rows))


def _range(ids: Any) -> Any:
    return (str(int(ids.min())), str(int(ids.max()))) if ids.size else ("–", "–")


def _lists(section: Section, lists: DofList, context: Context) -> None:
    blocks = "whole" if lists.block_count is None else f"in {lists.block_count:,} blocks"
    section.facts += [
        ("Stored", blocks),
        ("Distinct degrees of freedom", f"{lists.distinct_count:,}"),
        ("Number of the host", str(lists.header)),
    ]
    context.artist.draw(section, "Records by partition", plot.records, lists)
    rows = []
    for kind in KINDS:
        records = lists.records(kind)
        owners = len(np.unique(records[:, 0])) if records.size else 0
        rows.append((str(kind), f"{len(records):,}", str(records.shape[1]), f"{owners:,}",
                     str(lists.totals[kind - 1])))
    header = ("Kind", "Records", "Width", "Partitions", "Total of the host")
    section.tables.append(Cells("Records", header, rows))


def _tree(section: Section, tree: BinaryTree, context: Context) -> None:
    section.facts += [
        ("Levels", f"{tree.level_count:,}"),
        ("Leaves", f"{tree.leaf_count:,}"),
        ("Nodes with items", f"{len(tree.nodes):,}"),
        ("Mapped lists", f"{len(tree.mapped):,}"),
        ("Tag", str(tree.tag)),
    ]
    context.artist.draw(section, "Items by node", plot.tree, tree)
    counters = tree.leaf_counts
    if counters.any():
        context.artist.draw(section, "Counter 1 by leaf", plot.tree, tree, counter=1)
    rows = [
        (f"counter {place}", *numbers((values.sum(), values.min(), values.max())))
        if len(values) else (f"counter {place}", "–", "–", "–")
        for place, values in enumerate(counters.astype(float), 1)
    ]
    section.tables.append(Cells("Counters of the leaves", ("", "Sum", "Smallest", "Largest"), rows))


def _ports(section: Section, ports: PortCircuitDofs, context: Context) -> None:
    section.facts += [
        ("Port positions", f"{ports.port_count:,}"),
        ("Skipped positions", f"{ports.offset_count:,}"),
        ("Circuit positions", " + ".join(f"{count:,}" for count in ports.circuit_counts)),
    ]
    context.artist.draw(section, "Degrees of freedom by position", plot.ports, ports)
    shown = spread(len(ports.positions))
    rows = [(str(ports.positions[at]), str(ports.dofs[at])) for at in shown]
    note = left_out(len(ports.positions), "positions")
    section.tables.append(Cells("Table", ("Position", "Degree of freedom"), rows, note))


def _assembly(section: Section, assembly: Assembly, context: Context) -> None:
    section.facts += [
        ("Elements", f"{len(assembly.ids):,}"),
        ("Flagged", f"{np.count_nonzero(assembly.flags):,}"),
    ]
    context.artist.draw(section, "Nodes of the elements", plot.assembly, assembly)
    rows = []
    for place in (1, 2, 3):
        lists = assembly.nodes(place)
        lengths = lists.lengths
        distinct = len(np.unique(lists.elements))
        shortest = f"{lengths.min():,} to {lengths.max():,}" if len(lengths) else "–"
        rows.append((f"list {place}", f"{len(lists.elements):,}", shortest, f"{distinct:,}"))
    header = ("", "Nodes", "Nodes of an element", "Different nodes")
    section.tables.append(Cells("Node lists", header, rows))


_FILLED_BY: Dict[Type[Any], Callable[[Section, Any, Context], None]] = {
    Modes: _modes,
    DofMap: _dofs,
    Matrices: _matrices,
    MeshTree: _mesh,
    DofList: _lists,
    BinaryTree: _tree,
    PortCircuitDofs: _ports,
    Metrics: _metrics,
    Assembly: _assembly,
}
