"""Plants bugs and looks who notices, see script/mutate.

    mutate.py COUNT SEED [PATH...]
"""
import re
import signal
import sys
import threading
import time
from collections import Counter
from pathlib import Path

from mutants import Source, draw
from workshop import ROOT, STEPS, Workshop

WORKERS = 2
WANTED = 0.97
TIMES = 3  # a program that takes so many times its usual processor time hangs
SHORTEST_LIMIT = 10.0  # seconds of processor time
SLOW_CASE = 0.5  # seconds; the quick cases of the likely programs come first

INTERFACE = {"include/kvexa.h"}  # what programs are compiled with, the tests as well: no code of the DLL
# The instruction sets: name, vocabulary, the features that the processor needs.
SETS = [(name, vocabulary + ".h", set(re.findall(r'"(.+?)"', needs))) for name, vocabulary, needs in
        re.findall(r"^INSTRUCTION_SET\((\w+), (\w+), (.+)\)$", (ROOT / "src/convert/vector/sets.inc").read_text(), re.M)]

CONVERSIONS = ["conversion_tests", "convert_tests"]
LIKELY = {  # by the longest beginning of a path; a name stands for all programs that begin with it
    "src/usb": ["usb_tests", "files_tests", "api_tests", "usb_stress_tests"],
    "src/pcie": ["pcie_tests", "api_tests", "files_tests"],
    "src/files": ["files_tests", "usb_tests", "pcie_tests", "readers"],
    "src/convert": CONVERSIONS,
    **{f"src/convert/vector/{file}": [*(f"conversion_tests_{name}" for name, its, _ in SETS if its == file), *CONVERSIONS]
       for _, file, _ in SETS},
    "src/convert/vector": ["conversion_tests_sse41", "conversion_tests_avx", *CONVERSIONS],
    "src/api": ["api_tests", "call_test", "usb_tests", "pcie_tests", "files_tests"],
    "src/api/ConversionExports.cpp": [*CONVERSIONS, "call_test"],
    "src/win32": ["api_tests", "usb_tests", "pcie_tests", "unload_test", "load_test"],
}
PURE = ("src/convert/", "src/files/", "src/usb/registers/RegisterPacket", "src/usb/registers/RegisterSettingPackets",
        "src/api/ConversionExports.cpp")  # what is compiled natively, too


def processorFeatures():
    for line in Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("flags"):
            return {flag.replace("sse4_", "sse4.") for flag in line.split(":", 1)[1].split()}
    return set()


def readSources(paths):
    features = processorFeatures()
    usable = {file for _, file, needed in SETS if needed <= features}
    missing = sorted({file for _, file, _ in SETS} - usable)
    if missing:
        print(f"== This processor lacks the instruction sets of {', '.join(missing)}: no bugs are drawn there")
    found = []
    for path in sorted((ROOT / "src").rglob("*")):
        name = str(path.relative_to(ROOT))
        if path.suffix in (".h", ".cpp") and name.startswith(paths) and name not in INTERFACE and path.name not in missing:
            found.append(Source(name, path.read_text()))
    if not found:
        raise SystemExit(f"error: there is no code in {' '.join(paths)}")
    return found


