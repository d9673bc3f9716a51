# SPDX-License-Identifier: Apache-2.0
"""Drives the program fieldstore over files that the library wrote, whole, torn and foreign.

Usage: tool_test.py FIELDSTORE MAKE_SAMPLES CLASSES [unittest arguments]
"""
import glob
import json
import math
import os
import pty
import random
import re
import resource
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

TOOL, MAKE_SAMPLES, CLASSES = (os.path.abspath(path) for path in sys.argv[1:4])
SCHEMA = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../docs/json-schema.json")

with open(TOOL, "rb") as program:
    CONTENT = program.read()
SANITIZED = b"__asan_init" in CONTENT
EMULATED = CONTENT.startswith(b"#!")  # started by a script, for another processor
OWN_MEMORY = SANITIZED or EMULATED  # beyond what the program needs
WINDOWS = b"fieldstore.exe" in CONTENT  # a script that starts it


def posix_only(reason):
    return unittest.skipIf(WINDOWS, "on Windows: " + reason)

# Entries per body of the samples; what they hold stands in tests/samples/Samples.h.
ENTRIES = {"POModeInfo": 1, "PODOFMap": 3, "POCircuitMatrices": 1, "POMeshTree": 5, "PODOFList": 6,
           "POBinaryTree": 3, "POPortCircuitDOFs": 5, "POSolutionMetrics": 1, "POAssemblyInfo": 2}
with open(CLASSES, encoding="utf-8") as facts:
    FACTS = json.load(facts)
# File name, class, bodies and entries of the samples.
SAMPLES = [(its["file"], name, 1 + its["appends"], ENTRIES.get(name, 0) * (1 + its["appends"]))
           for name, its in FACTS.items()]
VERSIONED = [its["file"] for its in FACTS.values() if its["versionLine"]]
APPENDING = [its["file"] for its in FACTS.values() if its["appends"]]


def i32(*values):
    return struct.pack("<%di" % len(values), *values)


def i64(*values):
    return struct.pack("<%dq" % len(values), *values)


def f64(*values):
    return struct.pack("<%dd" % len(values), *values)


def ints(*values):
    return i64(len(values)) + i32(*values)


def doubles(*values):
    return i64(len(values)) + f64(*values)


def limit_memory():
    if SANITIZED or WINDOWS:
        return  # sanitizers reserve terabytes of addresses, and Wine a few gigabytes
    resource.setrlimit(resource.RLIMIT_AS, (512 << 20, 512 << 20))


class ToolTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.samples = tempfile.mkdtemp(prefix="fieldstore-samples-")
        subprocess.run([MAKE_SAMPLES, cls.samples], check=True)
        # The library ends lines of text as its system does; the tool writes and cuts them as here.
        for path in glob.glob(os.path.join(cls.samples, "text", "*")) * WINDOWS:
            with open(path, "rb+") as file:
                content = file.read().replace(b"\r\n", b"\n")
                file.seek(0)
                file.write(content)
                file.truncate()

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.samples)

    def setUp(self):
        self.directory = tempfile.mkdtemp(prefix="fieldstore-test-")
        self.addCleanup(shutil.rmtree, self.directory)

    def path(self, name):
        return os.path.join(self.directory, name)

    def sample(self, name, mode="binary"):
        return os.path.join(self.samples, mode, name)

    def split(self, path):
        """The parts of a sample: what comes before the bodies, then the bodies."""
        content = self.read(path)
        name = os.path.basename(path)
        text = os.path.dirname(path).endswith("text")
        head = (b"!Run 7\n" if text else i32(6) + b"!Run 7") if name in VERSIONED else b""
        if name not in APPENDING:
            return [head, content[len(head):]]
        # Bodies of two differ in ids alone: ten of those of an assembly have a second digit.
        longer = 10 if text and name == "assemblyinfo.dat" else 0
        middle = len(head) + (len(content) - len(head) - longer) // 2
        return [head, content[len(head):middle], content[middle:]]

    def all_samples(self):
        for name, class_name, bodies, entries in SAMPLES:
            for mode in ("text", "binary"):
                yield self.sample(name, mode), mode, class_name, bodies, entries
        yield self.sample("file2.dat", "blocked"), "blocked", "PODOFList", 1, 6

    def write(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content)
        return self.path(name)

    @staticmethod
    def read(path):
        with open(path, "rb") as file:
            return file.read()

    def run_tool(self, *arguments, status=0, stdin=None, **options):
        result = subprocess.run([TOOL, *arguments], capture_output=True, timeout=20, input=stdin,
                                **options)
        self.assertEqual(result.returncode, status,
                         (arguments, result.stdout[-2000:], result.stderr[-2000:]))
        return result

    def out(self, *arguments, **options):
        return self.run_tool(*arguments, **options).stdout.decode()

    def error(self, *arguments, status=2, **options):
        return self.run_tool(*arguments, status=status, **options).stderr.decode()

    def json(self, *arguments, **options):
        return json.loads(self.out(*arguments, "--json", **options))

    def only(self, *arguments, **options):
        answer = self.json(*arguments, **options)
        self.assertEqual(len(answer), 1)
        return answer[0]

    def check(self, path, *arguments, status=1):
        return self.only("check", path, *arguments, status=status)

    def document(self, name, mode="binary"):
        return json.loads(self.out("dump", self.sample(name, mode)))

    def build(self, document, *arguments, replace=("", "")):
        self.run_tool("build", "-", "-o", self.path("built"), "--force", *arguments,
                      stdin=json.dumps(document).replace(*replace).encode())
        return self.path("built")

    def in_terminal(self, arguments, answer=b"", environment=None, directory="."):
        """Runs the tool with a terminal for all its streams; returns status and what it showed."""
        if WINDOWS:
            self.skipTest("a console of Windows is no terminal of POSIX")
        child, terminal = pty.fork()
        if child == 0:
            os.chdir(directory)
            os.execve(TOOL, [TOOL, *arguments], {**os.environ, **(environment or {})})
        if answer:
            os.write(terminal, answer)
        shown = b""
        while True:
            try:
                block = os.read(terminal, 4096)
            except OSError:  # how a terminal ends
                break
            if not block:
                break
            shown += block
        os.close(terminal)
        return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), shown.decode()


