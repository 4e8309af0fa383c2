#!/bin/sh
# check_hardening.sh PROGRAM: built so that common faults end it instead of being of use to anybody.
set -eu
export LC_ALL=C
failed=0
# expect WHAT PATTERN COMMAND...
expect() {
    what=$1 pattern=$2
    shift 2
    "$@" | grep -Eq "$pattern" || { echo "no $what"; failed=1; }
}
expect 'position-independent executable' 'FLAGS_1.*PIE' readelf --dynamic --wide "$1"
expect 'immediate binding' 'FLAGS_1.*NOW' readelf --dynamic --wide "$1"
expect 'read-only relocations' 'GNU_RELRO' readelf --program-headers --wide "$1"
expect 'stack protector' '__stack_chk_fail' readelf --dyn-syms --wide "$1"
expect 'fortified functions' '__[a-z]+_chk' sh -c 'readelf --dyn-syms --wide "$1" | grep -v stack_chk' - "$1"
expect 'checks of the standard library' '__glibcxx_assert_fail' readelf --dyn-syms --wide "$1"
if [ "$(uname -m)" = x86_64 ]; then
    expect 'indirect branch targets' 'endbr64' objdump --disassemble=main "$1"
fi
exit $failed
