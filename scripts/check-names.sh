#!/bin/sh
# Names in the C++ sources by the style that .clang-tidy states. Arguments: files or folders, all
# sources of the library by default. Needs a POSIX shell and apt; what else is missing is installed
# from Debian.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

# shellcheck disable=SC2086 # a list of words
ensure_packages $build_packages $names_packages
cd "$root"
mkdir -p build
quietly build/names-configure.log cmake -S . -B build/names -G Ninja \
    -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang \
    -DIMGCNV_BUILD_TESTS=OFF
[ $# -gt 0 ] || set -- src
is_compiled_here() { grep -qF "\"file\": \"$root/$1\"" build/names/compile_commands.json; }
# Warnings of a level's own flags have nothing to do with names. Levels of other processors are left out.
find "$@" -name '*.cpp' | sort | while read -r file; do
    if is_compiled_here "$file"; then echo "$file"; fi
done | xargs -P "$(nproc)" -n 1 \
    clang-tidy -p build/names --quiet --extra-arg=-w
say "names: as .clang-tidy says"
