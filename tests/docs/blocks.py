"""Code blocks of a Markdown page, and how each kind is run.

```sh, ```c, ```cpp and ```python blocks are run, in a folder that holds `samples` and what the page's
earlier blocks wrote there, with `imgcnv` and the library at hand. A ```text output block must be what
the block before it printed. ```sh checkout is for commands at the top of the source tree, see
checkout.py. ```sh gstreamer and ```sh live are run by the tests of gstreamer/ and live/. ```text is
not run.
"""
import os
import re
import subprocess
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PYTHON = "/usr/bin/python3"
KNOWN = {"sh", "sh checkout", "sh gstreamer", "sh live", "c", "cpp", "python", "text", "text output"}


@dataclass
class Block:
    page: Path
    line: int
    kind: str
    text: str

    def where(self):
        return f"{self.page.relative_to(ROOT)}:{self.line}"


def blocks_of(page):
    blocks, opened = [], None
    for number, line in enumerate(page.read_text(encoding="utf-8").splitlines(), 1):
        fence = re.match(r"( *)```(.*)$", line)
        if fence and opened is None:
            opened, indent = Block(page, number, fence[2].strip(), ""), len(fence[1])
        elif fence:
            blocks.append(opened)
            opened = None
        elif opened:
            opened.text += line[indent:] + "\n"
    assert opened is None, f"{opened.where()}: block without an end"
    return blocks


class Runner:
    """command, library: the built imgcnv and libimgcnv.so."""

    def __init__(self, command, library, folder):
        self.folder = Path(folder)
        tools = self.folder / ".bin"
        tools.mkdir()
        (tools / "imgcnv").symlink_to(Path(command).resolve())
        (self.folder / "samples").symlink_to(ROOT / "samples")
        library = Path(library).resolve()
        engine = Path(os.environ.get("IMGCNV_FRAMES_LIBRARY", library.parents[1] / "frames" / "libimgcnv_frames.so"))
        folders = [library.parent, engine.resolve().parent]
        self.flags = [f"-I{ROOT / 'include'}", "-Wl,--as-needed", *(f"-L{folder}" for folder in folders),
                      *(f"-Wl,-rpath,{folder}" for folder in folders)]
        # Linked by the names that a user gives; the files may be versioned ones.
        self.linked = ["-limgcnv_frames", "-limgcnv"]
        self.environment = {**os.environ, "PATH": f"{tools}:{os.environ['PATH']}",
                            "PYTHONPATH": str(ROOT / "python"), "IMGCNV_LIBRARY": str(library),
                            "IMGCNV_FRAMES_LIBRARY": str(engine.resolve()),
                            "PYTHONDONTWRITEBYTECODE": "1", "LC_ALL": "C.UTF-8"}

    def run(self, block):
        """The block's standard output; raises what went wrong."""
        if block.kind == "sh":
            command = ["sh", "-eu", "-c", block.text]
        elif block.kind == "python":
            command = [PYTHON, "-c", block.text]
        else:
            compiler, standard = {"c": ("cc", "-std=c11"), "cpp": ("c++", "-std=c++20")}[block.kind]
            source = self.folder / f"block{block.line}.{block.kind}"
            source.write_text(block.text)
            program = source.with_suffix("")
            self.checked(block, [compiler, standard, "-Wall", "-Wextra", str(source), *self.flags,
                                 *self.linked, "-o", str(program)])
            command = [str(program)]
        return self.checked(block, command)

    def checked(self, block, command):
        done = subprocess.run(command, cwd=self.folder, env=self.environment, capture_output=True,
                              text=True, timeout=120)
        assert done.returncode == 0, f"{block.where()}: exit {done.returncode}\n{done.stdout}{done.stderr}"
        return done.stdout

    def run_page(self, page, compare=True):
        """Runs all that can be run; returns how many blocks that were."""
        printed, count = None, 0
        for block in blocks_of(page):
            assert block.kind in KNOWN, f"{block.where()}: no such kind of block: '{block.kind}'"
            if block.kind in ("sh", "c", "cpp", "python"):
                printed, count = self.run(block), count + 1
            elif block.kind == "text output" and compare:
                assert printed == block.text, f"{block.where()}: the block above printed\n{printed}"
        return count
