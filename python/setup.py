"""Puts the C libraries into the wheel, and the header's version on it; the rest is in pyproject.toml.

IMGCNV_INSTALLED names the folder that the libraries are installed in, as build_wheel.sh does.
"""

import os
import pathlib
import platform
import re
import shutil
import subprocess

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py
from wheel.bdist_wheel import bdist_wheel

HERE = pathlib.Path(__file__).resolve().parent
HEADER = HERE.parent / "include" / "imgcnv.h"
VERSION = ".".join(
    re.findall(r"^#define IMGCNV_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$", HEADER.read_text(), re.M)
)
SONAMES = ["libimgcnv.so.1", "libimgcnv_frames.so.1"]

# What every system of a manylinux tag has, at least: glibc, and the newest symbol versions of
# libstdc++ (PEP 600 and the policies published with it).
MANYLINUX = [
    ((2, 17), {"GLIBCXX": (3, 4, 19), "CXXABI": (1, 3, 7)}),
    ((2, 28), {"GLIBCXX": (3, 4, 24), "CXXABI": (1, 3, 11)}),
    ((2, 31), {"GLIBCXX": (3, 4, 28), "CXXABI": (1, 3, 12)}),
    ((2, 34), {"GLIBCXX": (3, 4, 29), "CXXABI": (1, 3, 13)}),
    ((2, 35), {"GLIBCXX": (3, 4, 30), "CXXABI": (1, 3, 13)}),
    ((2, 39), {"GLIBCXX": (3, 4, 33), "CXXABI": (1, 3, 15)}),
]
# The libraries that such a system brings. (GCC_* are versions of libgcc_s, all of them old.)
SYSTEM_LIBRARIES = {"libc.so.6", "libm.so.6", "libgcc_s.so.1", "libstdc++.so.6"}


def installed_libraries() -> "list[pathlib.Path]":
    folder = os.environ.get("IMGCNV_INSTALLED", "")
    found = [library for name in SONAMES for library in pathlib.Path(folder or "/nowhere").rglob(name)]
    if len(found) != len(SONAMES):
        raise SystemExit(
            f"IMGCNV_INSTALLED is {folder!r}, expected a folder with {' and '.join(SONAMES)}: "
            "use build_wheel.sh"
        )
    return found


def readelf(option: str, library: pathlib.Path) -> str:
    environment = {**os.environ, "LC_ALL": "C"}
    return subprocess.run(
        ["readelf", "--wide", option, library],
        check=True, capture_output=True, text=True, env=environment,
    ).stdout


def platform_tag(libraries: "list[pathlib.Path]") -> str:
    """The oldest manylinux tag whose systems have all symbol versions that are asked for."""
    newest = {"GLIBC": (2, 0), "GLIBCXX": (3, 4), "CXXABI": (1, 3)}
    for library in libraries:
        needed = set(re.findall(r"NEEDED.*\[(.*)\]", readelf("--dynamic", library)))
        if not needed or needed - SYSTEM_LIBRARIES - set(SONAMES):
            return f"linux_{platform.machine()}"
        for kind, version in re.findall(
            r"Name: (GLIBC|GLIBCXX|CXXABI)_([0-9.]+)", readelf("--version-info", library)
        ):
            newest[kind] = max(newest[kind], tuple(map(int, version.split("."))))
    for glibc, limits in MANYLINUX:
        if newest["GLIBC"] <= glibc and all(newest[kind] <= limits[kind] for kind in limits):
            return f"manylinux_{glibc[0]}_{glibc[1]}_{platform.machine()}"
    return f"linux_{platform.machine()}"


class BuildWithLibraries(build_py):
    def run(self) -> None:
        super().run()
        package = pathlib.Path(self.build_lib) / "imgcnv"
        for library in installed_libraries():
            shutil.copyfile(library, package / library.name)


class PlatformWheel(bdist_wheel):
    """One wheel for every Python 3: the libraries know nothing of the interpreter."""

    def get_tag(self) -> "tuple[str, str, str]":
        return "py3", "none", platform_tag(installed_libraries())


class PlatformDistribution(Distribution):
    def has_ext_modules(self) -> bool:
        return True


setup(
    version=VERSION,
    distclass=PlatformDistribution,
    cmdclass={"build_py": BuildWithLibraries, "bdist_wheel": PlatformWheel},
)
