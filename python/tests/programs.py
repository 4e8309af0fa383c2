"""Programs that tests run in an interpreter of their own."""

from __future__ import annotations

import os
import pathlib
import subprocess
import sys

from imgcnv import _native

PYTHON = pathlib.Path(__file__).resolve().parents[1]
LIBRARY = os.path.realpath(os.environ.get("IMGCNV_LIBRARY", "libimgcnv.so.1"))
FRAMES_LIBRARY = os.path.realpath(os.environ.get("IMGCNV_FRAMES_LIBRARY", _native.path))
MODULE = {
    "PYTHONPATH": str(PYTHON),
    "IMGCNV_LIBRARY": LIBRARY,
    "IMGCNV_FRAMES_LIBRARY": FRAMES_LIBRARY,
}


def run(*arguments, **environment):
    """Output of the tests' interpreter, which sees no module but the given ones."""
    variables = {"PATH": os.environ["PATH"], "PYTHONDONTWRITEBYTECODE": "1", **environment}
    done = subprocess.run(
        [sys.executable, *map(str, arguments)],
        env=variables,
        capture_output=True,
        text=True,
        check=False,
        timeout=300,
        cwd="/",
    )
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout
