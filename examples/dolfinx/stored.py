# SPDX-License-Identifier: Apache-2.0
"""A store of modes.py, as a program reads it that knows nothing of DOLFINx."""

from __future__ import annotations

import pathlib
from typing import Any, Dict, List, Tuple

import fieldstore
import guide
import numpy as np


class Stored:
    """What a store has; the numbering is that of the input, whatever the ranks were."""

    def __init__(self, directory: pathlib.Path) -> None:
        self.results = fieldstore.open(directory, fieldstore.Results)
        self.directory = directory
        settings = self.results.metrics.values(guide.RUN, guide.SETTINGS).values[0]
        self.order, self.divisions, self.ranks = (int(number) for number in settings)
        self.frequencies: List[float] = self.results.modes.frequencies.tolist()
        self.gamma = self.results.modes.gamma(guide.PORT)
        self.groups = self.results.modes.groups(guide.PORT)
        modes = self.results.modes
        voltages, currents = (
            part(guide.PORT).diagonal(axis1=1, axis2=2) for part in (modes.voltages, modes.currents)
        )
        self.impedance = voltages / currents
        self.power = voltages * currents / 2

    @property
    def unknown_count(self) -> int:
        return len(self.results.dofs.types)

    def matrices(self) -> Any:
        """Z [frequency, n, n]."""
        matrices = self.results.matrices
        return matrices[guide.IMPEDANCE_REAL] + 1j * matrices[guide.IMPEDANCE_IMAGINARY]

    def unknowns(self) -> Any:
        """The unknowns of each mode [mode, row of the DOF map], which undoes what DOLFINx has of its
        own: places and directions."""
        found = self.results.metrics.values(guide.UNKNOWN, guide.COEFFICIENT)
        raw = (found.values[:, 0] + 1j * found.values[:, 1]).reshape(-1, self.unknown_count)
        return (self.results.dofs.to_scipy() @ raw.T).T

    def node_fields(self) -> Any:
        """E at the nodes [mode, node, component]."""
        found = self.results.metrics.values(guide.NODE, guide.FIELD)
        return found.values.reshape(-1, len(self.results.metrics.nodes.ids), 3)

    def is_one_sheet(self) -> bool:
        """Whether the stored mesh fills the guide, without holes or cells that are there twice."""
        nodes, edges, corners = self._mesh()
        area = np.abs(_cross(*_sides(nodes[corners]))).sum() / 2
        euler = len(nodes) - len(edges) + len(corners)
        same_edges = np.array_equal(self.results.mesh.pairs, edges + 1)
        full = np.isclose(area, guide.WIDTH * guide.HEIGHT, rtol=1e-12)
        return bool(full and euler == 1 and same_edges)

    def has_one_owner_each(self) -> bool:
        """Whether the ranks own each unknown once, and ghosts are what another rank owns."""
        lists = self.results.lists
        owned, ghosts = lists.records(1), lists.records(2)
        numbers = np.concatenate([np.arange(first, last + 1) for _, first, last, _ in owned])
        owners = np.repeat(owned[:, 0], owned[:, 2] - owned[:, 1] + 1)
        return (
            np.array_equal(numbers, np.arange(self.unknown_count))
            and lists.distinct_count == self.unknown_count
            and np.array_equal(owners[ghosts[:, 1]], ghosts[:, 4])
            and bool((ghosts[:, 0] != ghosts[:, 4]).all())
        )

    def quotients(self) -> Any:
        """gamma^2 of each mode, for order 1, from the stored unknowns: the quotient of both sides of
        the equation in solver.py, integrated over the stored elements with Whitney's functions. An
        unknown with the wrong place or sign would spoil it."""
        nodes, edges, corners = self._mesh()
        ends = np.sort(corners[:, [[1, 2], [0, 2], [0, 1]]], axis=2)  # [cell, edge, end]
        of_cells = np.searchsorted(edges @ (len(nodes), 1), ends @ (len(nodes), 1))
        local = np.argmax(ends[..., np.newaxis] == corners[:, np.newaxis, np.newaxis], axis=3)
        first, second = _sides(nodes[corners])
        double_area = _cross(first, second)
        slopes = np.stack([_turned(first - second), _turned(second), _turned(-first)], axis=1)
        slopes = slopes / double_area[:, np.newaxis, np.newaxis]  # of the hats [cell, corner, 2]
        cell = np.arange(len(corners))[:, np.newaxis]
        tail, head = slopes[cell, local[..., 0]], slopes[cell, local[..., 1]]
        middles = (1 - np.eye(3)) / 2  # of the sides, which integrate squares exactly [point, hat]
        at_tail, at_head = (middles.T[local[..., end]] for end in (0, 1))  # [cell, edge, point]
        functions = np.einsum("cep,ced->cepd", at_tail, head) - np.einsum(
            "cep,ced->cepd", at_head, tail
        )
        area = np.abs(double_area) / 2
        k0 = guide.wave_number(guide.FIELD_FREQUENCY)
        weight = k0**2 * np.where(self.results.assembly.flags, guide.PERMITTIVITY, 1)
        result = []
        for unknowns in self.unknowns():
            of_edges, of_nodes = unknowns[of_cells], unknowns[len(edges) + corners]
            e = np.einsum("ce,cepd->cpd", of_edges, functions)
            curl = np.einsum("ce,ce->c", of_edges, 2 * _cross(tail, head))
            h = e + np.einsum("ck,ckd->cd", of_nodes, slopes)[:, np.newaxis]
            z = of_nodes @ middles.T
            left = area @ (curl**2 - weight * (e**2).sum(axis=(1, 2)) / 3)
            right = area @ ((h**2).sum(axis=(1, 2)) / 3 - weight * (z**2).sum(axis=1) / 3)
            result.append(left / right)
        return np.array(result)

    def _mesh(self) -> Tuple[Any, Any, Any]:
        """Positions [node, 2], ends of the edges, and corners of the cells, counted from 0."""
        metrics = self.results.metrics
        corners = self.results.assembly.nodes(1).elements.reshape(-1, 3) - 1
        edges = metrics.edges.elements.reshape(-1, 2) - 1
        return metrics.nodes.positions[:, :2], edges, corners


