#!/usr/bin/env python3
"""What script/bench measured: as tables and plots in the documentation, and against an earlier run.

    report.py write FOLDER PAGE PICTURES    the results of a folder into the page and its pictures; prints the tables
    report.py compare FOLDER OLD            names what became slower than in OLD, a results.json; 1 when anything did
    report.py suspects FOLDER OLD           the names alone of conversions that seem slower, a line each

FOLDER holds what the programs printed, measured.txt and others; results.json is written there.
"""
import json
import re
import statistics
import sys
from pathlib import Path

from plots import plot

FOREIGN = {"copy", "peak", "OpenCV", "libyuv"}  # what no change of the library makes slower
LEAST_NOTICED = 0.05  # of a conversion's time
LEAST_NOTICED_CALL = 0.5  # of a call's: they are short, and Wine's share of them changes
PLOTTED = ["Raw8 to RGB888", "Raw8 through kernels to RGB888, colour correction", "YUYV integer studio to RGB888",
           "YUYV matrix to RGB888"]


def processor():
    text = Path("/proc/cpuinfo").read_text()
    name = re.search(r"^model name\s*:\s*(.*)$", text, re.MULTILINE)
    return {"name": name.group(1).strip() if name else "an unnamed processor",
            "avx512": bool(re.search(r"\bavx512bw\b", text))}


def lines(folder, name):
    path = folder / name
    return [line.split("|") for line in path.read_text().split("\n") if line] if path.exists() else []


def collect(folder):
    """Everything that was measured: lists of seconds by conversion, frame and who; the other files by name."""
    times = {}
    for job, frame, who, seconds in lines(folder, "measured.txt"):
        times.setdefault(job, {}).setdefault(frame, {}).setdefault(who, []).append(float(seconds))
    calls = {}
    for what, boards, unit, value in lines(folder, "calls.txt"):
        calls.setdefault(f"{what}|{boards}|{unit}", []).append(float(value))
    results = {"format": 1, "processor": processor(), "conversions": times, "calls": calls}
    for name in ("loads", "boards", "frames", "starting", "statistics", "files", "recordings", "recording"):
        results[name] = lines(folder, name + ".txt")
    (folder / "results.json").write_text(json.dumps(results, indent=1) + "\n")
    return results


# ---- tables ----

def ratio(a, b):
    return f"{min(a) / min(b):.2f}" if a and b else ""


def table(heading, rows):
    written = ["| " + " | ".join(row) + " |" for row in [heading] + rows]
    return "\n".join([written[0], "|" + "---|" * len(heading)] + written[1:])


def conversionTable(results, sets):
    rows = []
    for job, frames in results["conversions"].items():
        for frame, times in frames.items():
            if "scalar" not in times or frame not in ("640x480", "1920x1080", "4208x3120"):
                continue
            own = [times[name] for name in ["scalar"] + sets if name in times]
            best = min(own, key=min)
            rows.append((frame, [job, frame] + [ratio(times["scalar"], times.get(name)) for name in sets] +
                         [ratio(times.get(name), best) for name in ("copy", "peak", "OpenCV", "libyuv", "compiler")]))
    order = ["640x480", "1920x1080", "4208x3120"]
    rows.sort(key=lambda row: order.index(row[0]))
    heading = ["conversion", "frame"] + sets + ["of copying", "of the peak", "over OpenCV", "over libyuv",
                                                "over the compiler"]
    return table(heading, [row for _, row in rows])


def callTable(results):
    rows = []
    for key, values in results["calls"].items():
        what, boards, _ = key.split("|")
        rows.append([what, boards, f"{min(values):.1f}"])
    return table(["the library's own time", "boards", "microseconds"], rows)


