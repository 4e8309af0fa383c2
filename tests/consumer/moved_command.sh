#!/bin/sh
# moved_command.sh BINDIR VERSION: the installed command finds its library without help.
set -eu
said=$(env -u LD_LIBRARY_PATH "$1/imgcnv" --version)
case $said in
    *"$2"*) ;;
    *)
        echo "imgcnv --version says '$said', the library is $2" >&2
        exit 1
        ;;
esac
