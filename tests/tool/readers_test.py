# SPDX-License-Identifier: Apache-2.0
"""Reads what the program fieldstore exports with the programs that it is meant for.

Usage: readers_test.py FIELDSTORE WAVEGUIDE [unittest arguments]

Needs the Debian packages python3-scikit-rf, python3-vtk9 and python3-meshio. Status 77, with a
message, when one of them is missing.
"""
import json
import os
import subprocess
import sys
import tempfile
import unittest

try:
    import meshio
    import numpy
    import skrf
    import vtk
    from vtk.util.numpy_support import vtk_to_numpy
except ImportError as missing:
    print("SKIPPED: %s. Install python3-scikit-rf, python3-vtk9 and python3-meshio." % missing)
    sys.exit(77)

from tool_case import TOOL, ToolCase  # without the readers, there is nothing to test

WAVEGUIDE = os.path.abspath(sys.argv[2])


class ReadersTest(ToolCase):
    @classmethod
    def setUpClass(cls):
        cls.results = tempfile.TemporaryDirectory(prefix="fieldstore-guide-")
        cls.addClassCleanup(cls.results.cleanup)
        subprocess.run([WAVEGUIDE, "solve", cls.results.name, "--force", "--passes", "3",
                        "--frequencies", "8.2e9:12.4e9:4"], check=True, capture_output=True)

    def result(self, name):
        return os.path.join(self.results.name, name)

    def dump(self, path, *options):
        subprocess.run([TOOL, "dump", path, "--force", *options], check=True, timeout=20)

    def json(self, path):
        """The first body."""
        return json.loads(subprocess.check_output([TOOL, "dump", path]))["bodies"][0]

    def build(self, name, document):
        with open(self.path("document.json"), "w") as file:
            json.dump(document, file)
        subprocess.run([TOOL, "build", self.path("document.json"), "-o", self.path(name),
                        "--force"], check=True)
        return self.path(name)


class TouchstoneTest(ReadersTest):
    def network(self, name):
        # This reader takes the order of two ports for granted, and stops at the word for it.
        with open(self.path(name)) as file:
            lines = [line for line in file if not line.startswith("[Two-Port Data Order] 21_12")]
        with open(self.path(name), "w") as file:
            file.writelines(lines)
        return skrf.Network(self.path(name))

    def test_networks_of_any_size_in_any_form(self):
        random = numpy.random.default_rng(1)
        for size in (1, 2, 3, 4, 12):
            references = random.uniform(20, 100, size)
            frequencies = numpy.arange(1, 6) * 123456789
            z = random.normal(size=(5, size, size, 2)) @ (100, 100j) + 300 * numpy.eye(size)
            parts = {0: z.real, 1: z.imag, 2: numpy.linalg.inv(z).real,
                     3: numpy.linalg.inv(z).imag}
            path = self.build("circuitmatrices.dat", {
                "class": "POCircuitMatrices", "mode": "binary", "bodies": [{"matrices": [
                    {"frequency": int(f), "type": t, "values": part[i].ravel().tolist()}
                    for i, f in enumerate(frequencies) for t, part in parts.items()]}]})
            for version, reference in ((1, numpy.full(size, 50.0)), (2, references)):
                # S of z is (z - 1) (z + 1)^-1 with everything referred to the roots.
                root = numpy.diag(reference**-0.5)
                normal = root @ z @ root
                expected = (normal - numpy.eye(size)) @ numpy.linalg.inv(normal + numpy.eye(size))
                for parameter, notation, unit in (("z=0,1", "RI", "GHz"), ("y=2,3", "MA", "Hz"),
                                                  ("z=0,1", "DB", "MHz")):
                    name = "n.s%dp" % size if version == 1 else "n.ts"
                    self.dump(path, "--format", "touchstone" + ("2" if version == 2 else ""),
                              "--parameter", parameter, "--notation", notation, "--unit", unit,
                              "--reference", ",".join(map(repr, map(float, reference))),
                              "-o", self.path(name))
                    network = self.network(name)
                    self.assertLess(abs(network.s - expected).max(), 1e-12)
                    self.assertLess(abs(network.f - frequencies).max(), 1e-3)
                    read = skrf.io.touchstone.Touchstone(self.path(name)).reference
                    self.assertEqual([float(r) for r in read], reference.tolist())

    def test_a_matched_guide_passes_the_wave_on(self):
        length = 0.05
        for entry in self.json(self.result("modeinfo.dat"))["modes"]:
            if entry["port"] != 0:
                continue
            mode = entry["modes"][0]
            gamma = complex(*mode["value"])
            count = len(entry["modes"])
            impedance = complex(*mode["data"][0]) / complex(*mode["data"][count])
            self.dump(self.result("circuitmatrices.dat"), "--format", "touchstone", "--parameter",
                      "z=0,1", "--ports", "0,%d" % count, "--reference", repr(impedance.real),
                      "-o", self.path("guide.s2p"))
            network = skrf.Network(self.path("guide.s2p"))
            at = list(network.f.round()).index(entry["frequency"])
            wave = numpy.exp(-gamma * length)
            self.assertLess(abs(network.s[at] - [[0, wave], [wave, 0]]).max(), 1e-12)


