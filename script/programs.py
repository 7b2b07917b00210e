"""The test programs that CTest knows, how one is run, and what its output tells."""
import json
import os
import re
import signal
import subprocess
import time
from dataclasses import dataclass, field

CASE = re.compile(r"^\[ +(RUN|OK|FAILED|SKIPPED) +\] ([^\s,]+)(?:, where .*)?(?: \(\d+ ms\))?$")
RESULT_TIME = re.compile(r" \(\d+ ms\)$")
FINISHED = re.compile(r"^\[==========\] (\d+) tests? from .* ran\.")
CRASH = re.compile(r"unhandled (exception|page fault)|^wine: Unhandled", re.IGNORECASE | re.MULTILINE)


@dataclass
class Program:
    name: str
    command: list
    environment: dict
    limit: float  # seconds
    folder: str  # where it runs


@dataclass
class Outcome:
    """What one run of a program showed. remark: why the run as a whole failed, beyond its cases."""
    passed: int = 0
    skipped: list = field(default_factory=list)
    failed: list = field(default_factory=list)
    remark: str = ""
    report: str = ""  # what the failing cases printed
    seconds: float = 0.0

    def isGood(self):
        return not self.failed and not self.remark


def knownPrograms(folder, defaultLimit=300):
    """The programs of a build folder, as CTest would start them."""
    listing = subprocess.run(["ctest", "--test-dir", folder, "--show-only=json-v1"], capture_output=True,
                             check=True, text=True).stdout
    found = []
    for test in json.loads(listing)["tests"]:
        properties = {entry["name"]: entry["value"] for entry in test.get("properties", [])}
        environment = dict(line.split("=", 1) for line in properties.get("ENVIRONMENT", []))
        found.append(Program(test["name"], test["command"], environment,
                             float(properties.get("TIMEOUT", defaultLimit)),
                             properties.get("WORKING_DIRECTORY", folder)))
    return found


def readOutput(text, hung=False, limit=0, exitCode=0):
    """The outcome that a program's whole output tells, without GTEST_BRIEF."""
    outcome = Outcome()
    running, finished, block, report = None, False, [], []
    for line in text.splitlines():
        line = line.rstrip()
        finished = finished or FINISHED.match(line) is not None
        case = CASE.match(line)
        block.append(line)
        if not case:
            continue
        kind, name = case.groups()
        if kind == "RUN":
            running, block = name, [line]
        elif running == name and RESULT_TIME.search(line):  # the list at the end has no times
            running = None
            if kind == "OK":
                outcome.passed += 1
            elif kind == "SKIPPED":
                outcome.skipped.append(name)
            else:
                outcome.failed.append(name)
                report += block[:60]
    at = f" in {running}" if running else ""
    if hung:
        outcome.remark = f"did not end within {limit:.0f} s{at}"
    elif not finished:
        outcome.remark = f"ended early{at}"
    elif CRASH.search(text):
        outcome.remark = "crashed after its last case"
    elif exitCode != 0 and not outcome.failed:
        outcome.remark = f"ended with exit code {exitCode}, although no case failed"
    if outcome.remark:
        report += block[:25] + block[25:][-15:]
    outcome.report = "\n".join(report)
    return outcome


class Run:
    """A program that runs, with its output in a file, and a process group of its own."""

    def __init__(self, program, log, arguments=(), environment=None, limit=None):
        self.program, self.log = program, log
        self.limit = limit or program.limit
        environment = {**os.environ, **program.environment, **(environment or {})}
        with open(log, "wb") as output:
            self.process = subprocess.Popen([*program.command, *arguments], stdin=subprocess.DEVNULL, stdout=output,
                                            stderr=subprocess.STDOUT, env=environment, cwd=program.folder,
                                            start_new_session=True)
        self.start = time.monotonic()

    def end(self):
        """Ends the program and all that it started on this side of Wine."""
        if self.process.poll() is None:
            try:
                os.killpg(self.process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        self.process.wait()

    def poll(self):
        """The outcome, or None while it runs."""
        seconds = time.monotonic() - self.start
        hung = self.process.poll() is None and seconds > self.limit
        if self.process.poll() is None and not hung:
            return None
        self.end()
        with open(self.log, errors="replace") as output:
            outcome = readOutput(output.read(), hung, self.limit, self.process.returncode)
        outcome.seconds = seconds
        return outcome

    def finish(self):
        while True:
            try:
                self.process.wait(timeout=max(0.05, self.limit - (time.monotonic() - self.start) + 0.05))
            except subprocess.TimeoutExpired:
                pass
            outcome = self.poll()
            if outcome:
                return outcome
