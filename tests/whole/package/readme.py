"""The programs and names of the package's pages.

    readme.py README programs FOLDER      writes first.c, first.cpp, first.cs and first.py into the folder
    readme.py PAGE simulated FOLDER       writes the programs with boards of their own: simulated.c and others
    readme.py README build LANGUAGE       prints the line that builds a program, with slashes of this system
    readme.py README names EXPORTED       names every function of the README that the libraries do not export
"""
import re
import sys
from pathlib import Path

ENDINGS = {"c": "c", "cpp": "cpp", "csharp": "cs", "python": "py"}


def writePrograms(text, heading, kinds, folder, name):
    """The programs below a heading, which must be one of each kind."""
    part = re.search(rf"^## {heading}\n(.*?)(?=^## |\Z)", text, re.M | re.S)
    blocks = re.findall(r"^```(\w+)\n(.*?)^```$", part[1], re.M | re.S) if part else []
    if sorted(kind for kind, _ in blocks) != sorted(kinds):
        sys.exit(f"the page has other programs: {[kind for kind, _ in blocks]}")
    for kind, source in blocks:
        (Path(folder) / f"{name}.{ENDINGS[kind]}").write_text(source)


def programs(text, folder):
    writePrograms(text, "The same picture from your own program", ENDINGS, folder, "first")


def simulated(text, folder):
    if "## Simulated boards of the program's own" in text:
        writePrograms(text, "Simulated boards of the program's own", ["c"], folder, "simulated")
    else:
        writePrograms(text, "Simulated boards in a program", ["cpp", "csharp", "python"], folder, "simulated")


def build(text, language):
    found = re.search(rf"^\| {re.escape(language)} \| `(.*?)` \|$", text, re.M)
    print(found[1].replace("\\", "/"))


def names(text, exported):
    known = set(Path(exported).read_text().split())
    decorated = set(re.findall(r"_k\w+@\d+", text))
    plain = set(re.findall(r"(?<![\w.])k(?:Vexa|Usb|DBG|vexaSim)\w+", text))
    bare = {re.sub(r"^_|@\d+$", "", name) for name in known}
    wrong = decorated - known | plain - bare
    if wrong or not decorated:
        sys.exit(f"not exported: {sorted(wrong)}")


if __name__ == "__main__":
    globals()[sys.argv[2]](Path(sys.argv[1]).read_text(), sys.argv[3])
