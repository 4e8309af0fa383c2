"""What users get: wheel, types, documented examples and programs."""

from __future__ import annotations

import doctest
import importlib
import pathlib
import pkgutil
import platform
import re
import shutil
import subprocess
import zipfile

import imgcnv
import numpy
import pytest
from imgcnv import _native

from programs import FRAMES_LIBRARY, LIBRARY, MODULE, PYTHON, run

SHOW = "import imgcnv, imgcnv._native as n; print(imgcnv.__version__, imgcnv.__file__, n.path)"

MAPPED = """
import imgcnv
maps = open("/proc/self/maps").read().split()
print(*{word for word in maps if "libimgcnv.so" in word}, sep="\\n")
"""

# A camera of two frames, the second one broken, which records the order of things.
FAKE_ARAVIS = """
import sys, types
class Buffer:
    def __init__(self, status): self.status = status
    def get_status(self): return self.status
    def get_data(self): print("data"); return bytes([10, 20, 30, 40, 99, 99])
    @staticmethod
    def new_allocate(size): return Buffer(0)
class Stream:
    def __init__(self): self.waiting = [Buffer(0), Buffer(1)]
    def push_buffer(self, buffer): print("push")
    def pop_buffer(self): print("pop"); return self.waiting.pop(0)
class Camera:
    new = staticmethod(lambda name: Camera())
    def get_region(self): return 0, 0, 2, 2
    def get_pixel_format(self): return 0x01080001
    def get_payload(self): return 6
    def create_stream(self, *_): return Stream()
    def start_acquisition(self): pass
    def stop_acquisition(self): print("stopped")
repository = types.ModuleType("gi.repository")
repository.Aravis = types.SimpleNamespace(
    Camera=Camera, Buffer=Buffer, BufferStatus=types.SimpleNamespace(SUCCESS=0))
gi = types.ModuleType("gi")
gi.require_version = lambda *_: None
sys.modules.update({"gi": gi, "gi.repository": repository})
"""


def test_wheel(tmp_path):
    """Built offline, it brings its own library and works away from the source tree."""
    for module in ("build", "setuptools", "wheel"):
        pytest.importorskip(module)
    built = []
    for folder in (tmp_path / "first", tmp_path / "second"):
        build = pathlib.Path(LIBRARY).resolve().parents[1]
        subprocess.run([PYTHON / "build_wheel.sh", build, folder], check=True, timeout=300)
        (wheel,) = folder.glob("*.whl")
        built.append(wheel.read_bytes())
    assert built[0] == built[1], "the same sources give another wheel"
    tag = f"(many)?linux(_2_[0-9]+)?_{platform.machine()}"
    assert re.fullmatch(f"imgcnv-{imgcnv.__version__}-py3-none-{tag}.whl", wheel.name)
    site = tmp_path / "site"
    with zipfile.ZipFile(wheel) as archive:
        archive.extractall(site)
    assert (site / "imgcnv" / "py.typed").exists()
    wanted = f"{imgcnv.__version__} {site}/imgcnv/__init__.py {site}/imgcnv/libimgcnv_frames.so.1\n"
    assert run("-c", SHOW, PYTHONPATH=str(site)) == wanted
    program = "import imgcnv; print(imgcnv.convert(b'\\x80\\x10\\x80\\x20', 2, 1, 'uyvy').tolist())"
    assert run("-c", program, PYTHONPATH=str(site)) == "[[[16, 16, 16], [32, 32, 32]]]\n"


def test_where_the_libraries_are_found(tmp_path):
    """And that the folder alone, copied elsewhere, is a module."""
    for library, name in ((LIBRARY, _native.CORE), (FRAMES_LIBRARY, _native.ENGINE)):
        (tmp_path / name).symlink_to(library)
    copied = tmp_path / "site" / "imgcnv"
    shutil.copytree(PYTHON / "imgcnv", copied)
    system = {"PYTHONPATH": str(tmp_path / "site"), "LD_LIBRARY_PATH": str(tmp_path)}
    assert run("-c", SHOW, **system).endswith(f"{copied}/__init__.py {_native.ENGINE}\n")
    assert run("-c", SHOW, **{**system, **MODULE}).endswith(f" {FRAMES_LIBRARY}\n")
    for name in (_native.CORE, _native.ENGINE):  # as a wheel has them
        shutil.copy(tmp_path / name, copied)
    alone = {"PYTHONPATH": str(tmp_path / "site")}
    assert run("-c", SHOW, **alone).endswith(f" {copied / _native.ENGINE}\n")
    assert run("-c", MAPPED, **alone).splitlines() == [str(copied / _native.CORE)]


