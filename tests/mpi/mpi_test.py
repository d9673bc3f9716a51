# SPDX-License-Identifier: Apache-2.0
"""Ranks that store as one: the bytes of their file, and what is left when one of them fails or dies.

Usage: mpi_test.py MPIEXEC MPI_HOST FIELDSTORE CLASSES [unittest arguments]
"""
import json
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

MPIEXEC, HOST, TOOL = (os.path.abspath(path) for path in sys.argv[1:4])
APPENDING = [name for name, facts in json.loads(pathlib.Path(sys.argv[4]).read_text()).items()
             if facts["appends"]]
RANKS = 3
LARGE = 140000  # entries, for bodies that are not sent to rank 0

# More ranks than processors, and as root where tests run as root.
ENVIRONMENT = dict(os.environ, OMPI_ALLOW_RUN_AS_ROOT="1", OMPI_ALLOW_RUN_AS_ROOT_CONFIRM="1",
                   OMPI_MCA_rmaps_base_oversubscribe="1", OMPI_MCA_mpi_yield_when_idle="1",
                   OMPI_MCA_hwloc_base_binding_policy="none")

# Runs a program, in one rank under strace with the arguments before the "--".
ONE_RANK_TRACED = """
rank=$1; shift
while [ "$1" != -- ]; do
  traced="$traced $1"; shift
done
shift
if [ "$OMPI_COMM_WORLD_RANK" = "$rank" ]; then exec strace -f -qqq -o /dev/null $traced "$@"; fi
exec "$@"
"""


def run(ranks, traced=None, **options):
    """Runs the host; its status, and the lines that it printed."""
    command = [HOST] + [f"{key}={value}" for key, value in options.items()]
    if traced is not None:
        rank, *arguments = traced
        command = ["sh", "-c", ONE_RANK_TRACED, "sh", str(rank), *arguments, "--", *command]
    done = subprocess.run([MPIEXEC, "-n", str(ranks), *command], env=ENVIRONMENT, text=True,
                          capture_output=True, timeout=120, check=False)
    return done.returncode, done.stdout.splitlines()


def can_trace():
    """Whether strace may make calls fail here."""
    if shutil.which("strace") is None:
        return False
    probe = ["strace", "-o", "/dev/null", "-e", "inject=getpid:error=EIO", "true"]
    return subprocess.run(probe, capture_output=True, check=False).returncode == 0


class Case(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="fieldstore-mpi-")
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.file = self.directory / "all.dat"

    def run_in(self, *arguments, **options):
        return run(*arguments, **{"in": self.directory}, **options)

    def names(self):
        return sorted(path.name for path in self.directory.iterdir())

    def bytes_in_turns(self, ranks, **options):
        """The file that ranks make who commit one after the other."""
        with tempfile.TemporaryDirectory() as directory:
            self.assertEqual(run(ranks, **{"in": directory}, do="turns", **options)[0], 0)
            return (pathlib.Path(directory) / "all.dat").read_bytes()

    def commit(self, ranks=RANKS, **options):
        status, lines = self.run_in(ranks, do="commit", **options)
        self.assertEqual((status, set(lines)), (0, {"0 "}), lines)


