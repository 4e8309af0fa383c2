"""Many frames, many files, pipes, and what is said meanwhile."""
import io
import json
import os
import pty
import subprocess
import sys

import numpy as np
import pytest
from PIL import Image

from conftest import TOOL, read_terminal

W, H = 6, 4
FRAME = W * H
OPTIONS = ["-f", "Mono8", "-s", f"{W}x{H}"]


def dump(count):
    return b"".join(bytes([i]) * FRAME for i in range(count))


def shade(path):
    values = np.unique(np.asarray(Image.open(path)))
    assert len(values) == 1
    return int(values[0])


def test_frames_of_a_dump(run, tmp_path):
    (tmp_path / "d.raw").write_bytes(b"head" + dump(7))
    for which, expected in {"all": range(7), "3": [3], "2-4": [2, 3, 4], "0": [0]}.items():
        (tmp_path / which).mkdir()
        run("convert", "d.raw", *OPTIONS, "--skip", 4, "--frames", which, "-o",
            f"{which}/f_%03d.png", "-j", 3)
        files = sorted(p.name for p in (tmp_path / which).iterdir())
        assert files == [f"f_{i:03d}.png" for i in expected]
        assert [shade(tmp_path / which / f) for f in files] == list(expected)


def test_names_without_a_pattern(run, tmp_path):
    (tmp_path / "d.raw").write_bytes(dump(2))
    run("convert", "d.raw", *OPTIONS, "--frames", "all", "-o", "new/folder/")
    assert sorted(p.name for p in (tmp_path / "new/folder").iterdir()) == ["d_0000.png", "d_0001.png"]
    run("convert", "d.raw", *OPTIONS, "--frames", "1", "--output-format", "bmp")
    assert shade(tmp_path / "d.bmp") == 1
    run("convert", "d.raw", *OPTIONS, "--frames", "all", "-o", "two.png", code=2)


def test_several_inputs(run, tmp_path):
    for i in range(5):
        (tmp_path / f"{i}.raw").write_bytes(bytes([i]) * FRAME)
    names = [f"{i}.raw" for i in range(5)]
    run("convert", *names, *OPTIONS, "-o", "out/", "-j", 4)
    assert [shade(tmp_path / f"out/{i}.png") for i in range(5)] == [0, 1, 2, 3, 4]
    run("convert", *reversed(names), *OPTIONS, "-o", "n%d.tif")
    assert [shade(tmp_path / f"n{i}.tif") for i in range(5)] == [4, 3, 2, 1, 0]
    os.mkdir(tmp_path / "sub")
    (tmp_path / "sub/1.raw").write_bytes(bytes(FRAME))
    assert "1.png" in run("convert", "1.raw", "sub/1.raw", *OPTIONS, "-o", "out/", code=2).said
    # A bad one among good ones costs only itself.
    (tmp_path / "2.raw").write_bytes(b"short")
    result = run("convert", *names, *OPTIONS, "-o", "more/", code=1)
    assert "2.raw: expected 24 bytes" in result.said and "1 failure, 4 pictures written" in result.said
    assert sorted(p.name for p in (tmp_path / "more").iterdir()) == ["0.png", "1.png", "3.png", "4.png"]


def test_inputs_of_different_shapes(run, tmp_path):
    """Each name says its own size and format; one worker goes from one to the next."""
    for name, size in {"a_6x4_Mono8.raw": 24, "b_8x3_Mono16.raw": 48, "c_4x6_RGB8.raw": 72}.items():
        (tmp_path / name).write_bytes(bytes(size))
    run("convert", "a_6x4_Mono8.raw", "b_8x3_Mono16.raw", "c_4x6_RGB8.raw", "-o", "%d.png", "-j", 1)
    pictures = [Image.open(tmp_path / f"{i}.png") for i in range(3)]
    assert [(p.size, p.mode) for p in pictures] == [((6, 4), "L"), ((8, 3), "L"), ((4, 6), "RGB")]


@pytest.mark.parametrize("bad", [0, 2, 4])
def test_one_file_is_complete_or_not_there(run, tmp_path, bad):
    """A point list that fails after it was handed out must not hold the others up either."""
    for i in range(5):
        (tmp_path / f"{i}.raw").write_bytes(bytes([9, 0, 0x10, 9 if i == bad else 1]))
    names = [f"{i}.raw" for i in range(5)]
    said = run("convert", *names, "-f", "Mono1C", "-s", "6x4", "-o", "all.pnm", "-j", 4, code=1).said
    assert f"{bad}.raw: point 0 of the Mono1C list lies at row 1, column 9" in said
    assert "1 failure, 0 pictures written" in said
    assert sorted(p.name for p in tmp_path.iterdir()) == names


def test_pipes_keep_the_order(run):
    count = 60
    for kind, head in (("raw", b""), ("pnm", b"P5\n6 4\n255\n")):
        out = run("convert", "-", *OPTIONS, "--frames", "all", "-o", "-", "--output-format", kind,
                  "-j", 8, stdin=dump(count)).out
        assert out == b"".join(head + bytes([i]) * FRAME for i in range(count))
    # Frames large enough for eight workers to overtake each other.
    large = np.arange(300, dtype="<u2").repeat(20000)
    out = run("convert", "-", "-f", "Mono16", "-s", "200x100", "--frames", "all", "--to", "rgb24",
              "-o", "-", "--output-format", "raw", "-j", 8,
              stdin=(large << 8 | large >> 8).tobytes()).out
    assert out == (large & 255).astype(np.uint8).repeat(3).tobytes()
    picture = Image.open(io.BytesIO(run("convert", "-", *OPTIONS, "-o", "-", "--output-format",
                                        "tiff", stdin=dump(1)).out))
    assert picture.size == (W, H)
    tail = run("convert", "-", *OPTIONS, "--skip", FRAME, "--frames", "2-3", "-o", "-",
               "--output-format", "raw", stdin=dump(9)).out
    assert tail == dump(5)[3 * FRAME:]


