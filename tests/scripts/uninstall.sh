#!/usr/bin/env bash
# uninstall.sh ROOT: cmake/uninstall.cmake removes the installed files and the folders of the library, and no
# folder of the prefix, whatever its name is.
. "$1/tests/package/looking.sh"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
prefix=$folder/kelinfra/infra
installed=(lib/libKELINFRA.so lib/cmake/KELINFRA/KELINFRAConfig.cmake share/kelinfra/catalogue.json
  share/kelinfra/catalogues/en.properties)
for header in $(cd "$root" && find include -name '*.hpp'); do installed+=("$header"); done

# uninstall: installs empty files and removes them.
uninstall() {
  local file
  mkdir -p "$folder/build"
  for file in "${installed[@]}"; do
    mkdir -p "$(dirname "$prefix/$file")"
    : >"$prefix/$file"
    printf '%s\n' "$prefix/$file" >>"$folder/build/install_manifest.txt"
  done
  cmake -D BINARY_DIR="$folder/build" -P "$root/cmake/uninstall.cmake"
}

# left EXPECTED: the files and folders below the prefix.
left() {
  same "files and folders that are left" "$1" "$(cd "$prefix" && find . -mindepth 1 | LC_ALL=C sort)"
}

uninstall
left "./include
./lib
./lib/cmake
./share"
mkdir -p "$prefix/include/infra/mine"
: >"$prefix/include/infra/mine/a.hpp"
uninstall
left "./include
./include/infra
./include/infra/mine
./include/infra/mine/a.hpp
./lib
./lib/cmake
./share"
