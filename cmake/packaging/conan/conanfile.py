# SPDX-License-Identifier: Apache-2.0
"""A recipe for Conan 2 that builds the tree it lies in: conan create cmake/packaging/conan"""
import os

from conan import ConanFile
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, rmdir

required_conan_version = ">=2.0"


class FieldstoreConan(ConanFile):
    name = "fieldstore"
    version = "1.0.0"
    description = "Store for the result data of an electromagnetic finite-element solver"
    license = "Apache-2.0"
    topics = ("finite-element", "electromagnetics", "storage")
    package_type = "shared-library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"with_tool": [True, False]}
    default_options = {"with_tool": False}

    def export_sources(self):
        root = os.path.join(self.recipe_folder, "..", "..", "..")
        copy(self, "*", src=root, dst=self.export_sources_folder, excludes=("build/*", ".git/*"))

    def layout(self):
        cmake_layout(self)

    def requirements(self):
        if self.options.with_tool:
            for needed in ("cli11/[>=2.3 <3]", "eigen/[>=3.4 <4]", "hdf5/[>=1.10.3 <2]",
                           "nlohmann_json/[>=3.11 <4]", "xxhash/[>=0.8 <0.9]", "zlib/[>=1.2.11 <2]"):
                self.requires(needed, visible=False)

    def validate(self):
        check_min_cppstd(self, 17)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["FIELDSTORE_BUILD_EXAMPLES"] = False
        toolchain.cache_variables["FIELDSTORE_BUILD_TESTS"] = False
        toolchain.cache_variables["FIELDSTORE_BUILD_TOOL"] = bool(self.options.with_tool)
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()
        copy(self, "LICENSE", src=self.source_folder,
             dst=os.path.join(self.package_folder, "licenses"))
        # Conan writes these for the consumer's build system.
        rmdir(self, os.path.join(self.package_folder, "lib", "cmake"))
        rmdir(self, os.path.join(self.package_folder, "lib", "pkgconfig"))

    def package_info(self):
        self.cpp_info.libs = ["fieldstore"]
        self.cpp_info.set_property("cmake_file_name", "fieldstore")
        self.cpp_info.set_property("cmake_target_name", "fieldstore::fieldstore")
        self.cpp_info.set_property("pkg_config_name", "fieldstore")
