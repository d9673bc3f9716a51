#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Reads files of every class by the rules of docs/file-format.md alone and checks their values;
the examples there must be the same bytes. Usage: read_format.py WRITER DOCUMENT CLASSES, where WRITER
is the program of write_samples.cpp and CLASSES what the library says of its classes."""
import json, pathlib, re, struct, subprocess, sys, tempfile

I, L, U, D, C = "<i", "<q", "<Q", "<d", "complex"  # i32, i64, u64, f64, c128
PAGE = pathlib.Path(sys.argv[2]).read_text(encoding="utf-8")
TABLE = {name: {"file": file, "mode": mode, "appends": bodies != "one", "versionLine": line != "never"}
         for name, file, mode, bodies, line in re.findall(
             r"^\| `(PO\w+)` \| `(.*?)` \| (\w+) \| (.*?) \| (.*?) \|$", PAGE, re.M)}
BLOCKED = (5, 77, 4, 3, 3, 3, 1, 2, 3, 4, 0), [
    (b"0", (1, 1, 0, 1), [(0, 20, -1, 5), (0, 30, 31), (), (0, 1, 2), ()]),
    (b"1", (1, 0, 1, 1), [(2, 10, 12, 4), (), (3, -1, 7), (3, 5, 9), ()])]


def samples(v):
    """Per class the type of a body and, stated by hand, what the writer's sample v holds. A tuple
    stands for a pair or the fields of a body, a list for a vector or set, a dict for a map."""
    a, b = 5 + 10 * v, 7 + 10 * v
    return {
        "POModeInfo": (({(L, I): [((I, C), [C])]},), ({(10**9 + v, 1): [
            ((0, 1 + 2j), [1, 2, 3, 4]), ((1, 3 + 4j), [5, 6, 7, 8 + 0.1j])]},)),
        "PODOFMap": (([[(I, D)]], [I]), ([[(1, 0.5), (0, 0)], [(0, 2)], []], [0, 1, 7 + v])),
        "POCircuitMatrices": (({(L, I): [D]},), ({(2 * 10**9 + v, 3): [1, 2, 3, 0.25]},)),
        "POMeshTree": (([(I, I)], [I]), ([(3, 5), (4, 9)], [-5, 3, 8 + v])),
        "PODOFList": ((I,) * 6 + (I, [I]) * 4, (5, 77, 1 + v, 2, 3, 4, 3, [0, 1, 2, 3, 5, 9],
            3, [0, 30, 31], 3, [3, -1, 7], 4, [0, 20, -1, 5, 2, 10, 12, 4])),
        "POBinaryTree": ((I,) * 4 + ([U],) * 5 + ({I: [I]}, {I: [I]}, [I]), (7, 3, 2, 2, [1, 2],
            [3, 4], [5, 6], [7, 8], [9, 10], {0: [2, 4], 1: [5 + v]}, {6: [9, 8]}, [11, 12])),
        "POPortCircuitDOFs": (
            (I,) * 4 + ({I: I},), (2, 1, 1, 1, {0: 10, 1: 11, 2: 12, 3: 13, 4: 14 + v})),
        "POSolutionMetrics": (
            (I,) * 5 + ({I: (I, I)}, {(I, (I, I)): [D]}, {I: [I]}, {I: [D]}, {I: [I]}),
            (9, 1, 2, 3, 4000000000 - 2**32, {12: (2, 3)}, {(12, (0, v)): [1.5, 2.5]},
             {1: [2], 2: [1]}, {1: [0, 0, 0], 2: [1, 0, 0.5]}, {1 + v: [1, 2]})),
        "POAssemblyInfo": (([I], {I: [I]}, {I: [I]}, {I: [I]}), (
            [-a, b], {a: [1, 1, 2], b: [1, 1, 2]}, {a: [a], b: [b]}, {a: [4], b: [4]}))}


class Source:
    def __init__(self, data, text):
        self.data, self.text, self.at = data, text, 0

    def take(self, count):
        self.at += count
        if self.at > len(self.data):
            raise EOFError
        return self.data[self.at - count:self.at]

    def read(self, kind):
        if isinstance(kind, tuple):
            return tuple(self.read(part) for part in kind)
        if isinstance(kind, list):
            return [self.read(kind[0]) for _ in range(self.read(U))]
        if isinstance(kind, dict):
            (entry,) = kind.items()
            return dict(self.read([entry]))
        if kind == C:
            return complex(*self.read((D, D)))
        if not self.text:
            return struct.unpack(kind, self.take(struct.calcsize(kind)))[0]
        word = re.compile(rb"\s*(\S+)\s").match(self.data, self.at)
        if not word:
            raise EOFError
        self.at = word.end()
        return (float if kind == D else int)(word[1])


def read_file(name, data, text):
    """The version text, if there is one, and the bodies; None when the file is torn."""
    length = data.find(b"\n") if text else int.from_bytes(data[:4], "little", signed=True)
    source, bodies, version = Source(data, text), [], None
    source.at = 0 if text else 4
    line = data[source.at:][:max(length, 0)] if TABLE[name]["versionLine"] else b""
    if 2 <= len(line) == length <= 256 - text and line[:1] == b"!" and 0 not in line:
        version = line[1:]
    source.at = source.at + length if version else 0
    try:
        while not bodies or (TABLE[name]["appends"]
                             and data[source.at:].strip(None if text else b"")):
            bodies.append(source.read(samples(0)[name][0]))
    except EOFError:
        return None
    return version, bodies


def read_blocked(data):
    source, blocks = Source(data, False), []
    header, (_, entries, width) = source.read((I,) * 11), source.read((U, I, I))
    for name, source.at in [(source.take(width), source.read(L)) for _ in range(entries)]:
        counts = source.read((L,) * 4)
        records = [struct.iter_unpack(I, source.take(source.read(U))) for _ in range(5)]
        blocks.append((name.rstrip(b"\0"), counts, [sum(values, ()) for values in records]))
    return header, blocks


with tempfile.TemporaryDirectory() as directory:
    subprocess.run([sys.argv[1], directory], check=True)
    files = {path.name: path.read_bytes() for path in pathlib.Path(directory).iterdir()}
shown = {}  # examples by heading
for title, part in re.findall(r"^### (.*?)\n(.*?)(?=^##|\Z)", PAGE, re.M | re.S):
    text = "".join(re.findall(r"```text\n(.*?)```", part, re.S)).replace("\n", "")
    shown[title, True] = text.replace("|", "\n").replace("_", " ").encode()
    lines = re.findall(r"^ *\d+  ([0-9a-f ]{2,47})", part, re.M)
    shown[title, False] = bytes.fromhex("".join(lines))
checks = {"blocked": read_blocked(blocked := files["PODOFList-blocked.bin"]) == BLOCKED,
          "blocked example": shown["Blocked DOF list", False] == blocked}
classes = json.loads(pathlib.Path(sys.argv[3]).read_text(encoding="utf-8"))
for name in {**classes, **TABLE}:
    checks[name + " in the table"] = TABLE.get(name) == classes.get(name)
    checks[name + " here"] = name in samples(0)
for name, (_, first) in samples(0).items():
    bodies = [first] * TABLE[name]["appends"] + [samples(1)[name][1]]
    both = b"v 1" if TABLE[name]["versionLine"] else None, bodies
    for text, file in (False, name + ".bin"), (True, name + ".txt"):
        data, two = files[file], files[file.replace(".", "-two.")]
        if text:  # a line may end as on Windows; the examples and the cuts are of the other form
            data, two = data.replace(b"\r\n", b"\n"), two.replace(b"\r\n", b"\n")
        checks[file] = read_file(name, data, text) == (None, [first])
        checks[file + " twice"] = read_file(name, two, text) == both
        cut = [read_file(name, data[:length], text) for length in range(1, len(data))]
        checks[file + " cut"] = not any(cut)
        checks[file + " example"] = shown.get((name, text)) == data
wrong = [what for what, holds in checks.items() if not holds]
print(f"{len(checks)} checks; wrong: {', '.join(wrong) or 'none'}")
sys.exit(len(wrong))
