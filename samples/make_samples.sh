#!/bin/sh
# Makes the raw frames of this folder. Usage: make_samples.sh [IMGCNV]
# Needs the imgcnv command and, for the bars, gstreamer1.0-tools and gstreamer1.0-plugins-base.
set -eu
cd "$(dirname "$0")"
imgcnv=${1:-imgcnv}

"$imgcnv" pack coffee.png -f Mono12Packed -o coffee_600x400_Mono12Packed.raw
"$imgcnv" pack coffee.png -f BayerRG12Packed -o coffee_600x400_BayerRG12Packed.raw
"$imgcnv" pack coffee.png -f BayerGB8 -o coffee_600x400_BayerGB8.raw
"$imgcnv" pack chelsea.png -f BayerBG10 -o chelsea_451x300_BayerBG10.raw

# Rows begin every fourth byte: those of IYU1 and IYU2 have 2 bytes of padding at this width.
for format in IYU1 IYU2 UYVY YUY2; do
    gst-launch-1.0 -q videotestsrc num-buffers=1 pattern=smpte ! \
        "video/x-raw,format=$format,width=162,height=120" ! \
        filesink location="bars_162x120_$format.raw"
done
