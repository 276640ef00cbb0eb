#!/usr/bin/env bash
# Configures the project in other ways than this build.
#   configure.sh old ROOT COMPILER KIND               CMake refuses versions that are too old; docs/install.md
#                                                     and README.md name the oldest ones
#   configure.sh warnings ROOT COMPILER KIND VERSION  warnings are errors only for the named compilers
#   configure.sh kernels ROOT COMPILER KIND           each kernel file uses only its instruction set, although
#                                                     the rest is compiled for a processor that has more
set -euo pipefail
root=$2
compiler=$3
kind=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  printf '%s\n' "$*" >&2
  exit 1
}

# configure OPTION...: configures in a new folder and prints CMake's message in one line.
configure() {
  rm -rf "$work/build"
  cmake -G Ninja -S "$root" -B "$work/build" -D KELINFRA_BUILD_TESTS=OFF -D CMAKE_CXX_COMPILER="$compiler" \
    "$@" 2>&1 | tr -s ' \n' ' '
}

# refuses NAME OLDEST OPTION...
refuses() {
  local said oldest=$2
  if said=$(configure "${@:3}"); then fail "configured with $1 too old: $said"; fi
  grep -qE "$1 [0-9.]+ \([^ ]*\) is too old: KELINFRA needs $1 $oldest or later" <<<"$said" ||
    fail "$1 too old: $said"
}

# oldest KIND: the oldest version that CMake accepts.
oldest() { sed -n "s/^set(KELINFRA_OLDEST_$1 \(.*\))$/\1/p" "$root/cmake/KelinfraRequirements.cmake"; }

# named PATTERN PAGE...: each page must contain it. A blank of the pattern may be a line end in the page.
named() {
  local page
  for page in "${@:2}"; do
    grep -qzE "${1// /[[:space:]]}" "$root/$page" || fail "$page does not contain: $1"
  done
}

# Pretend to CMake that the compiler, ICU and Highway are too old.
make_old() {
  printf '#!/bin/sh\nexec %q -U__GNUC__ -D__GNUC__=11 -U__clang_major__ -D__clang_major__=13 "$@"\n' \
    "$compiler" >"$work/c++"
  chmod +x "$work/c++"
  mkdir -p "$work/unicode" "$work/hwy"
  printf '#define U_ICU_VERSION "71.1"\n' >"$work/unicode/uvernum.h"
  touch "$work/unicode/utypes.h"
  printf '#define HWY_MAJOR 1\n#define HWY_MINOR 0\n#define HWY_PATCH 2\n' >"$work/hwy/highway.h"
  touch "$work/hwy/base.h"
}

# features OPTION...: prints the processor features that the compiler may use with these options, by the names
# of its macros.
features() {
  "$compiler" -march=x86-64 "$@" -dM -E -x c++ /dev/null | sed -n 's/^#define __\(.*\)__ 1$/\1/p' | sort
}

# added_features: prints the features that the options of the AVX-512 kernels add. They include those of the
# other kernels.
added_features() {
  local options
  options=$(sed -n '/set(flags_Avx512/,/)/p' "$root/src/CMakeLists.txt" | grep -oE -e '-m(ssse|avx)[a-z0-9]+')
  # shellcheck disable=SC2086
  comm -13 <(features) <(features $options)
}

case $1 in
  old)
    make_old
    refuses "$kind" "$(oldest "$kind")" -D CMAKE_CXX_COMPILER="$work/c++"
    refuses ICU "$(oldest ICU)" -D ICU_INCLUDE_DIR="$work"
    refuses Highway "$(oldest Highway)" -D KELINFRA_HIGHWAY_HEADERS="$work"
    named "GCC $(oldest GNU) or later, Clang $(oldest Clang) or later" docs/install.md README.md
    named "ICU (\|[^|]*\| )?$(oldest ICU) or later" docs/install.md README.md
    named "Highway \|[^|]*\| $(oldest Highway) or later" docs/install.md
    cmake=$(sed -n 's/^cmake_minimum_required(VERSION \(.*\))$/\1/p' "$root/CMakeLists.txt")
    named "CMake $cmake or later" docs/install.md README.md
    ;;
  warnings)
    name=$kind-${5%%.*}
    configure -D KELINFRA_WARNINGS_AS_ERRORS="Other-1;$name" >/dev/null
    grep -q -e '-Werror' "$work/build/build.ninja" || fail "$name is named, and its warnings are not errors"
    for others in "" "Other-1;${name}1"; do
      configure -D KELINFRA_WARNINGS_AS_ERRORS="$others" >/dev/null
      if grep -q -e '-Werror' "$work/build/build.ninja"; then
        fail "<$others> does not name $name, and its warnings are errors"
      fi
    done
    ;;
  kernels)
    # The library must ask the processor for every feature that the compiler may use. CRC32 is a part of
    # SSE4.2. EVEX256 and EVEX512 are not features of a processor: with these macros GCC 14 states the width
    # of AVX-512 vectors.
    asked=$(sed '1,/^bool hasAvx2/d' "$root/src/infra/simd/kelKernelsOfX86.cpp")
    added=$(added_features)
    grep -qx AVX512VBMI <<<"$added" || fail "the compiler's features are not found: $added"
    for feature in $added; do
      [[ $feature =~ ^(CRC32|EVEX256|EVEX512)$ ]] || grep -qw "$feature" <<<"$asked" ||
        fail "the AVX-512 kernels may use $feature, for which kelKernelsOfX86.cpp does not ask"
    done
    configure -D CMAKE_BUILD_TYPE=Release -D CMAKE_CXX_FLAGS=-march=icelake-server >/dev/null
    folder=src/CMakeFiles/kelinfra_objects.dir/infra/simd
    ninja -C "$work/build" $folder/kel{Ssse3,Avx2,Avx512}Kernels.cpp.o >"$work/log" ||
      fail "$(cat "$work/log")"
    for kernels in 'Ssse3 %[yz]mm' 'Avx2 %zmm'; do
      if objdump -d "$work/build/$folder/kel${kernels% *}Kernels.cpp.o" | grep "${kernels#* }"; then
        fail "the kernels for ${kernels% *} use wider registers"
      fi
    done
    ;;
  *) fail "usage: see the head of $0" ;;
esac
