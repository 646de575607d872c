#!/usr/bin/env bash
# The README's code is examples/readme.cpp, and it runs: readme_test.sh PROGRAM PROJECT_ROOT
set -euo pipefail
program=$1
root=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
awk '/^```cpp$/ { inside = 1; next } /^```$/ { inside = 0 } inside' "$root/README.md" >"$work/block.cpp"
diff -u "$root/examples/readme.cpp" "$work/block.cpp" >&2 ||
    { echo "the code in README.md is not examples/readme.cpp" >&2; exit 1; }
cd "$work"
ln -s "$root/data" data
"$program" >out
# shellcheck disable=SC2016 # those are not expansions
awk '/^```cpp$/ { after = 1 } /^```$/ { inside = 0 } inside; after && /^```text$/ { inside = 1 }' \
    "$root/README.md" | diff -u - out >&2 ||
    { echo "README.md promises another output" >&2; exit 1; }
grep -q '"depth_m":-1712.0' below_zero.json
