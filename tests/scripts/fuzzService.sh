#!/usr/bin/env bash
# fuzzService.sh ROOT: fuzz/build makes fuzzers with the compiler, the flags and the engine of the environment
# and puts seeds, dictionaries and libraries beside them.
. "$1/scripts/common.sh"

export WORK=$root/build/fuzz-service OUT=$root/build/fuzz-service/out
work=$WORK
rm -rf "$OUT"

fails() { # SENTENCE COMMAND...
  local output
  output=$("${@:2}" 2>&1) && die "this should fail: ${*:2}"
  grep -qF -- "$1" <<<"$output" || die "expected '$1', but: $output"
}

# seeds NAME: a folder with the seeds that belong to a program.
seeds() {
  rm -rf "$work/seeds" && mkdir -p "$work/seeds"
  python3 -m zipfile -e "$OUT/kel$1Fuzzer_seed_corpus.zip" "$work/seeds"
  [ "$(ls "$work/seeds" | wc -l)" = "$(ls "$root/fuzz/corpus/${1,,}" | wc -l)" ] ||
    die "seeds of $1 are missing"
  printf '%s\n' "$work/seeds"
}

fails "set OUT" env -u OUT "$root/fuzz/build"
fails "memory sanitizer" env SANITIZER=memory "$root/fuzz/build"

# Without an engine, with another compiler: each program runs its seeds.
step "building all fuzzers without an engine" env -u LIB_FUZZING_ENGINE SANITIZER=none CXX=g++ \
  CXXFLAGS="-O0" WORK="$work/standalone" "$root/fuzz/build"
programs=0
for source in "$root"/fuzz/kel*Fuzzer.cpp; do
  name=$(basename "$source" Fuzzer.cpp) && name=${name#kel}
  folder=$(seeds "$name")
  count=$(ls "$folder" | wc -l)
  [ "$count" -gt 0 ] || die "$name has no seeds"
  result=$("$OUT/kel${name}Fuzzer" "$folder"/*)
  [ "$result" = "$count inputs" ] || die "$name: expected '$count inputs', but: $result"
  programs=$((programs + 1))
done
for dictionary in "$root"/fuzz/dictionaries/*.dict; do
  grep -qix ".*/kel$(basename "$dictionary" .dict)Fuzzer.dict" <<<"$(ls "$OUT"/*.dict)" ||
    die "$dictionary is not copied"
done
fails "cannot read /nowhere" "$OUT/kelUTF8Fuzzer" /nowhere
fails "needs the names" "$OUT/kelUTF8Fuzzer"
grep -q "libicuuc.* => $OUT/lib/" <<<"$(ldd "$OUT/kelUTF8Fuzzer")" ||
  die "the program does not find ICU in lib"

# With an engine and sanitizers: the flags reach the library and the fuzzer, and the engine runs.
step "building a fuzzer with an engine" env SANITIZER=address CXX=clang++ \
  LIB_FUZZING_ENGINE=-fsanitize=fuzzer CXXFLAGS="-O1 -g1 -fsanitize=address,undefined,fuzzer-no-link" \
  WORK="$work/engine" "$root/fuzz/build" Literal
"$OUT/kelLiteralFuzzer" -runs=2000 -dict="$OUT/kelLiteralFuzzer.dict" "$(seeds Literal)" \
  >"$work/run.log" 2>&1 || die "the fuzzer fails: $(tail -n 20 "$work/run.log")"
grep -q '^Done 2[0-9]* runs' "$work/run.log" && grep -q 'Dictionary: ' "$work/run.log" ||
  die "the engine did not run: $(tail -n 5 "$work/run.log")"
grep -q 'KELINFRA_REPORTED_BLOCKS:INTERNAL=1' "$work/engine/kelinfra/CMakeCache.txt" ||
  die "the fuzzer of frames would not see the sizes of blocks"
nm "$work/engine/kelinfra/src/CMakeFiles/kelinfra_objects.dir/infra/oss/kelDataBuffer.cpp.o" >"$work/names"
grep -q __asan_init "$work/names" && grep -q __sanitizer_cov "$work/names" ||
  die "the library is not instrumented"
say "$programs fuzzers run without an engine, and one with an engine of the environment"
