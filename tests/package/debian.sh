#!/usr/bin/env bash
# Checks the Debian packages in build/packages: lintian reports nothing, their contents and control fields are
# right, programs build with them after they are installed, and nothing is left after they are removed.
. "$(dirname "$0")/looking.sh"
need_root "install the packages"

runtime=libkelinfra5
development=libkelinfra-dev
documentation=libkelinfra-doc
architecture=$(dpkg --print-architecture)
triplet=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
icu=$(pkg-config --modversion icu-uc | sed 's/\..*//')
libraries=usr/lib/$triplet
work=$root/build/package-test
rm -rf "$work"
mkdir -p "$work"

file_of() {
  local on=$architecture
  [ "$1" != $documentation ] || on=all
  printf '%s\n' "$root/build/packages/$1_${version}_$on.deb"
}
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
usr/share/doc/$runtime/changelog.gz
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
usr/share/kelinfra/KELINFRA.natvis
usr/share/kelinfra/catalogue.json
usr/share/kelinfra/catalogues/de.properties
usr/share/kelinfra/catalogues/en.properties
usr/share/kelinfra/catalogues/ja.properties
usr/share/kelinfra/probes.json
usr/share/gdb/auto-load/$libraries/libKELINFRA.so.$version-gdb.py
usr/share/doc/$development/changelog.gz
usr/share/doc/$development/copyright
usr/share/lintian/overrides/$development
$(paths usr/include "$root/include")
$(paths usr/share/doc/$development/examples "$root/examples")
END
)" "$(listed $development)"
  same "files of $documentation" "$(LC_ALL=C sort <<END
$(printf "usr/share/doc/$documentation/%s\n" changelog.gz copyright)
$(printf "usr/share/doc/$development/%s\n" README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md)
$(paths usr/share/doc/$development/docs "$root/docs")
END
)" "$(listed $documentation | grep -v "^usr/share/doc/$development/html/")"
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
  same "the version of ICU that $runtime names" "$runtime-icu$icu" "$(field $runtime Provides)"
  same "exported names" "$(sed 's/icu_[0-9]*::/icu::/g' "$root/exports/linux.txt")" \
    "$(sed -nE 's/^ (.*)@KELINFRA_5 .*/\1/p' "$work/control/symbols" | c++filt | grep -v '^KELINFRA_5$' |
      sed 's/icu_[0-9]*::/icu::/g' | LC_ALL=C sort -u)"
  same "names with a version of ICU that programs would not depend on" "" \
    "$(grep "icu_$icu" "$work/control/symbols" | grep -v ' 1$' || true)"
  same "triggers" "activate-noawait ldconfig" "$(grep -v '^#' "$work/control/triggers")"
  same "debug information" "" "$(readelf -SW "$library" | grep -F .debug_info || true)"
  same "paths of the building machine" "" "$(strings "$library" | grep -F "$root" || true)"
}

check_development() {
  same "what $development depends on" \
    "$runtime (= $version), libicu-dev (>= $icu), libicu-dev (<< $((icu + 1)))" \
    "$(field $development Depends)"
  dpkg-deb -x "$(file_of $development)" "$work/contents"
  local archive=$work/contents/$libraries/libKELINFRA.a
  same "debug information in the archive" "" "$(readelf -SW "$archive" | grep -F .debug_info || true)"
  same "paths of the building machine" "" \
    "$(cd "$work/contents/$libraries" && grep -rlF -e "$root" cmake pkgconfig libKELINFRA.a || true)"
}

check_documentation() {
  local folder=$work/contents/usr/share/doc/$development
  dpkg-deb -x "$(file_of $documentation)" "$work/contents"
  same "links of the pages to files that are not in the packages" "" "$(dead_links "$folder")"
  need python3-markdown-it
  step "building the site" /usr/bin/python3 -B "$root/scripts/site/build.py" "$root" "$work/site"
  same "differences from the site" "" "$(diff -rq "$work/site" "$folder/html")"
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
  need gdb
  local files
  files=$(dpkg-query -L $runtime $development | grep -E '/[^/]*(infra|KELINFRA)')
  KELINFRA_WORK=$work env -C "$root" debian/tests/installed
  same "the library that the program found" "/$libraries/libKELINFRA.so.$version" \
    "$(ldd "$work/pkg-config-17/program" | sed -n 's/.*libKELINFRA.*=> \([^ ]*\) .*/\1/p' | xargs realpath)"
  same "views that gdb loads by itself" "  KELINFRA" \
    "$(gdb -nx -batch -ex "break main" -ex run -ex "info pretty-printer" "$work/pkg-config-17/program" 2>&1 |
      grep -x "  KELINFRA")"
  step "removing the packages" purge
  trap - EXIT
  same "installed after" "" "$(installed)"
  same "files left behind" "" "$(xargs ls -d <<<"$files" 2>/dev/null)"
}

# Debian's own checker; debian/*.lintian-overrides has what does not apply, with reasons.
check_lintian() {
  need lintian
  step "lintian" lintian --fail-on error,warning --tag-display-limit 0 "$root/build/packages"/*.deb
}

check_lintian
check_files
check_runtime
check_development
check_documentation
check_use
say "the packages have the right contents, and programs build with them"
