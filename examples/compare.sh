#!/bin/sh
# compare.sh SAMPLES FOLDER PROGRAM...: every program makes the same picture of the same frame, also
# when its bytes are taken for a frame of odd width and height, and refuses a name that is not a format.
set -eu
samples=$1 folder=$2
shift 2
sample=$(ls "$samples"/*_BayerRG12Packed.raw | head -n 1)
size=${sample%_*}
for size in "${size##*_}" 601x399; do
    width=${size%x*} height=${size#*x} first=
    frame=$folder/frame.raw
    head -c $(((width * 3 + 1) / 2 * height)) "$sample" >"$frame"
    for program in "$@"; do
        picture=$folder/$(basename "$program").ppm
        rm -f "$picture"
        "$program" "$frame" bayer_rg12_packed "$width" "$height" "$picture"
        if [ -z "$first" ]; then
            first=$picture
            [ "$(wc -c <"$picture")" -gt $((width * height * 3)) ]
        fi
        cmp "$first" "$picture"
    done
done
for program in "$@"; do
    if "$program" "$frame" RGB99 8 8 "$folder/none.ppm" 2>"$folder/why"; then
        echo "$program takes RGB99 for a format" >&2
        exit 1
    fi
    grep -q "unknown format 'RGB99'" "$folder/why"
done
