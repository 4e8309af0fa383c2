#!/bin/sh
# Runs the tests under sanitizers. Needs a POSIX shell and apt; what else is missing is installed
# from Debian.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

usage="usage: scripts/sanitize.sh [NAME...]     all of them when none is named
  asan      addresses and leaks, the whole suite
  ubsan     undefined behaviour, the whole suite
  tsan      races: all conversions, and many pipelines, on many threads at once
  msan      uninitialised bytes, every level, over the fuzzers' inputs
  integer   wrapping and lossy conversions, over the fuzzers' inputs
  valgrind  uninitialised bytes and addresses in the unsanitized suite, on the plain level"

jobs=$(nproc)

# build PRESET TARGET...
build() {
    preset=$1
    shift
    mkdir -p "$root/build"
    say "Building with the preset $preset"
    cd "$root"
    quietly "build/$preset-configure.log" cmake --preset "$preset" $options
    quietly "build/$preset-build.log" cmake --build --preset "$preset" -j "$jobs" --target "$@"
}

# run PRESET CTEST_ARGUMENT...
run() {
    preset=$1
    shift
    (cd "$root" && ctest --preset "$preset" --no-tests=error -j "$jobs" "$@")
}

fuzzers='fuzz_convert_replay fuzz_turn_replay fuzz_api_replay'

# Compilers' own behaviour on headers and other projects' builds are not what is looked for here.
elsewhere='header_alone|header_rejects|consumer|old_cpu|level_code|callers.looked_up'

sanitize() {
    options=
    case $1 in
        asan | ubsan)
            options=-DIMGCNV_BUILD_FUZZ=ON
            build "$1" all
            run "$1" -E "$elsewhere"
            ;;
        tsan)
            build tsan imgcnv_load imgcnv_frames_tests
            run tsan -R '^(load\.(threads|handles)|frames\.threads)$'
            ;;
        msan | integer)
            # shellcheck disable=SC2086 # a list of words
            build "$1" $fuzzers
            run "$1" -R '^fuzz_(convert|turn|api)_replay$'
            ;;
        valgrind)
            build release imgcnv_level_tests
            # Left out: what runs all of 2^24 colours, and what counts or exhausts memory itself.
            valgrind --quiet --error-exitcode=9 --track-origins=yes --undef-value-errors=yes \
                "$root/build/release/tests/imgcnv_level_tests" --level=plain --gtest_brief=1 \
                --gtest_filter='-Levels.*:*All*:Photo.*:Stack.*:Allocation*'
            ;;
        *) die "unknown sanitizer '$1'
$usage" ;;
    esac
    say "$1: nothing found"
}

case ${1-} in -h | --help) say "$usage" && exit 0 ;; esac
[ $# -gt 0 ] || set -- asan ubsan tsan msan integer valgrind
# shellcheck disable=SC2086 # a list of words
ensure_packages $test_packages $clang_packages valgrind
for name in "$@"; do sanitize "$name"; done
