#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Compares the Python package with the same work in C++ and with h5py, and prints a table.

Usage: python_bench.py PARTNER [--directory DIR] [--rounds N]

PARTNER is the program fieldstore_python_partner. Every round runs each side once, in turn, in a
process of its own, which does the work twice, with a heap that was trimmed before, and tells the
second time; the figures are medians. A load ends with all arrays in memory, and h5py's with the same arrays; what
lets go of them is not counted on any side.
Exit status 1 when a row misses its target."""

from __future__ import annotations

import argparse
import ctypes
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time
from typing import Any, Callable, Dict, List, Tuple

import fieldstore
import numpy as np

Arrays = Dict[str, Any]
Loaded = Tuple[Any, Arrays]  # the object, and its arrays
METRICS = 1_000_000


def seconds(action: Callable[[], Any]) -> float:
    start = time.perf_counter()
    kept = action()
    passed = time.perf_counter() - start
    del kept
    return passed


def modes(path: pathlib.Path) -> Loaded:
    found = fieldstore.open(path, fieldstore.Modes)
    arrays = {f"gamma{port}": found.gamma(port) for port in found.ports.tolist()}
    arrays.update({f"voltages{port}": found.voltages(port) for port in found.ports.tolist()})
    arrays.update({f"currents{port}": found.currents(port) for port in found.ports.tolist()})
    return found, {"frequencies": found.frequencies, **arrays}


def matrices(path: pathlib.Path) -> Loaded:
    found = fieldstore.open(path, fieldstore.Matrices)
    return found, {"frequencies": found.frequencies, **{str(type): found[type] for type in found}}


def dofs(path: pathlib.Path) -> Loaded:
    found = fieldstore.open(path, fieldstore.DofMap)
    return found, {
        "offsets": found.offsets,
        "columns": found.columns,
        "weights": found.weights,
        "types": found.types,
    }


def mesh(path: pathlib.Path) -> Loaded:
    found = fieldstore.open(path, fieldstore.MeshTree)
    return found, {"ids": found.ids, "pairs": found.pairs}


def metrics(path: pathlib.Path) -> Loaded:
    found = fieldstore.open(path, fieldstore.Metrics)
    return found, found.values(1, 0)._asdict()


def lists(path: pathlib.Path) -> Loaded:
    found = fieldstore.open(path, fieldstore.DofList)
    return found, {str(kind): found.records(kind) for kind in (1, 2, 3, 4)}


LOADS: List[Tuple[str, str, Callable[[pathlib.Path], Loaded]]] = [
    ("1,000 frequencies x 4 ports x 10 modes x 20 complex", "modes", modes),
    ("1,000 frequencies x 2 types of 64 x 64", "matrices", matrices),
    ("500,000 DOF rows x 4 weights", "dofs", dofs),
    ("2,000,000 mesh ids, 2,000,000 pairs", "mesh", mesh),
    ("4 x 1,000,000 DOF records", "lists", lists),
    ("1,000,000 metric values", "metrics", metrics),
]


def make_store(directory: pathlib.Path) -> None:
    random = np.random.default_rng(1)
    with fieldstore.Store(directory, mode="binary", durable=False) as store:
        frequency = np.arange(1000)
        for port in range(1, 5):
            data = random.standard_normal((2, 1000, 10, 10)) + 1j
            store.modes.add(frequency, port, data[0, :, :, 0], data[0], data[1])
        for type in (0, 1):
            store.matrices.add(frequency, type, random.standard_normal((1000, 64, 64)))
        rows = 500_000
        columns = random.integers(0, rows, 4 * rows)
        weights = random.standard_normal(4 * rows)
        store.dofs.set((np.arange(rows + 1) * 4, columns, weights), np.zeros(rows, int))
        ids = np.arange(2_000_000)
        store.mesh.set(ids, np.column_stack((ids, ids + 1)))
        records = np.zeros((1_000_000, 4), np.int32)
        store.lists.set([records] * 4)
        store.metrics.define(1, 0)
        store.metrics.add(1, 0, ids[:METRICS], random.standard_normal(METRICS))
        store.metrics.add_edges([1], [[1, 2]])


def second(*command: object) -> List[float]:
    """What a process prints of the second time."""
    run = subprocess.run([*map(str, command)], check=True, capture_output=True, text=True)
    return [float(word) for word in run.stdout.splitlines()[1].split()]


def with_h5py(path: pathlib.Path) -> Arrays:
    import h5py

    with h5py.File(path) as file:
        return {name: data[...] for name, data in file.items()}


def store_metrics(directory: pathlib.Path) -> None:
    ids, values = np.arange(METRICS), np.arange(METRICS) * 0.5
    start = time.perf_counter()
    with fieldstore.Store(directory, durable=False) as store:
        store.metrics.define(1, 0)
        store.metrics.add(1, 0, ids, values)
        store.metrics.add_edges([1], [[1, 2]])
    print(time.perf_counter() - start)
    (directory / "solutiondata.dat").unlink()


def measure(what: str, path: pathlib.Path) -> None:
    """One side of a row, in the process made for it."""
    for _ in range(2):
        ctypes.CDLL(None).malloc_trim(0)
        if what == "store":
            store_metrics(path)
        elif what == "h5py":
            print(seconds(lambda: with_h5py(path)))
        else:
            read = next(read for _, name, read in LOADS if name == what)
            print(seconds(lambda: read(path)))


def bench_loads(program: str, directory: pathlib.Path, rounds: int) -> bool:
    print("| load to arrays | MiB | C++ ms | Python / C++ | target | Python / h5py | result |")
    print("| --- | ---: | ---: | ---: | ---: | ---: | ---: |")
    all_pass = True
    for title, name, read in LOADS:
        known = fieldstore.CLASSES[name]
        path = directory / known.file_name
        peer = directory / (name + ".h5")
        import h5py

        with h5py.File(peer, "w") as file:
            for key, array in read(path)[1].items():
                file[key] = array
        times: Dict[str, List[float]] = {"C++": [], "Python": [], "h5py": []}
        for _ in range(rounds):
            times["C++"] += second(program, "load", known.class_name, path, 2)
            times["Python"] += second(sys.executable, __file__, "--measure", name, path)
            times["h5py"] += second(sys.executable, __file__, "--measure", "h5py", peer)
        cpp, python, h5 = (statistics.median(times[side]) for side in ("C++", "Python", "h5py"))
        passed = python <= 1.2 * cpp and python <= h5
        all_pass &= passed
        size = path.stat().st_size / 2**20
        print(
            f"| {title} | {size:.1f} | {cpp * 1e3:.1f} | **{python / cpp:.2f}** | 1.2 | "
            f"{python / h5:.2f} | {'pass' if passed else 'miss'} |"
        )
    return all_pass


def bench_metrics(program: str, directory: pathlib.Path, rounds: int) -> bool:
    path = directory / "solutiondata.dat"
    path.unlink()
    python, fill, commit = [], [], []
    for _ in range(rounds):
        filled, committed = second(program, "metrics", METRICS, path, 2)
        fill.append(filled)
        commit.append(committed)
        python += second(sys.executable, __file__, "--measure", "store", directory)
    ours, theirs = statistics.median(python), statistics.median(commit)
    whole = statistics.median(sum(pair) for pair in zip(fill, commit))
    print("\n| store | C++ ms | of it commit | Python / C++ | Python / C++ commit | target | result |")
    print("| --- | ---: | ---: | ---: | ---: | ---: | ---: |")
    passed = ours <= 2 * theirs
    print(
        f"| 1,000,000 metric values from arrays | {whole * 1e3:.1f} | {theirs * 1e3:.1f} | "
        f"{ours / whole:.2f} | **{ours / theirs:.2f}** | 2 | {'pass' if passed else 'miss'} |"
    )
    return passed


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("partner", help="or what to measure in this process")
    parser.add_argument("file", nargs="?", type=pathlib.Path, help=argparse.SUPPRESS)
    parser.add_argument("--measure", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("--directory", default="/dev/shm")
    parser.add_argument("--rounds", type=int, default=7)
    options = parser.parse_args()
    if options.measure:
        measure(options.partner, options.file)
        return 0
    with tempfile.TemporaryDirectory(dir=options.directory) as directory:
        place = pathlib.Path(directory)
        make_store(place)
        passed = bench_loads(options.partner, place, options.rounds)
        passed &= bench_metrics(options.partner, place, options.rounds)
    return 0 if passed else 1


if __name__ == "__main__":
    sys.exit(main())
