# SPDX-License-Identifier: Apache-2.0
"""What a store writes, refuses and leaves alone."""

from __future__ import annotations

import os
import pathlib
import subprocess
import sys
import threading
from typing import Any, Callable

import fieldstore
import numpy as np
import pytest
from conftest import FILES, documented_examples


def fill_as_documented(store: fieldstore.Store) -> None:
    """With the data of the examples in the description of the file format."""
    store.modes.add(1e9, 1, [1 + 2j, 3 + 4j], [[1, 2], [5, 6]], [[3, 4], [7, 8 + 0.1j]])
    store.dofs.set(([0, 2, 3, 3], [1, 0, 0], [0.5, 0.0, 2.0]), [0, 1, 7])
    store.matrices.add(2e9, 3, [[1, 2], [3, 0.25]])
    store.mesh.set([8, 3, -5, 3], [[4, 9], [3, 5]])
    kinds = [[[2, 10, 12, 4], [0, 20, -1, 5]], [[0, 30, 31]], [[3, -1, 7]], [[3, 5, 9], [0, 1, 2]]]
    store.lists.set(kinds, totals=[4, 2, 3, 1], header=77, last_block=2, in_blocks=True)
    store.tree.set(
        {0: [4, 2], 1: [5]},
        level_count=2,
        leaf_counts=np.arange(1, 11).reshape(5, 2),
        mapped={6: [9, 8]},
        auxiliary=[11, 12],
        tag=7,
        id_count=3,
    )
    store.ports.set([10, 11, 12, 13, 14], port_count=2, offset_count=1, circuit_counts=(1, 1))
    metrics = store.metrics
    metrics.set_header(9, [1, 2, 3, 4000000000])
    metrics.define(1, 2, size=2, function="mean")
    metrics.add(1, 2, [0], [[1.5, 2.5]])
    metrics.add_nodes([1, 2], [[0, 0, 0], [1, 0, 0.5]], neighbors=[[2], [1]])
    metrics.add_edges([1], [[1, 2]])
    store.assembly.add([5, 7], [False, True], [[1, 1, 2]] * 2, [[5], [7]], [[4], [4]])


def test_files_have_the_documented_bytes(tmp_path: pathlib.Path) -> None:
    with fieldstore.Store(tmp_path, mode="binary", lock=True) as store:
        fill_as_documented(store)
    examples = documented_examples()
    examples["PODOFList"] = examples["Blocked DOF list"]
    for class_name, file in FILES.items():
        assert (tmp_path / file).read_bytes() == examples[class_name], class_name
    assert sorted(os.listdir(tmp_path)) == sorted(FILES.values())  # no lock is left


def test_arrays_of_any_layout_and_float_type(tmp_path: pathlib.Path) -> None:
    plain = np.arange(18.0).reshape(2, 3, 3)
    forms = [
        plain.astype(np.float32),
        np.asfortranarray(plain),
        plain.astype(">f8"),
        plain.astype(np.longdouble),
        np.repeat(plain, 2, axis=0)[::2],
        plain[:, ::-1][:, ::-1],
        plain.astype(int),
        plain.tolist(),
    ]
    with fieldstore.Store(tmp_path, durable=False) as store:
        for type, form in enumerate(forms):
            store.matrices.add([1, 2], type, form)
    stored = fieldstore.open(tmp_path).matrices
    assert len(stored) == len(forms)
    assert all(np.array_equal(values, plain) for values in stored.values())


def metrics_with_definition(store: fieldstore.Store) -> Any:
    store.metrics.define(1, 2, size=2)
    return store.metrics


REFUSED = [
    (lambda s: s.matrices.add([1, 2], 0, np.ones((3, 2, 2))), "values has shape .3, 2, 2., expected"),
    (lambda s: s.matrices.add(1, 0, np.ones((2, 3))), "expected .frequency, n, n."),
    (lambda s: s.matrices.add(1, 0, [[1j]]), "values is of type complex128, expected float64"),
    (lambda s: s.matrices.add(1.5, 0, [[1.0]]), "frequency has 1.5: files keep whole numbers"),
    (lambda s: s.matrices.add(np.nan, 0, [[1.0]]), "frequency has nan"),
    (lambda s: s.mesh.set([2**31], np.zeros((0, 2))), "ids has 2147483648, outside -2147483648 to"),
    (lambda s: s.mesh.set([1.0], [[1, 2]]), "ids is of type float64, expected int32"),
    (lambda s: s.mesh.set([1], [[1, 2, 3]]), "pairs has shape .1, 3., expected .pair, 2."),
    (lambda s: s.modes.add(1, 1, [1], [[1]], [[1], [2]]), "currents has shape .1, 2, 1., .* mode is 1"),
    (lambda s: s.modes.add(1, 1, [1], [[1]], [[1]], groups=[1]), "groups has a number outside 0 to 0"),
    (lambda s: s.metrics.add(1, 2, [1], [1.0]), "entity type 1 and value type 2 are not defined"),
    (lambda s: s.metrics.define(1, 10), "value can be 0 to 9"),
    (lambda s: s.metrics.define(1, 2, function="median"), "function is 'median'; it can be replace"),
    (lambda s: metrics_with_definition(s).add(1, 2, [1], [[1.0]]), "expected .vector, 2."),
    (lambda s: s.dofs.set(([0, 2], [0], [1.0]), [0]), "offsets of rows have to ascend from 0 to 1"),
    (lambda s: s.dofs.set(([0, 2, 1], [0], [1.0]), [0, 0]), "offsets of rows have to ascend"),
    (lambda s: s.assembly.add([0], True, [[]], [[]], [[]]), "ids has 0, expected 1 or more"),
    (lambda s: s.assembly.add([1], True, [[], []], [[]], [[]]), "nodes1 has 2 lists, expected one"),
    (lambda s: s.lists.set([[], []]), "records has 2 kinds, expected 4"),
    (lambda s: s.tree.set({0: [1]}, level_count=1, leaf_counts=[[1]]), "expected .5, leaf."),
]


