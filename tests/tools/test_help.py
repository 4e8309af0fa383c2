"""Man page and completions have the options that --help has, and no others."""
import re
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


def test_bash_completes(run, tmp_path):
    (tmp_path / "script").write_bytes(run("completions", "bash").out)

    def completed(line):
        words = line.split(" ")
        done = subprocess.run(["bash", "-c", f"""
            _init_completion() {{ words=({line}); cword={len(words) - 1}
                cur={words[-1]!r}; prev={words[-2]!r}
                # As bash-completion's -s does: --option=value is two words.
                [[ $cur == --*=* ]] && {{ prev=${{cur%%=*}}; cur=${{cur#*=}}; split=true; }}; true; }}
            _filedir() {{ COMPREPLY=(FILES); }}
            source {tmp_path}/script; _imgcnv; echo "${{COMPREPLY[@]}}" """],
                              capture_output=True, text=True, check=True)
        return done.stdout.split()

    assert completed("imgcnv con") == ["convert"]
    assert completed("imgcnv convert --me") == ["--method"]
    assert completed("imgcnv convert -m a") == ["adaptive"]
    assert completed("imgcnv convert -f BayerRG12Pa") == ["BayerRG12Packed"]
    assert completed("imgcnv convert -f bayerrg12p") == ["BayerRG12Packed", "BayerRG12p"]
    assert "Mono8" in completed("imgcnv convert --format=mono")
    assert completed("imgcnv sheet --of m") == ["methods"]
    assert completed("imgcnv convert x") == ["FILES"]
    assert completed("imgcnv convert --padding 1") == []
