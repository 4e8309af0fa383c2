#!/bin/sh
# Makes dist/viewer.html, the page that shows raw dumps in a browser: one file, WebAssembly included.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

# shellcheck disable=SC2086 # a list of words
ensure_packages $web_build_packages
cd "$root"
mkdir -p build dist
say "Building the WebAssembly module in build/web"
quietly build/web-configure.log emcmake cmake -S . -B build/web -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DIMGCNV_BUILD_WEB=ON -DIMGCNV_BUILD_TOOLS=OFF -DIMGCNV_BUILD_TESTS=OFF -DIMGCNV_INSTALL=OFF
quietly build/web-build.log cmake --build build/web
say "$(wc -c <build/web/web/viewer.html) bytes: dist/viewer.html"
cp build/web/web/viewer.html dist/viewer.html
