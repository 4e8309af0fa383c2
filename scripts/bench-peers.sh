#!/bin/sh
# Builds imgcnv and prints, as Markdown, its speed beside that of OpenCV, libyuv, swscale and
# libdc1394 as far as their -dev packages are installed; with --install they all are, first.
# Other arguments go to imgcnv_bench_peers, see its --help.
# Needs a POSIX shell and apt; what else is missing is installed from Debian.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

# shellcheck disable=SC2086 # a list of words
ensure_packages $bench_packages >&2
if [ "${1-}" = --install ]; then
    shift
    ensure_packages $bench_peers_packages >&2
fi
configure_and_build -DIMGCNV_BUILD_BENCH=ON -DIMGCNV_BUILD_BENCH_PEERS=ON >&2

exec "$root/build/release/bench/peers/imgcnv_bench_peers" "$@"
