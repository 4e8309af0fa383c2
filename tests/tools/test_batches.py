"""Many files: folders, shares of the work, runs that were stopped, inputs that fail."""
import json
import os
import subprocess

import numpy as np
import pytest
from PIL import Image

from conftest import TOOL

FRAME = 24
OPTIONS = ["-f", "Mono8", "-s", "6x4"]


def frame(value):
    return bytes([value]) * FRAME


def shade(path):
    return int(np.asarray(Image.open(path))[0, 0])


def files(folder):
    return sorted(str(p.relative_to(folder)) for p in folder.rglob("*") if p.is_file())


@pytest.fixture
def captures(tmp_path):
    """A tree of dumps, with what else lies in such folders."""
    for name, content in {"b.raw": frame(2), "a.raw": frame(1), "sub/a.raw": frame(3), ".c.raw": b"x",
                          "notes.txt": b"x", "old.png": b"x", ".git/d.raw": b"x"}.items():
        (tmp_path / "captures" / name).parent.mkdir(parents=True, exist_ok=True)
        (tmp_path / "captures" / name).write_bytes(content)
    return tmp_path / "captures"


def test_folders(run, tmp_path, captures):
    said = run("convert", "captures/", *OPTIONS, "-o", "pictures/").said
    assert files(tmp_path / "pictures") == ["a.png", "b.png", "sub/a.png"]
    assert [shade(tmp_path / "pictures" / n) for n in ("a.png", "b.png", "sub/a.png")] == [1, 2, 3]
    assert "2 files are left out" in said
    run("convert", "captures", *OPTIONS, "-o", "n_%d.png")
    assert [shade(tmp_path / f"n_{i}.png") for i in range(3)] == [1, 2, 3]
    run("convert", "captures", *OPTIONS)
    assert shade(captures / "sub/a.png") == 3
    (tmp_path / "empty").mkdir()
    assert "no files of raw frames" in run("convert", "empty", *OPTIONS, "-o", "x/", code=1).said


def test_numbers_follow_the_inputs(run, tmp_path):
    """A failed input leaves a hole, whatever part of the work a process has."""
    for i in range(6):
        (tmp_path / f"{i}.raw").write_bytes(frame(i) if i != 2 else b"short")
    names = [f"{i}.raw" for i in range(6)] + ["none.raw"]
    result = run("convert", *names, *OPTIONS, "-o", "all_%d.png", "--json", code=1)
    assert {p: shade(tmp_path / p) for p in files(tmp_path) if p.startswith("all_")} == {
        f"all_{i}.png": i for i in (0, 1, 3, 4, 5)}
    lines = [json.loads(line) for line in result.out.splitlines()]
    assert {line["input"]: "error" in line for line in lines} == {n: n in ("2.raw", "none.raw")
                                                                  for n in names}
    assert "expected 24 bytes" in next(l["error"] for l in lines if l["input"] == "2.raw")
    for part in ("1/3", "2/3", "3/3"):
        run("convert", *names[:2], *names[3:6], *OPTIONS, "--part", part, "-o", f"p{part[0]}_%d.png")
    assert [p for p in files(tmp_path) if p[0] == "p"] == ["p1_0.png", "p1_3.png", "p2_1.png",
                                                          "p2_4.png", "p3_2.png"]


def test_frames_of_several_dumps_keep_their_numbers(run, tmp_path):
    for name, count in (("a", 3), ("b", 2), ("c", 2)):
        (tmp_path / f"{name}.raw").write_bytes(b"".join(frame(ord(name) + i) for i in range(count)))
    names = ["a.raw", "b.raw", "c.raw"]
    run("convert", *names, *OPTIONS, "--frames", "all", "-o", "x_%d.png")
    whole = {p: shade(tmp_path / p) for p in files(tmp_path) if p.startswith("x_")}
    assert len(whole) == 7 and whole["x_5.png"] == ord("c")
    os.truncate(tmp_path / "b.raw", 2 * FRAME - 1)  # a cut-off frame costs its file, not the numbers
    (tmp_path / "b.raw").write_bytes(frame(9) * 2 + b"rest")
    run("convert", *names, *OPTIONS, "--frames", "all", "-o", "y_%d.png", code=1)
    assert {p.replace("y", "x"): shade(tmp_path / p) for p in files(tmp_path)
            if p.startswith("y_")} == {p: v for p, v in whole.items() if p[2] not in "34"}
    parts = {}
    for part in ("1/2", "2/2"):
        run("convert", "a.raw", *OPTIONS, "--frames", "all", "--part", part, "-o", f"{part[0]}/")
        parts[part[0]] = files(tmp_path / part[0])
    assert parts == {"1": ["a_0000.png", "a_0002.png"], "2": ["a_0001.png"]}


