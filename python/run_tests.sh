#!/bin/sh
# Runs the Python module's tests: run_tests.sh LIBRARY [PYTEST ARGUMENT...]
# LIBRARY is the built libimgcnv.so that is to be tested.
set -eu
if [ $# -lt 1 ] || [ ! -f "$1" ]; then
    echo "usage: run_tests.sh path/to/libimgcnv.so [pytest argument...]" >&2
    exit 2
fi
IMGCNV_LIBRARY=$(realpath "$1")
shift
here=$(cd "$(dirname "$0")" && pwd)
PYTHONPATH=$here${PYTHONPATH:+:$PYTHONPATH}
PYTHONDONTWRITEBYTECODE=1
export IMGCNV_LIBRARY PYTHONPATH PYTHONDONTWRITEBYTECODE
# Debian's interpreter: another one, without NumPy, may stand first on the path.
cd "$here"
exec /usr/bin/python3 -m pytest -p no:cacheprovider -W error -q "$@"
