"""The pages of the project: blocks run, links lead somewhere, pictures and tables are fresh."""
import ctypes
import functools
import os
import re
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
from PIL import Image

import format_tables
import speed_tables
from blocks import ROOT, Runner, blocks_of
from checkout import Checkout

sys.path[:0] = [str(ROOT / "docs" / "pictures"), str(ROOT / "bench")]
import make_pictures  # noqa: E402
import quality  # noqa: E402

TOOL, LIBRARY = os.environ["IMGCNV_TOOL"], os.environ["IMGCNV_LIBRARY"]
ENGINE = os.environ["IMGCNV_FRAMES_LIBRARY"]
PAGES = [ROOT / "README.md", *sorted((ROOT / "docs").glob("*.md"))]
# python/README.md is run by the tests of the Python module.
RUN = [*PAGES, ROOT / "CONTRIBUTING.md", ROOT / "samples" / "README.md"]
LINKED = [*RUN, ROOT / "python" / "README.md"]
# What the blocks about a whole checkout must come to, by page.
CALLS = {
    "README.md": ["cmake --preset release .*TESTS=OFF", "ctest --preset release", "cmake --install build/release",
                  "ldconfig"],
    "docs/quality.md": [r"bench/quality\.py docs/quality.md docs/pictures"],
    "CONTRIBUTING.md": ["cmake --preset release .*WERROR=ON", "ctest --preset release", "valgrind",
                        "ctest --preset asan", "fuzz_pipeline -max_total_time=60", "qemu-x86_64 -cpu Haswell",
                        "abidiff", r"\S*mutate\.py"],
    "docs/release.md": ["cmake .*WERROR=ON", r"chroot .*scripts/demo\.sh$", r"chroot .*scripts/test\.sh$",
                        "dpkg-buildpackage", "lintian", r"chroot .*use_debs\.sh$", "emcmake cmake .*WEB=ON"],
}
FORMATS = {entry["name"]: entry for entry in format_tables.load(ENGINE)["formats"]}


def relative(page):
    return str(page.relative_to(ROOT))


@pytest.fixture(scope="session")
def written(tmp_path_factory):
    """page: the folder that its blocks write into when it is first asked for."""
    @functools.cache
    def run(page):
        folder = tmp_path_factory.mktemp("page")
        Runner(TOOL, LIBRARY, folder).run_page(ROOT / page)
        return folder
    return run


@pytest.mark.parametrize("page", RUN, ids=relative)
def test_blocks_run(page, written):
    if page.name == "archives.md":
        pytest.importorskip("zarr", reason="python3-zarr is missing: THE PAGE WAS NOT RUN")
    written(relative(page))


@pytest.mark.parametrize("page", RUN, ids=relative)
def test_blocks_about_a_checkout_run(page, tmp_path):
    blocks = [block for block in blocks_of(page) if block.kind == "sh checkout"]
    assert bool(blocks) == (relative(page) in CALLS)
    if not blocks:
        return
    checkout = Checkout(TOOL, tmp_path)
    outputs, calls = zip(*map(checkout.run, blocks))
    for call in CALLS[relative(page)]:
        assert re.search(f"^{call}", "".join(calls), re.M), f"{call} is missing in:\n{''.join(calls)}"
    if page.name == "release.md":
        name = r"[0-9a-f]{64}  imgcnv-\d+\.\d+\.\d+"
        assert re.search(rf"{name}\.tar\.gz\n{name}-viewer\.html$", outputs[0].strip())
        assert outputs[0] == checkout.run(blocks[0])[0], "the tarball's sum has changed from one run to the next"


@pytest.mark.parametrize("page", RUN, ids=relative)
def test_options_of_scripts_exist(page):
    for script, rest in re.findall(r"((?:scripts|bench)/[\w-]+\.sh)((?: +[\w./-]+)*)", page.read_text(encoding="utf-8")):
        for option in re.findall(r"--[\w-]+", rest):
            assert option in (ROOT / script).read_text(), f"{script} knows no {option}"


def anchors(page):
    text = re.sub(r"```.*?```", "", page.read_text(encoding="utf-8"), flags=re.S)
    heads = re.findall(r"^#+ (.*)$", text, flags=re.M)
    return {re.sub(r"[^\w\- ]", "", head.lower()).replace(" ", "-") for head in heads}