def test_a_stopped_run_goes_on(run, tmp_path, captures):
    run("convert", "captures", *OPTIONS, "-o", "pictures/")
    (tmp_path / "pictures/b.png").unlink()
    before = (tmp_path / "pictures/a.png").stat().st_mtime_ns
    (captures / "a.raw").write_bytes(b"unreadable as a frame")  # is not even looked at
    result = run("convert", "captures", *OPTIONS, "-o", "pictures/", "--skip-existing", "--json")
    assert shade(tmp_path / "pictures/b.png") == 2
    assert (tmp_path / "pictures/a.png").stat().st_mtime_ns == before
    lines = [json.loads(line) for line in result.out.splitlines()]
    assert sorted(line["output"] for line in lines if line.get("skipped")) == [
        "pictures/a.png", "pictures/sub/a.png"]
    assert "2 were there already" in result.said
    assert "file for each picture" in run("convert", "captures", *OPTIONS, "-o", "all.raw",
                                          "--skip-existing", code=2).said


def test_no_clobber(run, tmp_path):
    (tmp_path / "a.raw").write_bytes(frame(1))
    (tmp_path / "b.raw").write_bytes(frame(2))
    (tmp_path / "a.png").write_bytes(b"mine")
    said = run("convert", "a.raw", "b.raw", *OPTIONS, "--no-clobber", code=1).said
    assert "a.png is there already" in said
    assert (tmp_path / "a.png").read_bytes() == b"mine" and shade(tmp_path / "b.png") == 2
    assert files(tmp_path) == ["a.png", "a.raw", "b.png", "b.raw"]


@pytest.mark.parametrize("stream", [False, True])
def test_best_effort(run, tmp_path, stream):
    content = frame(1) + frame(2) + frame(3)[:13]
    (tmp_path / "d.raw").write_bytes(content)
    source = "-" if stream else "d.raw"
    one = ["convert", source, *OPTIONS, "--frames", "all", "-o", "f_%d.png"]
    run(*one, code=1, stdin=content)
    said = run(*one, "--best-effort", stdin=content).said
    assert "frame 2 is cut short" in said
    last = np.asarray(Image.open(tmp_path / "f_2.png")).reshape(-1)
    assert last.tolist() == [3] * 13 + [0] * 11
    (tmp_path / "d.raw").write_bytes(b"\5" * 7)
    run("convert", "d.raw", *OPTIONS, "--best-effort", "-o", "one.png")
    assert np.asarray(Image.open(tmp_path / "one.png")).sum() == 35
    (tmp_path / "d.raw").write_bytes(b"")
    run("convert", "d.raw", *OPTIONS, "--best-effort", "-o", "none.png", code=1)


@pytest.mark.parametrize("stream", [False, True])
def test_gaps_between_frames(run, tmp_path, stream):
    content = b"head" + b"chunk".join(frame(i) for i in range(4))
    (tmp_path / "d.raw").write_bytes(content)
    run("convert", "-" if stream else "d.raw", *OPTIONS, "--skip", 4, "--gap", 5, "--frames", "all",
        "-o", "g_%d.png", stdin=content)
    assert [shade(tmp_path / f"g_{i}.png") for i in range(4)] == [0, 1, 2, 3]


@pytest.mark.parametrize("frames", ["0-9223372036854775807", "0-1000000000000", "1000000000000",
                                    "9223372036854775807"])
@pytest.mark.parametrize("stream", [False, True])
def test_frames_that_are_not_there(run, tmp_path, frames, stream):
    (tmp_path / "d.raw").write_bytes(frame(1) * 3)
    result = run("convert", "-" if stream else "d.raw", *OPTIONS, "--frames", frames, "-o", "-",
                 "--output-format", "raw", stdin=frame(1) * 3, code=2 if len(frames) > 18 else 1)
    assert len(result.out) % FRAME == 0 and result.said
    run("preview", "d.raw", *OPTIONS, "--frame", frames.split("-")[-1],
        code=2 if len(frames) > 18 else 1)


@pytest.mark.parametrize("arguments", [
    ["info"], ["guess", "-s", "6000x1000"], ["preview", "--frame", "200", "-f", "Mono8", "-s", "6000x1000"],
    ["sheet", "--of", "frames", "-n", "2", "-f", "Mono8", "-s", "6000x1000"]])
def test_files_are_not_read_whole(tmp_path, arguments):
    """A gigabyte with a picture-like pattern, most of it a hole."""
    rows = (np.arange(6000) // 60 + np.arange(1000)[:, None] // 50).astype(np.uint8)
    with open(tmp_path / "d.raw", "wb") as dump:
        dump.write(rows.tobytes())
        dump.truncate(6_000_000 * 201)
    code = ("import resource, subprocess, sys\n"
            f"subprocess.run([{TOOL!r}, {arguments[0]!r}, 'd.raw', *{arguments[1:]!r}], check=True,"
            " stdout=subprocess.DEVNULL)\n"
            "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)")
    used = subprocess.run(["python3", "-c", code], capture_output=True, cwd=tmp_path)
    assert used.returncode == 0, used.stderr
    limit = 250 if "IMGCNV_LIBRARY" in os.environ else 900
    assert int(used.stdout) < limit * 1024
