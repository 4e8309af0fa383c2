"""Bad files, bad words, full disks: a clear error, the right exit code, nothing half-written."""
import os
import resource
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
    (MONO, 1199, ["expected 1200 bytes", "given 1199", "cut short", "29 of 30 rows", "--best-effort"]),
    (MONO, 1500, ["given 1500", "stride 50"]),
    (MONO, 2400, ["2 such frames", "--frames all"]),
    (MONO, 1800, ["Mono12Packed"]),
    (MONO, 1207, ["7 bytes too many", "--frames 0"]),
    (MONO, 0, ["given 0", "no bytes"]),
    (["-f", "BayerRG12", "-s", "40x30"], 1800, ["BayerRG12Packed"]),
    (["-f", "BayerGB8", "-s", "40x30", "--stride", "41"], 1200, ["expected 1230", "every 41"]),
    ([*MONO, "--frames", "all"], 3000, ["given 2 of them and 600 bytes more", "--frames 0-1"]),
    ([*MONO, "--frames", "2-4"], 3600, ["holds 3 frames", "0 to 2"]),
    ([*MONO, "--skip", "9"], 1200, ["given 1191 after the 9 skipped"]),
    ([*MONO, "--skip", "5000"], 1200, ["given 0", "1200 bytes, and 5000"]),
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
    (["-f", "RGB8", "-s", "40000x40000"], "2147483647"),
    (["-f", "Mono16", "-s", "2x2000000000"], "at most 2147483647"),
    ([*MONO, "--stride", "39"], "takes 40 bytes"),
    ([*MONO, "--stride", "44", "--padding", "4"], "not both"),
    ([*MONO, "--padding", "-1"], "from 0 on"),
    ([*MONO, "--skip", "99999999999999999999"], "below 2^63"),
    ([*MONO, "--gamma", "0"], "--gamma"),
    ([*MONO, "--stride", "40", "--stride", "41"], "once, given 2 times"),
    ([*MONO, "-o", ""], "an empty one"),
    ([*MONO, "--padding", "9999999999"], "--padding"),
    ([*MONO, "--stride", "2000000000"], "2147483647"),
    ([*MONO, "--frames", "3-1"], "count from 0"),
    ([*MONO, "--frames", "x"], "count from 0"),
    ([*MONO, "--rotate", "45"], "90|180|270"),
    ([*MONO, "-m", "best"], "nearest|bilinear|adaptive"),
    ([*MONO, "--to", "rgb"], "rgb24"),
    ([*MONO, "-o", "out.gif"], "ending"),
    ([*MONO, "--part", "0/3"], "I/N"),
    ([*MONO, "--part", "4/3"], "I/N"),
    ([*MONO, "--part", "x"], "I/N"),
    ([*MONO, "--gain", "1,2"], "three"),
    ([*MONO, "--black", "9", "--white", "8"], "black"),
    ([*MONO, "--big-endian"], "big-endian"),
    ([*MONO, "--range", "video"], "video range"),
    ([*MONO, "--skip-existing", "--no-clobber"], "--no-clobber"),
    (["-f", "BayerRG8", "-s", "40x30", "--to", "raw16", "--rotate", "90"], "raw16"),
    (["-f", "", "-s", "40x30"], "format"),
    (["-s", "40x30"], "`imgcnv guess in.raw`"),
    (["-f", "Mono8", "--size", "-o", "n.png"], "given the option -o"),
    (["-f", "-s", "40x30"], "given the option -s"),
    ([*MONO, "-o", "a%d_%d.png"], "one number field"),
    ([*MONO, "-o", "a%s.png"], "one number field"),
    ([*MONO, "-o", "in.raw"], "replaced by a picture"),
    ([*MONO, "--output-format", "raw"], "replaced by a picture"),
    ([*MONO, "--to", "rgba32", "-o", "x.ppm"], "no alpha"),
    ([*MONO, "--json", "-o", "-", "--output-format", "raw"], "standard output"),
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


@pytest.mark.parametrize("command", [
    "convert in.raw -f Mono8 -s 40x30 -o link.raw", "convert in.raw twin.raw -f Mono8 -s 40x30 -o %01din.raw",
    "convert other.raw 1in.raw -f Mono8 -s 40x30 -o %din.raw", "sheet in.raw -f Mono8 -s 40x30 -o link.raw",
    "pack a.png -f Mono8 -o folder/../a.png"])
def test_no_input_is_replaced(run, tmp_path, command):
    """Whatever name the output gives it: a dump is often the only copy."""
    (tmp_path / "folder").mkdir()
    for name in ("in.raw", "other.raw", "1in.raw"):
        (tmp_path / name).write_bytes(bytes(MONO_BYTES))
    (tmp_path / "link.raw").symlink_to("in.raw")
    (tmp_path / "twin.raw").symlink_to("0in.raw")
    (tmp_path / "0in.raw").hardlink_to(tmp_path / "in.raw")
    Image.new("L", (40, 30)).save(tmp_path / "a.png")
    before = {path: path.read_bytes() for path in tmp_path.glob("*.*")}
    done = subprocess.run([TOOL, *command.split()], capture_output=True, cwd=tmp_path)
    assert done.returncode != 0 and b"give another -o" in done.stderr
    assert {path: path.read_bytes() for path in before} == before


def test_no_command(run):
    assert "convert" in run(code=2).said
    assert "explode" in run("explode", code=2).said


