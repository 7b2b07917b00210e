"""Turns the functions of Kvexa.cs into calls of a class FakeBoard, for tests of the classes above them.

    fakeNative.py KVEXA_CS FAKE_BOARD_CS OUTPUT

What FakeBoard does not have is noted by FakeBoard.Called(name).
"""
import re
import sys
from pathlib import Path

source, fake, output = sys.argv[1:]
written = set(re.findall(r"public static \w+ (k\w+)\(", Path(fake).read_text()))


def replaced(match):
    kind, name, arguments = match.groups()
    if name in written:
        modes = re.findall(r"(ref |out |)[\w\[\]]+ (@?\w+)(?:,|$)", re.sub(r"\[[A-Z][^\]]*\] ", "", arguments))
        body = f"return FakeBoard.{name}({', '.join(mode + argument for mode, argument in modes)});"
    elif "out " in arguments:
        body = f'throw new System.InvalidOperationException("{name}");'
    else:
        body = f'return ({kind})FakeBoard.Called("{name}");'
    return f"public static {kind} {name}({arguments}) {{ {body} }}"


text, count = re.subn(r"\[DllImport[^\n]*\n\s*public static extern (\w+) (\w+)\((.*?)\);", replaced,
                      Path(source).read_text())
if count < 100 or not written:
    sys.exit("the functions of Kvexa.cs were not found")
Path(output).write_text(text)
