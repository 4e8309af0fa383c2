#!/bin/sh
# Cross-builds the library for 64-bit ARM and tests it under emulation: every level against the
# plain one, the exported functions on each level, the exported symbols, and that the pictures of
# all conversions are those of this machine. On an ARM machine scripts/test.sh does all this.
# Needs a POSIX shell and apt; what else is missing is installed from Debian.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

# shellcheck disable=SC2086 # a list of words
ensure_packages $build_packages libgtest-dev g++-aarch64-linux-gnu qemu-user-static googletest
cd "$root"
mkdir -p build
arm=$root/build/aarch64
toolchain=$root/cmake/aarch64-linux-gnu.cmake

say "Cross-building for aarch64 in build/aarch64"
quietly build/aarch64-gtest.log cmake -S /usr/src/googletest -B "$arm/gtest-build" -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release -DBUILD_GMOCK=OFF \
    -DCMAKE_INSTALL_PREFIX="$arm/gtest"
quietly build/aarch64-gtest.log cmake --build "$arm/gtest-build" --target install
quietly build/aarch64-configure.log cmake -S . -B "$arm" -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$arm/gtest" \
    -DIMGCNV_BUILD_TOOLS=OFF -DIMGCNV_WERROR=ON
quietly build/aarch64-build.log cmake --build "$arm" \
    --target imgcnv imgcnv_tests imgcnv_level_tests imgcnv_load

run() { qemu-aarch64-static -L /usr/aarch64-linux-gnu "$@"; }

ctest --test-dir "$arm" --no-tests=error --output-on-failure -R '^(exports|includes\..*)$'
# Left to the CPU at hand: what goes through millions of colours one by one, frames that no cache
# holds, and the stack of real threads, of which the emulator reports nothing.
not_exhaustive='-Levels*:Color.*All*:Stack.*'
for level in plain neon; do
    say "exported functions, level $level"
    run "$arm/tests/imgcnv_level_tests" --level=$level --gtest_filter="$not_exhaustive" --gtest_brief=1
done
say "the shared library"
run "$arm/tests/imgcnv_tests" --gtest_filter="$not_exhaustive" --gtest_brief=1
say "every level against the plain one"
run "$arm/tests/imgcnv_level_tests" --gtest_filter='Levels.*' --gtest_brief=1

say "the pictures of all conversions"
quietly build/configure.log cmake --preset release -DIMGCNV_BUILD_TESTS=ON
quietly build/build.log cmake --build --preset release --target imgcnv_load
here=$(build/release/tests/load/imgcnv_load digest)
there=$(run "$arm/tests/load/imgcnv_load" digest)
say "$here  this CPU"
say "$there  aarch64"
[ "$here" = "$there" ] || die "aarch64 gives other pictures than this CPU"
