"""Writes the bindings and the documentation's lists from the interfaces of the two libraries.

    generate.py HEADER_FOLDER EXPORT_TABLE EXPORT_TABLE_OF_THE_SIMULATION OUTPUT_FOLDER
"""
import sys
from pathlib import Path

import csharp
import lists
import python
from interface import Interface, SimulationInterface

OUTPUTS = {"kvexa/_native.py": python.write, "Kvexa.cs": csharp.write, "functions.md": lists.writeFunctions,
           "results.md": lists.writeResults}
SIMULATION_OUTPUTS = {"kvexa/_simulation_native.py": python.writeSimulation, "KvexaSim.cs": csharp.writeSimulation}


def writeAll(outputs, interface, folder):
    for name, write in outputs.items():
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        (folder / name).write_text(write(interface), newline="\n")


def main():
    headers, table, simulationTable, output = sys.argv[1:]
    interface = Interface(headers, table)
    simulation = SimulationInterface(headers, simulationTable, interface.version)
    writeAll(OUTPUTS, interface, Path(output))
    writeAll(SIMULATION_OUTPUTS, simulation, Path(output))


if __name__ == "__main__":
    main()
