#!/usr/bin/env bash
# compile.sh COMPILER SOURCE [FLAG...]
# Compiles SOURCE without output. The compiler must report an error or a warning on every line that ends in
# "// reported: PATTERN", with a message that matches the extended regular expression PATTERN, and on no other
# line. Its output must contain each TEXT of the lines "// shows: TEXT", for example a line of a declaration.
set -euo pipefail

compiler=$1
source=$2
shift 2

# LINE MESSAGE of each report; one of another file has that file's name instead of the line.
output=$(LC_ALL=C "$compiler" -fsyntax-only -std=c++17 "$@" "$source" 2>&1) || true
reports=$(sed -nE -e "s#^$source:([0-9]+):[0-9]+: ((fatal )?error|warning): #\\1 #p; t" \
    -e 's/^(.*): ((fatal )?error|warning): /\1 /p' <<<"$output")

failed=0
fails() {
  echo "$1"
  failed=1
}

marked=" "
while IFS=: read -r line text; do
  marked+="$line "
  pattern=${text#*// reported: }
  grep -qE "^$line .*($pattern)" <<<"$reports" ||
    fails "line $line: no report matches \"$pattern\": ${text%%// reported:*}"
done < <(grep -n '// reported: ' "$source")
[ "$marked" != " " ] || fails "$source: no line is marked"

while read -r line message; do
  case $marked in *" $line "*) ;; *) [ -z "$line" ] || fails "line $line is not marked, but: $message" ;; esac
done <<<"$reports"
shown=$(grep -vE '// (shows|reported): ' <<<"$output") || true
while IFS=: read -r line text; do
  grep -qF -e "${text#*// shows: }" <<<"$shown" ||
    fails "line $line: the compiler does not show \"${text#*// shows: }\""
done < <(grep -n '// shows: ' "$source")
exit $failed
