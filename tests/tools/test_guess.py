"""The commands that look at frames nobody has described: guess, info, sheet, preview, bench."""
import io
import json

import numpy
import pytest
from PIL import Image

# Frames whose colours exchange give the same numbers count as one answer.
TWINS = {"BG": "RG", "GR": "GB"}


def known(name):
    return name[:5] + TWINS.get(name[5:7], name[5:7]) + name[7:] if name[:5] == "Bayer" else name


def best(run, *arguments):
    answers = json.loads(run("guess", *arguments, "--json").out)["answers"]
    return {(known(a["format"]), a["width"], a["height"], a["stride"], a["frames"])
            for a in answers if a["score"] == 100}


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
    assert best(run, "frame.raw", "-s", "600x400") == {("Mono8", 600, 400, 601, 1)}


def test_guess_says_what_it_cannot_know(run, samples):
    run("pack", samples / "coffee.png", "-f", "BayerRG8", "-o", "frame.raw")
    answers = json.loads(run("guess", "frame.raw", "--json").out)
    assert {a["format"] for a in answers["answers"] if a["score"] == 100} == {"BayerRG8", "BayerBG8"}
    assert any("RG or BG" in line for line in answers["cannot_be_known"])


def test_guess_refuses_noise_and_impossible_sizes(run, tmp_path):
    noise = numpy.random.default_rng(1).integers(0, 256, 90000, numpy.uint8)
    (tmp_path / "noise.raw").write_bytes(noise.tobytes())
    assert "better than chance" in run("guess", "noise.raw", code=1).said
    assert "fits into its 90000 bytes" in run("guess", "noise.raw", "-s", "900x900", code=1).said
    assert "expected WIDTHxHEIGHT" in run("guess", "noise.raw", "-s", "0x5", code=2).said
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
    mean = {name: numpy.asarray(orders)[y:y + 200, x:x + 320].mean((0, 1))
            for name, x, y in [("RG", 8, 8), ("BG", 336, 8), ("GB", 8, 263), ("GR", 336, 263)]}
    assert mean["GB"][0] > 1.5 * mean["GB"][2] and mean["GR"][2] > 1.5 * mean["GR"][0]
    assert "needs a Bayer format" in run("sheet", "frame.raw", "-f", "Mono8", "-s", "600x400",
                                         "--of", "methods", code=2).said


def test_preview(run, tmp_path):
    (tmp_path / "two.raw").write_bytes(bytes([255, 0, 0, 0, 0, 255]))
    shape = ("preview", "two.raw", "-f", "RGB8Packed", "-s", "1x2")
    assert run(*shape).out.decode() == "\x1b[38;2;255;0;0;48;2;0;0;255m\u2580\x1b[0m\n"
    assert run(*shape, env={"NO_COLOR": "1"}).out == b"-\n"
    assert "expected 12 bytes" in run(*shape, "--frame", 1, code=1).said


def test_bench(run):
    out = run("bench", "-s", "64x48", "--seconds", 0, "--to", "rgb24", "--json").out
    rows = json.loads(out)["rows"]
    assert {r["method"] for r in rows if r["format"] == "BayerGB12"} == {
        "nearest", "bilinear", "adaptive"}
    assert all(r["ns_per_pixel"] > 0 and r["to"] == "rgb24" for r in rows)
