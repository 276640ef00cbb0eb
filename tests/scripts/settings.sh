#!/usr/bin/env bash
# settings.sh COMPILER INCLUDE...: each public header in the first folder refuses, with a sentence, the
# settings that change the size of the C++ library's containers, and accepts the setting that does not. In
# C++14 such a sentence is the first error. Checked containers are accepted only together with the definition
# of a library that was built with them.
set -euo pipefail

compiler=$1
shift
headers=$1
folders=("${@/#/-I}")
failed=0

# accepted HEADER DEFINITION...
accepted() {
  "$compiler" -std=c++17 "${folders[@]}" "${@:2}" -fsyntax-only -x c++ - <<<"#include \"$1\"" || failed=1
}

# refused HEADER FLAG SENTENCE
refused() {
  local output
  local -a preprocess=("$compiler" -std=c++17 "$2" "${folders[@]}" -Wfatal-errors -E -o /dev/null -x c++)
  if output=$("${preprocess[@]}" "$headers/$1" 2>&1); then
    printf '%s: %s is accepted\n' "$1" "$2"
    failed=1
  elif ! grep -qF "$3" <<<"$output"; then
    printf '%s: %s is refused without the sentence "%s":\n%s\n' "$1" "$2" "$3" "$output"
    failed=1
  fi
}

count=0
while read -r header; do
  refused "$header" -D_GLIBCXX_USE_CXX11_ABI=0 "compile without -D_GLIBCXX_USE_CXX11_ABI=0"
  refused "$header" -D_GLIBCXX_DEBUG "use -D_GLIBCXX_ASSERTIONS and not -D_GLIBCXX_DEBUG"
  refused "$header" -DKELINFRA_CHECKED_CONTAINERS "with checked containers: compile with -D_GLIBCXX_DEBUG"
  refused "$header" -std=c++14 "KELINFRA needs C++17 or C++20: compile with -std=c++17"
  accepted "$header" -D_GLIBCXX_ASSERTIONS
  accepted "$header" -D_GLIBCXX_DEBUG -DKELINFRA_CHECKED_CONTAINERS
  count=$((count + 1))
done < <(cd "$headers" && grep -rlE 'KELINFRA_API|kelExport' . --include='*.hpp' | sed 's|^\./||' | sort)
[ "$count" -gt 20 ] || { printf 'only %s headers are found\n' "$count"; failed=1; }
exit $failed
