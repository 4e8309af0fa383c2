"""The command hands every name of a format to the engine and tells what the engine answers."""
import json
import re

import pytest

from conftest import SOURCE


@pytest.fixture
def table(run):
    return json.loads(run("formats", "--json").out)


def taken_as(run, name, code=0):
    """What convert takes the name for; the file is as long as no frame."""
    said = run("convert", "in.raw", "-f", name, "-s", "4x4", "-o", "o.png", code=1 if code == 0 else code).said
    return re.search(r"bytes \((\S+) 4x4", said)[1] if code == 0 else said


@pytest.fixture(autouse=True)
def odd_file(tmp_path):
    (tmp_path / "in.raw").write_bytes(bytes(1009))


def test_codes_are_those_of_the_header(table):
    header = dict(re.findall(r"(IMGCNV_PIXEL_\w+) = (0x[0-9A-F]{8}),?",
                             (SOURCE / "include/imgcnv.h").read_text()))
    codes = {f["code"] for f in table["formats"]}
    assert set(header.values()) <= codes
    for f in table["formats"]:
        assert f["bits"] == int(f["code"][4:6], 16) or f["name"] == "Mono1C"


def test_names_lead_to_their_formats(run, table):
    for f in table["formats"]:
        if f["name"] == "Mono1C":
            continue
        names = [f["name"], f["code"].lower(), f["name"].upper()]
        names += [family[0] for family in f["names"].values() if family][:1]
        for name in names:
            assert taken_as(run, name) == f["name"], name


def test_foreign_layouts_are_named_and_refused(run, table):
    assert table["foreign"]
    for foreign in table["foreign"]:
        said = taken_as(run, foreign["names"][0], code=2)
        assert foreign["meaning"] in said and foreign["advice"] in said, foreign["names"]


@pytest.mark.parametrize("name, near", [("BayerRG9", "BayerRG8"), ("Mono12Paked", "Mono12"),
                                        ("0x12345678", "0x12345678"), ("", "format")])
def test_unknown_names_get_the_nearest(run, name, near):
    assert near in taken_as(run, name, code=2)


@pytest.mark.parametrize("name, expected", [
    ("x_4x4_Mono12p.raw", "Mono12p 4x4"), ("cap-bayer_rg12_packed-4x4.bin", "BayerRG12Packed 4x4"),
    ("4x4_RGB8_7.raw", "RGB8Packed 4x4")])
def test_names_of_files(run, tmp_path, name, expected):
    (tmp_path / "in.raw").rename(tmp_path / name)
    assert expected in run("convert", name, "-o", "o.png", code=1).said


def test_table_for_people_has_every_format(run, table):
    text = run("formats").out.decode()
    for f in table["formats"]:
        assert re.search(rf"^{f['name']} +{f['code']}", text, re.M), f["name"]
