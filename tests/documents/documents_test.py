#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Holds the documents against the project: commands run, samples compile, files that are named exist.

Usage: documents_test.py FIELDSTORE WAVEGUIDE C++-COMPILER [unittest arguments]
"""
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
TOOL, WAVEGUIDE, COMPILER = sys.argv[1:4]
DOCUMENTS = sorted([*ROOT.glob("*.md"), *ROOT.glob("docs/*.md"), *ROOT.glob("bench/*.md")])
# Programs on the PATH that are no part of the tool; other tests try them.
EXTENSIONS = ("report", "plot")


def blocks(*languages):
    """Place, language and text of the blocks of code in these languages."""
    for path in DOCUMENTS:
        text = path.read_text(encoding="utf-8")
        for found in re.finditer(r"^```(\w*)\n(.*?)^```$", text, re.MULTILINE | re.DOTALL):
            if found[1] in languages:
                line = text.count("\n", 0, found.start()) + 2
                yield f"{path.relative_to(ROOT)}:{line}", found[1], found[2]


def commands():
    """Where it is, and each line that a reader would type."""
    for place, language, text in blocks("sh", ""):
        prompted = "\n$ " in "\n" + text or not language  # the other lines are output
        for line in text.replace("\\\n", " ").splitlines():
            if not prompted or line.startswith("$ "):
                yield place, re.sub(r"\s+# .*", "", line.removeprefix("$ ")).strip()


class DocumentsTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        directory = tempfile.TemporaryDirectory(prefix="fieldstore-documents-")
        cls.addClassCleanup(directory.cleanup)
        cls.place = pathlib.Path(directory.name)
        cls.model = cls.place / "model"
        cls.model.mkdir()
        subprocess.run([WAVEGUIDE, "solve", cls.model / "results", "--passes", "2", "--frequencies",
                        "8e9:10e9:3"], check=True, capture_output=True)
        cls.prepare(cls.model)
        bin_directory = cls.place / "bin"
        bin_directory.mkdir()
        (bin_directory / "fieldstore").symlink_to(os.path.abspath(TOOL))
        cls.environment = os.environ | {"PATH": f"{bin_directory}:{os.environ['PATH']}"}

    @staticmethod
    def prepare(directory):
        """The files that the examples name."""
        results = directory / "results"
        for name in ("modeinfo", "circuitmatrices", "solutiondata"):
            shutil.copy(results / f"{name}.dat", directory)
        shutil.copy(results / "circuitmatrices.dat", directory / "changed.dat")
        for rank in ("rank0", "rank1", "wr90"):
            shutil.copytree(results, directory / rank)
        content = (results / "modeinfo.dat").read_bytes()
        (directory / "torn.dat").write_bytes(content + content[:100])

    def run_in_copy(self, command):
        directory = pathlib.Path(tempfile.mkdtemp(dir=self.place))
        shutil.copytree(self.model, directory, dirs_exist_ok=True)
        action = command.split()[1]
        if action == "verify":
            subprocess.run(["fieldstore", "seal", "results"], cwd=directory, env=self.environment,
                           check=True, capture_output=True)
        elif action == "labels":
            (directory / "results/labels.json").unlink()
        elif action == "merge":
            (directory / "solutiondata.dat").unlink()
        elif action == "unlock":
            (directory / "results/modeinfo.lck").touch()
            command += " --force"  # there is no terminal to ask on
        with subprocess.Popen(["bash", "-c", f"set -o pipefail; exec {command}"], cwd=directory,
                              env=self.environment, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE) as process:
            if action == "watch":
                process.stdout.read1(1)  # it has begun
                time.sleep(0.1)
                process.send_signal(signal.SIGINT)
            output = process.communicate(timeout=60)
        return process.returncode, b"".join(output).decode(errors="replace")

    def test_commands_of_the_tool_run(self):
        tried = 0
        for place, command in commands():
            command = command.replace("COMMAND", "ls")
            if not command.startswith("fieldstore ") or command.split()[1] in EXTENSIONS:
                continue
            with self.subTest(place, command=command):
                tried += 1
                status, output = self.run_in_copy(command)
                # A check and a comparison may find something, and head does not read to the end.
                self.assertIn(status, (0, 1, 128 + signal.SIGPIPE), output)
        self.assertGreater(tried, 20)

    def test_scripts_exist_and_have_the_options(self):
        presets = json.loads((ROOT / "CMakePresets.json").read_text(encoding="utf-8"))
        names = [preset["name"] for preset in presets["configurePresets"]]
        options = "".join(path.read_text(encoding="utf-8") for path in
                          [ROOT / "CMakeLists.txt", *ROOT.glob("cmake/*.cmake")])
        for place, command in commands():
            words = [word.strip("[]") for word in command.split()]
            with self.subTest(place, command=command):
                for preset in re.findall(r"--preset (\w+)", command):
                    self.assertIn(preset, names)
                for option in re.findall(r"-D(FIELDSTORE_\w+)", command):
                    self.assertIn(option, options)
                for at, word in enumerate(words):
                    if not re.match(r"(\./)?(scripts|bench|\.ci)/", word):
                        continue
                    script = ROOT / word
                    self.assertTrue(os.access(script, os.X_OK), word)
                    text = script.read_text(encoding="utf-8")
                    for option in words[at + 1:]:
                        if option.startswith("--"):
                            self.assertIn(option.split("=")[0], text + self.texts_it_runs(text))

    @staticmethod
    def texts_it_runs(text):
        return "".join(path.read_text(encoding="utf-8")
                       for path in ROOT.glob("reliability/campaigns/*.py") if path.name in text
                       or path.name == "common.py")

    def test_samples_compile(self):
        compiled = 0
        for place, _, text in blocks("cpp"):
            if "#include <fieldstore/" not in text or "...\n" in text:
                continue
            compiler = COMPILER
            if "fieldstore/mpi.h" in text:
                compiler = shutil.which("mpicxx")
            if compiler is None or "\nconst auto" in text:
                continue  # without MPI, or the first lines of a function
            with self.subTest(place):
                compiled += 1
                done = subprocess.run([compiler, "-std=c++17", "-Wall", "-fsyntax-only", "-x", "c++",
                                       f"-I{ROOT / 'include'}", "-"], input=text, text=True,
                                      capture_output=True)
                self.assertEqual(done.returncode, 0, done.stderr)
        self.assertGreater(compiled, 5)

    def test_every_interface_of_a_class_is_in_the_list(self):
        headers = ROOT / "include/fieldstore"
        listed = set(re.findall(r"USE\((\w+)\)", (headers / "classes.h").read_text(encoding="utf-8")))
        there = {path.stem[3:] for path in headers.glob("IPO*.h")} - {"Base", "StorageControl"}
        self.assertEqual(listed - {"Thing"}, there)

    def test_files_that_are_named_exist(self):
        for path in DOCUMENTS:
            text = path.read_text(encoding="utf-8")
            links = re.findall(r"\]\((?!https?:|#|mailto:)([^)#\s]+)", text)
            named = re.findall(r"`((?:docs|scripts|bench|reliability|examples|cmake|tests|tool|core|"
                               r"streams|objects|factory|include|python)/[\w./-]+\w)`", text)
            for base, name in [*((path.parent, link) for link in links),
                               *((ROOT, name) for name in named)]:
                with self.subTest(path.name, name=name):
                    if not re.search(r"[A-Z]{4}|Thing", name):  # a name to be filled in
                        self.assertTrue(any(base.glob(name + "*")))  # programs by their sources


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]])
