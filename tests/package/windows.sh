#!/usr/bin/env bash
# Checks the ZIP for Windows, packed from the build in build/windows: its contents, and that the README's
# program and the examples build with it and with nothing else of the project, and run under Wine with only
# its folder of libraries.
. "$(dirname "$0")/looking.sh"

build=$root/build/windows
compiler=$mingw-g++-posix
icu=$(windows_library icu)
name=KELINFRA-$version-windows-x64
work=$build/package-test
zip=$work/unpacked/$name
rm -rf "$work"
mkdir -p "$work/unpacked"

check_files() {
  local icu_version
  icu_version=$(sed -n 's/^#define U_ICU_VERSION_MAJOR_NUM \([0-9]*\)$/\1/p' "$icu/include/unicode/uvernum.h")
  same "files" "$(LC_ALL=C sort <<END
$(printf '%s\n' LICENSE README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md)
$(paths docs "$root/docs")
$(printf 'bin/%s\n' KELINFRA.dll icu{uc,in,io,dt}"$icu_version.dll")
$(printf 'bin/%s\n' libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
$(printf 'bin/%s.exe\n' documentServer documentClient failures kelinfra)
$(printf 'lib/lib%s.dll.a\n' KELINFRA icu{uc,in,io,dt})
$(printf 'lib/cmake/KELINFRA/KELINFRA%s.cmake\n' Config ConfigVersion Targets Targets-relwithdebinfo)
$(printf 'licences/%s.txt\n' KELINFRA ICU GCC-runtime mingw-w64-winpthread Highway CLI11 \
  nlohmann-json Apache-2.0 GPL-3)
share/kelinfra/KELINFRA.natvis
share/kelinfra/catalogue.json
share/kelinfra/catalogues/de.properties
share/kelinfra/catalogues/en.properties
share/kelinfra/catalogues/ja.properties
share/kelinfra/probes.json
$(paths include "$root/include")
$(paths include/unicode "$icu/include/unicode")
$(paths examples "$root/examples")
END
)" "$(cd "$zip" && find . -type f | sed 's|^\./||' | LC_ALL=C sort)"
}

# The imports of the programs and libraries, in lower case. The compiler knows the names of the system's
# libraries.
foreign_imports() {
  local library folder
  folder=$(dirname "$("$compiler" -print-file-name=libkernel32.a)")
  "$mingw-objdump" -p "$zip"/bin/* | sed -n 's/.*DLL Name: \(.*\)$/\1/p' | tr 'A-Z' 'a-z' | sort -u |
    while read -r library; do
      [ -f "$folder/lib${library%.dll}.a" ] || printf '%s\n' "$library"
    done
}

check_contents() {
  same "libraries that something in the package needs" "$(foreign_imports)" \
    "$(cd "$zip/bin" && printf '%s\n' *.dll | tr 'A-Z' 'a-z' | sort)"
  same "licences that do not name their software" "" "$(cd "$zip/licences" && {
    grep -L 'KELINFRA' KELINFRA.txt
    grep -L 'UNICODE, INC. LICENSE AGREEMENT' ICU.txt
    grep -L 'GCC Runtime Library Exception' GCC-runtime.txt
    grep -L 'mingw-w64-libraries/winpthreads' mingw-w64-winpthread.txt
    grep -L 'highway' Highway.txt
    grep -L 'CLI11' CLI11.txt
    grep -L 'Niels Lohmann' nlohmann-json.txt
    grep -L 'Apache License' Apache-2.0.txt
    grep -L 'GNU GENERAL PUBLIC LICENSE' GPL-3.txt
  })"
  same "links of the pages to files that are not in the package" "" "$(dead_links "$zip")"
  same "files with paths of the building machine" "" \
    "$(grep -rlF -e "$root" "$zip/lib" "$zip/examples" "$zip"/bin/{KELINFRA.dll,*.exe} || true)"
}

# From here on Wine looks for libraries in the program's folder, then in the package.
with_package() { WINEPATH="Z:$(tr / '\\' <<<"$zip/bin")" "$@"; }

check_program() {
  KELINFRA_WORK=$work "$root/tests/package/installed.sh" "$zip" "$compiler"
  same "paths of the project that it was built with" "" \
    "$(sed "s|$work||g" "$work"/find_package-17/build/{CMakeCache.txt,build.ninja,Makefile} \
       "$work"/find_package-17/build/CMakeFiles/program.dir/* 2>/dev/null | grep -F "$root" || true)"
  same "libraries that CMake puts beside the program" "$(cd "$zip/bin" && printf '%s\n' *.dll | sort)" \
    "$(cd "$work/find_package-17/build" && printf '%s\n' *.dll | sort)"
  rm "$work/find_package-17/build"/*.dll
  if wine "$work/find_package-17/build/program.exe" >/dev/null 2>&1; then
    die "the program runs without the package: other libraries than its own are found"
  fi
}

# The package's server, and the client built from the package's sources.
check_examples() {
  step "configuring the ZIP's examples" \
    cmake -G Ninja -S "$zip/examples" -B "$work/examples" -D CMAKE_SYSTEM_NAME=Windows \
    -D CMAKE_CXX_COMPILER="$compiler" -D KELINFRA_DIR="$zip/lib/cmake/KELINFRA" -D CMAKE_BUILD_TYPE=Debug
  step "building the ZIP's examples" cmake --build "$work/examples" -j "$jobs"
  step "running the ZIP's examples" \
    with_package python3 "$root/tests/examples/conversation.py" "$zip/examples" \
    "wine '$zip/bin/documentServer.exe'" "wine '$work/examples/documentClient.exe'"
}

step "packing" cpack --config "$build/CPackConfig.cmake" -B "$work/packed"
step "unpacking" cmake -E chdir "$work/unpacked" cmake -E tar xf "$work/packed/$name.zip"
check_files
check_contents
use_wine
check_program
check_examples
rm -rf "$work"
say "the package has the right contents, and programs build with it"