def sections(results, sets):
    kind = "avx512" if results["processor"]["avx512"] else "avx2"
    loads = sorted(results["loads"], key=lambda load: float(load[0]))
    median = loads[len(loads) // 2]
    one, four, times = results["boards"][0]
    usb, usbAll, pcie, pcieAll = results["recording"][0]
    written = {
        "table" + kind: f"On {results['processor']['name']}:\n\n" + conversionTable(results, sets),
        "loading": f"Loading the DLL takes {median[0]} ms (median of {len(loads)} processes under Wine) and adds "
                   f"{median[1]} MiB.",
        "boards": table(["boards", "ms", "of one board"], [["1", one, ""], ["4", four, times]]),
        "frames": table(["1280 x 960", "ms a frame", "frames a second"], results["frames"]),
        "starting": f"`kvexa run` adds {results['starting'][0][0]} ms to the start of a program (best of ten under Wine).",
        "statistics": f"Statistics of a frame of 4208 x 3120 samples take {results['statistics'][0][0]} ms on one core.",
        "files": table(["the library, read and written, ms a frame", "kvexa convert, ms a frame", "ratio"],
                       results["files"]),
        "recordings": table(["a million requests", "s of a processor", "of reading the lines"], results["recordings"]),
        "recording": f"Recording adds {usb} us to a request of a USB board and {pcie} us to one of a PCIe board, and takes "
                     f"{usbAll} and {pcieAll} us of all processors.",
        "calls": callTable(results),
    }
    return written


def writePage(page, written):
    out = []
    inside = False
    for line in page.read_text().split("\n"):
        begin = re.fullmatch(r"<!-- ([a-z0-9]+) -->", line)
        if begin and begin.group(1) in written:
            out += [line, "", written[begin.group(1)], ""]
            inside = True
        elif re.fullmatch(r"<!-- end of [a-z0-9]+ -->", line):
            inside = False
        if not inside:
            out.append(line)
    page.write_text("\n".join(out))


def pixels(frame):
    width, height = frame.split("x")
    return int(width) * int(height)


def writePlots(results, sets, pictures):
    for job in PLOTTED:
        frames = sorted(results["conversions"].get(job, {}).items(), key=lambda entry: pixels(entry[0]))
        series = {}
        for name in sets + ["copy"]:
            points = [(pixels(frame), min(times[name]) / pixels(frame) * 1e9) for frame, times in frames if name in times]
            if points:
                series[name] = points
        name = re.sub(r"[^a-z0-9]+", "-", job.lower())
        (pictures / f"speed-{name}.svg").write_text(plot(job, "pixels of the frame", "ns a pixel", series))


def write(folder, page, pictures):
    sets = re.findall(r"^INSTRUCTION_SET\((\w+),", Path("src/convert/vector/sets.inc").read_text(), re.MULTILINE)
    results = collect(folder)
    written = sections(results, sets)
    writePage(page, written)
    writePlots(results, sets, pictures)
    print("\n\n".join(written.values()))
    return 0


# ---- comparison ----

def slowerThan(new, old, factor):
    """By how much the best time is worse than what the noise of both runs explains; 0 or less when it is not."""
    noise = sum(statistics.median(times) / min(times) - 1 for times in (new, old) if len(times) > 1) / 2
    return min(new) / min(old) / factor - 1 - max(LEAST_NOTICED, min(noise, 0.5))


def pairs(new, old):
    for job, frames in new["conversions"].items():
        for frame, times in frames.items():
            for who, values in times.items():
                before = old["conversions"].get(job, {}).get(frame, {}).get(who)
                if before:
                    yield job, frame, who, values, before


def machineFactor(new, old):
    """How much slower the machine is in this run, by the code that is not the library's."""
    ratios = [min(values) / min(before) for _, _, who, values, before in pairs(new, old) if who in FOREIGN]
    return statistics.median(ratios) if ratios else 1.0


def regressions(new, old):
    factor = machineFactor(new, old)
    for job, frame, who, values, before in pairs(new, old):
        if who not in FOREIGN | {"compiler"} and slowerThan(values, before, factor) > 0:
            yield f"{job}, {frame}, {who}", job, min(values) / min(before) / factor
    for key, values in new["calls"].items():
        before = old["calls"].get(key)
        if before and min(values) / min(before) / factor > 1 + LEAST_NOTICED_CALL:
            yield key.replace("|", ", ", 1).split("|")[0] + " board(s)", None, min(values) / min(before) / factor


def readOld(path):
    try:
        old = json.loads(Path(path).read_text())
        if old["format"] != 1:
            raise ValueError(f"has format {old['format']}, not 1")
        return old
    except (OSError, ValueError, KeyError, TypeError) as problem:
        sys.exit(f"error: {path}: is no results.json of script/bench ({problem})")


def compare(folder, old):
    new = collect(folder)
    found = list(regressions(new, readOld(old)))
    for what, _, times in found:
        print(f"slower: {what}: {times:.2f} times the time of before")
    compared = sum(1 for _ in pairs(new, readOld(old)))
    print(f"{compared} measurements compared, {len(found)} slower")
    return 1 if found or not compared else 0


def suspects(folder, old):
    for job in dict.fromkeys(job for _, job, _ in regressions(collect(folder), readOld(old)) if job):
        print(job)
    return 0


def main():
    match sys.argv[1:]:
        case ["write", folder, page, pictures]:
            return write(Path(folder), Path(page), Path(pictures))
        case ["compare", folder, old]:
            return compare(Path(folder), old)
        case ["suspects", folder, old]:
            return suspects(Path(folder), old)
    sys.exit(__doc__)


if __name__ == "__main__":
    sys.exit(main())
