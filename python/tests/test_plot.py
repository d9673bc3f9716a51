# SPDX-License-Identifier: Apache-2.0
"""What pictures draw, taken from their lines and values."""

from __future__ import annotations

import importlib
import os
import pathlib
import pkgutil
import subprocess
from typing import Any, Dict, List

import fieldstore
import numpy as np
import pytest

pytest.importorskip("matplotlib").use("Agg")
from fieldstore import plot  # noqa: E402
from fieldstore.plot import command  # noqa: E402
from matplotlib import pyplot  # noqa: E402
from test_examples import make_store, run_examples  # noqa: E402

MODULES = [f"fieldstore.plot.{module.name}" for module in pkgutil.iter_modules(plot.__path__)]
LABELS = """{"schema": 1, "entityTypes": {"3": {"name": "element"}, "5": {"name": "node"}},
"valueTypes": {"31": {"name": "indicator", "unit": "V"},
               "51": {"name": "field", "components": ["x", "y", "z"]}},
"matrixTypes": {"7": {"name": "Re Z", "unit": "ohm"}, "8": {"name": "Im Z"}}}"""


@pytest.fixture(autouse=True)
def fresh_axes() -> Any:
    yield
    pyplot.close("all")


@pytest.fixture(scope="module")
def store(tmp_path_factory: pytest.TempPathFactory) -> fieldstore.Results:
    """A square of two triangles with values of two passes, and a two-port."""
    directory = tmp_path_factory.mktemp("plotted")
    (directory / "labels.json").write_text(LABELS)
    with fieldstore.Store(directory) as new:
        new.modes.add([1e9, 2e9, 3e9], 4, [[1j, 2j], [3j, 4j], [5j, 6j]], [[[1, 2], [8, 1]]] * 3,
                      [[[0, -4], [0, 0]]] * 3)
        new.matrices.add([1e9, 2e9], 7, [[[100, 0], [0, 25]]] * 2)
        new.matrices.add([1e9, 2e9], 8, [[[0, 0], [0, 0]], [[0, 50], [50, 0]]])
        new.metrics.define(3, 1)
        new.metrics.define(5, 1, size=3)
        new.metrics.add(3, 1, [20, 10], [4.0, -1.0], indices=1)
        new.metrics.add(3, 1, [20, 10], [0.5, -2.0], indices=2)
        new.metrics.add(5, 1, [1, 2, 3, 4], [[3, 4, 0], [0, 1, 0], [0, 0, 2], [0, 0, 0]])
        new.metrics.add_nodes([1, 2, 3, 4], [[0, 0, 0], [2e-3, 0, 0], [2e-3, 1e-3, 0], [0, 1e-3, 0]])
        new.metrics.add_edges([1], [[1, 2]])
        new.assembly.add([10, 20], [True, False], [[1, 2, 3], [1, 3, 4]], [[]] * 2, [[]] * 2)
        new.tree.set({0: [1, 2, 3], 1: [1], 2: [2, 3]}, level_count=2, leaf_counts=np.ones((5, 2), int))
    return fieldstore.Results(directory)


def ys(ax: Any) -> List[Any]:
    return [line.get_ydata().tolist() for line in ax.lines]


@pytest.mark.parametrize("name", MODULES)
def test_examples_show_what_happens(name: str, tmp_path: pathlib.Path) -> None:
    (tmp_path / "results").mkdir()
    make_store(tmp_path / "results")
    run_examples(importlib.import_module(name), tmp_path)


