#!/usr/bin/env bash
# licence.sh ROOT: scripts/licence accepts a project where every file has the same licence, and reports each
# way to differ from that.
. "$1/scripts/common.sh"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# Writes a project that is accepted.
write_project() {
  rm -rf "$folder"
  mkdir -p "$folder"/{.reuse,LICENSES,packaging}
  git -C "$folder" init -q
  cp "$root/LICENSE" "$folder/LICENSE"
  ln -s ../LICENSE "$folder/LICENSES/Apache-2.0.txt"
  printf '%s\n' 'Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/' '' 'Files: *' \
    'Copyright: 2026 the maintainers' 'License: Apache-2.0' >"$folder/.reuse/dep5"
  echo 'int a;' >"$folder/a.cpp"
  echo '  "license": "Apache-2.0",' >"$folder/packaging/recipe.json"
  git -C "$folder" add -A
}

# refused SENTENCE: the project as it is now.
refused() {
  local output
  git -C "$folder" add -A
  output=$("$root/scripts/licence" "$folder" 2>&1) && die "accepted, where this should be reported: $1"
  grep -qF -- "$1" <<<"$output" || die "expected '$1', but: $output"
}

write_project
"$root/scripts/licence" "$folder" >"$folder/out" || die "a correct project is refused: $(cat "$folder/out")"

sed -i 's/^Files:.*/Files: *.md/' "$folder/.reuse/dep5"
refused "a.cpp"

write_project
printf '%s\n' '' 'Files: a.cpp' 'Copyright: 2026 somebody else' 'License: Apache-2.0' >>"$folder/.reuse/dep5"
refused "one paragraph, for all files"

write_project
# Divided, so that no tool reads it as the licence of this file.
echo '// SPDX-License''-Identifier: MIT' >>"$folder/a.cpp"
refused "MIT"

write_project
rm "$folder/LICENSES/Apache-2.0.txt"
refused "Missing licenses: Apache-2.0"

write_project
rm "$folder/LICENSES/Apache-2.0.txt"
echo 'Do what you like.' >"$folder/LICENSES/Apache-2.0.txt"
refused "LICENSE is not the text of Apache-2.0"

# Each recipe has the field in the form of its tool.
refused_field() {
  write_project
  printf '%s\n' "$2" >"$folder/packaging/$1"
  refused "packaging/$1:1:"
}
refused_field vcpkg.json '  "license": "MIT",'
refused_field conanfile.py '    license = "MIT"'
refused_field meson.build "project('a', 'cpp', version: '1', license: 'MIT')"
