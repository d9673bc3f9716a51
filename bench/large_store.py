#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Stores 1.26 GB of random results in a directory, to try on them what takes long: the report, exports.

  bench/large_store.py DIRECTORY
"""
import sys
from typing import Any

import numpy as np

import fieldstore

FREQUENCIES, PORTS, MODES, ENTRIES = 2000, 8, 10, 60
PORTS_OF_MATRICES = 140
SIDE = 1000  # of the square of nodes


def main() -> int:
    random = np.random.default_rng(1)

    def complexes(*shape: int) -> "np.ndarray[Any, Any]":
        return random.normal(size=shape) + 1j * random.normal(size=shape)

    with fieldstore.Store(sys.argv[1]) as store:
        frequencies = (np.arange(FREQUENCIES) + 1) * 1_000_000
        for port in range(PORTS):
            data = complexes(FREQUENCIES, MODES, ENTRIES)
            store.modes.add(frequencies, port, complexes(FREQUENCIES, MODES), data, data)
        for part in (0, 1):
            shape = (FREQUENCIES // 2, PORTS_OF_MATRICES, PORTS_OF_MATRICES)
            store.matrices.add(frequencies[: shape[0]], part, random.normal(size=shape))

        nodes = np.arange(SIDE * SIDE) + 1
        store.metrics.define(1, 1, 3, "max")
        store.metrics.define(2, 0, 1)
        store.metrics.add(1, 1, nodes, random.normal(size=(nodes.size, 3)))
        for step in range(3):
            store.metrics.add(2, 0, nodes, np.abs(random.normal(size=nodes.size)), step)
        places = np.divmod(nodes - 1, SIDE)
        store.metrics.add_nodes(nodes, np.stack([*places, 0 * nodes], axis=1).astype(float))
        grid = nodes.reshape(SIDE, SIDE)
        edges = np.concatenate([np.stack([a.ravel(), b.ravel()], axis=1)
                                for a, b in ((grid[:, :-1], grid[:, 1:]), (grid[:-1], grid[1:]))])
        store.metrics.add_edges(np.arange(len(edges)) + 1, edges)
    return 0


if __name__ == "__main__":
    sys.exit(main())
