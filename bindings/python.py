"""Writes _native.py and _simulation_native.py, the generated parts of the Python package."""
import textwrap

SCALARS = {"int32_t": "c_int32", "uint32_t": "c_uint32", "uint16_t": "c_uint16", "uint8_t": "c_uint8",
           "uint64_t": "c_uint64", "double": "c_double"}
SPECIAL = {"const char*": "c_char_p", "char*": "c_char_p", "void*": "c_void_p", "const void*": "c_void_p",
           "void* const*": "POINTER(c_void_p)"}

HEAD = '''"""Constants, records, functions and result codes of KVEXA_LIB.dll. Generated from kvexa.h {version}; do not edit."""
from collections import namedtuple
from ctypes import POINTER, Structure, c_char_p, c_double, c_int32, c_uint8, c_uint16, c_uint32, c_void_p

__version__ = "{version}"

'''


SIMULATION_HEAD = '''"""Constants and functions of kvexa_sim.dll. Generated from kvexa_sim.h {version}; do not edit."""
from ctypes import POINTER, c_char_p, c_int32, c_uint32, c_uint64

from ._native import Function

'''


def kindOf(type, records):
    if type in SPECIAL:
        return SPECIAL[type]
    bare = type.replace("const ", "").replace("*", "").strip()
    named = SCALARS.get(bare) or (bare if bare in records else None)
    if named is None:
        raise ValueError(f"no Python type for {type}")
    return f"POINTER({named})" if type.endswith("*") else named


def comment(text):
    return "".join(f"# {line}\n" if line else "#\n" for line in text.split("\n")) if text else ""


def writeConstants(enums):
    text = ""
    for enum in enums:
        text += "\n" + comment(enum.text or enum.name)
        for constant in enum.constants:
            text += f"{constant.name} = {constant.value}" + (f"  # {constant.text}\n" if constant.text else "\n")
    return text


def writeRecords(records):
    names = {record.name for record in records}
    text = ""
    for record in records:
        text += f"\n\nclass {record.name}(Structure):\n"
        if record.text:
            text += textwrap.indent(f'"""{record.text}"""', "    ") + "\n\n"
        text += "    _fields_ = [\n"
        for field in record.fields:
            kind = kindOf(field.type, names) + (f" * {field.count}" if field.count else "")
            text += f'        ("{field.name}", {kind}),\n'
        text += "    ]\n"
    return text


FUNCTION = "\n\nFunction = namedtuple(\"Function\", \"symbol convention result arguments names text\")\n"


def writeFunctions(functions, records):
    names = {record.name for record in records}
    texts = list(dict.fromkeys(function.text for function in functions))
    text = "\n_TEXTS = (\n" + "".join(f"    {entry!r},\n" for entry in texts) + ")\n"
    text += "\n# Every function: exported name, calling convention, types, argument names, text of the header.\nFUNCTIONS = {\n"
    for function in functions:
        kinds = "".join(kindOf(argument.type, names) + ", " for argument in function.arguments)
        arguments = "".join(f'"{argument.name}", ' for argument in function.arguments)
        text += (f'    "{function.name}": Function(\n'
                 f'        "{function.decorated}", "{function.convention.lower()}", {SCALARS[function.result]},\n'
                 f"        ({kinds.strip()}),\n        ({arguments.strip()}),\n"
                 f"        _TEXTS[{texts.index(function.text)}]),\n")
    return text + "}\n"


def writeResults(results):
    text = "\nResult = namedtuple(\"Result\", \"name text advice\")\n\n# What each code means, and what to do.\nRESULTS = {\n"
    for result in results:
        text += f"    {result.value}: Result({result.name!r}, {result.text!r},\n        {result.advice!r}),\n"
    return text + "}\n"


def write(interface):
    return (HEAD.format(version=interface.version) + writeConstants(interface.enums).lstrip("\n") +
            writeRecords(interface.records) + FUNCTION + writeFunctions(interface.functions, interface.records) +
            writeResults(interface.results))


def writeSimulation(interface):
    names = "".join(f'    {constant.value}: "{constant.name}",\n' for constant in interface.results)
    return (SIMULATION_HEAD.format(version=interface.version) + writeConstants(interface.enums).lstrip("\n") +
            writeFunctions(interface.functions, []) + "\n# The names of the codes.\nRESULTS = {\n" + names + "}\n")
