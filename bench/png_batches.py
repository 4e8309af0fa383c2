#!/usr/bin/python3
"""Frames per second of a dump that becomes PNG files, by us, by ffmpeg and by OpenCV in Python.

    bench/png_batches.py IMGCNV [FRAMES]

1920x1200 pixels: a photograph of samples/, repeated, with the noise of a sensor in each frame. We read
BayerRG12Packed; the other two have the 8-bit mosaic of the same frames, because they read no packed
format. Each compresses in the fastest way of its own that still makes a photograph smaller: imgcnv and
OpenCV by default (at OpenCV's level 1 it takes twice as long), ffmpeg at level 1 with the prediction
"sub". Each may use all CPUs. The best of three rounds.
"""

import multiprocessing
import pathlib
import subprocess
import sys
import tempfile
import time

import cv2
import numpy as np

WIDTH, HEIGHT = 1920, 1200
PHOTOGRAPH = pathlib.Path(__file__).resolve().parents[1] / "samples" / "coffee.png"


def make_dumps(folder: pathlib.Path, frames: int) -> None:
    photograph = cv2.imread(str(PHOTOGRAPH))
    across, down = -(-WIDTH // photograph.shape[1]), -(-HEIGHT // photograph.shape[0])
    colors = np.tile(photograph, (down, across, 1))[:HEIGHT, :WIDTH]
    mosaic = colors[..., 1].copy()
    mosaic[::2, ::2], mosaic[1::2, 1::2] = colors[::2, ::2, 2], colors[1::2, 1::2, 0]
    rng = np.random.default_rng(0)
    with open(folder / "packed.raw", "wb") as packed, open(folder / "bytes.raw", "wb") as plain:
        for _ in range(frames):
            samples = mosaic.astype(np.float32) * 16 + rng.normal(0, 12, mosaic.shape)
            samples = samples.clip(0, 4095).astype(np.uint16)
            first, second = samples[:, ::2], samples[:, 1::2]
            groups = [first >> 4, first & 15 | (second & 15) << 4, second >> 4]
            packed.write(np.stack(groups, -1).astype(np.uint8).tobytes())
            plain.write((samples >> 4).astype(np.uint8).tobytes())


def write_by_opencv(job: "tuple[pathlib.Path, int]") -> None:
    folder, number = job
    offset = number * WIDTH * HEIGHT
    mosaic = np.fromfile(folder / "bytes.raw", np.uint8, WIDTH * HEIGHT, offset=offset)
    picture = cv2.cvtColor(mosaic.reshape(HEIGHT, WIDTH), cv2.COLOR_BayerBG2BGR)
    name = folder / "pictures" / f"{number}.png"
    cv2.imwrite(str(name), picture)


def opencv(folder: pathlib.Path, frames: int) -> None:
    with multiprocessing.Pool(initializer=cv2.setNumThreads, initargs=(1,)) as pool:
        pool.map(write_by_opencv, [(folder, number) for number in range(frames)])


def main() -> None:
    command, frames = pathlib.Path(sys.argv[1]).resolve(), int(sys.argv[2]) if len(sys.argv) > 2 else 40
    size = f"{WIDTH}x{HEIGHT}"
    ours = [command, "convert", "packed.raw", "-f", "BayerRG12Packed", "-s", size, "--frames", "all",
            "-o", "pictures/%d.png"]
    theirs = ["ffmpeg", "-v", "error", "-f", "rawvideo", "-pixel_format", "bayer_rggb8", "-video_size",
              size, "-i", "bytes.raw", "-compression_level", "1", "-pred", "sub",
              "pictures/%d.png"]
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        make_dumps(folder, frames)
        ways = {
            "imgcnv, BayerRG12Packed": lambda: subprocess.run([*ours, "-q"], cwd=folder, check=True),
            "ffmpeg, bayer_rggb8": lambda: subprocess.run(theirs, cwd=folder, check=True),
            "OpenCV, 8-bit mosaic": lambda: opencv(folder, frames),
        }
        best = dict.fromkeys(ways, 0.0)
        for _ in range(3):
            for way, action in ways.items():
                (folder / "pictures").mkdir()
                start = time.perf_counter()
                action()
                best[way] = max(best[way], frames / (time.perf_counter() - start))
                files = list((folder / "pictures").iterdir())
                assert len(files) == frames, (way, len(files))
                megabytes = sum(file.stat().st_size for file in files) / frames / 1e6
                for file in files:
                    file.unlink()
                (folder / "pictures").rmdir()
                print(f"{way:24} {best[way]:6.1f} frames/s, {megabytes:.2f} MB each", flush=True)


if __name__ == "__main__":
    main()
