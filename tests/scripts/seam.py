#!/usr/bin/env python3
"""Tests scripts/seam on small projects that it has not seen."""

import pathlib
import subprocess
import tempfile
import unittest

SEAM = pathlib.Path(__file__).resolve().parent.parent.parent / "scripts" / "seam"

# (text of a file of src, number of the line that is reported)
OFFENDERS = [
    ("#if defined(_WIN32)\n#endif\n", 1),
    ("#ifdef __FreeBSD__\n#endif\n", 1),
    ("#ifndef __CYGWIN__\n#endif\n", 1),
    ("#if __has_include(<unistd.h>)\n#endif\n", 1),
    ("#if KELINFRA_STATIC && __has_include(<unistd.h>)\n#endif\n", 1),
    ("#if KELINFRA_STATIC\n#elif defined(__sun)\n#endif\n", 2),
    ("#if KELINFRA_STATIC\n#elifdef __HAIKU__\n#endif\n", 2),
    ("#if KELINFRA_STATIC\n#elifndef __HAIKU__\n#endif\n", 2),
    ("#if unix\n#endif\n", 1),
    ("#if NEW_SYSTEM\n#endif\n", 1),
    ("#if __cplusplus > 201703L\n#endif\n", 1),
    ("#if HWY_MAX_BYTES >= 32\n#endif\n", 1),
    ("#if HWY_ARCH_X86\n#endif\n", 1),
    ("#define HWY_DISABLED_TARGETS HWY_SVE\n", 1),
    ("#include <sys/auxv.h>\n", 1),
    ("#if 1\n#endif\n", 1),
    ("#if KELINFRA_A(sizeof(long), 4)\n#endif\n", 1),
    ("\t#ifdef __linux__\n#endif\n", 1),
    ("#\tifdef __linux__\n#endif\n", 1),
    ("  #  ifdef __linux__\n#endif\n", 1),
    ("int i;\n#\\\nif \\\n defined(__linux__)\n#endif\n", 2),
    ("#if KELINFRA_STATIC \\\n  || __lin\\\nux__\n#endif\n", 1),
    ("#if KELINFRA_STATIC || \\ \n __linux__\n#endif\n", 1),
    ("/* text */ #ifdef __linux__\n#endif\n", 1),
    ("/* two\n lines */ #ifdef __linux__\n#endif\n", 1),
    ("#if /* two\n lines */ defined(__linux__)\n#endif\n", 1),
    ("#if KELINFRA_STATIC /* || \n */ || defined(__linux__)\n#endif\n", 1),
    ("const char* a = \"/*\";\n#ifdef __linux__\n#endif // */\n", 2),
    ("const char a = '\"';\n#ifdef __linux__\n#endif // \"\n", 2),
    ("int a = 1'000;\n#ifdef __linux__\n#endif // '\n", 2),
    ("const char* a = R\"x(\n)\" /* )x\";\n#ifdef __linux__\n#endif // */\n", 3),
    ("// a comment\n\n/* one\n more */\nint i; \\\n\n#ifdef __linux__\n#endif\n", 7),
    ("%:ifdef __linux__\n%:endif\n", 1),
    ("\ufeff#ifdef __linux__\n#endif\n", 1),
    ("#include <sys/socket.h>\n", 1),
    ("#include <unistd.h>\n", 1),
    ("#include <winsock2.h>\n", 1),
    ("#include <gtest/gtest.h>\n", 1),
    ("#include <hwy/highway.h>\n", 1),
    ("#include <signal.h>\n", 1),
    ("#include \"sys/socket.h\"\n", 1),
    ("#include \"sockets.h\"\n", 1),
    ("#include \"posix/kelPosixOnly.hpp\"\n", 1),
    ("#include \"linux/kelLinuxOnly.hpp\"\n", 1),
    ("#include \\\n <sys/socket.h>\n", 1),
    ("%: include <sys/socket.h>\n", 1),
    ("#include/**/<sys/socket.h>\n", 1),
    ("#include KEL_HEADER\n", 1),
    ("#include_next <string>\n", 1),
    ("#import <string>\n", 1),
    ("#define KEL_HEADER <sys/socket.h>\n#include KEL_HEADER\n", 2),
    ("#define SYSTEM 1\n", 1),
    ("#define KELINFRA_SYSTEM defined(linux)\n", 1),
    ("#define KELINFRA_SYSTEM \\\n  __linux__\n", 1),
    ("#undef __linux__\n", 1),
    ("#pragma comment(lib, \"ws2_32\")\n", 1),
    ("#error KELINFRA\n", 1),
    ("bool b = __linux;\n", 1),
    ("int i;\nbool b = _WIN64;\n", 2),
    ("_Pragma(\"pack(1)\")\n", 1),
]

