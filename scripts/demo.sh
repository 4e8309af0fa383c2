#!/bin/sh
# Builds imgcnv and turns the bundled raw frame into a picture.
# Needs a POSIX shell and apt; what else is missing is installed from Debian.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

# shellcheck disable=SC2086 # a list of words
ensure_packages $build_packages
configure_and_build

# A frame's geometry is no part of a raw file; that of the samples is in their names:
# NAME_WIDTHxHEIGHT_FORMAT.raw
frame=$(ls "$root"/samples/*_BayerRG12Packed.raw | head -n 1)
format=${frame##*_}
format=${format%.raw}
size=${frame%_*}
size=${size##*_}
picture=$root/build/demo.png

"$root/build/release/tools/imgcnv" convert "$frame" --format "$format" --size "$size" -o "$picture"

say ""
say "The raw frame   ${frame#"$root"/} ($format, $size pixels)"
say "is a picture:   $picture"
