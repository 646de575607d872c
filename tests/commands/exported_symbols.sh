#!/usr/bin/env bash
# Compares what the library exports with the checked-in list: exported_symbols.sh LIBRARY LIST
# After a deliberate change: exported_symbols.sh --update LIBRARY LIST
set -euo pipefail
update=false
if [ "$1" = --update ]; then
    update=true
    shift
fi
library=$1
list=$2

symbols() {
    nm -D --defined-only -C "$library" | sed -E 's/^[0-9a-f]+ . //' | LC_ALL=C sort -u
}

if $update; then
    symbols >"$list"
elif ! diff -u "$list" <(symbols); then
    echo "The exported symbols changed (- missing, + new). If that is meant, run" >&2
    echo "  $0 --update $library $list" >&2
    exit 1
fi
