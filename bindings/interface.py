"""Reads the interfaces of the two libraries: of KVEXA_LIB.dll kvexa.h, the export table and the table of result
codes; of kvexa_sim.dll kvexa_sim.h and its export table.

The header is the one description of every function and record, the table the one list of exports; where
they differ the reading fails, so a binding that was generated fits both.
"""
import re
from collections import namedtuple
from pathlib import Path

Constant = namedtuple("Constant", "name value text")
Enum = namedtuple("Enum", "name constants text")
Field = namedtuple("Field", "type name count")  # count 0: no array
Record = namedtuple("Record", "name fields text")
Argument = namedtuple("Argument", "type name")  # type as in C, without the name
Function = namedtuple("Function", "name result arguments text section convention words decorated")
Result = namedtuple("Result", "name value text advice")

WORDS = {"double": 2, "uint64_t": 2}  # every other argument is one word of 32 bits


class InterfaceError(Exception):
    pass


def _paragraphs(comment):
    """A comment's text without its stars."""
    lines = comment.strip()[2:-2].split("\n")
    stripped = [re.sub(r"^ ?\* ?", "", line).rstrip() if i else line.strip() for i, line in enumerate(lines)]
    return "\n".join(stripped).strip("\n")


def _number(text, constants):
    text = text.strip()
    return int(text, 0) if re.match(r"^-?(0x)?[0-9A-Fa-f]+$", text) else constants[text]


def _readEnums(header):
    enums, values = [], {}
    pattern = r"((?:/\*(?:(?!\*/).)*\*/\n)?)(?:typedef )?enum (\w*) ?\{(.*?)\}(?: \2)?;"
    for match in re.finditer(pattern, header, re.S):
        constants = []
        for entry in re.finditer(r"(KVEXA_\w+) = ([-\w]+),?(?: */\* (.*?) \*/)?", match[3]):
            value = _number(entry[2], values)
            values[entry[1]] = value
            constants.append(Constant(entry[1], value, entry[3] or ""))
        enums.append(Enum(match[2], constants, _paragraphs(match[1]) if match[1] else ""))
    return enums


def _readRecords(header):
    records = []
    pattern = r"((?:/\*(?:(?!\*/).)*\*/\n)?)typedef struct (\w+) \{(.*?)\} \2;"
    for match in re.finditer(pattern, header, re.S):
        body = re.sub(r"/\*.*?\*/", "", match[3], flags=re.S)
        fields = []
        for entry in filter(None, (part.strip() for part in body.split(";"))):
            found = re.match(r"^((?:const )?\w+\s*\**)\s*(\w+)(?:\[(\d+)\])?$", entry)
            if not found:
                raise InterfaceError(f"{match[2]} has a field that is none: {entry}")
            fields.append(Field(found[1].replace(" *", "*").strip(), found[2], int(found[3] or 0)))
        records.append(Record(match[2], fields, _paragraphs(match[1]) if match[1] else ""))
    return records


def _readArguments(text):
    if text.strip() == "void":
        return []
    arguments = []
    for part in text.split(","):
        found = re.match(r"^(.*?)(\w+)$", " ".join(part.split()))
        kind = found[1].strip().replace(" *", "*")
        arguments.append(Argument(kind, found[2]))
    return arguments


def _readSimulationTable(table):
    found = re.findall(r"^EXPORT\((\w+), (\d+)\)", table, re.M)
    return {name: ("STDCALL", int(words)) for name, words in found}


def _readTable(table):
    entries = {}
    for match in re.finditer(r"^EXPORT(_ALIAS)?\((\w+), (\w+), (\d+)\)", table, re.M):
        convention = "STDCALL" if match[1] else match[3]
        entries[match[2]] = (convention, int(match[4]))
    return entries


# How a function stands in kvexa.h.
DECLARATION = (r"KVEXA_API (?P<result>\w+) (?P<convention>KVEXA_CALL(?:_CDECL)?) (?P<name>\w+)"
               r"\((?P<arguments>.*?)\);")


