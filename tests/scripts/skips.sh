#!/usr/bin/env bash
# skips.sh ROOT: a check that this machine cannot run is reported, and fails if it was named, or in CI.
. "$1/scripts/common.sh"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
unset CI

# On another system than Linux, these scripts have nothing to run.
mkdir "$folder/bin"
printf '#!/bin/sh\necho Other\n' >"$folder/bin/uname"
chmod +x "$folder/bin/uname"
for name in netfaults lacking; do
  status=0
  PATH=$folder/bin:$PATH "$root/scripts/$name" >"$folder/out" || status=$?
  [ "$status" = 77 ] || die "scripts/$name: status $status: $(cat "$folder/out")"
  PATH=$folder/bin:$PATH "$root/scripts/check" "$name" >"$folder/out" && die "scripts/check $name passes"
  grep -q "^$name: skipped: " "$folder/out" || die "scripts/check $name: $(cat "$folder/out")"
done

# ends STATUS: a script that ends with this status.
ends() {
  printf '#!/bin/sh\nexit %s\n' "$1" >"$folder/script"
  chmod +x "$folder/script"
}

# allowed BY_NAME CI: prints the status of allow_skip.
allowed() { (by_name=$1 CI=$2 && allow_skip "$folder/script" >"$folder/out") && echo 0 || echo $?; }

ends 77
[ "$(allowed "" "")" = 0 ] || die "a skipped check fails"
[ "$(cat "$folder/out")" = "script: not run" ] || die "a skipped check is not reported: $(cat "$folder/out")"
[ "$(allowed "script" "")" = 77 ] || die "a skipped check that was named passes"
[ "$(allowed "" true)" = 77 ] || die "a skipped check passes in CI"
ends 1
[ "$(allowed "" "")" = 1 ] || die "a failure passes"
ends 0
[ "$(allowed "script" true)" = 0 ] || die "a check that passes fails"
