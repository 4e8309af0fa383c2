"""Every format and geometry gives the whole and right picture."""

from __future__ import annotations

import os

import imgcnv
import numpy as np
import pytest
from imgcnv import PixelFormat

import core
import frames

RASTER_FORMATS = [format for format in imgcnv.formats() if format.packing != "points"]
CORE_FORMATS = [PixelFormat(code) for code in core.FORMATS if code in RASTER_FORMATS]
SEED = int(os.environ.get("IMGCNV_TEST_SEED", "20240611"))


def random_cases(count):
    rng = np.random.default_rng(SEED)
    for number in range(count):
        format = RASTER_FORMATS[number % len(RASTER_FORMATS)]
        yield pytest.param(
            format,
            int(rng.integers(1, 36)),
            int(rng.integers(1, 12)),
            int(rng.integers(0, 2)) * int(rng.integers(1, 8)),
            str(rng.choice(list(frames.DEPTH))),
            str(rng.choice(frames.METHODS)),
            int(rng.integers(2**31)),
            id=f"seed{SEED}-{number}",
        )


@pytest.mark.parametrize("format, width, height, padding, to, method, seed", random_cases(1200))
def test_any_geometry(format, width, height, padding, to, method, seed, monkeypatch):
    """Right bytes everywhere, no byte beyond frame or picture, nothing uninitialised."""
    stride = padding and format.row_bytes(width) + padding
    data = frames.random_frame(np.random.default_rng(seed), format, width, height, stride)
    wanted = frames.expected(format, data, width, height, stride, to, method)
    frame = frames.guarded(data[: len(data) - padding])  # the last padding may be missing
    results = []
    for poison in (0x00, 0xFF):
        monkeypatch.setattr(np, "empty", lambda shape, dtype: np.full(shape, poison, dtype))
        out = frames.Guarded(wanted.size).bytes.reshape(wanted.shape)
        out[:] = poison
        options = {"to": to, "demosaic": method, "padding": padding}
        assert imgcnv.convert(frame, width, height, format, out=out, **options) is out
        fresh = imgcnv.convert(frame, width, height, format, **options)
        assert fresh.flags.c_contiguous and fresh.dtype == np.uint8
        results += [out, fresh]
    for other in results[1:]:
        np.testing.assert_array_equal(results[0], other)
    result = results[0]
    assert result.shape == wanted.shape
    np.testing.assert_array_equal(result, wanted)


@pytest.mark.parametrize("to", frames.DEPTH)
@pytest.mark.parametrize("format", CORE_FORMATS, ids=str)
def test_plain_geometry_is_the_c_library(format, to):
    """Where the C functions leave nothing open, the result is theirs, alpha apart."""
    width, height = 24, 10
    data = frames.random_frame(np.random.default_rng(SEED), format, width, height, 0)
    for number, method in enumerate(frames.METHODS):
        depth = 1 if format is PixelFormat.MONO1P else frames.DEPTH[to]
        raw = frames.c_convert(data, width, height, format, to, number, width * height * depth)
        raw = raw.reshape(height, width, depth)
        if depth != frames.DEPTH[to]:
            raw = frames.to_layout(raw[..., 0], to)
        result = imgcnv.convert(data, width, height, format, to=to, demosaic=method)
        np.testing.assert_array_equal(
            result.reshape(height, width, -1), frames.opaque(raw, to).reshape(height, width, -1)
        )


@pytest.mark.parametrize("method", frames.METHODS)
@pytest.mark.parametrize("width", [16, 17])
@pytest.mark.parametrize("order", ["RG", "GB", "BG", "GR"])
def test_every_layout_of_a_mosaic_gives_the_same_picture(order, width, method):
    """A layout that is read a bit off, or a padding that shifts a row, shows here."""
    rng = np.random.default_rng(SEED)
    samples = rng.integers(0, 256, (9, width), dtype=np.uint16)
    pictures = []
    for format in RASTER_FORMATS:
        if format.order != order:
            continue
        low = format.bits - 8
        deep = samples << low | rng.integers(0, 1 << low, samples.shape, dtype=np.uint16)
        for padding in (1, 5, 0):
            if padding == 0 and format.packing == "lsb":
                continue  # a stream, whose rows encode() does not join
            frame = frames.encode(format, deep, padding, rng)
            options = {"to": "raw16", "padding": padding}
            np.testing.assert_array_equal(
                imgcnv.convert(frame, width, 9, format, **options), deep
            )
            options.update(to="rgb24", demosaic=method)
            pictures.append(imgcnv.convert(frame, width, 9, format, **options))
    assert len(pictures) == 13 * 3 - 3
    for picture in pictures[1:]:
        np.testing.assert_array_equal(pictures[0], picture)