def find(paths: List[pathlib.Path]) -> List[Stored]:
    """The stores in directories, those of low order and coarse meshes first."""
    places = {file.parent for path in paths for file in path.rglob("modeinfo.dat")}
    return sorted((Stored(place) for place in places), key=lambda s: (s.order, s.divisions))


def differences(one: Stored, other: Stored) -> Dict[str, float]:
    """How much two stores differ, relative to the largest value; the partition is left out."""
    metrics = [stored.results.metrics for stored in (one, other)]
    assembly = [stored.results.assembly for stored in (one, other)]
    return {
        "gamma": _difference(one.gamma, other.gamma),
        "groups": _difference(one.groups, other.groups),
        "impedances": _difference(one.impedance, other.impedance),
        "matrices": _difference(one.matrices(), other.matrices()),
        "nodes": _difference(*(part.nodes.positions for part in metrics)),
        "edges": _difference(one.results.mesh.pairs, other.results.mesh.pairs),
        "elements": _difference(*(part.ids for part in assembly)),
        "corners": _difference(*(part.nodes(1).elements for part in assembly)),
        "slab": _difference(*(part.flags.astype(int) for part in assembly)),
        "types of unknowns": _difference(one.results.dofs.types, other.results.dofs.types),
        "unknowns": _up_to_sign(one.unknowns(), other.unknowns()),
        "fields": _up_to_sign(one.node_fields(), other.node_fields()),
    }


def _difference(first: Any, second: Any) -> float:
    if first.shape != second.shape:
        return float("inf")
    return float(np.abs(first - second).max() / max(float(np.abs(first).max()), 1e-300))


def _up_to_sign(first: Any, second: Any) -> float:
    """Of fields [mode, ...], each of which is as good as its negative."""
    if first.shape != second.shape:
        return float("inf")
    return max(min(_difference(a, b), _difference(a, -b)) for a, b in zip(first, second))


def _sides(corners: Any) -> Tuple[Any, Any]:
    """From the first corner to the others, [cell, 2] each."""
    return corners[:, 1] - corners[:, 0], corners[:, 2] - corners[:, 0]


def _cross(first: Any, second: Any) -> Any:
    return first[..., 0] * second[..., 1] - first[..., 1] * second[..., 0]


def _turned(vectors: Any) -> Any:
    """By 90 degrees: slopes of hats are normal to the sides across from their corners."""
    return np.stack((vectors[..., 1], -vectors[..., 0]), axis=-1)
