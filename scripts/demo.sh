#!/bin/sh
# Builds imgcnv and turns the bundled raw frame into a picture.
# Needs a POSIX shell and apt; what else is missing is installed from the distribution.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

case $*:$# in
    :0) ;;
    -h:1 | --help:1) say "usage: scripts/demo.sh [--yes]     --yes: missing packages are installed without asking" && exit 0 ;;
    *) die "unknown argument '$1' (usage: scripts/demo.sh [--yes])" ;;
esac

# shellcheck disable=SC2086 # a list of words
ensure_packages $build_packages
configure_and_build

frame=samples/coffee_600x400_BayerRG12Packed.raw
picture=build/demo.png
build/release/tools/imgcnv convert "$frame" --format BayerRG12Packed --size 600x400 -o "$picture"

say "
$frame is a frame as a colour camera sends it: one red, green or blue
sample per pixel, 12 bits each, two pixels in three bytes. The picture made of it,

    $root/$picture

shows a cup of coffee on a red saucer, on a wooden table."
