# SPDX-License-Identifier: Apache-2.0
"""Builds the module with CMake, from the sources of the library beside this directory."""

import os
import pathlib
import re
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent.parent


def version() -> str:
    """The version of the library, from the one place that has it."""
    header = (ROOT / "include" / "fieldstore" / "version.h").read_text()
    return ".".join(re.findall(r"FIELDSTORE_VERSION_\w+ (\d+)", header))


class CMakeBuild(build_ext):
    def build_extension(self, ext: Extension) -> None:
        build = pathlib.Path(self.build_temp).resolve() / "cmake"
        options = {
            "CMAKE_BUILD_TYPE": "Release",
            "FIELDSTORE_BUILD_PYTHON": "ON",
            "FIELDSTORE_BUILD_TESTS": "OFF",
            "FIELDSTORE_BUILD_EXAMPLES": "OFF",
            "FIELDSTORE_INSTALL": "OFF",
            "Python_EXECUTABLE": sys.executable,
        }
        definitions = [f"-D{name}={value}" for name, value in options.items()]
        subprocess.check_call(["cmake", "-S", ROOT, "-B", build, *definitions])
        jobs = str(min(os.cpu_count() or 1, 4))
        subprocess.check_call(
            ["cmake", "--build", build, "--target", "fieldstore_python", "-j", jobs]
        )
        target = pathlib.Path(self.get_ext_fullpath(ext.name)).resolve()
        (module,) = (build / "python" / "fieldstore").glob("_fieldstore.*.so")
        target.parent.mkdir(parents=True, exist_ok=True)
        self.copy_file(str(module), str(target))


setup(
    version=version(),
    ext_modules=[Extension("fieldstore._fieldstore", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
)
