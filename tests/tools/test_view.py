"""imgcnv view: the page that opens has the file's guess, whatever the file is called."""
import html
import os
import re
import shutil
import urllib.parse

import pytest


@pytest.fixture
def view(run, tmp_path):
    """Runs view with an xdg-open that notes what it is to open; gives the address that leads to."""
    opener = tmp_path / "bin/xdg-open"
    opener.parent.mkdir()
    opener.write_text('#!/bin/sh\necho "$1" >opened\n')
    opener.chmod(0o755)
    (tmp_path / "the page.html").write_text("<!doctype html>")
    env = {"PATH": f"{opener.parent}:{os.environ['PATH']}", "XDG_CACHE_HOME": str(tmp_path / "cache"), "HOME": ""}

    def address(name):
        run("view", name, "--page", "the page.html", env=env)
        page = open((tmp_path / "opened").read_text().rstrip("\n"), encoding="utf-8").read()
        return urllib.parse.urlsplit(html.unescape(re.search('href="([^"]*)"', page)[1]))

    return address


@pytest.mark.parametrize("name", ["cup.raw", "a b & 'c' \"d\" #1 100%.raw", "größe?<ü>.raw"])
def test_settings(view, tmp_path, samples, name):
    shutil.copy(samples / "coffee_600x400_BayerRG12Packed.raw", tmp_path / name)
    address = view(name)
    assert urllib.parse.unquote(address.path) == str(tmp_path / "the page.html")
    assert urllib.parse.parse_qs(address.fragment) == {
        "file": [name], "format": ["BayerRG12Packed"], "width": ["600"], "height": ["400"]}


def test_large_file(view, tmp_path):
    os.truncate(os.open(tmp_path / "large.raw", os.O_CREAT | os.O_WRONLY), 3_000_000_000)
    assert "width" in urllib.parse.parse_qs(view("large.raw").fragment)


@pytest.mark.parametrize("arguments, expected", [
    (["nothing.raw"], ["viewer.html is not there", "imgcnv-web", "--page"]),
    (["nothing.raw", "--page", "page.html"], ["nothing.raw", "No such file"]),
    (["-", "--page", "page.html"], ["view expects a file"]),
    (["in.raw", "--page", "page.html"], ["no browser", "xdg-open", "file://", "#file=in.raw&format=Mono8"]),
])
def test_errors(run, tmp_path, arguments, expected):
    (tmp_path / "page.html").write_text("")
    (tmp_path / "in.raw").write_bytes(bytes(640 * 480))
    said = run("view", *arguments, code=1, env={"PATH": str(tmp_path), "HOME": str(tmp_path), "XDG_CACHE_HOME": ""}).said
    assert all(words in said for words in expected), said
