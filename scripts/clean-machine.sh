#!/bin/sh
# Runs commands of this source tree on a Debian system that has nothing installed.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"
. "$root/scripts/lib/clean_root.sh"

usage="usage: sudo scripts/clean-machine.sh [--suite SUITE] COMMAND...
  --suite SUITE  bookworm, trixie or another that the mirror has; this machine's when not given

For example: sudo scripts/clean-machine.sh --suite trixie scripts/demo.sh 'scripts/test.sh --werror'

The system is bootstrapped into build/clean-machine-SUITE, gets a clone of the last commit in
/imgcnv, and is removed after the last command has succeeded. What imgcnv's commands write into
build/ stays inside it."

suite=$(own_suite)
case ${1-} in
    -h | --help) say "$usage" && exit 0 ;;
    --suite)
        suite=${2-}
        [ $# -lt 2 ] || shift 2
        ;;
esac
if [ $# = 0 ] || [ -z "$suite" ]; then die "$usage"; fi

machine=$root/build/clean-machine-$suite
clean_root_make "$machine" "$suite"
clean_root_share_ccache "$machine"
if [ -e "$root/.git" ]; then
    git -c safe.directory="$root" clone -q "file://$root" "$machine/imgcnv"
else
    mkdir "$machine/imgcnv" && copy_tree "$machine/imgcnv"
fi
for command in "$@"; do
    say "--- on a clean $suite: $command"
    started=$(date +%s)
    clean_root_run "$machine" sh -c "cd /imgcnv && $command" ||
        die "failed: $command (the system is left in $machine)"
    say "--- done in $(($(date +%s) - started)) seconds"
done
clean_root_remove "$machine"