class WholeFiles(ToolTest):
    def test_ls_finds_out_class_mode_bodies_entries_and_version(self):
        for path, mode, class_name, bodies, entries in self.all_samples():
            line = self.only("ls", path)
            found = (line["state"], line["class"], line["mode"], line["bodies"], line["entries"],
                     line["size"], line["guessed"], line.get("blocks"), line.get("version"),
                     line["locked"])
            blocks = 2 if mode == "blocked" else None
            version = "Run 7" if os.path.basename(path) in VERSIONED else None
            self.assertEqual(found, ("whole", class_name, "text" if mode == "text" else "binary",
                                     bodies, entries, os.path.getsize(path), False, blocks, version,
                                     False), path)

    def test_ls_tries_classes_for_a_name_that_says_nothing(self):
        for path, mode, class_name, bodies, _ in self.all_samples():
            if mode == "text":
                continue  # numbers in a row fit several classes
            other = shutil.copy(path, self.path("other"))
            line = self.only("ls", other)
            self.assertEqual((line["class"], line["guessed"], line["bodies"]),
                             (class_name, True, bodies))
            self.assertRegex(self.out("ls", other), class_name + r" .*\n +class is a guess")
            self.assertFalse(self.only("ls", other, "--class", class_name[2:].lower())["guessed"])

    def test_ls_and_check_take_directories_and_leave_out_what_is_not_theirs(self):
        for name, _, _, _ in SAMPLES:
            shutil.copy(self.sample(name), self.path(name))
        self.write("notes.txt", b"These are the results of Monday, all of them.\n")
        self.write("modeinfo.lck", b"")
        os.symlink("nowhere", self.path("link"))
        lines = self.json("ls", self.directory)
        self.assertEqual([os.path.basename(line["path"]) for line in lines],
                         sorted([sample[0] for sample in SAMPLES] + ["notes.txt"]))
        self.assertEqual([line["path"] for line in lines if line.get("locked")],
                         [self.path("modeinfo.dat")])
        self.assertEqual(len(self.json("check", self.directory)), len(SAMPLES))
        self.error("check", self.directory, self.path("notes.txt"))

    def test_check_holds_the_files_of_a_directory_against_each_other(self):
        for name, _, _, _ in SAMPLES:
            shutil.copy(self.sample(name), self.path(name))

        def notes(name, *paths, status=0):
            path = self.path(name)
            (verdict,) = [line for line in self.json("check", *paths, status=status)
                          if line["path"] == path]
            self.assertEqual(verdict["verdict"], "sound")
            return [finding["text"] for finding in verdict["findings"]]

        self.assertEqual(notes("circuitmatrices.dat", self.directory), [
            "2 frequencies not in modeinfo.dat, the first 2000000000",
            "2 frequencies not in this file, but in modeinfo.dat, the first 1000000000"])
        # Of the elements 5, 7, 15 and 17 the tree has none, of their nodes the metrics 1 and 2.
        self.assertEqual(notes("assemblyinfo.dat", self.directory), [
            "4 elements not in evtree.dat, the first 5",
            "5 nodes not in solutiondata.dat, the first 4"])
        self.assertEqual(notes("assemblyinfo.dat", self.path("assemblyinfo.dat")), [])
        self.write("evtree.dat", b"no tree")
        os.remove(self.path("solutiondata.dat"))
        self.write("modeinfo.dat", b"")
        for name in ("assemblyinfo.dat", "circuitmatrices.dat"):
            self.assertEqual(notes(name, self.directory, status=1), [])

    def test_check_finds_no_problem_in_what_the_library_wrote(self):
        for path, *_ in self.all_samples():
            verdict = self.check(path, status=0)
            self.assertEqual((verdict["verdict"], verdict["findings"]), ("sound", []), path)

    def test_dump_and_build_give_the_same_bytes(self):
        for path, *_ in self.all_samples():
            self.run_tool("dump", path, "-o", self.path("a.json"), "--force")
            self.run_tool("build", self.path("a.json"), "-o", self.path("a.dat"), "--force")
            self.assertEqual(self.read(self.path("a.dat")), self.read(path), path)
            self.run_tool("load-json", "-", "-o", self.path("b.dat"), "--force",
                          stdin=self.run_tool("dump", path).stdout)
            self.assertEqual(self.read(self.path("b.dat")), self.read(path), path)

    def test_convert_gives_what_the_library_writes_in_the_other_mode(self):
        for name, class_name, _, _ in SAMPLES:
            for mode, other in (("text", "binary"), ("binary", "text")):
                self.run_tool("convert", self.sample(name, mode), "--to", other, "-o",
                              self.path("converted"), "--force")
                self.assertEqual(self.read(self.path("converted")),
                                 self.read(self.sample(name, other)), (name, other))
        self.assertIn("no text form", self.error("convert", self.sample("file2.dat", "blocked"),
                                                 "--to", "text", "-o", self.path("x")))
        self.assertEqual(os.listdir(self.directory), ["converted"])

    def test_compact_leaves_one_body_and_the_same_data(self):
        for path, mode, class_name, bodies, entries in self.all_samples():
            out = self.path("compact.dat")
            self.run_tool("compact", path, "-o", out, "--force")
            line = self.only("ls", out, "--class", class_name)
            self.assertEqual((line["bodies"], line["entries"], line["mode"]),
                             (1, entries, "text" if mode == "text" else "binary"), path)
            self.run_tool("diff", path, out, "--class", class_name)
            self.check(out, "--class", class_name, status=0)

    def test_show_shows_and_selects(self):
        for path, mode, class_name, *_ in self.all_samples():
            self.assertTrue(self.out("show", path).startswith(path + ": " + class_name), path)
            self.run_tool("show", path, "--full")
        modes = self.sample("modeinfo.dat")
        self.assertIn("2 different", self.out("show", modes))
        self.assertIn("modes: 1 entry", self.out("show", modes, "--frequency", "1e9", "--port", "1"))
        self.assertIn("modes: 0 entries", self.out("show", modes, "--port", "2"))
        self.assertRegex(self.out("show", modes, "--full"),
                         r"1000000001 +1 +1 +1 +3\+4j +1 +6\+0j +8\+0.1j +0.74\d*-0.009\d*j")
        block = self.out("show", self.sample("file2.dat", "blocked"), "--block", "1")
        self.assertIn("[2,10,12,4]", block)
        self.assertNotIn("[0,20,-1,5]", block)
        self.assertIn("values: 1 entry; 2 numbers, 1.5 .. 2.5, mean 2",
                      self.out("show", self.sample("solutiondata.dat"), "--entity", "1"))
        self.assertIn("no such key", self.error("show", self.sample("evtree.dat"), "--port", "1"))

    def test_dump_as_tables(self):
        csv = self.out("dump", self.sample("modeinfo.dat"), "--format", "csv").splitlines()
        self.assertEqual(csv[0], "frequency,port,mode,group,gamma_re,gamma_im,index,"
                                 "voltage_re,voltage_im,current_re,current_im")
        self.assertEqual(len(csv), 1 + 2 * 2 * 2)  # frequencies, modes, voltages of a mode
        self.assertEqual(csv[4], "1000000000,1,1,1,3,4,1,6,0,8,0.1")
        csv = self.out("dump", self.sample("circuitmatrices.dat"), "--format", "csv").splitlines()
        self.assertEqual(csv[:3], ["frequency,type,row,column0,column1",
                                   "2000000000,3,0,1,2", "2000000000,3,1,3,0.25"])
        csv = self.out("dump", self.sample("file3.dat"), "--format", "csv").splitlines()
        self.assertEqual(csv, ["position,dof,kind,number", "0,10,port,1", "1,11,port,2",
                               "2,12,offset,", "3,13,circuit,1", "4,14,circuit,2"])
        csv = self.out("dump", self.sample("solutiondata.dat"), "--format", "csv").splitlines()
        self.assertEqual(csv[1:], ["12,0,0,1.5,2.5", "12,0,1,1.5,2.5"])
        self.assertIn("no csv of POMeshTree",
                      self.error("dump", self.sample("evtree.dat"), "--format", "csv"))

    def test_dump_as_matrix_market(self):
        self.assertEqual(self.out("dump", self.sample("evdofmap.dat"), "--format", "mtx"),
                         "%%MatrixMarket matrix coordinate real general\n"
                         "3 3 3\n1 2 0.5\n1 1 0\n2 1 2\n")
        matrices = self.sample("circuitmatrices.dat")
        self.assertIn("-o DIR", self.error("dump", matrices, "--format", "mtx"))
        self.run_tool("dump", matrices, "--format", "mtx", "-o", self.path("m/"))
        self.assertEqual(sorted(os.listdir(self.path("m"))),
                         ["matrix_2000000000_3.mtx", "matrix_2000000001_3.mtx"])
        # [[1, 2], [3, 0.25]], column after column.
        self.assertEqual(self.read(self.path("m/matrix_2000000001_3.mtx")),
                         b"%%MatrixMarket matrix array real general\n2 2\n1\n3\n2\n0.25\n")

    def array(self, name):
        """The values of a NumPy file, read by the published layout."""
        content = self.read(self.path("arrays/" + name + ".npy"))
        self.assertEqual(content[:8], b"\x93NUMPY\x01\x00")
        begin = 10 + struct.unpack("<H", content[8:10])[0]
        self.assertEqual((begin % 64, content[begin - 1:begin]), (0, b"\n"))
        header = eval(content[10:begin])  # the layout says: a Python literal
        kind, per_value = {"<i4": ("i", 1), "<i8": ("q", 1), "<u4": ("I", 1), "<u8": ("Q", 1),
                           "<f8": ("d", 1), "<c16": ("d", 2)}[header["descr"]]
        count = math.prod(header["shape"]) * per_value
        return header["shape"], list(struct.unpack("<%d%s" % (count, kind), content[begin:]))

    def test_dump_as_numpy_arrays(self):
        def dump(name, mode="binary"):
            shutil.rmtree(self.path("arrays"), ignore_errors=True)
            self.run_tool("dump", self.sample(name, mode), "--format", "npy", "-o",
                          self.path("arrays"))
        dump("evdofmap.dat")
        self.assertEqual(self.array("rows.begin"), ((4,), [0, 2, 3, 3]))
        self.assertEqual(self.array("rows.column"), ((3,), [1, 0, 0]))
        self.assertEqual(self.array("rows.weight"), ((3,), [0.5, 0, 2]))
        dump("modeinfo.dat", "text")
        self.assertEqual(self.array("modes.port1.frequency"), ((2,), [1000000000, 1000000001]))
        self.assertEqual(self.array("modes.port1.gamma"), ((2, 2), [1, 2, 3, 4] * 2))
        shape, currents = self.array("modes.port1.current")
        self.assertEqual((shape, currents[4:8]), ((2, 2, 2), [7, 0, 8, 0.1]))
        dump("circuitmatrices.dat")
        self.assertEqual(self.array("matrices.type3.values"), ((2, 2, 2), [1, 2, 3, 0.25] * 2))
        dump("solutiondata.dat")
        self.assertEqual(self.array("headerField4"), ((), [4000000000]))
        self.assertEqual(self.array("positions.position"), ((2, 3), [0, 0, 0, 1, 0, 0.5]))
        self.assertEqual(self.array("values.type12.values"), ((2, 2), [1.5, 2.5] * 2))
        self.assertEqual(self.array("neighbors.neighbors"), ((2,), [2, 1]))
        dump("file2.dat")
        self.assertEqual(self.array("records4"), ((2, 3), [0, 1, 2, 3, 5, 9]))
        dump("file1.dat")
        self.assertEqual(self.array("leafCounts5"), ((2,), [9, 10]))

    def test_arrays_of_different_lengths_stand_end_to_end(self):
        document = self.document("modeinfo.dat")
        document["bodies"][0]["modes"][0]["modes"].pop()
        path = self.build(document)
        self.run_tool("dump", path, "--class", "POModeInfo", "--format", "npy", "-o",
                      self.path("arrays"))
        self.assertEqual(self.array("modes.port1.gamma_begin")[1], [0, 1, 3])
        self.assertEqual(self.array("modes.port1.gamma"), ((3,), [1, 2, 1, 2, 3, 4]))
        self.assertEqual(self.array("modes.port1.data_begin")[1], [0, 4, 8, 12])


def in_slice(field, entry, wanted):
    """Whether a slice keeps an entry of a field, by the parts of its key."""
    return all(low <= entry[part] <= high for part, (low, high) in wanted.items() if part in entry)


