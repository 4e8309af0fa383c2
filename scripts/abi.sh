#!/bin/sh
# Compares the libraries' binary interfaces (functions, types, layouts, virtual functions) with those
# of the release line, tests/abi/*.abi. Needs a POSIX shell and apt; what else is missing is
# installed from Debian.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

usage="usage: scripts/abi.sh [--update]
  --update  makes today's interfaces the ones to compare with: with a new major version only, or
            when something was added"

case ${1-} in
    '' | --update) ;;
    -h | --help) say "$usage" && exit 0 ;;
    *) die "unknown argument '$1'
$usage" ;;
esac

# shellcheck disable=SC2086 # a list of words
ensure_packages $abi_packages
cd "$root"
mkdir -p build
# Unoptimised: the interface is the same and the build quicker.
say "Building with debug information in build/abi"
quietly build/abi-configure.log cmake -S . -B build/abi -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DIMGCNV_BUILD_TOOLS=OFF -DIMGCNV_BUILD_TESTS=OFF
quietly build/abi-build.log cmake --build build/abi --target imgcnv imgcnv_frames

# Compiled programs rely on the layout of libimgcnv's class too, which src/ declares. What
# libimgcnv_frames hands out as pointers only may change.
for library in build/abi/src/libimgcnv.so build/abi/frames/libimgcnv_frames.so; do
    name=$(basename $library .so)
    baseline=tests/abi/$name.abi
    abidw --no-corpus-path --no-comp-dir-path --no-show-locs --exported-interfaces-only \
        --headers-dir include --headers-dir src --drop-private-types \
        --out-file "build/abi/$name.abi" $library
    if [ "${1-}" = --update ]; then
        cp "build/abi/$name.abi" "$baseline"
        say "Written: $baseline"
    elif ! abidiff --no-show-locs "$baseline" "build/abi/$name.abi" >"build/abi-$name.log" 2>&1; then
        cat "build/abi-$name.log" >&2
        die "the binary interface of $name has changed: programs built with the release line may break.
Undo the change; or, when it only adds to the interface or comes with a new major version,
run scripts/abi.sh --update."
    else
        say "The binary interface of $name is that of the release line."
    fi
done
