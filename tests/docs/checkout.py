"""Blocks about a checkout as a whole, ```sh checkout: run word for word in a copy of the tree.

The scripts in it are the real ones, in a git repository of its own. Replaced are the programs that take
minutes or change the machine, and what they would have built: they only write down how they were called.
"""
import json
import os
import platform
import re
import subprocess
import tarfile
from pathlib import Path

from blocks import ROOT

WRITE_DOWN = """#!/bin/sh
echo "${0##*/} $*" >>"$CALLS"
case ${0##*/} in
    sudo) exec "$@" ;;
    id) echo 0 ;;
    dpkg-query) echo installed ;;
    mountpoint) exit 1 ;;
    emcmake) mkdir -p build/web/web && touch build/web/web/viewer.html ;;
    dpkg-buildpackage) touch ../libimgcnv1_0.deb ../libimgcnv-dev_0.deb ../imgcnv-tools_0.deb ;;
esac
"""
PROGRAMS = """abidiff abidw apt-get chroot cmake ctest debootstrap dpkg-buildpackage dpkg-query emcmake id ldconfig
    lintian mount mountpoint qemu-x86_64 sudo umount unshare valgrind""".split()
SUITES = ["bookworm", "trixie", platform.freedesktop_os_release()["VERSION_CODENAME"]]
BUILT = ["build/release/tests/load/imgcnv_load",
         *(f"build/fuzz/fuzz/fuzz_{name}" for name in ("convert", "turn", "api", "frame_names", "guess", "pipeline"))]
SLOW = ["tests/mutation/mutate.py", "bench/quality.py"]
COPY = f"root='{ROOT}'; . '{ROOT}/scripts/lib/common.sh'; copy_tree ."
# For the one block that only builds and tests; scripts/test.sh --long sets it.
FOR_REAL = "IMGCNV_DOCS_FOR_REAL"


class Checkout:
    def __init__(self, command, folder):
        self.tree, programs = Path(folder) / "imgcnv", Path(folder) / "programs"
        self.calls = Path(folder) / "calls"
        self.tree.mkdir()
        subprocess.run(["sh", "-eu", "-c", COPY], cwd=self.tree, check=True)
        programs.mkdir()
        for stand_in in [*(programs / name for name in PROGRAMS), *(self.tree / name for name in BUILT)]:
            stand_in.parent.mkdir(parents=True, exist_ok=True)
            stand_in.write_text(WRITE_DOWN)
            stand_in.chmod(0o755)
        (self.tree / "build/release/tools").mkdir()
        (self.tree / "build/release/tools/imgcnv").symlink_to(Path(command).resolve())
        for suite in SUITES:  # as if bootstrapped before
            with tarfile.open(self.tree / f"build/clean-root-{suite}.tar", "w") as system:
                for name in ("dev", "dev/pts", "etc", "proc"):
                    entry = tarfile.TarInfo(name)
                    entry.type, entry.mode = tarfile.DIRTYPE, 0o755
                    system.addfile(entry)
        self.environment = {k: v for k, v in os.environ.items() if not k.startswith(("IMGCNV_", "GIT_"))}
        identity = ["-c", "user.name=test", "-c", "user.email=test@example.org"]
        for git in (["init", "-q"], ["add", "-A"], [*identity, "commit", "-q", "-m", "copy"]):
            self.git(*git)
        for name in SLOW:
            (self.tree / name).write_text("#!/usr/bin/python3\nimport os, sys\n"
                                          "print(*sys.argv, file=open(os.environ['CALLS'], 'a'))\n")
        self.with_stand_ins = {**self.environment, "PATH": f"{programs}:{os.environ['PATH']}",
                               "CALLS": str(self.calls)}

    def git(self, *arguments):
        subprocess.run(["git", *arguments], cwd=self.tree, env=self.environment, check=True)

    def run(self, block):
        """Standard output, the calls of replaced programs."""
        real = FOR_REAL in os.environ and "scripts/" not in block.text and "bench/" not in block.text
        if real:
            self.git("checkout", "-q", ".")
        self.calls.write_text("")
        done = subprocess.run(["sh", "-eu", "-c", block.text], cwd=self.tree, capture_output=True, text=True,
                              env=self.environment if real else self.with_stand_ins, timeout=3000)
        assert done.returncode == 0, f"{block.where()}: exit {done.returncode}\n{done.stdout}{done.stderr}"
        calls = self.calls.read_text()
        presets = json.loads((ROOT / "CMakePresets.json").read_text())
        for kind, name in re.findall(r"^(cmake|cmake --build|ctest) --preset (\S+)", calls, re.M):
            kind = {"cmake": "configure", "cmake --build": "build", "ctest": "test"}[kind]
            known = {preset["name"] for preset in presets[f"{kind}Presets"]}
            assert name in known, f"{block.where()}: no {kind} preset {name}"
        return done.stdout, calls
