#!/usr/bin/env bash
# Checks that every test that SECURITY.md names exists: security_test.sh SOURCE_FOLDER
set -euo pipefail
cd "$1"
# shellcheck disable=SC2016 # those are not expansions
missing=$(grep -E '^\|' SECURITY.md | sed -E 's/^\|[^|]*\|//' | grep -oE '`[A-Za-z_.]+`' | tr -d '`' |
    while IFS=. read -r suite name; do
        case $suite in
        fuzz_*) grep -q "tviojsontree_fuzzer(${suite#fuzz_}[ )]" fuzz/CMakeLists.txt ;;
        configuration) grep -q "configuration_test($name " tests/package_tests.cmake ;;
        [a-z]*) grep -qE "(command|binary_interface)_test\($suite " tests/*.cmake ;;
        *) grep -qE "TEST(_[FP])?\($suite, $name\)" tests/*.cpp ;;
        esac || echo "$suite.$name"
    done)
if [ -n "$missing" ]; then
    echo "SECURITY.md names tests that do not exist: ${missing//$'\n'/ }" >&2
    exit 1
fi
