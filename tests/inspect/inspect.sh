#!/usr/bin/env bash
# Inspects a built library or object. Each command fails unless its statement holds.
#   inspect.sh exports LIBRARY LIST      the exported names are exactly those of the list
#   inspect.sh list-exports LIBRARY      prints that list
#   inspect.sh layout OBJECT HEADERS LIST
#                                        the public classes in the folder HEADERS have the sizes, alignments
#                                        and offsets of the list; OBJECT is compiled from publicClasses.cpp
#   inspect.sh list-layout OBJECT HEADERS prints that list
#   inspect.sh data LIBRARY NAME...      each name is exported and names an object, not a function
#   inspect.sh initialisers LIBRARY      loading the library constructs ossOut and nothing else
#   inspect.sh imports LIBRARY           the library calls no function that reads the environment or a file,
#                                        or that starts a thread
#   inspect.sh traced-call OBJECT        the fast path of a traced call: two tests of at most four
#                                        instructions
#   inspect.sh threads LIBRARY           each thread has at most 64 bytes of static storage for the library
#   inspect.sh hardening LIBRARY OBJECT  the library has the hardening that compiler and linker offer, and the
#                                        object, compiled with its options, has a checked call
#   inspect.sh control-flow OBJECT...    each object says that its jumps and returns are protected (x86-64)
#   inspect.sh wide OBJECT...            each object defines one table of kernels, and nothing else that other
#                                        objects could share
set -euo pipefail
export LC_ALL=C

fail() {
  printf '%s\n' "$*" >&2
  exit 1
}

mingw=x86_64-w64-mingw32

# exported LIBRARY: the names of its exports.
exported() {
  case $1 in
    *.dll)
      "$mingw-objdump" -p "$1" |
        sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t*\[ *[0-9]*\].* //p'
      ;;
    *) nm -D --defined-only --format=just-symbols "$1" | sed 's/@.*//' | grep -v '^KELINFRA_[0-9]*$' ;;
  esac
}

# imported LIBRARY: the names that it imports from other libraries.
imported() {
  case $1 in
    *.dll)
      "$mingw-objdump" -p "$1" |
        awk '/^\tvma:.*Member-Name/ { on = 1; next } NF < 3 { on = 0 } on { print $3 }'
      ;;
    *) nm -D --undefined-only --format=just-symbols "$1" | sed 's/@.*//' ;;
  esac
}

# initialisers LIBRARY: the number of functions that run when it is loaded.
initialisers() {
  case $1 in
    *.dll)
      # Between the two words that mark the ends of the list.
      local start end
      start=$("$mingw-nm" "$1" | awk '$3 == "__CTOR_LIST__" { print $1 }')
      end=$("$mingw-nm" "$1" | awk '$3 == "__DTOR_LIST__" { print $1 }')
      printf '%s\n' $(((16#$end - 16#$start) / 8 - 2))
      ;;
    *)
      local size
      size=$(readelf -SW "$1" | awk '{ for (i = 1; i <= NF; ++i) if ($i == ".init_array") print $(i + 4) }')
      printf '%s\n' $((16#$size / 8))
      ;;
  esac
}

# The names of ICU's classes contain its major version.
without_icu_version() { sed -E 's/\<icu_[0-9]+::/icu::/g'; }

# Demangled: the list is readable and does not depend on the symbols that a compiler emits for a constructor.
list_exports() {
  exported "$1" | c++filt | without_icu_version | sort -u
}

# list_layout OBJECT HEADERS
list_layout() {
  local list
  list=$(gdb -nx -batch -iex "python headers = '$2'" -x "$(dirname "$0")/layout.py" "$1" 2>&1) &&
    grep -q '^tarvo::.*: size' <<<"$list" || fail "gdb cannot list the classes: $list"
  if grep 'is not described$' <<<"$list" >&2; then fail "publicClasses.cpp leaves out these classes"; fi
  printf '%s\n' "$list"
}

case ${1:-} in
  list-layout) list_layout "$2" "$3" ;;
  layout)
    list=$(list_layout "$2" "$3")
    difference=$(diff <(printf '%s\n' "$list") "$4") ||
      fail "< is the layout, > is the listed one (docs/testing.md, \"ABI gate\", says when to renew the list):
$difference"
    ;;
  list-exports) list_exports "$2" ;;
  exports)
    difference=$(diff <(list_exports "$2") <(without_icu_version <"$3" | sort -u)) ||
      fail "< is exported and not listed, > is listed and not exported (scripts/exports renews the list):
