# Functions that the project's scripts share. The scripts source this file; it is not run by itself. A script
# prints one line for each step. The output of the tools goes to build/logs; if a step fails, the end of its
# output is shown.

set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
logs=$root/build/logs
jobs=$(nproc)

say() { printf '%s\n' "$*"; }

die() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# need_writable FOLDER: makes the folder if it does not exist.
need_writable() {
  mkdir -p "$1" 2>/dev/null && [ -w "$1" ] ||
    die "cannot write to $1: make that folder yours, or work in a copy of the checkout"
}
need_writable "$logs"

# log_of NAME: the log of a step.
log_of() { printf '%s/%s.log\n' "$logs" "$(printf '%s' "$1" | tr -c 'A-Za-z0-9' '-' | cut -c 1-80)"; }

# quiet_step NAME COMMAND...: runs a command and writes its output to its log. If the command is a function,
# the shell does not stop at a failure inside it: join its commands by &&.
quiet_step() {
  local name=$1 start=$SECONDS
  shift
  printf '%s ...\n' "$name"
  "$@" >"$(log_of "$name")" 2>&1 || return
  if ((SECONDS - start >= 5)); then printf '%s: done in %d s\n' "$name" $((SECONDS - start)); fi
}

# step NAME COMMAND...: as quiet_step, and shows the end of the log if the command fails.
step() {
  local log
  quiet_step "$@" && return
  log=$(log_of "$1")
  printf '%s failed; the end of %s:\n' "$1" "${log#"$root"/}" >&2
  tail -n 60 "$log" >&2
  return 1
}

# allow_skip SCRIPT: runs a script that ends with status 77 if this machine cannot run it. The status 77 is
# only reported. In CI, and if the user asked for the script, so that $by_name is not empty, it is a failure.
allow_skip() {
  local status=0
  "$@" || status=$?
  if [ "$status" = 77 ] && [ -z "${by_name-}${CI-}" ]; then
    say "$(basename "$1"): not run"
    return
  fi
  return "$status"
}

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

# need_root WHAT [ADVICE]: ends the script if it cannot act as root; the message says that it cannot WHAT.
need_root() {
  [ "$(id -u)" = 0 ] || { command -v sudo >/dev/null && sudo true; } ||
    die "cannot $1 without root's rights or sudo: ${2:-run this as root}"
}

apt_install() {
  as_root apt-get update -qq &&
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "$@"
}

# archive: prints the address of the main Debian archive from which this machine's packages come.
archive() {
  local uri wanted=('Created-By: Packages' 'Label: Debian' 'Component: main') format='$(REPO_URI)'
  uri=$(apt-get indextargets --format "$format" "${wanted[@]}" | sed -n 1p)
  if [ -z "$uri" ]; then
    need_root "read the package lists"
    as_root apt-get update -qq >&2
    uri=$(apt-get indextargets --format "$format" "${wanted[@]}" | sed -n 1p)
  fi
  [ -n "$uri" ] || die "this machine's package settings name no archive of Debian"
  printf '%s\n' "$uri"
}

# own_apt FOLDER: sets $apt to options with which apt-get reads its sources from FOLDER/parts and keeps
# everything that it downloads in FOLDER. The package lists of the system do not change.
own_apt() {
  mkdir -p "$1/parts" "$1/lists/partial" "$1/cache/archives/partial"
  apt=(-o Dir::Etc::SourceList=/dev/null -o Dir::Etc::SourceParts="$1/parts" -o Dir::State::Lists="$1/lists"
    -o Dir::Cache="$1/cache" -o APT::Sandbox::User="$(id -un)")
}

