"""A camera on the loopback device of an own network, and its client."""
import json
import os
import pathlib
import select
import subprocess
import time

import numpy as np
import pytest
from PIL import Image

LIVE, FAKECAM, TOOL = (os.environ["IMGCNV_" + name] for name in ("LIVE", "FAKECAM", "TOOL"))
SAMPLES = pathlib.Path(os.environ["IMGCNV_SOURCE"]) / "samples"


@pytest.fixture
def camera(tmp_path):
    """Starts imgcnv-fakecam and waits until it serves."""
    running = []

    def start(dump, pixel_format, size, *options):
        process = subprocess.Popen(
            [FAKECAM, dump, "-f", pixel_format, "-s", size, *map(str, options)], cwd=tmp_path,
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        running.append(process)
        line = process.stdout.readline()
        assert "imgcnv-fakecam-1 at 127.0.0.1" in line, line + process.stderr.read()
        return process

    yield start
    for process in running:
        process.kill()
        process.communicate()


@pytest.fixture
def live(tmp_path):
    def run(*arguments, code=0):
        done = subprocess.run([LIVE, *map(str, arguments)], cwd=tmp_path, capture_output=True,
                              text=True, timeout=60)
        assert done.returncode == code, done.stderr
        return done

    return run


@pytest.fixture
def grab(live):
    """Frames of the camera at the loopback address; the report as a dict."""

    def run(frames, *arguments):
        done = live("127.0.0.1", "--frames", frames, "--packet-size", 8000, "--json", *arguments)
        return json.loads(done.stdout)

    return run


@pytest.fixture
def converted(tmp_path):
    """A picture by the command, from a dump whose name says all, as an array."""

    def run(dump, *arguments):
        out = tmp_path / "by_command.png"
        subprocess.run([TOOL, "convert", dump, "-o", out, *arguments], check=True,
                       capture_output=True)
        return np.array(Image.open(out))

    return run


def wait_for_line(stream, text, seconds):
    """Reads lines until one has the text; the time it took."""
    start = time.monotonic()
    seen = b""
    while time.monotonic() - start < seconds:
        if select.select([stream], [], [], 0.05)[0]:
            seen += os.read(stream.fileno(), 65536)
        if text.encode() in seen:
            return time.monotonic() - start
    raise AssertionError(f"no line with '{text}' in {seconds} s, but:\n{seen.decode()}")
