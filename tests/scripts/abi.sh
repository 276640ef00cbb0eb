#!/usr/bin/env bash
# abi.sh ROOT: scripts/abi accepts added functions and changes that exports/accepted.md states, and reports
# each other change that programs notice. It fails where it cannot compare.
. "$1/scripts/common.sh"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

git_in() { git -C "$folder" -c user.name=test -c user.email=test@kelinfra.invalid "$@"; }

# Writes a small project with the layout of this one and commits it.
write_project() {
  mkdir -p "$folder"/{include/infra,src,exports}
  cat >"$folder/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(SMALL VERSION 1.0.0 LANGUAGES CXX)
add_subdirectory(src)
END
  cat >"$folder/src/CMakeLists.txt" <<'END'
add_library(KELINFRA SHARED kelRecord.cpp)
set_target_properties(KELINFRA PROPERTIES VERSION 1.0.0 SOVERSION 1)
target_include_directories(KELINFRA PRIVATE ${PROJECT_SOURCE_DIR}/include)
target_compile_options(KELINFRA PRIVATE -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
END
  cat >"$folder/include/infra/kelRecord.hpp" <<'END'
#pragma once
class Record {
 public:
  enum Level : int { LEVEL_INFO = 1, LEVEL_ERROR = 4 };
  Record();
  virtual ~Record();
  virtual Level level() const;
  int count() const;
  void clear();

 private:
  int count_ = 0;
  Level level_ = LEVEL_INFO;
  char text_[12] = {};
};
END
  cat >"$folder/src/kelRecord.cpp" <<'END'
#include "infra/kelRecord.hpp"
Record::Record() = default;
Record::~Record() = default;
Record::Level Record::level() const { return level_; }
int Record::count() const { return count_; }
void Record::clear() { text_[0] = 0; }
END
  echo "first" >"$folder/exports/accepted.md"
  echo "/build/" >"$folder/.gitignore"
  git_in init -q
  git_in add -A
  git_in commit -qm first
}

abi() { "$root/scripts/abi" "$folder" >"$folder/build/out" 2>&1; }

passes() { abi || die "$1: refused: $(cat "$folder/build/out")"; }

# refused WHAT SENTENCE
refused() {
  if abi; then die "$1: accepted"; fi
  grep -qF -- "$2" "$folder/build/out" || die "$1: expected '$2', but: $(cat "$folder/build/out")"
}

header=include/infra/kelRecord.hpp
source=src/kelRecord.cpp

# breaks WHAT SENTENCE SED FILE...: makes a change, which must be refused, and takes it back.
breaks() {
  sed -i -E "$3" "${@:4}"
  git_in diff --quiet && die "$1: the change does not match"
  refused "$1" "$2"
  git_in checkout -q .
}

write_project
cd "$folder"
mkdir build
passes "the accepted version itself"

breaks "a field is added" "offset changed" 's/^  int count_ .*/&\n  int more_ = 0;/' $header
breaks "a field is added where there was padding" "1 data member insertion" \
  's/^  char text_.*/&\n  bool more_ = false;/' $header
breaks "fields are swapped" "offset changed" '/^  int count_/{h;d};/^  Level level_/G' $header
breaks "a virtual function is added" "virtual" \
  's/^  virtual Level level.*/  virtual int first() const { return 0; }\n&/' $header
breaks "a size is increased" "type size changed" 's/text_\[12\] = /text_[32] = /' $header
breaks "a name is removed" "Record::clear" '/Record::clear|^  void clear/d' $header $source
breaks "an enumerator is moved" "LEVEL_ERROR" 's/LEVEL_ERROR = 4/LEVEL_ERROR = 8/' $header
breaks "there is no debug information" "the present library has no debug information" \
  's/^add_library.*/&\ntarget_link_options(KELINFRA PRIVATE -s)/' src/CMakeLists.txt

sed -i -E 's/^  void clear.*/&\n  int added() const;/' $header
echo 'int Record::added() const { return 1; }' >>$source
passes "a function is added"
git_in checkout -q .

sed -i -E 's/text_\[12\]/text_[32]/' $header
echo "second" >>exports/accepted.md
refused "the statement is not committed" "commit the change of exports/accepted.md first"
git_in commit -qam second
passes "an accepted change"

git_in clone -q --depth 1 "file://$folder" shallow
mv shallow/.git .git-shallow && mv .git .git-whole && mv .git-shallow .git
refused "older commits are missing" "git fetch --unshallow"
rm -rf .git shallow && mv .git-whole .git

git_in rm -q exports/accepted.md
git_in commit -qm third
refused "no version is accepted" "there is no accepted version"
git_in reset -q --hard HEAD^

# All programs except one.
mkdir build/bin
ln -s /usr/bin/* build/bin/
rm build/bin/abidiff
PATH=$folder/build/bin refused "abidiff is missing" "the program abidiff is missing"
