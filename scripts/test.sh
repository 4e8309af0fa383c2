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
    say "No long checks yet."
}

# shellcheck disable=SC2086 # a list of words
ensure_packages $test_packages
configure_and_build -DIMGCNV_WERROR=$werror -DIMGCNV_BUILD_TESTS=ON -DIMGCNV_BUILD_EXAMPLES=ON

ctest --preset release --no-tests=error -j "$(nproc)"

if [ $long = yes ]; then
    run_long_checks
fi
