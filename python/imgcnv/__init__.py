"""Raw machine-vision frames to grey, RGB or BGR arrays.

>>> frame = bytes([0xAB, 0xC4, 0xDE])  # 2 pixels of 12 bits in 3 bytes
>>> imgcnv.convert(frame, 2, 1, "Mono12Packed", to="mono8")
array([[171, 222]], dtype=uint8)

`convert` makes one picture, or a batch of them; a `Converter` makes many of one size without
allocating; `flip` and `rotate` turn pictures; `PixelFormat` and `formats` tell what frames may look
like, `guess` what a frame of unknown format is; `Levels` and `auto_levels` make pictures brighter.
`To`, `Demosaic` and `Flip` are the types of those arguments. `imgcnv.dask` is for archives.
"""

from ._converter import Converter, Demosaic, Flip, To, auto_levels, convert
from ._formats import PixelFormat, formats
from ._guess import Guess, Reading, guess
from ._levels import Levels
from ._native import version as __version__
from ._turn import flip, rotate

__all__ = [
    "Converter", "Demosaic", "Flip", "Guess", "Levels", "PixelFormat", "Reading", "To",
    "__version__", "auto_levels", "convert", "flip", "formats", "guess", "rotate",
]  # fmt: skip
