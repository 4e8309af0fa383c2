#!/bin/sh
# Tests dist/viewer.html, which it builds, in Chromium without a network, against the imgcnv command.
# With --picture it also makes the screenshot docs/pictures/viewer.png.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

# Where Node.js is not Debian's it brings npm along.
needed=$web_packages
command -v npm >/dev/null || needed="$needed nodejs npm"
# shellcheck disable=SC2086 # a list of words
ensure_packages $needed
"$root/scripts/build-web.sh"
cd "$root"
say "Building the libraries for WebAssembly without vectors in build/web-plain"
quietly build/web-plain-configure.log emcmake cmake -S . -B build/web-plain -G Ninja \
    -DCMAKE_BUILD_TYPE=Release -DIMGCNV_WASM_SIMD=OFF -DIMGCNV_BUILD_TOOLS=OFF \
    -DIMGCNV_BUILD_TESTS=OFF -DIMGCNV_INSTALL=OFF
quietly build/web-plain-build.log cmake --build build/web-plain --target imgcnv imgcnv_frames
configure_and_build
cd "$root/web/tests"
quietly "$root/build/web-npm.log" npm ci --no-audit --no-fund
# In order of their names; a browser each would take the CPUs from each other.
node --test viewer.test.mjs || {
    say "Once more: what failed may only have waited too long for the processor"
    node --test viewer.test.mjs
}
[ "${1-}" != --picture ] || cp "$root/build/web/screenshots/viewer.png" "$root/docs/pictures/viewer.png"
