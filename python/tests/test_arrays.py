"""Arrays as people have them: views, batches, other packages' arrays, rotated and levelled."""

from __future__ import annotations

import tracemalloc

import numpy as np
import pytest

import frames
import imgcnv

RNG = np.random.default_rng(5)


def handed_out(array, protocol):
    """Memory that is handed out by one of the protocols alone."""
    members = {
        "__array_interface__": {"__array_interface__": array.__array_interface__, "owner": array},
        "__array__": {"__array__": lambda self, *_, **__: array},
        "__dlpack__": {
            "__dlpack__": lambda self, **options: array.__dlpack__(**options),
            "__dlpack_device__": lambda self: array.__dlpack_device__(),
        },
    }
    return type("Foreign", (), members[protocol])()


PROTOCOLS = ["__array_interface__", "__array__", "__dlpack__"]


@pytest.mark.parametrize("protocol", PROTOCOLS)
def test_arrays_of_other_packages(protocol):
    array = RNG.integers(0, 256, (6, 9), dtype=np.uint8)
    for view in (array, array[:, 2:8]):
        wanted = imgcnv.convert(np.ascontiguousarray(view), format="BayerGR8")
        other = handed_out(view, protocol)
        height, width = view.shape
        np.testing.assert_array_equal(imgcnv.convert(other, format="BayerGR8"), wanted)
        np.testing.assert_array_equal(imgcnv.convert(other, width, height, "BayerGR8"), wanted)


def test_memory_of_a_graphics_card_is_refused():
    kind = type("Card", (), {"__dlpack__": None, "__dlpack_device__": lambda self: (2, 0)})
    with pytest.raises(TypeError, match="DLPack device 2, expected the CPU's"):
        imgcnv.convert(kind(), 2, 2, "Mono8")


def test_xarray():
    xarray = pytest.importorskip("xarray", reason="Debian's python3-xarray is not installed")
    array = xarray.DataArray(RNG.integers(0, 256, (3, 4, 6), dtype=np.uint8), dims=("t", "y", "x"))
    pictures = imgcnv.convert(array, format="BayerRG8", batch=True)
    np.testing.assert_array_equal(pictures[1], imgcnv.convert(array[1], format="BayerRG8"))


@pytest.mark.parametrize("format", ["Mono8", "BayerGB12", "BayerRG12Packed", "Mono10p", "RGB8"])
def test_views_and_regions_are_read_and_written_where_they_lie(format):
    """Every view of source and target gives the bytes of its contiguous copy, and no others."""
    known = imgcnv.PixelFormat.parse(format)
    width, height, row = 16, 5, known.row_bytes(16)
    kind = "<u2" if known.packing == "words" else "u1"
    buffer = RNG.integers(0, 256, (height + 2, row + 14), dtype=np.uint8).view(kind)
    columns = row // buffer.itemsize
    for view in (buffer[:height, :columns], buffer[2:, 3 : 3 + columns], buffer[:1, :columns]):
        rows = len(view)
        wanted = imgcnv.convert(np.ascontiguousarray(view), width, rows, known)
        canvas = np.full((rows + 1, width + 3, 3), 7, np.uint8)
        out = canvas[1:, 2 : width + 2]
        assert imgcnv.convert(view, width, rows, known, out=out) is out
        np.testing.assert_array_equal(out, wanted)
        out[...] = 7
        assert (canvas == 7).all()
        np.testing.assert_array_equal(imgcnv.convert(view, width, rows, known), wanted)


@pytest.mark.parametrize("format", ["Mono8", "BayerRG12", "BayerRG12Packed"])
def test_no_copy_is_made_of_what_is_read(format):
    """Of a region in megabytes, whoever hands it out: NumPy tells tracemalloc of each copy."""
    known = imgcnv.PixelFormat.parse(format)
    width, height, count = 640, 480, 4
    kind = "<u2" if known.packing == "words" else "u1"
    columns = known.row_bytes(width) // np.dtype(kind).itemsize
    buffer = RNG.integers(0, 256, (count, height + 9, columns + 70)).astype(kind)
    regions = buffer[:, 5 : 5 + height, 64 : 64 + columns]
    one, all_of_them = regions[0], [regions, handed_out(regions, "__dlpack__")]
    frames = [one, memoryview(one), *(handed_out(one, protocol) for protocol in PROTOCOLS)]
    pictures = np.empty((count, height, width, 3), np.uint8)
    with imgcnv.Converter(width, height, known, threads=2) as converter:
        for convert, given, out in [(converter.convert, frame, pictures[0]) for frame in frames] + [
            (converter.convert_batch, batch, pictures) for batch in all_of_them
        ]:
            convert(given, out)  # what is made once and kept
            tracemalloc.start()
            convert(given, out)
            peak = tracemalloc.get_traced_memory()[1]
            tracemalloc.stop()
            assert peak < one.nbytes // 4, type(given)


