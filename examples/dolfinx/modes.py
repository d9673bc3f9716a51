#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Solves the guide of guide.py with DOLFINx and stores its modes, on one rank or several:

    mpirun -n 4 python3 modes.py out --order 1 2 --divisions 4 8 16

makes a store for each order and mesh, as out/order-2-divisions-16. compare.py reads them."""

from __future__ import annotations

import argparse
import pathlib
import sys
from typing import Any, List, NamedTuple, Optional

import fieldstore
import guide
import numpy as np
from mpi4py import MPI
from numbering import Mesh, Rows, dof_map_rows, numbered_mesh
from petsc4py import PETSc
from solver import Mode, Solver


def store_modes(store: fieldstore.Store, frequency: float, modes: List[Mode]) -> None:
    """Voltage and current of waves of 1 W (peak values), and the impedance matrix of the section:
    the modes of its first port, then those of its second."""
    gamma = np.array([mode.gamma for mode in modes])
    impedance = np.array([mode.impedance for mode in modes])
    voltages, currents = np.sqrt(2 * impedance), np.sqrt(2 / impedance)
    groups = [mode.family for mode in modes]
    store.modes.add(frequency, guide.PORT, gamma, np.diag(voltages), np.diag(currents), groups)
    own = np.diag(impedance / np.tanh(gamma * guide.LENGTH))
    other = np.diag(impedance / np.sinh(gamma * guide.LENGTH))
    matrix = np.block([[own, other], [other, own]])
    store.matrices.add(frequency, guide.IMPEDANCE_REAL, matrix.real)
    store.matrices.add(frequency, guide.IMPEDANCE_IMAGINARY, matrix.imag)


def store_mesh(store: fieldstore.Store, solver: Solver, mesh: Mesh) -> None:
    """Each rank gives the cells and nodes that it owns; a ghost is some other rank's to give. The sets
    of ids and edges are one file that is replaced, so that rank 0 gives them for all."""
    comm = solver.mesh.comm
    own = slice(0, mesh.owned_cells)
    in_slab = np.zeros(len(mesh.cells), bool)
    in_slab[solver.slab_cells] = True
    x, y = mesh.positions[own, :, 0], mesh.positions[own, :, 1]
    wall = 1e-9 * guide.WIDTH
    on_wall = (x < wall) | (x > guide.WIDTH - wall) | (y < wall) | (y > guide.HEIGHT - wall)
    store.assembly.add(
        mesh.cells[own],
        in_slab[own],
        mesh.corners[own],
        [()] * mesh.owned_cells,
        [corners[is_on] for corners, is_on in zip(mesh.corners[own], on_wall)],
    )
    owned, first = np.unique(mesh.corners[mesh.own_corner], return_index=True)
    store.metrics.add_nodes(owned, mesh.positions[mesh.own_corner][first])
    store.metrics.define(guide.ELEMENT, guide.OWNER)
    store.metrics.add(
        guide.ELEMENT, guide.OWNER, mesh.cells[own], np.full(mesh.owned_cells, comm.rank)
    )
    if comm.rank == 0:
        store.mesh.set(np.arange(1, mesh.cell_count + 1), mesh.edges)
        store.metrics.add_edges(np.arange(1, len(mesh.edges) + 1), mesh.edges)


class Share(NamedTuple):
    """What rank 0 gets of each rank for the files that are replaced as a whole."""

    rows: Rows
    end: int  # of the rank's unknowns
    ghosts: Any  # unknowns that it has, but does not own


def gather_shares(solver: Solver, mesh: Mesh) -> Optional[List[Share]]:
    """Those of all ranks; None but for rank 0."""
    index_map = solver.space.dofmap.index_map
    own = Share(dof_map_rows(solver, mesh), index_map.local_range[1], np.asarray(index_map.ghosts))
    shares: Optional[List[Share]] = solver.mesh.comm.gather(own)
    return shares


def store_unknowns(store: fieldstore.Store, shares: List[Share]) -> None:
    """The DOF map between both numberings, and who owns what in that of DOLFINx. A record is rank,
    first and last unknown, and the unknown again where several ranks have it, so that it counts once:
    those that a rank owns (kind 1), and its ghosts with the rank that owns them (kind 2)."""
    entries, types = (
        np.unique(np.concatenate(parts), axis=0) for parts in zip(*(share.rows for share in shares))
    )
    offsets = np.searchsorted(entries[:, 0], np.arange(len(types) + 1))
    store.dofs.set((offsets, entries[:, 1].astype(np.int64), entries[:, 2]), types[:, 1])

    ends = [share.end for share in shares]
    shared = np.unique(np.concatenate([share.ghosts for share in shares]))
    begins = np.unique(np.concatenate(([0], ends, shared, shared + 1)))
    first, last = begins[:-1], begins[1:] - 1
    identifier = np.where(np.isin(first, shared), first, -1)
    owned = np.stack((_owner(ends, first), first, last, identifier), axis=1)
    ghosts = [
        np.stack((np.full_like(own, rank), own, own, own, _owner(ends, own)), axis=1)
        for rank, (_, _, own) in enumerate(shares)
    ]
    none = np.empty((0, 3), np.int32)
    totals = (len(types), 0, 0, 0)
    store.lists.set(
        [owned, np.concatenate(ghosts), none, none], totals=totals, last_block=len(shares)
    )


def _owner(ends: Any, unknowns: Any) -> Any:
    """The ranks that own unknowns: these are numbered rank by rank."""
    return np.searchsorted(ends, unknowns, side="right")


def store_fields(
    store: fieldstore.Store, solver: Solver, mesh: Mesh, modes: List[Mode], at_corners: Any
) -> None:
    """Of every mode, its number from 1 being the index: the unknowns, as DOLFINx numbers them, and
    the field at the nodes; each rank gives those that it owns."""
    index_map = solver.space.dofmap.index_map
    first, end = index_map.local_range
    nodes, places = np.unique(mesh.corners[mesh.own_corner], return_index=True)
    store.metrics.define(guide.UNKNOWN, guide.COEFFICIENT, size=2)
    store.metrics.define(guide.NODE, guide.FIELD, size=3)
    for number, mode in enumerate(modes, 1):
        own = mode.field.x.array[: index_map.size_local]
        store.metrics.add(
            guide.UNKNOWN,
            guide.COEFFICIENT,
            np.arange(first, end),
            np.stack((own.real, own.imag), axis=1),
            number,
        )
        at_nodes = at_corners[number - 1][mesh.own_corner][places]
        store.metrics.add(guide.NODE, guide.FIELD, nodes, at_nodes, number)


def store_run(store: fieldstore.Store, solver: Solver, divisions: int, sweep: List[Any]) -> None:
    """Settings, and effective index and residual of each mode; the index is that of the frequency."""
    metrics = store.metrics
    metrics.define(guide.RUN, guide.SETTINGS, size=3)
    metrics.define(guide.MODE, guide.INDEX, size=2)
    metrics.define(guide.MODE, guide.RESIDUAL)
    if solver.mesh.comm.rank != 0:
        return
    metrics.add(
        guide.RUN, guide.SETTINGS, [0], [[solver.order, divisions, solver.mesh.comm.size]]
    )
    for at, (frequency, modes) in enumerate(sweep):
        index = np.array([mode.gamma for mode in modes]) / (1j * guide.wave_number(frequency))
        numbers = np.arange(1, len(modes) + 1)
        metrics.add(
            guide.MODE, guide.INDEX, numbers, np.stack((index.real, index.imag), axis=1), at
        )
        metrics.add(guide.MODE, guide.RESIDUAL, numbers, [mode.residual for mode in modes], at)


def solve_and_store(comm: Any, directory: pathlib.Path, order: int, divisions: int) -> None:
    solver = Solver(comm, order, divisions)
    mesh = numbered_mesh(solver)
    sweep = [(frequency, solver.solve(frequency)) for frequency in guide.FREQUENCIES]
    shown = sweep[guide.FREQUENCIES.index(guide.FIELD_FREQUENCY)][1]
    fields = solver.fields_at_nodes(shown)
    shares = gather_shares(solver, mesh)
    # The ranks store as one: a reader never sees the part of one rank without those of the others,
    # and when one of them fails, all learn of it. Nothing in the block makes a rank wait for others,
    # which may have left it with an error.
    with fieldstore.Store(directory, comm=comm) as store:
        store_mesh(store, solver, mesh)
        store_run(store, solver, divisions, sweep)
        store_fields(store, solver, mesh, shown, fields)
        if shares is not None:  # as on rank 0 alone
            store_unknowns(store, shares)
            for frequency, modes in sweep:
                store_modes(store, frequency, modes)
    if comm.rank == 0:
        guide.write_labels(directory)
        unknowns = solver.space.dofmap.index_map.size_global
        print(f"{directory}: {unknowns} unknowns, ranks: {comm.size}", flush=True)


def main() -> int:
    parser = argparse.ArgumentParser(description=(__doc__ or "").split("\n\n")[0])
    parser.add_argument("directory", type=pathlib.Path, help="where the stores are made")
    parser.add_argument("--order", type=int, nargs="+", choices=(1, 2), default=[1, 2])
    parser.add_argument(
        "--divisions", type=int, nargs="+", default=[4, 8, 16], help="cells along the height; even"
    )
    options = parser.parse_args()
    if any(divisions < 2 or divisions % 2 for divisions in options.divisions):
        parser.error("--divisions: use even numbers from 2, so that cells do not cross the slab")
    if not np.issubdtype(PETSc.ScalarType, np.complexfloating):
        print(
            "This PETSc has real numbers, and losses need complex ones. Set PETSC_DIR and SLEPC_DIR "
            "as README.md says.",
            file=sys.stderr,
        )
        return 3
    comm = MPI.COMM_WORLD
    for order in options.order:
        for divisions in options.divisions:
            directory = options.directory / f"order-{order}-divisions-{divisions}"
            if not comm.bcast(comm.rank == 0 and prepared(directory)):
                return 3
            solve_and_store(comm, directory, order, divisions)
    return 0


def prepared(directory: pathlib.Path) -> bool:
    """Makes the directory; commits would append to the results of an earlier run."""
    try:
        directory.mkdir(parents=True)
    except OSError as error:
        print(f"{directory}: {error.strerror}. Choose or make another place.", file=sys.stderr)
        return False
    return True


if __name__ == "__main__":
    sys.exit(main())
