"""Counts what script/test ran.

    tally.py programs TALLY JUNIT BUILD LIMIT         the programs of a build folder that CTest ran
    tally.py step TALLY NAME CODE LIMIT RESULTS LOG   a step that is a script of its own
    tally.py close TALLY                              names what failed, and closes with the counts

The tally is a file with one line for each case: passed, failed or skipped, a tab, who it was.
"""
import os
import re
import sys
from xml.etree import ElementTree

from programs import knownPrograms, readOutput

TIMED_OUT = 124  # the exit code of timeout(1)
CASE = re.compile(r'<testcase name="([^"]*)"[^>]*?(/?)>\s*(<failure)?')


def record(tally, outcome, who, why=""):
    with open(tally, "a") as lines:
        lines.write(f"{outcome}\t{who}{': ' if why else ''}{why}\n")


def addPrograms(tally, junit, build, limit):
    limits = {program.name: program.limit for program in knownPrograms(build, limit)}
    for test in ElementTree.parse(junit).getroot().iter("testcase"):
        name, status = test.get("name"), test.get("status")
        text = test.findtext("system-out") or ""
        if status == "notrun" or test.find("skipped") is not None and status != "fail":
            why = test.find("skipped")
            if re.search("SKIP", (why.get("message") if why is not None else "") or ""):
                record(tally, "skipped", name)
            else:
                record(tally, "failed", name, "could not be started")
            continue
        hung = status == "fail" and float(test.get("time", 0)) >= limits[name]
        outcome = readOutput(text, hung, limits[name], 0 if status == "run" else 1)
        for _ in range(outcome.passed):
            record(tally, "passed", name)
        for case in outcome.skipped:
            record(tally, "skipped", name, case)
        for case in outcome.failed:
            record(tally, "failed", name, case)
        if outcome.remark:
            record(tally, "failed", name, outcome.remark)
        if not outcome.isGood():
            print(f"-- {name}\n{outcome.report}", file=sys.stderr)


def complaints(log):
    """What ninja could not make, as the names of the files that were looked at."""
    with open(log, errors="replace") as lines:
        names = re.findall(r"^FAILED: lint/(\S+)\.(format|tidy)", lines.read(), re.MULTILINE)
    return [f"{name} (clang-{tool})" for name, tool in names]


def addStep(tally, name, code, limit, results, log):
    failed = 0
    if os.path.exists(results):
        with open(results, errors="replace") as lines:
            cases = CASE.findall(lines.read())
        for case, _, failure in cases:
            record(tally, "failed" if failure else "passed", name, case)
            failed += bool(failure)
    for complaint in complaints(log) if code else []:
        record(tally, "failed", name, complaint)
        failed += 1
    if code == TIMED_OUT:
        record(tally, "failed", name, f"did not end within {limit} s")
    elif code and not failed:
        record(tally, "failed", name, f"failed (whole output: {log})")


def close(tally):
    with open(tally) as lines:
        entries = [line.rstrip("\n").split("\t", 1) for line in lines]
    for outcome, heading in ("skipped", "Skipped"), ("failed", "Failed"):
        named = [who for kind, who in entries if kind == outcome]
        if named:
            print(f"== {heading}", *named, sep="\n   ")
    counts = {kind: sum(entry[0] == kind for entry in entries) for kind in ("passed", "failed", "skipped")}
    if not entries:
        counts["failed"] = 1
        print("== Failed\n   nothing was run")
    print(f"{counts['passed']} passed, {counts['failed']} failed, {counts['skipped']} skipped")
    return 1 if counts["failed"] else 0


def main():
    action, *arguments = sys.argv[1:]
    if action == "programs":
        addPrograms(*arguments)
    elif action == "step":
        tally, name, code, limit, results, log = arguments
        addStep(tally, name, int(code), limit, results, log)
    elif action == "close":
        return close(*arguments)
    else:
        sys.exit(__doc__)
    return 0


if __name__ == "__main__":
    sys.exit(main())
