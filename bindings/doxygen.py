"""Turns the comments of the public headers into those that Doxygen reads; the filter of docs/Doxyfile.

    doxygen.py HEADER

A comment above several declarations goes to each of them, with the arguments that it has.
"""
import re
import sys
from pathlib import Path

ARGUMENT = re.compile(r"^  (\w+(?:, \w+)*) {2,}(?:(in/out|in or out|in|out): ?)?(.*)$")
CODE = re.compile(r"^(?:  )?(KVEXA_\w+|\d+ to \d+)(?: {2,}(.*))?$")
DIRECTIONS = {"in": "[in]", "out": "[out]", "in/out": "[in,out]", "in or out": "[in,out]", None: ""}


def escape(text):
    return re.sub(r"([#@\\<>])", r"\\\1", text)


def convert(comment, arguments=None, known=None):
    """One comment with commands and lists; without the arguments that are not in the list, and with those
    that are described elsewhere."""
    lines = comment.strip()[2:-2].strip("\n").split("\n")
    lines = [re.sub(r"^ ?\* ?", "", line).rstrip() for line in lines]
    result, skipping = [], False
    for line in lines:
        argument, code = ARGUMENT.match(line), CODE.match(line)
        if code:
            skipping = False
            result.append(f"- {code[1]}: {escape(code[2] or '')}")
        elif argument and arguments is not None:
            names = [name for name in argument[1].split(", ") if name in arguments]
            skipping = not names
            if names:
                result.append(f"\\param{DIRECTIONS[argument[2]]} {','.join(names)} {escape(argument[3])}")
        elif re.match(r"^ {3,}", line) and result:
            if not skipping:
                result.append("    " + escape(line.strip()))
        else:
            if result and result[-1].startswith(("- ", "\\param", "    ")):
                result.append("")  # what follows a list is no part of its last line
            skipping = False
            result.append(escape(line.strip()))
    described = set(re.findall(r"\w+", " ".join(re.findall(r"^\\param\S* (\S+)", "\n".join(result), re.M))))
    for name in arguments or []:
        if name not in described and name in known:
            result.append(f"\\param{known[name]}")
    return "/**\n" + "\n".join(" * " + line for line in result) + "\n */"


def described(converted):
    """The arguments of a converted comment, each with what stands behind its command."""
    found = {}
    for match in re.finditer(r"\\param(\S*) (\S+) ((?:.*)(?:\n \* {5}.*)*)", converted):
        for name in match[2].split(","):
            found[name] = f"{match[1]} {name} {' '.join(match[3].replace(' * ', '').split())}"
    return found


def argumentNames(declaration):
    inside = declaration[declaration.index("(") + 1:declaration.rindex(")")]
    return [re.search(r"(\w+)$", part.strip())[1] for part in inside.split(",") if part.strip() != "void"]


TOKEN = re.compile(r"/\* ---- (?P<section>.*?) -+ \*/|(?P<comment>/\*(?:(?!\*/).)*\*/)|"
                   r"KVEXA_API (?P<function>[^;]*?\));|(?P<type>\n(?:typedef struct|enum) (?:[^;\n]*\}|.*?\n\})[^;]*;)", re.S)


def header(text):
    start = text.index("/*")
    end = text.index("*/") + 2
    guard, body = text[end:text.index("/* ---- Codes")], text[text.index("/* ---- Codes"):text.index("#ifdef __cplusplus\n}")]
    guard = re.sub(r"/\*.*?\*/|#ifdef __cplusplus\nextern.*?#endif", "", guard, flags=re.S)
    output = [convert(text[start:end]).replace("/**\n", "/** \\file kvexa.h\n", 1), guard]
    pending, isOpen = "", False
    everywhere = {"board": "[in] board an open board"}
    last, byFunction = {}, {}
    for match in TOKEN.finditer(body):
        if match["section"]:
            output.append(("/** \\} */\n" if isOpen else "") + f"/** \\name {match['section']}\n * \\{{ */")
            pending, isOpen = "", True
        elif match["comment"]:
            pending = match["comment"]
        elif match["function"]:
            declaration = re.sub(r"KVEXA_CALL(_CDECL)? ", "", match["function"])
            # What is not described here is described where the text points to, or above.
            known = dict(everywhere)
            for source in [last] + [byFunction.get(name, {}) for name in re.findall(r"k(?:Vexa|Usb)\w+", pending)]:
                known.update(source)
            converted = convert(pending, argumentNames(declaration), known)
            last = byFunction[re.search(r"(\w+)\(", declaration)[1]] = described(converted)
            output.append(converted + "\n" + declaration + ";")
        else:
            fields = re.sub(r"/\*(.*?)\*/", lambda found: "/**<" + escape(found[1]) + "*/", match["type"], flags=re.S)
            output.append((convert(pending) if pending else "") + fields)
            pending = ""
    return "\n\n".join(output) + ("\n/** \\} */\n" if isOpen else "\n")


def ownersHeader(text):
    text = re.sub(r"^// (\w+\.hpp) - ", r"// \\file \1\n// ", text)
    text = re.sub(r"^(\s*)//   (.*)$", r"\1//     \2", text, flags=re.M)
    text = re.sub(r"^// ---- .*$", "", text, flags=re.M)
    text = re.sub(r"(\S.*?[,;]) +// (.*)$", r"\1  ///< \2", text, flags=re.M)
    return re.sub(r"^(\s*)// ?", r"\1/// ", text, flags=re.M)


SIM_TOKEN = re.compile(r"(?P<comment>/\*(?:(?!\*/).)*\*/)|KVEXA_SIM_EXPORT\((?P<result>\w+)\)\s*(?P<function>[^;]*?\)) "
                       r"KVEXA_SIM_NOEXCEPT;|(?P<type>typedef enum (?:(?!\n\}).)*\n\}[^;]*;)", re.S)
SIM_ARGUMENT = re.compile(r"^( \*   \w+(?:, \w+)*) +\[(in|out|out\|in)\] +(.*)$", re.M)
SIM_EVERYWHERE = {"type": "[in] type board type", "index": "[in] index the board's index among those of its type",
                  "address": "[in] address address of the register"}


def simHeader(text):
    """kvexa_sim.h: its arguments have their directions in brackets."""
    text = SIM_ARGUMENT.sub(lambda found: f"{found[1]}  {found[2].replace('out|in', 'in or out')}: {found[3]}", text)
    start = text.index("/*")
    end = text.index("*/") + 2
    output = [convert(text[start:end]).replace("/**\n", "/** \\file kvexa_sim.h\n", 1), "#include <stdint.h>"]
    pending, known = "", dict(SIM_EVERYWHERE)
    for match in SIM_TOKEN.finditer(text, text.index("#define KVEXA_SIM_EXPORT")):
        if match["comment"]:
            pending = match["comment"]
        elif match["function"]:
            # What is not described here is described above.
            converted = convert(pending, argumentNames(match["function"]), known)
            known.update(described(converted))
            output.append(f"{converted}\n{match['result']} {match['function']};")
        else:
            fields = re.sub(r"/\*(.*?)\*/", lambda found: "/**<" + escape(found[1]) + "*/", match["type"], flags=re.S)
            output.append((convert(pending) + "\n" if pending else "") + fields)
            pending = ""
    return "\n\n".join(output) + "\n"


WRITERS = {"kvexa.h": header, "kvexa_sim.h": simHeader}

if __name__ == "__main__":
    path = Path(sys.argv[1])
    print(WRITERS.get(path.name, ownersHeader)(path.read_text()))