class Slices(ToolTest):
    def body(self, path, *options):
        return json.loads(self.out("dump", path, *options))["bodies"][0]

    def test_a_slice_is_the_slice_of_a_load(self):
        """Of files of many bodies with keys in any order and often the same ones."""
        random.seed(5)
        for name, parts in (("modeinfo.dat", ("frequency", "port")),
                            ("circuitmatrices.dat", ("frequency", "type")),
                            ("solutiondata.dat", ("type", "index", "entity"))):
            for mode in ("binary", "text"):
                document = self.document(name, mode)
                entries = []  # of the field that is sliced, body by body
                template = document["bodies"][0]
                field = {"modeinfo.dat": "modes", "circuitmatrices.dat": "matrices",
                         "solutiondata.dat": "values"}[name]
                if name == "solutiondata.dat":  # a mean and a sum
                    template["definitions"].append({"type": 13, "count": 1, "function": 2})
                for body in range(4):
                    made = {}
                    for _ in range(6):
                        entry = json.loads(json.dumps(template[field][0]))
                        for part in parts:
                            entry[part] = random.choice(
                                (12, 13) if (part, name) == ("type", "solutiondata.dat")
                                else (1, 2, 3, 4))
                        values = [random.random() for _ in range(1 + (entry.get("type") != 13))]
                        if name == "solutiondata.dat":
                            entry["values"] = values
                        elif "values" in entry:
                            entry["values"][0] = body
                        else:
                            entry["modes"][0]["value"] = [body, 0]
                        made[tuple(entry[part] for part in parts)] = entry
                    entries.append([made[key] for key in sorted(made)])
                if name == "modeinfo.dat":  # every frequency has as many ports
                    entries = [[dict(entry, frequency=f, port=p) for f in (4, 2) for p in (1, 2, 3)
                                for entry in [random.choice(body)]] for body in entries]
                    entries = [sorted(body, key=lambda e: (e["frequency"], e["port"]))
                               for body in entries]
                document["bodies"] = [dict(json.loads(json.dumps(template)), **{field: body})
                                      for body in entries]
                path = shutil.move(self.build(document), self.path(name))
                self.run_tool("compact", path, "-o", self.path("whole"), "--force")
                whole = self.body(self.path("whole"), "--class", self.only("ls", path)["class"])
                for _ in range(6):
                    wanted = {part: sorted(random.choices(range(1, 15), k=2)) for part in
                              random.sample(parts, random.randint(1, len(parts)))}
                    options = ["--%s=%d:%d" % (part, *ends) for part, ends in wanted.items()]
                    expected = {key: [e for e in value if in_slice(key, e, wanted)]
                                if isinstance(value, list) else value
                                for key, value in whole.items()}
                    found = self.body(path, *options)
                    if mode == "text":  # compact has rounded once more
                        self.assertEqual(len(found[field]), len(expected[field]))
                    else:
                        self.assertEqual(found, expected, (name, options))

    def test_frequencies_have_units(self):
        entries = [{"frequency": f, "type": 3, "values": [1.0]}
                   for f in (2400000000, 8000000000, 12000000000)]
        document = self.document("circuitmatrices.dat")
        document["bodies"] = [{"matrices": entries}]
        path = shutil.move(self.build(document), self.path("circuitmatrices.dat"))
        for words, count in (("2.4GHz", 1), ("2400000.0kHz", 1), ("8e3MHz:0.012THz", 2),
                             ("8:12GHz", 2), ("8GHz:", 2), (":2.4e9", 1), ("2.41GHz", 0)):
            found = self.body(path, "--frequency", words)["matrices"]
            self.assertEqual(len(found), count, words)
        for words in ("fast", "1GHz:x", ":", "GHz", "1e999GHz", "12GHz:8GHz", "nan", "1 2"):
            self.error("dump", path, "--frequency", words)
        self.error("show", path, "--type", "3.5")
        self.assertIn("no such key", self.error("diff", path, path, "--port", "1"))

    def test_what_is_passed_over_must_be_whole(self):
        for name, options in (("modeinfo.dat", ("--frequency", "7")),
                              ("circuitmatrices.dat", ("--type", "9"))):
            for mode in ("text", "binary"):
                content = self.read(self.sample(name, mode))
                path = self.write(name, content[:-10])
                self.assertIn("repair", self.error("show", path, *options))
        path = self.write("modeinfo.dat", self.read(self.sample("modeinfo.dat", "text")).replace(
            b"7 0", b"x 0"))
        self.error("show", path, "--frequency", "7")

    def test_blocks_are_read_alone(self):
        path = self.sample("file2.dat", "blocked")
        blocks = self.body(path, "--block", "1")["blocks"]
        self.assertEqual([block["block"] for block in blocks], [1])
        self.assertEqual(blocks, [b for b in self.body(path)["blocks"] if b["block"] == 1])

    def test_a_slice_of_a_large_file_needs_little(self):
        values = doubles(*[0.5] * 100) * 1
        entry = lambda f: i64(f) + i32(3) + values
        path = self.write("circuitmatrices.dat", i64(100000) + b"".join(map(entry, range(100000))))
        before = set(os.listdir(self.directory))
        result = self.run_tool("show", path, "--frequency", "77777Hz",
                               env={**os.environ, ("TMP" if WINDOWS else "TMPDIR"): "/nowhere"},
                               preexec_fn=limit_small if not OWN_MEMORY else None)
        self.assertIn(b"1 entry", result.stdout)
        self.assertEqual(set(os.listdir(self.directory)), before)


def limit_small():
    resource.setrlimit(resource.RLIMIT_AS, (64 << 20, 64 << 20))


class Directories(ToolTest):
    def directory_of(self, name, mode="binary"):
        return shutil.copytree(os.path.join(self.samples, mode), self.path(name))

    def test_convert_compact_and_diff_pair_by_name(self):
        text, binary = self.directory_of("t", "text"), self.directory_of("b")
        self.run_tool("convert", text, "--to", "binary", "-o", self.path("out"))
        for name, *_ in SAMPLES:
            self.assertEqual(self.read(self.path("out/" + name)), self.sample_bytes(name), name)
        self.run_tool("compact", binary, "-o", self.path("small"))
        self.run_tool("diff", binary, self.path("small"))
        self.assertEqual(self.only("ls", self.path("small/modeinfo.dat"))["bodies"], 1)
        os.remove(self.path("small/file1.dat"))
        matrices = self.read(self.path("small/circuitmatrices.dat"))
        with open(self.path("small/circuitmatrices.dat"), "wb") as file:
            file.write(matrices[:-8] + f64(9))
        shown = self.out("diff", binary, self.path("small"), status=1)
        self.assertEqual(shown.splitlines(), [
            "circuitmatrices.dat: matrices[frequency 2000000001, type 3][3]: 0.25 | 9.0",
            "file1.dat: present | missing"])
        self.out("diff", binary, self.path("small"), "--frequency", "2GHz", status=1)
        with open(self.path("small/evtree.dat"), "ab") as file:
            file.truncate(9)
        self.assertIn("evtree.dat", self.error("diff", binary, self.path("small")))
        self.error("convert", text, "--to", "binary", "-o", text)

    def sample_bytes(self, name):
        return self.read(self.sample(name))

    def test_dump_gives_a_file_or_directory_for_each(self):
        binary = self.directory_of("b")
        self.error("dump", binary)
        told = self.run_tool("dump", binary, "--format", "csv", "-o", self.path("csv")).stderr
        self.assertEqual(sorted(os.listdir(self.path("csv"))), [
            name + ".csv" for name in ("circuitmatrices.dat", "file3.dat", "modeinfo.dat",
                                       "solutiondata.dat")])
        self.assertIn(b"evtree.dat: left out", told)
        self.run_tool("dump", binary, "--format", "npy", "-o", self.path("arrays"))
        self.assertEqual(len(os.listdir(self.path("arrays"))), len(SAMPLES))