def test_modes_are_lines_over_frequency(store: fieldstore.Results) -> None:
    ax = plot.gamma(store.modes, port=4)
    assert ys(ax) == [[1, 3, 5], [2, 4, 6]] and ax.lines[0].get_xdata().tolist() == [1, 2, 3]
    assert (ax.get_xlabel(), ax.get_ylabel()) == ("frequency (GHz)", "Im γ (1/m)")
    own = pyplot.subplots()[1]
    assert plot.impedance(store.modes, 4, ax=own) is own
    assert ys(own) == [[0.5] * 3] and plot.notes(own) == ["1 of 2 modes have no such value."]
    assert ys(plot.voltage(store.modes, 4, which=[1], ax=pyplot.subplots()[1])) == [[8, 8, 8]]
    assert ys(plot.current(store.modes, 4, which=[0], ax=pyplot.subplots()[1])) == [[4, 4, 4]]
    with pytest.raises(KeyError, match="there is no port 9"):
        plot.gamma(store.modes, port=9)


def test_what_is_too_much_is_thinned_and_says_so(tmp_path: pathlib.Path) -> None:
    with fieldstore.Store(tmp_path) as new:
        new.modes.add(np.arange(1, 5001), 1, np.arange(5000 * 20).reshape(5000, 20) * 1j,
                      np.ones((5000, 20, 1)), np.ones((5000, 20, 1)))
        new.dofs.set((np.arange(10001), np.arange(10000), np.ones(10000)), np.zeros(10000, int))
        new.metrics.define(1, 0)
        new.metrics.add(1, 0, np.arange(4000), np.arange(4000.0))
        new.metrics.add_edges([1], [[1, 2]])
    data = fieldstore.open(tmp_path)
    ax = plot.gamma(data.modes)
    assert len(ax.lines) == 12 and ax.lines[1].get_ydata()[:2].tolist() == [1, 101]
    assert plot.notes(ax) == [
        "Every 5th of 5,000 frequencies is drawn.", "The first 12 of 20 modes are drawn."]
    ax = plot.sparsity(data.dofs, ax=pyplot.subplots()[1])
    cells = ax.images[0].get_array().filled(np.nan)
    assert np.nansum(cells) == 10000 and len(plot.notes(ax)) == 1 and np.isnan(cells[0, 299])
    ax = plot.metric(data.metrics, 1, 0, ax=pyplot.subplots()[1])
    assert ax.lines[0].get_ydata()[:2].tolist() == [4.5, 14.5] and len(plot.notes(ax)) == 1


def test_scattering_parameters(store: fieldstore.Results) -> None:
    frequencies, s = plot.s_parameters(store.matrices)  # the labels tell the types
    assert frequencies.tolist() == [1e9, 2e9]
    assert np.allclose(s[0], [[1 / 3, 0], [0, -1 / 3]], atol=1e-15)
    # By hand, with z = [[2, i], [i, 1/2]]: det(z + 1) = 3 * 3/2 + 1 = 11/2.
    assert np.allclose(s[1], np.array([[2.5, 2j], [2j, -0.5]]) / 5.5)
    inverse = plot.s_parameters(store.matrices, y=(7, 8), z0=1 / 50)[1]
    assert np.allclose(inverse[0], -s[0])
    unequal = plot.s_parameters(store.matrices, z=7, z0=[100, 25])[1]
    assert np.allclose(unequal, 0)
    ax = plot.s_db(store.matrices, which=[(0, 0)])
    assert np.allclose(ys(ax), 20 * np.log10(np.abs(s[:, 0, 0])))
    ax = plot.s_phase(store.matrices, which=[(1, 1), (1, 0)], ax=pyplot.subplots()[1])
    assert np.allclose(ys(ax)[0], [180, 180]) and np.isclose(ys(ax)[1][1], 90)
    ax = plot.smith(store.matrices, ax=pyplot.subplots()[1])
    curves = [line for line in ax.lines if line.get_label().startswith("S")]
    assert np.allclose(curves[0].get_xdata(), s[:, 0, 0].real)
    grid = [line.get_xydata() for line in ax.lines if line.get_gid() == "smith-grid"]
    assert len(grid) == 17 and all(np.hypot(*points.T).max() <= 1 + 1e-12 for points in grid)
    with pytest.raises(ValueError, match="real and positive"):
        plot.s_parameters(store.matrices, z0=-1)
    with pytest.raises(ValueError, match="at most one"):
        plot.s_parameters(store.matrices, z=7, y=8)
    ax = plot.heatmap(store.matrices, 8, 2e9, ax=pyplot.subplots()[1])
    assert ax.images[0].get_array().tolist() == [[0, 50], [50, 0]]