def test_one_file_of_many_frames(run, tmp_path):
    (tmp_path / "d.raw").write_bytes(dump(9))
    run("convert", "d.raw", *OPTIONS, "--frames", "all", "-o", "all.ppm", "--to", "rgb24", "-j", 4)
    expected = b"".join(b"P6\n6 4\n255\n" + bytes([i]) * FRAME * 3 for i in range(9))
    assert (tmp_path / "all.ppm").read_bytes() == expected


def test_last_frame_needs_no_padding(run, tmp_path):
    data = b"".join(bytes([i]) * W + b"\xee\xee" for i in range(2 * H))[:-2]
    (tmp_path / "d.raw").write_bytes(data)
    run("convert", "d.raw", *OPTIONS, "--padding", 2, "--frames", "all", "-o", "p%d.png")
    assert np.asarray(Image.open(tmp_path / "p1.png"))[:, -1].tolist() == [4, 5, 6, 7]
    out = run("convert", "-", *OPTIONS, "--padding", 2, "--frames", "all", "-o", "-",
              "--output-format", "raw", stdin=data).out
    assert out == bytes(i for i in range(8) for _ in range(W))


def test_memory_stays_flat(tmp_path):
    """1000 frames of 1 MB from a stream; all of them would be a gigabyte."""
    script = (f"head -c 1000000000 /dev/zero | {TOOL} convert - -f Mono8 -s 1000x1000 --frames all "
              "-o - --output-format raw -j 2 > /dev/null")
    code = ("import resource, subprocess, sys\n"
            f"subprocess.run({script!r}, shell=True, check=True)\n"
            "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)")
    used = subprocess.run([sys.executable, "-c", code], capture_output=True, check=True, timeout=120)
    limit = 60 if "IMGCNV_LIBRARY" in os.environ else 600  # sanitizers hold freed memory back
    assert int(used.stdout) < limit * 1024


def test_file_names_are_defaults_said_aloud(run, tmp_path):
    (tmp_path / "cap_6x4_Mono8.raw").write_bytes(dump(1))
    said = run("convert", "cap_6x4_Mono8.raw", "-o", "a.png").said
    assert "Mono8 6x4" in said and "file name" in said
    assert run("convert", "cap_6x4_Mono8.raw", "-q", "-o", "a.png").said == ""
    run("convert", "cap_6x4_Mono8.raw", "-s", "4x6", "-o", "b.png")
    assert Image.open(tmp_path / "b.png").size == (4, 6)
    (tmp_path / "x-bayer_rg12_packed-6x4.bin").write_bytes(bytes(36))
    assert "BayerRG12Packed 6x4" in run("convert", "x-bayer_rg12_packed-6x4.bin", "-o", "c.png").said
    (tmp_path / "in.raw").write_bytes(dump(1))
    assert "-f" in run("convert", "in.raw", "-s", "6x4", code=2).said
    assert "-s" in run("convert", "in.raw", "-f", "Mono8", code=2).said


def test_json_and_stats(run, tmp_path):
    (tmp_path / "d.raw").write_bytes(dump(3))
    lines = [json.loads(line) for line in
             run("convert", "d.raw", *OPTIONS, "--frames", "all", "-o", "f%d.png", "--json",
                 "--stats", "--rotate", 90, "-j", 1).out.splitlines()]
    assert lines[1] == {"input": "d.raw", "frame": 1, "format": "Mono8", "output": "f1.png",
                        "width": H, "height": W}
    stats = lines[3]["stats"]
    assert stats["frames"] == 3 and stats["bytes_in"] == 3 * FRAME
    written = sum((tmp_path / f"f{i}.png").stat().st_size for i in range(3))
    assert stats["bytes_out"] == written
    stages = [stats[f"{s}_seconds"] for s in ("read", "convert", "encode", "write")]
    assert all(s > 0 for s in stages) and sum(stages) <= stats["seconds"]
    said = run("convert", "d.raw", *OPTIONS, "--frames", "all", "-o", "f%d.png", "--stats").said
    assert "encode" in said and "3 frames" in said


@pytest.mark.parametrize("colored", [True, False])
def test_terminal(tmp_path, colored):
    """Progress appears on a terminal and is gone at the end; NO_COLOR takes colours away."""
    with open(tmp_path / "d.raw", "wb") as f:
        f.truncate(400 * 2000 * 1000)
    controller, terminal = pty.openpty()
    environment = {**os.environ, "TERM": "xterm", "NO_COLOR": "" if colored else "1"}
    process = subprocess.Popen([TOOL, "convert", "d.raw", "missing.raw", "-f", "Mono8", "-s",
                                "2000x1000", "--frames", "0-399", "-o", "x%d.png", "-j", "1"],
                               stderr=terminal, cwd=tmp_path, env=environment)
    os.close(terminal)
    said = read_terminal(controller)
    assert process.wait() == 1
    assert b"MB/s" in said and b"left" in said and b"/800" in said
    assert b"#" not in said.rsplit(b"\r\x1b[K", 1)[1]
    assert (b"\x1b[1;31m" in said) == colored
