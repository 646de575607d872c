#!/usr/bin/env bash
# Installs a build, moves the installation elsewhere and uses it as others do: the program, and a
# consumer built with CMake and with pkg-config. Then the library as a consumer's subdirectory, beside
# host libraries that it does not build, with RapidJSON and Boost in folders of their own.
#
# installed_test.sh CMAKE BUILD_FOLDER PROJECT_ROOT
set -euo pipefail
cmake=$1
build=$2
root=$3
consumer=$root/tests/consumer
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
exec 2>&1

fail() {
    echo "FAILED: $*"
    exit 1
}

quietly() {
    "$@" >"$work/log" 2>&1 || { cat "$work/log" && fail "$*"; }
}

# build_consumer NAME OPTION...
build_consumer() {
    local name=$1
    shift
    quietly "$cmake" -S "$consumer" -B "$work/$name" -G Ninja "$@"
    quietly "$cmake" --build "$work/$name"
    "$work/$name/consumer"
}

# foreign_headers BUILD_FOLDER: the headers of RapidJSON and Boost that its objects were made from.
foreign_headers() {
    ninja -C "$1" -t deps | grep -oE '/[^ ]*/(rapidjson|boost)/[^ ]*' | sort -u
}

echo "== an installation that was moved"
quietly "$cmake" --install "$build" --prefix "$work/first"
mv "$work/first" "$work/moved"
# The headers' needs are all that it needs.
build_consumer moved_consumer -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$work/moved" \
    -DCMAKE_DISABLE_FIND_PACKAGE_ICU=ON -DCMAKE_DISABLE_FIND_PACKAGE_TBB=ON
! grep -rqF "$work/first" "$work/moved" || fail "the first prefix is written down"
! grep -rqF "$root" "$work/moved/lib" "$work/moved/share" || fail "the source folder is written down"

echo "== with one include folder"
export PKG_CONFIG_PATH=$work/moved/lib/pkgconfig
read -ra compile < <(pkg-config --cflags tviojsontree)
read -ra link < <(pkg-config --libs tviojsontree)
[ "$(realpath -m "${compile[*]#-I}")" = "$work/moved/include" ] || fail "flags: ${compile[*]}"
g++ -std=c++20 "${compile[@]}" "$consumer/main.cpp" -o "$work/plain_consumer" "${link[@]}" \
    -Wl,-rpath,"$work/moved/lib"
"$work/plain_consumer"

echo "== the program"
version=$(sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' "$root/CMakeLists.txt")
[ "$("$work/moved/bin/jsontree" --version)" = "jsontree $version" ] || fail "jsontree's version"
[ "$(pkg-config --modversion tviojsontree)" = "$version" ] || fail "pkg-config's version"
[[ $(grep -m 1 '^## \[[0-9]' "$root/CHANGELOG.md") == "## [$version]"* ]] || fail "CHANGELOG.md's version"
grep -q "^.TH JSONTREE 1 .*$version" "$work/moved/share/man/man1/jsontree.1" || fail "man page"

echo "== a subdirectory, beside a host's own libraries"
mkdir -p "$work/host" "$work/elsewhere"
mv "$work/moved/lib/tviojsontree" "$work/host/lib"
while read -r header; do
    name=${header##*/include/}
    mkdir -p "$work/elsewhere/$(dirname "$name")"
    cp "$header" "$work/elsewhere/$name"
done < <(foreign_headers "$build" | grep -v json_core/)
cat >"$work/elsewhere/RapidJSONConfig.cmake" <<'END'
set(RapidJSON_INCLUDE_DIRS "${CMAKE_CURRENT_LIST_DIR}")
END
cat >"$work/elsewhere/BoostConfig.cmake" <<'END'
add_library(Boost::headers INTERFACE IMPORTED)
target_include_directories(Boost::headers INTERFACE "${CMAKE_CURRENT_LIST_DIR}")
set(Boost_VERSION 1.81)
END
echo 'set(PACKAGE_VERSION_COMPATIBLE TRUE)' >"$work/elsewhere/BoostConfigVersion.cmake"
elsewhere=(-DRapidJSON_DIR="$work/elsewhere" -DBoost_DIR="$work/elsewhere"
    -DCMAKE_DISABLE_FIND_PACKAGE_ICU=ON)
only_from_elsewhere() {
    local headers
    headers=$(foreign_headers "$1")
    [ -n "$headers" ] || fail "no header of RapidJSON and Boost in $1"
    ! grep -v "^$work/elsewhere/" <<<"$headers" || fail "other headers than those that CMake found"
}
build_consumer subdirectory -DCMAKE_BUILD_TYPE=Debug -DTVIOJSONTREE_SOURCE="$root" \
    -DTVIOJSONTREE_HOST_PREFIX="$work/host" "${elsewhere[@]}"
only_from_elsewhere "$work/subdirectory"
needed=$(readelf -d "$work/subdirectory/tviojsontree/lib/libtviojsontree.so")
for name in tviojsoncore tviocommonfile tvi18n tvfl tvstring_core qx; do
    grep -qF "[lib$name.so]" <<<"$needed" || fail "it needs lib$name.so by another name: $needed"
done

echo "== its installation"
quietly "$cmake" --install "$work/subdirectory" --prefix "$work/beside"
[ -z "$(find "$work/beside" -name 'libqx*')" ] || fail "it brings host libraries of its own"
build_consumer beside_consumer -DCMAKE_PREFIX_PATH="$work/beside" "${elsewhere[@]}"
only_from_elsewhere "$work/beside_consumer"
