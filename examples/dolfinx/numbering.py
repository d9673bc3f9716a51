# SPDX-License-Identifier: Apache-2.0
"""From the numbers that DOLFINx has to those that are stored.

DOLFINx gives every rank numbers of its own, local ones with ghosts at the end, and numbers all ranks'
nodes and degrees of freedom anew for each partition; the direction of an edge, and so the sign of its
unknowns, follows from these. Stored are numbers that do not depend on the ranks: those of nodes and
cells in the input of the mesh, from 1, and from these the edges, ordered by their lower and then
their higher node and directed from that one to this. The DOF map leads from one numbering of the
unknowns to the other."""

from __future__ import annotations

from typing import Any, NamedTuple

import numpy as np
from ffcx.element_interface import create_element
from guide import EDGE_UNKNOWN, FIXED, INNER_UNKNOWN, NODE_UNKNOWN
from solver import Solver, cell_table

CORNERS_OF_EDGE = ((1, 2), (0, 2), (0, 1))


class Mesh(NamedTuple):
    """The cells that a rank knows, the owned ones first, and all edges."""

    owned_cells: int
    cells: Any  # number of each, [cell]
    corners: Any  # number, [cell, 3]
    own_corner: Any  # whether this rank owns the node, [cell, 3]
    positions: Any  # [cell, 3, (x, y, z)]
    cell_edges: Any  # place in edges, [cell, 3]
    is_turned: Any  # whether DOLFINx directs the edge the other way, [cell, 3]
    edges: Any  # lower and higher node, [edge, 2], of all ranks
    cell_count: int
    node_count: int


class Rows(NamedTuple):
    """Rows of the DOF map, from the unknowns that a rank owns: (row, column, weight) of each entry,
    and (row, type) of each row."""

    entries: Any
    types: Any


def numbered_mesh(solver: Solver) -> Mesh:
    """The mesh in stored numbers. Collective."""
    topology, geometry = solver.mesh.topology, solver.mesh.geometry
    known_cells, known_nodes = topology.index_map(2), topology.index_map(0)
    count = known_cells.size_local + known_cells.num_ghosts
    places = np.array([geometry.dofmap.links(at) for at in range(count)])
    vertices = np.array([topology.connectivity(2, 0).links(at) for at in range(count)])
    corners = np.asarray(geometry.input_global_indices)[places] + 1
    solvers = known_nodes.local_to_global(vertices.reshape(-1).astype(np.int32))
    first, second = np.transpose(CORNERS_OF_EDGE)
    pairs = np.stack((corners[:, first], corners[:, second]), axis=2)
    directions = solvers.reshape(-1, 3)
    is_turned = (directions[:, first] < directions[:, second]) != (pairs[..., 0] < pairs[..., 1])
    node_count = known_nodes.size_global
    keys = pairs.min(axis=2).astype(np.int64) * (node_count + 1) + pairs.max(axis=2)
    own_keys = np.unique(keys[: known_cells.size_local])
    all_keys = np.unique(np.concatenate(solver.mesh.comm.allgather(own_keys)))
    return Mesh(
        known_cells.size_local,
        np.asarray(topology.original_cell_index[:count]) + 1,
        corners,
        vertices < known_nodes.size_local,
        geometry.x[places],
        np.searchsorted(all_keys, keys),
        is_turned,
        np.stack(np.divmod(all_keys, node_count + 1), axis=1),
        known_cells.size_global,
        node_count,
    )


def dof_map_rows(solver: Solver, mesh: Mesh) -> Rows:
    """What this rank adds to the DOF map. Stored numbers go by the parts of the mixed element; in a
    part come those of the nodes, of the edges and of the cells."""
    entities = {0: mesh.corners - 1, 1: mesh.cell_edges, 2: mesh.cells[:, np.newaxis] - 1}
    counts = {0: mesh.node_count, 1: len(mesh.edges), 2: mesh.cell_count}
    found, begin = [], 0
    for part, of_ufl in enumerate(solver.space.ufl_element().sub_elements()):
        # There are variants of one family and order, in which an edge is turned differently.
        element = create_element(of_ufl).element
        dofs = cell_table(solver.mesh, solver.space.sub(part).dofmap)
        turn = np.asarray(element.entity_transformations()["interval"])[0].T.round(12)
        for dimension, of_entities in enumerate(element.entity_dofs[:3]):
            size = len(of_entities[0])
            kind = NODE_UNKNOWN if part == 1 else {1: EDGE_UNKNOWN}.get(dimension, INNER_UNKNOWN)
            for at, own in enumerate(of_entities):
                rows = begin + size * entities[dimension][:, at, np.newaxis] + np.arange(size)
                forms = np.eye(size)[np.newaxis].repeat(len(rows), axis=0)
                if dimension == 1:
                    forms[mesh.is_turned[:, at]] = turn
                found.append(_owned_rows(solver, rows, dofs[:, own], forms, kind))
            begin += size * counts[dimension]
    entries, types = (np.unique(np.concatenate(parts), axis=0) for parts in zip(*found))
    return Rows(entries, types)


def _owned_rows(solver: Solver, rows: Any, local: Any, forms: Any, kind: int) -> Rows:
    """Of one entity of each cell: its stored numbers, local numbers [cell, unknown], and how the
    former follow from the latter [cell, stored, local]. The same entity may occur in two cells."""
    index_map = solver.space.dofmap.index_map
    is_owned = local < index_map.size_local
    is_fixed = np.isin(local, solver.fixed)
    types = np.stack((rows, np.where(is_fixed, FIXED, kind)), axis=-1)[is_owned]
    cell, row, column = np.nonzero(forms * (is_owned & ~is_fixed)[:, np.newaxis])
    columns = index_map.local_to_global(local[cell, column].astype(np.int32))
    return Rows(np.stack((rows[cell, row], columns, forms[cell, row, column]), axis=1), types)
