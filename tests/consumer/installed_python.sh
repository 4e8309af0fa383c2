#!/bin/sh
# installed_python.sh PREFIX VERSION: the installed module works where it lies, with the installed
# library.
set -eu
found=$(find "$1" -path '*/imgcnv/__init__.py')
[ -n "$found" ] || {
    echo "no Python module below $1" >&2
    exit 1
}
unset IMGCNV_LIBRARY LD_LIBRARY_PATH
cd /
PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=${found%/imgcnv/__init__.py} /usr/bin/python3 -c "
import sys, imgcnv
assert imgcnv.__file__ == sys.argv[1], imgcnv.__file__
assert imgcnv.__version__ == sys.argv[2], imgcnv.__version__
picture = imgcnv.convert(b'\\x80\\x10\\x80\\x20', 2, 1, 'uyvy')
assert picture.tolist() == [[[16, 16, 16], [32, 32, 32]]], picture
used = {line.split()[-1] for line in open('/proc/self/maps') if 'libimgcnv' in line}
assert used and all(path.startswith(sys.argv[3]) for path in used), used
" "$found" "$2" "$(realpath "$1")"
