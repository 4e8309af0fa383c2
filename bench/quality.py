"""PSNR of demosaicing, ours and OpenCV's, on packaged photographs: quality.py PAGE [PICTURES]

Writes the tables into PAGE between `<!-- quality -->` and `<!-- end quality -->`, and crops of the
sample photographs into the folder PICTURES. bench/quality.sh installs what this needs.
"""
import re
import sys
import warnings
from pathlib import Path

import imgcnv
import numpy as np
from PIL import Image

ROOT = Path(__file__).resolve().parents[1]
TESTDATA = Path("/usr/share/libjxl-testdata/external/wesaturate/500px")
# Where the samples of one 2x2 cell lie, as channels of an RGB picture.
ORDERS = {"RG": (0, 1, 1, 2), "GB": (1, 2, 0, 1), "BG": (2, 1, 1, 0)}
OPENCV_ORDER = {"RG": "BG", "GB": "GR", "BG": "RG"}
OURS = ("nearest", "bilinear", "adaptive")
OPENCV = {"OpenCV bilinear": "", "OpenCV edge-aware": "_EA"}
METHODS = (*OURS, *OPENCV)
# Rows and columns at each edge for which the methods have rules of their own.
BORDER = 2
# The corner of the crop shown of a sample photograph.
CROPS = {"coffee": (372, 60), "chelsea": (150, 90)}


# What only measuring takes is imported where it is used: the tests of the pages make our crops without.
def face():
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        import scipy.misc
        return scipy.misc.face()


def opened(path):
    return np.asarray(Image.open(path).convert("RGB"))


def photographs():
    import skimage
    data = Path(skimage.__file__).parent / "data"
    photos = {name: opened(ROOT / "samples" / f"{name}.png") for name in CROPS}
    photos["astronaut"] = opened(data / "astronaut.png")
    photos["rocket"] = opened(data / "rocket.jpg")
    photos["motorcycle"] = opened(data / "motorcycle_left.png")
    photos["face (raccoon)"] = face()
    for path in sorted(TESTDATA.glob("*_srgb8.png")):
        photos[path.name.split("_")[0]] = opened(path)
    return {name: np.ascontiguousarray(p[:p.shape[0] // 2 * 2, :p.shape[1] // 2 * 2])
            for name, p in photos.items()}


def mosaic_of(photo, order):
    mosaic = np.empty(photo.shape[:2], np.uint8)
    for i, channel in enumerate(ORDERS[order]):
        mosaic[i // 2::2, i % 2::2] = photo[i // 2::2, i % 2::2, channel]
    return mosaic


def demosaiced(mosaic, order, method):
    if method in OURS:
        height, width = mosaic.shape
        return imgcnv.convert(mosaic, width, height, f"Bayer{order}8", to="rgb24", demosaic=method)
    import cv2
    code = getattr(cv2, f"COLOR_Bayer{OPENCV_ORDER[order]}2RGB{OPENCV[method]}")
    return cv2.cvtColor(mosaic, code)


def psnr(squares):
    return 10 * np.log10(255 ** 2 / squares.mean())


def interior_and_border(made, photo):
    squares = (made.astype(float) - photo) ** 2
    inside = np.zeros(photo.shape[:2], bool)
    inside[BORDER:-BORDER, BORDER:-BORDER] = True
    return psnr(squares[inside]), psnr(squares[~inside])


def table(head, lines):
    return ["| " + " | ".join(head) + " |", "|---" + "|--:" * (len(head) - 1) + "|",
            *("| " + " | ".join(line) + " |" for line in lines), ""]


def with_best_bold(values):
    return [f"**{v:.2f}**" if v == max(values) else f"{v:.2f}" for v in values]


def measured(photos):
    """(photo, order, method): (interior, border)"""
    results = {}
    for name, photo in photos.items():
        for order in ORDERS:
            mosaic = mosaic_of(photo, order)
            for method in METHODS:
                results[name, order, method] = interior_and_border(demosaiced(mosaic, order, method), photo)
    return results


def tables(photos, results):
    import cv2
    lines = []
    for part, title in enumerate(("Interior, dB, mean of the three orders",
                                  f"Border of {BORDER} pixels, dB, mean of the three orders")):
        rows = [[f"{name}, {photo.shape[1]}x{photo.shape[0]}",
                 *with_best_bold([np.mean([results[name, order, method][part] for order in ORDERS])
                                  for method in METHODS])] for name, photo in photos.items()]
        rows.append(["mean", *with_best_bold([np.mean([results[name, order, method][part]
                                                       for name in photos for order in ORDERS])
                                              for method in METHODS])])
        lines += [f"{title}:", "", *table(["photograph", *METHODS], rows)]
    rows = [[f"{order}, {'interior' if part == 0 else 'border'}",
             *with_best_bold([np.mean([results[name, order, method][part] for name in photos])
                              for method in METHODS])] for part in (0, 1) for order in ORDERS]
    lines += ["Per colour order, dB, mean of the photographs:", "", *table(["order", *METHODS], rows)]
    versions = f"OpenCV {cv2.__version__}, imgcnv {imgcnv.__version__}."
    return [*lines, versions]


def crop_name(photo, method):
    return f"quality-{photo}-{(method or 'original').lower().replace(' ', '-')}.png"


def crops(folder, photos, methods):
    """Writes the pictures of the page, and returns their names; no method (None): the photograph itself."""
    for photo, (x, y) in CROPS.items():
        for method in methods:
            made = photos[photo] if method is None else demosaiced(mosaic_of(photos[photo], "RG"), "RG", method)
            crop = Image.fromarray(made[y:y + 48, x:x + 64]).resize((192, 144), Image.NEAREST)
            crop.save(Path(folder) / crop_name(photo, method), optimize=True)
    return [crop_name(photo, method) for photo in CROPS for method in methods]


def main(page, folder=None):
    photos = photographs()
    lines = tables(photos, measured(photos))
    text = Path(page).read_text(encoding="utf-8")
    section = "\n".join(["<!-- quality -->", "", *lines, "", "<!-- end quality -->"])
    text, count = re.subn(r"<!-- quality -->.*<!-- end quality -->", lambda _: section, text, flags=re.S)
    if count != 1:
        sys.exit(f"{page}: expected one <!-- quality --> ... <!-- end quality -->, found {count}")
    Path(page).write_text(text, encoding="utf-8")
    if folder:
        crops(folder, photos, [None, *METHODS[1:]])


if __name__ == "__main__":
    main(*sys.argv[1:])
