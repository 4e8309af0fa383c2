#!/usr/bin/env python3
"""Breaks the library in the ways of mutants.txt, one at a time, and checks that the tests notice.

A mutant that survives is a missing test. Works on a copy of the sources; the first build takes
minutes, each mutant some seconds to a minute.

    tests/mutation/mutate.py [--work FOLDER] [--jobs N] [--only TEXT]
"""
import argparse
import pathlib
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
TARGETS = ["imgcnv_tests", "imgcnv_level_tests", "imgcnv_load",
           "fuzz_convert_replay", "fuzz_turn_replay", "fuzz_api_replay"]
# One failure is enough. First what knows the right answers, on the plain level alone: a fault in the
# definitions must not be noticed only because the vectors do not share it.
TESTS = [r"exported_functions\.plain", "exported_functions$", "fuzz_(convert|turn|api)_replay",
         "levels_equal_plain", r"exported_functions\.", r"load\.(handles|wide)", "uninitialised_padding",
         "old_cpu"]


def read_mutants(path):
    mutants = []
    for line in path.read_text().splitlines():
        if line.startswith("@ "):
            file, _, fault = line[2:].partition(": ")
            mutants.append({"file": file, "fault": fault})
        elif line.startswith("- "):
            mutants[-1]["old"] = line[2:]
        elif line.startswith("+ "):
            mutants[-1]["new"] = line[2:]
    return mutants


def copy_sources(tree):
    """Files that are the same already keep their times, so that little is built again."""
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, stdout=subprocess.PIPE, check=True)
    for name in listed.stdout.decode().split("\0"):
        source, copy = ROOT / name, tree / name
        if not source.is_file() or copy.is_file() and copy.read_bytes() == source.read_bytes():
            continue
        copy.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(source, copy)


def run(command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          **options)


def build(tree, jobs):
    return run(["cmake", "--build", tree / "build", "-j", str(jobs), "--target", *TARGETS])


def failing_test(tree):
    """The tests that fail first, or None when all pass."""
    for pattern in TESTS:
        result = run(["ctest", "--stop-on-failure", "--timeout", "300", "--no-tests=error", "-R",
                      f"^{pattern}"], cwd=tree / "build")
        if result.returncode != 0:
            return next((line.split()[3] for line in result.stdout.splitlines() if "***" in line),
                        result.stdout[-300:])
    return None


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--work", type=pathlib.Path, default="/tmp/imgcnv-mutants")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--only", default="", help="mutants whose file or fault holds this text")
    options = parser.parse_args()

    mutants = read_mutants(ROOT / "tests/mutation/mutants.txt")
    tree = options.work / "tree"
    tree.mkdir(parents=True, exist_ok=True)
    copy_sources(tree)
    stale = [m for m in mutants if (tree / m["file"]).read_text().count(m["old"]) != 1]
    for m in stale:
        print(f"STALE     {m['file']}: {m['fault']}: its text does not occur exactly once")

    run(["cmake", "-S", tree, "-B", tree / "build", "-G", "Ninja", "-DIMGCNV_BUILD_TOOLS=OFF",
         "-DIMGCNV_BUILD_FUZZ=ON", "-DIMGCNV_INSTALL=OFF"], check=True)
    built = build(tree, options.jobs)
    broken = built.returncode != 0 or failing_test(tree)
    if broken:
        sys.exit(f"the tests fail without any fault: {broken}\n{built.stdout[-2000:]}")

    survivors, tried = [], 0
    for m in mutants:
        if m in stale or options.only not in m["file"] + m["fault"]:
            continue
        path = tree / m["file"]
        original = path.read_text()
        started = time.monotonic()
        path.write_text(original.replace(m["old"], m["new"]))
        try:
            built = build(tree, options.jobs)
            killer = failing_test(tree) if built.returncode == 0 else None
        finally:
            path.write_text(original)
        tried += 1
        what = f"{m['file']}: {m['fault']}"
        if built.returncode != 0:
            print(f"UNBUILT   {what}\n{built.stdout[-1500:]}")
            stale.append(m)
        elif killer is None:
            print(f"SURVIVED  {what}")
            survivors.append(m)
        else:
            print(f"killed    {what}   [{killer}, {time.monotonic() - started:.0f} s]")
        sys.stdout.flush()
    print(f"{tried} mutants, {tried - len(survivors)} noticed, {len(survivors)} survived, "
          f"{len(stale)} unusable")
    sys.exit(1 if survivors or stale else 0)


if __name__ == "__main__":
    main()
