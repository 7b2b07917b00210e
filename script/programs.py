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
    work: float = 0.0  # seconds of processor time

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


def workOf(session):
    """The processor time of all processes of a session, in seconds."""
    ticks = 0
    for entry in os.listdir("/proc"):
        if entry.isdigit():
            try:
                with open(f"/proc/{entry}/stat", errors="replace") as line:
                    fields = line.read().rsplit(")", 1)[1].split()
            except OSError:  # it has just ended
                continue
            if int(fields[3]) == session:
                ticks += sum(map(int, fields[11:15]))  # its own, and that of the children it waited for
    return ticks / os.sysconf("SC_CLK_TCK")


class Run:
    """A program that runs, with its output in a file, and a session of its own.

    Beside the limit in seconds, which a loaded machine makes meaningless, it may have one of processor time; then
    it also hangs when it has done nothing at all for IDLE seconds."""

    IDLE = 60
    LOOK = 2  # seconds between two looks at the processor time

    def __init__(self, program, log, arguments=(), environment=None, limit=None, workLimit=None):
        self.program, self.log, self.workLimit = program, log, workLimit
        self.limit = limit or program.limit
        self.work = 0.0
        environment = {**os.environ, **program.environment, **(environment or {})}
        with open(log, "wb") as output:
            self.process = subprocess.Popen([*program.command, *arguments], stdin=subprocess.DEVNULL, stdout=output,
                                            stderr=subprocess.STDOUT, env=environment, cwd=program.folder,
                                            start_new_session=True)
        self.start = self.looked = self.lastWork = time.monotonic()

    def hangs(self, now):
        if self.workLimit is None or now - self.looked < self.LOOK:
            return now - self.start > self.limit
        self.looked = now
        work = workOf(self.process.pid)
        if work > self.work:
            self.work, self.lastWork = work, now
        return work > self.workLimit or now - self.lastWork > self.IDLE or now - self.start > self.limit

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
        now = time.monotonic()
        hung = self.process.poll() is None and self.hangs(now)
        if self.process.poll() is None and not hung:
            return None
        self.end()
        with open(self.log, errors="replace") as output:
            outcome = readOutput(output.read(), hung, now - self.start, self.process.returncode)
        outcome.seconds, outcome.work = now - self.start, self.work
        return outcome

    def finish(self):
        while True:
            try:
                self.process.wait(timeout=0.5)
            except subprocess.TimeoutExpired:
                pass
            outcome = self.poll()
            if outcome:
                return outcome
