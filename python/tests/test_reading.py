# SPDX-License-Identifier: Apache-2.0
"""What objects give of files whose bytes the description of the format has, worked out by hand."""

from __future__ import annotations

import multiprocessing
import pathlib
import pickle
import subprocess
import sys
from typing import Any

import fieldstore
import numpy as np
import pytest
from conftest import documented_examples
from fieldstore import _fieldstore, _store
from fieldstore.report import _report


def same(found: Any, expected: Any) -> bool:
    return bool(np.array_equal(np.asarray(found), np.asarray(expected), equal_nan=True))


def test_every_class_of_the_library_is_here() -> None:
    known = {its.class_name for its in fieldstore.CLASSES.values()}
    assert known == set(_fieldstore.FILE_NAMES)
    assert set(fieldstore.CLASSES) == set(_store.WRITERS) == set(_report._TITLES)


def test_every_class_gives_what_its_file_holds(documented: pathlib.Path) -> None:
    with fieldstore.open(documented) as store:
        assert set(store) == set(fieldstore.CLASSES)
        modes = store.modes
        assert (modes.mode, modes.frequencies.tolist(), modes.ports.tolist()) == (
            "binary",
            [1e9],
            [1],
        )
        assert same(modes.gamma(1), [[1 + 2j, 3 + 4j]])
        assert same(modes.groups(1), [[0, 1]])
        assert same(modes.voltages(1), [[[1, 2], [5, 6]]])
        assert same(modes.currents(1), [[[3, 4], [7, 8 + 0.1j]]])
        assert same(store.dofs.offsets, [0, 2, 3, 3])
        assert same(store.dofs.columns, [1, 0, 0]) and same(store.dofs.weights, [0.5, 0, 2])
        assert same(store.dofs.types, [0, 1, 7])
        assert list(store.matrices) == [3]
        assert same(store.matrices[3], [[[1, 2], [3, 0.25]]])
        assert same(store.mesh.ids, [-5, 3, 8]) and same(store.mesh.pairs, [[3, 5], [4, 9]])
        lists = store.lists
        assert (lists.distinct_count, lists.header, lists.totals) == (5, 77, (4, 2, 3, 1))
        assert [lists.records(kind).tolist() for kind in (1, 2, 3, 4)] == [
            [[0, 20, -1, 5], [2, 10, 12, 4]],
            [[0, 30, 31]],
            [[3, -1, 7]],
            [[0, 1, 2], [3, 5, 9]],
        ]
        tree = store.tree
        assert (tree.tag, tree.id_count, tree.level_count, tree.leaf_count) == (7, 3, 2, 2)
        assert same(tree.leaf_counts, [[1, 2], [3, 4], [5, 6], [7, 8], [9, 10]])
        assert {node: items.tolist() for node, items in tree.nodes.items()} == {0: [2, 4], 1: [5]}
        assert tree.mapped[6].tolist() == [9, 8] and tree.auxiliary.tolist() == [11, 12]
        ports = store.ports
        assert (ports.port_count, ports.offset_count, ports.circuit_counts) == (2, 1, (1, 1))
        assert same(ports.port_dofs, [10, 11]) and same(ports.circuit_dofs, [13, 14])
        metrics = store.metrics
        assert (metrics.header_id, metrics.header_fields) == (9, (1, 2, 3, 4000000000))
        assert metrics.definitions == {(1, 2): (2, 3)}
        found = metrics.values(1, 2)
        assert same(found.values, [[1.5, 2.5]]) and same(found.ids, [0])
        assert same(metrics.nodes.positions, [[0, 0, 0], [1, 0, 0.5]])
        assert metrics.neighbors[2].tolist() == [1] and metrics.edges[1].tolist() == [1, 2]
        assembly = store.assembly
        assert same(assembly.ids, [5, 7]) and same(assembly.flags, [False, True])
        assert [assembly.nodes(k)[7].tolist() for k in (1, 2, 3)] == [[1, 1, 2], [7], [4]]
        assert same(assembly.basis_counts(1), [[1, 2], [2, 1]])


