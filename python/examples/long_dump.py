#!/usr/bin/python3
"""Mean brightness of every frame in a dump that may be larger than the memory.

    long_dump.py DUMP.raw WIDTH HEIGHT FORMAT
"""

import mmap
import sys

import imgcnv

if len(sys.argv) != 5:
    sys.exit(__doc__)
source, width, height, format = sys.argv[1:]

with open(source, "rb") as file, mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ) as dump:
    with imgcnv.Converter(int(width), int(height), format, to="mono8") as converter:
        size = converter.frame_bytes
        with memoryview(dump) as view:
            for number in range(len(dump) // size):
                # Frames come from the file's pages without a copy in between.
                picture = converter.convert(view[number * size : (number + 1) * size])
                print(f"frame {number}: mean {picture.mean():.1f}")