def test_metrics_over_passes_and_entities(store: fieldstore.Results) -> None:
    ax = plot.convergence(store.metrics, 3, 1)
    assert ys(ax) == [[-1, -2], [4, 0.5]] and ax.lines[1].get_label() == "element 20"
    assert ax.get_ylabel() == "indicator (V)"
    ax = plot.metric(store.metrics, 3, 1, index=1, ax=pyplot.subplots()[1])
    assert ax.lines[0].get_xydata().tolist() == [[10, -1], [20, 4]]


def test_values_stand_on_their_triangles(store: fieldstore.Results) -> None:
    found = plot._mesh.surface(store.metrics, store.assembly)
    assert found.triangles.tolist() == [[0, 1, 2], [0, 2, 3]] and found.axes == ("x", "y")
    ax = plot.mesh(store.metrics, store.assembly, (3, 1))  # the label says what they are
    assert ax.collections[0].get_array().tolist() == [-2, 0.5]  # in the order of the triangles
    assert ax.get_xlabel() == "x (mm)"
    ax = plot.field(store.metrics, store.assembly, (5, 1), ax=pyplot.subplots()[1])
    assert ax.collections[0].get_array().tolist() == [5, 1, 2, 0]
    arrows = ax.collections[1]
    assert [arrows.U.tolist(), arrows.V.tolist()] == [[3, 0, 0, 0], [4, 0, 1, 0]]
    with pytest.raises(ValueError, match='say on="nodes"'):
        plot.mesh(fieldstore.open(store.file("metrics")), store.assembly, (1, 1))


def test_the_fields_of_a_real_solver(tmp_path: pathlib.Path) -> None:
    solver = os.environ.get("FIELDSTORE_WAVEGUIDE", "")
    if not os.path.exists(solver):
        pytest.skip("the waveguide example is not built")
    width, height = 22.86e-3, 10.16e-3
    words = "--modes 4 --divisions 6 --passes 1 --frequencies 9e9:10e9:2"
    subprocess.run([solver, "solve", tmp_path, *words.split()], check=True, capture_output=True)
    data = fieldstore.open(tmp_path)
    metrics = data.metrics
    # The field of each mode is known: a product of these, of magnitude 1 at most.
    shapes: Dict[str, Any] = {
        "TE#1": lambda x, y: np.cos(np.pi * x / width),
        "TE#2": lambda x, y: np.cos(2 * np.pi * x / width),
        "TE#3": lambda x, y: np.cos(np.pi * y / height),
        "TE#4": lambda x, y: np.cos(np.pi * x / width) * np.cos(np.pi * y / height),
        "TM#1": lambda x, y: np.sin(np.pi * x / width) * np.sin(np.pi * y / height),
    }
    names = metrics.labels.components("valueTypes", 51)
    assert len(names) == 4 and set(names) <= set(shapes)
    for component, name in enumerate(names):
        ax = plot.field(metrics, data.assembly, (5, 1), component, ax=pyplot.subplots()[1])
        (drawn,) = ax.collections  # values of modes are no vectors: there are no arrows
        where = drawn._triangulation
        assert len(where.triangles) == len(data.assembly.ids)
        corners = np.stack([where.x[where.triangles], where.y[where.triangles]], axis=-1)
        sides = corners[:, 1:] - corners[:, :1]
        area = np.abs(sides[:, 0, 0] * sides[:, 1, 1] - sides[:, 0, 1] * sides[:, 1, 0]).sum() / 2
        assert np.isclose(area, width * height)
        expected = shapes[name](where.x, where.y)
        values = np.asarray(drawn.get_array())
        assert np.abs(values - np.sign(values @ expected) * expected).max() < 0.02, name
        assert name in ax.child_axes[0].get_ylabel()
    ax = plot.mesh(metrics, data.assembly, (3, 1), ax=pyplot.subplots()[1])
    indicators = metrics.values(3, 1)
    order = np.searchsorted(indicators.ids, data.assembly.ids)
    assert ax.collections[0].get_array().tolist() == indicators.values[order, 0].tolist()