class Commit(Case):
    def test_the_file_is_that_of_ranks_in_turns(self):
        cases = [dict(text=text, size=size, **{"class": name}) for name in APPENDING
                 for text, size in ((0, 0), (0, LARGE), (1, LARGE))]
        for case in cases:
            with self.subTest(case):
                case.update(version="v", steps=2)
                self.commit(**case)
                self.assertEqual(self.file.read_bytes(), self.bytes_in_turns(RANKS, **case))
                self.assertEqual(self.names(), ["all.dat"])
                self.file.unlink()

    def test_any_number_of_ranks(self):
        for ranks in (1, 2, 16):
            for size in (0, LARGE):
                with self.subTest(ranks=ranks, size=size):
                    self.commit(ranks, size=size)
                    self.assertEqual(self.file.read_bytes(), self.bytes_in_turns(ranks, size=size))
                    self.file.unlink()

    def test_a_rank_without_changes_stores_nothing(self):
        # The version line is that of the first rank that stores something.
        metrics = {"class": "POSolutionMetrics", "version": "v"}
        for size in (0, LARGE):
            for idle, version in ((0, b"!v1"), (1, b"!v0")):
                with self.subTest(size=size, idle=idle):
                    self.commit(idle=idle, size=size, **metrics)
                    written = self.file.read_bytes()
                    self.assertEqual(written[:7], struct.pack("<i", 3) + version)
                    self.assertEqual(written, self.bytes_in_turns(RANKS, idle=idle, size=size,
                                                                  **metrics))
                    self.file.unlink()
        self.commit(idle=99)
        self.assertEqual(self.names(), [])

    def test_one_that_cannot_store_fails_all(self):
        self.commit(**{"class": "POModeInfo"})
        before = self.file.read_bytes()
        cases = (
            ("POModeInfo", dict(wrong=1), "rank 1: .*Data validation failed"),
            ("POCircuitMatrices", dict(wrong=2), "rank 2: has a POModeInfo, and rank 0 a PO"),
            ("POMeshTree", {}, "rank 0: commits of POMeshTree replace the file"),
            ("POModeInfo", dict(unlocked=1), "needs storage with a lock"),
        )
        for name, options, reason in cases:
            for size in (0, LARGE):
                with self.subTest(name, size=size, **options):
                    status, lines = self.run_in(RANKS, do="commit", size=size, **{"class": name},
                                                **options)
                    self.assertEqual((status, len(lines)), (0, 1), lines)
                    self.assertRegex(lines[0], "^1 Cannot store .*all.dat: .*" + reason)
                    self.assertEqual(self.file.read_bytes(), before)
                    self.assertEqual(self.names(), ["all.dat"])


@unittest.skipUnless(can_trace(), "strace cannot make calls fail here")
class Failure(Case):
    def setUp(self):
        super().setUp()
        self.commit(size=LARGE)
        self.old = self.file.read_bytes()
        self.both = self.old + self.bytes_in_turns(RANKS, size=LARGE)

    def test_a_call_of_one_rank(self):
        # What rank 0 calls last belongs to the library; its failures are told by other tests.
        for rank, call, error in ((0, "fallocate:error=ENOSPC", "rank 0: No space left"),
                                  (0, "pwrite64:error=ENOSPC", "No space|no space|rank 0"),
                                  (1, "pwrite64:error=ENOSPC:when=2", "rank 1"),
                                  (2, "pwrite64:error=EDQUOT", "rank 2"),
                                  (1, "fsync:error=EIO", "rank 1"),
                                  (2, "openat:error=EACCES", "rank [012]")):
            with self.subTest(rank=rank, call=call):
                traced = (rank, "-P", str(self.file), "-e", "inject=" + call)
                status, lines = self.run_in(RANKS, traced, do="commit", size=LARGE)
                self.assertEqual((status, len(lines)), (0, 1), lines)
                self.assertRegex(lines[0], "^1 Cannot store .*all.dat: .*(" + error + ")")
                self.assertEqual(self.file.read_bytes(), self.old)
                self.assertEqual(self.names(), ["all.dat"])
        self.commit(size=LARGE)
        self.assertEqual(self.file.read_bytes(), self.both)

    def test_a_rank_that_dies(self):
        mark = self.directory / "all.dat.undo"
        lock = self.directory / "all.lck"
        # Before the writing, during it and after it; the last with the mark just gone.
        points = ((1, self.file, "openat", 1, 0), (2, self.file, "pwrite64", 1, 0),
                  (0, self.file, "pwrite64", 2, 0), (1, self.file, "fsync", 1, 0),
                  (0, self.file, "fsync", 2, 0), (0, mark, "unlink", 1, 0),
                  (0, lock, "unlink", 1, 1))
        for rank, path, call, when, stored in points:
            with self.subTest(rank=rank, path=path.name, call=call, when=when):
                self.file.write_bytes(self.old)
                traced = (rank, "-P", str(path), "-e", f"inject={call}:signal=KILL:when={when}")
                status, _ = self.run_in(RANKS, traced, do="commit", size=LARGE)
                self.assertNotEqual(status, 0)
                left = self.both if stored else self.old
                self.expect_content(left)
                subprocess.run([TOOL, "unlock", "--force", self.file], check=True,
                               capture_output=True)
                self.commit(size=LARGE)
                self.assertEqual(self.file.read_bytes(), left + self.both[len(self.old):])
                for name in self.names():
                    self.assertIn(name, ("all.dat", "all.err"))

    def expect_content(self, expected):
        """That readers see this, whatever else the file holds."""
        seen = self.directory / "seen.dat"
        done = subprocess.run([TOOL, "repair", "--class", "POCircuitMatrices", self.file, "-o", seen],
                              capture_output=True, text=True, check=False)
        self.assertIn(done.returncode, (0, 1), done.stdout + done.stderr)
        self.assertEqual(seen.read_bytes(), expected)
        seen.unlink()