def test_unusable_libraries_are_named():
    program = "try: import imgcnv\nexcept ImportError as error: print(error)"
    message = run("-c", program, **{**MODULE, "IMGCNV_FRAMES_LIBRARY": "/nowhere/lib.so"})
    assert "set IMGCNV_FRAMES_LIBRARY to the path" in message and "/nowhere/lib.so" in message
    # A library that loads but is another one, or an older one, is as useless as none.
    message = run("-c", program, **{**MODULE, "IMGCNV_FRAMES_LIBRARY": "libm.so.6"})
    assert "undefined symbol: imgcnv_frames_version" in message


def test_version_is_that_of_the_header():
    header = (PYTHON.parent / "include" / "imgcnv.h").read_text()
    found = re.findall(r"#define IMGCNV_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)", header)
    assert imgcnv.__version__ == ".".join(found)


def test_docstrings():
    names = {"imgcnv": imgcnv, "numpy": numpy, "convert": imgcnv.convert}
    modules = [imgcnv] + [
        importlib.import_module(f"imgcnv.{found.name}")
        for found in pkgutil.iter_modules(imgcnv.__path__)
        if found.name != "dask"  # which has packages of its own to import, and its own tests
    ]
    results = [doctest.testmod(module, extraglobs=names) for module in modules]
    assert sum(result.failed for result in results) == 0
    assert sum(result.attempted for result in results) >= 12
    assert all(getattr(imgcnv, name).__doc__ for name in set(imgcnv.__all__) - {"To", "Demosaic", "Flip"})


def test_readme(monkeypatch):
    """The commands' results in it are what comes out."""
    monkeypatch.chdir(PYTHON.parent)
    result = doctest.testfile(str(PYTHON / "README.md"), module_relative=False)
    assert result.failed == 0 and result.attempted >= 10


# Calls as users write them, with numbers and arrays of NumPy.
TYPED = """
import imgcnv, numpy, typing
def use(n: "numpy.integer[typing.Any]", frame: "numpy.typing.NDArray[numpy.uint8]") -> None:
    imgcnv.convert(frame, n, n, n, to="grey", padding=n, rotate=n, threads=n, batch=True)
    imgcnv.convert(bytearray(4), 2, 2, "Mono8", method="linear", stride=n).mean()
    with imgcnv.Converter(n, n, imgcnv.PixelFormat.MONO8, flip="vertical") as converter:
        converter.convert_batch(frame, out=frame)
    imgcnv.convert(frame, 2, 2, 8.0)  # no format
"""


def test_types(tmp_path):
    """Nothing is wrong but the last call, which shows that users' calls are checked at all."""
    pytest.importorskip("mypy", reason="the types are checked by Debian's python3-mypy")
    (tmp_path / "use.py").write_text(TYPED)
    checked = [PYTHON / "imgcnv", PYTHON / "bench.py", tmp_path / "use.py"]
    options = ("--strict", "--cache-dir=/dev/null", f"--config-file={PYTHON}/pyproject.toml")
    with pytest.raises(AssertionError) as raised:
        run("-m", "mypy", *options, *checked, MYPYPATH=str(PYTHON))
    errors = re.findall(r"(\w+\.py):(\d+): error: ", str(raised.value))
    assert errors == [("use.py", str(TYPED.count("\n")))], raised.value


@pytest.mark.parametrize("name", ["file_to_png", "opencv", "folder"])
def test_picture_examples(name, tmp_path):
    image = pytest.importorskip("PIL.Image")
    if name == "opencv":
        pytest.importorskip("cv2")
    red = numpy.tile(numpy.array([[250, 90], [90, 10]], "u1"), (8, 8))
    raw, png = tmp_path / "frame.raw", tmp_path / "frame.png"
    raw.write_bytes(red.tobytes())
    source, target = (tmp_path, []) if name == "folder" else (raw, [png])
    run(PYTHON / "examples" / f"{name}.py", source, 16, 16, "BayerRG8", *target, **MODULE)
    with image.open(png) as picture:
        assert (picture.size, picture.getpixel((8, 8))) == ((16, 16), (250, 90, 10))


def test_long_dump_example(tmp_path):
    dump = tmp_path / "dump.raw"
    dump.write_bytes(bytes([10] * 8 + [30] * 8))
    output = run(PYTHON / "examples" / "long_dump.py", dump, 4, 2, "Mono8", **MODULE)
    assert output == "frame 0: mean 10.0\nframe 1: mean 30.0\n"


def test_aravis_example(tmp_path):
    """Each buffer goes back to the stream, after its picture was made."""
    (tmp_path / "sitecustomize.py").write_text(FAKE_ARAVIS)
    environment = {**MODULE, "PYTHONPATH": f"{tmp_path}:{PYTHON}"}
    output = run(PYTHON / "examples" / "aravis.py", 2, **environment)
    good = ["pop", "data", "push", "frame 0: (2, 2, 3), mean 25.0"]
    assert output.splitlines() == ["push"] * 4 + good + ["pop", "push", "stopped"]