@pytest.mark.parametrize("format", [f for f in RASTER_FORMATS if not f.order], ids=str)
def test_sixteen_bits_of_grey(format):
    """raw16 are the samples; full scale repeats their bits; rgb48 are three of them."""
    rng = np.random.default_rng(SEED)
    samples = rng.integers(0, 1 << format.bits, (5, 13), dtype=np.uint16)
    stride = format.row_bytes(13) + 1
    frame = frames.encode(format, samples, 1, rng)
    options = {"stride": stride}
    raw = imgcnv.convert(frame, 13, 5, format, to="raw16", **options)
    assert raw.dtype == np.uint16
    np.testing.assert_array_equal(raw, samples)
    rgb = imgcnv.convert(frame, 13, 5, format, to="rgb48", **options)
    np.testing.assert_array_equal(rgb, np.stack([samples] * 3, -1))
    full = imgcnv.convert(frame, 13, 5, format, to="raw16", full_scale=True, **options)
    largest = (1 << format.bits) - 1
    np.testing.assert_allclose(full, samples * (65535 / largest), atol=1)
    assert full[samples == largest].tolist() == [65535] * np.count_nonzero(samples == largest)


@pytest.mark.parametrize("format", ["RGB10", "BGR12", "RGB16", "BGR8"])
def test_sixteen_bits_of_colour(format):
    rng = np.random.default_rng(SEED)
    depth = PixelFormat.parse(format).bits
    samples = rng.integers(0, 1 << depth, (5, 7, 3), dtype=np.uint16)
    frame = samples.astype(np.uint8 if depth == 8 else "<u2")
    for to in ("raw16", "rgb48", "bgr48"):  # raw16 has red first, too
        wanted = samples if to.replace("raw", "rgb")[:3] == format[:3].lower() else samples[..., ::-1]
        np.testing.assert_array_equal(imgcnv.convert(frame, 7, 5, format, to=to), wanted)


@pytest.mark.parametrize("method", frames.METHODS[:2])
@pytest.mark.parametrize("order", ["RG", "GB", "BG", "GR"])
def test_sixteen_bits_of_mosaics(order, method):
    """Samples of 8 bits in words of 16 become the same colours as in bytes."""
    samples = np.random.default_rng(SEED).integers(0, 256, (12, 14), dtype=np.uint8)
    deep = imgcnv.convert(
        samples.astype(np.uint16), format=f"Bayer{order}16", to="bgr48", method=method
    )
    flat = imgcnv.convert(samples, format=f"Bayer{order}8", to="bgr24", method=method)
    np.testing.assert_allclose(deep, flat, atol=1)


WORKED = [
    ("Mono1p", 10, 1, "0103", "mono8", [[255, 0, 0, 0, 0, 0, 0, 0, 255, 255]]),
    ("Mono1p", 1, 2, "02", "rgba32", [[[0, 0, 0, 255]], [[255] * 4]]),
    ("Mono4p", 3, 1, "2143", "mono8", [[0x10, 0x20, 0x30]]),
    ("Mono2p", 5, 1, "1B03", "raw16", [[3, 2, 1, 0, 3]]),
    ("Mono10", 2, 1, "FF030400", "mono8", [[255, 1]]),
    ("Mono16", 1, 1, "AB12", "mono8", [[0x12]]),
    ("Y16_BE", 1, 1, "AB12", "raw16", [[0xAB12]]),
    ("Mono10p", 4, 1, "0110" "000100", "raw16", [[1, 4, 16, 0]]),
    ("SRGGB10P", 4, 1, "01020304E4", "raw16", [[4, 9, 14, 19]]),
    ("RGBa8", 1, 1, "0A141E28", "bgra32", [[[30, 20, 10, 255]]]),
    (
        "Mono12Packed",
        3,
        2,
        "ABC4DE11FF" + "010203FE00",
        "mono8",
        [[0xAB, 0xDE, 0x11], [1, 3, 0xFE]],
    ),
    ("Mono12Packed", 1, 1, "AB0C", "bgra32", [[[0xAB, 0xAB, 0xAB, 255]]]),
    ("RGB8", 1, 1, "0A141E", "bgr24", [[[30, 20, 10]]]),
    ("BGR8", 1, 1, "0A141E", "rgba32", [[[30, 20, 10, 255]]]),
    ("RGB8", 1, 1, "808080", "mono8", [[127]]),
    ("UYVY", 1, 2, "80108099" + "80208099", "rgb24", [[[16] * 3], [[32] * 3]]),
    ("YUV444Packed", 1, 1, "000000", "rgb24", [[[0, 136, 0]]]),
    ("IYU1", 5, 1, "800102800304" + "8005FF80FFFF", "mono8", None),
    ("BayerRG8", 4, 1, "0A141E28", "bgra32", [[[v, v, v, 255] for v in (10, 20, 30, 40)]]),
    ("BayerGB12Packed", 1, 3, "AB0012003400", "rgb24", [[[v] * 3] for v in (0xAB, 0x12, 0x34)]),
    ("Mono1C", 3, 2, "C8001001" + "07002003" + "00000000", "mono8", [[200, 0, 0], [0, 0, 7]]),
    ("Mono1C", 1, 1, "05001001", "bgra32", [[[5, 5, 5, 255]]]),
]