def test_a_list_in_blocks_is_read_block_by_block(tmp_path: pathlib.Path) -> None:
    path = tmp_path / "file2.dat"
    path.write_bytes(documented_examples()["Blocked DOF list"])
    lists = fieldstore.open(path, fieldstore.DofList)
    assert lists.block_count == 2 and lists.totals == (4, 2, 3, 1)
    assert lists.block(1).records(3).tolist() == [[3, -1, 7]]
    assert lists.block(0).records(3).tolist() == []
    assert lists.records(1).tolist() == [[0, 20, -1, 5], [2, 10, 12, 4]]
    assert pickle.loads(pickle.dumps(lists.block(1))).records(4).tolist() == [[3, 5, 9]]
    with pytest.raises(IndexError, match="blocks 0 to 1, not 2"):
        lists.block(2)


def test_a_port_with_fewer_modes_is_filled_up(tmp_path: pathlib.Path) -> None:
    with fieldstore.Store(tmp_path) as store:
        store.modes.add(1, 1, [1j, 2j], [[1], [2]], [[3], [4]], groups=[0, 0])
        store.modes.add(2, 1, [5j], [[6, 7]], [[8, 9]])
        store.modes.add([1, 2], 4, [[1], [2]], [[[1]], [[2]]], [[[3]], [[4]]])
    modes = fieldstore.open(tmp_path).modes
    nan = complex(np.nan)
    assert same(modes.gamma(1), [[1j, 2j], [5j, nan]])
    assert same(modes.groups(1), [[0, 0], [0, -1]])
    assert same(modes.voltages(1), [[[1, nan], [2, nan]], [[6, 7], [nan, nan]]])
    assert same(modes.currents(4)[:, :, 0], [[3], [4]])
    with pytest.raises(KeyError, match="no port 2 in .*; ports: 1, 4"):
        modes.gamma(2)


def test_matrices_of_types_that_differ(tmp_path: pathlib.Path) -> None:
    with fieldstore.Store(tmp_path) as store:
        store.matrices.add([1, 2, 3], 0, np.arange(12.0).reshape(3, 2, 2))
        store.matrices.add(2, 7, [[5.0]])
    with fieldstore.Store(tmp_path) as store:
        store.matrices.add(3, 0, np.zeros((2, 2)))  # the later one counts
    matrices = fieldstore.open(tmp_path).matrices
    assert same(matrices[0][:2], np.arange(8.0).reshape(2, 2, 2)) and not matrices[0][2].any()
    assert same(matrices[7], [[[np.nan]], [[5]], [[np.nan]]])
    with fieldstore.Store(tmp_path) as store:
        store.matrices.add(4, 7, np.ones((3, 3)))
    with pytest.raises(ValueError, match="type 7 in .* differ in size"):
        fieldstore.open(tmp_path).matrices[7]


@pytest.mark.parametrize("mode", ["binary", "text"])
def test_columns_grow_with_what_a_file_holds(tmp_path: pathlib.Path, mode: Any) -> None:
    random = np.random.default_rng(3)
    frequencies = np.arange(1, 301)
    voltages, currents = random.standard_normal((2, 300, 3, 40)).round(6)
    large = random.standard_normal((3, 190, 190)).round(6)  # each beyond the buffer of a stream
    offsets = np.append(0, np.cumsum(random.integers(0, 9, 20000)))
    columns, types = random.integers(0, 20000, offsets[-1]), random.integers(0, 3, 20000)
    weights = random.standard_normal(offsets[-1]).round(6)
    with fieldstore.Store(tmp_path, mode=mode) as store:
        store.modes.add(frequencies, 1, voltages[:, :, 0] * 1j, voltages, currents)
        store.matrices.add([5, 6, 7], 2, large)
        store.dofs.set((offsets, columns, weights), types)
    found = fieldstore.open(tmp_path)
    assert same(found.modes.voltages(1), voltages) and same(found.modes.currents(1), currents)
    assert same(found.modes.gamma(1), voltages[:, :, 0] * 1j)
    assert same(found.matrices[2], large)
    assert same(found.dofs.offsets, offsets) and same(found.dofs.columns, columns)
    assert same(found.dofs.weights, weights) and same(found.dofs.types, types)


