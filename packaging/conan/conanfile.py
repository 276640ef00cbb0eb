from conan import ConanFile
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy

import os


class Kelinfra(ConanFile):
    name = "kelinfra"
    version = "5.2.1"
    license = "Apache-2.0"
    description = "Infrastructure classes: diagnostics, text, buffers, configuration, TCP"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False]}
    default_options = {"shared": True}
    package_type = "library"

    # The recipe is two folders below the project.
    def export_sources(self):
        project = os.path.dirname(os.path.dirname(self.recipe_folder))
        for pattern in ("CMakeLists.txt", "LICENSE", ".reuse/*", "catalogues/*", "cmake/*", "debugger/*",
                        "errors/catalogue.json", "include/*", "probes/probes.json", "src/*"):
            copy(self, pattern, project, self.export_sources_folder)

    # icu::UnicodeString in the library's interface is a name of ICU's major version.
    def requirements(self):
        self.requires("icu/[>=72 <77]", transitive_headers=True, transitive_libs=True)
        self.requires("highway/[>=1.0.3]", visible=False)

    def package_id(self):
        self.info.requires["icu"].major_mode()

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        for part in ("TESTS", "EXAMPLES"):
            toolchain.variables[f"KELINFRA_BUILD_{part}"] = False
        toolchain.variables["KELINFRA_HIGHWAY_HEADERS"] = self.dependencies["highway"].cpp_info.includedirs[0]
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
        self.cpp_info.libs = ["KELINFRA"]
        # Programs use the CMake package that the library installs.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = [os.path.join("lib", "cmake", "KELINFRA")]
        self.cpp_info.set_property("pkg_config_name", "KELINFRA")
        if not self.options.shared:
            self.cpp_info.defines = ["KELINFRA_STATIC"]
