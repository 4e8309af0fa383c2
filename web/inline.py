#!/usr/bin/env python3
"""Makes one file of the page: inline.py VIEWER.WASM OUT.HTML

"@inline FILE" on a line of its own stands for the file, "@base64 FILE" for the module, compressed.
"""
import base64
import gzip
import pathlib
import re
import sys

here = pathlib.Path(__file__).parent
module, out = map(pathlib.Path, sys.argv[1:])
compressed = base64.b64encode(gzip.compress(module.read_bytes(), 9, mtime=0)).decode()


def source(match):
    text = (here / match[1]).read_text()
    # Each script says it for itself where it stands alone.
    return text.replace("'use strict';\n\n", "", 1).rstrip("\n")


page = (here / "viewer.html").read_text()
page = re.sub(r"^@inline (\S+)$", source, page, flags=re.M)
page = re.sub(r"@base64 [\w.]+", lambda _: compressed, page)
page = re.sub(r"(<script>|id=\"worker\">)\n", r"\1\n'use strict';\n\n", page)
part = out.with_name(out.name + ".part")
part.write_text(page)
part.replace(out)
size = out.stat().st_size
if size > 900_000:
    sys.exit(f"{out} has {size} bytes, expected 900,000 at most")