def test_bodies_come_in_any_order_and_name_keys_again(tmp_path: pathlib.Path) -> None:
    for frequency, value, mode_count in ((3, 30, 2), (1, 10, 1), (3, 99, 1), (2, 20, 2)):
        with fieldstore.Store(tmp_path) as store:
            data = np.full((mode_count, 2), value)
            store.modes.add(frequency, 4, np.full(mode_count, value), data, -data)
    modes = fieldstore.open(tmp_path).modes
    nan = np.nan
    assert modes.frequencies.tolist() == [1, 2, 3]  # of each the first that was stored
    assert same(modes.gamma(4).real, [[10, nan], [20, 20], [30, 30]])
    assert same(modes.currents(4)[:, :, 1].real, [[-10, nan], [-20, -20], [-30, -30]])
    bodies = b"2\n7 1\n1\n0.5\n7 1\n1\n0.25\n", b"2\n7 1\n1\n2.5\n6 1\n1\n4.5\n"
    (tmp_path / "circuitmatrices.dat").write_bytes(bodies[0])
    assert fieldstore.open(tmp_path).matrices[1].tolist() == [[[0.5]]]  # the first of a body
    (tmp_path / "circuitmatrices.dat").write_bytes(bodies[0] + bodies[1])
    assert fieldstore.open(tmp_path).matrices[1].tolist() == [[[4.5]], [[2.5]]]  # of the last body
    (tmp_path / "modeinfo.dat").write_bytes(b"3\n1 1\n0\n1 2\n0\n2 1\n0\n")
    with pytest.raises(fieldstore.DamagedError, match="Data validation failed"):
        fieldstore.open(tmp_path).modes


@pytest.mark.parametrize("name", ["modes", "matrices", "dofs"])
def test_a_file_cut_anywhere_is_no_data(
    documented: pathlib.Path, tmp_path: pathlib.Path, name: str
) -> None:
    known = fieldstore.CLASSES[name]
    whole = (documented / known.file_name).read_bytes()
    for length in range(1, len(whole)):
        path = tmp_path / known.file_name
        path.write_bytes(whole[:length])
        with pytest.raises(fieldstore.DamagedError):
            fieldstore.open(path, mode="binary")


def test_metrics_by_index_and_entity_with_ids_beyond_31_bits(tmp_path: pathlib.Path) -> None:
    with fieldstore.Store(tmp_path) as store:
        store.metrics.define(3, 1, size=2, function="sum")
        store.metrics.define(1, 0)
        store.metrics.add(3, 1, [4000000000, 1], [[1, 2], [3, 4]], indices=[1, 0])
        store.metrics.add(3, 1, [1], [[10, 20]])
        store.metrics.add(1, 0, [9], [0.5])
        store.metrics.add_edges([1], [[1, 2]])
    metrics = fieldstore.open(tmp_path / "solutiondata.dat")
    found = metrics.values(3, 1)
    assert same(found.values, [[13, 24], [1, 2]]) and same(found.ids, [1, 4000000000])
    assert same(metrics.values(3, 1, id=1).values, [[13, 24]])
    assert same(metrics.entities(1, 0), [9]) and same(metrics.indices(3, 1), [0, 1])
    with pytest.raises(KeyError, match=r"\(entity, value\): \(1, 0\), \(3, 1\)"):
        metrics.values(2, 2)


def test_arrays_are_views_that_outlive_their_object(documented: pathlib.Path) -> None:
    with fieldstore.open(documented / "solutiondata.dat") as metrics:
        values = metrics.values(1, 2).values
        again = metrics.values(1, 2).values
    assert np.shares_memory(values, again) and values.tolist() == [[1.5, 2.5]]
    for array in (values, again):
        with pytest.raises(ValueError):
            array.setflags(write=True)
        with pytest.raises(ValueError):
            array[...] = 0
    with pytest.raises(ValueError, match="is closed"):
        metrics.nodes


