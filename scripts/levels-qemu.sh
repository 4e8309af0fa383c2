#!/bin/sh
# Converts with the shared library on emulated CPUs of several generations and compares the pictures
# of all conversions with those of this machine's CPU. An instruction that is too new for a CPU ends
# the emulation. Needs a POSIX shell and apt; what else is missing is installed from Debian.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

# shellcheck disable=SC2086 # a list of words
ensure_packages $test_packages
configure_and_build -DIMGCNV_BUILD_TESTS=ON -DIMGCNV_BUILD_FUZZ=ON
load=$root/build/release/tests/load/imgcnv_load

here=$("$load" digest)
say "$here  this CPU"
for cpu in qemu64 core2duo Nehalem SandyBridge Haswell max; do
    there=$(qemu-x86_64 -cpu "$cpu" "$load" digest) || die "the library fails on a $cpu CPU"
    say "$there  $cpu"
    [ "$there" = "$here" ] || die "a $cpu CPU gives other pictures than this one"
done

# The fuzzers' inputs on every level that the newest emulated CPU has.
for name in convert turn; do
    qemu-x86_64 -cpu max "$root/build/release/fuzz/fuzz_${name}_replay" \
        "$root/fuzz/corpus/fuzz_$name" 2>"$root/build/qemu-$name.log" ||
        die "a level differs from the plain one: $root/build/qemu-$name.log"
done
