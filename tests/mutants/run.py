#!/usr/bin/env python3
"""Breaks the code on purpose, one small edit at a time, and looks whether the tests see it.

run.py [-k FOLDER] [NAME...]   edits of the table whose names contain one of the NAMEs, default all
run.py --check                 only whether each edit still finds its place; builds nothing

Works on a copy of the sources (FOLDER, default build/mutants), with a build of its own. First the copy as it is has to
pass; then each edit is made, built, tested and taken back. An edit that does not build is one that was not tested, and is
an error as is an old text that is not found exactly once. The exit code is 0 if all edits were seen.
"""
import argparse
import os
import subprocess
import sys
import time
from pathlib import Path

from table import EDITS, SUITES

ROOT = Path(__file__).resolve().parents[2]
PRESET = "release"


def sources():
    """Tracked files, and new ones that git would track."""
    names = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=ROOT, check=True,
                           capture_output=True).stdout.decode().split("\0")
    return [Path(name) for name in names if name and (ROOT / name).is_file()]


def refresh(tree):
    """Makes the copy equal to the sources; a file that is equal keeps its time stamp, so that little is built."""
    wanted = set(sources())
    for old in [p for p in tree.rglob("*") if p.is_file() and "build" != p.relative_to(tree).parts[0]]:
        if old.relative_to(tree) not in wanted:
            old.unlink()
    for name in wanted:
        text, copy = (ROOT / name).read_bytes(), tree / name
        if not copy.is_file() or copy.read_bytes() != text:
            copy.parent.mkdir(parents=True, exist_ok=True)
            copy.write_bytes(text)
        copy.chmod((ROOT / name).stat().st_mode)


def place(name, files):
    """The one source with this base name: the table holds whatever folder it is in."""
    found = [p for p in files if p.name == name and p.parts[0] not in ("tests", "bench", "fuzz")]
    if len(found) != 1:
        sys.exit(f"error: {len(found)} files of the name {name}")
    return found[0]


def edited(edit, files, tree):
    """Path and both texts, or the end of everything."""
    path = tree / place(edit.file, files)
    text = path.read_text()
    if text.count(edit.old) != 1:
        sys.exit(f"error: '{edit.name}': {edit.file} has its old text {text.count(edit.old)} times:\n{edit.old}")
    if edit.suite not in SUITES:
        sys.exit(f"error: '{edit.name}': no suite {edit.suite}")
    return path, text, text.replace(edit.old, edit.new)


class Builder:
    def __init__(self, tree):
        self.tree = tree
        self.log = tree.parent / "last.log"

    def call(self, *args, limit_s=1800):
        with self.log.open("a") as log:
            print("$", *args, file=log, flush=True)
            try:
                return subprocess.run(args, cwd=self.tree, stdout=log, stderr=log, stdin=subprocess.DEVNULL,
                                      timeout=limit_s).returncode == 0
            except subprocess.TimeoutExpired:
                return False

    def build(self, suites):
        targets = sorted({t for s in suites for t in SUITES[s].targets})
        return self.call("nice", "cmake", "--build", "--preset", PRESET, "-j", str(os.cpu_count()), "--target", *targets)

    def test(self, suite):
        return self.call("ctest", "--preset", PRESET, "--stop-on-failure", "-j", str(os.cpu_count()), "-R",
                         SUITES[suite].tests)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("-k", "--folder", type=Path, default=ROOT / "build" / "mutants")
    parser.add_argument("--check", action="store_true")
    parser.add_argument("names", nargs="*")
    options = parser.parse_args()
    names = [e.name for e in EDITS]
    if len(set(names)) != len(names):
        sys.exit("error: a name stands twice")
    chosen = [e for e in EDITS if not options.names or any(n in e.name for n in options.names)]
    if not chosen:
        sys.exit("error: no edit of that name")
    files = sources()
    for edit in EDITS:
        edited(edit, files, ROOT)
    if options.check:
        print(f"{len(EDITS)} edits find their place")
        return 0

    tree = options.folder.resolve() / "tree"
    refresh(tree)
    builder = Builder(tree)
    builder.log.write_text("")
    suites = sorted({e.suite for e in chosen})
    if not builder.call("cmake", "--preset", PRESET) or not builder.build(suites):
        sys.exit(f"error: the sources as they are do not build: {builder.log}")
    for suite in suites:
        if not builder.test(suite):
            sys.exit(f"error: suite {suite} fails without any edit: {builder.log}")

    survivors, broken = [], []
    for number, edit in enumerate(chosen, 1):
        begin = time.monotonic()
        path, text, mutant = edited(edit, files, tree)
        builder.log.write_text(f"{edit.name}\n")
        try:
            path.write_text(mutant)
            if not builder.build([edit.suite]):
                broken.append(edit)
                result = "DOES NOT BUILD"
            elif builder.test(edit.suite):
                survivors.append(edit)
                result = "SURVIVES"
            else:
                result = "seen"
        finally:
            path.write_text(text)
        print(f"{number:3d}/{len(chosen)} {result:14s} {edit.suite:12s} {edit.name} ({time.monotonic() - begin:.0f} s)",
              flush=True)
    for title, list_ in (("survive", survivors), ("do not build", broken)):
        if list_:
            print(f"\n{len(list_)} edits {title}:", *(f"  {e.file}: {e.name}" for e in list_), sep="\n")
    print(f"\n{len(chosen) - len(survivors) - len(broken)} of {len(chosen)} edits seen")
    return 1 if survivors or broken else 0


if __name__ == "__main__":
    sys.exit(main())
