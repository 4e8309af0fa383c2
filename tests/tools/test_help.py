"""Man page and completions have the options that --help has, and no others."""
import os
import pty
import re
import select
import shutil
import subprocess

import pytest

from conftest import SOURCE


@pytest.fixture
def commands(run):
    """{command: {"--option", "-o", ...}} as --help says."""
    names = re.findall(r"^  (\w+)  ", run("--help").out.decode().split("Subcommands:")[1], re.M)
    assert {"convert", "pack", "formats"} <= set(names)
    found = {}
    for name in names:
        text = run(name, "--help").out.decode()
        spellings = re.findall(r"^  (-\S+)", text, re.M)
        found[name] = {option for spelling in spellings for option in spelling.split(",")}
        assert "--help" in found[name]
    return found


def test_man_page(commands):
    page = (SOURCE / "tools/man/imgcnv.1").read_text().replace("\\-", "-")
    options = set(re.findall(r"(?<![\w.-])--?[a-z][a-z-]*", page))
    offered = set().union(*commands.values())
    assert offered - options == set(), "in --help, not in the man page"
    long_ones = {o for o in options if o.startswith("--")}
    assert long_ones - offered == {"--version"}, "in the man page, not in --help"
    for name in commands:
        assert re.search(rf"^\.(BR?|SS|TP) {name}\b", page, re.M), name


def test_man_page_is_well_formed():
    if not shutil.which("man"):
        pytest.skip("no man")
    done = subprocess.run(["man", "--warnings", "-l", SOURCE / "tools/man/imgcnv.1"],
                          capture_output=True, env={"MANWIDTH": "100", "LC_ALL": "C.UTF-8",
                                                    "PATH": "/usr/bin:/bin"})
    assert done.returncode == 0 and done.stderr == b""


@pytest.mark.parametrize("shell", ["bash", "zsh", "fish"])
def test_completions(run, commands, tmp_path, shell):
    script = run("completions", shell).out.decode()
    for name, options in commands.items():
        if shell == "bash":
            part = re.search(rf"^    {name}\)\n.*?^        ;;", script, re.M | re.S)[0]
        elif shell == "zsh":
            part = re.search(rf"^        {name}\)\n.*?^            ;;", script, re.M | re.S)[0]
        else:
            lines = [line for line in script.splitlines() if f"from {name}'" in line]
            part = "\n".join(lines)
            part = re.sub(r" -l (\S+)", r" --\1", re.sub(r" -s (\w)", r" -\1", part))
        for option in options:
            assert re.search(rf"(?<![\w-]){re.escape(option)}(?![\w-])", part), (name, option)
    assert "BayerRG12Packed" in script and "adaptive" in script
    if shutil.which(shell):
        (tmp_path / "script").write_text(script)
        subprocess.run([shell, "-n", tmp_path / "script"], check=True)


def typed(shell, setup, lines, folder):
    """What an interactive shell passes to imgcnv when each line is typed, then Tab and Return."""
    pid, terminal = pty.fork()
    if pid == 0:
        os.chdir(folder)
        os.environ["TERM"] = "dumb"
        os.execlp(shell[0], *shell)
    said = ""

    def read_until(pattern):
        nonlocal said
        while not (found := re.findall(pattern, said)):
            ready, _, _ = select.select([terminal], [], [], 30)
            assert ready, said
            said += os.read(terminal, 65536).decode(errors="replace")
        said = ""
        return found[-1]

    try:
        os.write(terminal, f"{setup}; imgcnv() {{ echo \"<$*>\"; }}; echo RE''ADY\n".encode())
        read_until(r"READY\r?\n")
        for line in lines:
            os.write(terminal, f"{line}\t\n".encode())
            yield read_until(r"<([^<>$]*)>\r?\n")
    finally:
        os.close(terminal)
        os.waitpid(pid, 0)


@pytest.mark.parametrize("shell", ["bash", "zsh", "fish"])
def test_shells_complete(run, tmp_path, shell):
    lines = {"con": "convert", "convert --me": "convert --method", "convert -m a": "convert -m adaptive",
             "convert -f BayerRG12Pa": "convert -f BayerRG12Packed",
             "convert -f bayerrg12pa": "convert -f BayerRG12Packed",
             "convert --format=mono12m": "convert --format=Mono12MIPI",
             "sheet --of m": "sheet --of methods", "convert fra": "convert frame.raw",
             "convert --padding 1": "convert --padding 1"}  # a number, not the file
    for name in ("frame.raw", "1.raw"):
        (tmp_path / name).touch()
    script = tmp_path / "_imgcnv"
    script.write_bytes(run("completions", shell).out)
    helper = "/usr/share/bash-completion/bash_completion"
    if not shutil.which(shell) or (shell == "bash" and not os.path.exists(helper)):
        pytest.skip(f"no {shell}, or no completions in it")
    if shell == "fish":
        for line, wanted in lines.items():
            done = subprocess.run(["fish", "-c", f"source _imgcnv; complete -C 'imgcnv {line}'"],
                                  cwd=tmp_path, env={**os.environ, "HOME": str(tmp_path)},
                                  capture_output=True, text=True, check=True)
            # From version 4 on fish gives the whole word, before only what follows the "=".
            given = done.stdout.split("\t")[0].strip() or line.split()[-1]
            assert given in (wanted.split()[-1], wanted.split("=")[-1].split()[-1]), line
        return
    command, setup = {
        "bash": (["bash", "--norc", "--noprofile"], f"source {helper}; source ./_imgcnv"),
        "zsh": (["zsh", "-f"], "fpath=($PWD $fpath); autoload -U compinit; compinit -u -D")}[shell]
    results = typed(command, setup, [f"imgcnv {line}" for line in lines], tmp_path)
    for wanted, result in zip(lines.values(), results, strict=True):
        assert result.strip().rstrip("=") == wanted
