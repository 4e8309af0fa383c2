"""Every kind of file holds the picture, 8 or 16 bits, read back by other programs' decoders."""
import shutil
import subprocess
import sys

import numpy as np
import pytest
from PIL import Image

from conftest import TOOL

rng = np.random.default_rng(1)


def read(path):
    """Any picture as an array; 16-bit colour is more than Pillow reads."""
    if path.suffix == ".npy":
        return np.load(path)
    if path.suffix in (".pgm", ".ppm"):
        head, size, most, data = path.read_bytes().split(b"\n", 3)
        width, height = map(int, size.split())
        kind = np.dtype(">u2") if most == b"65535" else np.uint8
        return np.frombuffer(data, kind).reshape((height, width) + ((3,) if head == b"P6" else ()))
    cv2 = pytest.importorskip("cv2")
    picture = cv2.imread(str(path), cv2.IMREAD_UNCHANGED)
    return picture[..., [2, 1, 0, 3][:picture.shape[2]]] if picture.ndim == 3 else picture


@pytest.mark.parametrize("ending", [".png", ".tiff", ".npy", ".pnm"])
@pytest.mark.parametrize("to", ["mono8", "rgb24", "raw16", "rgb48", "bgr48"])
@pytest.mark.parametrize("options", [[], ["--level", 0], ["--level", 12, "--compression", "zstd"],
                                     ["--compression", "deflate"]])
def test_kinds_of_files_hold_the_same_pixels(run, tmp_path, ending, to, options):
    """Row lengths that no block of a filter or a predictor divides; noise and even areas."""
    height, width = 23, 37
    color = to not in ("mono8", "raw16")
    samples = rng.integers(0, 65536, (height, width) + ((3,) if color else ()), np.uint16)
    samples[5:15] = samples[5, 0]
    (tmp_path / "in.raw").write_bytes(samples.astype("<u2").tobytes())
    run("convert", "in.raw", "-f", "RGB16" if color else "Mono16", "-s", f"{width}x{height}", "--to",
        to, "-o", "out" + ending, *options)
    if ending == ".pnm":
        ending = ".ppm" if color else ".pgm"
        (tmp_path / "out.pnm").rename(tmp_path / ("out" + ending))
    picture = read(tmp_path / ("out" + ending))
    if to == "bgr48" and ending == ".npy":
        picture = picture[..., ::-1]
    expected = samples if to[-2:] in ("16", "48") else samples >> 8
    assert np.array_equal(picture, expected)


def test_raw_words_are_little_endian_and_full_scale_fills_them(run, tmp_path):
    samples = rng.integers(0, 4096, (4, 6), np.uint16)
    for option, kind in (([], "<u2"), (["--big-endian"], ">u2")):
        (tmp_path / "in.raw").write_bytes(samples.astype(kind).tobytes())
        one = ["convert", "in.raw", "-f", "Mono12", "-s", "6x4", "--to", "raw16", "-o", "out.raw"]
        run(*one, *option)
        assert np.array_equal(np.fromfile(tmp_path / "out.raw", "<u2").reshape(4, 6), samples)
        run(*one, *option, "--full-scale")
        scaled = np.fromfile(tmp_path / "out.raw", "<u2").reshape(4, 6)
        assert np.abs(scaled - samples * (65535 / 4095)).max() <= 1


def test_jpeg_is_near_the_picture(run, tmp_path, samples):
    photo = np.asarray(Image.open(samples / "coffee.png"))
    run("pack", samples / "coffee.png", "-f", "RGB8", "-o", "in.raw")
    sizes = []
    for quality in (30, 95):
        run("convert", "in.raw", "-f", "RGB8", "-s", "600x400", "-o", "out.jpg", "--quality", quality)
        picture = Image.open(tmp_path / "out.jpg")
        assert picture.format == "JPEG" and picture.size == (600, 400)
        assert np.abs(np.asarray(picture).astype(int) - photo).mean() < (4 if quality == 95 else 9)
        sizes.append((tmp_path / "out.jpg").stat().st_size)
    assert sizes[0] < sizes[1] / 2
    run("convert", "in.raw", "-f", "RGB8", "-s", "600x400", "-o", "grey.jpg", "--to", "mono8")
    assert Image.open(tmp_path / "grey.jpg").mode == "L"


