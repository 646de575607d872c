#!/usr/bin/env bash
# Compares what libraries export with the checked-in lists: exported_symbols.sh LISTS LIBRARY...
# LISTS is a folder with one list a library. After a deliberate change:
# exported_symbols.sh --update LISTS LIBRARY...
set -euo pipefail
update=false
if [ "$1" = --update ]; then
    update=true
    shift
fi
lists=$1
shift

status=0
for library in "$@"; do
    name=$(basename "$library")
    name=${name#lib}
    list=$lists/${name%%.so*}.txt
    symbols=$(nm -D --defined-only -C "$library" | sed -E 's/^[0-9a-f]+ . //' | LC_ALL=C sort -u)
    if $update; then
        echo "$symbols" >"$list"
    elif ! diff -u "$list" - <<<"$symbols"; then
        echo "The exported symbols changed (- missing, + new). If that is meant, run" >&2
        echo "  $0 --update $lists $library" >&2
        status=1
    fi
done
exit $status
