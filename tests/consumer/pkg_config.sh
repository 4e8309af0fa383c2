#!/bin/sh
# pkg_config.sh COMPILER LIBDIR VERSION FOLDER: a C99 program found its flags by pkg-config.
set -eu
compiler=$1 libdir=$2 version=$3 folder=$4
here=$(dirname "$0")

export PKG_CONFIG_LIBDIR="$libdir/pkgconfig"
given=$(pkg-config --modversion imgcnv)
[ "$given" = "$version" ] || {
    echo "imgcnv.pc says version $given, the library is $version" >&2
    exit 1
}
# shellcheck disable=SC2046 # flags are words
"$compiler" -std=c99 -pedantic -Wall -Wextra -Werror "$here/consumer.c" \
    $(pkg-config --cflags --libs imgcnv) -o "$folder/pkg_config_consumer"
LD_LIBRARY_PATH=$libdir "$folder/pkg_config_consumer"
