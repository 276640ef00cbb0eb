#!/usr/bin/env bash
# count.sh ROOT: tests the functions of scripts/common.sh that count and show the tests in logs of programs
# that run as a whole.
. "$1/scripts/common.sh"

log=$(mktemp)
trap 'rm -f "$log"' EXIT

# expect NAME "PASSED FAILED" reads a log from standard input.
expect() {
  cat >"$log"
  local counted
  counted=$(count_whole_tests "$log")
  [ "$counted" = "$2" ] || die "$1: counted $counted and not $2"
}

expect "all pass, with a carriage return in each line" "3 0" <<END
$(printf '1: [==========] Running 2 tests from 1 test suite.\r')
$(printf '1: [       OK ] A.One (0 ms)\r')
2: [==========] Running 1 test from 1 test suite.
1: [       OK ] A.Two (0 ms)
1/2 Test  #1: program.1 ..........   Passed    0.53 sec
2: [       OK ] B.One (0 ms)
2/2 Test  #2: program.2 ..........   Passed    0.53 sec
END

expect "one fails" "1 1" <<'END'
7: [==========] Running 2 tests from 1 test suite.
7: [       OK ] A.One (0 ms)
7: [  FAILED  ] A.Two (0 ms)
7: [  FAILED  ] A.Two
1/1 Test #7: program ..........***Failed    0.53 sec
END

expect "a crash in the middle loses all that would have come" "1 4" <<'END'
3: [==========] Running 5 tests from 2 test suites.
3: [       OK ] A.One (0 ms)
3: [ RUN      ] A.Two
1/1 Test #3: program ..........***Exception: SegFault  0.53 sec
END

expect "a hang is a failure" "1 1" <<'END'
3: [==========] Running 2 tests from 2 test suites.
3: [       OK ] A.One (0 ms)
3: [ RUN      ] A.Two
1/1 Test #3: program ..........***Timeout 600.08 sec
END

expect "a program that fails after its tests" "2 1" <<'END'
3: [==========] Running 2 tests from 2 test suites.
3: [       OK ] A.One (0 ms)
3: [       OK ] A.Two (0 ms)
1/1 Test #3: program ..........***Failed    0.53 sec
END

expect "a test that is skipped by itself does not pass" "1 1" <<'END'
3: [==========] Running 2 tests from 2 test suites.
3: [       OK ] A.One (0 ms)
3: [  SKIPPED ] A.Two (0 ms)
1/1 Test #3: program ..........   Passed    0.53 sec
END

expect "tests of other kinds count as one each, skipped ones not at all" "2 3" <<'END'
 1/6 Test  #1: Library.ExportsExactlyTheListedNames ...   Passed    0.03 sec
 2/6 Test  #2: Library.ReadsNoEnvironment .............***Failed    0.03 sec
 3/6 Test  #3: kernels.avx512 .........................***Skipped   0.03 sec
 4/6 Test #14: Examples.AClientIsAnswered .............   Passed   10.03 sec
 5/6 Test #15: never.built ............................***Not Run   0.00 sec
 6/6 Test #16: dies.at.once ...........................Subprocess aborted***Exception:   0.10 sec
END

cat >"$log" <<'END'
3: [==========] Running 3 tests from 2 test suites.
3: [ RUN      ] A.One
4: [ RUN      ] B.One
3: [       OK ] A.One (0 ms)
3: [ RUN      ] A.Two
4: about B
3: file.cpp:7: Failure
3: [  FAILED  ] A.Two (0 ms)
3: [ RUN      ] A.Three
3: [       OK ] A.Three (0 ms)
3: [  FAILED  ] A.Two
1/2 Test #3: program ..........***Failed    0.53 sec
4: [       OK ] B.One (0 ms)
4: [ RUN      ] B.Two
4: a crash
2/2 Test #4: program ..........***Exception: SegFault  0.53 sec
END
shown=$(failed_whole_tests "$log")
[ "$shown" = "3: [ RUN      ] A.Two
3: file.cpp:7: Failure
3: [  FAILED  ] A.Two (0 ms)
3: [       OK ] A.Three (0 ms)
3: [  FAILED  ] A.Two
1/2 Test #3: program ..........***Failed    0.53 sec
4: [ RUN      ] B.Two
4: a crash
2/2 Test #4: program ..........***Exception: SegFault  0.53 sec" ] || die "of failed tests it shows:
$shown"

# Simulates a run in which ctest prints $first, and prints $again when the failed tests run a second time.
logs=$(mktemp -d)
trap 'rm -rf "$log" "$logs"' EXIT
ctest() { case $* in *--rerun-failed*) cat "$logs/again" ;; *) cat "$logs/first" ;; esac; }

# expect_tally NAME "FIRST" "AGAIN" "TALLY"
expect_tally() {
  printf '%s\n' "$2" >"$logs/first"
  printf '%s\n' "$3" >"$logs/again"
  run_tests release >/dev/null 2>&1
  [ "$tally" = "$4" ] && [[ $tally = "$passed passed, $failed failed"* ]] ||
    die "$1: the tally is $tally and not $4"
}

all="100% tests passed, 0 tests failed out of 2"
one=" 2/2 Test #2: B.One ...***Failed  0.1 sec
50% tests passed, 1 tests failed out of 2"
expect_tally "all pass" "$all" "" "2 passed, 0 failed"
expect_tally "one fails twice" "$one" "0% tests passed, 1 tests failed out of 1" \
  "1 passed, 1 failed, 1 of them again when run alone"
expect_tally "one fails beside others only" "$one" "100% tests passed, 0 tests failed out of 1" \
  "1 passed, 1 failed, 0 of them again when run alone"

# A program that runs no test counts as a failure in a summary.
printf 'kelinfra_kernel_tests --kernels=NAME\n\nended with status 1\n' >"$log"
[ "$(summary "$log")" = "0 1 0
$log (status 1)" ] || die "the summary of a log without tests: $(summary "$log")"
