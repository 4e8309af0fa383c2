"""Every format through a camera: served, received, recorded and converted without a changed byte."""
import json
import subprocess

import numpy as np
import pytest
from PIL import Image

from conftest import FAKECAM, SAMPLES, TOOL

WIDTH, HEIGHT = 88, 48  # whole bytes per row in every format


def sent_formats():
    listed = json.loads(subprocess.run([TOOL, "formats", "--json"], check=True,
                                       capture_output=True).stdout)
    formats = listed if isinstance(listed, list) else listed["formats"]
    codes = {each["name"]: int(str(each["code"]), 0) for each in formats}
    return {name: code for name, code in codes.items() if code < 1 << 31 and name != "Mono1C"}


FORMATS = sent_formats()


@pytest.mark.parametrize("name", FORMATS)
def test_every_format(name, camera, grab, converted, tmp_path):
    bits = FORMATS[name] >> 16 & 0xFF
    frame = np.random.default_rng(FORMATS[name]).bytes(WIDTH * HEIGHT * bits // 8)
    dump = tmp_path / "noise.raw"
    dump.write_bytes(frame)
    camera(dump, name, f"{WIDTH}x{HEIGHT}", "--fps", 100, "--loop")
    report = grab(2, "--first", "first.png", "--record", "rec.raw")
    assert (report["format"], report["incomplete_frames"]) == (name, 0)
    recorded = tmp_path / f"rec_{WIDTH}x{HEIGHT}_{name}.raw"
    assert recorded.read_bytes() == frame * 2
    picture = np.array(Image.open(tmp_path / "first.png"))
    assert np.array_equal(picture, converted(recorded, "--frames", "0"))


def test_other_formats_and_regions_are_packed_anew(camera, grab, converted, tmp_path):
    dump = SAMPLES / "coffee_600x400_BayerGB8.raw"
    camera(dump, "BayerGB8", "600x400", "--loop")
    grab(1, "--format", "BayerGB12Packed", "--record", "rec.raw")
    whole = converted(dump)
    assert np.array_equal(converted(tmp_path / "rec_600x400_BayerGB12Packed.raw"), whole)
    # Colours of a part: its own edges apart, those of the whole.
    grab(1, "--format", "RGB8", "--region", "200x100+64+32", "--first", "part.png")
    part = np.array(Image.open(tmp_path / "part.png")).astype(int)
    assert np.abs(part - whole[32:132, 64:264])[2:-2, 2:-2].max() <= 1


@pytest.mark.parametrize("pixel_format, size, reason", [
    ("Mono1C", "64x48", "list of points"),
    ("Mono10MIPI", "64x48", "no PFNC code"),
    ("BayerRG12Packed", "63x47", "choose another width"),
    ("Mono8", "70000x1", "65535"),
    ("Mono8", "640x480", "cut short"),
    ("Mono8", "640", "1920x1080"),
    ("Mono8x", "64x48", "Mono8"),
])
def test_what_cannot_be_sent_is_refused(pixel_format, size, reason, tmp_path):
    dump = tmp_path / "dump.raw"
    dump.write_bytes(bytes(64 * 48 * 4 if size != "70000x1" else 70000))
    done = subprocess.run([FAKECAM, dump, "-f", pixel_format, "-s", size], capture_output=True,
                          text=True, timeout=20)
    assert done.returncode == 1 and reason in done.stderr
