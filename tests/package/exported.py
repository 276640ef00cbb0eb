#!/usr/bin/env python3
"""Copies into a folder what the recipe for Conan exports, without Conan.

    exported.py FOLDER

Runs export_sources() of packaging/conan/conanfile.py with a substitute for Conan's function copy. The
function compares a pattern with the whole path of a file below the project, and "*" matches "/" too.
"""

import fnmatch
import pathlib
import runpy
import shutil
import sys
import types

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
RECIPE = ROOT / "packaging" / "conan" / "conanfile.py"


def copy(_, pattern, source, target):
    source, target = pathlib.Path(source), pathlib.Path(target)
    parts = pattern.split("/")
    # Only the folder that the pattern names is read: build folders can be large.
    start = source / parts[0] if len(parts) > 1 else source
    files = start.rglob("*") if len(parts) > 1 else start.glob(pattern)
    for file in files:
        name = file.relative_to(source).as_posix()
        if file.is_file() and fnmatch.fnmatchcase(name, pattern):
            (target / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(file, target / name)


def main():
    for name in ("conan", "conan.tools", "conan.tools.cmake", "conan.tools.files"):
        sys.modules[name] = types.ModuleType(name)
    sys.modules["conan"].ConanFile = object
    sys.modules["conan.tools.files"].copy = copy
    for name in ("CMake", "CMakeDeps", "CMakeToolchain", "cmake_layout"):
        setattr(sys.modules["conan.tools.cmake"], name, None)
    recipe = runpy.run_path(str(RECIPE))["Kelinfra"]()
    recipe.recipe_folder = str(RECIPE.parent)
    recipe.export_sources_folder = sys.argv[1]
    recipe.export_sources()


if len(sys.argv) != 2:
    sys.exit("usage: exported.py FOLDER")
main()
