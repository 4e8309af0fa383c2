"""Scripts say which packages are missing, and install none without leave."""
import os
import pty
import subprocess

import pytest

from conftest import SOURCE, read_terminal

ROOT_USER, USER = 0, 1000


@pytest.mark.parametrize("user, sudo, answer, option, expected, installs", [
    (ROOT_USER, True, "n", "", "nothing was installed", False),
    (ROOT_USER, True, "", "", "Install them now? [Y/n]", True),
    (ROOT_USER, True, None, "", "Installing", True),  # no terminal: a container, CI
    (USER, True, "y", "", "Install them now with sudo?", True),
    (USER, True, None, "", "--yes installs without asking", False),
    (USER, True, None, "--yes", "Installing", True),
    (USER, False, "y", "", "there is no sudo", False),
])
def test_packages_are_installed_after_a_yes(tmp_path, user, sudo, answer, option, expected, installs):
    programs = {"dpkg-query": "exit 1", "id": f"echo {user}", "apt-get": f"echo $* >> {tmp_path}/apt"}
    if sudo:
        programs["sudo"] = '[ "$1" != -n ] || shift; exec "$@"'
    for program in ("sh", "env", "mkdir", "tail"):
        programs[program] = f'exec /usr/bin/{program} "$@"'
    for name, text in programs.items():
        (tmp_path / name).write_text(f"#!/bin/sh\n{text}\n")
        (tmp_path / name).chmod(0o755)
    script = f'set -eu; root={tmp_path}; . {SOURCE}/scripts/lib/common.sh; ensure_packages one two'
    controller, terminal = pty.openpty()
    os.write(controller, f"{answer}\n".encode())
    asks = answer is not None
    environment = {k: v for k, v in os.environ.items() if k != "IMGCNV_YES"}
    done = subprocess.run(["/bin/sh", "-c", script, "sh", *option.split()], timeout=60,
                          env=environment | {"PATH": str(tmp_path)},
                          stdin=terminal if asks else subprocess.DEVNULL,
                          stdout=terminal, stderr=terminal if asks else subprocess.STDOUT)
    os.close(terminal)
    text = read_terminal(controller).decode()
    assert "needed and not installed: one two" in text and expected in text
    assert (done.returncode == 0) == installs
    asked_for = (tmp_path / "apt").read_text() if (tmp_path / "apt").exists() else ""
    assert ("install --no-install-recommends one two" in asked_for) == installs, text