ALLOWED = [
    "#pragma once\n",
    "#pragma GCC diagnostic ignored \"-Wconversion\"\n",
    "#include \"platform/kelSystem.hpp\"\n#include <unicode/unistr.h>\n#  include <string>  // text\n",
    "#define KEL_TWICE(a) \\\n  ((a) + (a))\n#undef KEL_TWICE\n",
    "#if defined(KELINFRA_STATIC) && !defined(KELINFRA_BUILDING)\n#endif\n",
    "#if KELINFRA_STATIC\n#elif KELINFRA_LEVEL >= 2\n#else  // text\n#endif  // text\n",
    "#\n",
    "// #ifdef __linux__\n/* #ifdef __linux__\n#ifdef __linux__\n*/\n",
    "// a line that goes on \\\n#ifdef __linux__\n",
    "const char* a = \"\\\n#ifdef __linux__\";\n",
    "const char* a = R\"(\n#ifdef __linux__\n)\";\n",
    "const char* a = \"\\\"__linux__\"; char b = '\\''; const char* c = \"__linux__\";\n",
    "int f() __attribute__((cold)); int g(int at = __builtin_LINE());\n",
    "std::_Exit(1); _AddrInfo info; int a__b = 0x1'000;\n",
    "#define KEL_CALL(f, ...) f(__VA_ARGS__)\n",
    "std::setvbuf(stdout, nullptr, _IONBF, 0);\n",
]

# (path, text, whether it is reported)
PLACES = [
    ("src/infra/platform/posix/kelX.cpp", "#ifdef __linux__\n#endif\n", False),
    ("src/infra/platform/kelX.hpp", "#include <sys/socket.h>\n", False),
    ("include/infra/kelExport.hpp", "#ifdef _WIN32\n#endif\n", False),
    ("include/infra/kelExport.hpp.in", "#ifdef _WIN32\n#endif\n", True),
    ("tests/infra/oss/posix/kelXTest.cpp", "#include <poll.h>\n", False),
    ("tests/support/windows/kelX.hpp", "#include <windows.h>\n", False),
    ("benchmarks/posix/kelX.cpp", "#include <poll.h>\n", False),
    ("tests/infra/oss/kelPosixTest.cpp", "#include <poll.h>\n", True),
    ("src/infra/oss/posix/kelX.cpp", "#include <poll.h>\n", True),
    ("include/posix/kelX.hpp", "#include <poll.h>\n", True),
    ("include/infra/kelX.h", "#ifdef __linux__\n#endif\n", True),
    ("src/kelX.inc", "#ifdef __linux__\n#endif\n", True),
    ("src/kelX.hpp.in", "#ifdef __linux__\n#endif\n", True),
    ("examples/x.c", "#include <poll.h>\n", True),
    ("fuzz/kelX.cc", "#include <poll.h>\n", True),
    ("src/kelX.txt", "#ifdef __linux__\n#endif\n", False),
    ("build/kelX.cpp", "#ifdef __linux__\n#endif\n", False),  # ignored by git
    ("src/infra/simd/kelX.hpp", "#include <hwy/highway.h>\n__m256i v;\n", False),
    ("src/infra/simd/kelX.hpp", "#if HWY_MAX_BYTES >= 32\n#endif\n", False),
    ("src/infra/simd/kelX.hpp", "#if HWY_ARCH_X86\n#endif\n", False),
    ("src/infra/simd/kelX.hpp", "#define HWY_DISABLED_TARGETS HWY_SVE\n", False),
    ("src/infra/simd/kelX.hpp", "#include <sys/auxv.h>\n", True),
    ("src/infra/simd/kelKernelsOfLinux.cpp", "#include <sys/auxv.h>\n", False),
    ("src/infra/simd/kelX.hpp", "#ifdef __AVX2__\n#endif\n", True),
    ("src/infra/simd/kelX.hpp", "static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);\n", True),
    ("src/infra/machine/kelX.hpp", "#ifdef __SIZEOF_INT128__\nunsigned __int128 v;\n#endif\n", False),
    ("src/infra/machine/kelX.hpp", "#ifdef __s390x__\n#endif\n", True),
    ("src/infra/util/kelX.cpp", "unsigned __int128 v;\n", True),
    ("tests/infra/kelXTest.cpp", "#include <gmock/gmock.h>\nvoid* __wrap_malloc(int);\n", False),
    ("benchmarks/kelX.cpp", "#include <benchmark/benchmark.h>\n", False),
]


