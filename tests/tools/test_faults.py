"""Bad files, bad words, full disks: a clear error, the right exit code, nothing half-written."""
import os
import signal
import subprocess
import time

import pytest
from PIL import Image

from conftest import TOOL

MONO = ["-f", "Mono8", "-s", "40x30"]
MONO_BYTES = 1200


def left_over(folder):
    return sorted(p.name for p in folder.iterdir() if p.name != "in.raw")


@pytest.mark.parametrize("options, size, expected", [
    (MONO, 800, ["20 rows of this width"]),
    (MONO, 1199, ["expected 1200 bytes", "given 1199", "cut short", "29 of 30 rows"]),
    (MONO, 1500, ["given 1500", "--stride 50"]),
    (MONO, 2400, ["2 such frames", "--frames all", "-f Mono10, Mono12, Mono16"]),
    (MONO, 1800, ["-f Mono10Packed, Mono12Packed"]),
    (MONO, 1207, ["7 bytes too many", "chunk data", "--frames 0"]),
    (MONO, 0, ["given 0", "empty"]),
    (["-f", "BayerRG12", "-s", "40x30"], 1800, ["BayerRG12Packed"]),
    (["-f", "BayerGB8", "-s", "40x30", "--stride", "41"], 1200, ["expected 1230", "every 41"]),
    ([*MONO, "--frames", "all"], 3000, ["given 2 of them and 600 bytes more", "--frames 0-1"]),
    ([*MONO, "--frames", "2-4"], 3600, ["holds 3 frames", "0 to 2"]),
    ([*MONO, "--skip", "9"], 1200, ["given 1191 behind the 9 skipped"]),
    ([*MONO, "--skip", "5000"], 1200, ["given 0"]),
    (["-f", "Mono1C", "-s", "40x30"], 6, ["multiple of 4"]),
    (["-f", "Mono1C", "-s", "40x30"], 0, ["empty"]),
])
def test_wrong_lengths(run, tmp_path, options, size, expected):
    (tmp_path / "in.raw").write_bytes((b"\0\0\x10\x01" * size)[:size])
    said = run("convert", "in.raw", *options, "-o", "out_%d.png", code=1).said
    for text in expected:
        assert text in said
    assert left_over(tmp_path) == []
    # The same from a pipe: nothing but whole frames may come out.
    out = run("convert", "-", *options, "-o", "-", "--output-format", "raw", code=1,
              stdin=(tmp_path / "in.raw").read_bytes()).out
    assert len(out) % MONO_BYTES == 0


@pytest.mark.parametrize("arguments, expected", [
    (["-f", "Mono8", "-s", "40"], "WIDTHxHEIGHT"),
    (["-f", "Mono8", "-s", "0x30"], "at least 1"),
    (["-f", "Mono8", "-s", "-4x30"], "at least 1"),
    (["-f", "Mono8", "-s", "99999x99999"], "at most 2147483647"),
    (["-f", "Mono8", "-s", "99999999999999999999x1"], "WIDTHxHEIGHT"),
    (["-f", "RGB8", "-s", "40000x40000"], "more than 2147483647"),
    (["-f", "Mono16", "-s", "2x2000000000"], "at most 2147483647"),
    (["-f", "Mono1p", "-s", "30000x60000", "--stride", "35000"], "padding counted"),
    ([*MONO, "--stride", "39"], "takes 40 bytes"),
    ([*MONO, "--stride", "44", "--padding", "4"], "not both"),
    ([*MONO, "--padding", "-1"], "from 0 on"),
    ([*MONO, "--padding", "9999999999"], "--padding"),
    ([*MONO, "--stride", "2000000000"], "more than 2147483647"),
    ([*MONO, "--frames", "3-1"], "count from 0"),
    ([*MONO, "--frames", "x"], "count from 0"),
    ([*MONO, "--rotate", "45"], "90|180|270"),
    ([*MONO, "-m", "best"], "nearest|bilinear|adaptive"),
    ([*MONO, "--to", "rgb"], "rgb24"),
    ([*MONO, "-o", "out.jpeg"], "ending"),
    ([*MONO, "-o", "a%d_%d.png"], "one number field"),
    ([*MONO, "-o", "a%s.png"], "one number field"),
    ([*MONO, "-o", "in.raw"], "replaced by its own picture"),
    ([*MONO, "--output-format", "raw"], "replaced by its own picture"),
    ([*MONO, "--to", "rgba32", "-o", "x.ppm"], "no alpha"),
    ([*MONO, "--json", "-o", "-", "--output-format", "raw"], "standard output"),
    (["-f", "BayerRG8", "-s", "1x30"], "2 columns"),
    (["-f", "BayerGR8", "-s", "40x2"], "3 rows"),
    (["-f", "Mono1C", "-s", "40x30", "--padding", "2"], "points"),
    (["-f", "Mono1C", "-s", "40x30", "--frames", "all"], "one frame"),
    ([*MONO, "--nonsense"], "--nonsense"),
])
def test_senseless_requests(run, tmp_path, arguments, expected):
    (tmp_path / "in.raw").write_bytes(bytes(MONO_BYTES))
    if "-o" not in arguments and "--output-format" not in arguments:
        arguments = [*arguments, "-o", "out.png"]
    result = run("convert", "in.raw", *arguments, code=2)
    assert expected in result.said and result.out == b""
    assert left_over(tmp_path) == []
    assert (tmp_path / "in.raw").read_bytes() == bytes(MONO_BYTES)


