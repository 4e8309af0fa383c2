"""Raw machine-vision frames to 8-bit grey, RGB or BGR arrays.

>>> frame = bytes([0xAB, 0xC4, 0xDE])  # 2 pixels of 12 bits in 3 bytes
>>> imgcnv.convert(frame, 2, 1, "Mono12Packed", to="mono8")
array([[171, 222]], dtype=uint8)

`convert` makes one picture; a `Converter` makes many of one size without
allocating; `flip` and `rotate` turn pictures; `PixelFormat` and `formats` tell
what frames may look like. `To` and `Demosaic` are the types of those arguments.
"""

from ._converter import Converter, convert
from ._formats import PixelFormat, formats
from ._stages import Demosaic, To
from ._turn import flip, rotate
from ._version import __version__

__all__ = [
    "Converter",
    "Demosaic",
    "PixelFormat",
    "To",
    "__version__",
    "convert",
    "flip",
    "formats",
    "rotate",
]
