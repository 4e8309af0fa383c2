"""Pictures hold the right pixels, all of them, whatever the geometry."""
import json

import numpy as np
import pytest
from PIL import Image

import frames
import library
from conftest import SOURCE

SIZES = [(8, 6), (7, 5), (13, 4), (2, 2), (5, 3), (1, 4), (9, 1), (66, 3), (3, 7)]


def convert(run, tmp_path, frame, name, width, height, *more, out="out.png"):
    (tmp_path / "in.raw").write_bytes(frame)
    run("convert", "in.raw", "-f", name, "-s", f"{width}x{height}", "-q", "-o", out, *more)
    return np.asarray(Image.open(tmp_path / out))


def padding_options(padding):
    return ["--padding", padding] if padding is not None else []


@pytest.mark.parametrize("name", frames.GREY)
@pytest.mark.parametrize("padding", [None, 0, 3])
def test_grey_frames_of_every_width(run, tmp_path, name, padding):
    rng = np.random.default_rng(1)
    bits = frames.GREY[name]
    for width, height in SIZES:
        if bits < 8:
            values = rng.integers(0, 1 << bits, (height, width), np.uint8)
            if padding is None:  # one stream of pixels, rows from anywhere in a byte
                rows = frames.bits_in_rows(values.reshape(1, -1), bits)
            else:
                rows = frames.bits_in_rows(values, bits)
            expected = values * (255 if bits == 1 else 16)
        else:
            expected = rng.integers(0, 256, (height, width), np.uint8)
            rows = frames.pack_samples(expected, frames.layout_of(name), rng)
        frame = frames.padded(rows, padding or 0, rng)
        grey = convert(run, tmp_path, frame, name, width, height, *padding_options(padding))
        assert np.array_equal(grey, expected), (width, height)
        rgb = convert(run, tmp_path, frame, name, width, height, "--to", "rgb24",
                      *padding_options(padding))
        assert np.array_equal(rgb, expected[..., None].repeat(3, 2)), (width, height)


@pytest.mark.parametrize("name", frames.YUV)
@pytest.mark.parametrize("padding", [0, 2])
def test_yuv_frames_of_every_width(run, tmp_path, name, padding):
    rng = np.random.default_rng(2)
    for width, height in SIZES:
        rows = frames.yuv_rows(width, height, frames.YUV[name], rng)
        frame = frames.padded(rows, padding, rng)
        picture = convert(run, tmp_path, frame, name, width, height, "--padding", padding)
        expected = frames.yuv_to_rgb(rows, frames.YUV[name], width)
        assert np.array_equal(picture, expected), (width, height)


@pytest.mark.parametrize("name", frames.COLOR)
@pytest.mark.parametrize("to", ["mono8", "rgb24", "bgr24", "rgba32", "bgra32"])
def test_color_frames_lose_their_padding(run, tmp_path, name, to):
    rng = np.random.default_rng(3)
    pixels = rng.integers(0, 256, (5, 7, 3), np.uint8)
    frame = frames.padded(pixels.reshape(5, 21), 4, rng)
    expected = pixels[:, :, frames.COLOR[name]]
    for out in ("out.png", "out.tiff", "out.bmp"):
        picture = convert(run, tmp_path, frame, name, 7, 5, "--padding", 4, "--to", to, out=out)
        if to == "mono8":
            assert np.array_equal(picture, frames.luma(expected))
        else:
            assert np.array_equal(picture[:, :, :3], expected), out
            assert picture.shape[2] == (4 if to.endswith("32") else 3)
            assert (picture[:, :, 3:] == 255).all(), out  # alpha, where there is one


@pytest.mark.parametrize("name", frames.BAYER)
def test_nearest_on_odd_edges(run, tmp_path, name):
    rng = np.random.default_rng(4)
    order, layout = frames.BAYER[name]
    for width, height in SIZES:
        if width < 2 or height < 3:
            continue
        samples = rng.integers(0, 256, (height, width), np.uint8)
        frame = frames.padded(frames.pack_samples(samples, layout, rng), 3, rng)
        picture = convert(run, tmp_path, frame, name, width, height, "--padding", 3, "-m",
                          "nearest")
        # Cells of GR begin above the frame, where the mosaic goes on mirrored.
        expected = (frames.nearest(np.vstack([samples[1:2], samples]), "BG")[1:] if order == "GR"
                    else frames.nearest(samples, order))
        assert np.array_equal(picture, expected), (width, height)


