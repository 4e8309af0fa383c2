#!/bin/sh
# compare.sh SAMPLES FOLDER PROGRAM...: every program makes the same picture of the same frame.
set -eu
samples=$1 folder=$2
shift 2
frame=$(ls "$samples"/*_BayerRG12Packed.raw | head -n 1)
size=${frame%_*}
size=${size##*_}
first=
for program in "$@"; do
    picture=$folder/$(basename "$program").ppm
    rm -f "$picture"
    "$program" "$frame" "${size%x*}" "${size#*x}" "$picture"
    if [ -z "$first" ]; then
        first=$picture
        [ "$(wc -c <"$picture")" -gt 10000 ]
    fi
    cmp "$first" "$picture"
done