def _readDeclarations(header, declaration):
    """Every declaration as a match, with the section in which it stands and its text."""
    section, text = "", ""
    token = r"/\* ---- (?P<section>.*?) -+ \*/|(?P<comment>/\*(?:(?!\*/).)*\*/)|" + declaration
    for match in re.finditer(token, header, re.S):
        if match["section"]:
            section = match["section"]
        elif match["comment"]:
            text = _paragraphs(match["comment"])
        else:
            yield match, section, text


def _checkedArguments(match, table):
    """The arguments of a declaration, which must be as many words as the table says."""
    name = match["name"]
    if name not in table:
        raise InterfaceError(f"{name} stands in the header, but is not exported")
    arguments, words = _readArguments(match["arguments"]), table[name][1]
    counted = sum(WORDS.get(argument.type, 1) for argument in arguments)
    if counted != words:
        raise InterfaceError(f"{name} has {counted} argument words in the header, {words} in the table")
    return arguments, words


def _checkAllDeclared(functions, table):
    undeclared = table.keys() - {function.name for function in functions}
    if undeclared:
        raise InterfaceError(f"exported, but not in the header: {', '.join(sorted(undeclared))}")


def _readFunctions(header, table):
    functions = []
    for match, section, text in _readDeclarations(header, DECLARATION):
        name = match["name"]
        arguments, words = _checkedArguments(match, table)
        convention = table[name][0]
        if (match["convention"] == "KVEXA_CALL_CDECL") != (convention == "CDECL"):
            raise InterfaceError(f"{name} has another calling convention in the header than in the table")
        decorated = name if convention == "CDECL" else f"_{name}@{4 * words}"
        functions.append(Function(name, match["result"], arguments, text, section, convention, words, decorated))
    _checkAllDeclared(functions, table)
    return functions


# How a function stands in kvexa_sim.h.
SIMULATION_DECLARATION = (r"KVEXA_SIM_EXPORT\((?P<result>\w+)\)\s+(?P<name>\w+)"
                          r"\((?P<arguments>[^;]*?)\) KVEXA_SIM_NOEXCEPT;")


def _readSimulationFunctions(header, table):
    functions = []
    for match, section, text in _readDeclarations(header, SIMULATION_DECLARATION):
        arguments, words = _checkedArguments(match, table)
        name = match["name"]
        functions.append(Function(name, match["result"], arguments, text, section, "STDCALL", words, name))
    _checkAllDeclared(functions, table)
    return functions


def _readResults(text, enums):
    results = []
    for match in re.finditer(r'^KVEXA_RESULT\((\w+), (-?\d+), "(.*?)", "(.*?)"\)$', text, re.M):
        results.append(Result(match[1], int(match[2]), match[3], match[4]))
    codes = next(enum for enum in enums if enum.name == "KvexaResult")
    if [(r.name, r.value) for r in results] != [(c.name, c.value) for c in codes.constants]:
        raise InterfaceError("kvexa_results.inc and the enumeration KvexaResult differ")
    return results


class Interface:
    """Everything that a binding to KVEXA_LIB.dll needs, in the header's order."""

    def __init__(self, headerFolder, exportTable):
        folder = Path(headerFolder)
        header = (folder / "kvexa.h").read_text()
        self.version = ".".join(
            re.search(rf"#define KVEXA_VERSION_{part} (\d+)", header)[1] for part in ("MAJOR", "MINOR", "PATCH"))
        self.enums = _readEnums(header)
        self.records = _readRecords(header)
        self.functions = _readFunctions(header, _readTable(Path(exportTable).read_text()))
        self.results = _readResults((folder / "kvexa_results.inc").read_text(), self.enums)


class SimulationInterface:
    """The same of kvexa_sim.dll, which has the version of the other one and no records."""

    def __init__(self, headerFolder, exportTable, version):
        header = (Path(headerFolder) / "kvexa_sim.h").read_text()
        self.version = version
        self.enums = _readEnums(header)
        self.functions = _readSimulationFunctions(header, _readSimulationTable(Path(exportTable).read_text()))
        self.results = next(enum for enum in self.enums if enum.name == "KvexaSimResult").constants
