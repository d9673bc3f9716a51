# SPDX-License-Identifier: Apache-2.0
"""What tests of exports share: a directory of their own, and the program."""
import os
import subprocess
import sys
import tempfile
import unittest

TOOL = os.path.abspath(sys.argv[1])


class ToolCase(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory(prefix="fieldstore-test-")
        self.addCleanup(directory.cleanup)
        self.directory = directory.name

    def path(self, name):
        return os.path.join(self.directory, name)

    def run_tool(self, *arguments, status=0):
        result = subprocess.run([TOOL, *arguments], capture_output=True, timeout=60)
        self.assertEqual(result.returncode, status, (arguments, result.stderr[-2000:]))
        return result
