#!/bin/sh
# Prints, as Markdown, how fast the engine inside dist/viewer.html is beside the same engine run
# natively with SSE4.1 as its best level: vectors of 16 bytes, as WebAssembly has them. The module
# runs in Node.js, whose WebAssembly is Chromium's. Best on a quiet machine.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"
. "$root/scripts/lib/levels.sh"

needed="$web_build_packages $build_packages"
command -v node >/dev/null || needed="$needed nodejs"
# shellcheck disable=SC2086 # a list of words
ensure_packages $needed
"$root/scripts/build-web.sh" >&2

work=$root/build/bench-web
rm -rf "$work/source"
mkdir -p "$work/source"
copy_tree "$work/source"
without_levels_above sse4 "$work/source"
say "Building the command with SSE4.1 as its best level in build/bench-web" >&2
quietly "$work/configure.log" cmake -S "$work/source" -B "$work/build" -G Ninja \
    -DCMAKE_BUILD_TYPE=Release -DIMGCNV_BUILD_TESTS=OFF
quietly "$work/build.log" cmake --build "$work/build"
exec node "$root/web/tests/speed.mjs" "$work/build/tools/imgcnv"