def test_numbers_of_numpy_do_as_well():
    size_and_code = np.int64(6), np.uint16(4), np.int32(imgcnv.PixelFormat.BAYER_RG8)
    options = {"padding": np.int8(2), "rotate": np.int16(90), "threads": np.int64(1)}
    with imgcnv.Converter(*size_and_code, **options) as converter:
        assert converter.shape == (6, 4, 3) and converter.frame_bytes == 32


def test_sizes_are_those_of_arrays():
    for format, shape, kind, size in (
        ("Mono8", (3, 5), "u1", (5, 3)),
        ("Mono12", (3, 5), "u2", (5, 3)),
        ("Mono12", (3, 10), "u1", (5, 3)),
        ("Mono12Packed", (3, 8), "u1", (5, 3)),
        ("RGB8", (3, 5, 3), "u1", (5, 3)),
        ("RGB16", (3, 5, 3), "u2", (5, 3)),
    ):
        picture = imgcnv.convert(np.zeros(shape, kind), format=format, to="grey")
        assert picture.shape == size[::-1]


@pytest.mark.parametrize("threads", [1, 2, 3, 0])
@pytest.mark.parametrize("format, to", [("BayerRG12Packed", "bgr24"), ("Mono8", "raw16")])
def test_batches(format, to, threads):
    known = imgcnv.PixelFormat.parse(format)
    width, height, count = 12, 6, 7
    row = known.row_bytes(width)
    stack = RNG.integers(0, 256, (count, height, row), dtype=np.uint8)
    options = {"to": to, "threads": threads}
    with imgcnv.Converter(width, height, known, to=to) as converter:
        wanted = np.stack([converter.convert(frame).copy() for frame in stack])
    with imgcnv.Converter(width, height, known, **options) as converter:
        for given in (stack, stack.tobytes(), stack.reshape(-1)):
            np.testing.assert_array_equal(converter.convert_batch(given), wanted)
        spread = np.full((count, height + 2, row + 3), 1, np.uint8)
        spread[:, 1:-1, 2:-1] = stack
        canvas = np.full((count, height + 1, *wanted.shape[2:]), 9, wanted.dtype)
        out = canvas[:, 1:]
        assert converter.convert_batch(spread[:, 1:-1, 2:-1], out) is out
        np.testing.assert_array_equal(out, wanted)
        assert (canvas[:, 0] == 9).all()
    assert imgcnv.convert(stack[:1], width, height, known, batch=True, **options).shape == (
        1,
        *wanted.shape[1:],
    )


