# SPDX-License-Identifier: Apache-2.0
"""Ranks that store as one. Threads take the place of processes; what they exchange is pickled."""

from __future__ import annotations

import concurrent.futures
import os
import pathlib
import pickle
import threading
from typing import Any, Callable, List, Optional

import fieldstore
import numpy as np
import pytest

RANKS = 3


class Ranks:
    """One rank's end of a communicator; a rank that hangs breaks it for all."""

    def __init__(self, rank: int, board: List[bytes], barrier: threading.Barrier) -> None:
        self.rank = rank
        self._board, self._barrier = board, barrier

    def allgather(self, sendobj: Any) -> List[Any]:
        self._board[self.rank] = pickle.dumps(sendobj)
        self._barrier.wait(20)
        found = [pickle.loads(sent) for sent in self._board]
        self._barrier.wait(20)
        return found

    def gather(self, sendobj: Any, root: int = 0) -> Optional[List[Any]]:
        found = self.allgather(sendobj)
        return found if self.rank == root else None

    def bcast(self, obj: Any, root: int = 0) -> Any:
        return self.allgather(obj)[root]


def on_ranks(action: Callable[[Ranks], None]) -> List[Optional[BaseException]]:
    """What the action raised on each rank."""
    board, barrier = [b""] * RANKS, threading.Barrier(RANKS)
    with concurrent.futures.ThreadPoolExecutor(RANKS) as pool:
        runs = [pool.submit(action, Ranks(rank, board, barrier)) for rank in range(RANKS)]
        return [run.exception() for run in runs]


def give(store: fieldstore.Store, rank: int, step: int) -> None:
    """Rank 1 has neither metrics nor matrices; rank 2 has what is replaced."""
    if rank != 1:
        store.metrics.define(3, 1, function="sum")
        store.metrics.add(3, 1, ids=[7], values=[rank + 1.0], indices=step)
        store.metrics.add_edges([rank + 1], [[1, 2]])
        store.matrices.add([step + 1, 9], rank, np.full((2, 1, 1), rank))
    store.assembly.add([10 * step + rank + 1], rank == 1, [[1]], [[2]], [[3]])
    if rank == 2:
        store.dofs.set(([0, 1], [0], [step]), [0])


@pytest.mark.parametrize("mode", [None, "text", "binary"])
def test_files_are_those_of_commits_in_turn(mode: Optional[str], tmp_path: pathlib.Path) -> None:
    together, in_turn = tmp_path / "together", tmp_path / "in turn"
    together.mkdir()
    in_turn.mkdir()

    def run(ranks: Ranks) -> None:
        with fieldstore.Store(together, comm=ranks, mode=mode, version="v1") as store:
            give(store, ranks.rank, 0)
            store.commit()
            give(store, ranks.rank, 1)

    assert on_ranks(run) == [None] * RANKS
    for step in range(2):
        for rank in range(RANKS):
            with fieldstore.Store(in_turn, lock=True, mode=mode, version="v1") as store:
                give(store, rank, step)
    names = sorted(os.listdir(in_turn))
    assert len(names) == 4 and sorted(os.listdir(together)) == names
    for name in names:
        assert (together / name).read_bytes() == (in_turn / name).read_bytes(), name


def raise_on_one(store: fieldstore.Store, rank: int) -> None:
    give(store, rank, 0)
    if rank == 1:
        raise ZeroDivisionError("by rank 1")


def give_mesh_on_two(store: fieldstore.Store, rank: int) -> None:
    give(store, rank, 0)
    if rank > 0:
        store.mesh.set([rank], [])


def give_uneven_ports_on_one(store: fieldstore.Store, rank: int) -> None:
    for port in range(2):
        frequencies = [1, 2] if rank == 2 and port == 1 else [1]
        one = np.ones((len(frequencies), 1))
        store.modes.add(frequencies, port, one, one[..., None], one[..., None])


def block_a_file(store: fieldstore.Store, rank: int) -> None:
    if rank == 0:
        (pathlib.Path(store.path) / "modeinfo.dat").mkdir()
    store.modes.add(1, 1, [1j], [[1]], [[1]])


FAILURES = [
    (raise_on_one, (fieldstore.StoreError, "as rank 1 raised ZeroDivisionError: by rank 1")),
    (give_mesh_on_two, (ValueError, "mesh was given by ranks 1, 2, but evtree.dat is replaced")),
    (give_uneven_ports_on_one, (fieldstore.StoreError, "Rank 2: ")),
    (block_a_file, (fieldstore.StoreError, "modeinfo.dat")),
]


@pytest.mark.parametrize("fail, expected", FAILURES)
def test_what_fails_on_one_rank_fails_on_all(
    fail: Callable[[fieldstore.Store, int], None], expected: Any, tmp_path: pathlib.Path
) -> None:
    def run(ranks: Ranks) -> None:
        with fieldstore.Store(tmp_path, comm=ranks) as store:
            fail(store, ranks.rank)

    kind, text = expected
    errors = on_ranks(run)
    if fail is raise_on_one:  # which keeps its own error
        assert isinstance(errors.pop(1), ZeroDivisionError)
    assert all(type(error) is kind and text in str(error) for error in errors), errors
    assert [name for name in os.listdir(tmp_path) if (tmp_path / name).is_file()] == []


def test_a_directory_has_to_be_there_for_all(tmp_path: pathlib.Path) -> None:
    def run(ranks: Ranks) -> None:
        fieldstore.Store(tmp_path / ("none" if ranks.rank == 1 else "."), comm=ranks)

    assert [type(error) for error in on_ranks(run)] == [FileNotFoundError] * RANKS
