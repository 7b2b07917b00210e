"""Keeps the Windows test programs running, see script/soak.

    soak.py MINUTES

Every program takes part once in a round, so the slow ones have as many runs as the quick ones. The next round
begins when places become free, but no program runs twice at the same time.
"""
import ctypes
import os
import random
import signal
import subprocess
import sys
import time
from pathlib import Path

from programs import Run, knownPrograms

AT_A_TIME = 3
LOGS = Path("build/soak").resolve()
PARENT_DEATH_SIGNAL = 1  # prctl: ends a process when the one that started it is gone


def startBurner():
    def endWithParent():
        ctypes.CDLL(None).prctl(PARENT_DEATH_SIGNAL, signal.SIGKILL)

    return subprocess.Popen([sys.executable, "-c", "while True: pass"], preexec_fn=endWithParent)


class Soak:
    def __init__(self, minutes):
        self.start = time.monotonic()
        self.deadline = self.start + 60 * minutes
        self.programs = knownPrograms("build/windows")
        self.random = random.Random()
        self.running = []  # of (Run, seed, round)
        self.waiting = []  # of (program, round)
        self.rounds, self.left = 0, {}  # begun rounds; how many runs each still lacks
        self.usual = {}  # the longest time of each program so far
        self.runs = self.complete = self.failures = 0

    def beginRound(self):
        self.rounds += 1
        self.left[self.rounds] = len(self.programs)
        self.waiting += [(program, self.rounds) for program in self.random.sample(self.programs, len(self.programs))]

    def startNext(self):
        """False when nothing may be started now."""
        busy = {run.program.name for run, _, _ in self.running}
        if all(program.name in busy for program, _ in self.waiting):
            self.beginRound()
        for entry in self.waiting:
            program, number = entry
            if program.name not in busy and time.monotonic() + self.usual.get(program.name, 0) < self.deadline:
                self.waiting.remove(entry)
                self.startOne(program, number)
                return True
        return False

    def startOne(self, program, number):
        seed = self.random.randint(1, 99999)  # as many as GoogleTest knows
        log = LOGS / f"{number:04d}-{program.name}-{seed}.log"
        arguments = ["--gtest_shuffle", f"--gtest_random_seed={seed}"]
        self.running.append((Run(program, log, arguments), seed, number))

    def collect(self):
        for entry in list(self.running):
            run, seed, number = entry
            outcome = run.poll()
            if outcome is None:
                continue
            self.running.remove(entry)
            self.runs += 1
            name = run.program.name
            self.usual[name] = max(self.usual.get(name, 0), outcome.seconds)
            if outcome.isGood():
                os.remove(run.log)
            else:
                self.failures += 1
                cases = ", ".join(outcome.failed + [outcome.remark] * bool(outcome.remark))
                print(f"FAILED {name}, seed {seed}: {cases} (log: {os.path.relpath(run.log)})", flush=True)
            self.left[number] -= 1
            if self.left[number] == 0:
                self.complete += 1
                print(f"round {number}: all {len(self.programs)} programs, {self.failures} failures so far, "
                      f"after {(time.monotonic() - self.start) / 60:.1f} min", flush=True)

    def go(self):
        print(f"== Running {len(self.programs)} programs, {AT_A_TIME} at a time beside a processor burner, for "
              f"{(self.deadline - self.start) / 60:g} minutes", flush=True)
        for log in LOGS.glob("*.log"):
            log.unlink()
        burner = startBurner()
        try:
            while time.monotonic() < self.deadline:
                while len(self.running) < AT_A_TIME and self.startNext():
                    pass
                if not self.running:
                    break
                time.sleep(0.1)
                self.collect()
        finally:
            burner.kill()
            burner.wait()
            for run, _, _ in self.running:  # the time is up: these do not count
                run.end()
                os.remove(run.log)
            subprocess.run(["wineserver", "--kill"], check=False)
        print(f"{self.complete} rounds, {self.runs} runs, {self.failures} failures", flush=True)
        return 1 if self.failures or not self.runs else 0


def main():
    def interrupt(*_):
        raise KeyboardInterrupt

    signal.signal(signal.SIGTERM, interrupt)
    signal.signal(signal.SIGHUP, interrupt)
    soak = Soak(float(sys.argv[1]))
    try:
        return soak.go()
    except KeyboardInterrupt:
        print(f"\nstopped: {soak.complete} rounds, {soak.runs} runs, {soak.failures} failures", flush=True)
        return 130


if __name__ == "__main__":
    sys.exit(main())
