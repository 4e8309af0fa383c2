"""Archives: lazily opened, written by workers that may die, and gone on with."""

from __future__ import annotations

import json
import os
import pathlib
import pickle
import signal
import socket
import subprocess
import sys
import threading
import time
import warnings

import numpy as np
import pytest

import imgcnv
from programs import MODULE, PYTHON, run

pytest.importorskip("dask.array", reason="Debian's python3-dask is not installed")
fsspec = pytest.importorskip("fsspec", reason="Debian's python3-fsspec is not installed")

import imgcnv.dask as archive  # noqa: E402

NO_ZARR = "Debian's python3-zarr is not installed"
WIDTH, HEIGHT, FORMAT = 60, 40, "BayerRG12Packed"
FRAME_BYTES = WIDTH * HEIGHT * 3 // 2
CHUNK_BYTES = 8 * WIDTH * HEIGHT * 3  # 8 frames


def dump(frames, seed=0, skip=0, gap=0):
    rng = np.random.default_rng(seed)
    return rng.bytes(skip) + b"".join(rng.bytes(FRAME_BYTES + gap) for _ in range(frames))


@pytest.fixture
def captures(tmp_path):
    folder = tmp_path / "captures" / "deep"
    folder.mkdir(parents=True)
    for number, frames in enumerate((13, 1, 20)):
        (folder / f"run{number}.raw").write_bytes(dump(frames, number))
    return tmp_path / "captures"


def open_small(urls, **options):
    options.setdefault("chunk_bytes", CHUNK_BYTES)
    return archive.open_frames(urls, WIDTH, HEIGHT, FORMAT, **options)


def converted(data, **options):
    return imgcnv.convert(data, WIDTH, HEIGHT, FORMAT, batch=True, **options)


def test_frames_of_many_files_are_those_of_convert(captures):
    array = open_small(captures)
    assert array.shape == (34, HEIGHT, WIDTH, 3) and array.chunks[0] == (8, 8, 8, 8, 2)
    data = b"".join(path.read_bytes() for path in sorted(captures.rglob("*.raw")))
    np.testing.assert_array_equal(array.compute(scheduler="threads"), converted(data))
    grey = open_small(f"{captures}/**/*.raw", to="raw16", levels=imgcnv.Levels(black=9))
    wanted = converted(data[: 2 * FRAME_BYTES], to="raw16", levels=imgcnv.Levels(black=9))
    np.testing.assert_array_equal(grey[:2].compute(scheduler="sync"), wanted)


def test_headers_and_chunk_data(tmp_path):
    data = dump(5, skip=100, gap=16)
    (tmp_path / "a.raw").write_bytes(data[:-16])  # the last gap may be missing
    array = open_small(tmp_path / "a.raw", skip=100, gap=16)
    pieces = [data[100 + n * (FRAME_BYTES + 16) :][:FRAME_BYTES] for n in range(5)]
    np.testing.assert_array_equal(array.compute(scheduler="sync"), converted(b"".join(pieces)))


