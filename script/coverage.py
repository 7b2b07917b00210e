"""Runs the tests against the DLL that counts, and tells what they do not reach; see script/coverage.

    coverage.py [PROGRAM...]
"""
import json
import os
import shutil
import subprocess
import sys
import time
from collections import defaultdict
from dataclasses import replace
from pathlib import Path

from programs import Run, knownPrograms

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/coverage"
TOOLS = "i686-w64-mingw32-"
WANTED = 95.0  # per cent of the branches
AT_A_TIME = 2
# One does not use the DLL; the other looks at the file as it ships, which this one is not.
LEFT_OUT = {"sim_tests", "pe_test"}


def link(source, target):
    target.unlink(missing_ok=True)
    os.link(source, target)


def runPrograms(names):
    """Each has a folder for its counts: a program that ends writes them without asking who else does."""
    shutil.rmtree(BUILD / "data", ignore_errors=True)
    for path in (ROOT / "build/windows/bin").iterdir():
        if path.is_file() and path.name != "KVEXA_LIB.dll":
            link(path, BUILD / "bin" / path.name)
    waiting = [program for program in knownPrograms(str(ROOT / "build/windows")) if program.name not in LEFT_OUT
               and (not names or program.name in names)]
    unknown = set(names) - {program.name for program in waiting}
    if unknown or not waiting:
        raise SystemExit(f"error: there is no test program {' '.join(sorted(unknown))}")
    running, failed = [], []
    while waiting or running:
        while waiting and len(running) < AT_A_TIME:
            program = waiting.pop(0)
            folder = BUILD / "data" / program.name
            folder.mkdir(parents=True)
            command = [part.replace(f"{ROOT}/build/windows/", f"{BUILD}/") for part in program.command]
            program = replace(program, command=command, folder=str(BUILD), limit=3 * program.limit)
            running.append(Run(program, folder / "output.log", environment={"GCOV_PREFIX": f"Z:{folder}"}))
        time.sleep(0.1)
        for run in list(running):
            outcome = run.poll()
            if outcome:
                running.remove(run)
                print(f"   {run.program.name}: {outcome.seconds:.0f} s", flush=True)
                failed += [f"{run.program.name}: {case}" for case in outcome.failed + [outcome.remark] if case]
    return failed


def countFolders():
    """The folders with the counts of each program, and beside them what the compiler wrote with its objects."""
    notes = list((BUILD / "src").rglob("*.gcno"))
    for folder in sorted((BUILD / "data").iterdir()):
        counts = Path(f"{folder}{BUILD}")
        if not counts.is_dir():
            raise SystemExit(f"error: {folder.name} left no counts")
        for note in notes:
            link(note, counts / note.relative_to(BUILD))
        yield counts


def sourceName(name):
    """The place of a file in this project, or None when it is another's."""
    relative = os.path.relpath(BUILD / name, ROOT)
    return relative if relative.startswith("src/") else None


class Counts:
    """What was run, by file and line. A line stands in as many functions as its template has instances, or as
    units include its header: their counts are added up, where they have the same branches."""

    def __init__(self):
        self.lines = defaultdict(int)  # (file, line): count
        self.branches = defaultdict(list)  # (file, line, how many): [count, does it fall through]

    def add(self, report):
        for file in report["files"]:
            name = sourceName(file["file"])
            if name is None:
                continue
            for line in file["lines"]:
                place = (name, line["line_number"])
                self.lines[place] += line["count"]
                branches = [branch for branch in line["branches"] if not branch["throw"]]
                if not branches:
                    continue
                sums = self.branches[(*place, len(branches))]
                if not sums:
                    sums += [[0, branch["fallthrough"]] for branch in branches]
                for sum_, branch in zip(sums, branches):
                    sum_[0] += branch["count"]

    def read(self, folder):
        for notes in sorted(folder.rglob("*.gcno")):
            output = subprocess.run([f"{TOOLS}gcov", "--json-format", "--stdout", "--branch-probabilities", str(notes)],
                                    cwd=BUILD, capture_output=True, check=True, text=True).stdout
            for report in output.splitlines():
                self.add(json.loads(report))

    def report(self):
        totals = defaultdict(lambda: [0, 0, 0, 0])  # folder: lines, run, branches, taken
        for (name, _), count in self.lines.items():
            for folder in (name.split("/")[1], "total"):
                totals[folder][0] += 1
                totals[folder][1] += count > 0
        missing = []
        for (name, line, _), branches in sorted(self.branches.items()):
            for folder in (name.split("/")[1], "total"):
                totals[folder][2] += len(branches)
                totals[folder][3] += sum(count > 0 for count, _ in branches)
            for number, (count, falls) in enumerate(branches, 1):
                if count == 0:
                    side = "the one that falls through" if falls else "the one that jumps"
                    missing.append((name, line, f"branch {number} of {len(branches)}, {side}"))
        return totals, missing


def share(part, whole):
    return 100.0 * part / whole if whole else 100.0


def show(totals, missing):
    text = {}
    print("\nBranches that were never taken:")
    for name, line, what in missing:
        lines = text.setdefault(name, (ROOT / name).read_text().splitlines())
        print(f"  {name}:{line}: {what}: {lines[line - 1].strip()}")
    print(f"\n{'folder':10} {'lines':>17} {'branches':>17}")
    for folder in sorted(totals, key=lambda folder: (folder == "total", folder)):
        lines, run, branches, taken = totals[folder]
        print(f"{folder:10} {run:5}/{lines:<5} {share(run, lines):5.1f} %{taken:5}/{branches:<5} {share(taken, branches):5.1f} %")


def main():
    print("== Running the tests", flush=True)
    failed = runPrograms(sys.argv[1:])
    counts = Counts()
    for folder in countFolders():
        counts.read(folder)
    totals, missing = counts.report()
    show(totals, missing)
    for who in failed:
        print(f"failed: {who}")
    _, _, branches, taken = totals["total"]
    return 0 if share(taken, branches) >= WANTED and not failed else 1


if __name__ == "__main__":
    sys.exit(main())
