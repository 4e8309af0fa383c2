"""The window on a virtual screen: what is seen there is the picture."""
import os
import shutil
import struct
import subprocess
import time

import numpy as np
import pytest
from PIL import Image

from conftest import LIVE, SAMPLES, wait_for_line

NEEDED = {"Xvfb": "xvfb", "xdotool": "xdotool"}
MISSING = [package for program, package in NEEDED.items() if not shutil.which(program)]
pytestmark = pytest.mark.skipif(
    MISSING != [], reason=f"missing Debian packages {MISSING}: THE WINDOW WAS NOT TESTED")


class Screen:
    def __init__(self, folder):
        self.folder = folder
        read_end, write_end = os.pipe()
        self.process = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write_end), "-screen", "0", "1000x800x24", "-fbdir", folder,
             "-nolisten", "tcp"], pass_fds=[write_end], stderr=subprocess.DEVNULL)
        os.close(write_end)
        with os.fdopen(read_end) as told:
            display = ":" + told.readline().strip()
        self.environment = {**os.environ, "DISPLAY": display, "SDL_VIDEODRIVER": "x11"}

    def picture(self):
        """The framebuffer, a file in XWD format."""
        content = (self.folder / "Xvfb_screen0").read_bytes()
        head = struct.unpack(">25I", content[:100])
        start, width, height, stride, colors = head[0] + 0, head[4], head[5], head[12], head[19]
        pixels = np.frombuffer(content, np.uint8, height * stride, start + colors * 12)
        return pixels.reshape(height, stride // 4, 4)[:, :width, 2::-1]

    def xdotool(self, *arguments):
        return subprocess.run(["xdotool", *arguments], env=self.environment, check=True,
                              capture_output=True, text=True, timeout=20).stdout

    def window(self):
        """Its place on the screen."""
        def find():
            done = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", "missing packets"],
                                  env=self.environment, capture_output=True, text=True, timeout=20)
            return done.stdout.split()

        eventually(find)
        self.id = find()[0]
        told = dict(line.split("=") for line in
                    self.xdotool("getwindowgeometry", "--shell", self.id).split())
        return tuple(int(told[key]) for key in ("X", "Y", "WIDTH", "HEIGHT"))

    def press(self, key):
        self.xdotool("windowfocus", self.id, "key", key)


@pytest.fixture
def screen(tmp_path):
    shown = Screen(tmp_path)
    yield shown
    shown.process.terminate()
    shown.process.wait()


def eventually(holds, seconds=10):
    end = time.monotonic() + seconds
    while not holds():
        assert time.monotonic() < end
        time.sleep(0.1)


def test_the_window_shows_the_picture_and_obeys_keys(camera, converted, screen, tmp_path):
    dump = SAMPLES / "coffee_600x400_BayerRG12Packed.raw"
    camera(dump, "BayerRG12Packed", "600x400", "--fps", 25, "--loop")
    client = subprocess.Popen([LIVE, "127.0.0.1", "--window"], cwd=tmp_path,
                              env=screen.environment, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True)
    x, y, width, height = screen.window()
    assert (width, height) == (600, 400)

    def shown():
        return screen.picture()[y:y + height, x:x + width]

    # At its own size the window's pixels are the picture's.
    eventually(lambda: np.array_equal(shown(), converted(dump)))
    if keep := os.environ.get("IMGCNV_KEEP_SCREENSHOT"):
        Image.fromarray(np.ascontiguousarray(shown())).save(keep)
    assert np.array_equal(np.array(Image.open(SAMPLES.parent / "docs/pictures/imgcnv-live.png")),
                          shown()), "the picture in docs/live.md is out of date"
    screen.press("d")
    adaptive = converted(dump, "-m", "adaptive")
    eventually(lambda: np.array_equal(shown(), adaptive))
    screen.press("space")
    screen.press("s")
    wait_for_line(client.stderr, "saved imgcnv-live-", 10)
    saved, = tmp_path.glob("imgcnv-live-*.png")
    assert np.array_equal(np.array(Image.open(saved)), adaptive)
    screen.press("space")
    screen.press("a")
    eventually(lambda: np.abs(shown().astype(int) - adaptive).mean() > 2)
    screen.press("a")
    eventually(lambda: np.array_equal(shown(), adaptive))
    # A wider window: bars at the sides, the picture in the middle.
    screen.xdotool("windowsize", "--sync", screen.id, "800", "400")
    width = 800
    eventually(lambda: np.array_equal(shown()[:, 100:700], adaptive) and not shown()[:, :100].any()
               and not shown()[:, 700:].any())
    screen.press("minus")
    eventually(lambda: not shown()[:30].any() and shown()[60:340, 200:600].any())
    screen.press("q")
    out, said = client.communicate(timeout=20)
    assert client.returncode == 0, said
    assert "BayerRG12Packed 600x400" in out