# need PACKAGE...: installs the Debian packages that are missing.
need() {
  local package name missing=()
  command -v dpkg-query >/dev/null ||
    die "this is not a Debian system; install the equivalents of these packages by hand: $*"
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
  done
  if [ ${#missing[@]} = 0 ]; then return; fi
  need_root "install packages" "ask an administrator to run: apt-get install ${missing[*]}"
  name="installing ${missing[*]}"
  quiet_step "$name" apt_install "${missing[@]}" ||
    die "cannot install ${missing[*]}: connect this machine to its package server, then run this again" \
      "(the messages of apt are in $(log_of "$name"))"
}

# need_programs PROGRAM...: ends the script if a program of an installed package is missing, for example
# because somebody removed it by hand.
need_programs() {
  local program owner
  for program in "$@"; do
    if command -v "$program" >/dev/null; then continue; fi
    owner=$(dpkg-query -S "$(readlink -f "/usr/bin/$program")" 2>/dev/null | sed 's/:.*//') || true
    die "the program $program is missing, though its package is installed; run as root:" \
      "apt-get install --reinstall ${owner:-with the name of that package}"
  done
}

toolchain=(g++ cmake ninja-build libicu-dev libhwy-dev pkg-config)
test_tools=(git libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev nlohmann-json3-dev abigail-tools
  binutils gdb icu-devtools locales patch python3 default-jdk-headless reuse
  valgrind)

need_toolchain() {
  need "${toolchain[@]}"
  need_programs g++ cmake ninja pkg-config
}

need_test_tools() {
  need "${toolchain[@]}" "${test_tools[@]}"
  need_toolchain
  need_programs ctest gdb git python3 java nm objdump readelf c++filt uconv
}

# need_clang: installs Debian's default Clang and the libraries of its sanitizers.
need_clang() {
  need clang
  need "libclang-rt-$(clang -dumpversion | cut -d . -f 1)-dev"
}

mingw=x86_64-w64-mingw32

need_windows_toolchain() {
  need_test_tools
  need g++-mingw-w64-x86-64-posix wine wine64 dpkg-dev googletest
}

# windows_library NAME: prints the folder in which scripts/windows-libraries puts a library. The name of the
# folder contains the versions of the library and of the compiler.
windows_library() {
  local package
  case $1 in
    icu) package=libicu-dev ;;
    googletest) package=googletest ;;
    benchmark) package=libbenchmark-dev ;;
  esac
  printf '%s/build/windows-libraries/%s-%s-gcc-%s\n' "$root" "$1" \
    "$(dpkg-query -W -f='${source:Version}' "$package")" \
    "$(dpkg-query -W -f='${Version}' gcc-mingw-w64-x86-64-posix)"
}

# build PRESET [CMAKE OPTION...]: configures and builds.
build() {
  local preset=$1
  shift
  need_writable "$root/build/$preset"
  step "configuring $preset" cmake --preset "$preset" -S "$root" "$@"
  step "building $preset" cmake --build "$root/build/$preset" -j "$jobs"
}

# build_windows [TARGET...]: builds for Windows with the libraries of scripts/windows-libraries. The build
# finds these libraries in its own folder. So CMake hands relative paths to the linker. The linker sorts the
# DLLs that a program imports by these paths, so the result does not depend on the place of the project.
build_windows() {
  local library prefixes=()
  mkdir -p "$root/build/windows"
  ln -sfn ../windows-libraries "$root/build/windows/libraries"
  for library in icu googletest benchmark; do
    prefixes+=("$root/build/windows/libraries/$(basename "$(windows_library "$library")")")
  done
  step "configuring windows" cmake --preset windows -S "$root" \
    "-DCMAKE_PREFIX_PATH=$(IFS=';' && echo "${prefixes[*]}")"
  step "building windows" cmake --build "$root/build/windows" -j "$jobs" ${1:+--target "$@"}
}

# build_native_peers: builds the Linux programs with which the tests for Windows communicate.
build_native_peers() {
  step "configuring release" cmake --preset release -S "$root"
  step "building the peers of the Windows programs" \
    cmake --build "$root/build/release" -j "$jobs" --target documentServer documentClient kelinfra_frames
}

# use_wine: sets the environment so that Wine uses a folder of this build, opens no windows, prints no
# messages and does not offer to download anything.
use_wine() {
  export WINEPREFIX=$root/build/wine WINEDEBUG=-all LC_ALL=C.UTF-8
  export WINEDLLOVERRIDES="mscoree=;mshtml=;winemenubuilder.exe="
  unset DISPLAY WAYLAND_DISPLAY
  [ -f "$WINEPREFIX/system.reg" ] || step "preparing Wine" wine wineboot --init
  # Wine's services run as long as any Wine program runs. They keep the output of the first program open, and
  # ctest would wait for the end of this output. So the first program is one whose output nobody reads; it
  # runs until this script ends.
  exec {wine_session}> >(exec wine cmd >/dev/null 2>&1)
  wine cmd /c exit >/dev/null 2>&1
}

# summary LOG...: reads the output of test programs, each of which is followed by a line "ended with status
# N". Prints the numbers of tests that passed, failed and were skipped, then the names of the tests that
# failed. If a test did not end, it counts as failed, and so do the tests of its program that come after it. A
# program ends with status 77 if the processor lacks its kernels.
summary() {
  awk '
    function finish() {
      if (file == "" || status == 77) return
      if (running != "") names = names running " (did not end, status " status ")\n"
      else if (status > 1 || !started) names = names file " (status " status ")\n"
      lost = started - seen
      failed += lost > 0 ? lost : status > 1 || !started
    }
    FNR == 1 { finish(); file = FILENAME; started = seen = status = 0; running = "" }
    /^\[==========\] Running [0-9]+ tests? from/ { started = $3 }
    /^\[ RUN      \] / { running = $4 }
    /^\[(       OK |  FAILED  |  SKIPPED )\] .* ms\)$/ {
      ++seen
      running = ""
      if (/OK/) ++passed
      else if (/SKIPPED/) ++skipped
      else { ++failed; names = names $4 "\n" }
    }
    /^ended with status / { status = $4 }
    END { finish(); printf "%d %d %d\n%s", passed, failed, skipped, names }' "$@"
}

