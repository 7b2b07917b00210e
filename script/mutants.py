"""Draws small bugs: changes of C++ source, each at one place.

The source is cut into tokens, and the layout that clang-format gives tells a binary operator (blanks on both
sides) from the brackets of a template or the star of a pointer. Nothing here knows whether a change compiles:
whoever plants one that does not draws again.
"""
import random
import re
from bisect import bisect_right
from dataclasses import dataclass

TOKEN = re.compile(r'''
    (?P<blank>\s+|//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:\\\n|[^\n])*)
  | (?P<text>"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*')
  | (?P<number>0[xX][0-9A-Fa-f']+[uUlL]*|(?:\d[\d']*\.?[\d']*|\.\d+)(?:[eE][+-]?\d+)?[uUlLfF]*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<mark><=>|<<=|>>=|\.\.\.|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||\+=|-=|\*=|/=|%=|&=|\|=|\^=|::|.)
''', re.VERBOSE | re.DOTALL | re.MULTILINE)

OPERATORS = {  # binary, with blanks on both sides
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"), "==": ("!=",), "!=": ("==",),
    "+": ("-",), "-": ("+",), "*": ("/", "+"), "/": ("*",), "%": ("/", "*"), "&&": ("||",), "||": ("&&",),
    "&": ("|",), "|": ("&",), "^": ("&",), "<<": (">>",), ">>": ("<<",), "+=": ("-=", "="), "-=": ("+=", "="),
    "*=": ("=",), "&=": ("|=", "="), "|=": ("&=", "="), "^=": ("=",), "<<=": (">>=",), ">>=": ("<<=",),
}
KINDS = {**dict.fromkeys(["<", "<=", ">", ">=", "==", "!="], "relation"),
         **dict.fromkeys(["+", "-", "*", "/", "%", "+=", "-=", "*="], "arithmetic"),
         **dict.fromkeys(["&&", "||"], "condition"), **dict.fromkeys(["&", "|", "^", "&=", "|=", "^="], "bits"),
         **dict.fromkeys(["<<", ">>", "<<=", ">>="], "shift")}
NO_STATEMENT = {"using", "typedef", "static_assert", "template", "namespace", "friend", "struct", "class", "enum", "case",
                "default", "return", "break", "continue", "goto", "public", "private", "protected", "extern", "if",
                "for", "while", "do", "switch", "else", "constexpr", "operator"}
NO_LINE = re.compile(r"^\s*(using|template|static_assert|KVEXA_STATIC_ASSERT|#|namespace)\b")
PARAMETER = re.compile(r"(const )?[\w:<>, ]+[*&]* \w+( = .*)?$", re.DOTALL)
BEFORE_BODY = {")", "const", "override", "noexcept", "else", "do", "]"}
# Whose operands may change places without an effect.
COMMUTATIVE = re.compile(r"(_mm\d*_(add|adds|mul|mullo|mulhi|and|or|xor|min|max|avg|cmpeq|madd)_\w+|"
                         r"(add|mul|min|max|both|either|differing|equal|average)[A-Z0-9]?\w*)$")
# Asking ahead for memory changes no byte and no result: no test can tell.
NO_EFFECT = re.compile(r"\bprefetch\w*|\baskAhead\w*", re.IGNORECASE)


@dataclass(frozen=True)
class Mutant:
    path: str
    start: int
    end: int
    text: str  # takes the place of what stands between start and end
    kind: str
    line: int

    def apply(self, source):
        return source[:self.start] + self.text + source[self.end:]

    def describe(self, source):
        old = " ".join(source[self.start:self.end].split())
        new = " ".join(self.text.split())
        begin = source.rfind("\n", 0, self.start) + 1
        end = source.find("\n", self.start)
        return f"{self.path}:{self.line}: {self.kind}: '{old}' -> '{new}' in: {source[begin:end].strip()}"


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


