#!/usr/bin/env bash
# Compares the layout of everything that the library and its callers exchange with the checked-in
# one (what it exports is exported_symbols.sh's): binary_interface.sh LIBRARY BASELINE SOURCE_FOLDER
# After a deliberate change: binary_interface.sh --update LIBRARY BASELINE SOURCE_FOLDER
# LIBRARY is libpublic_types.so of the build; the types of other libraries count as far as their
# size and place in ours goes.
set -euo pipefail
update=false
if [ "$1" = --update ]; then
    update=true
    shift
fi
library=$1
baseline=$2
source=$3

describe() {
    abidw --headers-dir "$source/include" --headers-dir "$source/src/platform" \
        --drop-private-types --drop-undefined-syms --no-elf-needed --no-corpus-path \
        --no-comp-dir-path --no-show-locs --no-parameter-names "$library"
}

if $update; then
    describe >"$baseline"
    exit
fi
now=$(mktemp --suffix=.abi)
trap 'rm -f "$now"' EXIT
describe >"$now"
if ! abidiff "$baseline" "$now"; then
    echo "The binary interface changed: programs built against the old one may break. If that is" >&2
    echo "meant, raise the library's SOVERSION if they do, and run" >&2
    echo "  $0 --update $library $baseline $source" >&2
    exit 1
fi
