#!/bin/sh
# Builds the wheel without the network: build_wheel.sh BUILD [FOLDER]
# BUILD is CMake's build folder, whose libraries are included; FOLDER receives the wheel (default: .).
# The same sources and libraries give the same bytes. Needs Debian's python3-build,
# python3-setuptools, python3-wheel and binutils.
set -eu
if [ $# -lt 1 ] || [ ! -f "$1/CMakeCache.txt" ]; then
    echo "usage: build_wheel.sh BUILD [FOLDER]     BUILD: the folder that CMake built in" >&2
    exit 2
fi
build=$1
folder=${2:-.}
mkdir -p "$folder"
folder=$(realpath "$folder")
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

# Building leaves files beside its sources: let it do so in a copy.
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
umask 022
mkdir -p "$copy/include" "$copy/python/imgcnv"
cp "$root/include/imgcnv.h" "$copy/include/"
cd "$root/python"
cp pyproject.toml setup.py README.md ../LICENSE "$copy/python/"
for file in imgcnv/*.py imgcnv/py.typed; do
    [ ! -f "$file" ] || cp "$file" "$copy/python/imgcnv/"
done
cd - >/dev/null
cmake --install "$build" --component libraries --strip --prefix "$copy/installed" >/dev/null

cd "$copy/python"
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(source_date)}
IMGCNV_INSTALLED=$copy/installed
export SOURCE_DATE_EPOCH IMGCNV_INSTALLED
quietly "$copy/build.log" /usr/bin/python3 -m build --wheel --no-isolation --outdir "$folder" .
ls "$folder"/imgcnv-*.whl