class Source:
    """A file's tokens, and what could be changed in it."""

    def __init__(self, path, text):
        self.path, self.text = path, text
        self.tokens = [Token(match.lastgroup, match.group(), match.start(), match.end())
                       for match in TOKEN.finditer(text) if match.lastgroup != "blank"]
        self.starts = [match.start() for match in re.finditer(r"^", text, re.MULTILINE)]
        self.lines = text.split("\n")
        self.inBody = set()  # indices of the tokens that stand in a function
        self.partner = self.findPartners()
        self.names = self.findNames()

    def findPartners(self):
        partner, open_ = {}, []
        bodies = []  # of every open brace: whether a function's body, or within one
        for index, token in enumerate(self.tokens):
            if bodies and bodies[-1]:
                self.inBody.add(index)
            if token.text == "{":
                before = self.tokens[index - 1].text
                inside = bool(bodies) and bodies[-1]
                bodies.append(inside or before in BEFORE_BODY)
            elif token.text == "}" and bodies:
                bodies.pop()
            if token.text in ("(", "[", "{") and token.kind == "mark":
                open_.append(index)
            elif token.text in (")", "]", "}") and token.kind == "mark" and open_:
                partner[index] = open_.pop()
                partner[partner[index]] = index
        return partner

    def findNames(self):
        """Constants of one family, by the family: scoped names that begin with a small letter, result codes."""
        names = {}
        for left, colon, right in zip(self.tokens, self.tokens[1:], self.tokens[2:]):
            if colon.text == "::" and left.text[:1].isupper() and right.text[:1].islower():
                names.setdefault(left.text, set()).add(right.text)
        names["KVEXA"] = {token.text for token in self.tokens if re.fullmatch(r"KVEXA_[A-Z0-9_]+", token.text)
                          and not re.search("API|CALL|EXPORT|INLINE|LIB|ASSERT", token.text)}
        return names

    def lineOf(self, place):
        return bisect_right(self.starts, place)

    def mutant(self, start, end, text, kind):
        return Mutant(self.path, start, end, text, kind, self.lineOf(start))

    def isSpaced(self, token):
        return self.text[token.start - 1].isspace() and self.text[token.end].isspace()

    def all(self):
        for index, token in enumerate(self.tokens):
            for mutant in self.at(index, token):
                line = self.lines[mutant.line - 1]
                if not NO_LINE.match(line) and not NO_EFFECT.search(line) and mutant.text != \
                        self.text[mutant.start:mutant.end]:
                    yield mutant

    def at(self, index, token):
        if token.kind == "mark":
            yield from self.operators(index, token)
        elif token.kind == "number":
            yield from self.numbers(token)
        elif token.kind == "word":
            yield from self.words(index, token)
        if index == 0 or self.tokens[index - 1].text in (";", "{", "}", ")", "else", ":"):
            yield from self.statements(index)

    def operators(self, index, token):
        if token.text in OPERATORS and self.isSpaced(token):
            for other in OPERATORS[token.text]:
                yield self.mutant(token.start, token.end, other, KINDS[token.text])
        elif token.text in ("++", "--"):
            yield self.mutant(token.start, token.end, "--" if token.text == "++" else "++", "arithmetic")
        elif token.text == "~":
            yield self.mutant(token.start, token.end, "", "mask")
        elif token.text == "!" and self.tokens[index - 1].text in ("(", "&&", "||", "return", "="):
            yield self.mutant(token.start, token.end, "", "negation")
        elif token.text == "?":
            yield from self.choices(index)
        elif token.text == "(" and index and self.tokens[index - 1].kind == "word":
            yield from self.arguments(index)

    def choices(self, index):
        """Negates the condition of a conditional expression."""
        first = index
        while first > 0:
            before = self.tokens[first - 1]
            if before.text in (")", "]") and first - 1 in self.partner:
                first = self.partner[first - 1]
            elif before.text in ("(", "{", "[", ",", ";", "=", "?", ":", "return", "<<", "}", "+", "|"):
                break
            else:
                first -= 1
        start, end = self.tokens[first].start, self.tokens[index - 1].end
        if start < end:
            yield self.mutant(start, end, f"!({self.text[start:end]})", "negation")

    def arguments(self, index):
        """Swaps neighbouring arguments."""
        name = self.tokens[index - 1].text
        if index not in self.partner or COMMUTATIVE.match(name) or name in ("if", "for", "while", "switch", "catch"):
            return
        pieces, start, place = [], index + 1, index + 1
        end = self.partner[index]
        while place < end:
            if place in self.partner and self.tokens[place].text in ("(", "[", "{"):
                place = self.partner[place]
            elif self.tokens[place].text == ",":
                pieces.append((start, place - 1))
                start = place + 1
            place += 1
        pieces.append((start, end - 1))
        spans = [(self.tokens[a].start, self.tokens[b].end) for a, b in pieces if a <= b]
        if any(PARAMETER.match(self.text[a:b]) for a, b in spans):
            return
        for (a, b), (c, d) in zip(spans, spans[1:]):
            yield self.mutant(a, d, self.text[c:d] + self.text[b:c] + self.text[a:b], "arguments")

    def numbers(self, token):
        match = re.fullmatch(r"(0[xX][0-9A-Fa-f']+|\d[\d']*)([uUlL]*)", token.text)
        if not match:
            number = re.fullmatch(r"([^fFlL]*)([fFlL]?)", token.text)
            for other in ("2.0 * ", "0.5 * "):
                yield self.mutant(token.start, token.end, f"({other}{number.group(0)})", "constant")
            return
        digits, suffix = match.groups()
        isHex = digits[:2] in ("0x", "0X")
        value = int(digits.replace("'", ""), 16 if isHex else 10)
        others = {value + 1: "off by one", value - 1: "off by one"}
        if value > 2:
            others.update({value * 2: "constant", value // 2: "constant"})
        if isHex:
            others = {value ^ 1: "mask", value ^ (1 << max(value.bit_length() - 1, 0)): "mask", value + 1: "constant",
                      value << 1: "mask"}
        for other, kind in others.items():
            if other >= 0:
                yield self.mutant(token.start, token.end, (f"0x{other:X}" if isHex else str(other)) + suffix, kind)

    def words(self, index, token):
        text = token.text
        if text in ("true", "false"):
            yield self.mutant(token.start, token.end, "false" if text == "true" else "true", "constant")
        elif text in ("break", "continue") and self.tokens[index + 1].text == ";":
            yield self.mutant(token.start, token.end, "continue" if text == "break" else "break", "jump")
        elif text in ("if", "while"):
            yield from self.conditions(index)
        elif text == "return":
            yield from self.returns(index)
        elif text in self.names["KVEXA"]:
            for other in sorted(self.names["KVEXA"] - {text}):
                yield self.mutant(token.start, token.end, other, "another constant")
        elif index > 1 and self.tokens[index - 1].text == "::":
            for other in sorted(self.names.get(self.tokens[index - 2].text, set()) - {text}):
                yield self.mutant(token.start, token.end, other, "another constant")

    def conditions(self, index):
        opening = index + 1
        if self.tokens[opening].text != "(" or opening not in self.partner:  # if constexpr
            return
        start, end = self.tokens[opening].end, self.tokens[self.partner[opening]].start
        condition = self.text[start:end]
        if ";" not in condition and not re.match(r"(const )?auto\b", condition):
            yield self.mutant(start, end, f"!({condition})", "negation")
        if self.tokens[index].text == "if":
            yield from self.guards(index, self.partner[opening])

    def guards(self, index, closing):
        """Removes a condition with the one statement that it guards."""
        last = self.endOfStatement(closing + 1)
        if last is None or self.tokens[closing + 1].text in ("{", "if", "for", "while", "switch", "do"):
            return
        if self.tokens[last + 1].text == "else":
            return
        kind = "early return" if self.tokens[closing + 1].text == "return" else "guarded statement"
        yield self.mutant(self.tokens[index].start, self.tokens[last].end, ";", f"{kind} removed")
        start = self.tokens[closing + 1].start  # and: the statement without its condition
        yield self.mutant(self.tokens[index].start, start, "", "guard removed")

    def endOfStatement(self, index):
        """The semicolon that ends the statement which begins here."""
        while index < len(self.tokens):
            text = self.tokens[index].text
            if text == ";":
                return index
            if text in ("}", ")", "]"):
                return None
            index = self.partner.get(index, index) + 1
        return None

    def returns(self, index):
        last = self.endOfStatement(index)
        if last is None or last == index + 1:
            return
        start, end = self.tokens[index + 1].start, self.tokens[last].start
        value = self.text[start:end]
        if value not in ("true", "false", "{}", "0"):
            yield self.mutant(start, end, "{}", "return value")
            yield self.mutant(start, end, f"({value}) + 1", "return value")
            yield self.mutant(start, end, f"!({value})", "return value")

    def statements(self, index):
        first = self.tokens[index]
        if index not in self.inBody:
            return
        if first.kind not in ("word", "mark") or first.text in NO_STATEMENT or first.text in (";", "{", "}", ")"):
            return
        if first.kind == "mark" and first.text not in ("*", "++", "--", "(", "::"):
            return
        last = self.endOfStatement(index)
        if last is None or last - index < 2:
            return
        text = self.text[first.start:self.tokens[last].start]
        if text.count("\n") > 5 or re.search(r"\) (const )?\{", text):
            return
        assigned = re.match(r"(?:const )?[\w:<>\s*&,.\->\[\]()]*?\w\s=\s", text)
        isDeclared = re.match(r"(?:const )?[\w:]+(?:<[^;=]*>)?[*&]* [*&]*\w+ = ", text)
        if isDeclared and assigned:
            start = first.start + assigned.end()
            if "(" in text[assigned.end():]:
                yield self.mutant(start, self.tokens[last].start, "{}", "call removed")
        elif "(" in text or assigned or first.text in ("++", "--", "*"):
            yield self.mutant(first.start, self.tokens[last].start, "", "statement removed")


def draw(sources, seed):
    """Mutants without end and without order, the same for the same seed: first a line, then a change on it."""
    places = {}
    for source in sources:
        for mutant in source.all():
            places.setdefault((mutant.path, mutant.line), []).append(mutant)
    chooser = random.Random(seed)
    keys = sorted(places)
    seen = set()
    while len(seen) < sum(len(found) for found in places.values()):
        mutants = places[chooser.choice(keys)]
        kinds = sorted({mutant.kind for mutant in mutants})  # first the kind: some have many forms
        kind = chooser.choice(kinds)
        mutant = chooser.choice([one for one in mutants if one.kind == kind])
        if mutant not in seen:
            seen.add(mutant)
            yield mutant
