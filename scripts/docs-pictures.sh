#!/bin/sh
# Makes every picture of the documentation anew, from samples/ with our own command, and fills the
# tables that follow from the format table.
# Needs a POSIX shell and apt; what else is missing is installed from Debian.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

# shellcheck disable=SC2086 # a list of words
ensure_packages $build_packages python3 python3-numpy python3-pil
configure_and_build

/usr/bin/python3 tests/docs/format_tables.py build/release/tools/imgcnv docs/formats.md README.md
/usr/bin/python3 docs/pictures/make_pictures.py build/release/tools/imgcnv \
    build/release/src/libimgcnv.so docs/pictures
