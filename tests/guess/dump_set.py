"""The dumps that guessing is measured with: drawn from fixed seeds, so always the same.

"tuning" is the set to improve guessing with. "held_out" has other pictures and other sizes; nothing
is tuned to it, and its rates are the ones to believe. Whoever looks at single answers of it moves its
seed on afterwards: 2 and 3 were looked at.
"""
import dataclasses

import numpy

import encoders
import pictures

FORMATS = """Mono8 Mono8 Mono8 Mono10 Mono12 Mono14 Mono16 Mono10Packed Mono12Packed Mono10p Mono12p
Mono14p Mono10MIPI Mono12MIPI Mono14MIPI Mono12_BE Mono16_BE Mono1p Mono2p Mono4p
BayerRG8 BayerGB8 BayerBG8 BayerGR8 BayerRG10 BayerGB12 BayerGR12 BayerBG16 BayerRG14
BayerGR10Packed BayerRG12Packed BayerGB12Packed BayerRG10p BayerGR12p BayerBG12p BayerRG14p
BayerRG10MIPI BayerGB10MIPI BayerGR12MIPI BayerBG14MIPI BayerRG12_BE BayerGR16_BE
RGB8Packed BGR8Packed RGBa8 BGRa8 RGB12 RGB16 YUV411Packed YUV422Packed YUV422_YUYV_Packed
YUV444Packed""".split()

SETS = {
    "tuning": {
        "seed": 1,
        "photos": ["coffee.png", "chelsea.png", "astronaut.png", "camera.png", "page.png",
                   "rocket.jpg", "brick.png", "retina.jpg", "coins.png"],
        "sizes": [(640, 480), (1280, 1024), (1920, 1200), (1440, 1080), (752, 480), (320, 240),
                  (2048, 1536), (1936, 1216), (800, 600), (1624, 1234), (2592, 1944)],
        "odd_sizes": [(600, 400), (451, 300), (333, 257), (1000, 700), (500, 500), (1234, 567)],
    },
    "held_out": {
        "seed": 4,
        "photos": ["motorcycle_left.png", "hubble_deep_field.jpg", "ihc.png", "moon.png",
                   "clock_motion.png", "flower.png", "cvo9xd_keong_macan_srgb8.png",
                   "tmshre_riaphotographs_srgb8.png", "text.png", "gravel.png"],
        "sizes": [(1280, 720), (1280, 960), (1920, 1080), (1456, 1088), (808, 608), (656, 492),
                  (2048, 1088), (2448, 2048), (1024, 768), (1600, 1200)],
        "odd_sizes": [(700, 433), (517, 389), (900, 900), (1111, 777), (404, 303), (1222, 846)],
    },
}
EXTRAS = (["none"] * 8 + ["header"] * 4 + ["trailer"] * 2 + ["chunk"] * 3 + ["padding"] * 4 +
          ["frames"] * 3)
KINDS = ["photo"] * 12 + ["text"] * 2 + ["noise", "dark", "dark", "flat", "gradient", "gradient"]


@dataclasses.dataclass
class Dump:
    name: str
    data: bytes
    format: str
    width: int
    height: int
    stride: int  # 0: tight
    skip: int = 0
    gap: int = 0
    frames: int = 1
    big_endian: bool = False
    is_colourless: bool = False  # the mosaic of a scene without colours: samples of a grey picture


def metadata(rng, count):
    """What stands in headers and chunks: numbers and text, much of it zero."""
    data = numpy.zeros(count, numpy.uint8)
    start = b"FRAME  id=%d exposure=%d gain=%d" % tuple(rng.integers(0, 10000, 3))
    data[:min(count, len(start))] = numpy.frombuffer(start, numpy.uint8)[:count]
    for _ in range(count // 24):
        at = int(rng.integers(0, max(1, count - 4)))
        data[at:at + 4] = rng.integers(0, 256, 4)[:len(data[at:at + 4])]
    return data.tobytes()


def dump_of(photographs, case, number):
    """The dump with this number, or None where its photograph is missing."""
    rng = numpy.random.default_rng([case["seed"], number])
    name = FORMATS[number % len(FORMATS)]
    sizes = case["odd_sizes"] if rng.random() < 0.25 else case["sizes"]
    width, height = sizes[rng.integers(len(sizes))]
    kind = KINDS[rng.integers(len(KINDS))]
    photo = case["photos"][rng.integers(len(case["photos"]))]
    extra = EXTRAS[rng.integers(len(EXTRAS))]
    noise = [0, 0.003, 0.01, 0.02][rng.integers(4)]
    if kind == "flat":
        noise = [0, 0.01][rng.integers(2)]
    writer = encoders.Format(name)
    if width % 2 and name.startswith("YUV42"):
        width += 1
    if name.startswith("YUV411"):
        width -= width % 4
    frames = int(rng.integers(2, 6)) if extra in ("frames", "chunk") else 1
    while frames * width * height > 4_000_000:
        width, height = case["sizes"][-5 + int(rng.integers(3))] if frames == 1 else (640, 480)
        frames = min(frames, 4)
    values = pictures.scene(photographs, kind, photo, width, height, rng)
    if values is None:
        return None
    dump = Dump("", b"", writer.name, width, height, 0, frames=frames,
                big_endian=writer.big_endian)
    if extra == "padding":
        align = [4, 8, 16, 64, 256][rng.integers(5)]
        row = writer.row_bytes(width)
        dump.stride = -(-row // align) * align
        if dump.stride == row and not (writer.packing == "p" and width * writer.depth % 8):
            dump.stride += align
    has_cast = bool(writer.order) and rng.random() < 0.6
    if has_cast:  # before white balance green is the brightest
        values = values * numpy.array([rng.uniform(0.5, 0.9), 1, rng.uniform(0.4, 0.8)])
    has_colours = kind != "noise" and numpy.ptp(values, axis=-1).any()  # noise has no scene
    dump.is_colourless = bool(writer.order) and not has_cast and not has_colours
    blocks = []
    for index in range(frames):
        later = values * (1 - 0.02 * index)  # light that changes
        blocks.append(writer.frame(pictures.exposed(later, rng, noise), dump.stride))
    if extra == "chunk":
        dump.gap = int(rng.choice([32, 64, 96, 128, 1024]))
        blocks = [block + metadata(rng, dump.gap) for block in blocks]
    data = b"".join(blocks)
    if extra == "header":
        dump.skip = int(rng.choice([256, 512, 1024, 2048, 4096, int(rng.integers(256, 4096))]))
        data = metadata(rng, dump.skip) + data
    if extra == "trailer":
        data += metadata(rng, int(rng.choice([16, 64, 256, 1000, 4096])))
    dump.data = data
    subject = photo if kind in ("photo", "dark") else ""
    dump.name = f"{number:03} {name} {width}x{height} {kind} {subject} noise {noise} {extra} " \
                f"stride {dump.stride} skip {dump.skip} gap {dump.gap} frames {frames}"
    return dump


def dumps(photographs, name, count):
    for number in range(count):
        dump = dump_of(photographs, SETS[name], number)
        if dump is not None:
            yield dump
