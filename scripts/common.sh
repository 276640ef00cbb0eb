# Shared by the project's scripts: sourced, not run.
# Says what goes on in a line a step, keeps the noise of tools in build/logs, and shows it when a step fails.

set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
logs=$root/build/logs
mkdir -p "$logs"
jobs=$(nproc)

say() { printf '%s\n' "$*"; }

die() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# step NAME COMMAND...: runs a command whose output is of interest only when it fails.
step() {
  local name=$1 log start
  shift
  log=$logs/$(printf '%s' "$name" | tr -c 'A-Za-z0-9' '-').log
  start=$SECONDS
  printf '%s ...\n' "$name"
  if ! "$@" >"$log" 2>&1; then
    printf '%s failed; the end of %s:\n' "$name" "${log#"$root"/}" >&2
    tail -n 60 "$log" >&2
    return 1
  fi
  if ((SECONDS - start >= 5)); then printf '%s: done in %d s\n' "$name" $((SECONDS - start)); fi
}

as_root() {
  if [ "$(id -u)" = 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    die "packages are missing, and installing them needs root or sudo"
  fi
}

apt_install() {
  as_root apt-get update -qq &&
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "$@"
}

# need PACKAGE...: installs the Debian packages that are missing.
need() {
  local package missing=()
  command -v dpkg-query >/dev/null || die "this is no Debian system; install by hand what corresponds to: $*"
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
  done
  if [ ${#missing[@]} = 0 ]; then return; fi
  step "installing ${missing[*]}" apt_install "${missing[@]}" ||
    die "could not install ${missing[*]}: is the network there, and are the package lists right?"
}

need_toolchain() {
  need g++ cmake ninja-build libicu-dev libhwy-dev
  local version
  version=$(g++ -dumpversion)
  [ "${version%%.*}" -ge 12 ] || die "g++ $version is too old: C++20 as used here needs GCC 12 or later"
}

need_test_tools() {
  need_toolchain
  need libgtest-dev libgmock-dev libbenchmark-dev binutils pkg-config icu-devtools locales python3
  need openjdk-17-jdk-headless
}

# build PRESET [CMAKE OPTION...]: configures and builds.
build() {
  local preset=$1
  shift
  step "configuring $preset" cmake --preset "$preset" -S "$root" "$@"
  step "building $preset" cmake --build "$root/build/$preset" -j "$jobs"
}

# run_tests PRESET [CTEST OPTION...]: runs the tests and leaves their counts in $passed and $failed. Tests of kernels that
# the processor lacks are skipped, and count as neither.
run_tests() {
  local preset=$1 log total skipped
  shift
  log=$logs/tests-$preset.log
  say "testing $preset ..."
  (cd "$root" && ctest --preset "$preset" -j "$jobs" "$@") >"$log" 2>&1 || true
  total=$(sed -n 's/.*tests failed out of \([0-9]*\)$/\1/p' "$log")
  failed=$(sed -n 's/.*, \([0-9]*\) tests failed out of .*/\1/p' "$log")
  if [ -z "$total" ] || [ "$total" = 0 ]; then
    tail -n 40 "$log" >&2
    die "the tests of $preset did not run"
  fi
  skipped=$(grep -c '\*\*\*Skipped' "$log" || true)
  passed=$((total - failed - skipped))
  if [ "$skipped" != 0 ]; then say "$skipped tests were skipped, see ${log#"$root"/}"; fi
  if [ "$failed" != 0 ]; then grep -vE '^ *[0-9]+/[0-9]+ Test .*Passed|^ *Start ' "$log" | tail -n 150 >&2; fi
}
