# SPDX-License-Identifier: Apache-2.0
"""The examples in the docstrings."""

from __future__ import annotations

import doctest
import importlib
import pathlib
import pkgutil
from typing import Any

import fieldstore
import numpy as np
import pytest


def make_store(directory: pathlib.Path) -> None:
    """The results that the examples look at."""
    with fieldstore.Store(directory) as store:
        store.modes.add(
            [10e9, 11e9],
            1,
            gamma=[[209j, 12j], [230j, 80j]],
            voltages=np.arange(8).reshape(2, 2, 2),
            currents=np.ones((2, 2, 2)),
        )
        store.matrices.add(10e9, 0, [[50.0, 1.0], [1.0, 50.0]])
        store.matrices.add(11e9, 0, [[51.0, 1.0], [1.0, 51.0]])
        store.matrices.add([10e9, 11e9], 1, [[[0, 1], [1, 0]], [[1, 2], [2, 5]]])
        rows = ([0, 2, 3, 3], [0, 1, 2], [0.5, 0.5, 2.0])
        store.dofs.set(rows, types=[0, 1, 0])
        store.mesh.set(ids=[-5, 3, 8], pairs=[[3, 5], [4, 9]])
        store.lists.set(
            [[[0, 20, -1, 5], [2, 10, 12, 4]], [[0, 30, 31]], [[3, -1, 7]], [[0, 1, 2], [3, 5, 9]]],
            in_blocks=True,
        )
        store.tree.set({0: [2, 4], 1: [5]}, level_count=2, leaf_counts=np.ones((5, 2), int))
        store.ports.set(
            [10, 11, 12, 13, 14], port_count=2, offset_count=1, circuit_counts=(1, 1)
        )
        store.metrics.define(1, 2, size=2, function="max")
        store.metrics.add(1, 2, ids=[0, 0], indices=[0, 1], values=[[1.5, 2.5], [0.5, 1.0]])
        store.metrics.add_edges([1], [[1, 2]])
        store.assembly.add([5, 7], [False, True], [[1, 1, 2]] * 2, [[5], [7]], [[4], [4]])


MODULES = [module.name for module in pkgutil.iter_modules(fieldstore.__path__)]


@pytest.mark.parametrize("name", sorted(set(MODULES) - {"_fieldstore"}))
def test_examples_show_what_happens(name: str, tmp_path: pathlib.Path) -> None:
    results = tmp_path / "results"
    results.mkdir()
    make_store(results)
    run_examples(importlib.import_module("fieldstore." + name), tmp_path)


def run_examples(module: Any, tmp_path: pathlib.Path) -> None:
    """Runs the examples of a module over the store in ``results``, each with an empty directory."""
    for test in doctest.DocTestFinder(exclude_empty=True).find(module):
        empty = tmp_path / test.name
        empty.mkdir()
        test.globs.update(fieldstore=fieldstore, results=tmp_path / "results", empty=empty)
        for call, package in (("network(", "skrf"), ("to_scipy(", "scipy")):
            if call in (test.docstring or ""):
                pytest.importorskip(package)
        output: list[str] = []
        runner = doctest.DocTestRunner(optionflags=doctest.NORMALIZE_WHITESPACE)
        assert runner.run(test, out=output.append).failed == 0, "".join(output)
