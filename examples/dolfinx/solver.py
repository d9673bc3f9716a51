# SPDX-License-Identifier: Apache-2.0
"""The modes of the guide with DOLFINx, PETSc and SLEPc; on as many ranks as there are.

The transverse field E_t is expanded in edge elements, E_z in Lagrange elements of the same order.
With e = gamma E_t and z = E_z, the curl-curl equation of a field that goes as exp(-gamma x_3) gives

    (curl e, curl w) - k0^2 (eps e, w)              = gamma^2 (e + grad z, w)      for all w,
    0 = gamma^2 [(e + grad z, grad v) - k0^2 (eps z, v)]                            for all v,

which is linear in gamma^2. J. Jin, The Finite Element Method in Electromagnetics, Wiley, treats it
in the chapter on eigenvalue problems. Fields with e = 0 solve it with gamma = 0, one for each node;
shift and invert beyond the largest eps k0^2 finds the modes instead."""

from __future__ import annotations

from typing import Any, List, NamedTuple

import numpy as np
import ufl
from dolfinx import fem, mesh
from dolfinx.fem import petsc as fem_petsc
from guide import (
    HEIGHT,
    LEAST_INDEX,
    LIGHT,
    LSE,
    LSM,
    MODES,
    PERMITTIVITY,
    SLAB,
    VACUUM_PERMEABILITY,
    WIDTH,
    wave_number,
)
from petsc4py import PETSc
from slepc4py import SLEPc


class Mode(NamedTuple):
    """A mode. Its field is the pair (e, z), scaled such that the integral of e.e is 1."""

    gamma: complex  # 1/m
    family: int
    impedance: complex  # ohm, the integral of E.E over that of E x H
    residual: float
    field: Any


