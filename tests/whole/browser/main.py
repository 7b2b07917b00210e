"""Runs the cases, and writes their results.

    main.py BUILD RESULTS [CASES]
    main.py BUILD --pictures FOLDER [WORDS]
"""
import shutil
import sys
import traceback
from pathlib import Path
from xml.sax.saxutils import quoteattr

import benchCases  # noqa: F401 (each of these adds its cases)
import fileCases  # noqa: F401
import keyboardCases  # noqa: F401
import linkCases  # noqa: F401
import lookCases  # noqa: F401
import pictureCases  # noqa: F401
import registerCases  # noqa: F401
import tabCases  # noqa: F401
from bench import CASES, Bench
from chromium import Chromium
from pictures import takePictures


def run(function, browser, folder):
    """Why the case failed, or nothing."""
    bench = Bench(browser, folder)
    try:
        function(bench)
        bench.check()
        return ""
    except Exception as error:  # pylint: disable=broad-except
        traceback.print_exc()
        for i, tab in enumerate(bench.tabs):
            print(f"tab {i}: {tab.problems}", file=sys.stderr)
            try:
                tab.screenshot(folder / f"tab{i}.png")
            except Exception:  # pylint: disable=broad-except
                pass
        return f"{type(error).__name__}: {error}"[:500]
    finally:
        bench.close()


def main(build, results, names):
    work = Path(build) / "browser-test"
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    if results == "--pictures":
        with Chromium(work) as browser:
            takePictures(browser, work, Path(names[0]), names[1:])
        return 0
    unknown = set(names) - {function.__name__ for function in CASES}
    if unknown:
        print(f"there is no case {', '.join(sorted(unknown))}; there are: {' '.join(f.__name__ for f in CASES)}", file=sys.stderr)
        return 2
    lines, failed = [], 0
    chosen = [function for function in CASES if not names or function.__name__ in names]
    with Chromium(work) as browser:
        for function in chosen:
            name = function.__name__
            why = run(function, browser, work / name)
            failed += bool(why)
            if why:
                print(f"FAILED: {name}: {why}", file=sys.stderr)
            lines.append(f'<testcase name="{name}" classname="browser">\n<failure message={quoteattr(why)}/>\n</testcase>' if why else
                         f'<testcase name="{name}" classname="browser"/>')
    Path(results).parent.mkdir(parents=True, exist_ok=True)
    Path(results).write_text("<testsuites>\n" + "\n".join(lines) + "\n</testsuites>\n")
    print(f"the page of kvexa serve: {len(chosen)} cases, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2], sys.argv[3:]))
