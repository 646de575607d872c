#!/usr/bin/env bash
# Holds the project's includes against their list, and the check against includes that break it:
# arrows_test.sh PROJECT_ROOT
set -euo pipefail
root=$1
includes=$root/scripts/includes
"$includes" check
diff -u "$root/scripts/arrows.txt" \
    <(awk '/^```arrows$/ { inside = 1; next } /^```$/ { inside = 0 } inside' "$root/CONTRIBUTING.md") ||
    { echo "CONTRIBUTING.md does not show scripts/arrows.txt" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -a "$root/include" "$root/src" "$root/host" "$work"
while IFS='|' read -r file line complaint; do
    cp "$work/$file" "$work/kept"
    echo "$line" >>"$work/$file"
    found=$("$includes" check "$work" "$root/scripts/arrows.txt") &&
        { echo "$file: $line passes" >&2; exit 1; }
    grep -qE "^$file:[0-9]+: $complaint" <<<"$found" || { echo "$file: $line: $found" >&2; exit 1; }
    mv "$work/kept" "$work/$file"
done <<'END'
src/node_content/data.cpp|#include "node_vector/selector_walk.hpp"|node_content may not include node_vector
src/document/dom.cpp|#  include "json_core/parse_error.hpp"|document may not include host
include/ostra/io/json/tree/dom.hpp|#include "base/huge_pages.hpp"|tree may not include base
host/file_io/descriptor.cpp|#include <ostra/io/json/tree/dom.hpp>|host may not include tree
src/base/pool_memory.hpp|#include "platform/json_core.hpp"|base may not include platform
src/document/serialise.cpp|#include <rapidjson/writer.h>|document may not include <rapidjson/writer.h>
src/nodes/columns.hpp|#include "nodes/none.hpp"|there is no nodes/none.hpp
END