def test_objects_go_to_other_processes(documented: pathlib.Path) -> None:
    with multiprocessing.get_context("spawn").Pool(1) as pool:
        store = fieldstore.open(documented)
        assert pool.apply(frequencies_of, (store.modes,)) == [1e9]
        assert pool.apply(frequencies_of, (pickle.loads(pickle.dumps(store)).modes,)) == [1e9]


def frequencies_of(modes: fieldstore.Modes) -> Any:
    return modes.frequencies.tolist()


@pytest.mark.parametrize("class_", ["POCircuitMatrices", "matrices", fieldstore.Matrices, None])
def test_the_class_of_a_file_of_another_name(
    class_: Any, documented: pathlib.Path, tmp_path: pathlib.Path
) -> None:
    path = tmp_path / "other.bin"
    path.write_bytes((documented / "circuitmatrices.dat").read_bytes())
    assert isinstance(fieldstore.open(path, class_), fieldstore.Matrices)


def test_what_cannot_be_opened(documented: pathlib.Path, tmp_path: pathlib.Path) -> None:
    with pytest.raises(FileNotFoundError) as missing:
        fieldstore.open(tmp_path / "modeinfo.dat")
    assert missing.value.filename == str(tmp_path / "modeinfo.dat")
    with pytest.raises(FileNotFoundError, match="file1.dat"):
        fieldstore.open(tmp_path).tree
    with pytest.raises(IsADirectoryError):
        fieldstore.open(tmp_path, fieldstore.Modes)
    with pytest.raises(KeyError, match="no class 'POX'; classes: POModeInfo"):
        fieldstore.open(documented, "POX")


def test_a_damaged_file_is_told_with_its_place(
    documented: pathlib.Path, tmp_path: pathlib.Path
) -> None:
    path = tmp_path / "circuitmatrices.dat"
    whole = (documented / "circuitmatrices.dat").read_bytes()
    path.write_bytes(whole + whole[:-8])
    with pytest.raises(fieldstore.DamagedError) as error:
        fieldstore.open(path)
    damage = pickle.loads(pickle.dumps(error.value))
    assert damage.file == str(path) and len(whole) <= damage.byte < 2 * len(whole)
    assert "the file ends inside matrices" in damage.cause
    assert damage.remedy == f"Save what is whole: fieldstore repair {path} -o OUT"
    # Two elements of one id are a contradiction, at no byte in particular.
    for _ in range(2):
        with fieldstore.Store(tmp_path) as store:
            store.assembly.add([5], True, [[1]], [[1]], [[1]])
    with pytest.raises(fieldstore.DamagedError, match="Duplicate element id found") as error:
        fieldstore.open(tmp_path).assembly
    assert error.value.byte is None


def test_networks_follow_from_impedances_and_admittances(tmp_path: pathlib.Path) -> None:
    pytest.importorskip("skrf")
    with fieldstore.Store(tmp_path) as store:
        store.matrices.add([1, 2], 0, [[[50.0]], [[150.0]]])
        store.matrices.add([1, 2], 1, [[[0.0]], [[50.0]]])
        # A resistor of 100 ohm in series between two ports has Y = [[g, -g], [-g, g]].
        store.matrices.add([1, 2], 2, np.array([[[0.01, -0.01], [-0.01, 0.01]]] * 2))
    matrices = fieldstore.open(tmp_path).matrices
    network = matrices.network(z=(0, 1), z0=50)
    reflection = (150 + 50j - 50) / (150 + 50j + 50)
    assert np.allclose(network.s[:, 0, 0], [0, reflection]) and network.f.tolist() == [1, 2]
    assert np.allclose(matrices.network(y=2).s[0], [[0.5, 0.5], [0.5, 0.5]])
    assert np.allclose(matrices.network(s=0).s[:, 0, 0], [50, 150])