def test_no_command(run):
    assert "convert" in run(code=2).said
    assert "explode" in run("explode", code=2).said


def test_unusable_paths(run, tmp_path):
    (tmp_path / "in.raw").write_bytes(bytes(MONO_BYTES))
    (tmp_path / "folder").mkdir()
    assert "No such file" in run("convert", "nowhere.raw", *MONO, "-o", "o.png", code=1).said
    assert "directory" in run("convert", "folder", *MONO, "-o", "o.png", code=1).said
    assert "No such file" in run("convert", "in.raw", *MONO, "-o", "no/such/o.png", code=1).said
    (tmp_path / "is.png").mkdir()
    run("convert", "in.raw", *MONO, "-o", "is.png")  # an existing folder takes the picture
    assert (tmp_path / "is.png" / "in.png").exists()
    for name in ("in.raw", "folder", "nowhere.png"):
        said = run("pack", name, "-f", "Mono8", "-o", "o.raw", code=1).said
        assert name in said
    assert not (tmp_path / "o.raw").exists() and not (tmp_path / "o.png").exists()


@pytest.mark.skipif(os.geteuid() == 0, reason="root reads everything")
def test_unreadable_file(run, tmp_path):
    (tmp_path / "in.raw").write_bytes(bytes(MONO_BYTES))
    (tmp_path / "in.raw").chmod(0)
    assert "Permission denied" in run("convert", "in.raw", *MONO, "-o", "o.png", code=1).said


def test_broken_pngs(run, tmp_path):
    Image.effect_noise((60, 60), 50).save(tmp_path / "whole.png")
    whole = (tmp_path / "whole.png").read_bytes()
    for cut in (0, 7, 30, 500, len(whole) - 13):
        (tmp_path / "cut.png").write_bytes(whole[:cut])
        assert "cut.png" in run("pack", "cut.png", "-f", "Mono8", "-o", "o.raw", code=1).said
    assert not (tmp_path / "o.raw").exists()


def test_full_disk(run, tmp_path):
    (tmp_path / "in.raw").write_bytes(os.urandom(200 * 300))
    options = ["-f", "Mono8", "-s", "200x300"]
    if os.path.exists("/dev/full"):
        said = run("convert", "in.raw", *options, "-o", "/dev/full", "--output-format", "png",
                   code=1).said
        assert "No space left" in said
    small = tmp_path / "small"
    small.mkdir()
    if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=40k", "tmpfs", small],
                      capture_output=True).returncode != 0:
        pytest.skip("may not mount a small disk")
    try:
        (small / "out.png").write_bytes(b"the old one")
        assert "No space left" in run("convert", "in.raw", *options, "-o", "small/out.png",
                                      code=1).said
        assert [p.name for p in small.iterdir()] == ["out.png"]
        assert (small / "out.png").read_bytes() == b"the old one"
    finally:
        subprocess.run(["umount", small], check=True)


def test_closed_pipe(tmp_path):
    script = (f"head -c 100000000 /dev/zero | {TOOL} convert - -f Mono8 -s 1000x1000 --frames all -o - "
              "--output-format raw; echo $? >&2")
    done = subprocess.run(f"({script}) | head -c 10 > /dev/null", shell=True, capture_output=True,
                          timeout=60)
    assert b"Broken pipe" in done.stderr and done.stderr.strip().endswith(b"1")


@pytest.mark.parametrize("which", [signal.SIGINT, signal.SIGTERM])
def test_interrupted(tmp_path, which):
    """Frames come slowly; the one file that is being written must not stay."""
    process = subprocess.Popen([TOOL, "convert", "-", *MONO, "--frames", "all", "-o", "all.pnm"],
                               stdin=subprocess.PIPE, cwd=tmp_path)
    process.stdin.write(bytes(MONO_BYTES * 3))
    process.stdin.flush()
    for _ in range(100):
        if left_over(tmp_path):
            break
        time.sleep(0.05)
    assert left_over(tmp_path)[0].startswith(".imgcnv-")
    process.send_signal(which)
    assert process.wait(timeout=10) == -which
    process.stdin.close()
    assert left_over(tmp_path) == []


def test_outputs_that_are_links_and_devices(run, tmp_path):
    (tmp_path / "in.raw").write_bytes(bytes(MONO_BYTES))
    (tmp_path / "real.png").write_bytes(b"old")
    (tmp_path / "link.png").symlink_to("real.png")
    run("convert", "in.raw", *MONO, "-o", "link.png")
    assert (tmp_path / "link.png").is_symlink()
    assert Image.open(tmp_path / "real.png").size == (40, 30)
    run("convert", "in.raw", *MONO, "-o", "/dev/null", "--output-format", "png")
    assert not os.path.isfile("/dev/null")
    os.umask(0o027)
    run("convert", "in.raw", *MONO, "-o", "new.png")
    assert (tmp_path / "new.png").stat().st_mode & 0o777 == 0o640