@pytest.mark.parametrize("page", LINKED, ids=relative)
def test_links(page):
    text = re.sub(r"```.*?```", "", page.read_text(encoding="utf-8"), flags=re.S)
    broken = []
    for target in re.findall(r"\]\(([^)\s]+)\)", text):
        if re.match(r"https?://", target):
            continue
        path, _, anchor = target.partition("#")
        file = (page.parent / path).resolve() if path else page
        if not file.exists() or (anchor and anchor not in anchors(file)):
            broken.append(target)
    assert not broken


@pytest.mark.parametrize("page", LINKED, ids=relative)
def test_files_that_a_page_names_exist(page):
    folders = "scripts|bench|docs|tests|src|tools|include|examples|python|samples|packaging|cmake|fuzz"
    named = re.findall(rf"(?<![\w/.*-])((?:{folders})/[\w./-]*\w\.\w+)(?![\w*{{])", page.read_text(encoding="utf-8"))
    missing = {n for n in named if "NAME" not in n and not (ROOT / n).exists() and not (page.parent / n).exists()}
    assert not missing


def test_tables_are_those_of_the_engine():
    for page in (ROOT / "README.md", ROOT / "docs" / "formats.md"):
        text = page.read_text(encoding="utf-8")
        assert "<!-- formats " in text
        table = format_tables.load(ENGINE)
        assert format_tables.rewritten(text, table) == text, (
            f"{relative(page)} is out of date: run tests/docs/format_tables.py {ENGINE} {relative(page)}")


def test_claims_of_speed_are_those_of_the_measured_table():
    peers = speed_tables.load()
    for page in speed_tables.PAGES:
        text = page.read_text(encoding="utf-8")
        assert "<!-- speed " in text
        assert speed_tables.rewritten(text, peers) == text, f"{relative(page)} is out of date: run tests/docs/speed_tables.py"


def frame_of(entry, values):
    """One group of pixels as the page draws it; values by field name."""
    frame = bytearray()
    for byte in format_tables.diagram(entry):
        number = 0
        for name, high, low in byte:
            bits = high - low + 1
            field = 0x55 if not name else values[name] >> low  # unused bits must not matter
            number = number << bits | field & (1 << bits) - 1
        assert number < 256 and sum(high - low + 1 for _, high, low in byte) == 8
        frame.append(number)
    return bytes(frame)


class Frame(ctypes.Structure):
    """imgcnv_frame"""
    _fields_ = [("struct_size", ctypes.c_size_t), ("format", ctypes.c_uint32), ("flags", ctypes.c_uint32),
                *((n, ctypes.c_int64) for n in ("width", "height", "stride", "skip", "gap"))]


class Target(ctypes.Structure):
    """imgcnv_target"""
    _fields_ = [("struct_size", ctypes.c_size_t), ("kind", ctypes.c_int), ("demosaic", ctypes.c_int),
                ("rotation", ctypes.c_int), ("flags", ctypes.c_uint32), ("threads", ctypes.c_int),
                ("stride", ctypes.c_int64), ("levels", ctypes.c_void_p)]


RGB24, RAW16 = 2, 6


def picture_of(entry, source, width, kind):
    """The samples of one row, by the frame engine."""
    frame = Frame(ctypes.sizeof(Frame), int(entry["code"], 16), 0, width, 1)
    target = Target(ctypes.sizeof(Target), kind, 1, 0, 0, 1)
    is_color = kind == RGB24 or entry["layout"][0] in "RB"
    made = np.zeros(width * (3 if is_color else 1), np.uint8 if kind == RGB24 else np.uint16)
    text = ctypes.create_string_buffer(2048)
    size = ctypes.c_size_t
    status = ctypes.CDLL(ENGINE).imgcnv_convert_frame(
        ctypes.byref(frame), ctypes.byref(target), source, size(len(source)), made.ctypes.data_as(ctypes.c_void_p),
        size(made.nbytes), text, size(len(text)))
    assert status == 0, text.value.decode()
    return made.tolist()


@pytest.mark.parametrize("name", [name for name in FORMATS if name != "Mono1C"])
def test_byte_drawings_are_what_the_engine_reads(name):
    entry = FORMATS[name]
    fields = sorted({f for byte in format_tables.diagram(entry) for f, _, _ in byte if f})
    random = np.random.default_rng(sum(map(ord, name)))
    for _ in range(5):
        values = {f: int(random.integers(0, 1 << entry["depth"])) for f in fields}
        pixels = [f for f in fields if re.match(r"[pY]\d*$", f)]
        source = frame_of(entry, values)
        if "U" in values:
            made, expected = picture_of(entry, source, len(pixels), RGB24), [yuv_to_rgb(values, p) for p in pixels]
            assert made == [c for rgb in expected for c in rgb], values
        else:
            made = picture_of(entry, source, max(len(pixels), 1), RAW16)
            assert made == [values[f] for f in pixels or "RGB"], values