def test_one_ranged_read_per_chunk_and_file(captures, monkeypatch):
    reads = []
    local = type(fsspec.filesystem("file"))
    cat_file = local.cat_file

    def counted(self, path, start=None, end=None, **options):
        reads.append((os.path.basename(path), start // FRAME_BYTES, end // FRAME_BYTES))
        return cat_file(self, path, start, end, **options)

    monkeypatch.setattr(local, "cat_file", counted)
    open_small(captures)[9:12].compute(scheduler="sync")
    assert sorted(reads) == [("run0.raw", 8, 13), ("run1.raw", 0, 1), ("run2.raw", 0, 2)]


def test_broken_files_are_named_and_left_out(captures):
    (captures / "cut.raw").write_bytes(dump(3)[:-1000])
    (captures / "notes.txt").write_bytes(b"x" * 100)
    found = archive.index(captures, WIDTH, HEIGHT, FORMAT)
    assert found.frames == 34 and [file.frames for file in found.files] == [13, 1, 20]
    cut, notes = found.broken
    assert cut.frames == 2 and "2 whole frames and 2600 bytes" in cut.problem
    assert "cut short after 1 of 40 rows" in notes.problem
    assert str(found).startswith("34 frames in 3 files") and str(found).count("left out: ") == 2
    with pytest.warns(UserWarning) as warned:
        assert len(open_small(captures)) == 34
    said = [str(warning.message) for warning in warned]
    assert any("cut.raw is left out: " in text and "2 whole frames" in text for text in said)
    with pytest.warns(UserWarning):
        assert len(open_small(captures, best_effort=True)) == 36
    header = archive.index(captures, WIDTH, HEIGHT, FORMAT, skip=100, best_effort=True)
    with pytest.raises(ValueError, match="in the index, but not as described here"):
        open_small(header)
    with pytest.raises(ValueError, match="there are no frames"), warnings.catch_warnings():
        warnings.simplefilter("ignore")
        open_small(captures / "notes.txt")
    with pytest.raises(ValueError, match="Mono1C lists"):
        archive.open_frames(captures, 4, 4, "Mono1C")


@pytest.mark.parametrize("place", ["file", "memory"])
def test_only_missing_chunks_are_made(captures, tmp_path, place):
    zarr = pytest.importorskip("zarr", reason=NO_ZARR)
    if place == "memory":
        black = bytes(9 * FRAME_BYTES)  # black chunks count as done
        fsspec.filesystem("memory").pipe_file("/in/a.raw", black + dump(8))
        found, url = "memory://in/a.raw", "memory://out/all.zarr"
        data = black + dump(8)
    else:
        found, url = captures, f"file://{tmp_path}/all.zarr"
        data = b"".join(path.read_bytes() for path in sorted(captures.rglob("*.raw")))
    array = open_small(found)
    chunks = array.numblocks[0]
    assert archive.to_zarr(array, url) == (chunks, 0, ())
    assert archive.to_zarr(array, url) == (0, chunks, ())
    filesystem, root = fsspec.core.url_to_fs(url)
    for number in (0, 1):
        filesystem.rm_file(f"{root}/{number}.0.0.0")
    written = {name: filesystem.modified(name) for name in filesystem.find(root)}
    assert archive.to_zarr(array, url) == (2, chunks - 2, ())
    assert {name: filesystem.modified(name) for name in written} == written
    filesystem.get(root, f"{tmp_path}/copy.zarr", recursive=True)
    stored = zarr.open_array(f"{tmp_path}/copy.zarr", mode="r")
    np.testing.assert_array_equal(stored[:], converted(data))
    with pytest.raises(ValueError, match="is there already: pass resume=True"):
        archive.to_zarr(array, url, resume=False)
    again = open_small(found, padding=np.int64(0))  # the same frames, whatever says so
    assert archive.to_zarr(again, url) == (0, chunks, ())
    for other in (array[:8], open_small(found, demosaic="nearest")):
        with pytest.raises(ValueError, match="holds other frames, or pictures made with other"):
            archive.to_zarr(other, url)


@pytest.mark.parametrize("to, compressor", [("raw16", "zstd"), ("mono8", None)])
def test_compressors_and_halves_of_frames(captures, tmp_path, to, compressor):
    """Chunks that are at the end of several axes; a store keeps what it was begun with."""
    zarr = pytest.importorskip("zarr", reason=NO_ZARR)
    array = open_small(captures, to=to).rechunk((20, 25, 32))
    url = tmp_path / "all.zarr"
    assert archive.to_zarr(array, url, compressor=compressor).made == 8
    begun = url / ".zarray"
    described = json.loads(begun.read_text())
    assert (described["compressor"] or {}).get("id") == compressor
    for name in ("0.0.0", "1.1.1"):
        (url / name).unlink()
    assert archive.to_zarr(array, url).made == 2
    np.testing.assert_array_equal(zarr.open_array(str(url), mode="r")[:], array.compute())
    begun.unlink()  # as if killed after the first file of the store
    for path in url.glob("[01].*"):
        path.unlink()
    assert archive.to_zarr(array, url, compressor="gzip").made == 8
    np.testing.assert_array_equal(zarr.open_array(str(url), mode="r")[:], array.compute())


def test_what_zarr_cannot_hold_is_refused(captures, tmp_path):
    array = open_small(captures)
    for wrong, said in (
        (array.rechunk(((3, 9, 22), -1, -1, -1)), "expected equal ones of which the last may be"),
        (array[array[:, 0, 0, 0] > 9], "chunks of sizes .nan"),
        (array[:0], "chunks of sizes .0"),
        (array.astype(complex), "dtype complex128, expected numbers"),
    ):
        with pytest.raises(ValueError, match=said):
            archive.to_zarr(wrong, tmp_path / "all.zarr")
    with pytest.raises(ValueError, match="holds other frames"):
        archive.to_zarr(array, captures)  # not an array at all
    assert os.listdir(tmp_path) == ["captures"] and os.listdir(captures) == ["deep"]


# A program that is killed when half of its 12th file is written.
DYING = """
import os, pathlib, signal, sys
import dask, imgcnv.dask as archive
number = 0
def write(path, data):
    global number
    number += 1
    with open(path, "wb") as file:
        file.write(memoryview(data)[: len(data) // 2 if number == 12 else None])
    if number == 12:
        os.kill(os.getpid(), signal.SIGKILL)
pathlib.Path.write_bytes = write
dask.config.set(scheduler="sync")
array = archive.open_frames(sys.argv[1], 60, 40, "BayerRG12Packed", chunk_bytes=1)
getattr(archive, sys.argv[2])(array, sys.argv[3])
"""


@pytest.mark.parametrize("write, kept", [(archive.to_zarr, 9), (archive.to_pictures, 11)])
def test_a_killed_run_loses_nothing_that_was_written(captures, tmp_path, write, kept):
    for module in ("numcodecs", "PIL.Image"):
        pytest.importorskip(module)
    url = f"{tmp_path}/out/{{}}.png"
    command = [sys.executable, "-c", DYING, captures, write.__name__, url]
    assert subprocess.run(command, check=False, env={**os.environ, **MODULE}).returncode == -9
    assert len(list(tmp_path.glob("out/**/*.part"))) == 1
    assert write(open_small(captures, chunk_bytes=1), url) == (34 - kept, kept, ())


def test_a_file_that_became_shorter_does_not_stop_the_rest(captures, tmp_path):
    pytest.importorskip("numcodecs", reason=NO_ZARR)
    array = open_small(captures)
    cut = captures / "deep" / "run0.raw"
    cut.write_bytes(cut.read_bytes()[: 3 * FRAME_BYTES + 900])
    made, kept, failed = archive.to_zarr(array, f"{tmp_path}/all.zarr")
    assert (made, kept, len(failed)) == (3, 0, 2)
    assert "run0.raw, frame 3: frame has 900 bytes, expected 3600" in failed[0]
    cut.write_bytes(dump(13))
    assert archive.to_zarr(array, f"{tmp_path}/all.zarr") == (2, 3, ())


def test_pictures(captures, tmp_path):
    image = pytest.importorskip("PIL.Image", reason="Debian's python3-pil is not installed")
    array = open_small(captures)
    template = f"{tmp_path}/out/{{:04d}}.png"
    assert archive.to_pictures(array, template, compress_level=1) == (34, 0, ())
    for number in (5, 30):
        os.unlink(template.format(number))
    assert archive.to_pictures(array, template) == (2, 32, ())
    with image.open(template.format(30)) as picture:
        np.testing.assert_array_equal(np.asarray(picture), array[30].compute())
    assert len(os.listdir(tmp_path / "out")) == 34
    assert archive.to_pictures(array[:3], "memory://p/{}.jpg", quality=80) == (3, 0, ())
    assert archive.to_pictures(array[:9] // 2, "memory://p/{}.jpg") == (6, 3, ())
    with pytest.raises(ValueError, match="expected a place in it such as"):
        archive.to_pictures(array, f"{tmp_path}/one.png")
    with pytest.raises(ValueError, match="pictures have 8 bits"):
        archive.to_pictures(open_small(captures, to="rgb48"), template)
    made, _, failed = archive.to_pictures(array[:3], f"{tmp_path}/{{}}.none")
    assert made == 0 and "no kind of picture with this ending" in failed[0]


def test_ten_million_frames_are_described_in_seconds():
    """10,000 files of 1,000 frames, 62 TB: the graph holds paths and offsets alone."""

    one = 1920 * 1080 * 3
    files = tuple(archive.File(f"s3://b/{n:05d}.raw", one * 500, 1000, "") for n in range(10000))
    start = time.process_time()
    array = archive.open_frames(
        archive.Index(files, ()), 1920, 1080, FORMAT, chunk_bytes=256 << 20
    )
    assert time.process_time() - start < 5
    assert array.shape[0] == 10_000_000 and array.chunks[0][0] == 43
    small = array[123456:123466].__dask_graph__()
    (key,) = (key for key in array.__dask_keys__()[2871][0][0])
    assert len(pickle.dumps(small[key])) < 1000


@pytest.fixture
def cluster(monkeypatch, tmp_path):
    """Two workers of 400 MB; the nanny restarts one that dies or takes more."""
    distributed = pytest.importorskip(
        "distributed", reason="Debian's python3-distributed is not installed"
    )
    for name, value in MODULE.items():
        monkeypatch.setenv(name, value)
    with distributed.LocalCluster(
        n_workers=2,
        threads_per_worker=1,
        memory_limit="400MB",
        dashboard_address=None,
        local_directory=str(tmp_path),
    ) as made, distributed.Client(made) as client:
        yield client


@pytest.mark.filterwarnings("ignore")  # of the libraries below, and of the worker that is killed
def test_a_worker_killed_in_the_middle(cluster, tmp_path):
    zarr = pytest.importorskip("zarr", reason=NO_ZARR)
    width, height, frames = 600, 400, 200
    rng = np.random.default_rng(3)
    source, url = tmp_path / "a.raw", f"{tmp_path}/all.zarr"
    source.write_bytes(rng.bytes(width * height * 3 // 2 * frames))
    array = archive.open_frames(source, width, height, FORMAT, chunk_bytes=8 << 20)
    chunks = array.numblocks[0]
    victim = next(iter(cluster.run(os.getpid).values()))

    def kill_later():
        stored = pathlib.Path(url)
        while not stored.exists() or len(os.listdir(stored)) < 5:
            time.sleep(0.01)
        os.kill(victim, signal.SIGKILL)

    killer = threading.Thread(target=kill_later, daemon=True)
    killer.start()
    assert archive.to_zarr(array, url) == (chunks, 0, ())
    killer.join(60)
    assert victim not in cluster.run(os.getpid).values()
    stored = zarr.open_array(url, mode="r")
    wanted = imgcnv.Converter(width, height, FORMAT).convert_batch(source.read_bytes())
    np.testing.assert_array_equal(stored[:], wanted)
    # Chunks of the usual size, of noise, which no compressor makes smaller.
    workers = cluster.run(os.getpid)
    array = archive.open_frames(source, width, height, FORMAT)
    assert archive.to_zarr(array, f"{url}.large") == (3, 0, ())
    peaks = cluster.run(lambda: __import__("resource").getrusage(0).ru_maxrss)
    assert max(peaks.values()) < 400_000 and cluster.run(os.getpid) == workers


def test_example_of_a_cluster(tmp_path):
    """The workers that start.sh starts convert a folder; a second run makes nothing."""
    image = pytest.importorskip("PIL.Image", reason="Debian's python3-pil is not installed")
    pytest.importorskip("distributed", reason="Debian's python3-distributed is not installed")
    pytest.importorskip("zarr", reason=NO_ZARR)
    examples = PYTHON.parent / "examples" / "cluster"
    folder = tmp_path / "captures"
    folder.mkdir()
    grey = np.repeat(np.arange(30, dtype=np.uint8) * 8, WIDTH * HEIGHT)
    (folder / "a.raw").write_bytes(grey.tobytes())
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        port = probe.getsockname()[1]
    environment = {**os.environ, **MODULE, "TMPDIR": str(tmp_path)}
    with open(tmp_path / "log", "wb") as log:
        cluster = subprocess.Popen(
            [examples / "start.sh", str(port)], stdout=log, stderr=log, env=environment
        )
    try:
        arguments = [WIDTH, HEIGHT, "Mono8", tmp_path / "all.zarr", tmp_path / "sheet.png"]
        for made, kept in ((1, 0), (0, 1)):
            output = run(
                *(examples / "to_zarr.py", f"tcp://127.0.0.1:{port}", folder, *arguments), **MODULE
            )
            assert output.splitlines() == [
                "30 frames in 1 files, 72000 bytes",
                f"{made} chunks made, {kept} were there, 0 failed",
            ]
    finally:
        cluster.terminate()
        cluster.wait(60)
    with image.open(tmp_path / "sheet.png") as sheet:
        assert sheet.size == (6 * 15, 4 * 10)
        assert sheet.getpixel((0, 0)) == (0, 0, 0) and sheet.getpixel((89, 39)) == (232,) * 3
