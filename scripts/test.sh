#!/bin/sh
# Builds imgcnv and runs its tests.
# Needs a POSIX shell and apt; what else is missing is installed from the distribution.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"
. "$root/scripts/lib/clean_root.sh"

usage="usage: scripts/test.sh [--werror] [--clang] [--quick] [--all] [--long] [--yes]
  --werror  compiler warnings are errors
  --clang   also builds everything with Clang, whose warnings are errors
  --quick   leaves out the slowest tests, of what is the same on every system
  --all     everything that a push is tested with: --werror, --clang, names, the parts for browsers
            and ARM, the packages, and demo and tests on a bare system of the other Debian release
            (as root; see steps_of_all)
  --long    also the checks that take many minutes: see long_checks
  --yes     installs missing packages without asking"

werror=OFF clang=no quick=no all=no long=no
for argument in "$@"; do
    case $argument in
        --werror) werror=ON ;;
        --clang) clang=yes ;;
        --quick) quick=yes ;;
        --all) all=yes werror=ON ;;
        --long) long=yes ;;
        -h | --help) say "$usage" && exit 0 ;;
        *) die "unknown argument '$argument'
$usage" ;;
    esac
done

tests() {
    # shellcheck disable=SC2086 # a list of words
    ensure_packages $test_packages $gstreamer_packages $live_packages $clusters_packages
    configure_and_build -DIMGCNV_WERROR=$werror -DIMGCNV_BUILD_TESTS=ON -DIMGCNV_BUILD_EXAMPLES=ON \
        -DIMGCNV_BUILD_FUZZ=ON -DIMGCNV_BUILD_GSTREAMER=ON -DIMGCNV_BUILD_LIVE=ON \
        -DPython3_EXECUTABLE=/usr/bin/python3
    left_out=
    [ $quick = no ] || left_out='-LE slow'
    # shellcheck disable=SC2086 # no option or two words
    ctest --preset release --no-tests=error -j "$(nproc)" $left_out && return
    say "Once more, one at a time: what failed may only have waited too long for the processor"
    ctest --preset release --rerun-failed --no-tests=error -j 1
}

# Without optimisation and symbols: Clang warns of the same in less time.
clang_builds_without_a_warning() {
    # shellcheck disable=SC2086 # a list of words
    ensure_packages $test_packages $gstreamer_packages $live_packages $clang_packages
    cd "$root"
    say "Building with $(clang --version | head -n 1) in build/clang"
    quietly build/clang-configure.log cmake -S . -B build/clang -G Ninja -DIMGCNV_WERROR=ON \
        -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_FLAGS_DEBUG= -DCMAKE_CXX_FLAGS_DEBUG= \
        -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
        -DIMGCNV_BUILD_EXAMPLES=ON -DIMGCNV_BUILD_FUZZ=ON \
        -DIMGCNV_BUILD_GSTREAMER=ON -DIMGCNV_BUILD_LIVE=ON
    quietly build/clang-build.log cmake --build build/clang
}

# What else the newest compilers and packages find: the other of the two Debian releases that most
# people have, with nothing installed. Demo and tests share one build.
other_debian() {
    other=trixie
    [ "$(own_suite)" != trixie ] || other=bookworm
    [ "$(id -u)" != 0 ] || ensure_packages debootstrap
    clean_root_possible || return 77
    "$root/scripts/clean-machine.sh" --suite $other scripts/package-names.sh scripts/demo.sh \
        'scripts/test.sh --werror --clang --quick'
}

# Without debugging symbols, which take half of the time and change nothing that is tested.
packages() {
    [ "$(id -u)" != 0 ] || ensure_packages debootstrap
    clean_root_possible || return 77
    DEB_CFLAGS_APPEND=-g0 DEB_CXXFLAGS_APPEND=-g0 \
        DEB_BUILD_OPTIONS="parallel=$(nproc) noautodbgsym" "$root/scripts/test-debs.sh"
}

# step NAME COMMAND...: runs it whatever became of earlier steps. Status 77 says that it cannot be
# run here, which is a failure where CI is set: what nobody looks at must not be left out. On a very
# slow machine the last steps are not begun, so that the others are not stopped from outside.
passed=0 failed=0 skipped=0 summary=
step() {
    name=$1
    shift
    if [ $(($(date +%s) - all_started)) -gt $((45 * 60)) ]; then
        skipped=$((skipped + 1))
        summary="$summary     0 s  $name: NOT BEGUN, 45 MINUTES ARE OVER
"
        return
    fi
    say "=== $name"
    started=$(date +%s)
    set +e
    (set -e && "$@")
    status=$?
    set -e
    case $status:${CI-} in
        0:*) passed=$((passed + 1)) outcome=passed ;;
        77:) skipped=$((skipped + 1)) outcome='SKIPPED, THIS WAS NOT TESTED' ;;
        *) failed=$((failed + 1)) outcome=FAILED ;;
    esac
    seconds=$(($(date +%s) - started))
    say "=== $name: $outcome after $seconds seconds"
    summary="$summary$(printf '%6d s  %s: %s' $seconds "$name" "$outcome")
"
}

steps_of_all() {
    all_started=$(date +%s)
    step 'tests' tests
    step 'Clang' clang_builds_without_a_warning
    step 'names' "$root/scripts/check-names.sh"
    step 'web' "$root/scripts/test-web.sh"
    step 'arm' "$root/scripts/test-arm.sh"
    step 'other Debian' other_debian
    step 'packages' packages
}

# One line a check. Each is a command that exits non-zero on failure.
long_checks() {
    "$root/scripts/sanitize.sh"
    "$root/scripts/fuzz.sh" 60
    "$root/scripts/levels-qemu.sh"
    IMGCNV_DOCS_FOR_REAL=1 ctest --preset release --no-tests=error -R '^docs$'
    "$root/scripts/abi.sh"
    "$root/tests/mutation/mutate.py"
}

if [ $all = yes ]; then
    steps_of_all
    say "
Steps of scripts/test.sh --all:
$summary"
    say "$passed passed, $failed failed, $skipped skipped"
    [ $failed = 0 ] || exit 1
else
    tests
    if [ $clang = yes ] || [ $long = yes ]; then clang_builds_without_a_warning; fi
fi
if [ $long = yes ]; then
    cd "$root"
    long_checks
fi
