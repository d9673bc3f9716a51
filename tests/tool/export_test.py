# SPDX-License-Identifier: Apache-2.0
"""What the program fieldstore exports for other programs, and the labels that it uses for that.

Usage: export_test.py FIELDSTORE [unittest arguments]
"""
import json
import os
import re
import struct
import sys
import unittest

from tool_case import ToolCase


TWO_NODES = [(1, (0.0, 0.0, 0.0)), (2, (1.0, 0.0, 0.0))]


def metrics(values, definitions, nodes=TWO_NODES, edges=((1, (1, 2)),)):
    """The document of a file of metrics; values by (type, index, entity)."""
    return {"class": "POSolutionMetrics", "mode": "binary", "bodies": [{
        "headerId": 0, "headerField1": 0, "headerField2": 0, "headerField3": 0, "headerField4": 0,
        "definitions": [dict(zip(("type", "count", "function"), d)) for d in definitions],
        "values": [{"type": t, "index": i, "entity": e, "values": v}
                   for (t, i, e), v in sorted(values.items())],
        "neighbors": [],
        "positions": [{"node": n, "position": list(p)} for n, p in nodes],
        "edges": [{"edge": e, "nodes": list(n)} for e, n in edges]}]}


def matrices(entries):
    """The document of a file of circuit matrices; rows of values by (frequency, type)."""
    return {"class": "POCircuitMatrices", "mode": "binary", "bodies": [{"matrices": [
        {"frequency": f, "type": t, "values": list(values)}
        for (f, t), values in sorted(entries.items())]}]}


class ExportTest(ToolCase):
    def error(self, *arguments):
        return self.run_tool(*arguments, status=2).stderr.decode()

    def write(self, name, content):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(content if isinstance(content, str) else json.dumps(content))
        return self.path(name)

    def read(self, name):
        with open(self.path(name), encoding="utf-8") as file:
            return file.read()

    def build(self, name, document):
        self.run_tool("build", self.write("document.json", document), "-o", self.path(name),
                      "--unchecked", "--force")
        return self.path(name)


