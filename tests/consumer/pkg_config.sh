#!/bin/sh
# pkg_config.sh COMPILER LIBDIR VERSION FOLDER [EXTENSION]: C99 programs found their flags by
# pkg-config, for the installed libraries libimgcnv*.EXTENSION (so, the default, or a).
set -eu
compiler=$1 libdir=$2 version=$3 folder=$4 extension=${5-so}
here=$(dirname "$0")

export PKG_CONFIG_LIBDIR="$libdir/pkgconfig"
# try PACKAGE PROGRAM
try() {
    ls "$libdir"/libimgcnv*."$extension" >/dev/null
    given=$(pkg-config --modversion "$1")
    [ "$given" = "$version" ] || {
        echo "$1.pc says version $given, the library is $version" >&2
        exit 1
    }
    # shellcheck disable=SC2046 # flags are words
    "$compiler" -std=c99 -pedantic -Wall -Wextra -Werror "$here/$2.c" \
        $(pkg-config --cflags --libs "$1") -o "$folder/pkg_config_$2_$extension"
    LD_LIBRARY_PATH=$libdir "$folder/pkg_config_$2_$extension"
}
try imgcnv consumer
try imgcnv-frames frames
