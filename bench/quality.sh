#!/bin/sh
# How near demosaicing comes to the photograph a mosaic was made of, beside OpenCV; writes the tables
# of docs/quality.md, and its crops into FOLDER, docs/pictures if none is given. Photographs and OpenCV
# come from Debian packages, which are installed if they are missing.
#
#     bench/quality.sh [FOLDER]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

# shellcheck disable=SC2086 # a list of words
ensure_packages $quality_packages
configure_and_build
PYTHONPATH=python IMGCNV_LIBRARY=build/release/src/libimgcnv.so PYTHONDONTWRITEBYTECODE=1 \
    /usr/bin/python3 bench/quality.py docs/quality.md "${1-docs/pictures}"
