#!/usr/bin/env bash
# recipes.sh ROOT: scripts/recipes reports each recipe that cannot be read.
. "$1/scripts/common.sh"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# refused FILE: scripts/recipes stops when it reads this file, which is damaged.
refused() {
  local output
  rm -rf "$folder/packaging" "$folder/scripts"
  cp -R "$root/packaging" "$root/scripts" "$folder/"
  echo '{ (' >>"$folder/packaging/$1"
  output=$("$folder/scripts/recipes" 2>&1) && die "accepted with damage in $1"
  grep -q '^reading the recipes failed' <<<"$output" || die "damage in $1: $output"
}

refused conan/conanfile.py
refused conan/test_package/conanfile.py
refused vcpkg/kelinfra/vcpkg.json