def test_unusable_paths(run, tmp_path):
    (tmp_path / "in.raw").write_bytes(bytes(MONO_BYTES))
    (tmp_path / "folder").mkdir()
    assert "No such file" in run("convert", "nowhere.raw", *MONO, "-o", "o.png", code=1).said
    assert "folder: no files" in run("convert", "folder", *MONO, "-o", "o.png", code=1).said
    assert "directory" in run("info", "folder", code=1).said
    for name, expected in (("nowhere.raw", "No such file"), ("", "cannot open ''"), ("folder", "no files")):
        assert expected in run("convert", name, code=1).said  # said before what else is missing
    for command in ("guess", "info", "sheet"):
        assert "which need not have an end" in run(command, "/dev/zero", code=1).said
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
    (tmp_path / "circle.png").symlink_to("circle.png")
    said = run("convert", "in.raw", *MONO, "-o", "circle.png", code=1).said
    assert "cannot create circle.png: Too many levels" in said
    run("convert", "in.raw", *MONO, "-o", "/dev/null", "--output-format", "png")
    assert not os.path.isfile("/dev/null")
    os.umask(0o027)
    run("convert", "in.raw", *MONO, "-o", "new.png")
    assert (tmp_path / "new.png").stat().st_mode & 0o777 == 0o640


def limited(*arguments, folder, **limits):
    """The command under limits of the system, such as FSIZE=bytes."""
    def set_limits():
        for name, value in limits.items():
            resource.setrlimit(getattr(resource, f"RLIMIT_{name}"), (value, value))

    return subprocess.run([TOOL, *arguments], capture_output=True, cwd=folder, preexec_fn=set_limits,
                          timeout=60)


def test_limits_of_the_system(tmp_path):
    (tmp_path / "in.raw").write_bytes(os.urandom(200 * 300))
    one = ["convert", "in.raw", "-f", "Mono8", "-s", "200x300", "-o", "out.png"]
    done = limited(*one, folder=tmp_path, FSIZE=8192)
    assert done.returncode == 1 and b"File too large" in done.stderr
    assert left_over(tmp_path) == []
    if "IMGCNV_LIBRARY" not in os.environ:
        return  # sanitizers reserve terabytes
    for megabytes in (10, 14, 18, 22, 26, 30, 40):
        done = limited(*one, "-j", "8", folder=tmp_path, AS=megabytes << 20)
        assert done.returncode in (0, 1, 127), (megabytes, done)  # 127: not even the loader fits
        assert done.returncode != 1 or b"error" in done.stderr
        assert left_over(tmp_path) in ([], ["out.png"])


def test_what_is_replaced_keeps_its_mode_and_links(run, tmp_path):
    (tmp_path / "in.raw").write_bytes(bytes(MONO_BYTES))
    (tmp_path / "secret.png").write_bytes(b"old")
    (tmp_path / "secret.png").chmod(0o600)
    (tmp_path / "folder").mkdir()
    (tmp_path / "dangling.png").symlink_to("folder/next.png")
    (tmp_path / "folder/next.png").symlink_to("real.png")
    run("convert", "in.raw", *MONO, "-o", "secret.png")
    run("convert", "in.raw", *MONO, "-o", "dangling.png")
    assert (tmp_path / "secret.png").stat().st_mode & 0o777 == 0o600
    assert (tmp_path / "dangling.png").is_symlink() and (tmp_path / "folder/next.png").is_symlink()
    for name in ("secret.png", "folder/real.png"):
        assert Image.open(tmp_path / name).size == (40, 30)


@pytest.mark.parametrize("name", ["a b.raw", "it's.raw", "$(touch x).raw", "-f.raw", "a\x1b[31mb.raw",
                                  "new\nline.raw", "quote'\x07.raw"])
def test_printed_commands_can_be_pasted(run, tmp_path, samples, name):
    """The shell gets the file's name from them, the terminal no control characters."""
    run("pack", samples / "coffee.png", "-f", "Mono8", "-o", "plain")
    (tmp_path / "plain").rename(tmp_path / name)
    path = f"./{name}" if name.startswith("-") else name
    for command in (["info", path], ["guess", "-n", "1", path], ["convert", path]):
        done = subprocess.run([TOOL, *command], capture_output=True, cwd=tmp_path)
        text = (done.stdout + done.stderr).decode()
        assert not set(text) & (set(map(chr, range(32))) - {"\n"}), text
        line = next(l for l in text.replace("`", "\n").splitlines() if "imgcnv guess" in l or
                    "imgcnv sheet" in l)
        asked = subprocess.run(["bash", "-c", f"imgcnv() {{ printf '%s' \"$2\"; }}; {line}"],
                               capture_output=True, cwd=tmp_path)
        assert (tmp_path / asked.stdout.decode()).exists(), line
    assert not (tmp_path / "x").exists()


def test_messages_name_the_cause(run, tmp_path):
    (tmp_path / "in.raw").write_bytes(bytes(MONO_BYTES))
    (tmp_path / "empty.raw").write_bytes(b"")
    for command in ("info", "guess"):
        said = run(command, "in.raw", "--skip", 5000, code=1).said
        assert "5000" in said and "1200" in said and "empty" not in said
        assert "empty" in run(command, "empty.raw", code=1).said
    (tmp_path / "x_40x30_unknown.raw").hardlink_to(tmp_path / "in.raw")
    said = run("convert", "x_40x30_unknown.raw", "-o", "o.png", code=2).said
    assert "format" in said and "`imgcnv guess x_40x30_unknown.raw`" in said
    run("convert", "in.raw", *MONO, "-o", "100%%.png")
    run("convert", "in.raw", *MONO, "-o", "%%_%02d_%%.png")
    assert left_over(tmp_path) == ["%_00_%.png", "100%.png", "empty.raw", "x_40x30_unknown.raw"]
