# Shared by the commands in this folder; to be sourced.
# shellcheck shell=bash

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck disable=SC2034 # for the scripts that source this file
jobs=$(nproc)

build_packages=(g++ cmake ninja-build rapidjson-dev libtbb-dev libboost1.81-dev libicu-dev
    libfast-float-dev libsimdjson-dev)
# What the tests, the benchmarks beside them and the format check add. `binutils` and
# `abigail-tools` read the exported symbols, python3 the includes.
# shellcheck disable=SC2034 # for the scripts that source this file
test_packages=(libgtest-dev libgmock-dev libbenchmark-dev libboost-json1.81-dev
    nlohmann-json3-dev clang-format clang libclang-rt-14-dev abigail-tools binutils python3 pkgconf)

fail() {
    echo "$(basename "$0"): $*" >&2
    exit 1
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        fail "neither root nor sudo; as root, run: $*"
    fi
}

# Installs those of the given Debian packages that are missing; touches nothing, and needs neither
# network nor root, if all are there.
need_packages() {
    local package missing=()
    for package in "$@"; do
        if ! dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed; then
            missing+=("$package")
        fi
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    command -v apt-get >/dev/null || fail "no apt-get here; install by hand: ${missing[*]}"
    echo "Installing ${missing[*]}" >&2
    local log
    log=$(mktemp)
    if ! { as_root env DEBIAN_FRONTEND=noninteractive apt-get -q update &&
        as_root env DEBIAN_FRONTEND=noninteractive apt-get -qy install --no-install-recommends \
            "${missing[@]}"; } >"$log" 2>&1 </dev/null; then
        cat "$log" >&2
        rm -f "$log"
        fail "cannot install ${missing[*]}"
    fi
    rm -f "$log"
}

# Everything that building the library and the example program needs.
need_build_packages() {
    need_packages "${build_packages[@]}"
}

# Compiles through ccache if it is installed; nothing needs it.
use_ccache() {
    if command -v ccache >/dev/null; then
        export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
        export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1
    fi
}

# Runs a command, and shows its output only if it fails.
quietly() {
    local log status=0
    log=$(mktemp)
    "$@" >"$log" 2>&1 </dev/null || status=$?
    [ "$status" -eq 0 ] || cat "$log" >&2
    rm -f "$log"
    return "$status"
}

# The C++ files of the project, one a line, relative to its root.
cpp_files() {
    git -C "$root" ls-files '*.cpp' '*.hpp' 2>/dev/null | grep . ||
        (cd "$root" && find include src host tests bench fuzz examples -name '*.[ch]pp' | sort)
}

check_format() {
    (cd "$root" && cpp_files | xargs -r clang-format --dry-run -Werror)
}
