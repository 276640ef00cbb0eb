#!/usr/bin/env bash
# words.sh ROOT: scripts/words finds each kind of turn in a comment, a page and the name of a test, and nothing
# else.
. "$1/scripts/common.sh"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# found FILE LINE WORDS: a file of that one line has a finding that names WORDS.
found() {
  printf '%s\n' "$2" >"$folder/$1"
  "$root/scripts/words" "$folder/$1" >"$folder/out" && die "nothing was found in $1: $2"
  grep -qF -- "'$3'" "$folder/out" || die "$1: $2: expected '$3', but: $(cat "$folder/out")"
}

# clean FILE LINE
clean() {
  printf '%s\n' "$2" >"$folder/$1"
  "$root/scripts/words" "$folder/$1" >"$folder/out" || die "found in $1: $2: $(cat "$folder/out")"
}

found a.cpp "int a = 0;  // the byte behind the text" behind
found a.hpp "/// Returns so many bytes as were read." "so many"
found a.hpp "/// The call tells the size." tells
found a.py "# The list is built anew." anew
found a.py '"""Builds the list anew."""' anew
found a.cmake "# The file has none." "has none"
found a.cpp "// All pages but for one are tables." "but for"
found a.cpp "// It has a thread of its own." "of its own"
found a.md "The number stands in the header." stands
found a.md "The signature is as it always has been." "as it always has"
found a.md "A time-out is given in milliseconds." "time-out"
found a.md "What is read stays in the buffer until the next call." "What is read ..."
found a.md "The choice of the code page is the caller's." "is the caller's"
found a.cpp "TEST(Buffer, StartsAnew) {" Anew
found a.cpp "// $(printf 'x%.0s' {1..120})" "123 columns"
found a.md "- The line \`$(printf 'x%.0s' {1..120})\` is long." "142 columns"
found a.md "\`name\` $(printf 'x%.0s' {1..110})" "117 columns"

clean a.cpp 'print("the byte behind the text");  // prints a message of the program'
clean a.py 'print("""the byte behind the text""")'
clean a.md "The page says \`behind\` where it quotes code."
clean a.md "What does it cost? Nothing."
clean a.md "- \`$(printf 'x%.0s' {1..120})\`"
clean a.md "The identifier stands for a message."
clean a.cpp "TEST(Buffer, ReturnsTheSizeAfterAnAppend) {"

# A project of these scripts and a file that is not text: the scripts find nothing in it and add no file.
mkdir -p "$folder/project/scripts"
cp "$root"/scripts/{words,prose.py,sentences} "$folder/project/scripts/"
git -C "$folder/project" init -q
printf '\377behind%0200d\n' 0 >"$folder/project/data"
git -C "$folder/project" add -A
for script in words words "sentences 1 0"; do
  # shellcheck disable=SC2086
  (unset PYTHONDONTWRITEBYTECODE && "$folder/project/scripts/"$script) >"$folder/out" ||
    die "scripts/$script in a new project: $(cat "$folder/out")"
done
others=$(git -C "$folder/project" ls-files --others)
[ -z "$others" ] || die "the scripts wrote $others"

# Sentences are whole: an item of a list and a comment after code each begin one, and a sentence in parentheses
# ends none. Each sentence has the number of its first line.
cat >"$folder/project/a.hpp" <<'END'
/// The first sentence has six words. (The second sentence is in
/// parentheses. The third one is, too.) `name` is the
/// subject of the last sentence.
///   - An item can take
///     more than one line.
int a;  ///< the number of bytes
/// The next comment is not a part of it.
END
python3 -B - "$folder/project/scripts" >"$folder/out" <<'END'
import sys
sys.path.insert(0, sys.argv[1])
import prose
for line, sentence in prose.sentences("a.hpp"):
    print(line, sentence)
END
diff - "$folder/out" <<'END' || die "prose.sentences: the lines of > are wrong"
1 The first sentence has six words.
1 (The second sentence is in parentheses. The third one is, too.)
2 `name` is the subject of the last sentence.
4 An item can take more than one line.
7 The next comment is not a part of it.
END
