"""Every spelling of a format leads to it; what only looks like one is refused and explained."""
import json
import re

import pytest
from PIL import Image

from conftest import SOURCE


@pytest.fixture
def table(run):
    return json.loads(run("formats", "--json").out)


def packed_as(run, name):
    """What the command takes the name for."""
    return run("pack", "tiny.png", "-f", name, "-o", "tiny.raw").said.split()[2]


@pytest.fixture(autouse=True)
def tiny(tmp_path):
    Image.new("RGB", (4, 4)).save(tmp_path / "tiny.png")


def test_codes_are_those_of_the_header(table):
    header = dict(re.findall(r"(IMGCNV_PIXEL_\w+) = (0x[0-9A-F]{8}),?",
                             (SOURCE / "include/imgcnv.h").read_text()))
    sources = {k: v for k, v in header.items() if "RGBA8" not in k and "BGRA8" not in k}
    own = [f for f in table["formats"] if f["order"] != "GR"]
    assert {f["enumerator"]: f["code"] for f in own} == sources
    assert len(own) == 30
    for f in table["formats"]:
        assert f["library_code"] == header[f["enumerator"]]
        assert f["bits"] == int(f["code"][4:6], 16)  # the convention keeps them in bits 16 to 23


def test_every_name_leads_to_its_format(run, table):
    for f in table["formats"]:
        names = {f["name"], f["code"], f["code"].lower(), f["name"].upper()}
        names |= {n for family in f["names"].values() for n in family}
        if f["order"] != "GR":
            names |= {f["enumerator"], f["enumerator"].removeprefix("IMGCNV_PIXEL_")}
        for name in names:
            assert packed_as(run, name) == f["name"], name


@pytest.mark.parametrize("name, expected", [
    ("bayer_rg12_packed", "BayerRG12Packed"), ("YUV422_8", "YUV422_YUYV_Packed"),
    ("yuv422packed", "YUV422Packed"), ("YUV422_8_UYVY", "YUV422Packed"), ("yuy2", "YUV422_YUYV_Packed"),
    ("YUV411_8_UYYVYY", "YUV411Packed"), ("YUV8_UYV", "YUV444Packed"), ("RGB8", "RGB8Packed"),
    ("V4L2_PIX_FMT_SRGGB8", "BayerRG8"), ("BA81", "BayerBG8"), ("BA10", "BayerGR10"),
    ("rggb12le", "BayerRG12"), ("bayer_gbrg8", "BayerGB8"), ("mono16", "Mono16"),
    ("AV_PIX_FMT_GRAY12LE", "Mono12"), ("Y16 ", "Mono16"), ("IYU1", "YUV411Packed")])
def test_names_as_users_write_them(run, name, expected):
    assert packed_as(run, name) == expected


def test_foreign_layouts_are_named_and_refused(run, table, tmp_path):
    for foreign in table["foreign"]:
        for name in foreign["names"]:
            said = run("pack", "tiny.png", "-f", name, "-o", "tiny.raw", code=2).said
            assert foreign["meaning"] in said and foreign["advice"] in said, name
    assert not (tmp_path / "tiny.raw").exists()
    names = [n for f in table["foreign"] for n in f["names"]]
    assert {"Mono12p", "BayerRG12p", "RAW10", "RAW12", "0x010C0059"} <= set(names)


def test_no_name_means_two_things(table):
    seen = {}
    entries = [(f["name"], [n for family in f["names"].values() for n in family])
               for f in table["formats"]]
    entries += [(f["meaning"], f["names"]) for f in table["foreign"]]
    for owner, names in entries:
        for name in names:
            key = re.sub("[_ -]", "", name).lower()
            assert seen.setdefault(key, owner) == owner, name


@pytest.mark.parametrize("name, near", [("BayerRG9", "BayerRG8"), ("Mono12Paked", "Mono12Packed"),
                                        ("0x12345678", "formats"), ("", "formats")])
def test_unknown_names_get_the_nearest(run, name, near):
    assert near in run("pack", "tiny.png", "-f", name, "-o", "tiny.raw", code=2).said


def test_table_for_people_has_every_format(run, table):
    text = run("formats").out.decode()
    for f in table["formats"]:
        assert re.search(rf"^{f['name']} +{f['code']}", text, re.M), f["name"]