class Load(Case):
    def test_all_ranks_get_what_rank_0_loads(self):
        for name in APPENDING:
            for text in (0, 1):
                with self.subTest(name, text=text):
                    options = {"class": name, "text": text}
                    self.commit(version="v", **options)
                    status, lines = self.run_in(RANKS, do="load", **options)
                    self.assertEqual(status, 0, lines)
                    has_frequencies = name in ("POModeInfo", "POCircuitMatrices")
                    self.assertEqual(lines, ["0 ", "0 " if has_frequencies else
                                             f"1 Cannot load: rank 0: a {name} has no frequencies."])
                    self.file.unlink()

    def test_a_failure_is_that_of_rank_0(self):
        options = {"do": "load", "class": "POCircuitMatrices"}
        status, lines = self.run_in(RANKS, **options)
        self.assertEqual((status, lines[0][:2]), (0, "2 "), lines)
        self.file.write_bytes(b"\1" * 11)
        status, lines = self.run_in(RANKS, **options)
        self.assertEqual((status, lines[0][:2]), (0, "1 "), lines)


def ints(*values):
    return struct.pack("<%di" % len(values), *values)


def count(number):
    return struct.pack("<q", number)


# What three ranks make together, by the rules of docs/file-format.md; and what a contradiction is.
GATHERED = {
    "PODOFMap": (
        count(3) + b"".join(count(1) + ints(rank) + struct.pack("<d", 0.5 + rank)
                            for rank in range(3)) + count(3) + ints(1, 2, 3),
        "rank 1: row 0 differs from that of another rank"),
    "POMeshTree": (
        count(3) + ints(0, 1, 1, 2, 2, 3) + count(4) + ints(0, 1, 2, 100), None),
    "PODOFList": (
        ints(15, 77, 1, 2, 3, 4) + ints(3) + count(9) + ints(2, 0, 0, 2, 1, 1, 2, 2, 2) +
        (ints(3) + count(0)) * 2 + ints(3) + count(9) + ints(0, 0, 4, 0, 10, 14, 0, 20, 24),
        "rank 1: records are as wide as those of no other rank"),
    "POPortCircuitDOFs": (
        ints(3, 0, 0, 0) + count(3) + ints(0, 10, 1, 11, 2, 12),
        "rank 1: position 0 differs from that of another rank"),
    "POBinaryTree": (None, "rank 2: a second rank has one, and two of them cannot be united"),
}


class Gather(Case):
    def gather(self, name, **options):
        return self.run_in(RANKS, do="gather", **{"class": name}, **options)

    def test_replacing_classes(self):
        for name, (expected, contradiction) in GATHERED.items():
            with self.subTest(name):
                self.assertEqual(self.gather(name), (0, ["0 "]))
                before = self.file.read_bytes()
                if expected is not None:
                    self.assertEqual(before.hex(" ", 4), expected.hex(" ", 4))
                status, lines = self.gather(name, wrong=1)
                self.assertEqual(status, 0)
                result = f"1 Cannot unite the objects of the ranks: {contradiction}."
                self.assertEqual(lines, [result if contradiction else "0 "])
                if contradiction:
                    self.assertEqual(self.file.read_bytes(), before)

    def test_a_rank_without_changes_adds_nothing(self):
        self.assertEqual(self.gather("POMeshTree", idle=0), (0, ["0 "]))
        self.assertEqual(self.file.read_bytes(),
                         count(2) + ints(1, 2, 2, 3) + count(3) + ints(1, 2, 100))

    def test_appending_classes_are_refused(self):
        status, lines = self.gather("POModeInfo")
        self.assertEqual((status, len(lines)), (0, 1))
        self.assertRegex(lines[0], "rank 0: commits of POModeInfo append")
        self.assertEqual(self.names(), [])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + sys.argv[5:])