def test_pandas_and_xarray_have_the_same_data(documented: pathlib.Path) -> None:
    pytest.importorskip("pandas")
    pytest.importorskip("xarray")
    store = fieldstore.open(documented)
    for name in store:
        assert len(store[name].to_pandas()) > 0, name
        arguments = (1, 2) if name == "metrics" else ()
        assert store[name].to_xarray(*arguments).nbytes, name
    frame = store.modes.to_pandas()
    assert frame.query("mode == 1").voltage_0.item() == 5
    assert store.modes.to_xarray().current.sel(port=1, frequency=1e9).values[1, 1] == 8 + 0.1j
    assert store.metrics.to_xarray(1, 2).sel(index=0, entity=0).values.tolist() == [1.5, 2.5]
    assert store.matrices.to_pandas().value.tolist() == [1, 2, 3, 0.25]


def test_a_missing_package_is_named(documented: pathlib.Path, monkeypatch: Any) -> None:
    monkeypatch.setitem(sys.modules, "skrf", None)
    with pytest.raises(ImportError, match="network.. needs .* apt install python3-scikit-rf, or pip"):
        fieldstore.open(documented).matrices.network(3)


def test_the_import_brings_numpy_alone() -> None:
    code = "import sys, fieldstore; print(*sys.modules)"
    run = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, check=True)
    loaded = set(run.stdout.split())
    assert not loaded & {"matplotlib", "pandas", "xarray", "skrf", "scipy"}


def test_objects_show_what_is_inside(documented: pathlib.Path, tmp_path: pathlib.Path) -> None:
    store = fieldstore.open(documented)
    for name in store:
        shown = store[name]
        assert shown.path in repr(shown) and "binary" in repr(shown), name
        assert shown.path in shown._repr_html_(), name
    assert "1 frequency 1e+09, 1 port 1, modes 2" in repr(store.modes)
    tagged = tmp_path / "<b>"
    tagged.mkdir()
    assert "<b>'" not in fieldstore.open(tagged)._repr_html_().split("code")[1]


def test_labels_are_read_when_they_can_be(documented: pathlib.Path, tmp_path: pathlib.Path) -> None:
    (tmp_path / "evtree.dat").write_bytes((documented / "evtree.dat").read_bytes())
    mesh = fieldstore.open(tmp_path).mesh
    assert not mesh.labels
    labels = tmp_path / "labels.json"
    labels.write_text('{"schema": 1, "matrixTypes": {"0": {"name": "Re Z", "unit": "ohm"}, "1": 5}}')
    assert str(mesh.labels.get("matrixTypes", 0)) == "Re Z (ohm)"
    assert mesh.labels.get("matrixTypes", 1) is mesh.labels.get("entityTypes", 0) is None
    labels.write_text("[1,")
    assert not mesh.labels


def test_control_c_ends_a_load(tmp_path: pathlib.Path) -> None:
    path = tmp_path / "modeinfo.dat"
    with fieldstore.Store(tmp_path) as store:
        count = 60000
        store.modes.add(
            np.arange(count), 1, np.ones((count, 1)), np.ones((count, 1, 4)), np.ones((count, 1, 4))
        )
    body = path.read_bytes()
    with path.open("ab") as file:
        for _ in range(15):
            file.write(body)
    code = f"""
import fieldstore, signal, threading, os, time
ready = []
def interrupt():
    time.sleep(0.2)
    os.kill(os.getpid(), signal.SIGINT)
threading.Thread(target=interrupt).start()
try:
    fieldstore.open({str(path)!r})
    print("loaded")
except KeyboardInterrupt:
    print("interrupted")
"""
    run = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, check=True)
    assert run.stdout == "interrupted\n"


