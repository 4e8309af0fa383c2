#!/bin/sh
# Builds the Debian packages and installs, uses and purges them on a Debian system that has nothing
# else installed. Takes root, for the system is bootstrapped into build/clean-machine.
# With --web also imgcnv-web; with --built it takes the packages that lie in build/debs.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"
. "$root/scripts/lib/clean_root.sh"

case $*:$# in
    :0) "$root/scripts/build-debs.sh" ;;
    --web:1) "$root/scripts/build-debs.sh" --web ;;
    --built:1) ;;
    *) die "usage: scripts/test-debs.sh [--web | --built] [--yes]" ;;
esac

machine=$root/build/clean-machine
clean_root_make "$machine"
mkdir "$machine/debs" "$machine/use"
for deb in "$root"/build/debs/*.deb; do
    case $deb in *-dbgsym_*) ;; *) cp "$deb" "$machine/debs" ;; esac
done
cp -r "$root/samples" "$root/tests/consumer" "$root/scripts/lib/use_debs.sh" "$machine/use"
clean_root_run "$machine" sh /use/use_debs.sh || die "failed (the system is left in $machine)"
clean_root_remove "$machine"
say "The packages install, work and leave nothing behind."
