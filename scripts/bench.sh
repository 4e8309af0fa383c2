#!/bin/sh
# Builds imgcnv and prints how fast every conversion is, against a bare pass
# over the same bytes. Arguments go to build/release/bench/imgcnv_bench, --table by default.
# Needs a POSIX shell and apt; what else is missing is installed from Debian.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

# shellcheck disable=SC2086 # a list of words
ensure_packages $bench_packages
configure_and_build -DIMGCNV_BUILD_BENCH=ON

[ $# -gt 0 ] || set -- --table
exec "$root/build/release/bench/imgcnv_bench" "$@"
