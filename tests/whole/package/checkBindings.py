"""Compares the bindings of a package with the names that its DLLs export.

    checkBindings.py PACKAGE_FOLDER FILE_WITH_EXPORTED_NAMES FILE_WITH_THOSE_OF_THE_SIMULATION
"""
import ctypes
import re
import sys
from pathlib import Path

package = Path(sys.argv[1])
sys.path.insert(0, str(package / "bindings"))
sys.dont_write_bytecode = True
import kvexa  # noqa: E402
from kvexa import _simulation_native as simulation  # noqa: E402

exported, simulationExported = (set(Path(name).read_text().split()) for name in sys.argv[2:])
header = (package / "include" / "kvexa.h").read_text()
wrong = []


def expect(what, wanted, found):
    if wanted != found:
        wrong.append(f"{what}: {found} instead of {wanted}")


def argumentBytes(function):
    return sum(8 if kind in (ctypes.c_double, ctypes.c_uint64) else 4 for kind in function.arguments)


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
    number = getattr(kvexa, value) if value.startswith("KVEXA_") else int(value, 0)
    expect(name, number, getattr(kvexa, name))
    if value.startswith("-") or value == "0" and name == "KVEXA_OK":
        expect(f"text of {name}", name, kvexa.RESULTS[int(value)].name)

expect("symbols of the Python simulation", simulationExported,
       {function.symbol for function in simulation.FUNCTIONS.values()})
simulationCsharp = (package / "bindings" / "KvexaSim.cs").read_text()
expect("entry points of KvexaSim.cs", simulationExported, set(re.findall(r'EntryPoint = "(.*?)"', simulationCsharp)))
simulationHeader = (package / "include" / "kvexa_sim.h").read_text()
declared = re.findall(r"(kvexaSim\w+)\(([^;]*?)\) KVEXA_SIM_NOEXCEPT;", simulationHeader)
expect("functions in kvexa_sim.h", simulationExported, {name for name, _ in declared})
for name, arguments in declared:
    function = simulation.FUNCTIONS[name]
    words = [] if arguments == "void" else arguments.split(",")
    expect(f"argument names of {name}", [word.split()[-1].strip("*") for word in words], list(function.names))
    expect(f"argument bytes of {name}", sum(8 if "uint64_t " in word else 4 for word in words),
           argumentBytes(function))
    parameters = re.sub(r"\[[A-Z].*?\] ", "", re.search(rf"int {name}\((.*?)\);", simulationCsharp)[1])
    kinds = [parameter.rsplit(" ", 1)[0] for parameter in filter(None, parameters.split(", "))]
    expect(f"argument bytes of {name} in KvexaSim.cs", argumentBytes(function),
           sum(8 if kind == "ulong" else 4 for kind in kinds))
for name, value in re.findall(r"^  (KVEXA_SIM_\w+) = (-?\w+)", simulationHeader, re.M):
    expect(name, int(value), getattr(simulation, name))
    expect(f"{name} in KvexaSim.cs", True, f"public const int {name} = {value};" in simulationCsharp)

# Every fault has a name in the classes that are written by hand.
faults = {name[len("KVEXA_SIM_FAULT_"):]: value for name, value in vars(simulation).items()
          if name.startswith("KVEXA_SIM_FAULT_")}
expect("faults of the Python package", {name.lower().replace("_", "-"): value for name, value in faults.items()},
       kvexa.simulation.FAULTS)
classes = (package / "bindings" / "KvexaSimulation.cs").read_text()
expect("faults of KvexaSimulation.cs", {(name.title().replace("_", ""), name) for name in faults},
       set(re.findall(r"(\w+) = SimulationConstants\.KVEXA_SIM_FAULT_(\w+)", classes)))

print("\n".join(wrong))
sys.exit(bool(wrong))
