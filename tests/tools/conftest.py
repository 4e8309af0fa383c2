import os
import pathlib
import subprocess
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).parent))

TOOL = os.environ["IMGCNV_TOOL"]
SOURCE = pathlib.Path(os.environ["IMGCNV_SOURCE"])


class Run:
    def __init__(self, done):
        self.code = done.returncode
        self.out = done.stdout
        self.said = done.stderr.decode(errors="replace")


@pytest.fixture
def run(tmp_path):
    """Runs the command in an empty folder; expects success unless told a code."""

    def run_it(*arguments, code=0, stdin=b"", env=None):
        done = subprocess.run([TOOL, *map(str, arguments)], input=stdin, capture_output=True,
                              cwd=tmp_path, env={**os.environ, **(env or {})}, timeout=120)
        result = Run(done)
        assert result.code == code, f"{arguments}: exit {result.code}\n{result.said}"
        return result

    return run_it


def read_terminal(controller):
    """All that was written to the other side of a terminal, which everybody has closed."""
    said = b""
    try:
        while chunk := os.read(controller, 65536):
            said += chunk
    except OSError:  # how Linux says that nobody is left
        pass
    return said


@pytest.fixture
def samples():
    return SOURCE / "samples"
