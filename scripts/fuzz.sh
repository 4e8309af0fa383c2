#!/bin/sh
# Fuzzes for as long as is wished. Needs a POSIX shell and apt; what else is missing is installed
# from Debian.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

usage="usage: scripts/fuzz.sh [SECONDS | --minimise] [NAME...]
  SECONDS     for each fuzzer, one after the other; 60 when not given
  --minimise  does not fuzz, but leaves in fuzz/corpus the fewest inputs that reach as much of the
              code as all of them and those found on the way
  NAME        convert, turn, api, frame_names, guess, pipeline; all of them when none is named

Inputs found on the way are kept in build/fuzz-inputs and used again the next time. An input that
shows a fault is written to build/fuzz-faults; run it alone with

    build/fuzz/fuzz/fuzz_NAME_replay FILE

and once the fault is mended keep it in fuzz/regressions/fuzz_NAME."

case ${1-} in -h | --help) say "$usage" && exit 0 ;; esac
seconds=${1-60}
case $seconds in --minimise) ;; '' | *[!0-9]*) die "expected a number of seconds, not '$seconds'
$usage" ;; esac
[ $# -eq 0 ] || shift
[ $# -gt 0 ] || set -- convert turn api frame_names guess pipeline

# shellcheck disable=SC2086 # a list of words
ensure_packages $build_packages $clang_packages
mkdir -p "$root/build/fuzz-faults"
cd "$root"
say "Building the fuzzers in build/fuzz"
quietly build/fuzz-configure.log cmake --preset fuzz -DIMGCNV_BUILD_TESTS=OFF -DIMGCNV_BUILD_TOOLS=OFF
quietly build/fuzz-build.log cmake --build --preset fuzz

for name in "$@"; do
    [ -x "build/fuzz/fuzz/fuzz_$name" ] || die "no fuzzer '$name'
$usage"
    inputs=build/fuzz-inputs/$name
    log=build/fuzz-$name.log
    mkdir -p "$inputs"
    if [ "$seconds" = --minimise ]; then
        fewest=build/fuzz-fewest
        rm -rf "$fewest" && mkdir "$fewest"
        "build/fuzz/fuzz/fuzz_$name" -set_cover_merge=1 -max_len=2048 "$fewest" \
            "$inputs" "fuzz/corpus/fuzz_$name" >"$log" 2>&1 || die "see $log"
        rm -r "fuzz/corpus/fuzz_$name" && mv "$fewest" "fuzz/corpus/fuzz_$name"
        say "fuzz_$name: $(find "fuzz/corpus/fuzz_$name" -type f | wc -l) inputs"
        continue
    fi
    if ! "build/fuzz/fuzz/fuzz_$name" -max_total_time="$seconds" -max_len=2048 -verbosity=0 \
        -print_final_stats=1 -artifact_prefix="build/fuzz-faults/${name}_" \
        "$inputs" "fuzz/corpus/fuzz_$name" >"$log" 2>&1; then
        tail -n 60 "$log" >&2
        die "fuzz_$name found a fault; the input is in build/fuzz-faults"
    fi
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
    say "fuzz_$name: $runs inputs in $seconds seconds, no fault"
done
