"""Turns the functions of a generated C# file into calls of a class of the tests', for tests of the classes above them.

    fakeNative.py KVEXA_CS FAKE_CS COUNT OUTPUT

The class is named like its file. What it does not have is noted by its Called(name). COUNT functions must be there.
"""
import re
import sys
from pathlib import Path

source, fake, wanted, output = sys.argv[1:]
owner = Path(fake).stem
written = set(re.findall(r"public static \w+ (k\w+)\(", Path(fake).read_text()))


def replaced(match):
    kind, name, arguments = match.groups()
    if name in written:
        modes = re.findall(r"(ref |out |)[\w\[\]]+ (@?\w+)(?:,|$)", re.sub(r"\[[A-Z][^\]]*\] ", "", arguments))
        body = f"return {owner}.{name}({', '.join(mode + argument for mode, argument in modes)});"
    elif "out " in arguments:
        body = f'throw new System.InvalidOperationException("{name}");'
    else:
        body = f'return ({kind}){owner}.Called("{name}");'
    return f"public static {kind} {name}({arguments}) {{ {body} }}"


text, count = re.subn(r"\[DllImport[^\n]*\n\s*public static extern (\w+) (\w+)\((.*?)\);", replaced,
                      Path(source).read_text())
if count != int(wanted) or not written:
    sys.exit(f"{source} has {count} functions instead of {wanted}")
Path(output).write_text(text)
