#!/bin/sh
# Builds the wheel without the network: build_wheel.sh LIBRARY [FOLDER]
# LIBRARY is the built libimgcnv.so to include, FOLDER receives the wheel (default: .).
# Needs Debian's python3-build, python3-setuptools and python3-wheel.
set -eu
if [ $# -lt 1 ] || [ ! -f "$1" ]; then
    echo "usage: build_wheel.sh path/to/libimgcnv.so [folder]" >&2
    exit 2
fi
IMGCNV_LIBRARY=$(realpath "$1")
export IMGCNV_LIBRARY
folder=${2:-.}
mkdir -p "$folder"
folder=$(realpath "$folder")
here=$(cd "$(dirname "$0")" && pwd)

# Building leaves files beside its sources: let it do so in a copy.
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
mkdir "$copy/include"
cp "$here/../include/imgcnv.h" "$copy/include/"
mkdir -p "$copy/python/imgcnv"
cp "$here/pyproject.toml" "$here/setup.py" "$here/README.md" "$copy/python/"
cp "$here"/imgcnv/*.py "$here/imgcnv/py.typed" "$here/imgcnv/_format_names.json" "$copy/python/imgcnv/"
cp "$here/../LICENSE" "$copy/python/"

cd "$copy/python"
if ! /usr/bin/python3 -m build --wheel --no-isolation --outdir "$folder" . >build.log 2>&1; then
    cat build.log >&2
    exit 1
fi
ls "$folder"/imgcnv-*.whl
