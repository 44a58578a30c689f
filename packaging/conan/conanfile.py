"""Recipe for Conan 2, to be run in a checkout: conan create packaging/conan"""
import pathlib
import re

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


class Zam(ConanFile):
    name = "zam"
    description = "Base library for document classification and extraction"
    settings = "os", "compiler", "build_type", "arch"
    options = {"shared": [True, False]}
    default_options = {"shared": True}
    requires = ("libxml2/[>=2.9 <3]", "zlib/[>=1.2.11 <2]", "icu/[>=72]", "boost/[>=1.76 <2]", "eigen/[>=3.3 <4]",
                "util-linux-libuuid/[>=2.36]")
    generators = ()

    def set_version(self):
        self.version = re.search(r"^  VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text(), re.M).group(1)

    def export_sources(self):
        for part in ("CMakeLists.txt", "cmake/*", "zam/*", "translations/*", "docs/*", "packaging/*", "*.md"):
            copy(self, part, ROOT, self.export_sources_folder)

    def validate(self):
        if self.settings.os != "Linux":
            from conan.errors import ConanInvalidConfiguration
            raise ConanInvalidConfiguration("zam runs on Linux")

    def layout(self):
        cmake_layout(self)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        toolchain.variables.update({"ZAM_BUILD_TESTS": False, "ZAM_BUILD_EXAMPLES": False})
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        # The installed tree has package files of its own.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs.append("lib/cmake/zam")