@pytest.mark.parametrize("ending, options, code, mode", [
    (".pgm", [], 0, b"P5"), (".ppm", ["--to", "rgb24"], 0, b"P6"), (".ppm", [], 0, b"P6"),
    (".pgm", ["--to", "rgb24"], 2, ".ppm"), (".ppm", ["--to", "mono8"], 2, ".pgm"),
    (".jpg", ["--to", "rgb48"], 2, "8 bits"), (".bmp", ["--to", "raw16"], 2, "8 bits"),
    (".jpg", ["--to", "rgba32"], 2, "alpha"), (".pnm", ["--to", "rgba32"], 2, "alpha"),
])
@pytest.mark.parametrize("name, bytes_per_pixel", [("Mono8", 1), ("RGB8", 3)])
def test_what_the_ending_says_is_written_or_refused(run, tmp_path, ending, options, code, mode, name,
                                                    bytes_per_pixel):
    (tmp_path / "in.raw").write_bytes(bytes(6 * 4 * bytes_per_pixel))
    result = run("convert", "in.raw", "-f", name, "-s", "6x4", "-o", "out" + ending, *options, code=code)
    if code == 0:
        assert (tmp_path / ("out" + ending)).read_bytes()[:2] == mode
    else:
        assert mode in result.said and not (tmp_path / ("out" + ending)).exists()


def test_png_is_small(run, tmp_path, samples):
    """Within a tenth of what zlib made at its fastest from the rows' differences."""
    for name, most in {"coffee": 459_000, "chelsea": 240_400}.items():
        run("pack", samples / f"{name}.png", "-f", "RGB8", "-o", "in.raw")
        size = "x".join(map(str, Image.open(samples / f"{name}.png").size))
        run("convert", "in.raw", "-f", "RGB8", "-s", size, "-o", "out.png")
        assert (tmp_path / "out.png").stat().st_size < 1.1 * most
    # A drawing: runs alone make it small, the search for its repetitions smaller.
    drawing = (np.arange(600) // 7 % 2 * 200 + np.arange(400)[:, None] // 9 % 2 * 50).astype(np.uint8)
    (tmp_path / "in.raw").write_bytes(drawing.tobytes())
    for level, most in ((0, 250_000), (1, 60_000), (12, 3_000)):
        run("convert", "in.raw", "-f", "Mono8", "-s", "600x400", "-o", "out.png", "--level", level)
        assert (tmp_path / "out.png").stat().st_size < most
        assert np.array_equal(np.asarray(Image.open(tmp_path / "out.png")), drawing)


def test_a_small_file_takes_little_memory(run, tmp_path):
    """A PNG of 69 bytes that claims 20000x20000."""
    import struct
    import zlib

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    (tmp_path / "claims.png").write_bytes(
        b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", 20000, 20000, 8, 2, 0, 0, 0)) +
        chunk(b"IDAT", zlib.compress(b"a")) + chunk(b"IEND", b""))
    code = ("import resource, subprocess, sys\n"
            f"done = subprocess.run([{TOOL!r}, 'pack', 'claims.png', '-f', 'Mono8', '-o', 'x.raw'], "
            "capture_output=True)\n"
            "assert done.returncode == 1 and b'cannot hold' in done.stderr, done.stderr\n"
            "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)")
    used = subprocess.run([sys.executable, "-c", code], capture_output=True, check=True, cwd=tmp_path)
    limit = 100 if "IMGCNV_LIBRARY" in __import__("os").environ else 600
    assert int(used.stdout) < limit * 1024


def test_a_video_in_one_line(tmp_path):
    if not shutil.which("ffmpeg"):
        pytest.skip("no ffmpeg")
    frames = [rng.integers(0, 256, (48, 64), np.uint8) for _ in range(5)]
    (tmp_path / "dump.raw").write_bytes(b"".join(f.tobytes() for f in frames))
    subprocess.run(f"{TOOL} convert dump.raw -f BayerRG8 -s 64x48 --frames all -o - --output-format raw"
                   " | ffmpeg -v error -f rawvideo -pixel_format rgb24 -video_size 64x48"
                   " -framerate 25 -i - -c:v ffv1 video.mkv", shell=True, check=True, cwd=tmp_path)
    back = subprocess.run("ffmpeg -v error -i video.mkv -f rawvideo -pix_fmt rgb24 -", shell=True,
                          check=True, cwd=tmp_path, capture_output=True).stdout
    assert len(back) == 5 * 64 * 48 * 3