class Plan:
    """Who is asked for a bug, in which order, and for how long."""

    def __init__(self, names):
        self.names = names
        self.usual = dict.fromkeys(names, SHORTEST_LIMIT)
        self.slowCases = {name: [] for name in names}

    def learn(self, name, outcome, log):
        self.usual[name] = outcome.work
        for line in Path(log).read_text(errors="replace").splitlines():
            if line.startswith("[       OK ]") and line.rstrip().endswith(" ms)"):
                case, milliseconds = line[13:].split(" (")[0], int(line.rsplit("(", 1)[1].split()[0])
                if milliseconds > 1000 * SLOW_CASE:
                    self.slowCases[name].append(case.split(",")[0])

    def limit(self, name):
        return max(SHORTEST_LIMIT, TIMES * self.usual[name])

    def stages(self, path):
        """The runs for a bug in this file: (name, arguments), Windows first, and the native ones."""
        windows = [name for name in self.names if not name.startswith("native_")]
        longest = max((start for start in LIKELY if path.startswith(start)), key=len)
        likely = []
        for start in LIKELY[longest]:
            likely += [name for name in windows if name.startswith(start) and name not in likely]
        quick = [(name, ["--gtest_filter=-" + ":".join(self.slowCases[name])]) for name in likely
                 if self.slowCases[name]]
        others = sorted((name for name in windows if name not in likely), key=self.usual.get)
        likelyFirst = sorted(likely, key=lambda name: name in STEPS)
        native = [name for name in self.names if name.startswith("native_")] if path.startswith(PURE) else []
        return quick + [(name, []) for name in likelyFirst + others], native


class Result:
    def __init__(self, mutant, text):
        self.mutant, self.text = mutant, text
        self.state = "waiting"  # invalid, unchanged, caught, survived
        self.by = ""