# count_whole_tests LOG: prints the numbers of tests that passed and failed, from a log of ctest in which each
# program ran as a whole. It counts the individual tests of the programs that ran to their end, and each other
# test of ctest. Programs that were skipped because the processor lacks an instruction set are not counted.
# Prints two numbers.
count_whole_tests() {
  tr -d '\r' <"$1" | awk '
    /^[0-9]+: \[==========\] Running [0-9]+ tests? from/ { started[$1 + 0] += $4 }
    /^[0-9]+: \[       OK \] / { good[$1 + 0]++ }
    /^ *[0-9]+\/[0-9]+ Test +#[0-9]+: / {
      match($0, /#[0-9]+/)
      id = substr($0, RSTART + 1, RLENGTH - 1) + 0
      passes = / Passed +[0-9.]+ sec/
      if (/\*\*\*Skipped/) next
      passed += id in started ? good[id] : passes
      failed += id in started ? started[id] - good[id] : !passes
      # In this case a program failed although each of its tests passed.
      if (!passes && id in started && started[id] == good[id]) failed++
    }
    END { print passed + 0, failed + 0 }'
}

# failed_whole_tests LOG: prints from a log of ctest the output of each failed test, and the last output of
# each program that failed after its tests.
failed_whole_tests() {
  tr -d '\r' <"$1" | awk '
    /^[0-9]+: / { id = $1 + 0 }
    /^[0-9]+: \[( RUN      |       OK |==========)\] / { said[id] = "" }
    /^[0-9]+: / { said[id] = said[id] $0 "\n" }
    /^[0-9]+: \[  FAILED  \] .* ms\)$/ { printf "%s", said[id]; said[id] = "" }
    /^ *[0-9]+\/[0-9]+ Test +#[0-9]+: .*\*\*\*/ && !/\*\*\*Skipped/ {
      match($0, /#[0-9]+/)
      printf "%s%s\n", said[substr($0, RSTART + 1, RLENGTH - 1) + 0], $0
    }'
}

# count_tests LOG: prints the numbers of tests that passed and failed, from a log in which ctest ran each test
# separately.
count_tests() {
  local total failed skipped
  total=$(sed -n 's/.*tests failed out of \([0-9]*\)$/\1/p' "$1")
  failed=$(sed -n 's/.*, \([0-9]*\) tests failed out of .*/\1/p' "$1")
  skipped=$(grep -c '\*\*\*Skipped' "$1" || true)
  echo "$((total - failed - skipped)) $((failed))"
}

# failed_tests LOG
failed_tests() { grep -vE '^ *[0-9]+/[0-9]+ Test .*Passed|^ *Start ' "$1"; }

# ctest_into LOG PRESET [CTEST OPTION...]
ctest_into() {
  local log=$1
  shift
  (cd "$root" && ctest --preset "$@") >"$log" 2>&1 || true
}

# run_tests PRESET [count_whole_tests failed_whole_tests]: runs the tests. Sets $passed and $failed to the
# numbers of tests, and $tally to a sentence with both. Tests of kernels that the processor cannot run are
# skipped and not counted. The failed tests are shown and run a second time, one at a time. They still count
# as failed; $tally says how many of them failed again.
run_tests() {
  local preset=$1 count=${2:-count_tests} show=${3:-failed_tests} log=$logs/tests-$1.log skipped again
  say "testing $preset ..."
  ctest_into "$log" "$preset" -j "$jobs"
  read -r passed failed < <("$count" "$log")
  if [ "$passed" = 0 ] || ! grep -q 'tests failed out of' "$log"; then
    tail -n 40 "$log" >&2
    die "the tests of $preset did not run"
  fi
  skipped=$(grep -c '\*\*\*Skipped' "$log" || true)
  if [ "$skipped" != 0 ]; then say "$skipped tests were skipped, see ${log#"$root"/}"; fi
  tally="$passed passed, $failed failed"
  [ "$failed" != 0 ] || return 0
  say "testing $preset: the failed tests again, one at a time ..."
  ctest_into "$logs/tests-$preset-again.log" "$preset" --rerun-failed
  read -r _ again < <("$count" "$logs/tests-$preset-again.log")
  tally+=", $again of them again when run alone"
  { "$show" "$log" || true; } | tail -n 100 >&2
}

# run_whole_tests PRESET: runs each test program as a whole. This is used with Wine, with sanitizers and for
# coverage.
run_whole_tests() { run_tests "$1" count_whole_tests failed_whole_tests; }