class LabelsTest(ExportTest):
    def files(self):
        self.build("circuitmatrices.dat", matrices({(1, 7): [1.0]}))
        self.build("solutiondata.dat", metrics({(31, 0, 1): [2.0]}, [(31, 1, 2)]))

    def test_a_started_file_names_every_type_and_is_not_overwritten(self):
        self.files()
        self.run_tool("labels", self.directory)
        labels = json.loads(self.read("labels.json"))
        self.assertEqual([list(labels[group]) for group in ("matrixTypes", "entityTypes",
                                                            "valueTypes")], [["7"], ["3"], ["31"]])
        self.assertEqual(labels["resolveFunctions"]["2"], {"name": "Sum"})
        self.write("labels.json", "mine")
        self.assertIn("exists already", self.error("labels", self.directory))
        self.assertEqual(self.read("labels.json"), "mine")
        self.run_tool("labels", self.directory, "--force")
        self.assertNotIn("labels.json", self.run_tool("ls", self.directory).stdout.decode())

    def test_shows_names_and_units_and_nothing_that_steers_a_terminal(self):
        self.files()
        self.write("labels.json", {
            "schema": 1, "matrixTypes": {"7": {"name": "Re Z\x1b", "unit": "ohm"}},
            "entityTypes": {"3": {"name": "element"}}})
        shown = self.run_tool("show", self.path("circuitmatrices.dat")).stdout.decode()
        self.assertIn("7 Re Z\\x1b [ohm]", shown)
        shown = self.run_tool("show", self.path("solutiondata.dat")).stdout.decode()
        self.assertRegex(shown, r"31 value 1 of element +1 +2 Sum\n")

    def test_every_export_has_names_and_keeps_the_numbers(self):
        self.build("circuitmatrices.dat", matrices({(1, 7): [1.0], (1, 8): [2.0]}))
        self.build("solutiondata.dat", metrics({(31, 0, 1): [2.0], (45, 0, 1): [3.0]},
                                               [(31, 1, 2), (45, 1, 0)]))
        self.write("labels.json", {
            "schema": 1, "matrixTypes": {"7": {"name": 'a "part", \n', "unit": "ohm"}},
            "entityTypes": {"3": {"name": "element"}}})
        for file, format, expected in (
                ("circuitmatrices.dat", "csv", 'frequency,type,row,column0,label,unit\n'
                 '1,7,0,1,"a ""part"", \\x0a",ohm\n1,8,0,2,,\n'),
                ("solutiondata.dat", "csv", "type,index,entity,value0,label,unit\n"
                 "31,0,1,2,value 1 of element,\n45,0,1,3,,\n")):
            self.assertEqual(self.run_tool("dump", self.path(file), "--format", format)
                             .stdout.decode(), expected)
            self.run_tool("dump", self.path(file), "--format", "npy", "-o", self.path("npy"))
        names = json.loads(self.read("npy/matrices.labels.json"))
        self.assertEqual((names["matrixTypes"]["7"]["unit"], names["entityTypes"]), ("ohm", {}))
        names = json.loads(self.read("npy/values.labels.json"))
        self.assertEqual((names["matrixTypes"], names["entityTypes"]["3"]["name"],
                          names["resolveFunctions"]["2"]["name"]), ({}, "element", "Sum"))
        self.run_tool("dump", self.path("circuitmatrices.dat"), "--format", "mtx", "-o",
                      self.path("mtx/"))
        second = [self.read("mtx/matrix_1_%d.mtx" % type).split("\n")[1] for type in (7, 8)]
        self.assertEqual(second, ['% a "part", \\x0a [ohm]', "1 1"])
        watched = self.run_tool("watch", self.path("circuitmatrices.dat"),
                                self.path("solutiondata.dat"), "--for", "0").stdout.decode()
        self.assertIn('types 7 a "part", \\x0a [ohm] .. 8, largest', watched)
        self.assertIn("type 31 value 1 of element: 1 value", watched)

    def test_diff_names_types_for_people(self):
        """By the labels of the first file, or else of the second."""
        for directory in ("a", "b"):
            os.mkdir(self.path(directory))
        for directory, value, function in (("a", 2.0, 2), ("b", 3.0, 9)):
            self.build(directory + "/circuitmatrices.dat", matrices({(1, 7): [value]}))
            self.build(directory + "/solutiondata.dat", metrics({}, [(31, 1, function)]))
        self.write("b/labels.json", {
            "schema": 1, "matrixTypes": {"7": {"name": "Re Z", "unit": "ohm"}},
            "valueTypes": {"31": {"name": "error"}}})
        def compare(*options):
            return self.run_tool("diff", self.path("a"), self.path("b"), *options, status=1).stdout
        self.assertEqual(compare().decode().splitlines(), [
            "circuitmatrices.dat: matrices[frequency 1, type 7 Re Z [ohm]][0]: 2.0 | 3.0",
            "solutiondata.dat: definitions[type 31 error].function: 2 Sum | 9"])
        self.write("a/labels.json", {"schema": 1, "matrixTypes": {"7": {"name": "Im Y"}}})
        self.assertIn(b"type 7 Im Y]", compare())
        differences = json.loads(compare("--json"))["differences"]
        self.assertEqual([(d["path"], d["first"]) for d in differences],
                         [("matrices[frequency 1, type 7][0]", "2.0"),
                          ("definitions[type 31].function", "2")])

    def test_a_slip_is_told_with_its_place(self):
        self.files()
        for text, place in (
                ('{"schema": 1,\n "valueTypes": }', "line 2, column 16"),
                ("[]", "an object is wanted"),
                ("{}", "schema: is missing"),
                ('{"schema": 2}', "schema: 2 is not known"),
                ('{"schema": 1, "matrixType": {}}', "matrixType: is not one of"),
                ('{"schema": 1, "valueTypes": []}', "valueTypes: an object is wanted"),
                ('{"schema": 1, "valueTypes": {"031": {"name": "a"}}}', "valueTypes.031: the num"),
                ('{"schema": 1, "valueTypes": {"3000000000": {"name": "a"}}}', "the number of a"),
                ('{"schema": 1, "valueTypes": {"31": {"unit": "a"}}}', "valueTypes.31: the name"),
                ('{"schema": 1, "valueTypes": {"31": {"name": 5}}}', "valueTypes.31.name: a text"),
                ('{"schema": 1, "valueTypes": {"31": {"nam": "a"}}}', "valueTypes.31.nam: "),
                ('{"schema": 1, "valueTypes": {"1": {"name": "a", "components": ["x", 1]}}}',
                 "valueTypes.1.components[1]: a text"),
                ('{"schema": 1, "valueTypes": {"31": {"name": "a"}, "31": {"name": "b"}}}',
                 "31: is there twice"),
                (" " * (1 << 20) + "{}", "larger than 1 MiB")):
            path = self.write("labels.json", text)
            message = self.error("show", self.path("solutiondata.dat"))
            self.assertTrue(message.startswith("fieldstore: " + path + ": "), message)
            self.assertIn(place, message)


