#!/usr/bin/env bash
# Installs a build, moves the installation elsewhere and builds a consumer against it; then builds
# the library alone against the installed host libraries, as beside a host that brings its own.
#
# installed_test.sh CMAKE BUILD_FOLDER PROJECT_ROOT
set -euo pipefail
cmake=$1
build=$2
root=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
exec 2>&1

# build_consumer NAME PREFIX...
build_consumer() {
    local name=$1 prefixes
    shift
    prefixes=$(IFS=';' && echo "$*")
    "$cmake" -S "$root/tests/consumer" -B "$work/$name" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_PREFIX_PATH="$prefixes" >"$work/log" || { cat "$work/log"; return 1; }
    "$cmake" --build "$work/$name" >"$work/log" || { cat "$work/log"; return 1; }
    "$work/$name/consumer"
}

echo "== an installation that was moved"
"$cmake" --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/moved"
build_consumer consumer "$work/moved"
! grep -rqF "$work/first" "$work/moved" || { echo "the first prefix is written down"; exit 1; }
! grep -rqF "$root" "$work/moved/lib/cmake" || { echo "the source folder is written down"; exit 1; }

echo "== the library beside a host's own libraries"
mkdir -p "$work/host"
mv "$work/moved" "$work/gone"
mkdir -p "$work/host/lib"
for name in tviojsoncore tviocommonfile tvi18n tvfl tvstring_core qx; do
    cp -P "$work/gone"/lib/lib$name.so* "$work/host/lib"
done
"$cmake" -S "$root" -B "$work/external" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DTVIOJSONTREE_HOST_PREFIX="$work/host" >"$work/log" || { cat "$work/log"; exit 1; }
"$cmake" --build "$work/external" >"$work/log" || { cat "$work/log"; exit 1; }
"$cmake" --install "$work/external" --prefix "$work/beside" >/dev/null
[ ! -e "$work/beside/lib/libqx.so" ] || { echo "it brings host libraries of its own"; exit 1; }
build_consumer beside_consumer "$work/beside"
