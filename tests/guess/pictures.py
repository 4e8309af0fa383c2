"""The scenes of the dumps, as 16-bit RGB of any size, with the noise that a sensor adds."""
import pathlib
import sys

import numpy
from PIL import Image, ImageDraw, ImageFont

ROOT = pathlib.Path(__file__).parents[2]
# Photographs beside those of samples/: Debian's python3-skimage, libjxl-testdata.
FOLDERS = ["usr/lib/python3/dist-packages/skimage/data",
           "usr/share/libjxl-testdata/jxl/flower", "usr/share/libjxl-testdata/jxl",
           "usr/share/libjxl-testdata/external/wesaturate/500px"]
WORDS = "exposure trigger gain frame sensor lens 0123456789 row pixel camera line stride".split()


class Pictures:
    """`roots` are folders that Debian packages were unpacked into; / is always looked at."""

    def __init__(self, roots=()):
        self.folders = [ROOT / "samples"]
        self.folders += [pathlib.Path(r) / f for r in [*roots, "/"] for f in FOLDERS]
        self.missing = set()
        self.cache = {}

    def find(self, name):
        for folder in self.folders:
            if (folder / name).exists():
                return folder / name
        if name not in self.missing:
            self.missing.add(name)
            print(f"SKIPPED: no {name}: install python3-skimage and libjxl-testdata, or unpack "
                  "them and name the folder with --pictures", file=sys.stderr)
        return None

    def photo(self, name, width, height):
        """A photograph that fills the size, cut and scaled; None where it is not installed."""
        if name not in self.cache:
            path = self.find(name)
            self.cache[name] = path and Image.open(path).convert("RGB")
        image = self.cache[name]
        if image is None:
            return None
        scale = max(width / image.width, height / image.height)
        cut_width, cut_height = width / scale, height / scale
        x, y = (image.width - cut_width) / 2, (image.height - cut_height) / 2
        box = (max(x, 0), max(y, 0), min(x + cut_width, image.width),
               min(y + cut_height, image.height))
        planes = [plane.convert("F").resize((width, height), Image.BICUBIC, box=box)
                  for plane in image.split()]
        return numpy.stack([numpy.asarray(p) for p in planes], -1) / 255


def text(rng, width, height):
    image = Image.new("L", (width, height), 235)
    draw, font = ImageDraw.Draw(image), ImageFont.load_default()
    y = 4
    while y < height:
        line, x = "", 5 + int(rng.integers(0, 30))
        while len(line) * 6 < width * rng.uniform(0.5, 1):
            line += str(rng.choice(WORDS)) + " "
        draw.text((x, y), line, fill=int(rng.integers(0, 60)), font=font)
        y += int(rng.integers(12, 20))
    return numpy.repeat(numpy.asarray(image, float)[..., None] / 255, 3, -1)


def gradient(rng, width, height):
    x, y = numpy.meshgrid(numpy.linspace(0, 1, width), numpy.linspace(0, 1, height))
    angles = rng.uniform(0, 2 * numpy.pi, 3) if rng.random() < 0.5 else [rng.uniform(0, 6)] * 3
    planes = [0.5 + 0.45 * (numpy.cos(a) * (x - 0.5) + numpy.sin(a) * (y - 0.5)) for a in angles]
    return numpy.stack(planes, -1)


def scene(pictures, kind, name, width, height, rng):
    """Linear values of 0 to 1 before noise; None where a photograph is missing."""
    if kind == "photo":
        return pictures.photo(name, width, height)
    if kind == "dark":
        photo = pictures.photo(name, width, height)
        return None if photo is None else photo * rng.uniform(0.03, 0.12)
    if kind == "text":
        return text(rng, width, height)
    if kind == "gradient":
        return gradient(rng, width, height)
    if kind == "noise":
        return rng.random((height, width, 3))
    level = rng.uniform(0.1, 0.9)
    return numpy.full((height, width, 3), level)


def exposed(values, rng, noise):
    """16-bit RGB with read noise and photon noise of the strength `noise`, fractions of white."""
    sigma = numpy.sqrt((noise / 3) ** 2 + noise ** 2 * numpy.clip(values, 0, 1))
    noisy = values + sigma * rng.standard_normal(values.shape) if noise else values
    return numpy.clip(numpy.round(noisy * 65535), 0, 65535).astype(numpy.uint16)
