#!/bin/sh
# A raw BayerRG12Packed frame becomes a PPM picture: convert.sh FRAME.raw WIDTH HEIGHT OUT.ppm
# A name ending in .png, .tif or .bmp makes that kind of file.
set -eu
exec "${IMGCNV:-imgcnv}" convert "$1" --format BayerRG12Packed --size "$2x$3" -o "$4"
