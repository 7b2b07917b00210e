"""Runs the cases of the modules beside this file, and writes what became of them.

    main.py BUILD RESULTS [CASES]
"""
import os
import sys
import traceback
from pathlib import Path
from xml.sax.saxutils import escape, quoteattr

import bench
import boardCases
import clientCases
import endingCases
import hostileCases
import interfaceCases
import longCases
import mistakeCases
import wheelCases

MODULES = [interfaceCases, mistakeCases, wheelCases, hostileCases, boardCases, endingCases, clientCases]
if os.environ.get("KVEXA_LONG_TESTS"):
    MODULES.append(longCases)


def cases():
    for module in MODULES:
        for name, function in vars(module).items():
            if name.startswith("case") and callable(function):
                yield name[4:], function
    yield "EveryOperationWasCalledAndNoneIsMissing", everyOperationWasCalled


def everyOperationWasCalled():
    """Last: what the other cases did not ask is missing here."""
    contract = bench.contract()
    assert contract.operations() == bench.routes(), contract.operations() ^ bench.routes()
    missing = contract.operations() - contract.called
    assert not missing, f"never called with success: {sorted(missing)}"


def main():
    bench.prepare(Path(sys.argv[1]))
    results, wanted = Path(sys.argv[2]), sys.argv[3:]
    results.parent.mkdir(parents=True, exist_ok=True)
    lines, failed, count = ["<testsuites>"], 0, 0
    for name, function in cases():
        if wanted and name not in wanted:
            continue
        count += 1
        try:
            function()
            lines.append(f'<testcase name={quoteattr(name)} classname="serve"/>')
        except Exception:  # whatever went wrong, the other cases run
            failed += 1
            report = traceback.format_exc()
            print(f"FAILED: {name}\n{report}", file=sys.stderr)
            lines.append(f'<testcase name={quoteattr(name)} classname="serve">\n'
                         f"<failure message=\"failed\">{escape(report)}</failure>\n</testcase>")
        finally:
            bench.endServers()
    lines.append("</testsuites>")
    results.write_text("\n".join(lines) + "\n")
    print(f"kvexa serve: {count} cases, {failed} failed")
    sys.exit(failed != 0)


main()