def yuv_to_rgb(values, pixel):
    y, u, v = values[pixel], values["U"], values["V"]
    rgb = (y + (359 * v - 45952 >> 8), y - (88 * u - 11264 >> 8) - (183 * v - 23424 >> 8),
           y + (454 * u - 58112 >> 8))
    return [min(max(c, 0), 255) for c in rgb]


def psnr(picture, original):
    difference = np.asarray(picture, float) - np.asarray(original, float)
    return 10 * np.log10(255 ** 2 / np.mean(difference ** 2))


def test_readme_states_the_psnr_of_its_pictures(written):
    stated = dict(re.findall(r"(\w+), ([\d.]+) dB", (ROOT / "README.md").read_text(encoding="utf-8")))
    coffee = Image.open(ROOT / "samples" / "coffee.png").convert("RGB")
    measured = {method: f"{psnr(Image.open(written('README.md') / f'{method}.png'), coffee):.1f}"
                for method in ("nearest", "bilinear", "adaptive")}
    assert stated == measured


def test_four_languages_write_the_same_picture(written):
    folder = written("README.md")
    shell = np.asarray(Image.open(folder / "bilinear.png"))
    for language in ("c", "cpp", "python"):
        assert np.array_equal(np.asarray(Image.open(folder / f"{language}.ppm")), shell), language


def test_failures_look_wrong_and_mended_pictures_right(written):
    folder = written("docs/looks-wrong.md")
    coffee = Image.open(ROOT / "samples" / "coffee.png")
    mended = sorted(folder.glob("mended-*.png"))
    assert len(mended) >= 13
    for right in mended:
        made = Image.open(right)
        wrong = Image.open(folder / right.name.removeprefix("mended-")) if (
            folder / right.name.removeprefix("mended-")).exists() else None
        if made.size == coffee.size and "cast" not in right.name:
            original = coffee.convert(made.mode)
            assert psnr(made, original) > 25, right.name
            if wrong is not None and wrong.size == made.size and wrong.mode == made.mode:
                assert psnr(wrong, original) < (28 if "washed" in right.name else 20), right.name
    ppm = np.asarray(Image.open(folder / "last-column.ppm"))
    assert (ppm[:, -1] == (255, 0, 128)).all() and not (ppm[:, -2] == (255, 0, 128)).all(axis=1).any()
    extra, creeping, right = (np.asarray(Image.open(folder / f"{name}.png"))
                              for name in ("extra-row", "creeping", "mended-extra-row"))
    assert len(extra) == 380 and np.array_equal(extra[:379], right)
    assert np.array_equal(creeping, np.vstack([extra[350:], right[:349]]))


def test_pictures_are_fresh(tmp_path):
    folder = ROOT / "docs" / "pictures"
    made = make_pictures.make(TOOL, LIBRARY, tmp_path)
    # OpenCV is not needed for the tests: its crops are only known by name here.
    photos = {name: quality.opened(ROOT / "samples" / f"{name}.png") for name in quality.CROPS}
    made += quality.crops(tmp_path, photos, [None, *quality.OURS[1:]])
    for name in made:
        fresh, kept = Image.open(tmp_path / name), Image.open(folder / name)
        assert fresh.mode == kept.mode and np.array_equal(np.asarray(fresh), np.asarray(kept)), (
            f"docs/pictures/{name} is out of date: run scripts/docs-pictures.sh")
    made += [quality.crop_name(photo, method) for photo in quality.CROPS for method in quality.OPENCV]
    made.append("imgcnv-live.png")  # live/tests/test_window.py compares it with the window
    made.append("viewer.png")  # scripts/test-web.sh --picture makes it
    shown = re.findall(r"pictures/([\w\-]+\.png)", "".join(p.read_text(encoding="utf-8") for p in PAGES))
    kept = [str(p.relative_to(folder)) for p in (ROOT / "docs").rglob("*.png")]
    assert sorted(made) == sorted(kept) == sorted(set(shown)), "made, kept and shown pictures differ"
    assert sum(p.stat().st_size for p in folder.glob("*.png")) < 3_000_000