class Documents(ToolTest):
    def test_schema_names_the_fields_of_every_class(self):
        with open(SCHEMA, encoding="utf-8") as file:
            schema = json.load(file)
        for path, mode, class_name, *_ in self.all_samples():
            document = json.loads(self.out("dump", path))
            form = class_name + ("Blocked" if document.get("form") == "blocked" else "")
            fields = schema["$defs"][form]["properties"]["bodies"]["items"]
            self.assertEqual(sorted(fields["required"]), sorted(document["bodies"][0]), form)
            self.assertEqual(sorted(fields["properties"]), sorted(document["bodies"][0]), form)

    def test_values_at_the_edges_survive(self):
        document = self.document("circuitmatrices.dat")
        edges = [0.1, -0.0, 5e-324, 1.7976931348623157e308, 1 / 3, "inf", "-inf", "nan", "-nan"]
        document["bodies"] = [{"matrices": [{"frequency": -2**63, "type": -2**31, "values": edges},
                                            {"frequency": 2**63 - 1, "type": 2**31 - 1,
                                             "values": ["nan:7ff8000000000123"]}]}]
        path = self.build(document)
        content = self.read(path)
        self.assertEqual(content[8:20], i64(-2**63) + i32(-2**31))
        self.assertEqual(content[28:28 + 48], f64(0.1, -0.0, 5e-324, 1.7976931348623157e308, 1 / 3,
                                                  math.inf))
        self.assertEqual(content[-8:], struct.pack("<Q", 0x7ff8000000000123))
        again = json.loads(self.out("dump", path, "--class", "POCircuitMatrices"))
        self.assertEqual(again["bodies"], document["bodies"])
        zeros = self.build({**document, "bodies": [{"matrices": [
            {"frequency": -7, "type": 1, "values": [-7, 0, 0.5, -7]}]}]}, replace=("-7", "-0"))
        self.assertEqual(self.read(zeros)[8:], i64(0) + i32(1) + doubles(-0.0, 0, 0.5, -0.0))
        # In text as well, but for the bits of a not-a-number.
        text = self.build({**document, "bodies": [{"matrices": [
            {"frequency": 1, "type": 1, "values": edges}]}]}, "--to", "text")
        self.assertIn(b"0.3333333333333333\ninf\n-inf\nnan\n", self.read(text))

    def test_ids_are_unsigned(self):
        document = self.document("solutiondata.dat")
        document["bodies"] = document["bodies"][:1]
        body = document["bodies"][0]
        body["headerId"] = 2**32 - 1
        body["neighbors"] = [{"node": 2**32 - 2, "neighbors": [2**32 - 1]},
                             {"node": 2**32 - 1, "neighbors": [2**32 - 2]}]
        path = self.build(document)
        self.assertEqual(self.read(path)[10:14], b"\xff\xff\xff\xff")  # behind the version line
        again = json.loads(self.out("dump", path, "--class", "SolutionMetrics"))
        self.assertEqual(again, document)

    def test_lines_that_end_as_on_windows(self):
        for name, *_ in SAMPLES:
            path = self.sample(name, "text")
            other = self.write(name, self.read(path).replace(b"\n", b"\r\n"))
            for command in ("ls", "check"):
                told = [self.json(command, file) for file in (path, other)]
                for answer in told:
                    for key in ("path", "size"):
                        answer[0].pop(key, None)
                self.assertEqual(*told, (command, name))
            self.assertEqual(self.out("dump", path), self.out("dump", other))
            self.run_tool("diff", path, other)

    def test_version_texts_of_any_bytes(self):
        for mode, end in (("binary", b""), ("text", b"\n")):
            body = self.split(self.sample("file1.dat", mode))[1]
            text = b"!\xff\xc3\x28\x1b[31m\t\xe2\x82\xac"
            head = text + end if end else i32(len(text)) + text
            path = self.write("file1.dat", head + body)
            document = json.loads(self.out("dump", path))
            self.assertEqual(document["version"], {"hex": text[1:].hex()})
            self.assertEqual(self.read(self.build(document)), head + body, mode)
            self.assertEqual(self.only("ls", path)["version"], "\ufffd\ufffd(\x1b[31m\t\u20ac")
            for shown in (self.run_tool("ls", path).stdout, self.run_tool("show", path).stdout):
                self.assertIn(rb"\x1b[31m\x09", shown)
            for wrong in ({"hex": "0"}, {"hex": "0g"}, {"hex": 1}, {}, 5):
                self.assertIn("version", self.error("build", "-", "-o", self.path("x"), stdin=(
                    json.dumps({**document, "version": wrong}).encode())))
        path = self.write(b"\xff.dat".decode(errors="surrogateescape"), b"x")
        self.assertIn("\ufffd.dat", self.only("ls", path, status=2)["path"])
        self.assertIn("\ufffd.dat", self.only("check", path, status=2)["trouble"])

    def test_members_of_a_document_in_any_order(self):
        for path, *_ in self.all_samples():
            document = json.loads(self.out("dump", path))
            bodies = [dict(reversed(list(body.items()))) for body in document["bodies"]]
            content = self.read(path)
            self.assertEqual(self.read(self.build({**document, "bodies": bodies})), content)
            first = {"bodies": document["bodies"], **document}
            self.assertEqual(self.read(self.build(first)), content, path)
        self.assertIn("form", document)
        late = self.document("file1.dat")
        late["version"] = late.pop("version")  # found too late for what is read only once
        self.assertIn("'version' follows the bodies", self.error(
            "build", "-", "-o", self.path("x"), stdin=json.dumps(late).encode()))
        self.run_tool("build", self.write("late", json.dumps(late).encode()), "-o", self.path("x"))
        self.assertEqual(self.read(self.path("x")), self.read(self.sample("file1.dat")))

    def test_building_takes_little_more_than_the_object(self):
        def limit():  # twice what is needed, half of what the document would take as a whole
            if not OWN_MEMORY:
                resource.setrlimit(resource.RLIMIT_AS, (128 << 20, 128 << 20))
        document = b'{"class":"PODOFMap","mode":"binary","bodies":[{"rows":[],"types":[0%s]}]}'
        self.run_tool("build", "-", "-o", self.path("evdofmap.dat"), preexec_fn=limit,
                      stdin=document % (b",1" * 4000000))
        self.assertEqual(os.path.getsize(self.path("evdofmap.dat")), 8 + 8 + 4 * 4000001)

    def test_documents_that_are_no_result_file(self):
        def broken(name, change):
            document = self.document(name)
            change(document, document["bodies"][0])
            return json.dumps(document)

        def entry(field, **values):
            return lambda document, body: body[field][0].update(values)
        cases = [
            ("{", "JSON"), ("[]", "not an object"),
            ('{"x":%s}' % ("[" * 200000 + "]" * 200000), "nested deeper than 32"), ("{}", "'mode' is missing"),
            ('{"mode":"binary","class":"POThing","bodies":[]}', "no class 'POThing'"),
            ('{"mode":"paper","class":"POModeInfo","bodies":[]}', "text or binary"),
            ('{"mode":"text","class":"POMeshTree","bodies":[]}', "one body, not 0"),
            (broken("evtree.dat", lambda d, b: b.pop("ids")), "'ids' is missing"),
            ('{"mode":"text","class":"POMeshTree","bodies":{}}', "array 'bodies' is missing"),
            ('{"mode":"text","class":"POMeshTree","bodies":[[]]}', "a body is an object"),
            ('{"mode":"text","class":"POMeshTree","bodies":[{"ids":[],"ids":[]}]}', "there twice"),
            ('{"mode":"text","mode":"binary","bodies":[]}', "'mode' is there twice"),
            ('{"bodies":[{"ids":[],"ids":[]}],"mode":"text"}', "'ids' is there twice"),
            (broken("evtree.dat", lambda d, b: None) + "\0{}", "a zero byte"),
            (broken("evtree.dat", lambda d, b: d["bodies"].append(b)), "has one body"),
            (broken("file3.dat", lambda d, b: b.update(portDOFCount=[])), "an integer is wanted"),
            (broken("evtree.dat", lambda d, b: b.update(ids=5)), "ids: an array is wanted"),
            (broken("evtree.dat", lambda d, b: b.update(more=1)), "has the name 'more'"),
            (broken("evtree.dat", lambda d, b: b.update(ids=[1, 1])), "ids: 1 is there twice"),
            (broken("evtree.dat", lambda d, b: b.update(ids=[2**31])), "out of range"),
            (broken("evtree.dat", lambda d, b: b.update(ids=[-2**31 - 1])), "out of range"),
            (broken("evtree.dat", lambda d, b: b.update(ids=[1.5])), "an integer is wanted"),
            ('{"version":"x","mode":"text","class":"POMeshTree","bodies":[]}', "have no version"),
            (broken("modeinfo.dat", entry("modes", port=[])), "bodies[0]: modes: port: an integer"),
            (broken("modeinfo.dat", entry("modes", frequency=2**63)), "frequency: 9223372036854775"),
            (broken("modeinfo.dat", entry("modes", modes=[{"group": 0}])), "object of 3 members"),
            (broken("modeinfo.dat", lambda d, b: b["modes"].append(b["modes"][0])), "the key of"),
            (broken("solutiondata.dat", entry("positions", node=-1)), "node: -1 is out of range"),
            (broken("solutiondata.dat", lambda d, b: d.update(version="a" * 300)), "version text"),
            # What could be written, and not loaded.
            (broken("assemblyinfo.dat", lambda d, b: b.update(elements=[5, -5])), "could not load"),
            (broken("file1.dat", lambda d, b: b.update(nodeItems=[])), "could not load"),
        ]
        for document, message in cases:
            self.assertIn(message, self.error("build", "-", "-o", self.path("no.dat"),
                                              stdin=document.encode()), document)
        self.assertEqual(os.listdir(self.directory), [])  # no output, no temporary file
        self.run_tool("build", "-", "--unchecked", "-o", self.path("yes.dat"),
                      stdin=cases[-1][0].encode())
        self.check(self.path("yes.dat"), "--class", "POBinaryTree")


