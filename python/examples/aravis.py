#!/usr/bin/python3
"""Live pictures from a GigE Vision or USB3 Vision camera, with Aravis.

    aravis.py FRAMES

A buffer belongs to the camera again once it is pushed back to the stream: convert
first, push then. The picture is memory of its own.
"""

import sys

import gi
import imgcnv

gi.require_version("Aravis", "0.8")
from gi.repository import Aravis  # noqa: E402

if len(sys.argv) != 2:
    sys.exit(__doc__)
camera = Aravis.Camera.new(None)
_, _, width, height = camera.get_region()
# Aravis hands out the codes that imgcnv understands; a name would do as well.
converter = imgcnv.Converter(width, height, camera.get_pixel_format(), to="rgb24")
stream = camera.create_stream(None, None)
for _ in range(4):
    stream.push_buffer(Aravis.Buffer.new_allocate(camera.get_payload()))

camera.start_acquisition()
try:
    for number in range(int(sys.argv[1])):
        buffer = stream.pop_buffer()
        try:
            if buffer.get_status() != Aravis.BufferStatus.SUCCESS:
                continue
            # Chunk data may follow the picture in the payload: take only the picture.
            picture = converter.convert(buffer.get_data()[: converter.frame_bytes])
        finally:
            stream.push_buffer(buffer)
        print(f"frame {number}: {picture.shape}, mean {picture.mean():.1f}")
finally:
    camera.stop_acquisition()
    converter.close()
