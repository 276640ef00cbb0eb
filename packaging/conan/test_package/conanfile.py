from conan import ConanFile
from conan.tools.build import can_run

import os


class KelinfraTest(ConanFile):
    settings = "os", "arch", "compiler", "build_type"
    generators = "CMakeDeps", "CMakeToolchain"

    def requirements(self):
        self.requires(self.tested_reference_str)

    # The project's test of an installed package.
    def test(self):
        if can_run(self):
            folder = self.dependencies["kelinfra"].package_folder
            script = os.path.join(self.recipe_folder, "..", "..", "..", "tests", "package", "installed.sh")
            self.run(f'"{script}" "{folder}"')
