"""The blocks of docs/live.md, run as they stand there."""
import os
import re
import subprocess

import pytest

from conftest import FAKECAM, LIVE, SAMPLES

BLOCKS = re.findall(r"```sh live\n(.*?)```", (SAMPLES.parent / "docs/live.md").read_text(), re.S)


@pytest.mark.parametrize("block", BLOCKS)
def test_a_block_runs(block, tmp_path):
    (tmp_path / "samples").symlink_to(SAMPLES)
    path = ":".join([os.path.dirname(LIVE), os.path.dirname(FAKECAM), os.environ["PATH"]])
    subprocess.run(["sh", "-euc", block], cwd=tmp_path, env={**os.environ, "PATH": path},
                   check=True, timeout=60)
    assert list(tmp_path.glob("*.png"))


def test_blocks_are_there():
    assert len(BLOCKS) == 2
