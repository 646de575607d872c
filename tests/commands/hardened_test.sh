#!/usr/bin/env bash
# Checks that a release build is hardened: hardened_test.sh BUILD_FOLDER LIBRARY...
set -euo pipefail
build=$1
shift
failed=false
require() { # MESSAGE COMMAND...
    local message=$1
    shift
    if ! "$@"; then
        echo "$message" >&2
        failed=true
    fi
}
has() { grep -qE -- "$1" <<<"$2"; }
lacks() { ! has "$@"; }

imports=
for library in "$@"; do
    dynamic=$(readelf -dW "$library")
    segments=$(readelf -lW "$library")
    symbols=$(readelf -W --dyn-syms "$library")
    require "$library: symbols are not bound at load" has 'BIND_NOW|FLAGS_1.*NOW' "$dynamic"
    require "$library: relocations stay writable" has GNU_RELRO "$segments"
    require "$library: code is rewritten at load" lacks TEXTREL "$dynamic"
    require "$library: the stack is executable" has 'GNU_STACK +(0x[0-9a-f]+ +){5}RW +' "$segments"
    require "$library: a segment is writable and executable" lacks 'LOAD +(0x[0-9a-f]+ +){5}RWE' "$segments"
    require "$library: no stack protector" has 'UND __stack_chk_fail' "$symbols"
    imports+=$symbols
done
# Not every library calls anything that these assertions guard, but all together do. Fortified calls
# are not looked for: whether any remains is up to the optimiser, and today none does. The flags below
# are what makes it look.
require "no assertion of the C++ library anywhere" has 'UND .*glibcxx_assert_fail' "$imports"

sources=$(grep -E '"command": .* -c .*/(src|host)/[a-z_]+/[a-z_]+\.cpp"' "$build/compile_commands.json")
for flag in -D_FORTIFY_SOURCE=2 -D_GLIBCXX_ASSERTIONS -fstack-protector-strong; do
    unguarded=$(grep -vF -e "$flag" <<<"$sources" | sed 's/.* -c //' || true)
    require "compiled without $flag: $unguarded" test -z "$unguarded"
done
if $failed; then
    exit 1
fi
echo "$# libraries and $(wc -l <<<"$sources") sources are hardened"