@pytest.mark.parametrize("call, message", REFUSED)
def test_what_does_not_fit_is_refused_by_name(
    call: Callable[[Any], None], message: str, tmp_path: pathlib.Path
) -> None:
    with pytest.raises((ValueError, TypeError), match=message):
        with fieldstore.Store(tmp_path) as store:
            store.ports.set([1], port_count=1)
            call(store)
    assert os.listdir(tmp_path) == []


def test_a_block_that_raises_stores_nothing(tmp_path: pathlib.Path, capfd: Any) -> None:
    with pytest.raises(ZeroDivisionError):
        with fieldstore.Store(tmp_path, lock=True) as store:
            fill_as_documented(store)
            1 / 0
    assert os.listdir(tmp_path) == []
    assert capfd.readouterr() == ("", "")


def test_each_commit_appends_what_came_since(tmp_path: pathlib.Path) -> None:
    store = fieldstore.Store(tmp_path)
    for frequency in (1, 2):
        store.matrices.add(frequency, 0, [[1.0]])
        store.commit()
    store.commit()
    # 8 bytes of count; a key of 12, a count of 8 and a value of 8 for each of the two
    assert (tmp_path / "circuitmatrices.dat").stat().st_size == 2 * (8 + 12 + 8 + 8)


def test_a_failed_commit_is_told_and_can_be_repeated(tmp_path: pathlib.Path, capfd: Any) -> None:
    (tmp_path / "evtree.dat").mkdir()
    store = fieldstore.Store(tmp_path)
    store.matrices.add(1, 0, [[1.0]])
    store.ports.set([1], port_count=0)  # a table, but no port or circuit
    with pytest.raises(fieldstore.StoreError, match="Data validation failed.* before: matrices"):
        store.commit()
    store.ports.set([1], port_count=1)
    store.commit()
    assert fieldstore.open(tmp_path).ports.port_dofs.tolist() == [1]
    assert capfd.readouterr() == ("", "")


def test_only_directories_are_stores(tmp_path: pathlib.Path) -> None:
    with pytest.raises(FileNotFoundError):
        fieldstore.Store(tmp_path / "none")
    (tmp_path / "file").touch()
    with pytest.raises(NotADirectoryError):
        fieldstore.Store(tmp_path / "file")


@pytest.mark.parametrize("mark, holder", [(False, "A writer has had it for"), (True, "Process 4711")])
def test_a_lock_is_waited_for_until_control_c_or_the_end(
    mark: bool, holder: str, tmp_path: pathlib.Path
) -> None:
    """The wait of 20 s is cut short by a handler that raises; the text of its end is made alone."""
    (tmp_path / "circuitmatrices.lck").touch()
    if mark:
        (tmp_path / "circuitmatrices.dat.undo").write_text(f"0\nhost {os.uname().nodename}\nprocess 4711\n")
    code = f"""
import fieldstore, signal
def stop(*_): raise KeyboardInterrupt
signal.signal(signal.SIGALRM, stop)
store = fieldstore.Store({str(tmp_path)!r}, lock=True)
store.matrices.add(1, 0, [[1.0]])
signal.setitimer(signal.ITIMER_REAL, 0.2)
try:
    store.commit()
except KeyboardInterrupt:
    print("interrupted")
error = store._error("matrices", (1, "Unable to acquire file lock."), [])
assert isinstance(error, fieldstore.LockedError)
print(error.holder, error)
"""
    run = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, check=True)
    first, second, *rest = run.stdout.splitlines()
    assert first == "interrupted" and second.startswith(holder) and not rest
    assert "fieldstore unlock" in second and run.stderr == ""
    assert not (tmp_path / "circuitmatrices.dat").exists()


def test_other_threads_run_while_a_commit_waits(tmp_path: pathlib.Path) -> None:
    lock = tmp_path / "circuitmatrices.lck"
    lock.touch()
    releaser = threading.Timer(0.05, lock.unlink)
    releaser.start()
    with fieldstore.Store(tmp_path, lock=True) as store:
        store.matrices.add(1, 0, [[1.0]])
    releaser.join()
    assert list(fieldstore.open(tmp_path).matrices) == [0]


def test_several_processes_append_to_one_file(tmp_path: pathlib.Path) -> None:
    code = """
import fieldstore, sys
for step in range(5):
    with fieldstore.Store(sys.argv[1], lock=True, durable=False) as store:
        store.matrices.add(100 * int(sys.argv[2]) + step, 0, [[step]])
"""
    writers = [
        subprocess.Popen([sys.executable, "-c", code, str(tmp_path), str(rank)]) for rank in range(4)
    ]
    assert [writer.wait() for writer in writers] == [0] * 4
    assert len(fieldstore.open(tmp_path).matrices.frequencies) == 20