def codes():
    """From the header, not from the command's own table."""
    text = (SOURCE / "include/imgcnv.h").read_text()
    found = {}
    for line in text.splitlines():
        if line.strip().startswith("IMGCNV_PIXEL_") and "= 0x" in line:
            name, rest = line.strip().split(" = ")
            found[name.replace("IMGCNV_PIXEL_", "").replace("_", "").lower()] = int(rest[:10], 16)
    return found


@pytest.mark.parametrize("name", [n for n in [*frames.GREY, *frames.BAYER, *frames.YUV,
                                              *frames.COLOR]
                                  if "GR1" not in n and "GR8" not in n and n != "Mono1p"])
def test_raw_output_is_the_librarys(run, tmp_path, name):
    """Even sizes, where the library's own picture is complete."""
    rng = np.random.default_rng(5)
    width, height = 24, 10
    code = codes()[name.replace("_", "").lower()]
    bits = code >> 16 & 255
    for padding in [0] if bits < 8 else [0, 3]:
        rows = rng.integers(0, 256, (height, width * bits // 8), np.uint8)
        frame = frames.padded(rows, padding, rng)
        (tmp_path / "in.raw").write_bytes(frame)
        for to in ("mono8", "bgr24", "rgba32"):
            for method in frames.METHODS if "Bayer" in name else ["bilinear"]:
                if name.startswith(to[:3].upper()) and padding:
                    continue  # the library copies this padding along
                expected = library.convert(frame, code, width, height, padding, to,
                                           frames.METHODS[method])
                if to == "rgba32":
                    expected[..., 3] = 255
                run("convert", "in.raw", "-f", name, "-s", f"{width}x{height}", "-m", method,
                    "--padding" if padding else "-q", padding or "-q", "--to", to, "-o", "out.raw")
                got = np.fromfile(tmp_path / "out.raw", np.uint8)
                assert np.array_equal(got, expected.reshape(-1)), (to, method, padding)


@pytest.mark.parametrize("method", frames.METHODS)
@pytest.mark.parametrize("order", ["RG", "GB", "BG", "GR"])
def test_odd_photos_look_right_to_the_last_column(run, tmp_path, samples, method, order):
    photo = np.asarray(Image.open(samples / "chelsea.png"))[:299]  # 451x299
    frame = frames.mosaic(photo, order).tobytes()
    picture = convert(run, tmp_path, frame, f"Bayer{order}8", 451, 299, "-m", method)
    expected = photo
    assert picture.shape == expected.shape
    # Wrong colours in an edge cost far more than this.
    for part in (np.s_[:, -1], np.s_[:, 0], np.s_[-1], np.s_[0], np.s_[:]):
        assert frames.psnr(picture[part], expected[part]) > 25, part


def test_one_row_of_a_mosaic_is_grey(run, tmp_path):
    rng = np.random.default_rng(6)
    for name, (_, layout) in frames.BAYER.items():
        for width in (1, 2, 9):
            row = rng.integers(0, 256, (1, width), np.uint8)
            frame = frames.pack_samples(row, layout, rng).tobytes()
            assert np.array_equal(convert(run, tmp_path, frame, name, width, 1),
                                  row[..., None].repeat(3, 2)), name


def points(*places):
    return b"".join(bytes([v]) + (y << 12 | x).to_bytes(3, "big") for v, y, x in places)


@pytest.mark.parametrize("tail", [b"", bytes(4), bytes(4) + b"\xff" * 8])
def test_point_lists(run, tmp_path, tail):
    frame = points((200, 1, 1), (0, 2, 3), (7, 5, 300)) + tail
    expected = np.zeros((5, 300), np.uint8)
    expected[0, 0], expected[4, 299] = 200, 7
    assert np.array_equal(convert(run, tmp_path, frame, "Mono1C", 300, 5), expected)
    rgb = convert(run, tmp_path, frame, "Mono1C", 300, 5, "--to", "rgb24", "--rotate", 180)
    assert np.array_equal(rgb, expected[::-1, ::-1, None].repeat(3, 2))
    assert not convert(run, tmp_path, bytes(4), "Mono1C", 3, 2).any()


@pytest.mark.parametrize("place", [(0, 1), (1, 0), (6, 1), (1, 301)])
def test_points_outside_are_refused(run, tmp_path, place):
    (tmp_path / "in.raw").write_bytes(points((9, 1, 1), (9, *place)))
    result = run("convert", "in.raw", "-f", "Mono1C", "-s", "300x5", "-o", "out.png", code=1)
    assert f"row {place[0]}, column {place[1]}" in result.said
    assert not (tmp_path / "out.png").exists()


TURNS = {("--rotate", 90): lambda a: np.rot90(a, -1), ("--rotate", 180): lambda a: np.rot90(a, 2),
         ("--rotate", 270): np.rot90, ("--flip", "h"): lambda a: a[:, ::-1],
         ("--flip", "v"): lambda a: a[::-1],
         ("--rotate", 90, "--flip", "h"): lambda a: np.rot90(a, -1)[:, ::-1]}


@pytest.mark.parametrize("options", TURNS)
@pytest.mark.parametrize("to", ["mono8", "rgb24", "rgba32"])
def test_turns(run, tmp_path, options, to):
    rng = np.random.default_rng(7)
    samples = rng.integers(0, 256, (5, 7), np.uint8)
    rgb = frames.nearest(samples, "GB")
    plain = {"mono8": frames.luma(rgb), "rgb24": rgb,
             "rgba32": np.dstack([rgb, np.full((5, 7), 255, np.uint8)])}[to]
    dump = samples.tobytes() * 2  # the second frame goes through buffers already used
    (tmp_path / "in.raw").write_bytes(dump)
    run("convert", "in.raw", "-f", "BayerGB8", "-s", "7x5", "-m", "nearest", "--to", to, *options,
        "--frames", "all", "-j", 1, "-o", "out_%d.png")
    for i in (0, 1):
        picture = np.asarray(Image.open(tmp_path / f"out_{i}.png"))
        assert np.array_equal(picture, TURNS[options](plain))


def test_pack_is_the_inverse(run, tmp_path, samples):
    photo = np.asarray(Image.open(samples / "chelsea.png"))[40:105, 100:221]  # odd both ways
    Image.fromarray(photo).save(tmp_path / "photo.png")
    grey = (photo.astype(int) @ [299, 587, 114] + 500) // 1000
    for f in json.loads(run("formats", "--json").out)["formats"]:
        name, depth = f["name"], f["depth"]
        for padding in [[]] if name == "Mono1C" else [[], ["--padding", 5]]:
            run("pack", "photo.png", "-f", name, "-o", "photo.raw", "-q", *padding)
            run("convert", "photo.raw", "-f", name, "-s", "121x65", "-m", "adaptive", "-q", "-o",
                "back.png", "--to", "rgb24" if f["color"] else "mono8", *padding)
            back = np.asarray(Image.open(tmp_path / "back.png")).astype(int)
            if f["order"]:
                assert frames.psnr(back, photo) > 30, name
            elif name.startswith("YUV"):
                assert frames.psnr(back, photo) > 33, name
            elif f["color"]:
                assert np.array_equal(back, photo), name
            else:  # a shade of rounding between an 8-bit and a 16-bit sum
                assert np.abs(back - grey).max() <= 1 << max(0, 8 - depth), name
                assert depth < 8 or np.mean(back != grey) < 0.05, name


def test_packed_bytes_are_those_of_the_definition(run, tmp_path):
    Image.fromarray(np.array([[[16, 32, 48], [64, 80, 96]]], np.uint8)).save(tmp_path / "p.png")
    # 12 bits of an 8-bit value v: v, then its upper four bits again; 10 bits: its upper two.
    for name, expected in {"BayerRG8": [16, 80], "BayerRG12Packed": [16, 0x51, 80],
                           "BayerRG10Packed": [16, 0x10, 80], "BayerBG12": [3 | 0x00, 3, 5, 5],
                           "BayerGB10": [0x80, 0, 0x81, 1], "RGB8": [16, 32, 48, 64, 80, 96],
                           "BGR8": [48, 32, 16, 96, 80, 64]}.items():
        run("pack", "p.png", "-f", name, "-o", "p.raw", "-q")
        assert list((tmp_path / "p.raw").read_bytes()) == expected, name


@pytest.mark.parametrize("name, group", [("IYU1", "UYYVYY"), ("IYU2", "UYV"), ("UYVY", "UYVY"),
                                         ("YUY2", "YUYV")])
def test_frames_made_by_gstreamer(run, tmp_path, samples, name, group):
    data = np.fromfile(samples / f"bars_162x120_{name}.raw", np.uint8).reshape(120, -1)
    row = -(-162 // group.count("Y")) * len(group)
    run("convert", samples / f"bars_162x120_{name}.raw", "--stride", data.shape[1], "-o",
        tmp_path / "bars.png")
    picture = np.asarray(Image.open(tmp_path / "bars.png"))
    assert np.array_equal(picture, frames.yuv_to_rgb(data[:, :row], group, 162))
    assert (np.abs(picture[5, [30, 60, 80]].astype(int) -  # yellow, cyan, green
                   [(235, 235, 16), (16, 235, 235), (16, 235, 16)]) < 12).all()
