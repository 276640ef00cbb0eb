#!/usr/bin/env bash
# msvc.sh CLANG INCLUDE...: each public header in the first folder compiles in the dialect of Microsoft's
# compiler, and without extensions of GNU.
set -euo pipefail

clang=$1
shift
headers=$1
folders=(-I"$headers")
for folder in "${@:2}"; do folders+=(-idirafter "$folder"); done
# The last line: extensions that Microsoft has too, a complaint of libstdc++ about the dialect, and what
# libstdc++ expects of a compiler: this dialect lacks a type and does not define the macros of <atomic>.
dialect=(-fms-compatibility -fms-compatibility-version=19.30 -fms-extensions -fdelayed-template-parsing
  -pedantic-errors -Wall -Wextra -Wgnu -Wlanguage-extension-token -Werror
  -Wno-microsoft "-Wno-#warnings" -U__SIZEOF_INT128__)
while read -r _ name value; do
  [[ $name != __GCC_ATOMIC_* ]] || dialect+=("-D$name=$value")
done < <("$clang" -std=c++20 -dM -E -x c++ /dev/null)
failed=0

# compiles STANDARD TEXT
compiles() { "$clang" "-std=$1" "${folders[@]}" "${dialect[@]}" -fsyntax-only -x c++ - <<<"$2"; }

for extension in 'int f(int n) { int a[n]; return a[0]; }' 'int f(int a) { return ({ a; }); }' \
  '__extension__ typedef __int128 Wide; inline typeof(1) f() { return 1; }'; do
  if compiles c++17 "$extension" >/dev/null 2>&1; then
    printf 'accepted, although it is an extension of GNU: %s\n' "$extension"
    failed=1
  fi
done

count=0
while read -r header; do
  for standard in c++17 c++20; do
    compiles "$standard" "#include \"$header\"" || { printf '%s, %s\n' "$header" "$standard" && failed=1; }
  done
  # Only kelExport.hpp may contain attributes of a single compiler, because other compilers do not know them.
  if [ "$header" != infra/kelExport.hpp ] &&
    grep -nE '__attribute__|\[\[(gnu|clang)::' "$headers/$header"; then
    printf '%s has an attribute of a compiler\n' "$header"
    failed=1
  fi
  count=$((count + 1))
done < <(cd "$headers" && find . -name '*.hpp' | sed 's|^\./||' | sort)
[ "$count" -gt 25 ] || { printf 'only %s headers are found\n' "$count"; failed=1; }
exit $failed
