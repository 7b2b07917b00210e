"""The programs and names of the package's README.

    readme.py README programs FOLDER      writes first.c, first.cpp, first.cs and first.py into the folder
    readme.py README build LANGUAGE       prints the line that builds a program, with slashes of this system
    readme.py README names EXPORTED       names every function of the README that the library does not export
"""
import re
import sys
from pathlib import Path

ENDINGS = {"c": "c", "cpp": "cpp", "csharp": "cs", "python": "py"}


def programs(text, folder):
    blocks = re.findall(r"^```(\w+)\n(.*?)^```$", text, re.M | re.S)
    if sorted(kind for kind, _ in blocks) != sorted(ENDINGS):
        sys.exit(f"the README has other programs: {[kind for kind, _ in blocks]}")
    for kind, source in blocks:
        (Path(folder) / f"first.{ENDINGS[kind]}").write_text(source)


def build(text, language):
    found = re.search(rf"^\| {re.escape(language)} \| `(.*?)` \|$", text, re.M)
    print(found[1].replace("\\", "/"))


def names(text, exported):
    known = set(Path(exported).read_text().split())
    decorated = set(re.findall(r"_k\w+@\d+", text))
    plain = set(re.findall(r"(?<![\w.])k(?:Vexa|Usb|DBG)\w+", text))
    bare = {re.sub(r"^_|@\d+$", "", name) for name in known}
    wrong = decorated - known | plain - bare
    if wrong or not decorated:
        sys.exit(f"not exported: {sorted(wrong)}")


if __name__ == "__main__":
    globals()[sys.argv[2]](Path(sys.argv[1]).read_text(), sys.argv[3])
