"""Writes samples in the layouts that cameras send.

Written from the descriptions of the layouts and not from the library's own packer, so that both
cannot share a mistake. `samples` are unsigned integers of the format's depth, rows x columns or
rows x columns x 3.
"""
import numpy

BAYER = {"RG": "RGGB", "GB": "GBRG", "BG": "BGGR", "GR": "GRBG"}


def mosaic(rgb, order):
    """The sample that a sensor with this order of colours has at each site."""
    plane = numpy.empty(rgb.shape[:2], rgb.dtype)
    for place, colour in enumerate(BAYER[order]):
        y, x = divmod(place, 2)
        plane[y::2, x::2] = rgb[y::2, x::2, "RGB".index(colour)]
    return plane


def grey(rgb):
    weights = numpy.array([299, 587, 114])
    return ((rgb.astype(numpy.int64) @ weights + 500) // 1000).astype(rgb.dtype)


def bits_lsb_first(samples, depth):
    """One stream of bits, the first sample in the lowest bits; a last byte is filled with zeros."""
    flat = samples.reshape(-1).astype(numpy.uint32)
    bits = (flat[:, None] >> numpy.arange(depth, dtype=numpy.uint32) & 1).astype(numpy.uint8)
    return numpy.packbits(bits.reshape(-1), bitorder="little")


def words(samples, big_endian=False):
    return samples.astype(">u2" if big_endian else "<u2").view(numpy.uint8).reshape(len(samples), -1)


def padded_to(samples, group):
    missing = -samples.shape[1] % group
    return numpy.pad(samples, ((0, 0), (0, missing))) if missing else samples


def gige_packed(samples, depth):
    """High bits of the first, low bits of both, high bits of the second; an odd row ends early."""
    columns = samples.shape[1]
    pair = padded_to(samples, 2).astype(numpy.uint32)
    first, second = pair[:, 0::2], pair[:, 1::2]
    low = (1 << (depth - 8)) - 1
    rows = numpy.stack([first >> (depth - 8), (first & low) | (second & low) << 4,
                        second >> (depth - 8)], -1).astype(numpy.uint8).reshape(len(samples), -1)
    return rows[:, :(columns * 12 + 7) // 8]


def mipi(samples, depth):
    group = {10: 4, 12: 2, 14: 4}[depth]
    full = padded_to(samples, group).astype(numpy.uint32)
    parts = [full[:, i::group] for i in range(group)]
    lows = sum((part & (1 << (depth - 8)) - 1) << (depth - 8) * i for i, part in enumerate(parts))
    low_bytes = (depth - 8) * group // 8
    columns = [part >> (depth - 8) for part in parts]
    columns += [lows >> 8 * i & 255 for i in range(low_bytes)]
    return numpy.stack(columns, -1).astype(numpy.uint8).reshape(len(samples), -1)


def yuv(rgb, layout, video_range=False):
    """BT.601; U and V of a group are the mean of its pixels."""
    r, g, b = (rgb[..., i].astype(float) for i in range(3))
    y = 0.299 * r + 0.587 * g + 0.114 * b
    u, v = 0.564 * (b - y), 0.713 * (r - y)
    if video_range:
        y, u, v = 16 + y * 219 / 255, u * 224 / 255, v * 224 / 255
    y, u, v = (numpy.clip(numpy.round(p + o), 0, 255) for p, o in ((y, 0), (u, 128), (v, 128)))
    group = {"UYV": 1, "UYVY": 2, "YUYV": 2, "UYYVYY": 4}[layout]
    y, u, v = (padded_to(p, group) for p in (y, u, v))
    u, v = (p.reshape(len(p), -1, group).mean(-1) for p in (u, v))
    ys = [y[:, i::group] for i in range(group)]
    columns = {"UYV": lambda: [u, *ys, v], "UYVY": lambda: [u, ys[0], v, ys[1]],
               "YUYV": lambda: [ys[0], u, ys[1], v],
               "UYYVYY": lambda: [u, ys[0], ys[1], v, ys[2], ys[3]]}[layout]()
    return numpy.stack(columns, -1).round().astype(numpy.uint8).reshape(len(rgb), -1)


def points(plane):
    """Mono1C: value, 12-bit row, 12-bit column of every point, counted from 1; a zero ends it."""
    y, x = numpy.nonzero(plane)
    place = (y + 1) << 12 | (x + 1)
    records = numpy.stack([plane[y, x], place >> 16, place >> 8 & 255, place & 255], -1)
    return numpy.append(records.astype(numpy.uint8).reshape(-1), numpy.zeros(4, numpy.uint8))


class Format:
    """A name split into what it takes to write it: grey, mosaic or colour, layout and depth."""

    def __init__(self, name):
        self.name, self.big_endian = name.removesuffix("_BE"), name.endswith("_BE")
        self.order = self.name[5:7] if self.name.startswith("Bayer") else None
        rest = self.name[7:] if self.order else self.name.lstrip("MonoRGBaYUV")
        self.depth = int("".join(c for c in rest[:2] if c.isdigit()) or 8)
        self.packing = rest.lstrip("0123456789")
        self.is_rgb = "RGB" in self.name or "BGR" in self.name or self.name in ("RGBa8", "BGRa8")
        self.yuv = {"YUV411Packed": "UYYVYY", "YUV422Packed": "UYVY", "YUV422_YUYV_Packed": "YUYV",
                    "YUV444Packed": "UYV"}.get(self.name)
        if self.is_rgb or self.yuv:
            self.depth = next((d for d in (10, 12, 16) if str(d) in self.name), 8)

    def rows(self, rgb16, video_range=False):
        """The rows of a picture of 16-bit channels as arrays of bytes; None for streams."""
        rgb = rgb16 >> (16 - self.depth)
        if self.yuv:
            return yuv(rgb16 / 256.0, self.yuv, video_range)
        if self.is_rgb:
            channels = rgb[..., ::-1] if self.name.startswith("BGR") else rgb
            if "a8" in self.name:
                alpha = numpy.full(rgb.shape[:2] + (1,), 255, rgb.dtype)
                channels = numpy.concatenate([channels, alpha], -1)
            flat = channels.reshape(len(rgb), -1)
            return flat.astype(numpy.uint8) if self.depth == 8 else words(flat, self.big_endian)
        plane = mosaic(rgb, self.order) if self.order else grey(rgb)
        if self.packing.startswith("Packed"):
            return gige_packed(plane, self.depth)
        if self.packing.startswith("MIPI"):
            return mipi(plane, self.depth)
        if self.packing == "p":
            return plane
        return plane.astype(numpy.uint8) if self.depth == 8 else words(plane, self.big_endian)

    def frame(self, rgb16, stride=0, padding_byte=0, video_range=False):
        rows = self.rows(rgb16, video_range)
        if self.packing == "p":
            if not stride:
                return bits_lsb_first(rows, self.depth).tobytes()
            rows = numpy.stack([bits_lsb_first(row, self.depth) for row in rows])
        if stride:
            rows = numpy.pad(rows, ((0, 0), (0, stride - rows.shape[1])),
                             constant_values=padding_byte)
        return rows.tobytes()

    def row_bytes(self, width):
        return self.rows(numpy.zeros((1, width, 3), numpy.uint16)).shape[1] \
            if self.packing != "p" else (width * self.depth + 7) // 8
