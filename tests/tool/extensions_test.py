# SPDX-License-Identifier: Apache-2.0
"""What fieldstore NAME runs, and what fieldstore help lists.

Usage: extensions_test.py FIELDSTORE [unittest arguments]
"""
import os
import signal
import stat
import subprocess
import sys
import tempfile
import unittest

TOOL = os.path.abspath(sys.argv[1])
SCRIPT = """#!/bin/sh
printf '%s|' "$@" "$FIELDSTORE_TOOL"
echo
exit 7
"""


class ExtensionsTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="fieldstore-test-")
        self.addCleanup(directory.cleanup)
        self.directory = directory.name

    def run_tool(self, *words, path=None, **options):
        return subprocess.run([TOOL, *words], capture_output=True, text=True, check=False,
                              env={"PATH": self.directory if path is None else path}, **options)

    def put(self, name, content=SCRIPT, mode=0o755):
        file = os.path.join(self.directory, name)
        with open(file, "w", encoding="utf-8") as script:
            script.write(content)
        os.chmod(file, mode)
        return file

    def test_a_program_on_the_path_is_a_command(self):
        self.put("fieldstore-shape")
        ran = self.run_tool("shape", "--help", "a b", "")
        self.assertEqual((ran.returncode, ran.stdout), (7, f"--help|a b||{TOOL}|\n"))
        self.assertEqual(self.run_tool("help", "shape").stdout, f"--help|{TOOL}|\n")

    def test_it_dies_of_a_closed_pipe_as_other_programs_do(self):
        self.put("fieldstore-wait", "#!/bin/sh\nkill -PIPE $$\necho survived\n")
        self.assertEqual(self.run_tool("wait").returncode, -signal.SIGPIPE)

    def test_what_is_no_extension(self):
        self.put("fieldstore-ls")  # a command of the tool's own comes first
        self.put("fieldstore-load-json")
        self.put("fieldstore-notes", mode=stat.S_IRUSR)
        os.mkdir(os.path.join(self.directory, "fieldstore-folder"))
        self.put("fieldstore-sh;ell")
        for name in ("notes", "folder", "sh;ell", "../shape", "shape", ""):
            with self.subTest(name=name):
                ran = self.run_tool(name)
                self.assertEqual((ran.returncode, ran.stdout), (2, ""))
        for name in ("ls", "load-json"):
            self.assertIn("Usage", self.run_tool(name, "--help").stdout)
        self.put("fieldstore-here")
        for path in (".", "", f":{os.devnull}"):
            self.assertEqual(self.run_tool("here", path=path, cwd=self.directory).returncode, 2, path)

    def test_help_lists_what_there_is_and_what_is_missing(self):
        self.put("fieldstore-shape")
        self.put("fieldstore-bad\x1bname")
        listed = self.run_tool("help")
        self.assertEqual(listed.returncode, 0)
        self.assertIn("Check files against every rule", listed.stdout)
        lines = listed.stdout.split("\nExtensions, ")[1].splitlines()
        self.assertEqual([line.split()[0] for line in lines[1:]], ["plot", "report", "shape"])
        self.assertIn("not installed: package python3-fieldstore", lines[2])
        self.assertIn(os.path.join(self.directory, "fieldstore-shape"), lines[3])
        missing = self.run_tool("report", "results/")
        self.assertEqual(missing.returncode, 2)
        self.assertIn("fieldstore-report is on the PATH", missing.stderr)
        self.assertIn("python3-fieldstore", missing.stderr)
        self.put("fieldstore-report")
        self.assertNotIn("not installed", self.run_tool("help").stdout.split("report ")[1])
        self.assertEqual(self.run_tool("report", "x").stdout, f"x|{TOOL}|\n")
        self.assertIn("Usage: fieldstore dump", self.run_tool("help", "dump").stdout)
        self.assertEqual(self.run_tool("help", "nothing").returncode, 2)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
