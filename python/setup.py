"""Puts the C library and the version into the wheel; the rest is in pyproject.toml.

IMGCNV_LIBRARY names the libimgcnv.so to include.
"""

import os
import pathlib
import runpy
import shutil

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py
from wheel.bdist_wheel import bdist_wheel

HERE = pathlib.Path(__file__).resolve().parent
HEADER = HERE.parent / "include" / "imgcnv.h"
VERSION = runpy.run_path(str(HERE / "imgcnv" / "_version.py"))["read_header"](HEADER)


class BuildWithLibrary(build_py):
    def run(self) -> None:
        library = os.environ.get("IMGCNV_LIBRARY", "")
        if not os.path.isfile(library):
            raise SystemExit(
                f"IMGCNV_LIBRARY is {library!r}, expected the path of a built libimgcnv.so"
            )
        super().run()
        package = pathlib.Path(self.build_lib) / "imgcnv"
        shutil.copyfile(library, package / "libimgcnv.so.1")
        (package / "_version.txt").write_text(VERSION + "\n", encoding="utf-8")


class PlatformWheel(bdist_wheel):
    """One wheel for every Python 3: the library knows nothing of the interpreter."""

    def get_tag(self) -> tuple[str, str, str]:
        return "py3", "none", "linux_x86_64"


class PlatformDistribution(Distribution):
    def has_ext_modules(self) -> bool:
        return True


setup(
    version=VERSION,
    distclass=PlatformDistribution,
    cmdclass={"build_py": BuildWithLibrary, "bdist_wheel": PlatformWheel},
)
