#!/bin/sh
# Runs the Python module's tests: run_tests.sh LIBIMGCNV LIBIMGCNV_FRAMES [PYTEST ARGUMENT...]
# The two are the built libimgcnv.so and libimgcnv_frames.so that are to be tested.
set -eu
if [ $# -lt 2 ] || [ ! -f "$1" ] || [ ! -f "$2" ]; then
    echo "usage: run_tests.sh libimgcnv.so libimgcnv_frames.so [pytest argument...]" >&2
    exit 2
fi
IMGCNV_LIBRARY=$(realpath "$1")
IMGCNV_FRAMES_LIBRARY=$(realpath "$2")
shift 2
here=$(cd "$(dirname "$0")" && pwd)
PYTHONPATH=$here${PYTHONPATH:+:$PYTHONPATH}
PYTHONDONTWRITEBYTECODE=1
export IMGCNV_LIBRARY IMGCNV_FRAMES_LIBRARY PYTHONPATH PYTHONDONTWRITEBYTECODE
# Debian's interpreter: another one, without NumPy, may stand first on the path.
cd "$here"
exec /usr/bin/python3 -m pytest -p no:cacheprovider -W error -q "$@"
