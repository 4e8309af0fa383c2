#!/bin/sh
# Builds imgcnv and runs all of its tests.
# Needs a POSIX shell and apt; what else is missing is installed from Debian.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

usage="usage: scripts/test.sh [--werror] [--long]
  --werror  compiler warnings are errors
  --long    also the checks that take minutes: see run_long_checks"

werror=OFF
long=no
for argument in "$@"; do
    case $argument in
        --werror) werror=ON ;;
        --long) long=yes ;;
        -h | --help) say "$usage" && exit 0 ;;
        *) die "unknown argument '$argument'
$usage" ;;
    esac
done

# One line a check. Each is a command that exits non-zero on failure.
run_long_checks() {
    clang_builds_without_a_warning
    "$root/scripts/sanitize.sh"
    "$root/scripts/fuzz.sh" 60
    "$root/scripts/levels-qemu.sh"
    IMGCNV_DOCS_FOR_REAL=1 ctest --preset release --no-tests=error -R '^docs$'
    "$root/scripts/abi.sh"
    "$root/tests/mutation/mutate.py"
}

clang_builds_without_a_warning() {
    ensure_packages clang
    say "Building with Clang in build/clang"
    quietly build/clang-configure.log cmake -S . -B build/clang -G Ninja -DIMGCNV_WERROR=ON \
        -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DIMGCNV_BUILD_FUZZ=ON
    quietly build/clang-build.log cmake --build build/clang
}

# shellcheck disable=SC2086 # a list of words
ensure_packages $test_packages
configure_and_build -DIMGCNV_WERROR=$werror -DIMGCNV_BUILD_TESTS=ON -DIMGCNV_BUILD_EXAMPLES=ON \
    -DIMGCNV_BUILD_FUZZ=ON -DPython3_EXECUTABLE=/usr/bin/python3

ctest --preset release --no-tests=error -j "$(nproc)"

if [ $long = yes ]; then
    run_long_checks
fi
