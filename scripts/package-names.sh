#!/bin/sh
# Asks apt whether this system knows every package that the scripts may install.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/lib/common.sh"

# shellcheck disable=SC2086 # lists of words
known=$(apt-cache madison $all_packages | awk '{ print $1 }')
unknown=
for package in $all_packages; do
    printf '%s\n' "$known" | grep -qxF "$package" || unknown="$unknown $package"
done
[ -z "$unknown" ] || die "this system has no package of the name$unknown"
say "This system has all packages that the scripts may install."
