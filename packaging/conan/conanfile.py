"""Conan 2 recipe: conan create packaging/conan. It builds the sources that it lies in.

Checked here: that it is Python and what it names (test Packaging.RecipesAreWellFormed). Conan itself has not run
it, since it takes ACE from elsewhere.
"""

import os
import re

from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load


class KRCommonConan(ConanFile):
    name = "krcommon"
    description = "Common runtime library of a video-analytics system"
    license = "LicenseRef-KRCommon"
    package_type = "shared-library"
    settings = "os", "arch", "compiler", "build_type"
    requires = "ace/[>=6.5.12 <8]"

    def set_version(self):
        text = load(self, os.path.join(self.recipe_folder, "..", "..", "CMakeLists.txt"))
        self.version = re.search(r"project\(KRCommon VERSION ([0-9.]+)", text).group(1)

    def export_sources(self):
        sources = os.path.join(self.recipe_folder, "..", "..")
        for pattern in ("CMakeLists.txt", "LICENSE", "KRCommon/*", "krsoap/*", "cmake/*", "config/*", "setup/*",
                        "docs/using.md", "tools/debuggers/*"):
            copy(self, pattern, sources, self.export_sources_folder)

    def validate(self):
        if self.settings.os == "Windows" and self.settings.compiler != "gcc":
            raise ConanInvalidConfiguration("KRCommon.dll is for hosts of MinGW-w64")

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        for option in ("KR_TESTS", "KR_EXAMPLES", "KR_TOOLS"):
            toolchain.variables[option] = False
        toolchain.generate()
        CMakeDeps(self).generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        copy(self, "LICENSE", self.source_folder, os.path.join(self.package_folder, "licenses"))
        CMake(self).install()

    def package_info(self):
        # The installed package for CMake is the one to find.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs.append("lib/cmake")
        self.cpp_info.libs = ["KRCommon"]
