"""Makes the pictures of the pages: make_pictures.py COMMAND LIBRARY FOLDER

A page says what each picture is cut from, in a comment before it:

    <!-- picture NAME.png = FILE X,Y,WIDTHxHEIGHT zoom N -->

FILE is what the code blocks of the page write, or a photograph of samples/. Pictures go into FOLDER.
A picture with alpha is shown over a checkered ground.
"""
import re
import sys
import tempfile
from pathlib import Path

import numpy as np
from PIL import Image

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "docs"))
from blocks import Runner  # noqa: E402

RECIPE = re.compile(r"<!-- picture (\S+) = (\S+) (\d+),(\d+),(\d+)x(\d+) zoom (\d+) -->")


def over_checkers(image):
    y, x = np.indices((image.height, image.width)) // 8
    ground = np.where((x + y) % 2, 205, 255).astype(np.uint8)
    ground = Image.fromarray(np.dstack([ground] * 3 + [np.full_like(ground, 255)]), "RGBA")
    return Image.alpha_composite(ground, image).convert("RGB")


def cut(source, box, zoom):
    image = Image.open(source)
    if image.mode == "RGBA":
        image = over_checkers(image)
    x, y, width, height = box
    image = image.crop((x, y, x + width, y + height))
    return image.resize((width * zoom, height * zoom), Image.NEAREST)


def pages():
    return [ROOT / "README.md", *sorted((ROOT / "docs").glob("*.md"))]


def make(command, library, folder):
    made = []
    for page in pages():
        recipes = RECIPE.findall(page.read_text(encoding="utf-8"))
        if not recipes:
            continue
        with tempfile.TemporaryDirectory() as work:
            Runner(command, library, work).run_page(page, compare=False)
            for name, source, *box, zoom in recipes:
                cut(Path(work) / source, [int(n) for n in box], int(zoom)).save(
                    Path(folder) / name, optimize=True)
                made.append(name)
    return made


if __name__ == "__main__":
    print("\n".join(make(*sys.argv[1:])))