class Engine:
    def __init__(self, count, seed, paths):
        self.count = count
        self.sources = {source.path: source for source in readSources(paths)}
        self.stream = draw(list(self.sources.values()), seed)
        self.results = []
        self.lock = threading.Lock()
        self.shops = [Workshop(number + 1) for number in range(WORKERS)]
        self.error = None
        self.start = time.monotonic()

    # What is taken is the beginning of one order, as long as it must be: so it does not depend on which of the
    # workers is quicker.
    def next(self):
        while True:
            with self.lock:
                valid = [one for one in self.results if one.state != "invalid"]
                if self.error or len(valid) >= self.count and all(one.state != "waiting" for one in valid):
                    return None
                if len(valid) < self.count:
                    mutant = next(self.stream, None)
                    if mutant is None:
                        return None
                    result = Result(mutant, self.sources[mutant.path].text)
                    self.results.append(result)
                    return result
            time.sleep(0.2)

    def inParallel(self, work):
        def guarded(shop):
            try:
                work(shop)
            except BaseException as error:  # tells the other worker, too
                self.error = self.error or error

        threads = [threading.Thread(target=guarded, args=(shop,), daemon=True) for shop in self.shops]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        if self.error:
            raise self.error

    def learnUsualTimes(self):
        """Every suite once, on sound sources, with the load that it will have later."""
        self.plan = Plan(list(self.shops[0].suites()))
        waiting = sorted(self.plan.names, key=lambda name: name.startswith("native_"))

        def work(shop):
            suites = shop.suites()
            while True:
                with self.lock:
                    if not waiting:
                        return
                    name = waiting.pop(0)
                program = suites[name]
                if name.startswith("native_"):  # the copies have no native build yet
                    program.command = [part.replace(str(shop.root), str(ROOT)) for part in program.command]
                outcome = shop.run(program, 3600)
                if not outcome.isGood():  # by chance? The bugs have this second time, too
                    outcome = shop.run(program, 3600)
                if not outcome.isGood():
                    raise SystemExit(f"error: {name} fails without a bug: {outcome.failed} {outcome.remark}")
                self.plan.learn(name, outcome, shop.logs / f"{name}.log")

        self.inParallel(work)

    def judge(self, shop, suites, result):
        """Sets the state of a bug that is planted."""
        windows, native = self.plan.stages(result.mutant.path)
        for name, arguments in windows:
            if self.isCaughtBy(shop, suites[name], arguments, result):
                return
        if native:
            built = shop.buildNative()
            if built.returncode != 0:
                result.state, result.by = "caught", "the native compiler"
                return
            for name in native:
                if self.isCaughtBy(shop, suites[name], [], result):
                    return
        result.state = "survived"

    def isCaughtBy(self, shop, program, arguments, result):
        """Whether a suite fails, and again: the failing case by itself, or else the whole suite once more. What
        fails once by chance, under whatever load there is, does not count."""
        limit = self.plan.limit(program.name)
        outcome = shop.run(program, limit, arguments)
        if outcome.isGood():
            return False
        why = (outcome.failed or [outcome.remark])[0]
        case = outcome.failed[0] if outcome.failed else outcome.remark.rpartition(" in ")[2]
        alone = [f"--gtest_filter={case}"] if "." in case and program.name not in STEPS else None
        if (alone is None or shop.run(program, limit, alone).isGood()) and shop.run(program, limit, arguments).isGood():
            with self.lock:
                print(f"   once only: {program.name} {why}", flush=True)
            return False
        result.state, result.by = "caught", f"{program.name} {why}"
        return True

    def work(self, shop):
        suites = shop.suites()
        while (result := self.next()) is not None:
            begin = time.monotonic()
            compiles = shop.plant(result.mutant, result.text)
            try:
                if not compiles:
                    result.state = "invalid"
                    continue
                if shop.changesNothing():
                    result.state = "unchanged"
                else:
                    self.judge(shop, suites, result)
            finally:
                shop.remove(result.mutant, result.text)
            self.tell(result, time.monotonic() - begin)

    def tell(self, result, seconds):
        with self.lock:
            done = sum(one.state not in ("waiting", "invalid") for one in self.results)
            by = f" by {result.by}" if result.by else ""
            print(f"{done}/{self.count} {(time.monotonic() - self.start) / 60:.1f} min: {result.state}{by} "
                  f"[{seconds:.0f} s] {result.mutant.describe(result.text)}", flush=True)

    def go(self):
        print("== Preparing two copies of the tree, with builds and Wines of their own", flush=True)
        self.inParallel(Workshop.prepare)
        print("== Learning how long the tests take", flush=True)
        self.learnUsualTimes()
        print(f"== Planting {self.count} bugs", flush=True)
        self.inParallel(self.work)
        return self.report()

    def report(self):
        states = {"caught": Counter(), "survived": Counter(), "unchanged": Counter()}
        for one in self.results:
            if one.state in states:
                states[one.state][one.mutant.path.split("/")[1]] += 1
        folders = sorted(set().union(*states.values()))
        print(f"\n{'folder':10} {'caught':>8} {'survived':>9} {'changes nothing':>16}")
        for folder in folders:
            print(f"{folder:10} {states['caught'][folder]:8} {states['survived'][folder]:9} "
                  f"{states['unchanged'][folder]:16}")
        survivors = [one for one in self.results if one.state == "survived"]
        if survivors:
            print("\nSurvivors:")
            for one in sorted(survivors, key=lambda one: (one.mutant.path, one.mutant.line)):
                print("  " + one.mutant.describe(one.text))
        invalid = sum(one.state == "invalid" for one in self.results)
        caught, changed = sum(states["caught"].values()), sum(states["caught"].values()) + len(survivors)
        share = caught / changed if changed else 1.0
        print(f"\n{caught} of {changed} bugs caught ({100 * share:.1f} %), {sum(states['unchanged'].values())} more "
              f"changed nothing, {invalid} did not compile; {(time.monotonic() - self.start) / 60:.0f} min")
        return 0 if share >= WANTED else 1


def main():
    def interrupt(*_):
        raise KeyboardInterrupt

    signal.signal(signal.SIGTERM, interrupt)
    signal.signal(signal.SIGHUP, interrupt)
    count, seed, *paths = sys.argv[1:]
    engine = Engine(int(count), int(seed), tuple(paths or ["src/"]))
    try:
        return engine.go()
    except KeyboardInterrupt:
        print("stopped")
        return 130
    finally:
        engine.error = engine.error or KeyboardInterrupt()
        for shop in engine.shops:
            shop.close()


if __name__ == "__main__":
    sys.exit(main())
