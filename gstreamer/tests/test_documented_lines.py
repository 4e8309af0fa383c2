"""The gst-launch lines of docs/gstreamer.md, run as they stand there."""
import os
import pathlib
import re
import subprocess

import numpy as np
import pytest
from PIL import Image

SOURCE = pathlib.Path(os.environ["IMGCNV_SOURCE"])
BLOCKS = re.findall(r"```sh gstreamer\n(gst-launch-1.0 .*?)```", (SOURCE / "docs/gstreamer.md").read_text(), re.S)
LINES = [block.replace("\\\n", " ").strip() for block in BLOCKS]
FILES = [line for line in LINES if "location=samples/" in line]
CAMERAS = [line for line in LINES if "aravissrc" in line]
OTHERS = [line for line in LINES if line not in FILES + CAMERAS]


def launch(line, folder):
    """In a folder that has the samples; a window needs a display."""
    (folder / "samples").symlink_to(SOURCE / "samples")
    line = line.replace("autovideosink", "fakesink")
    done = subprocess.run(line.replace("gst-launch-1.0", "gst-launch-1.0 -q", 1), shell=True,
                          cwd=folder, capture_output=True, text=True, timeout=60)
    assert done.returncode == 0 and "ERROR" not in done.stderr, done.stderr


def test_lines_are_there():
    assert len(FILES) >= 3 and len(CAMERAS) >= 2 and len(OTHERS) >= 1


@pytest.mark.parametrize("line", FILES)
def test_a_dump_becomes_the_picture_of_the_command(line, tmp_path):
    launch(line, tmp_path)
    dump = re.search(r"location=(samples/\S+)", line)[1]
    made, = tmp_path.glob("*.png")
    method = ["-m", "adaptive"] if "adaptive" in line else []
    subprocess.run([os.environ["IMGCNV_TOOL"], "convert", SOURCE / dump, "-o",
                    tmp_path / "command.png", *method], check=True, capture_output=True)
    assert np.array_equal(np.array(Image.open(made)), np.array(Image.open(tmp_path / "command.png")))


@pytest.mark.parametrize("line", OTHERS)
def test_other_lines_run(line, tmp_path):
    launch(line, tmp_path)


@pytest.mark.parametrize("line", CAMERAS)
def test_cameras(line, tmp_path):
    """In a network of its own, with a camera that has the format."""
    fakecam = os.environ.get("IMGCNV_FAKECAM")
    if not fakecam:
        pytest.skip("imgcnv-fakecam is not built: CAMERA LINES WERE NOT RUN")
    if subprocess.run(["gst-inspect-1.0", "aravissrc"], capture_output=True).returncode != 0:
        pytest.skip("aravissrc (Debian: libaravis-0.8-0) is missing: CAMERA LINES WERE NOT RUN")
    camera = subprocess.Popen(
        [fakecam, SOURCE / "samples/coffee_600x400_BayerRG12Packed.raw", "-f", "BayerRG12Packed",
         "-s", "600x400", "--loop"], stdout=subprocess.PIPE, text=True)
    try:
        assert "127.0.0.1" in camera.stdout.readline()
        launch(line, tmp_path)
    finally:
        camera.kill()
        camera.communicate()
