"""The commands that look at frames nobody has described: guess, info, sheet, preview, bench."""
import io
import json
import os
import pty
import re
import subprocess

import numpy as np
import pytest
from PIL import Image

from conftest import TOOL, read_terminal

# Frames whose colours exchange give the same numbers count as one answer.
TWINS = {"BG": "RG", "GR": "GB"}


def known(name):
    return name[:5] + TWINS.get(name[5:7], name[5:7]) + name[7:] if name[:5] == "Bayer" else name


def best(run, *arguments):
    answers = json.loads(run("guess", *arguments, "--json").out)["answers"]
    return {(known(a["format"]), a["width"], a["height"], a["stride"], a["frames"])
            for a in answers if a["score"] > 0.5}


@pytest.mark.parametrize("name, padding, stride, frames", [
    ("Mono8", 0, 600, 1), ("Mono10", 8, 1208, 1), ("Mono12Packed", 5, 905, 1),
    ("BayerGB8", 16, 616, 1), ("BayerBG12", 0, 1200, 1), ("BayerRG12Packed", 0, 900, 3),
    ("RGB8Packed", 4, 1804, 1), ("YUV422Packed", 0, 1200, 1), ("YUV444Packed", 0, 1800, 1),
])
def test_guess_finds_what_was_packed(run, samples, name, padding, stride, frames):
    run("pack", samples / "coffee.png", "-f", name, "--padding", padding, "--frames", frames,
        "-o", "frame.raw")
    assert (known(name), 600, 400, stride, frames) in best(run, "frame.raw")


def test_guess_with_the_size(run, samples):
    run("pack", samples / "coffee.png", "-f", "Mono8", "--padding", 1, "-o", "frame.raw")
    # A scene with little colour could be a mosaic, too: the picture that was packed comes first.
    first = json.loads(run("guess", "frame.raw", "-s", "600x400", "--json").out)["answers"][0]
    assert (first["format"], first["width"], first["height"], first["stride"]) == ("Mono8", 600, 400, 601)


def test_guess_says_what_it_cannot_know(run, samples, tmp_path):
    run("pack", samples / "coffee.png", "-f", "BayerRG8", "-o", "frame.raw")
    answers = json.loads(run("guess", "frame.raw", "--json").out)
    assert {a["format"] for a in answers["answers"] if a["score"] > 0.5} == {"BayerRG8", "BayerBG8"}
    assert "RG or BG" in answers["answers"][0]["unknown"]
    for name, said in (("cap_600x400_BayerRG8", ""), ("cap_4x4_rg10", "else: BayerRG10 4x4"),
                       ("601x400", "else: 601x400")):
        (tmp_path / name).hardlink_to(tmp_path / "frame.raw")
        assert re.findall("says something (.*)", run("guess", name).out.decode()) == [said] * bool(said)
    assert answers["answers"][0]["command"].startswith("imgcnv convert frame.raw -f BayerRG8 -s 600x400")


def test_guess_refuses_noise_and_impossible_sizes(run, tmp_path):
    noise = np.random.default_rng(1).integers(0, 256, 90000, np.uint8)
    (tmp_path / "noise.raw").write_bytes(noise.tobytes())
    assert "better than chance" in run("guess", "noise.raw", code=1).said
    assert "fits into its 90000 bytes" in run("guess", "noise.raw", "-s", "900x900", code=1).said
    assert "expected WIDTHxHEIGHT" in run("guess", "noise.raw", "-s", "0x5", code=2).said
    (tmp_path / "black.raw").write_bytes(bytes(64))
    said = run("guess", "black.raw", "-s", "4x4", code=1).said
    assert "all bytes are the same" in said and "the format, too" in said and "usual size" not in said
    (tmp_path / "empty.raw").write_bytes(b"")
    for command in ("guess", "info", "sheet"):
        assert "empty" in run(command, "empty.raw", code=1).said


def test_info(run, tmp_path):
    (tmp_path / "a.raw").write_bytes(bytes(640 * 480 * 2))
    fits = json.loads(run("info", "a.raw", "--json").out)["known_sizes"]
    found = {(f["width"], f["height"], f["frames"]): f["formats"] for f in fits}
    assert "BayerRG12" in found[640, 480, 1] and "Mono8" in found[640, 480, 2]
    padded = json.loads(run("info", "a.raw", "-s", "1276x480", "--json").out)["this_size"]
    assert [(f["padding"], "Mono8" in f["formats"]) for f in padded] == [(4, True)]