@pytest.mark.parametrize("flip", [None, "horizontal", "vertical"])
@pytest.mark.parametrize("angle", [0, 90, 180, 270])
def test_rotated_while_converted(angle, flip):
    frame = RNG.integers(0, 256, (7, 10), dtype=np.uint8)
    wanted = np.rot90(imgcnv.convert(frame, format="BayerBG8", to="bgra"), -angle // 90)
    if flip:
        wanted = wanted[:, ::-1] if flip == "horizontal" else wanted[::-1]
    result = imgcnv.convert(frame, format="BayerBG8", to="bgra", rotate=angle, flip=flip)
    np.testing.assert_array_equal(result, wanted)


def test_other_names_of_targets_and_methods():
    frame = RNG.integers(0, 256, (8, 8), dtype=np.uint8)
    for name, usual in (("gray8", "mono8"), ("BGR", "bgr24"), ("RGBA8", "rgba32")):
        for method in ("Nearest", "bi-linear"):
            results = [
                imgcnv.convert(frame, format="RGGB8", to=usual, demosaic=method.lower()),
                imgcnv.convert(frame, format="RGGB8", to=name, method=method),
            ]
            np.testing.assert_array_equal(*results)


def test_alpha_is_kept_where_that_is_asked_for():
    frame = RNG.integers(0, 255, (2, 3, 4), dtype=np.uint8)
    np.testing.assert_array_equal(
        imgcnv.convert(frame, format="RGBa8", to="rgba", keep_alpha=True), frame
    )
    opaque = imgcnv.convert(frame, format="RGBa8", to="bgra")
    np.testing.assert_array_equal(opaque[..., :3], frame[..., 2::-1])
    assert (opaque[..., 3] == 255).all()


def test_levels():
    frame = np.arange(256, dtype=np.uint8).reshape(16, 16)
    levels = imgcnv.Levels(black=16, white=235, gains=(1, 1, 1))
    stretched = imgcnv.convert(frame, format="Mono8", to="mono8", levels=levels)
    wanted = np.clip((frame.astype(float) - 16) * 255 / 219, 0, 255)
    np.testing.assert_allclose(stretched, wanted, atol=0.5 + 1e-3)
    curve = np.stack([np.arange(256), np.arange(256)[::-1], np.zeros(256)]).astype(np.uint8)
    curved = imgcnv.convert(
        frame, format="Mono8", to="bgr24", levels=imgcnv.Levels(curve=curve)
    )
    np.testing.assert_array_equal(curved, np.stack([0 * frame, 255 - frame, frame], -1))
    gamma = imgcnv.convert(frame, format="Mono8", to="mono8", levels=imgcnv.Levels(gamma=2.2))
    np.testing.assert_allclose(gamma, 255 * (frame / 255) ** (1 / 2.2), atol=0.5 + 1e-3)
    with imgcnv.Converter(16, 16, "Mono8", to="mono8", levels=levels) as converter:
        wide = np.zeros((16, 40), np.uint8)  # levels hold for other strides, too
        wide[:, :16] = frame
        np.testing.assert_array_equal(converter.convert(wide[:, :16]), stretched)


def test_auto_levels_mend_a_dark_tinted_frame():
    light = RNG.integers(40, 120, (32, 32)).astype(np.uint16)
    light[::2, ::2] *= 2  # red
    levels = imgcnv.auto_levels(light, 32, 32, "BayerRG12")
    dark = imgcnv.convert(light, format="BayerRG12")
    right = imgcnv.convert(light, format="BayerRG12", levels=levels)
    assert dark.mean() < 12 and 80 < right.mean() < 176
    means = right.reshape(-1, 3).mean(axis=0)
    assert means.max() - means.min() < 12
    padded = np.zeros((32, 40), np.uint16)
    padded[:, :32] = light
    assert imgcnv.auto_levels(padded[:, :32], 32, 32, "BayerRG12") == levels


SAMPLE = frames.SAMPLES / "coffee_600x400_BayerRG12Packed.raw"


@pytest.mark.parametrize("data", [SAMPLE, SAMPLE.read_bytes()], ids=["path", "bytes"])
def test_guess(data):
    answer = imgcnv.guess(data, most=3)
    best = answer.readings[0]
    assert (best.width, best.height, best.format.label) == (600, 400, "BayerRG12Packed")
    assert 0 < len(answer.readings) <= 3 and best.frames == 1
    assert best.score >= answer.readings[-1].score


def test_guess_says_what_is_no_frame(tmp_path):
    picture = tmp_path / "a.png"
    picture.write_bytes(b"\x89PNG\r\n\x1a\n" + bytes(1000))
    for data in (picture, picture.read_bytes()):
        with pytest.raises(ValueError, match="PNG"):
            imgcnv.guess(data)
    with pytest.raises(ValueError, match="too short for a frame: 0 bytes"):
        imgcnv.guess(b"")
    with pytest.raises(FileNotFoundError):
        imgcnv.guess(tmp_path / "none.raw")
    with pytest.raises(IsADirectoryError):
        imgcnv.guess(tmp_path)
    with pytest.raises(TypeError, match="data holds float32, expected uint8 or uint16"):
        imgcnv.guess(np.zeros((48, 64), np.float32))