class Solver:
    """The guide on a mesh of ``2 * divisions`` by ``divisions`` cells, each cut into two triangles."""

    def __init__(self, comm: Any, order: int, divisions: int) -> None:
        self.mesh = mesh.create_rectangle(
            comm,
            [np.zeros(2), np.array([WIDTH, HEIGHT])],
            [2 * divisions, divisions],
            mesh.CellType.triangle,
        )
        cell = self.mesh.ufl_cell()
        edges = ufl.FiniteElement("N1curl", cell, order)
        nodes = ufl.FiniteElement("Lagrange", cell, order)
        self.space = fem.FunctionSpace(self.mesh, ufl.MixedElement(edges, nodes))
        self.order = order
        self.slab_cells = mesh.locate_entities(
            self.mesh, 2, lambda x: x[0] < SLAB + 1e-6 * WIDTH
        )
        self._permittivity = fem.Function(fem.FunctionSpace(self.mesh, ("DG", 0)))
        self._permittivity.x.array[:] = 1
        self._permittivity.x.array[self.slab_cells] = PERMITTIVITY
        self._k0_squared = fem.Constant(self.mesh, PETSc.ScalarType(0))
        self._define_forms()

    def _define_forms(self) -> None:
        e, z = ufl.TrialFunctions(self.space)
        w, v = ufl.TestFunctions(self.space)
        weight = self._k0_squared * self._permittivity
        left = ufl.inner(ufl.curl(e), ufl.curl(w)) - weight * ufl.inner(e, w)
        right = ufl.inner(e + ufl.grad(z), w + ufl.grad(v)) - weight * ufl.inner(z, v)
        self._left, self._right = fem.form(left * ufl.dx), fem.form(right * ufl.dx)
        self.mesh.topology.create_connectivity(1, 2)
        walls = mesh.exterior_facet_indices(self.mesh.topology)
        self.fixed = fem.locate_dofs_topological(self.space, 1, walls)
        self._condition = fem.dirichletbc(fem.Function(self.space), self.fixed)

    def solve(self, frequency: float) -> List[Mode]:
        """The modes of the largest effective index, that one first. Raises RuntimeError when too few
        propagate."""
        k0 = wave_number(frequency)
        self._k0_squared.value = k0**2
        problem = self._problem(-PERMITTIVITY.real * k0**2)
        problem.solve()
        modes = [self._mode(problem, k0, at) for at in range(problem.getConverged())]
        modes = [mode for mode in modes if mode.gamma.imag > LEAST_INDEX * k0]
        if len(modes) < MODES:
            raise RuntimeError(
                f"{len(modes)} modes were found at {frequency / 1e9:g} GHz, expected {MODES}. "
                "Refine the mesh, or raise the order or the frequency."
            )
        return sorted(modes, key=lambda mode: -mode.gamma.imag)[:MODES]

    def _problem(self, target: float) -> Any:
        # Rows of the walls are those of 1 x = gamma^2 0 x, far from any target.
        left = fem_petsc.assemble_matrix(self._left, bcs=[self._condition], diagonal=1.0)
        right = fem_petsc.assemble_matrix(self._right, bcs=[self._condition], diagonal=0.0)
        left.assemble()
        right.assemble()
        problem = SLEPc.EPS().create(self.mesh.comm)
        problem.setOperators(left, right)
        problem.setProblemType(SLEPc.EPS.ProblemType.GNHEP)
        problem.setWhichEigenpairs(SLEPc.EPS.Which.TARGET_MAGNITUDE)
        problem.setTarget(target)
        problem.setDimensions(MODES, 8 * MODES)
        problem.setTolerances(1e-12, 200)
        transformation = problem.getST()
        transformation.setType(SLEPc.ST.Type.SINVERT)
        solver = transformation.getKSP()
        solver.setType(PETSc.KSP.Type.PREONLY)
        solver.getPC().setType(PETSc.PC.Type.LU)
        solver.getPC().setFactorSolverType(PETSc.Mat.SolverType.MUMPS)
        return problem

    def _mode(self, problem: Any, k0: float, at: int) -> Mode:
        field = fem.Function(self.space)
        problem.getEigenvector(at, field.vector)
        field.x.scatter_forward()
        gamma = complex(1j * np.sqrt(-problem.getEigenvalue(at) + 0j))
        e, z = ufl.split(field)
        squares = self._integral(ufl.dot(e, e))
        field.x.array[:] /= np.sqrt(squares)
        h = e + ufl.grad(z)  # H_t, turned by 90 degrees and scaled
        power = self._integral(ufl.dot(e, h))
        e_across = self._integral(abs(e[0]) ** 2) / self._integral(ufl.inner(e, e))
        h_across = self._integral(abs(h[1]) ** 2) / self._integral(ufl.inner(h, h))
        return Mode(
            gamma,
            LSE if e_across.real < h_across.real else LSM,
            1j * k0 * LIGHT * VACUUM_PERMEABILITY / (gamma * power),
            problem.computeError(at, SLEPc.EPS.ErrorType.RELATIVE),
            field,
        )

    def _integral(self, integrand: Any) -> complex:
        own = fem.assemble_scalar(fem.form(integrand * ufl.dx))
        return complex(self.mesh.comm.allreduce(own))

    def fields_at_nodes(self, modes: List[Mode]) -> Any:
        """E of each mode in the order of the local cells, [mode, cell, corner, component]: means over
        the elements around a node, each weighted by the node's hat function. E_z is a quarter of a
        period later than E_t. All of it is scaled by gamma."""
        hats = fem.FunctionSpace(self.mesh, ("Lagrange", 1))
        v = ufl.TestFunction(hats)
        one = fem.Constant(self.mesh, PETSc.ScalarType(1))
        weights = self._assembled(ufl.inner(one, v))
        dofs = cell_table(self.mesh, hats.dofmap)
        result = np.empty((len(modes), *dofs.shape, 3))
        for at, mode in enumerate(modes):
            e, z = ufl.split(mode.field)
            for component, (part, scale) in enumerate(
                ((e[0], 1), (e[1], 1), (z, -1j * mode.gamma))
            ):
                values = self._assembled(ufl.inner(part, v)) * scale / weights
                result[at, :, :, component] = values.real[dofs]
        return result

    def _assembled(self, integrand: Any) -> Any:
        """A vector of the hat functions, with the values of ghosts."""
        vector = fem_petsc.assemble_vector(fem.form(integrand * ufl.dx))
        vector.ghostUpdate(PETSc.InsertMode.ADD, PETSc.ScatterMode.REVERSE)
        vector.ghostUpdate(PETSc.InsertMode.INSERT, PETSc.ScatterMode.FORWARD)
        with vector.localForm() as local:
            return local.array.copy()


def cell_table(cells: Any, dofmap: Any) -> Any:
    """The local degrees of freedom of all local cells, ghosts included: [cell, degree of freedom]."""
    known = cells.topology.index_map(2)
    return np.array([dofmap.cell_dofs(at) for at in range(known.size_local + known.num_ghosts)])