def test_sheet(run, samples):
    run("pack", samples / "coffee.png", "-f", "BayerGB8", "-o", "frame.raw")
    one = ("sheet", "frame.raw", "-f", "BayerGB8", "-s", "600x400", "-q", "-o", "-")
    orders = Image.open(io.BytesIO(run(*one, "--of", "orders").out)).convert("RGB")
    assert orders.size == (664, 518)
    # Four pictures in equal cells; GB, the true order, shows brown wood, BG the blue of its twin.
    mean = {name: np.asarray(orders)[y:y + 200, x:x + 320].mean((0, 1))
            for name, x, y in [("RG", 8, 8), ("GB", 336, 8), ("BG", 8, 263), ("GR", 336, 263)]}
    assert mean["GB"][0] > 1.5 * mean["GB"][2] and mean["GR"][2] > 1.5 * mean["GR"][0]
    assert "needs a Bayer format" in run("sheet", "frame.raw", "-f", "Mono8", "-s", "600x400",
                                         "--of", "methods", code=2).said


def test_preview(run, tmp_path):
    (tmp_path / "two.raw").write_bytes(bytes([255, 0, 0, 0, 0, 255]))
    shape = ("preview", "two.raw", "-f", "RGB8Packed", "-s", "1x2")
    colored = "\x1b[38;2;255;0;0;48;2;0;0;255m\u2580\x1b[0m\n"
    assert run(*shape, "--as", "blocks").out.decode() == colored
    assert run(*shape).out == b"-\n"  # a pipe is not a terminal
    assert run(*shape, "--as", "kitty").out.startswith(b"\x1b_Ga=T,f=100,m=0;iVBORw0KGgo")
    assert "expected 12 bytes" in run(*shape, "--frame", 1, code=1).said


@pytest.mark.parametrize("environment, colored", [
    ({}, True), ({"NO_COLOR": "1"}, False), ({"TERM": "dumb"}, False), ({"LC_ALL": "C"}, False)])
def test_preview_sends_what_the_terminal_understands(tmp_path, environment, colored):
    (tmp_path / "f.raw").write_bytes(bytes(range(200)) * 100)
    controller, terminal = pty.openpty()
    base = {k: v for k, v in os.environ.items() if k not in ("NO_COLOR", "COLUMNS")}
    base |= {"TERM": "xterm", "LC_ALL": "C.UTF-8", "COLUMNS": "30"}
    process = subprocess.Popen([TOOL, "preview", "f.raw", "-f", "Mono8", "-s", "200x100"],
                               stdout=terminal, cwd=tmp_path, env=base | environment)
    os.close(terminal)
    said = read_terminal(controller)
    assert process.wait() == 0
    assert (b"\x1b" in said) == colored == ("\u2580" in said.decode())
    lines = re.sub(r"\x1b\[[0-9;]*m", "", said.decode()).split("\r\n")
    assert len(lines[0]) == 30 and len(lines) == 9  # 30x15 pixels, two to a line


def test_sixels_are_the_picture(run, tmp_path):
    """Read back by a small interpreter of the protocol."""
    colors = np.array([[[255, 0, 0], [0, 0, 255]], [[255, 255, 255], [0, 0, 0]]], np.uint8)
    picture = colors.repeat(7, 0).repeat(9, 1)
    (tmp_path / "p.raw").write_bytes(picture.tobytes())
    text = run("preview", "p.raw", "-f", "RGB8", "-s", "18x14", "--as", "sixel").out.decode()
    palette, drawn, color, x, y = {}, np.zeros((18, 18, 3), int), 0, 0, 0
    for token in re.findall(r"#\d+;2;\d+;\d+;\d+|#\d+|!\d+.|[?-~]|[$-]", text[2:-3].split('14', 1)[1]):
        if token[0] == "#" and ";" in token:
            number, _, *rgb = map(int, token[1:].split(";"))
            palette[number] = [v * 255 // 100 for v in rgb]
        elif token[0] == "#":
            color = int(token[1:])
        elif token in "$-":
            x, y = 0, y + (6 if token == "-" else 0)
        else:
            count = int(token[1:-1]) if token[0] == "!" else 1
            for bit in range(6):
                if ord(token[-1]) - 63 >> bit & 1:
                    drawn[y + bit, x:x + count] = palette[color]
            x += count
    assert np.array_equal(drawn[:14], picture)


def test_sheet_of_what_is_not_a_mosaic_shows_its_frames(run, tmp_path):
    (tmp_path / "d.raw").write_bytes(b"".join(bytes([v]) * 64 * 48 for v in (10, 90, 170, 250)))
    run("sheet", "d.raw", "-f", "Mono8", "-s", "64x48", "-n", "4", "-o", "s.png")
    shades = set(np.asarray(Image.open(tmp_path / "s.png"))[:, :, 0].ravel().tolist())
    assert {10, 90, 170, 250} <= shades


def test_bench(run):
    out = run("bench", "-s", "64x48", "--seconds", 0, "--to", "rgb24", "--json").out
    rows = json.loads(out)["rows"]
    assert {r["method"] for r in rows if r["format"] == "BayerGB12"} == {
        "nearest", "bilinear", "adaptive"}
    assert all(r["ns_per_pixel"] > 0 and r["to"] == "rgb24" for r in rows)