def test_tetrahedra_show_their_outer_faces(tmp_path: pathlib.Path) -> None:
    with fieldstore.Store(tmp_path) as new:
        new.metrics.add_nodes(range(1, 6), [[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1], [1, 1, 1]])
        new.metrics.add_edges([1], [[1, 2]])
        new.assembly.add([1, 2], [0, 0], [[1, 2, 3, 4], [2, 3, 4, 5]], [[]] * 2, [[]] * 2)
    data = fieldstore.open(tmp_path)
    faces = {frozenset(face) for face in plot._mesh.surface(data.metrics, data.assembly).triangles.tolist()}
    assert len(faces) == 6 and frozenset({1, 2, 3}) not in faces


def test_levels_of_a_tree(store: fieldstore.Results) -> None:
    ax = plot.tree(store.tree)
    assert [mesh.get_array().ravel().tolist() for mesh in ax.collections] == [[3], [1, 2]]


@pytest.mark.parametrize("suffix, begin", [("svg", b"<?xml"), ("png", b"\x89PNG"), ("pdf", b"%PDF")])
def test_one_picture_from_the_shell(
    store: fieldstore.Results, tmp_path: pathlib.Path, suffix: str, begin: bytes
) -> None:
    out, again = tmp_path / f"s.{suffix}", tmp_path / f"t.{suffix}"
    for path in (out, again):
        words = [store.file("matrices"), "--what", "smith", "-o", str(path)]
        assert command.main(words) == 0
    assert out.read_bytes().startswith(begin) and out.read_bytes() == again.read_bytes()


def test_the_shell_says_what_is_wrong(
    store: fieldstore.Results, tmp_path: pathlib.Path, capsys: pytest.CaptureFixture[str]
) -> None:
    there = tmp_path / "there.svg"
    there.write_text("mine")
    matrices = store.file("matrices")
    for words, said in (
        ([matrices, "-o", str(there)], "exists already"),
        ([matrices, "-o", str(tmp_path / "s.gif")], "end with .svg"),
        ([matrices, "--what", "tree", "-o", str(tmp_path / "s.svg")], "s-db, s-phase, smith, matrix"),
        ([str(tmp_path / "none.dat"), "-o", str(tmp_path / "s.svg")], "No such file"),
        ([store.path, "-o", str(tmp_path / "s.svg")], "name one of its files"),
        ([matrices, "-o", str(tmp_path / "no" / "s.svg")], "cannot be written"),
    ):
        assert command.main(words) == 2
        assert said in capsys.readouterr().err
    assert there.read_text() == "mine" and list(tmp_path.iterdir()) == [there]


@pytest.mark.parametrize("what", sorted(command._pictures()))
def test_every_picture_can_be_drawn(tmp_path: pathlib.Path, what: str) -> None:
    make_store(tmp_path)
    kind = command._pictures()[what].of
    name = next(name for name, known in fieldstore.CLASSES.items() if known is kind)
    with fieldstore.Store(tmp_path) as new:
        new.metrics.define(1, 2, size=2, function="max")
        new.metrics.add_nodes([1, 2, 3], [[0, 0, 0], [1, 0, 0], [0, 1, 0]])
        new.metrics.add(1, 2, [1, 2], [[1, 2], [3, 4]])
        new.assembly.add([9], [True], [[1, 2, 3]], [[]], [[]])
    path = str(tmp_path / fieldstore.CLASSES[name].file_name)
    extra = ["--entity", "1", "--value", "2", "--on", "nodes"] if what in ("mesh", "field") else []
    assert command.main([path, "--what", what, "-o", str(tmp_path / "out.png"), *extra]) == 0