@pytest.fixture(scope="module")
def sweep(tmp_path_factory: pytest.TempPathFactory) -> pathlib.Path:
    """100 frequencies of two ports and two types, and metrics of 50 entities in two passes."""
    directory = tmp_path_factory.mktemp("sweep")
    frequencies = np.arange(1, 101) * 1_000_000_000
    with fieldstore.Store(directory) as store:
        for port in (1, 2):
            data = np.full((100, 2, 500), port) * frequencies[:, np.newaxis, np.newaxis]
            store.modes.add(frequencies, port, data[:, :, 0], data, -data)
        for type in (0, 1):
            values = frequencies[:, np.newaxis, np.newaxis] * np.full((100, 30, 30), type + 1.0)
            store.matrices.add(frequencies, type, values)
        store.metrics.define(3, 1)
        for index in (0, 1):
            store.metrics.add(3, 1, np.arange(50), np.arange(50) + 1000.0 * index, index)
        store.metrics.add_edges([0], [[0, 1]])
    return directory


@pytest.mark.parametrize(
    "key, first, last",
    [(7e9, 7, 7), ("7GHz", 7, 7), ((98e9, None), 98, 100), ((None, 2.5e9), 1, 2), ("8:9GHz", 8, 9)],
)
def test_a_slice_is_that_part_of_the_whole(
    sweep: pathlib.Path, key: Any, first: int, last: int
) -> None:
    part = slice(first - 1, last)
    whole = fieldstore.open(sweep)
    modes = fieldstore.open(sweep / "modeinfo.dat", frequency=key, port=2)
    assert (modes.mode, modes.ports.tolist()) == ("text", [2])
    assert same(modes.frequencies, whole.modes.frequencies[part])
    assert same(modes.voltages(2), whole.modes.voltages(2)[part])
    matrices = fieldstore.open(sweep / "circuitmatrices.dat", frequency=key, type=1)
    assert list(matrices) == [1] and same(matrices[1], whole.matrices[1][part])
    again = pickle.loads(pickle.dumps(matrices))
    assert list(again) == [1] and same(again[1], matrices[1])


def test_slices_of_metrics_keep_what_has_no_such_keys(sweep: pathlib.Path) -> None:
    metrics = fieldstore.open(sweep / "solutiondata.dat", type=31, index=1, entity=(10, 12))
    assert same(metrics.values(3, 1).values, [[1010], [1011], [1012]])
    assert metrics.definitions == {(3, 1): (1, 0)} and len(metrics.edges) == 1


def test_a_slice_is_read_by_skipping(tmp_path: pathlib.Path) -> None:
    path = tmp_path / "circuitmatrices.dat"
    with fieldstore.Store(tmp_path) as store:
        store.matrices.add(np.arange(12), 0, np.zeros((12, 300, 300)))  # each beyond any buffer

    def bytes_read() -> int:
        counters = pathlib.Path("/proc/self/io").read_text(encoding="ascii")
        return int(counters.split("rchar: ")[1].split()[0])

    before = bytes_read()
    fieldstore.open(path, frequency=5)
    assert bytes_read() - before < path.stat().st_size / 2


def test_slices_that_mean_nothing_are_refused(sweep: pathlib.Path, tmp_path: pathlib.Path) -> None:
    modes = sweep / "modeinfo.dat"
    refused: Any = (
        ({"entity": 1}, TypeError, "entity is not a key of Modes, which has the keys frequency, port"),
        ({"frequency": "7 miles"}, ValueError, "7 miles"),
        ({"frequency": 1.5}, ValueError, "no whole number"),
        ({"port": (3, 1)}, ValueError, "no whole number"),
        ({"port": 9}, KeyError, r"has no entry with port=\(9, 9\)"),
    )
    for keys, error, text in refused:
        with pytest.raises(error, match=text):
            fieldstore.open(modes, **keys)
    with pytest.raises(TypeError, match="is a directory"):
        fieldstore.open(sweep, port=1)
    with pytest.raises(TypeError, match="no keys to select by"):
        fieldstore.open(sweep / "evtree.dat", "mesh", port=1)
    torn = tmp_path / "modeinfo.dat"
    torn.write_bytes(modes.read_bytes()[:-40])
    with pytest.raises(fieldstore.DamagedError, match="fieldstore repair"):
        fieldstore.open(torn, port=1)
