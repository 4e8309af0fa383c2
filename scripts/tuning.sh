#!/bin/sh
# Measures what each special case of src/ buys: builds the library with and without it, and compares
# the two builds in one process. Prints the rows of the table in docs/tuning.md. Each special case
# takes the time of building the library; arguments choose some by name. `--level sse4` or
# `--level avx2` leaves out the stronger levels, which is how a weaker CPU would run the library. Best
# on a quiet machine. Needs a POSIX shell and apt; what else is missing is installed from Debian.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"
. "$root/scripts/lib/levels.sh"

level=
if [ "${1-}" = --level ]; then
    level=${2:?"--level needs the name of a level"}
    case $level in sse4 | avx2) ;; *) die "--level $level: sse4 or avx2" ;; esac
    shift 2
fi

# name | file | edit that takes it away | rows it concerns | sizes
switches() {
    cat <<'END'
unroll|src/mono/mono_simd.h|s/kUnroll = kTarget == kGrey1 . 4 : 1/kUnroll = 1/|Mono|640x480 1920x1200
pipeline|src/simd/row.h|s/kPipelined = .*;/kPipelined = false;/|mono8|640x480 1920x1200
load-ahead|src/simd/row.h|s/kAhead = 1024/kAhead = 0/|mono8|640x480 5120x3840
load-ahead-streaming|src/simd/streaming.h|s/kAhead = 256/kAhead = 0/|YUV|5120x3840
next-row|src/bayer/lanes_simd.h|s/if (kOnceALine .*) return;/return;/|Bayer|640x480 5120x3840
next-row-once|src/bayer/lanes_simd.h|s/kOnceALine = V::kBytes == 16/kOnceALine = false/|Bayer|640x480 1920x1200
rgb-to-bgr|src/color/color_simd.h|s/V::swap_rb3(in.0., out.0.)/store_all<V, kCba>(out, ColorBlocks<V, kRgb8>::load(in))/|RGB8 bgr24|640x480 1920x1200
aligned-stores|src/simd/streaming.h|s/pixels < kLong/true/|8|640x480 1920x1200
streaming|src/converter/kernels_for_frame.h|s/size_t{[0-9]*} << 20/~size_t{0}/||5120x3840
rotation-ahead|src/api/rotate_simd.h|s/if (fetch /if (false /|Rotation|1920x1200 5120x3840
rotation-bands|src/api/rotate_simd.h|s/kBandRows = 512/kBandRows = size_t{1} << 40/|Rotation|4096x3000 5120x3840
gathered-rotation|src/api/rotate_simd.h|s/src_step % conflict == 0 .. dst_step % conflict == 0/false/|Rotation|2048x1088 1280x1024
slp|src/CMakeLists.txt|s/COMPILE_OPTIONS -fno-tree-slp-vectorize/COMPILE_OPTIONS -DNDEBUG/|Bayer|640x480
END
}

# shellcheck disable=SC2086 # a list of words
ensure_packages $build_packages
work=$root/build/tuning
mkdir -p "$work"

build_library() { # FOLDER: the library from the sources in it
    without_levels_above "$level" "$1"
    quietly "$work/configure.log" cmake -S "$1" -B "$1/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DIMGCNV_BUILD_TOOLS=OFF -DIMGCNV_BUILD_TESTS=OFF
    quietly "$work/build.log" cmake --build "$1/build" --target imgcnv
}

${CXX:-c++} -std=c++20 -O2 -I"$root/include" "$root/bench/compare_builds.cpp" -o "$work/compare" -ldl
rm -rf "$work/with" "$work/without"
mkdir "$work/with"
copy_tree "$work/with"
build_library "$work/with"

say "$(grep -m1 'model name' /proc/cpuinfo | sed 's/.*: //'), $(${CXX:-c++} --version | head -1)${level:+, level $level}"
say 'new / old is: with the special case / without it'
switches | while IFS='|' read -r name file edit rows sizes; do
    case " $* " in "  " | *" $name "*) ;; *) continue ;; esac
    rm -rf "$work/without"
    mkdir "$work/without"
    copy_tree "$work/without"
    sed -i "$edit" "$work/without/$file"
    ! cmp -s "$root/$file" "$work/without/$file" || die "$name: nothing to change in $file"
    build_library "$work/without"
    say "--- $name"
    # shellcheck disable=SC2086 # a list of words
    "$work/compare" "$work/without/build/src/libimgcnv.so" "$work/with/build/src/libimgcnv.so" \
        $sizes --filter="$rows"
done
