#!/bin/sh
# A raw frame of any format becomes a PPM picture: convert.sh FRAME.raw FORMAT WIDTH HEIGHT OUT.ppm
# A name ending in .png, .tif or .bmp makes that kind of file.
set -eu
exec "${IMGCNV:-imgcnv}" convert "$1" --format "$2" --size "$3x$4" -o "$5"
