"""A copy of the tree in which bugs are planted, with a build and a Wine of its own."""
import os
import shutil
import signal
import subprocess
from dataclasses import replace
from pathlib import Path

from programs import Outcome, Program, Run, knownPrograms

ROOT = Path(__file__).resolve().parent.parent
# What is tested by scripts.
STEPS = {"cli": "tests/whole/tool/run", "run": "tests/whole/run/run", "readers": "tests/whole/readers/run"}
DLL = "KVEXA_LIB.dll"
LONGEST = 3600  # seconds for any suite, on however loaded a machine


def runQuietly(command, folder, environment=None):
    return subprocess.run(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, errors="replace",
                          env={**os.environ, **(environment or {})})


def require(command, folder, environment=None):
    result = runQuietly(command, folder, environment)
    if result.returncode != 0:
        raise SystemExit(f"error: {' '.join(map(str, command))} failed in {folder}:\n{result.stdout[-4000:]}")


def updateTree(source, target):
    """Copies what Git knows or would add; what is the same keeps its time, and so need not be built again."""
    listing = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=source, capture_output=True,
                             check=True, text=True).stdout
    names = {name for name in listing.split("\0") if name and (source / name).is_file()}
    for name in names:
        old, new = source / name, target / name
        if not new.is_file() or old.read_bytes() != new.read_bytes():
            new.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(old, new)
    for path in target.rglob("*"):
        relative = path.relative_to(target)
        if path.is_file() and relative.parts[0] != "build" and str(relative) not in names:
            path.unlink()


class Workshop:
    def __init__(self, number):
        self.number = number
        self.root = ROOT / "build/mutate" / str(number)
        self.windows = self.root / "build/windows"
        self.native = self.root / "build/native"
        self.logs = self.root / "build/log"
        # The debugger takes many seconds to tell of a crash that the missing end of the output tells as well.
        self.environment = {"WINEPREFIX": str(self.root / "build/wine"),
                            "WINEDLLOVERRIDES": "mscoree,mshtml=;winedbg.exe=d"}
        self.prepared = {}  # build folder: the times of what it holds
        self.running = None

    def prepare(self):
        self.logs.mkdir(parents=True, exist_ok=True)
        updateTree(ROOT, self.root)
        deps = self.root / "build/deps"
        if not deps.is_symlink():
            deps.symlink_to(ROOT / "build/deps")
        if not (self.windows / "build.ninja").is_file():
            require(["cmake", "--preset", "windows"], self.root)
        require(["cmake", "--build", "--preset", "windows", "--target", "KVEXA_LIB"], self.root)
        self.original = (self.windows / "bin" / DLL).read_bytes()
        if self.original != (ROOT / "build/windows/bin" / DLL).read_bytes():
            raise SystemExit(f"error: the DLL of {self.root} is not that of build/windows")
        for path in (ROOT / "build/windows/bin").iterdir():
            if path.name != DLL and path.is_file():
                link = self.windows / "bin" / path.name
                link.unlink(missing_ok=True)
                os.link(path, link)
        shutil.copytree(ROOT / "build/dist", self.root / "build/dist", dirs_exist_ok=True)
        self.startWine()
        self.keep(self.windows)

    def startWine(self):
        require(["bash", "-c", ". script/common.sh; mkdir -p build; startWine"], self.root, self.environment)

    def stopWine(self):
        subprocess.run(["wineserver", "--kill"], env={**os.environ, **self.environment}, check=False)

    def objects(self, build):
        for pattern in ("**/*.obj", "**/*.o", "**/*.a", f"bin/{DLL}"):
            yield from build.glob(pattern)

    def keep(self, build):
        """Keeps what was built of the sound sources, so that it need not be built again after each bug."""
        kept = build / "kept"
        shutil.rmtree(kept, ignore_errors=True)
        self.prepared[build] = {}
        for path in list(self.objects(build)):
            if "googletest" in path.parts or "CMakeFiles" in path.parts and "src" not in path.parts:
                continue
            copy = kept / path.relative_to(build)
            copy.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(path, copy)
            self.prepared[build][path] = path.stat().st_mtime_ns

    def restore(self):
        for build, times in self.prepared.items():
            for path, time in times.items():
                if not path.exists() or path.stat().st_mtime_ns != time:
                    shutil.copy2(build / "kept" / path.relative_to(build), path)

    def plant(self, mutant, source):
        """False when the bug does not compile. remove() ends it either way."""
        path = self.root / mutant.path
        self.time = path.stat()
        path.write_text(mutant.apply(source))
        return runQuietly(["ninja", "-C", str(self.windows), "KVEXA_LIB"], self.root).returncode == 0

    def remove(self, mutant, source):
        path = self.root / mutant.path
        path.write_text(source)
        os.utime(path, ns=(self.time.st_atime_ns, self.time.st_mtime_ns))
        self.restore()

    def changesNothing(self):
        return (self.windows / "bin" / DLL).read_bytes() == self.original

    # What is run: programs of the Windows build, steps, and programs of the native build.

    def suites(self):
        found = {}
        for program in knownPrograms(str(ROOT / "build/windows")):
            if program.name != "sim_tests":  # the only one that does not use the DLL
                found[program.name] = self.moved(program)
        for name, script in STEPS.items():
            found[name] = Program(name, ["bash", str(self.root / script), str(self.logs / f"{name}.xml")], {}, 900,
                                  str(self.root))
        for program in knownPrograms(str(ROOT / "build/native")):
            found[program.name] = self.moved(program)
        return found

    def moved(self, program):
        change = lambda text: text.replace(f"{ROOT}/build/", f"{self.root}/build/")
        return replace(program, command=[change(part) for part in program.command], folder=str(self.root))

    def run(self, program, workLimit, arguments=()):
        """The outcome of a suite. Steps tell theirs by the exit code."""
        if program.name in STEPS:
            shutil.copy(self.windows / "bin" / DLL, self.root / "build/dist/bin" / DLL)
        environment = {**self.environment, "GTEST_FAIL_FAST": "1"}
        run = self.running = Run(program, self.logs / f"{program.name}.log", arguments, environment, LONGEST, workLimit)
        outcome = run.finish()
        self.running = None
        if program.name in STEPS:
            output = Path(run.log).read_text(errors="replace")
            failed = [line.split(": ", 1)[1] for line in output.splitlines() if line.startswith("FAILED: ")]
            outcome = Outcome(failed=failed, seconds=outcome.seconds, work=outcome.work)
            if run.process.returncode != 0 and not failed:
                outcome.remark = f"ended with exit code {run.process.returncode}"
        if outcome.remark:  # whatever is left of it must not disturb the next one
            self.stopWine()
            self.startWine()
        return outcome

    def close(self):
        if self.running:
            self.running.end()
        self.stopWine()

    def buildNative(self):
        """The build under sanitizers, of the sources as they are now; slow for the first time only."""
        if not (self.native / "build.ninja").is_file():
            require(["cmake", "--preset", "native"], self.root)
        return runQuietly(["ninja", "-C", str(self.native)], self.root)