class VtuTest(ReadersTest):
    @staticmethod
    def with_vtk(path):
        """Points, cells as lists of points, their types, and the arrays by section."""
        reader = vtk.vtkXMLUnstructuredGridReader()
        reader.SetFileName(path)
        errors = []
        reader.AddObserver("ErrorEvent", lambda *_: errors.append(path))
        reader.Update()
        assert not errors, errors
        grid = reader.GetOutput()
        cells = [grid.GetCell(i) for i in range(grid.GetNumberOfCells())]
        lists = [[cell.GetPointId(k) for k in range(cell.GetNumberOfPoints())]
                 for cell in (grid.GetCell(i) for i in range(len(cells)))]
        sections = {}
        for name, data in (("point", grid.GetPointData()), ("cell", grid.GetCellData()),
                           ("field", grid.GetFieldData())):
            sections[name] = {data.GetArrayName(i): vtk_to_numpy(data.GetArray(i))
                              for i in range(data.GetNumberOfArrays())}
        return (vtk_to_numpy(grid.GetPoints().GetData()), lists,
                [grid.GetCellType(i) for i in range(len(lists))], sections)

    def picture(self, corners, order):
        """Metrics and assembly of one element; mid-side nodes in the order of VTK."""
        points = [(0.0, 0.0, 0.0), (1.0, 0.0, 0.0), (0.0, 1.0, 0.0), (0.0, 0.0, 1.0)][:corners]
        sides = [(0, 1), (1, 2), (2, 0), (0, 3), (1, 3), (2, 3)][:corners * (corners - 1) // 2]
        middles = [tuple((numpy.array(points[a]) + points[b]) / 2) for a, b in sides]
        nodes = points + (middles if order == 2 else [])
        values = [{"type": 41, "index": 1, "entity": n, "values": [n + 0.25, -float(n)]}
                  for n in range(1, len(nodes) + 1) if n != 2]
        values.append({"type": 31, "index": 1, "entity": 5, "values": [0.5]})
        header = {"headerId": 0, **{"headerField%d" % k: 0 for k in (1, 2, 3, 4)}}
        path = self.build("solutiondata.dat", {
            "class": "POSolutionMetrics", "mode": "binary", "bodies": [{
                **header, "definitions": [{"type": 31, "count": 1, "function": 0},
                                          {"type": 41, "count": 2, "function": 0}],
                "values": sorted(values, key=lambda v: (v["type"], v["entity"])), "neighbors": [],
                "positions": [{"node": n + 1, "position": p} for n, p in enumerate(nodes)],
                "edges": [{"edge": 1, "nodes": [1, 2]}]}]})
        ids = list(range(1, len(nodes) + 1))
        lists = [{"nodes1": ids[:corners], "nodes2": ids[corners:]}, {"nodes1": ids, "nodes2": []}]
        self.build("assemblyinfo.dat", {
            "class": "POAssemblyInfo", "mode": "binary", "bodies": [{
                "elements": [5], **{name: [{"element": 5, "nodes": nodes}] if nodes else []
                                    for name, nodes in lists[corners % 2].items()},
                "nodes3": []}]})
        self.dump(path, "--format", "vtu", "--entity", "node=4", "--entity", "element=3", "-o",
                  self.path("metrics.vtu"))
        expected = numpy.array([[i + 0.25, -i] if i != 2 else [numpy.nan] * 2 for i in ids])
        return numpy.array(nodes), expected

    def test_elements_of_every_shape(self):
        for corners, order, shape, name in ((3, 1, 5, "triangle"), (3, 2, 22, "triangle6"),
                                            (4, 1, 10, "tetra"), (4, 2, 24, "tetra10")):
            nodes, expected = self.picture(corners, order)
            points, cells, types, data = self.with_vtk(self.path("metrics.vtu"))
            self.assertEqual((cells, types), ([list(range(len(nodes)))], [shape]))
            numpy.testing.assert_array_equal(points, nodes)
            numpy.testing.assert_array_equal(data["point"]["type41"], expected)
            self.assertEqual(data["cell"]["type31"], [0.5])
            mesh = meshio.read(self.path("metrics.vtu"))
            self.assertEqual([block.type for block in mesh.cells], [name])
            numpy.testing.assert_array_equal(mesh.points, nodes)
            numpy.testing.assert_array_equal(mesh.point_data["type41"], expected)
            numpy.testing.assert_array_equal(mesh.cell_data["type31"], [[0.5]])

    def test_a_solved_guide(self):
        # Its labels say what entities are.
        self.dump(self.result("solutiondata.dat"), "--format", "vtu", "-o", self.path("out"))
        body = json.loads(subprocess.check_output(
            [TOOL, "dump", self.result("solutiondata.dat")]))["bodies"][-1]
        indicators = [v["values"][0] for v in body["values"] if v["type"] == 31]
        elements = self.json(self.result("assemblyinfo.dat"))
        last = self.path("out/metrics_3.vtu")
        points, cells, types, data = self.with_vtk(last)
        self.assertEqual(set(types), {22})
        self.assertEqual([[n + 1 for n in cell] for cell in cells],
                         [a["nodes"] + b["nodes"]
                          for a, b in zip(elements["nodes1"], elements["nodes2"])])
        numpy.testing.assert_array_equal(points, [p["position"] for p in body["positions"]])
        mesh = meshio.read(last)
        for cell_data, fields in ((data["cell"], data["point"]["longitudinal field"]),
                                  ({n: a[0] for n, a in mesh.cell_data.items()},
                                   mesh.point_data["longitudinal field"])):
            numpy.testing.assert_array_equal(cell_data["error indicator"], indicators)
            numpy.testing.assert_array_equal(
                fields, [v["values"] for v in body["values"] if v["type"] == 51])
            wave = numpy.cos(numpy.pi * points[:, 0] / 22.86e-3)
            self.assertLess(abs(fields[:, 0] - wave).max(), 5e-3)
        self.assertEqual(data["field"]["cutoff [rad/m]"].shape, (12,))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], warnings="ignore")  # of the readers
