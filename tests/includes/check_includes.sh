#!/bin/sh
# The folders of a source tree must not include one another in circles, and the ground includes
# nothing above it. Includes are written from the tree's root: "simd/row.h".
# Usage: check_includes.sh TREE [GROUND]
set -eu
tree=$1
ground=${2:-}
cd "$tree"
edges=$(grep -rHoE --include='*.h' --include='*.cpp' '^#include "([a-z_0-9]+/)+' . |
    sed -E 's|^\./(.*)/[^/]+:#include "(.*)/$|\1 \2|' | awk '$1 != $2' | sort -u)
# A folder outside the tree includes nothing of it, and ends no circle.
[ -n "$edges" ] || { echo "no includes found in $tree" >&2; exit 1; }
if ! order=$(echo "$edges" | tsort 2>&1); then
    echo "folders of $tree include one another in circles:" >&2
    echo "$order" | grep '^tsort:' >&2
    exit 1
fi
if [ -n "$ground" ] && echo "$edges" | grep "^$ground "; then
    echo "$tree/$ground is the ground: it may not include the folders above" >&2
    exit 1
fi
echo "$order" | tr '\n' ' '
echo "(each folder before those that it includes)"