class Seam(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        self.git("init", "-q")
        self.write(".gitignore", "/build/\n")
        self.write("src/infra/platform/kelSystem.hpp", "#pragma once\n")
        self.write("tests/posix/kelPosixOnly.hpp", "#pragma once\n")
        self.write("tests/linux/kelLinuxOnly.hpp", "#pragma once\n")

    def git(self, *arguments):
        subprocess.run(["git", "-C", self.root, *arguments], check=True)

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def reported(self):
        """(what it printed, the places that it reported)"""
        run = subprocess.run([SEAM, self.root], capture_output=True, text=True)
        self.assertEqual(run.stderr, "")
        places = [":".join(line.split(":")[:2]) for line in run.stdout.splitlines()[:-1]]
        self.assertEqual(run.returncode, 1 if places else 0, run.stdout)
        return run.stdout, places

    def test_reports_each_offender_by_its_line(self):
        for row, (text, _) in enumerate(OFFENDERS):
            self.write(f"src/kelX{row}.cpp", text)
        _, places = self.reported()
        for row, (text, number) in enumerate(OFFENDERS):
            with self.subTest(row=row, text=text):
                mine = [place for place in places if place.startswith(f"src/kelX{row}.cpp:")]
                self.assertEqual(mine[:1], [f"src/kelX{row}.cpp:{number}"])

    def test_reports_nothing_that_is_allowed(self):
        for row, text in enumerate(ALLOWED):
            self.write(f"src/kelX{row}.cpp", text)
        printed, places = self.reported()
        self.assertEqual(places, [], printed)

    def test_knows_the_platform_layer_and_the_other_folders(self):
        for path, text, is_reported in PLACES:
            with self.subTest(path=path, text=text):
                self.write(path, text)
                printed, places = self.reported()
                self.assertEqual(places, [f"{path}:1"] if is_reported else [], printed)
                (self.root / path).unlink()

    def test_reads_tracked_files_too(self):
        self.write("src/kelX.cpp", "#ifdef __linux__\n#endif\n")
        self.git("add", "-A")
        self.assertEqual(self.reported()[1], ["src/kelX.cpp:1"])

    def test_ignores_a_tracked_file_that_was_deleted(self):
        self.write("src/kelX.cpp", "#ifdef __linux__\n#endif\n")
        self.git("add", "-A")
        (self.root / "src/kelX.cpp").unlink()
        self.assertEqual(self.reported()[1], [])


if __name__ == "__main__":
    unittest.main()