class ArraysTest(ExportTest):
    def test_entries_in_many_buffers_and_in_two_bodies(self):
        """More small entries than a buffer holds, and one that is added to; Sum is function 2."""
        values = {(31, i // 1000, i): [i, i / 2, -i] for i in range(10000)}
        document = metrics(values, [(31, 3, 2)])
        document["bodies"] += metrics({(31, 7, 7007): [1, 2, 3]}, [(31, 3, 2)])["bodies"]
        self.run_tool("dump", self.build("solutiondata.dat", document), "--format", "npy", "-o",
                      self.path("npy"))
        values[(31, 7, 7007)] = [7008, 3505.5, -7004]
        for name, form, expected in (("index", "i", [index for _, index, _ in values]),
                                     ("entity", "i", [entity for _, _, entity in values]),
                                     ("values", "d", [v for row in values.values() for v in row])):
            with open(self.path("npy/values.type31.%s.npy" % name), "rb") as file:
                content = file.read()[128:]
            self.assertEqual(content, struct.pack("<%d%s" % (len(expected), form), *expected))


class TouchstoneTest(ExportTest):
    def dump(self, entries, *options, version=1):
        """The lines of a file without the comments."""
        path = self.build("circuitmatrices.dat", matrices(entries))
        name = "touchstone" if version == 1 else "touchstone2"
        text = self.run_tool("dump", path, "--format", name, *options).stdout.decode()
        return [line for line in text.split("\n") if not line.startswith("!")]

    def scattering(self, size, *options, **more):
        """Of S whose entry in row i and column k is i + k/10 + 0.5j."""
        real = [i + k / 10 for i in range(size) for k in range(size)]
        return self.dump({(10**9, 4): real, (10**9, 5): [0.5] * size**2},
                         "--parameter", "s=4,5", *options, **more)

    def test_lines_break_as_the_number_of_ports_asks(self):
        head = "# GHz S RI R 50"
        self.assertEqual(self.scattering(1), [head, "1 0 0.5", ""])
        self.assertEqual(self.scattering(2), [head, "1 0 0.5 1 0.5 0.1 0.5 1.1 0.5", ""])
        self.assertEqual(self.scattering(3), [
            head, "1 0 0.5 0.1 0.5 0.2 0.5", "  1 0.5 1.1 0.5 1.2 0.5", "  2 0.5 2.1 0.5 2.2 0.5",
            ""])
        self.assertEqual(self.scattering(5)[1:4], [
            "1 0 0.5 0.1 0.5 0.2 0.5 0.3 0.5", "  0.4 0.5", "  1 0.5 1.1 0.5 1.2 0.5 1.3 0.5"])
        self.assertEqual(self.scattering(3, "--ports", "2,0"),
                         [head, "1 2.2 0.5 0.2 0.5 2 0.5 0 0.5", ""])

    def test_version_2_has_its_keywords_and_a_reference_for_each_port(self):
        self.assertEqual(self.scattering(2, "--reference", "50,75", version=2), [
            "[Version] 2.0", "# GHz S RI R 50", "[Number of Ports] 2",
            "[Two-Port Data Order] 21_12", "[Number of Frequencies] 1", "[Reference]", "50 75",
            "[Network Data]", "1 0 0.5 1 0.5 0.1 0.5 1.1 0.5", "[End]", ""])

    def test_z_and_y_become_s(self):
        # 150 ohm are 3 of 50, and (3 - 1) / (3 + 1) = 1/2; 200 ohm are 1/2 of 400.
        one = {(1, 0): [150.0], (1, 1): [0.0], (1, 2): [1 / 256], (1, 3): [0.0]}
        self.assertEqual(self.dump(one, "--parameter", "z=0,1")[1], "0.000000001 0.5 0")
        # 1/256 S at 256 ohm are 1, which is matched; at 768 ohm 3, so (1 - 3) / (1 + 3).
        for reference, s in (("256", "0 0"), ("768", "-0.5 0")):
            line = self.dump(one, "--parameter", "y=2,3", "--reference", reference)[1]
            self.assertEqual([abs(float(a) - float(b)) < 1e-15 for a, b in
                              zip(line.split()[1:], s.split())], [True, True], line)

    def test_units_and_notations(self):
        entries = {(8200000000, 4): [-1.0], (8200000000, 5): [0.0],
                   (12000000000, 4): [0.0], (12000000000, 5): [0.1],
                   (12000000001, 4): [0.0], (12000000001, 5): [0.0]}
        s = ("--parameter", "s=4,5", "--notation")
        self.assertEqual(self.dump(entries, *s, "MA"), [
            "# GHz S MA R 50", "8.2 1 180", "12 0.1 90", "12.000000001 0 0", ""])
        self.assertEqual(self.dump(entries, *s, "DB", "--unit", "MHz"), [
            "# MHz S DB R 50", "8200 0 180", "12000 -20 90", "12000.000001 -9999 0", ""])
        self.assertEqual(self.dump(entries, *s, "RI", "--unit", "Hz")[2], "12000000000 0 0.1")

    def test_labels_name_the_parts(self):
        self.write("labels.json", {"schema": 1, "matrixTypes": {
            "4": {"name": "Re S"}, "5": {"name": "Im S"}, "0": {"name": "Re Z"}}})
        entries = {(1, 4): [0.25], (1, 5): [0.0], (1, 0): [7.0]}
        self.assertEqual(self.dump(entries, "--unit", "Hz")[1], "1 0.25 0")

    def test_says_what_is_missing_or_impossible(self):
        entries = {(1, 0): [1.0], (1, 1): [0.0], (2, 0): [1.0], (1, 4): [-50.0], (1, 5): [0.0],
                   (1, 6): [0.0] * 4, (1, 7): [float("nan")] * 4, (-1, 8): [0.0], (-1, 9): [0.0]}
        entries = {key: ["nan" if x != x else x for x in v] for key, v in entries.items()}
        path = self.build("circuitmatrices.dat", matrices(entries))
        for options, told in (
                ((), "which types of matrices"),
                (("--parameter", "z=0,1"), "at frequency 2 there is no matrix of type 1"),
                (("--parameter", "z=0,3"), "no matrix of type 3"),
                (("--parameter", "z=0"), "two types"),
                (("--parameter", "h=0,1"), "numbers with commas"),
                (("--parameter", "z=4,5"), "frequency 1: Z has no S"),
                (("--parameter", "s=6,7"), "frequency 1: S is not finite"),
                (("--parameter", "z=4,6"), "no squares"),
                (("--parameter", "s=8,9"), "no negative frequencies"),
                (("--parameter", "s=6,6", "--ports", "0,2"), "there is no port 2"),
                (("--parameter", "s=6,6", "--ports", "1,1"), "twice"),
                (("--parameter", "s=6,6", "--reference", "0"), "above 0"),
                (("--parameter", "s=6,6", "--reference", "1,2,3"), "3 references for 2 ports"),
                (("--parameter", "s=6,6", "--reference", "1,2"), "one reference for all ports"),
                (("--parameter", "s=6,6", "-o", self.path("a.s3p")), "another number of ports")):
            self.assertIn(told, self.error("dump", path, "--format", "touchstone", *options))
        self.assertFalse(os.path.exists(self.path("a.s3p")))
        self.assertIn("belong to touchstone",
                      self.error("dump", path, "--format", "csv", "--ports", "0"))


def assembly(*elements):
    """The document of an assembly; an element is its value and its first and second nodes."""
    return {"class": "POAssemblyInfo", "mode": "binary", "bodies": [{
        "elements": [value for value, *_ in elements],
        **{"nodes%d" % k: [{"element": abs(e[0]), "nodes": e[k]} for e in elements if e[k]]
           for k in (1, 2)}, "nodes3": []}]}


def arrays(path):
    """The arrays of a file for VTK by section and name, in the letters of struct."""
    with open(path, "rb") as file:
        head, data = file.read().split(b'<AppendedData encoding="raw">\n_')
    found = {}
    for section, body in re.findall(r"<(FieldData|Points|Cells|PointData|CellData)>(.*?)</\1>",
                                    head.decode(), re.DOTALL):
        for kind, name, offset in re.findall(r'type="(\w+)" Name="([^"]*)".*offset="(\d+)"', body):
            begin = int(offset) + 8
            size, = struct.unpack_from("<Q", data, begin - 8)
            letter = {"Float64": "d", "Int64": "q", "UInt32": "I", "UInt8": "B"}[kind]
            found[section, name] = [value for value, in
                                    struct.iter_unpack("<" + letter, data[begin:begin + size])]
    return found


class VtuTest(ExportTest):
    NODES = [(n, (n * 0.5, 0.0, -1.0)) for n in (7, 2, 3, 2**32 - 1)]
    VALUES = {(31, 4, 1): [1.5], (41, 4, 7): [1.0, 2.0], (41, 5, 2): [3.0, 4.0], (51, 0, 9): [6.0],
              (51, 5, 9): [7.0], (51, 5, 10): [9.0], (61, 4, 1): [8.0]}
    DEFINITIONS = [(31, 1, 0), (41, 2, 0), (51, 1, 0), (61, 1, 0)]
    EDGES = ((1, (2, 3)), (2, (3, -1)))  # an edge's nodes are signed numbers of the same bits
    ROLES = ("--entity", "node=4", "--entity", "element=3", "--entity", "edge=6")

    def dump(self, *options, values=None):
        document = metrics(values or self.VALUES, self.DEFINITIONS, self.NODES, self.EDGES)
        path = self.build("solutiondata.dat", document)
        result = self.run_tool("dump", path, "--format", "vtu", "-o", self.path("out/"), "--force",
                               *options)
        return result.stderr.decode()

    def test_values_stand_where_their_entities_are_said_to(self):
        self.build("assemblyinfo.dat", assembly((-1, [2, 3, 7], [])))
        notes = self.dump(*self.ROLES)
        self.assertIn("type 61 is in the field data: there are no edges among the cells", notes)
        self.assertEqual(sorted(os.listdir(self.path("out"))),
                         ["metrics.pvd", "metrics_4.vtu", "metrics_5.vtu"])
        self.assertIn('timestep="5" part="0" file="metrics_5.vtu"', self.read("out/metrics.pvd"))
        four = arrays(self.path("out/metrics_4.vtu"))
        nan = repr(float("nan"))
        self.assertEqual(four["PointData", "node"], [2, 3, 7, 2**32 - 1])
        self.assertEqual(four["Points", "Points"][3:7], [1.5, 0.0, -1.0, 3.5])
        self.assertEqual(list(map(repr, four["PointData", "type41"])),
                         [nan] * 4 + ["1.0", "2.0"] + [nan] * 2)
        self.assertEqual([four["Cells", name] for name in ("connectivity", "offsets", "types")],
                         [[0, 1, 2], [3], [5]])
        self.assertEqual(four["CellData", "element"], [1])
        self.assertEqual(four["CellData", "type31"], [1.5])
        # Index 0 has no file of its own, so its values go into all.
        self.assertEqual(four["FieldData", "type51"], [6.0])
        five = arrays(self.path("out/metrics_5.vtu"))
        again = "type51 (type51, index 5)"
        names = ("TimeValue", "type51", again, again + " of entity")
        self.assertEqual([five["FieldData", name] for name in names],
                         [[5.0], [6.0], [7.0, 9.0], [9, 10]])
        self.assertNotIn(("CellData", "type31"), five)

    def test_edges_are_lines_where_there_are_no_elements(self):
        self.dump("--entity", "edge=6")
        drawn = arrays(self.path("out/metrics.vtu"))
        self.assertEqual([drawn["Cells", name] for name in ("connectivity", "offsets", "types")],
                         [[0, 1, 1, 3], [2, 4], [3, 3]])
        self.assertEqual(repr(drawn["CellData", "type61"]), "[8.0, nan]")

    def test_labels_say_what_entities_are_and_name_arrays(self):
        self.write("labels.json", {
            "schema": 1, "entityTypes": {"4": {"name": "node"}, "3": {"name": "element"}},
            "valueTypes": {"41": {"name": "a<b & \"c\"\n", "unit": "V/m", "components": ["x"]}}})
        self.dump("--entity", "edge=3")
        named = arrays(self.path("out/metrics_4.vtu"))
        self.assertIn(("PointData", "a&lt;b &amp; &quot;c&quot;\\x0a [V/m]"), named)
        self.assertIn(("CellData", "type31"), named)

    def test_an_assembly_that_does_not_fit(self):
        for element, told in (((1, [2, 3], []), "element 1 has 2 nodes"),
                              ((1, [2, 3, 8], []), "a node of element 1 has no position"),
                              ((1, [2] * 65, []), "too many nodes")):
            path = self.build("assemblyinfo.dat", assembly(element))
            self.assertIn(told, self.dump())
            self.assertIn(told, self.error("dump", self.path("solutiondata.dat"), "--format", "vtu",
                                           "--assembly", path))
        self.assertIn("no such file", self.error("dump", self.path("solutiondata.dat"), "--format",
                                                 "vtu", "--assembly", self.path("none")))

    def test_says_what_was_not_said_or_not_found(self):
        self.assertIn("all values are in the field data", self.dump())
        self.build("assemblyinfo.dat", assembly((1, [2, 3, 7], []), (2, [7, 3, -1], [])))
        notes = self.dump("--entity", "element=3", values={(31, 4, 1): [1.0], (31, 4, 3): [2.0]})
        self.assertIn("at index 4 not every cell has values", notes)
        self.assertIn("1 value is left out", notes)
        for wrong in ("node", "node=", "node=-1", "node=4x", "face=4"):
            self.assertIn("is not understood", self.error(
                "dump", self.path("solutiondata.dat"), "--format", "vtu", "--entity", wrong))
        self.assertIn("no vtu of POAssemblyInfo", self.error(
            "dump", self.path("assemblyinfo.dat"), "--format", "vtu"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
