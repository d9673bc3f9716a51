#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Statistics over the files of thousands of ranks with Dask, a few of them in memory at a time.

Usage: rank_files.py DIRECTORY [FILES]

Makes FILES files of metrics in DIRECTORY, as the ranks of a parallel run would, unless they are
there. Then a cluster of local processes reads them, and their partial results are combined."""

from __future__ import annotations

import dataclasses
import functools
import pathlib
import sys

import dask
import dask.distributed
import fieldstore
import numpy as np

ELEMENT, ERROR = 1, 2  # entity type, value type


@dataclasses.dataclass(frozen=True)
class Moments:
    """What sums of several files can be added up from."""

    size: int
    total: float
    squares: float
    largest: float


def combined(a: Moments, b: Moments) -> Moments:
    return Moments(
        a.size + b.size, a.total + b.total, a.squares + b.squares, max(a.largest, b.largest)
    )


def make_files(directory: pathlib.Path, count: int) -> None:
    for rank in range(count):
        place = directory / f"rank-{rank:05d}"
        if place.exists():
            continue
        place.mkdir()
        errors = np.random.default_rng(rank).exponential(1e-3, 1000)
        with fieldstore.Store(place, durable=False) as store:
            store.metrics.define(ELEMENT, ERROR)
            store.metrics.add(ELEMENT, ERROR, rank * 1000 + np.arange(1000), errors)
            store.metrics.add_edges([1], [[1, 2]])


def moments_of(paths: list[pathlib.Path]) -> Moments:
    """Reads files one after another; runs in a worker."""
    result = Moments(0, 0.0, 0.0, -np.inf)
    for path in paths:
        with fieldstore.open(path, fieldstore.Metrics) as metrics:
            errors = metrics.values(ELEMENT, ERROR).values
            here = Moments(
                errors.size, float(errors.sum()), float((errors**2).sum()), float(errors.max())
            )
            result = combined(result, here)
    return result


def main() -> int:
    if len(sys.argv) not in (2, 3):
        print(__doc__, file=sys.stderr)
        return 2
    directory = pathlib.Path(sys.argv[1])
    directory.mkdir(parents=True, exist_ok=True)
    make_files(directory, int(sys.argv[2]) if len(sys.argv) == 3 else 2000)
    paths = sorted(directory.glob("rank-*/solutiondata.dat"))
    batches = [paths[first : first + 50] for first in range(0, len(paths), 50)]
    with dask.distributed.LocalCluster(
        n_workers=2, threads_per_worker=1, dashboard_address=None
    ) as cluster, dask.distributed.Client(cluster):
        parts = dask.compute(*[dask.delayed(moments_of)(batch) for batch in batches])
    total = functools.reduce(combined, parts)
    mean = total.total / total.size
    deviation = np.sqrt(total.squares / total.size - mean**2)
    print(f"{total.size} values in {len(paths)} files")
    print(f"mean {mean:.3e}, standard deviation {deviation:.3e}, largest {total.largest:.3e}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
