#!/usr/bin/python3
"""A raw frame to OpenCV and on to a file: say to="bgr24", OpenCV's order.

    opencv.py FRAME.raw WIDTH HEIGHT FORMAT PICTURE.png
"""

import sys

import cv2
import imgcnv
import numpy as np

if len(sys.argv) != 6:
    sys.exit(__doc__)
source, width, height, format, target = sys.argv[1:]
frame = np.fromfile(source, np.uint8)
picture = imgcnv.convert(frame, int(width), int(height), format, to="bgr24")
# The array is an OpenCV image as it is: no cvtColor, no copy.
cv2.imwrite(target, cv2.GaussianBlur(picture, (3, 3), 0))
