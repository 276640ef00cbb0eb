#!/usr/bin/env bash
# versions.sh [ROOT]: each recipe and debian/changelog have the version of CMakeLists.txt.
set -euo pipefail
cd "${1-$(dirname "$0")/../..}"

version=$(sed -n 's/^project(KELINFRA VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
[ -n "$version" ] || { echo "CMakeLists.txt has no version"; exit 1; }
failed=0

# names FILE LINE: the file has exactly that line.
names() {
  grep -qxF -- "$2" "$1" || { printf '%s does not have the line: %s\n' "$1" "$2"; failed=1; }
}

names packaging/conan/conanfile.py "    version = \"$version\""
names packaging/vcpkg/kelinfra/vcpkg.json "  \"version\": \"$version\","
names packaging/meson/kelinfra.wrap "directory = kelinfra-$version"
names packaging/meson/kelinfra.wrap "revision = v$version"

# begins FILE TEXT: the first line of the file begins with the text.
begins() {
  [[ $(head -n 1 "$1") == "$2"* ]] || { printf '%s does not begin with: %s\n' "$1" "$2"; failed=1; }
}

begins packaging/meson/packagefiles/kelinfra/meson.build "project('kelinfra', 'cpp', version: '$version', "
begins debian/changelog "kelinfra ($version) "
exit $failed
