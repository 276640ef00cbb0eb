# Functions that the scripts share that check packages. The scripts source this file; it is not run by itself.
# Each script sets $work to a separate folder.
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/common.sh"

version=$(sed -n 's/^project(KELINFRA VERSION \([0-9.]*\) .*/\1/p' "$root/CMakeLists.txt")

# same WHAT EXPECTED FOUND
same() {
  diff -u <(printf '%s\n' "$2") <(printf '%s\n' "$3") >&2 || die "$1: differs from what was expected (-)"
}

# paths PREFIX FOLDER: the files of a folder, named as in a package.
paths() { (cd "$2" && find . -type f) | sed "s|^\.|$1|"; }

# dead_links FOLDER: the links of the pages in the folder to files that are not there. Code is left out.
dead_links() {
  local page link
  (cd "$1" && find . -name '*.md' | LC_ALL=C sort) | while read -r page; do
    awk '/^ *```/ { code = !code; next } !code { gsub(/`[^`]*`/, ""); print }' "$1/$page" |
      { grep -oE '\]\([^)#]+' || true; } | sed 's/^](//' | { grep -vE '^[a-z]+:' || true; } |
      while read -r link; do
        [ -e "$1/$(dirname "$page")/$link" ] || printf '%s: %s\n' "${page#./}" "$link"
      done
  done
}

# consume MODE STANDARD COMPILER PACKAGE [CMAKE DEFINITION...]: builds and runs the README's program.
consume() {
  local mode=$1 standard=$2 compiler=$3 package=$4
  shift 4
  cmake -D MODE="$mode" -D STANDARD="$standard" -D COMPILER="$compiler" -D PACKAGE="$package" "$@" \
    -D SOURCE_DIR="$root" -D WORK_DIR="$work/$mode-$standard" -P "$root/tests/package/consume.cmake"
}
