"""Writes the bindings and the documentation's lists from the interface.

    generate.py HEADER_FOLDER EXPORT_TABLE OUTPUT_FOLDER
"""
import sys
from pathlib import Path

import csharp
import lists
import python
from interface import Interface

OUTPUTS = {"kvexa/_native.py": python.write, "Kvexa.cs": csharp.write, "functions.md": lists.writeFunctions,
           "results.md": lists.writeResults}


def main():
    interface = Interface(sys.argv[1], sys.argv[2])
    folder = Path(sys.argv[3])
    folder.mkdir(parents=True, exist_ok=True)
    for name, write in OUTPUTS.items():
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        (folder / name).write_text(write(interface), newline="\n")


if __name__ == "__main__":
    main()
