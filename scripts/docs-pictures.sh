#!/bin/sh
# Makes every picture of the documentation, from samples/ with our own command, and fills the
# tables that follow from the format table and from the measurement of quality. Screenshots of windows
# stay as they are; scripts/test-web.sh --picture makes that of the viewer.
# Needs a POSIX shell and apt; what else is missing is installed from Debian.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

# shellcheck disable=SC2086 # a list of words
ensure_packages $pictures_packages
configure_and_build

made=build/pictures
rm -rf "$made"
mkdir "$made"
cp docs/pictures/imgcnv-live.png docs/pictures/viewer.png "$made"
/usr/bin/python3 tests/docs/format_tables.py build/release/frames/libimgcnv_frames.so docs/formats.md README.md
/usr/bin/python3 docs/pictures/make_pictures.py build/release/tools/imgcnv \
    build/release/src/libimgcnv.so "$made" >build/pictures.log
"$root/bench/quality.sh" "$made"

# Nothing is left out, and nothing that no page shows is kept.
grep -oh 'pictures/[A-Za-z0-9_-]*\.png' README.md docs/*.md | sort -u >build/pictures-shown
(cd build && ls pictures/*.png) | sort | diff build/pictures-shown - ||
    die "the pages show other pictures (<) than are made (>)"
changed=
for picture in "$made"/*.png; do
    cmp -s "$picture" "docs/pictures/${picture##*/}" || changed="$changed ${picture##*/}"
done
rm -f docs/pictures/*.png
cp "$made"/*.png docs/pictures
say "$(wc -l <build/pictures-shown) pictures, changed:${changed:- none}"
