"""Writes pages of the documentation: the index of functions, and the result codes."""


def firstSentence(text):
    """What a function does, without its arguments and results."""
    prose = []
    for line in text.split("\n"):
        if not line or line.startswith("  ") or line.startswith("KVEXA_"):
            break
        prose.append(line)
    joined = " ".join(prose)
    end = min((joined.find(mark) for mark in (". ", ": ") if mark in joined), default=len(joined))
    return joined[:end].rstrip(".:") + "."


def writeFunctions(interface):
    text = "# Functions {#exports}\n\nEvery function of KVEXA_LIB.dll with the name under which the DLL exports it. "
    text += "The whole text of each one stands in kvexa.h.\n"
    section = None
    for function in interface.functions:
        if function.section != section:
            section = function.section
            text += f"\n## {section}\n\n| function | exported as | what it does |\n|---|---|---|\n"
        text += f"| {function.name}() | `{function.decorated}` | {firstSentence(function.text)} |\n"
    return text


def writeResults(interface):
    text = "# Result codes and what to do {#codes}\n\n"
    text += "A number that is not here is several codes in one, by bitwise OR (kVexaSetCapParam(), kVexaAbortCapture()), "
    text += "or a value of the function's own.\n\n| code | name | what it means | what to do |\n|---|---|---|---|\n"
    for result in interface.results:
        text += f"| {result.value} | {result.name} | {result.text} | {result.advice} |\n"
    return text