@pytest.mark.parametrize("format, width, height, frame, to, wanted", WORKED)
def test_worked_values(format, width, height, frame, to, wanted):
    result = imgcnv.convert(bytes.fromhex(frame), width, height, format, to=to)
    if wanted is None:  # five pixels of two groups of four: 1..4 and 5, through the luma
        wanted = frames.luma(np.repeat([[[1], [2], [3], [4], [5]]], 3, axis=2))
    np.testing.assert_array_equal(result, wanted)


@pytest.mark.parametrize("method", frames.METHODS)
@pytest.mark.parametrize("order", ["RG", "GB", "BG", "GR"])
def test_a_flat_odd_mosaic_stays_flat(order, method):
    """Colours put into the wrong channel at an edge would show at once."""
    cell = {"RG": (200, 100, 100, 50), "GB": (100, 50, 200, 100)}
    cell.update(BG=cell["RG"][::-1], GR=cell["GB"][::-1])
    mosaic = np.tile(np.array(cell[order], np.uint8).reshape(2, 2), (5, 5))
    for height in range(2, 10):
        for width in range(2, 10):
            frame = np.ascontiguousarray(mosaic[:height, :width])
            picture = imgcnv.convert(frame, width, height, f"Bayer{order}8", demosaic=method)
            np.testing.assert_array_equal(picture, np.full((height, width, 3), (200, 100, 50)))


def test_converter_reuses_its_output_and_takes_others():
    with imgcnv.Converter(4, 3, PixelFormat.BAYER_GB10, to="bgr24", padding=2) as converter:
        assert converter.shape == (3, 4, 3)
        assert converter.frame_bytes == 30
        assert converter.format is PixelFormat.BAYER_GB10
        frame = np.random.default_rng(SEED).bytes(30)
        first = converter.convert(frame)
        kept = first.copy()
        assert converter.convert(bytes(30)) is first and not first.any()
        other = np.ones((3, 4, 3), np.uint8)
        assert converter.convert(frame, out=other) is other and not first.any()
        np.testing.assert_array_equal(other, kept)
    np.testing.assert_array_equal(
        other, imgcnv.convert(frame, 4, 3, "BayerGB10", to="bgr24", padding=2)
    )


def test_pictures_over_two_gigabytes():
    """Offsets beyond 32 bits: 30000 x 24000 pixels of 4 bytes."""
    width, height = 30000, 24000
    with open("/proc/meminfo") as lines:
        free = next(int(line.split()[1]) for line in lines if line.startswith("MemAvailable"))
    if free < 6 << 20:
        pytest.skip(f"needs 6 GiB of free memory, {free >> 20} GiB are free")
    if not os.environ.get("IMGCNV_TEST_LARGE"):
        pytest.skip("takes a while: set IMGCNV_TEST_LARGE=1 to run it")
    frame = np.zeros((height, width), np.uint8)
    frame[:, -1] = np.arange(height) % 251
    for format in ("Mono8", "BayerRG8"):
        picture = imgcnv.convert(frame, width, height, format, to="rgba32", demosaic="nearest")
        corner = imgcnv.convert(
            np.ascontiguousarray(frame[-4:, -4:]), 4, 4, format, to="rgba32", demosaic="nearest"
        )
        np.testing.assert_array_equal(picture[-4:, -4:], corner)
        assert not picture[:-4:4001, :-4:4001, :3].any()
