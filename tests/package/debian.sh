#!/usr/bin/env bash
# Checks the contents of the Debian packages in build/packages, installs them, builds and runs the README's
# program with them as users do, and removes them.
. "$(dirname "$0")/looking.sh"
need_root "install the packages"

runtime=libkelinfra5
development=libkelinfra-dev
architecture=$(dpkg --print-architecture)
triplet=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
libraries=usr/lib/$triplet
work=$root/build/package/test
rm -rf "$work"
mkdir -p "$work"

file_of() { printf '%s\n' "$root/build/packages/$1_${version}_$architecture.deb"; }
field() { dpkg-deb -f "$(file_of "$1")" "$2"; }

# listed PACKAGE: its files, with the targets of links. Owner and permissions must be the same for all.
listed() {
  local list
  list=$(dpkg-deb -c "$(file_of "$1")" | grep -v '^d')
  same "owners and permissions in $1" "" \
    "$(awk '!($2 == "root/root" && (/^-rw-r--r-- / || /^lrwxrwxrwx /))' <<<"$list")"
  awk '{ sub(/^.* \.\//, ""); print }' <<<"$list" | LC_ALL=C sort
}

check_files() {
  same "files of $runtime" "$(LC_ALL=C sort <<END
$libraries/libKELINFRA.so.5 -> libKELINFRA.so.$version
$libraries/libKELINFRA.so.$version
usr/share/doc/$runtime/copyright
END
)" "$(listed $runtime)"
  same "files of $development" "$(LC_ALL=C sort <<END
$libraries/cmake/KELINFRA/KELINFRAConfig.cmake
$libraries/cmake/KELINFRA/KELINFRAConfigVersion.cmake
$libraries/cmake/KELINFRA/KELINFRATargets-relwithdebinfo.cmake
$libraries/cmake/KELINFRA/KELINFRATargets.cmake
$libraries/libKELINFRA.a
$libraries/libKELINFRA.so -> libKELINFRA.so.5
$libraries/pkgconfig/KELINFRA.pc
usr/share/KELINFRA/KELINFRA.natvis
usr/share/kelinfra/catalogue.json
usr/share/gdb/auto-load/$libraries/libKELINFRA.so.$version-gdb.py
usr/share/doc/$development/copyright
$(paths usr/include "$root/include")
$(paths usr/share/doc/$development/examples "$root/examples")
END
)" "$(listed $development)"
}

# The packages of the libraries that the library needs. The loader belongs to the C library.
needed_packages() {
  local library=$1 name
  readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]$/\1/p' | while read -r name; do
    dpkg-query -S "*/$triplet/$name" | sed -n "s/^\([^:,]*\)[:,].*/\1/p"
  done | sort -u
}

check_runtime() {
  local library=$work/contents/$libraries/libKELINFRA.so.$version
  dpkg-deb -x "$(file_of $runtime)" "$work/contents"
  dpkg-deb -e "$(file_of $runtime)" "$work/control"
  same "the soname" libKELINFRA.so.5 "$(readelf -d "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]$/\1/p')"
  same "packages that $runtime depends on" "$(needed_packages "$library")" \
    "$(field $runtime Depends | tr ',' '\n' | awk '{ print $1 }' | sort)"
  same "what programs built with $runtime depend on" "libKELINFRA 5 $runtime (>= $version)" \
    "$(cat "$work/control/shlibs")"
  same "triggers" "activate-noawait ldconfig" "$(cat "$work/control/triggers")"
  same "debug information" "" "$(readelf -SW "$library" | grep -F .debug_info || true)"
  same "paths of the building machine" "" "$(strings "$library" | grep -F "$root" || true)"
}

check_development() {
  local icu
  icu=$(pkg-config --modversion icu-uc | sed 's/\..*//')
  same "what $development depends on" \
    "$runtime (= $version), libicu-dev (>= $icu), libicu-dev (<< $((icu + 1)))" \
    "$(field $development Depends)"
  dpkg-deb -x "$(file_of $development)" "$work/contents"
  local archive=$work/contents/$libraries/libKELINFRA.a
  same "debug information in the archive" "" "$(readelf -SW "$archive" | grep -F .debug_info || true)"
  same "paths of the building machine" "" \
    "$(cd "$work/contents/$libraries" && grep -rlF -e "$root" cmake pkgconfig libKELINFRA.a || true)"
}

installed() { dpkg-query -W -f='${Package} ${db:Status-Status}\n' $runtime $development 2>/dev/null || true; }

purge() { as_root dpkg --purge $development $runtime; }

check_use() {
  same "installed before" "" "$(installed)"
  trap 'purge >/dev/null 2>&1 || true' EXIT
  step "installing the packages" \
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
    "$(file_of $runtime)" "$(file_of $development)"
  same "files changed since they were packed" "" "$(dpkg --verify $runtime $development)"
  local files
  files=$(dpkg-query -L $runtime $development | grep -E '/[^/]*(infra|KELINFRA)')
  step "a program with the installed package, by CMake, C++17" consume find_package 17 g++ system
  step "a program with the installed package, by CMake, C++20" consume find_package 20 g++ system
  step "a program with the installed package, by pkg-config" consume pkg-config 17 g++ system
  step "a program linked statically, by CMake" consume find_package 20 g++ system -D STATIC=ON
  step "a program linked statically, by pkg-config" consume pkg-config 20 g++ system -D STATIC=ON
  same "the library that the program found" "/$libraries/libKELINFRA.so.$version" \
    "$(ldd "$work/pkg-config-17/program" | sed -n 's/.*libKELINFRA.*=> \([^ ]*\) .*/\1/p' | xargs realpath)"
  same "views that gdb loads by itself" "  KELINFRA" \
    "$(gdb -nx -batch -ex "break main" -ex run -ex "info pretty-printer" "$work/pkg-config-17/program" 2>&1 |
      grep KELINFRA)"
  step "removing the packages" purge
  trap - EXIT
  same "installed after" "" "$(installed)"
  same "files left behind" "" "$(xargs ls -d <<<"$files" 2>/dev/null)"
}

check_files
check_runtime
check_development
check_use
say "the packages have the right contents, and programs build with them"
