#!/usr/bin/python3
"""A raw frame in a file to a PNG, with Pillow.

    file_to_png.py FRAME.raw WIDTH HEIGHT FORMAT PICTURE.png
    file_to_png.py cap.raw 1920 1080 BayerRG12Packed cap.png
"""

import pathlib
import sys

import imgcnv
from PIL import Image

if len(sys.argv) != 6:
    sys.exit(__doc__)
source, width, height, format, target = sys.argv[1:]
frame = pathlib.Path(source).read_bytes()
picture = imgcnv.convert(frame, int(width), int(height), format, demosaic="adaptive")
Image.fromarray(picture).save(target)
