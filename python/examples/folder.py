#!/usr/bin/python3
"""A folder of raw frames to PNGs on all CPUs: one Converter per thread.

    folder.py FOLDER WIDTH HEIGHT FORMAT

The GIL is free while a frame is converted, so threads do; no processes needed.
"""

import concurrent.futures
import pathlib
import sys
import threading

import imgcnv
from PIL import Image

if len(sys.argv) != 5:
    sys.exit(__doc__)
folder, width, height, format = sys.argv[1:]
mine = threading.local()


def to_png(path: pathlib.Path) -> str:
    """The name of the picture, or what is wrong with the frame."""
    if not hasattr(mine, "converter"):
        mine.converter = imgcnv.Converter(int(width), int(height), format)
    # The result is the Converter's own array, written again by the next call:
    # save it before that.
    try:
        picture = mine.converter.convert(path.read_bytes())
    except ValueError as error:
        return f"{path}: {error}"
    target = path.with_suffix(".png")
    Image.fromarray(picture).save(target, compress_level=1)
    return str(target)


with concurrent.futures.ThreadPoolExecutor() as pool:
    for written in pool.map(to_png, sorted(pathlib.Path(folder).glob("*.raw"))):
        print(written)
