#!/usr/bin/env bash
# links.sh ROOT: dead_links of tests/package/looking.sh reports each link to a file that is not there.
. "$1/tests/package/looking.sh"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir -p "$folder/docs/tour"
cat >"$folder/README.md" <<'END'
See [a page](docs/page.md), [a part](docs/page.md#part), [this](#here), [the web](https://example.org/a.md) and
[nothing](docs/nothing.md). A lambda is `[](int a)`.
```cpp
auto f = [](int a) { return a; };
```
END
echo '[back](../../README.md) [up](../up.md#part) ![picture](picture.svg)' >"$folder/docs/tour/1.md"
touch "$folder/docs/page.md"
same "dead links" "README.md: docs/nothing.md
docs/tour/1.md: ../up.md
docs/tour/1.md: picture.svg" "$(dead_links "$folder")"
rm -r "$folder/docs/tour"
sed -i '/nothing/d' "$folder/README.md"
same "dead links of pages without any" "" "$(dead_links "$folder")"

# Both packages put the pages beside the examples, and neither contains another folder that a page links to.
mkdir "$folder/package"
cp -R "$root"/{README,CHANGELOG,CONTRIBUTING,SECURITY}.md "$root/docs" "$root/examples" "$folder/package/"
same "links of the pages to files that are not in the packages" "" "$(dead_links "$folder/package")"