$difference"
    ;;
  data)
    library=$2
    shift 2
    [ $# -gt 0 ] || fail "no names"
    exports=$(list_exports "$library")
    kinds=$(nm -C "$library" | sed 's/^[0-9a-f]* //')
    for name; do
      grep -qxF "$name" <<<"$exports" || fail "$name is not exported"
      grep -qxE "[BDGRSV] $name" <<<"$kinds" || fail "$name is not data"
    done
    ;;
  initialisers)
    # One entry belongs to the compiler's start-up code, one to the print stream's source: ossOut and the
    # start of std::cerr.
    entries=$(initialisers "$2")
    constructors=$(nm "$2" | sed -n 's/.* \(_GLOBAL__sub_I_.*\)/\1/p')
    case $constructors in
      _GLOBAL__sub_I_kelPrintStream.cpp | _GLOBAL__sub_I__ZN5tarvo3oss6ossOutE) [ "$entries" = 2 ] && exit ;;
    esac
    fail "$entries entries in .init_array; constructors: ${constructors:-none by name}"
    ;;
  imports)
    names=$(imported "$2" | c++filt)
    grep -qx _Unwind_Resume <<<"$names" || fail "the list of what the library calls cannot be read"
    forbidden='(secure_|_w?)?getenv(_s)?|_*w?environ|GetEnvironment.*|Reg(Open|Query).*'
    forbidden+='|_?w?fopen(64|_s)?|_?w?s?open(64|at|_s)?|freopen|std::.*filebuf.*|CreateFile.*'
    forbidden+='|pthread_create|thrd_create|std::thread::.*|CreateThread|_beginthread(ex)?'
    found=$(grep -xE "$forbidden" <<<"$names" || true)
    [ -z "$found" ] || fail "calls $found"
    ;;
  traced-call)
    code=$(objdump -d --no-show-raw-insn --disassemble=tracedCall "$2" |
      sed -n '/<tracedCall>:/,/ret/p' | grep -E '^ +[0-9a-f]+:')
    count=$(printf '%s\n' "$code" | grep -vcE '\<(ret|endbr64|nop[lw]?|xchg)\>')
    printf '%s\n' "$code"
    [ "$count" -gt 0 ] && [ "$count" -le 10 ] || fail "$count instructions before the return; 10 are allowed"
    if grep -qE '\<(call|lock)\>' <<<"$code"; then fail "the hot path calls or locks"; fi
    ;;
  threads)
    size=$(readelf -lW "$2" | awk '$1 == "TLS" { print $6 }')
    [ -n "$size" ] || fail "there is no thread-local storage to look at"
    [ $((size)) -le 64 ] || fail "$((size)) bytes of thread-local storage; 64 are allowed"
    ;;
  hardening)
    segments=$(readelf -lW "$2")
    dynamic=$(readelf -dW "$2")
    imports=$(nm -D --undefined-only --format=just-symbols "$2" | sed 's/@.*//')
    grep -q 'BIND_NOW' <<<"$dynamic" || fail "functions are bound at their first call, not at load"
    if grep -q 'TEXTREL' <<<"$dynamic"; then fail "code is changed at load"; fi
    grep -q 'GNU_RELRO' <<<"$segments" || fail "the tables of addresses stay writable"
    grep -qE 'GNU_STACK .* RW ' <<<"$segments" || fail "the stack is executable"
    if grep -qE 'LOAD .* RWE ' <<<"$segments"; then fail "a segment is writable and executable"; fi
    grep -qx '__stack_chk_fail' <<<"$imports" || fail "no function guards its stack"
    grep -qx '__memcpy_chk' <<<"$(nm --undefined-only --format=just-symbols "$3")" ||
      fail "calls of the C library are not checked"
    ;;
  control-flow)
    shift
    [ $# -gt 0 ] || fail "no objects"
    for object in "$@"; do
      notes=$(readelf -nW "$object")
      grep -q 'x86 feature: IBT, SHSTK' <<<"$notes" || fail "$object is not marked"
    done
    ;;
  wide)
    shift
    [ $# -gt 0 ] || fail "no objects"
    for object; do
      # Capital letters are global symbols, except for N, a section for the debugger; v and w are symbols that
      # the linker shares between objects. It also shares u, the constants of inline functions; they contain
      # no instructions.
      defined=$(nm -C --defined-only "$object" | awk '$2 ~ /^[A-MO-Zvw]$/ { print $3 }')
      [[ $defined =~ ^tarvo::simd::[a-z0-9]+Kernels$ ]] || fail "$object defines: $defined"
    done
    ;;
  *) fail "usage: see the head of $0" ;;
esac
