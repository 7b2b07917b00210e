"""Compares the bindings of a package with the names that its DLL exports.

    checkBindings.py PACKAGE_FOLDER FILE_WITH_EXPORTED_NAMES
"""
import ctypes
import re
import sys
from pathlib import Path

package = Path(sys.argv[1])
sys.path.insert(0, str(package / "bindings"))
sys.dont_write_bytecode = True
import kvexa  # noqa: E402

exported = set(Path(sys.argv[2]).read_text().split())
header = (package / "include" / "kvexa.h").read_text()
wrong = []


def expect(what, wanted, found):
    if wanted != found:
        wrong.append(f"{what}: {found} instead of {wanted}")


def argumentBytes(function):
    return sum(8 if kind is ctypes.c_double else 4 for kind in function.arguments)


expect("symbols of the Python package", exported, {function.symbol for function in kvexa.FUNCTIONS.values()})
for name, function in kvexa.FUNCTIONS.items():
    decorated = name if function.convention == "cdecl" else f"_{name}@{argumentBytes(function)}"
    expect(f"symbol of {name}", decorated, function.symbol)
    expect(f"argument names of {name}", len(function.arguments), len(function.names))

csharp = (package / "bindings" / "Kvexa.cs").read_text()
expect("entry points of Kvexa.cs", exported, set(re.findall(r'EntryPoint = "(.*?)"', csharp)))

# A name that the ANSI code page cannot hold must not become another file's.
named = re.findall(r"\[DllImport\((.*?)\)\]\s*public static extern [^;]*UnmanagedType\.LPStr", csharp)
expect("functions of Kvexa.cs with a file's name", sum(ctypes.c_char_p in function.arguments
                                                       for function in kvexa.FUNCTIONS.values()), len(named))
for declared in named:
    expect("mapping of " + declared, True, "BestFitMapping = false, ThrowOnUnmappableChar = true" in declared)

# The layouts that the header asserts; addresses have another size in this Python than in the DLL's programs.
layouts = re.findall(r"KVEXA_STATIC_ASSERT\((sizeof|offsetof)\((\w+)(?:, (\w+))?\) == (\d+)\)", header)
expect("layouts in the header", True, len(layouts) > 30)
for kind, record, field, number in layouts:
    structure = getattr(kvexa, record)
    if any(entry[1] is ctypes.c_void_p or hasattr(entry[1], "contents") for entry in structure._fields_):
        continue
    found = ctypes.sizeof(structure) if kind == "sizeof" else getattr(structure, field).offset
    expect(f"{kind} {record} {field}", int(number), found)

for name, value in re.findall(r"^  (KVEXA_\w+) = (-?\w+)", header, re.M):
    # A constant may be named by another one.
    wanted = int(value, 0) if value[0] in "-0123456789" else getattr(kvexa, value)
    expect(name, wanted, getattr(kvexa, name))
    if value.startswith("-") or value == "0" and name == "KVEXA_OK":
        expect(f"text of {name}", name, kvexa.RESULTS[int(value)].name)

print("\n".join(wrong))
sys.exit(bool(wrong))
