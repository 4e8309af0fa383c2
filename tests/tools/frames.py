"""Raw frames and the grey or colour that is in them, by the layouts' definitions and with no code of
the project's."""
import numpy as np

GREY = {"Mono4p": 4, "Mono8": 8, "Mono10": 10, "Mono10Packed": 10, "Mono12": 12,
        "Mono12Packed": 12, "Mono16": 16, "Mono1p": 1}
# First row's two colours, second row's.
ORDERS = {"RG": "RGGB", "GB": "GBRG", "BG": "BGGR", "GR": "GRBG"}
BAYER = {f"Bayer{o}{d}": (o, d) for o in ORDERS for d in ("8", "10", "12", "10Packed", "12Packed")}
YUV = {"YUV411Packed": "UYYVYY", "YUV422Packed": "UYVY", "YUV422_YUYV_Packed": "YUYV",
       "YUV444Packed": "UYV"}
COLOR = {"RGB8Packed": [0, 1, 2], "BGR8Packed": [2, 1, 0]}
METHODS = {"nearest": 0, "bilinear": 1, "adaptive": 2}


def padded(rows, padding, rng):
    """Rows of bytes with noise behind each."""
    noise = rng.integers(0, 256, (len(rows), padding), np.uint8)
    return np.hstack([rows, noise]).tobytes()


def pack_samples(samples, layout, rng):
    """Rows of 8-bit samples as rows of bytes; the low bits that are dropped are noise."""
    height, width = samples.shape
    if layout == "8":
        return samples
    if layout in ("10", "12", "16"):
        low = int(layout) - 8
        words = samples.astype("<u2") << low | rng.integers(0, 1 << low, samples.shape, np.uint16)
        return words.astype("<u2").view(np.uint8).reshape(height, 2 * width)
    # Packed, whatever the depth: high byte, low bits of both, high byte.
    rows = rng.integers(0, 256, (height, (width + 1) // 2 * 3), np.uint8)
    rows[:, 0::3] = samples[:, 0::2]
    rows[:, 2::3][:, : width // 2] = samples[:, 1::2]
    return rows[:, : (3 * width + 1) // 2]


def layout_of(name):
    for layout in ("10Packed", "12Packed", "10", "12", "16", "8"):
        if name.endswith(layout):
            return layout
    raise ValueError(name)


def bits_in_rows(values, bits):
    """Rows of 1- or 4-bit values, first pixel lowest, rows from whole bytes."""
    if bits == 1:
        return np.packbits(values, axis=1, bitorder="little")
    if values.shape[1] % 2:
        values = np.hstack([values, np.zeros((len(values), 1), np.uint8)])
    return values[:, 0::2] | values[:, 1::2] << 4


def yuv_rows(width, height, group, rng):
    pixels = group.count("Y")
    return rng.integers(0, 256, (height, -(-width // pixels) * len(group)), np.uint8)


def yuv_to_rgb(rows, group, width):
    """Full-range BT.601 in the library's fixed point; chroma shared by the group."""
    groups = rows.reshape(len(rows), -1, len(group)).astype(int)
    luma = groups[:, :, [i for i, c in enumerate(group) if c == "Y"]]
    u, v = (groups[:, :, group.index(c)][:, :, None] for c in "UV")
    rgb = np.stack([luma + (359 * v - 45952 >> 8),
                    luma - (88 * u - 11264 >> 8) - (183 * v - 23424 >> 8),
                    luma + (454 * u - 58112 >> 8)], axis=-1)
    rgb = rgb.clip(0, 255).astype(np.uint8).reshape(len(rows), -1, 3)
    return rgb[:, :width]


def mosaic(rgb, order):
    """The samples of a picture's sites."""
    colors = ORDERS[order]
    samples = np.empty(rgb.shape[:2], np.uint8)
    for i, color in enumerate(colors):
        y, x = divmod(i, 2)
        samples[y::2, x::2] = rgb[y::2, x::2, "RGB".index(color)]
    return samples


def nearest(samples, order):
    """2x2 cells; an odd edge repeats the row or column two before it, which has the same colours."""
    height, width = samples.shape
    if width % 2:
        samples = np.hstack([samples, samples[:, -2:-1]])
    if height % 2:
        samples = np.vstack([samples, samples[-2:-1]])
    colors = ORDERS[order]
    planes = {c: [] for c in "RGB"}
    for i, color in enumerate(colors):
        y, x = divmod(i, 2)
        planes[color].append((y, x, samples[y::2, x::2].astype(int)))
    out = np.empty(samples.shape + (3,), int)
    (y0, x0, green0), (y1, x1, green1) = planes["G"]
    for y in (0, 1):
        for x in (0, 1):
            out[y::2, x::2, 0] = planes["R"][0][2]
            out[y::2, x::2, 2] = planes["B"][0][2]
            out[y::2, x::2, 1] = green0 + green1 >> 1
    out[y0::2, x0::2, 1] = green0
    out[y1::2, x1::2, 1] = green1
    return out[:height, :width].astype(np.uint8)


def luma(rgb):
    r, g, b = (rgb[..., i].astype(float) for i in range(3))
    return ((0.299 * r + 0.587 * g) + 0.114 * b).astype(int).astype(np.uint8)


def psnr(a, b):
    return 10 * np.log10(255**2 / max(np.mean((a.astype(float) - b) ** 2), 1e-9))
