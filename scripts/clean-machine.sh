#!/bin/sh
# Runs commands of this source tree on a Debian system that has nothing installed:
#
#     sudo scripts/clean-machine.sh 'scripts/demo.sh' 'scripts/test.sh'
#
# The system is bootstrapped into build/clean-machine, gets a clone of the last commit in /imgcnv,
# and is removed after the last command has succeeded. What imgcnv's commands write into build/
# stays inside it.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"
. "$root/scripts/lib/clean_root.sh"

[ $# -gt 0 ] || die "usage: scripts/clean-machine.sh COMMAND..."

machine=$root/build/clean-machine
clean_root_make "$machine"
if [ -e "$root/.git" ]; then
    git -c safe.directory="$root" clone -q "file://$root" "$machine/imgcnv"
else
    mkdir "$machine/imgcnv" && copy_tree "$machine/imgcnv"
fi
for command in "$@"; do
    say "--- on a clean machine: $command"
    started=$(date +%s)
    clean_root_run "$machine" sh -c "cd /imgcnv && $command" ||
        die "failed: $command (the system is left in $machine)"
    say "--- done in $(($(date +%s) - started)) seconds"
done
clean_root_remove "$machine"