class TornFiles(ToolTest):
    def test_cut_anywhere(self):
        for number, (path, mode, class_name, _, _) in enumerate(self.all_samples()):
            content = self.read(path)
            head, *bodies = self.split(path)
            ends = [len(content) - sum(map(len, bodies[i:])) for i in range(1, len(bodies) + 1)]
            near = {end + step for end in ends for step in (-2, -1, 0, 1)}
            cuts = sorted(set(range(8 + number % 5, len(content), 13)) | near)
            for cut in (cut for cut in cuts if cut < len(content)):
                torn = self.write(os.path.basename(path), content[:cut])
                whole = [end for end in ends if end <= cut]
                if mode == "blocked" and cut >= 200:
                    continue  # a block is whole: test_whole_blocks_are_saved
                if cut in ends:
                    self.assertEqual(self.check(torn, status=0)["bodies"], len(whole))
                    continue
                where = (path, cut)
                verdict = self.check(torn)
                self.assertEqual((verdict["bodies"], verdict["class"]), (len(whole), class_name),
                                 where)
                fault = verdict["findings"][0]
                self.assertIn("the file ends ", fault["text"], where)
                self.assertLessEqual(whole[-1] if whole else 0, fault["offset"] + 1, where)
                self.assertLessEqual(fault["offset"], cut, where)
                saved = self.path("saved")
                if os.path.exists(saved):
                    os.remove(saved)
                if not whole:
                    self.error("repair", torn, "-o", saved)
                    self.assertFalse(os.path.exists(saved), where)
                    continue
                answer = self.json("repair", torn, "-o", saved)
                self.assertEqual(self.read(saved), content[:whole[-1]], where)
                self.assertEqual((answer["keptBodies"], answer["loads"]), (len(whole), True), where)

    def test_other_commands_refuse_a_torn_file_and_say_how_to_save_it(self):
        torn = self.write("modeinfo.dat", self.read(self.sample("modeinfo.dat"))[:-1])
        for command in (("show", torn), ("dump", torn), ("compact", torn, "-o", self.path("x")),
                        ("convert", torn, "--to", "text", "-o", self.path("x")),
                        ("merge", torn, "-o", self.path("x")), ("diff", torn, torn)):
            message = self.error(*command)
            self.assertIn("byte 220", message)  # count of the second body, 212, and 8
            self.assertIn("fieldstore repair", message)
        line = self.only("ls", torn)
        self.assertEqual((line["state"], line["bodies"]), ("torn", 1))

    def test_other_commands_refuse_every_torn_file(self):
        for path, _, class_name, _, _ in self.all_samples():
            content = self.read(path)
            for cut in (1, len(content) // 3, len(content) - 1):
                torn = self.write(os.path.basename(path), content[:cut])
                self.assertEqual(self.only("ls", torn)["state"], "torn", (path, cut))
                for command in (("show",), ("dump",), ("dump", "--format", "npy"), ("compact",),
                                ("convert", "--to", "binary"), ("merge",), ("diff", path)):
                    out = () if command[0] in ("show", "diff") else ("-o", self.path("x"))
                    message = self.error(command[0], torn, *command[1:], *out)
                    self.assertRegex(message, "^fieldstore: .*: byte [0-9]+: .+\n( .+\n)?$",
                                     (command, path, cut))
                self.assertEqual(os.listdir(self.directory), [os.path.basename(path)])
                os.remove(torn)

    def test_whole_blocks_are_saved(self):
        content = self.read(self.sample("file2.dat", "blocked"))
        # Header 44, index 8 + 8 + 2 * (6 + 8), block 0 from 88, block 1 from 200 to the end.
        header, front = content[:44], content[44:60]
        zero, one, end = content[88:200], content[200:], len(content)
        first_alone = (header + i64(8 + 14) + i32(1, 6) + b"0".ljust(6, b"\0") + i64(74) + zero)
        empty = i64(0) * 9  # four counts, five arrays
        second_alone = (header + front + b"0".ljust(6, b"\0") + i64(88) + b"1".ljust(6, b"\0") +
                        i64(88 + len(empty)) + empty + one)
        unfinished = header + front + bytes(28) + zero + one
        impossible = content[:88] + i64(1 << 50) + content[96:]
        no_bookmark = content[:66] + i64(-1) + content[74:]
        cases = [(content[:cut], [0], [1], first_alone, 1) for cut in (200, 231, 232, 290, end - 1)]
        cases += [(unfinished, [0, 1], [], content, 2), (unfinished[:-1], [0], [1], first_alone, 1),
                  (impossible, [1], [0], second_alone, 2), (no_bookmark, [1], [0], second_alone, 2)]
        for number, (torn, kept, lost, expected, blocks) in enumerate(cases):
            path = self.write("file2.dat", torn)
            line = self.only("ls", path)
            self.assertEqual((line["state"], line["blocks"], line["wholeBlocks"]),
                             ("torn", 2, len(kept)), number)
            self.assertIn("repair saves %d of 2 blocks" % len(kept),
                          self.check(path)["findings"][0]["text"])
            answer = self.json("repair", path, "-o", self.path("saved"), "--force")
            self.assertEqual((answer["keptBlocks"], answer["lostBlocks"], answer["loads"]),
                             (kept, lost, True), number)
            self.assertEqual(self.read(self.path("saved")), expected, number)
            line = self.only("ls", self.path("saved"), "--class", "PODOFList")
            self.assertEqual((line["state"], line["blocks"]), ("whole", blocks), number)
        self.assertIn("kept block 1 with 3 entries\nlost block 0: at byte 44",
                      self.out("repair", path, "-o", self.path("saved"), "--force"))

    def test_zeros_behind_the_bodies_are_a_torn_tail(self):
        for name in APPENDING:
            content = self.read(self.sample(name))
            torn = self.write(name, content + bytes(1 << 20))
            line = self.only("ls", torn)
            self.assertEqual((line["state"], line["bodies"]), ("torn", 2), name)
            answer = self.json("repair", torn, "-o", self.path("saved"), "--force")
            self.assertEqual(self.read(self.path("saved")), content, name)
            self.assertEqual(answer["lostBytes"], 1 << 20)

    def test_zeros_behind_the_bodies_are_a_problem(self):
        for path, *_ in self.all_samples():
            content = self.read(path)
            for count in (1, 8, 32, 60, 120, 480, 4096):
                torn = self.write(os.path.basename(path), content + bytes(count))
                offsets = [finding["offset"] for finding in self.check(torn)["findings"]
                           if finding["kind"] == "problem"]
                self.assertGreaterEqual(min(offsets), len(content) - 1, (path, count))

    def test_bytes_behind_a_body_that_is_the_only_one(self):
        content = self.read(self.sample("evtree.dat"))
        verdict = self.check(self.write("evtree.dat", content + b"tail"))
        self.assertEqual((verdict["bodies"], verdict["findings"][0]["offset"]), (1, len(content)))
        self.assertIn("4 bytes follow", verdict["findings"][0]["text"])

    def test_repair_in_place_keeps_a_backup_and_the_lock(self):
        content = self.read(self.sample("modeinfo.dat"))
        torn = self.write("modeinfo.dat", content[:-5])
        os.chmod(torn, 0o640)
        self.write("modeinfo.dat.bak", b"older")
        self.write("modeinfo.lck", b"")
        self.assertIn("locked", self.error("repair", torn, "--in-place"))
        os.remove(self.path("modeinfo.lck"))
        for arguments in ((), ("-o", torn), ("-o", self.path("./modeinfo.dat"), "--force")):
            self.error("repair", torn, *arguments)
        self.assertEqual(self.read(torn), content[:-5])
        report = self.out("repair", torn, "--in-place")
        self.assertIn("kept 1 body with 1 entry, bytes 0 to 212", report)
        self.assertIn("lost bytes 212 to 419 (207 B)", report)
        self.assertEqual(self.read(torn), content[:212])
        if not WINDOWS:
            self.assertEqual(os.stat(torn).st_mode & 0o777, 0o640)
        self.assertEqual(self.read(self.path("modeinfo.dat.bak1")), content[:-5])
        self.assertEqual(len(os.listdir(self.directory)), 3)  # no lock, no temporary file

    @posix_only("processes have other numbers")
    def test_a_lock_whose_writer_runs_is_removed_by_force_alone(self):
        path = self.write("modeinfo.dat", self.read(self.sample("modeinfo.dat")))
        host, status = os.uname().nodename, open("/proc/self/stat", encoding="ascii").read()
        host = re.sub("[^A-Za-z0-9-]", "_", host)[:63]
        start = int(status.rpartition(")")[2].split()[19])
        boot, size = self.read("/proc/sys/kernel/random/boot_id").decode().strip(), os.path.getsize(path)
        self.write("modeinfo.lck", b"")
        writers = {(os.getpid(), start, host): "is at work", (os.getpid(), start + 1, host): "is gone",
                   (1, 1, "elsewhere"): ""}
        for (process, begun, where), state in writers.items():
            mark = f"{size}\nhost {where}\nboot {boot}\nprocess {process}\nstart {begun}\ndata {path}\n"
            name = f"process {process} on {where}"
            for trace, content in (("modeinfo.dat.undo", mark),
                                   (f"modeinfo.dat.new{process}-{begun}-0-{where}", "")):
                left = self.write(trace, content.encode())
                told = "\n".join(self.json("ls", path)[0]["left"])
                self.assertIn(f"{left}: {name} {'died' if state == 'is gone' else 'is '}", told)
                shown = self.out("unlock", path, status=2, stdin=b"")
                self.assertRegex(shown, rf"locked for \d+ s, by {name}{', which ' + state if state else ''}\n")
                self.assertEqual("its writer is at work" in self.error("unlock", path),
                                 state == "is at work")
                os.remove(left)
        self.write("modeinfo.dat.undo", b"7\nhost " + host.encode())  # no mark
        self.assertEqual(self.json("unlock", path, "--force")["writers"], [])
        self.assertEqual(set(os.listdir(self.directory)), {"modeinfo.dat", "modeinfo.dat.undo"})

    def test_what_interrupted_writers_leave_is_told_and_not_listed(self):
        content = self.read(self.sample("modeinfo.dat"))
        path = self.write("modeinfo.dat", content[:-5])
        undo = self.write("modeinfo.dat.undo", b"212")
        replacement = self.write("modeinfo.dat.new4711", content)
        self.write("modeinfo.dat.tmpAb3xYz", content)
        self.write("modeinfo.dat.news", b"no replacement")
        lines = self.json("ls", self.directory)
        self.assertEqual([os.path.basename(line["path"]) for line in lines],
                         ["modeinfo.dat", "modeinfo.dat.news"])
        for told in (lines[0]["left"], self.run_tool("ls", path).stderr.decode().splitlines(),
                     [finding["text"] for finding in self.check(path)["findings"]]):
            told = "\n".join(told)
            self.assertIn(undo + ": a writer is appending, or died; the next commit", told)
            self.assertIn(replacement + ": a writer is replacing the file, or died", told)
        self.assertIn(undo, self.error("repair", path, "--in-place"))
        locks = self.path("locks")
        os.mkdir(locks)
        self.write("locks/modeinfo.lck", b"")
        for where in ((path, "--lock-directory", locks), (os.path.join(locks, "modeinfo.lck"),)):
            self.assertRegex(self.out("unlock", *where, status=2, stdin=b""), r"locked for \d+ s")
        self.assertIn("a writer has locked it",
                      self.error("repair", path, "--in-place", "--lock-directory", locks))
        self.assertEqual(self.read(path), content[:-5])
        self.run_tool("unlock", path, "--lock-directory", locks, "--force")
        self.run_tool("repair", path, "--in-place", "--lock-directory", locks)
        self.assertEqual((self.read(path), os.path.exists(undo)), (content[:212], False))
        self.assertTrue(os.path.exists(replacement))
        self.assertEqual(os.listdir(locks), [])

    def test_what_follows_the_mark_of_a_machine_that_went_down_is_lost(self):
        content = self.read(self.sample("modeinfo.dat"))
        path = self.write("modeinfo.dat", content)
        mark = f"212\nhost elsewhere\nboot 1\nprocess 1\nstart 1\ndata {path}\n"
        undo = self.write("modeinfo.dat.undo", mark.encode())
        self.assertIn("byte 212: the rest was being appended when the power went", self.run_tool("ls", path).stderr.decode())
        self.assertEqual([problem["offset"] for problem in self.check(path, status=1)["findings"]
                          if problem["kind"] == "problem"], [212])
        self.out("repair", path, "--in-place", "--lock-directory", self.directory)
        self.assertEqual((self.read(path), os.path.exists(undo)), (content[:212], False))

    @posix_only("programs know nothing of these links")
    def test_repair_in_place_through_a_link(self):
        content = self.read(self.sample("modeinfo.dat"))
        target, link = self.write("target", content[:-5]), self.path("modeinfo.dat")
        os.symlink("target", link)
        for lock in ("modeinfo.lck", "target.lck"):
            self.write(lock, b"")
            self.assertIn("locked", self.error("repair", link, "--in-place"))
            os.remove(self.path(lock))
        self.write("target.undo", b"someone's data")
        self.run_tool("repair", link, "--in-place", "--lock-directory", self.directory)
        self.assertEqual((self.read(target), os.readlink(link)), (content[:212], "target"))
        self.assertEqual(self.read(self.path("target.bak")), content[:-5])
        self.assertEqual(self.read(self.path("target.undo")), b"someone's data")
        self.assertEqual(len(os.listdir(self.directory)), 4)

    def test_repair_in_place_replaces_only_what_it_read(self):
        content = self.read(self.sample("modeinfo.dat"))
        path = self.path("modeinfo.dat")

        def append():
            with open(path, "ab") as file:
                file.write(content[-5:])

        def write_over():
            with open(path, "r+b") as file:
                file.write(content[:1])
        for change in (append, write_over, lambda: os.replace(shutil.copy(path, path + "2"), path),
                       lambda: self.write("modeinfo.dat.undo", b"414")):
            self.write("modeinfo.dat", content[:-5])
            reader, writer = os.pipe()
            os.set_blocking(writer, False)
            self.assertGreater(os.write(writer, bytes(1 << 20)), 1000)  # as much as it takes
            os.set_blocking(writer, True)
            with subprocess.Popen([TOOL, "repair", path, "--in-place"], stdout=writer,
                                  stderr=subprocess.PIPE) as tool:
                os.close(writer)
                while not os.path.exists(path + ".bak") and tool.poll() is None:
                    time.sleep(0.01)  # it then waits for the reader of its report
                change()
                changed = self.read(path)
                while os.read(reader, 1 << 20):
                    pass
                self.assertIn(b"meanwhile" if change.__code__.co_names[:1] == ("write",) else
                              b"has changed", tool.stderr.read())
            os.close(reader)
            self.assertEqual((tool.returncode, self.read(path)), (2, changed))
            self.assertLessEqual(set(os.listdir(self.directory)),
                                 {"modeinfo.dat", "modeinfo.dat.undo"})

    @posix_only("files have other attributes")
    def test_a_replaced_file_keeps_owner_permissions_and_attributes(self):
        content = self.read(self.sample("modeinfo.dat"))
        # An access list: version 2; owner, user 4711, group, mask, others with their rights.
        rights = ((1, 6, 2**32 - 1), (2, 4, 4711), (4, 0, 2**32 - 1), (16, 4, 2**32 - 1),
                  (32, 0, 2**32 - 1))
        wanted = {"user.origin": b"run 7",
                  "system.posix_acl_access": i32(2) + b"".join(struct.pack("<HHI", *entry)
                                                               for entry in rights)}
        for command in (("repair", "--in-place"), ("convert", "--to", "binary", "--force", "-o")):
            path = self.write("modeinfo.dat", content[:-5] if len(command) == 2 else b"")
            try:
                for name, value in wanted.items():
                    os.setxattr(path, name, value)
            except OSError as error:
                self.skipTest(error)
            if os.geteuid() == 0:
                os.chown(path, 4712, 4713)
            before = os.stat(path)
            source = () if len(command) == 2 else (self.sample("modeinfo.dat"),)
            self.assertEqual(self.run_tool(command[0], *source, *command[1:], path).stderr, b"")
            after = os.stat(path)
            self.assertNotEqual(before.st_ino, after.st_ino)
            self.assertEqual([before.st_mode & 0o7777, before.st_uid, before.st_gid],
                             [after.st_mode & 0o7777, after.st_uid, after.st_gid])
            self.assertEqual({name: os.getxattr(path, name) for name in os.listxattr(path)
                              if name in wanted}, wanted)

    @posix_only("files have other attributes")
    @unittest.skipIf(os.geteuid() != 0, "needs another user")
    def test_what_a_replaced_file_loses_is_told_and_nobody_gains(self):
        path = self.write("modeinfo.dat", self.read(self.sample("modeinfo.dat"))[:-5])
        os.chmod(path, 0o6664)
        os.chmod(self.directory, 0o777)

        def other_user():
            os.setgid(4713)
            os.setuid(4712)
        message = self.error("repair", path, "--in-place", status=0, preexec_fn=other_user)
        self.assertRegex(message, r"(?s)group \(0\) could not be kept.*owner \(0\) could not be kept")
        self.assertEqual(os.stat(path).st_mode & 0o7777, 0o644)


class ForeignFiles(ToolTest):
    def test_a_clear_line_the_right_status_and_little_memory(self):
        block = bytes((i * i * 31 + 7 * i + 200) % 251 + 5 for i in range(30000))
        files = {
            "program": self.read(TOOL)[:100000],
            "photo.jpg": b"\xff\xd8\xff\xe0\x00\x10JFIF\x00\x01\x01\x00\x00\x01\x00\x01" + block,
            "noise": random.Random(7).randbytes(50000),
            "prose": b"The quick brown fox jumps over the lazy dog.\n" * 100,
            "empty": b"",
        }
        paths = [self.write(name, content) for name, content in files.items()]
        sparse = self.write("sparse", b"")
        os.truncate(sparse, 3 << 30)
        for path in paths + [sparse]:
            for command in (("ls", path), ("check", path), ("show", path), ("dump", path),
                            ("repair", path, "-o", self.path("x")), ("diff", path, path),
                            ("compact", path, "-o", self.path("x")),
                            ("convert", path, "--to", "text", "-o", self.path("x")),
                            ("merge", path, path, "-o", self.path("x")),
                            ("dump", path, "--format", "csv")):
                started = time.monotonic()
                message = self.error(*command, preexec_fn=limit_memory)
                self.assertIn(path, message)
                self.assertRegex(message, "not a result file|is empty")
                self.assertLess(time.monotonic() - started, 5)
            for class_name in (sample[1] for sample in SAMPLES):
                if path.endswith("empty"):
                    continue
                message = self.error("check", path, "--class", class_name,
                                     preexec_fn=limit_memory)
                self.assertIn(class_name, message)
            message = self.error("build", path, "-o", self.path("x"), preexec_fn=limit_memory)
            self.assertRegex(message, "not JSON|not an object")
        self.assertFalse(os.path.exists(self.path("x")))

    @unittest.skipIf(SANITIZED, "sanitizers have memory of their own")
    def test_a_false_count_takes_no_memory(self):
        for content in (b"3 8000000 1 2 3 4 5\n", i64(2, 8000000) + f64(*range(5))):
            with subprocess.Popen([TOOL, "ls", "--json", self.write("small", content)],
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as tool:
                self.assertLess(os.wait4(tool.pid, 0)[2].ru_maxrss, 64 << 10)  # KiB

    def test_what_is_no_file(self):
        os.mkfifo(self.path("fifo"))
        devices = (("/dev/zero", "not a regular"), (self.path("fifo"), "not a regular file"))
        for path, message in ((self.path("none"), "no such file"), *devices * (not WINDOWS)):
            for command in ("ls", "check", "show", "dump"):
                self.assertIn(message, self.error(command, path))
        self.assertIn("is a directory", self.error("show", self.directory))
        self.assertIn("no class 'POThing'", self.error("ls", "--class", "POThing", self.directory))

    def test_an_empty_file_is_sound_where_a_load_takes_it(self):
        for name, class_name, _, _ in SAMPLES:
            status = {"modeinfo.dat": 0, "circuitmatrices.dat": 0, "assemblyinfo.dat": 0,
                      "solutiondata.dat": 1}.get(name, 2)
            self.check(self.write(name, b""), status=status)


class Rules(ToolTest):
    def test_rules_of_the_classes(self):
        mode = i32(0) + f64(1, 2)  # group and value

        def modes(frequency, port, *records):
            return i64(frequency) + i32(port) + i64(len(records)) + b"".join(records)
        metrics = i32(0, 0, 0, 0, 0)  # the header values, 20 bytes
        no_graph = i64(0) + i64(0) + i64(0)
        edge = i64(0) + i64(0) + i64(1) + i32(1) + ints(1, 2)
        header = i32(0, 0, 0, 0, 0, 0)  # of a DOF list, 24 bytes
        no_records = i32(3) + ints()
        cases = [
            ("modeinfo.dat", i64(1) + modes(5, 1, mode + i64(3) + f64(*range(6))),
             8, "odd number of voltages"),
            ("modeinfo.dat", i64(1) + modes(5, 1, i32(-1) + f64(1, 2) + i64(0)), 8,
             "negative group"),
            # Two ports at 5, one at 6, whose entry begins behind two of 20 bytes.
            ("modeinfo.dat", i64(3) + modes(5, 1) + modes(5, 2) + modes(6, 1), 48,
             "differ in their number of ports"),
            ("modeinfo.dat", i64(2) + modes(5, 1) + modes(5, 1), 28, "occurs twice"),
            ("modeinfo.dat", i64(2) + modes(6, 1) + modes(5, 1), 28, "out of order"),
            ("evdofmap.dat", i64(2) + i64(0) + i64(1) + i32(2) + f64(1) + ints(0, 0), 16,
             "column lies outside the rows in row 1: 2"),
            ("circuitmatrices.dat", i64(1) + i64(9) + i32(1) + doubles(1, 2, 3), 8, "not square"),
            ("evtree.dat", i64(2) + i32(1, 2, 5, 3) + i64(0), 16, "larger id first"),
            ("evtree.dat", i64(0) + i64(3) + i32(1, 2, 2), 24, "occurs twice"),
            ("file2.dat", header + no_records * 4, 0, "no record"),
            ("file2.dat", header + i32(3) + ints(1, 2) + no_records * 3, 28, "no whole number"),
            ("file2.dat", header + i32(3) + ints(0, 9, 7) + no_records * 3, 28,
             "ends before it begins"),
            ("file2.dat", header + i32(-3) + ints(1) + no_records * 3, 28, "negative"),
            ("file1.dat", i32(0, 0, 1, 0) + i64(0) * 8, 56, "tree has no node"),
            ("file1.dat", i32(0, 0, 40, 0) + i64(0) * 5 + i64(1) + i32(0) + ints(1) + i64(0) * 2,
             8, "number of levels is impossible: 40"),
            # One level and two leaves: nodes 0 and 1.
            ("file1.dat", i32(0, 0, 1, 2) + (i64(2) + i64(1, 1)) * 5 + i64(1) + i32(2) + ints(1) +
             i64(0) * 2, 144, "node lies outside the tree: 2"),
            ("file1.dat", i32(0, 0, 1, 1) + i64(1, 7) * 4 + i64(0) + i64(1) + i32(0) + ints(1) +
             i64(0) * 2, 80, "counters and leaves differ"),
            ("file3.dat", i32(1, 0, 0, 0) + i64(0), 16, "do not go together"),
            ("file3.dat", i32(2, 0, 1, 0) + i64(2) + i32(0, 7, 2, 9), 16, "of a port: position 1"),
            ("file3.dat", i32(1, 1, 1, 0) + i64(2) + i32(0, 7, 1, 9), 16, "circuit: position 2"),
            ("solutiondata.dat", metrics + i64(0) * 2 + no_graph, 0, "neither an edge"),
            ("solutiondata.dat", metrics + i64(0) + i64(1) + i32(12, 0, 1) + doubles(1) + edge, 36,
             "have no definition for type 12, index 0, entity 1"),
            ("solutiondata.dat", metrics + i64(1) + i32(12, 1, 6) + i64(0) + edge, 28,
             "resolve function is unknown"),
            ("solutiondata.dat", metrics + i64(1) + i32(12, 2, 0) + i64(1) + i32(12, 0, 1) +
             doubles(1) + edge, 48, "not as many as their definition says"),
            ("solutiondata.dat", metrics + i64(0) * 2 + i64(1) + i32(1) + ints(2) + i64(0) * 2, 44,
             "not mutual: 1 names 2"),
            ("solutiondata.dat", metrics + i64(0) * 3 + i64(1) + i32(1) + doubles(0, 0) + i64(1) +
             i32(1) + ints(1, 1), 52, "fewer than three values"),
            ("solutiondata.dat", metrics + i64(0) * 3 + i64(1) + i32(1) + doubles(0, 0, 0) +
             i64(1) + i32(1) + ints(1, 9), 96, "node has no position: 9"),
            ("assemblyinfo.dat", ints(5, -5) + (i64(1) + i32(5) + ints(1)) * 3, 0, "comes twice"),
            ("assemblyinfo.dat", ints(5) + i64(1) + i32(6) + ints(1) +
             (i64(1) + i32(5) + ints(1)) * 2, 20, "of no element"),
            ("assemblyinfo.dat", ints(5) + i64(0) + (i64(1) + i32(5) + ints(1)) * 2, 12,
             "lack a node list"),
            ("assemblyinfo.dat", ints(1, 2) + i64(2) + i32(1) + ints(4) + i32(2) + ints(4, 4) +
             (i64(2) + i32(1) + ints() + i32(2) + ints()) * 2, 40, "disagree on the basis"),
        ]
        for name, content, offset, text in cases:
            verdict = self.check(self.write(name, content))
            found = [(finding["offset"], finding["kind"]) for finding in verdict["findings"]
                     if text in finding["text"]]
            self.assertEqual(found, [(offset, "problem")], (text, verdict))

    def test_rules_over_bodies(self):
        def metrics(count):
            return (i32(0, 0, 0, 0, 0) + i64(1) + i32(12, count, 0) + i64(0) * 3 + i64(1) + i32(1) +
                    ints(1, 2))
        first = metrics(1)
        verdict = self.check(self.write("solutiondata.dat", first + metrics(2)))
        self.assertIn({"kind": "problem", "offset": len(first) + 20, "body": 2,
                       "text": "definitions differ from those of the bodies before"},
                      verdict["findings"])
        twice = self.read(self.sample("assemblyinfo.dat")) * 2
        verdict = self.check(self.write("assemblyinfo.dat", twice))
        self.assertIn("comes twice", verdict["findings"][0]["text"])
        self.assertEqual(verdict["findings"][0]["body"], 3)
        # The same modes again are no problem, since the first ones win.
        again = self.read(self.sample("modeinfo.dat")) * 2
        verdict = self.check(self.write("modeinfo.dat", again), status=0)
        self.assertEqual([finding["kind"] for finding in verdict["findings"]], ["note", "note"])

    def test_rules_of_blocks(self):
        content = bytearray(self.read(self.sample("file2.dat", "blocked")))
        # Header 44, count of the index 8, its front 8, then entries of 6 + 8 bytes; block 0 begins
        # at 88 with four counts and the raw count of the first array.
        wrong_owner = bytearray(content)
        wrong_owner[88 + 32 + 8:88 + 32 + 12] = i32(3)
        verdict = self.check(self.write("file2.dat", wrong_owner))
        self.assertIn({"kind": "problem", "offset": 88, "body": 1,
                       "text": "record is in a block that is not its owner's in block 0, "
                               "records1: owner 3"}, verdict["findings"])
        beyond = bytearray(content)
        beyond[60 + 6:60 + 14] = i64(1 << 40)
        verdict = self.check(self.write("file2.dat", beyond))
        self.assertIn("before block 0, whose bookmark", verdict["findings"][0]["text"])

    def test_many_findings_of_one_rule_are_summed_up(self):
        pairs = i64(50) + b"".join(i32(i, i - 1) for i in range(50)) + i64(0)
        path = self.write("evtree.dat", pairs)
        verdict = self.check(path)
        self.assertEqual((verdict["problems"], len(verdict["findings"])), (50, 6))
        self.assertIn("45 more from here on", verdict["findings"][-1]["text"])
        self.assertEqual(len(self.check(path, "--full")["findings"]), 50)


class MergeAndDiff(ToolTest):
    def test_merge_gives_what_one_file_of_all_writers_would_be(self):
        for name in APPENDING:
            for mode in ("text", "binary"):
                head, first, second = self.split(self.sample(name, mode))
                one = self.write("one", head + first)
                two = self.write("two", head + second)
                class_name = next(sample[1] for sample in SAMPLES if sample[0] == name)
                self.run_tool("merge", one, two, "-o", self.path("merged"), "--force", "--class",
                              class_name)
                self.assertEqual(self.read(self.path("merged")), head + first + second,
                                 (name, mode))
            text, binary = self.sample(name, "text"), self.sample(name)
            if name == "assemblyinfo.dat":
                self.assertIn("could not load",
                              self.error("merge", text, binary, "-o", self.path("mixed"), "--force"))
                continue
            self.run_tool("merge", text, binary, "-o", self.path("mixed"), "--force")
            # Both hold the same two bodies, and the mode of the first file is that of the result.
            body = self.read(text)[len(b"!Run 7\n") if name in VERSIONED else 0:]
            self.assertEqual(self.read(self.path("mixed")), self.read(text) + body)

    def test_merge_refuses_what_does_not_go_together(self):
        self.assertIn("have one body", self.error("merge", self.sample("evtree.dat"),
                                                  self.sample("evtree.dat"), "-o", self.path("x")))
        self.assertIn("files of one class",
                      self.error("merge", self.sample("modeinfo.dat"),
                                 self.sample("circuitmatrices.dat"), "-o", self.path("x")))
        modes = self.sample("modeinfo.dat")
        self.assertIn("input as well", self.error("merge", modes, "-o", modes, "--force"))
        self.assertEqual(os.listdir(self.directory), [])

    def test_files_that_hold_the_same(self):
        for name, _, _, _ in SAMPLES:
            self.assertEqual(self.out("diff", self.sample(name), self.sample(name, "text")), "")

    def matrices(self, name, entries):
        document = {"class": "POCircuitMatrices", "mode": "binary", "bodies": [{"matrices": [
            {"frequency": f, "type": t, "values": values} for f, t, values in entries]}]}
        self.run_tool("build", "-", "-o", self.path(name), stdin=json.dumps(document).encode())
        return self.path(name)

    def test_differences_are_told_by_key(self):
        a = self.matrices("a", [(1, 1, [1, 2, 3, 4]), (2, 1, [5]), (4, 1, ["nan"])])
        b = self.matrices("b", [(1, 1, [1, 2.02, 3, 4]), (3, 1, [5]), (4, 1, ["nan"])])
        diff = ("diff", a, b, "--class", "POCircuitMatrices")
        self.assertEqual(self.out(*diff, status=1).splitlines(), [
            "matrices[frequency 1, type 1][1]: 2.0 | 2.02",
            "matrices[frequency 2, type 1]: present | missing",
            "matrices[frequency 3, type 1]: missing | present"])
        answer = self.json(*diff, "--rtol", "0.02", status=1)
        self.assertEqual((answer["same"], answer["count"]), (False, 2))
        self.assertEqual(self.json(*diff, "--atol", "0.01", status=1)["count"], 3)
        self.assertIn("3 differences in all", self.out(*diff, "--limit", "1", status=1))
        c = self.matrices("c", [(1, 1, [1, 2, 3])])
        self.assertIn("4 values | 3 values",
                      self.out("diff", a, c, "--class", "POCircuitMatrices", status=1))

    def test_paths_of_nested_parts_sets_classes_and_forms(self):
        def changed(name, old, new):
            self.run_tool("dump", self.sample(name), "-o", self.path("d.json"), "--force")
            content = self.read(self.path("d.json")).replace(old, new, 1)
            path = self.path("changed.dat")
            self.run_tool("build", "-", "-o", path, "--force", stdin=content)
            return self.out("diff", self.sample(name), path, "--class",
                            next(s[1] for s in SAMPLES if s[0] == name), status=1)
        self.assertEqual(changed("modeinfo.dat", b"[8.0,0.1]", b"[8.0,0.2]"),
                         "modes[frequency 1000000000, port 1][1].data[3]: [8.0,0.1] | [8.0,0.2]\n")
        self.assertEqual(changed("evdofmap.dat", b'"weight":0.5', b'"weight":0.75'),
                         "rows[0][0].weight: 0.5 | 0.75\n")
        self.assertEqual(changed("evtree.dat", b"[-5,3,8]", b"[-5,3,9]"),
                         "ids[8]: present | missing\nids[9]: missing | present\n")
        self.assertIn("class: PODOFList | PODOFList in blocks",
                      self.out("diff", self.sample("file2.dat"),
                               self.sample("file2.dat", "blocked"), status=1))
        self.error("diff", self.sample("evtree.dat"), self.path("none"))


class Manners(ToolTest):
    COMMANDS = ("ls", "show", "dump", "build", "check", "repair", "compact", "convert", "merge",
                "diff", "seal", "verify", "watch", "unlock")

    def test_help_version_and_usage(self):
        self.assertRegex(self.out("--version"), r"^fieldstore \d+\.\d+\.\d+\n$")
        self.assertIn("COMMAND --help", self.out("--help"))
        for command in self.COMMANDS:
            text = self.out(command, "--help")
            self.assertRegex(text, r"Exit status:(.*\n)+Examples:\n(.*\n)*  fieldstore " + command)
        for wrong in ((), ("lss",), ("ls",), ("dump", "x", "--format", "pdf"), ("diff", "a")):
            self.assertNotEqual(self.error(*wrong), "")

    def test_outputs_replace_nothing_unasked_and_leave_nothing_behind(self):
        source = self.sample("modeinfo.dat")
        self.run_tool("dump", source, "-o", self.path("modes.json"))
        there = self.write("there", b"precious")
        commands = (("compact", source), ("convert", source, "--to", "text"), ("merge", source),
                    ("repair", source), ("dump", source), ("build", self.path("modes.json")))
        for command in commands:
            self.assertIn("--force", self.error(*command, "-o", there))
            self.assertIn("Create the directory", self.error(*command, "-o", self.path("no/x")))
            self.assertEqual(self.read(there), b"precious")
        self.assertEqual(sorted(os.listdir(self.directory)), ["modes.json", "there"])
        if WINDOWS:
            return  # programs there know nothing of these links
        os.symlink("there", self.path("link"))
        os.symlink("nothing", self.path("dangling"))
        for command in commands:
            self.assertIn("--force", self.error(*command, "-o", self.path("dangling")))
            self.run_tool(*command, "-o", self.path("link"), "--force")
            self.assertTrue(os.path.islink(self.path("link")))
            self.assertNotEqual(self.read(there), b"precious")
            self.write("there", b"precious")

    def test_a_full_output_is_an_error(self):
        with open("/dev/full", "wb") as full:
            result = subprocess.run([TOOL, "dump", self.sample("modeinfo.dat")], stdout=full,
                                    stderr=subprocess.PIPE, check=False)
            self.assertEqual(result.returncode, 2)
            self.assertIn(b"cannot be written", result.stderr)
            torn = self.write("modeinfo.dat", self.read(self.sample("modeinfo.dat"))[:-5])
            for where in (("--in-place",), ("-o", self.path("x"))):
                subprocess.run([TOOL, "repair", torn, *where], stdout=full, check=False,
                               stderr=subprocess.DEVNULL)
                self.assertEqual(os.listdir(self.directory), ["modeinfo.dat"])
                self.assertEqual(os.path.getsize(torn), 419)
        if WINDOWS:
            return  # no limits of a file's length
        for command in (("dump",), ("convert", "--to", "text"), ("merge",), ("compact",)):
            self.error(command[0], self.sample("modeinfo.dat"), *command[1:], "-o", self.path("x"),
                       preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (99, 99)))
        self.assertEqual(os.listdir(self.directory), ["modeinfo.dat"])

    @posix_only("names hold no such characters")
    def test_names_and_texts_cannot_steer_a_terminal_or_fake_lines(self):
        name = "a\x1b[31m\n\x7f\u009b\u061c\u200f\u2028\u202e\u2069\u20ac\udce0\udc80.dat"
        shown = (r"a\x1b[31m\x0a\x7f\u009b\u061c\u200f\u2028\u202e\u2069" "\u20ac" r"\xe0\x80.dat").encode()
        whole, torn = self.read(self.sample("modeinfo.dat")), self.path("torn" + name)
        path, marker = self.write(name, whole), self.write(name[:-3] + "lck", b"")
        self.write("torn" + name, whole[:-1])
        self.write(name + ".new1", b"")
        out = ("-o", self.path("x"))
        for command, status in {
                ("ls", path): 0, ("ls", path, "--class", name): 2, ("check", path): 0,
                ("check", self.path("no" + name)): 2, ("check", path, "--class", "DOFMap"): 1,
                ("show", path, "--class", "ModeInfo"): 0, ("show", torn): 2, ("dump", torn): 2,
                ("unlock", path): 2, ("unlock", path, "--force"): 0, ("diff", path, torn): 2,
                ("repair", torn, "--in-place", "--class", "ModeInfo"): 0,
                ("repair", torn, *out, "--" + name): 2, ("build", path, *out): 2,
                ("merge", path, torn + "no", *out): 2, ("dump", path, "--format", name, *out): 2}.items():
            result = self.run_tool(*command, status=status)
            told = result.stdout + result.stderr
            self.assertIn(shown, told, command)
            self.assertNotRegex(told.decode(), "[^\n -~\u20ac]", command)
        self.assertEqual(self.only("ls", path)["path"], path.replace("\udce0\udc80", "\ufffd\ufffd"))
        self.assertNotIn(b"\x9b", self.run_tool("ls", path, "--json").stdout)
        self.assertFalse(os.path.exists(marker))

    def test_colours_on_a_terminal_alone(self):
        arguments = ["ls", self.sample("modeinfo.dat")]
        self.assertNotIn("\033[", self.out(*arguments))
        self.assertIn("\033[32mwhole", self.in_terminal(arguments)[1])
        self.assertNotIn("\033[", self.in_terminal(arguments, environment={"NO_COLOR": "1"})[1])

    def test_a_bar_shows_how_far_loads_and_stores_are(self):
        bars = {"FIELDSTORE_PROGRESS_DELAY": "0"}
        shutil.copy(self.sample("modeinfo.dat"), self.directory)
        os.symlink(self.sample("modeinfo.dat", "text"), self.path("text"))
        commands = {
            ("check",): ("Reading", "Loading"), ("ls",): ("Reading",),
            ("show",): ("Reading", "Loading", "Summing up"),
            ("compact", "-o", "x"): ("Reading", "Loading", "Storing"),
            ("convert", "--to", "text", "-o", "x"): ("Reading", "Loading", "Bringing"),
            ("repair", "-o", "x"): ("Reading", "Copying", "Loading"),
            ("diff", "text", "--class", "ModeInfo"): ("Loading", "Comparing"),
        }
        for command, titles in commands.items():
            arguments = [command[0], "modeinfo.dat", *command[1:], *["--force"] * ("-o" in command)]
            status, shown = self.in_terminal(arguments, b"", bars, self.directory)
            self.assertEqual(status, 0, shown)
            for title in titles:  # only so much of it as the line has room for
                self.assertRegex(shown, r"\r%s [^\r]*(\] \d+ %%|, \d+ s)\x1b\[K" % title)
            # The end of a bar is its erasure, and the next one or other text follows.
            self.assertNotRegex(shown, r"(%|, \d+ s)\x1b\[K(?!\r)", command)
            shown = self.run_tool(*arguments, cwd=self.directory, env={**os.environ, **bars})
            self.assertNotIn(b"\x1b", shown.stdout + shown.stderr)
        # Nothing but the results where these go to the terminal meanwhile.
        dump = ["dump", self.sample("evdofmap.dat"), "--format", "mtx"]
        _, shown = self.in_terminal(dump, b"", bars)
        self.assertTrue(shown.endswith("\x1b[K" + self.out(*dump).replace("\n", "\r\n")), shown)

    @unittest.skipIf(EMULATED, "in an emulator signals that are ignored interrupt a read")
    def test_signals_that_end_the_program_leave_no_file(self):
        def start(**options):
            tool = subprocess.Popen([TOOL, "build", "-", "-o", self.path("x")],
                                    stdin=subprocess.PIPE, **options)
            while not os.listdir(self.directory) and tool.poll() is None:
                time.sleep(0.01)  # it then waits for the document
            return tool
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT,
                       signal.SIGXCPU):
            with start() as tool:
                tool.send_signal(number)
                self.assertEqual(tool.wait(), -number)
            self.assertEqual(os.listdir(self.directory), [])
        with start(preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN)) as tool:
            tool.send_signal(signal.SIGHUP)  # as after nohup
            tool.communicate(json.dumps(self.document("modeinfo.dat")).encode())
        self.assertEqual((tool.returncode, os.listdir(self.directory)), (0, ["x"]))

    @posix_only("programs know nothing of these links")
    def test_a_name_that_is_exchanged_is_not_written_through(self):
        victim = self.write("victim", b"precious")
        with subprocess.Popen([TOOL, "build", "-", "-o", self.path("x")], stdin=subprocess.PIPE,
                              stderr=subprocess.PIPE) as tool:
            while len(os.listdir(self.directory)) < 2 and tool.poll() is None:
                time.sleep(0.01)  # it then waits for the document
            temporary, = set(os.listdir(self.directory)) - {"victim"}
            os.remove(self.path(temporary))
            os.symlink(victim, self.path(temporary))
            message = tool.communicate(json.dumps(self.document("modeinfo.dat")).encode())[1]
        self.assertEqual((tool.returncode, self.read(victim)), (2, b"precious"))
        self.assertFalse(os.path.lexists(self.path("x")), message)

    def test_unlock_removes_nothing_but_locks(self):
        marker = self.write("modeinfo.lck", b"sixty bytes of data")
        self.assertIn("no lock", self.error("unlock", marker, "--force"))
        os.rename(marker, self.path("data"))
        os.symlink("data", marker)
        self.assertIn("no lock", self.error("unlock", marker, "--force"))
        self.assertEqual(self.read(marker), b"sixty bytes of data")

    def test_unlock(self):
        data = self.path("modeinfo.dat")
        self.assertIn("not locked", self.out("unlock", data))
        marker = self.write("modeinfo.lck", b"")
        then = time.time() - 3725  # one hour, two minutes, five seconds
        os.utime(marker, (then, then))
        self.assertIn("locked for 1 h 2 min", self.out("unlock", data, status=2, stdin=b""))
        self.assertIn("locked for 1 h 2 min", self.out("unlock", marker, status=2, stdin=b"y\n"))
        status, shown = self.in_terminal(["unlock", data], b"n\n")
        self.assertEqual((status, os.path.exists(marker)), (0, True), shown)
        status, shown = self.in_terminal(["unlock", data], b"y\n")
        self.assertEqual((status, os.path.exists(marker)), (0, False), shown)
        self.write("modeinfo.lck", b"")
        result = self.run_tool("unlock", data, "--force", "--json")
        answer = json.loads(result.stdout)
        self.assertEqual((answer["locked"], answer["removed"]), (True, True))
        self.assertIn(b"next commit under the lock checks the end", result.stderr)
        self.assertEqual(os.listdir(self.directory), [])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + sys.argv[4:])
