#!/usr/bin/env bash
# Builds the Debian packages, installs them with their dependencies in a clean system, uses them as a
# stranger would, and removes them: package_test.sh PROJECT_ROOT. Run as root; takes a few minutes,
# a network and debootstrap.
set -euo pipefail
root=$1
mirror=${DEBIAN_MIRROR:-http://deb.debian.org/debian}
work=$(mktemp -d)
system=$work/system
trap 'umount "$system/proc" 2>/dev/null; rm -rf --one-file-system "$work"' EXIT

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

quietly() {
    "$@" >"$work/log" 2>&1 </dev/null || { cat "$work/log" >&2 && fail "$*"; }
}

inside() {
    chroot "$system" env DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 "$@"
}

echo "== packages"
cd "$root"
rm -f build/package/*.deb
quietly cmake --workflow --preset package

echo "== a clean system"
# shellcheck disable=SC1091 # the host's
suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
quietly debootstrap --variant=minbase "$suite" "$system" "$mirror"
# The loader finds what lies relative to a program through /proc.
mountpoint -q "$system/proc" || mount -t proc proc "$system/proc"
# How this machine reaches the mirror.
apt-config dump | grep '^Acquire::' >"$system/etc/apt/apt.conf.d/90acquire" || true
cp build/package/*.deb "$system/root"

echo "== the program"
# apt-get fails if a dependency is not there or names no package.
quietly inside sh -c 'apt-get install -y --no-install-recommends /root/jsontree_*.deb \
    /root/libtviojsontree1_*.deb'
version=$(sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
[ "$(inside jsontree --version)" = "jsontree $version" ] || fail "jsontree --version"
cp data/stations.json "$system/root"
inside jsontree /root/stations.json --depth 1 | grep -q 'stations: array, 2,400 elements' ||
    fail "jsontree shows something else"
inside sh -c 'ldd /usr/bin/jsontree /usr/lib/*/libtviojsontree.so.1 /usr/lib/*/tviojsontree/*.so' \
    >"$work/ldd"
! grep 'not found' "$work/ldd" || fail "libraries are missing"
for file in man/man1/jsontree.1 bash-completion/completions/jsontree doc/jsontree/copyright \
    doc/libtviojsontree1/copyright; do
    # A minimal system leaves manuals out, but no package does.
    inside dpkg -L jsontree libtviojsontree1 | grep -qx "/usr/share/$file" || fail "no $file"
done

echo "== a consumer"
quietly inside sh -c 'apt-get install -y --no-install-recommends /root/libtviojsontree-dev_*.deb \
    g++ cmake ninja-build pkgconf'
cp -r tests/consumer "$system/root/consumer"
quietly inside cmake -S /root/consumer -B /root/build -G Ninja
quietly inside cmake --build /root/build
inside /root/build/consumer
# shellcheck disable=SC2016 # expanded inside
quietly inside sh -c 'g++ -std=c++20 $(pkg-config --cflags tviojsontree) /root/consumer/main.cpp \
    -o /root/plain_consumer $(pkg-config --libs tviojsontree)'
inside /root/plain_consumer

echo "== removal"
quietly inside apt-get purge -y libtviojsontree1
left=$(find "$system/usr" -name '*tviojsontree*' -o -name 'jsontree*' -o -name 'libqx*')
[ -z "$left" ] || fail "left behind: $left"
