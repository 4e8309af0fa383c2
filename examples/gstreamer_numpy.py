#!/usr/bin/env python3
"""Pictures of any GStreamer source as NumPy arrays: gstreamer_numpy.py [SOURCE]

SOURCE is what stands before imgcnv in a pipeline; a test picture by default. For a camera:

    gstreamer_numpy.py 'aravissrc num-buffers=5 ! video/x-bayer,format=rggb,width=640,height=480'
"""
import sys

import gi
import numpy as np

gi.require_version("Gst", "1.0")
gi.require_version("GstVideo", "1.0")
from gi.repository import Gst, GstVideo  # noqa: E402

DEFAULT = "videotestsrc num-buffers=5 ! video/x-bayer,format=rggb,width=322,height=240"


def arrays(source):
    """Yields height x width x 3 arrays, R, G, B."""
    pipeline = Gst.parse_launch(
        f"{source} ! imgcnv ! video/x-raw,format=RGB ! appsink name=sink max-buffers=4 sync=false")
    sink = pipeline.get_by_name("sink")
    pipeline.set_state(Gst.State.PLAYING)
    try:
        while sample := sink.emit("pull-sample"):
            info = GstVideo.VideoInfo.new_from_caps(sample.get_caps())
            ok, memory = sample.get_buffer().map(Gst.MapFlags.READ)
            rows = np.frombuffer(memory.data, np.uint8).reshape(info.height, info.stride[0])
            picture = rows[:, :info.width * 3].reshape(info.height, info.width, 3).copy()
            sample.get_buffer().unmap(memory)
            yield picture
        error = pipeline.get_bus().pop_filtered(Gst.MessageType.ERROR)
        if error:
            raise RuntimeError(error.parse_error()[0].message)
    finally:
        pipeline.set_state(Gst.State.NULL)


if __name__ == "__main__":
    Gst.init(None)
    for picture in arrays(sys.argv[1] if len(sys.argv) > 1 else DEFAULT):
        print(picture.shape, "mean R, G, B:", picture.mean(axis=(0, 1)).round(1))
