#!/usr/bin/env bash
# Builds and runs the README's program with an installed package, in each way that the package offers.
#   installed.sh system             the package that is installed in the system
#   installed.sh FOLDER             the package that is installed into a folder
#   installed.sh FOLDER COMPILER    the same for Windows: cross-built with that compiler, and run by Wine
# The packages of Debian, the ZIP for Windows and the recipes in packaging are tested by this script.
. "$(dirname "$0")/looking.sh"

package=$1
compiler=${2-g++}
work=${KELINFRA_WORK-${AUTOPKGTEST_TMP-$root/build/installed-test}}
rm -rf "$work"/{find_package,pkg-config}-*
mkdir -p "$work"

# use NAME MODE STANDARD [CMAKE DEFINITION...]
use() {
  local mode=$2 standard=$3 name="a program with $package, $1"
  step "$name" consume "$mode" "$standard" "$compiler" "$package" "${@:4}"
}

if [ $# = 2 ]; then
  [ "${WINEPREFIX-}" = "$root/build/wine" ] || use_wine
  use "by CMake, C++17" find_package 17 -D WINE=wine
  exit
fi
use "by CMake, C++17" find_package 17
use "by CMake, C++20" find_package 20
use "by pkg-config" pkg-config 17
archives=$package
[ "$package" != system ] || archives=/usr/lib
if [ -n "$(find "$archives" -name libKELINFRA.a -print -quit)" ]; then
  use "linked statically, by CMake" find_package 20 -D STATIC=ON
  use "linked statically, by pkg-config" pkg-config 20 -D STATIC=ON
fi
say "programs build with $package and run"
