"""Draws mutants of C++ sources: each is one small change, of the kinds that a slip of the hand makes.

Sources are formatted (scripts/check-format), which the patterns rely on: binary operators stand between spaces, the
brackets of templates do not.
"""
import dataclasses
import difflib
import pathlib
import random
import re


@dataclasses.dataclass(frozen=True)
class Mutant:
    path: pathlib.Path
    kind: str
    before: str  # the whole source
    after: str

    @property
    def line(self):
        same = next(i for i, (a, b) in enumerate(zip(self.before, self.after)) if a != b)
        return self.before.count("\n", 0, same) + 1

    def diff(self):
        lines = difflib.unified_diff(self.before.splitlines(), self.after.splitlines(), n=1, lineterm="")
        return "\n".join("    " + line for line in lines if not line.startswith(("---", "+++", "@@")))


def code_alone(text):
    """The text with comments, literals and the preprocessor's lines blanked, at the same offsets."""
    blank = (r'R"(\w*)\(.*?\)\1"|//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\b0[xX][\da-fA-F]+\w*|'
             r'(?<!\w)\'(?:\\.|[^\'\\\n])*\'|^[ \t]*#[^\n]*')
    return re.sub(blank, lambda found: found[0] if found[0].startswith(("0x", "0X")) else
                  re.sub(r"[^\n]", " ", found[0]), text, flags=re.DOTALL | re.MULTILINE)


OPERATORS = {
    "comparison": {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="},
    "arithmetic": {"+": "-", "-": "+", "*": "/", "/": "*", "%": "/", "&": "|", "|": "&", "^": "|", "<<": ">>",
                   ">>": "<<", "&&": "||", "||": "&&", "+=": "-=", "-=": "+=", "|=": "&=", "&=": "|=", "<<=": ">>=",
                   ">>=": "<<="},
}


def operators(kind):
    table = OPERATORS[kind]

    def sites(code, _):
        for found in re.finditer(r"(?<= )[-+*/%&|^<>=!]+(?=\s)", code):
            if found[0] in table:
                yield [(found.start(), found.end(), table[found[0]])]
        if kind == "arithmetic":
            for found in re.finditer(r"\+\+|--", code):
                yield [(found.start(), found.end(), "--" if found[0] == "++" else "++")]
    return sites


def constants(code, chance):
    for found in re.finditer(r"(?<![\w.'\[])(0[xX][\da-fA-F]+|0|[1-9]\d*)([uUlLzZ]*)(?![\w.'])", code):
        value = int(found[1], 0)
        value += chance.choice((-1, 1)) if value > 0 else 1
        yield [(found.start(), found.end(), (hex(value) if found[1][:2] in ("0x", "0X") else str(value)) + found[2])]


def closing(code, opening):
    depth = 0
    for at in range(opening, len(code)):
        depth += {"(": 1, ")": -1}.get(code[at], 0)
        if depth == 0:
            return at
    return None


def conditions(code, _):
    for found in re.finditer(r"\b(?:if|while) \(", code):
        end = closing(code, found.end() - 1)
        if end is not None and not re.search(r";|[^=!<>]=[^=]", code[found.end():end]):
            yield [(found.end(), found.end(), "!("), (end, end, ")")]
    for found in re.finditer(r"(?<=return )([\w.\->()]+)(?= \? )", code):
        yield [(found.start(), found.end(), f"!({found[0]})")]


# From the end of what comes before to its own end; what makes or declares something is none of them.
STATEMENT = re.compile(r"(?<=[;{})])\s*\n\s+(?!return\b|using\b|typedef\b|namespace\b|friend\b|case\b|else\b|if\b|do\b|"
                       r"goto\b|static\b|const\b|constexpr\b|extern\b|static_assert\b|[\w:<>,*& ]+[*&\w>] +[*&]?\w+"
                       r"(?:\[\w*\])?(?: = |\(|\{|;))([^;{}\n]*(?:\n[^;{}\n]*){0,3};)[ \t]*(?=\n)")


def statements(code, _):
    for found in STATEMENT.finditer(code):
        if found[1].count("(") == found[1].count(")"):
            yield [(found.start(1), found.end(1) - 1, re.sub(r"[^\n]", "", found[1]))]


def guards(code, _):
    for found in re.finditer(r"\b(?:const )?[\w:]*guard(?:<\w+>)? \w+[({][^;\n]*(?=;)", code):
        yield [(found.start(), found.end(), "")]


def results(code, chance):
    for found in re.finditer(r"\breturn ([^;{}]+)(?=;)", code):
        wanted = chance.choice([result for result in ("0", "1", "-1", "{}") if result != found[1]])
        yield [(found.start(1), found.end(1), wanted + "\n" * found[1].count("\n"))]


def truths(code, _):
    for found in re.finditer(r"\b(?:true|false)\b", code):
        yield [(found.start(), found.end(), "false" if found[0] == "true" else "true")]


def arguments(code, _):
    for found in re.finditer(r"(?<=\w\()(\w+), (\w+)(?=[,)])", code):
        if found[1] != found[2]:
            yield [(found.start(), found.end(), f"{found[2]}, {found[1]}")]


KINDS = {"comparison": operators("comparison"), "arithmetic": operators("arithmetic"), "constant": constants,
         "negated condition": conditions, "dropped statement": statements, "dropped guard": guards,
         "returned constant": results, "truth": truths, "swapped arguments": arguments}


def edited(text, edits):
    for start, end, new in reversed(edits):
        text = text[:start] + new + text[end:]
    return text


def draw(paths, seed):
    """Yields mutants without end, the kinds alike, each site at most once."""
    chance = random.Random(seed)
    sources = [(path, path.read_text(encoding="utf-8")) for path in sorted(paths)]
    sites = {kind: [(path, text, edits) for path, text in sources for edits in find(code_alone(text), chance)]
             for kind, find in KINDS.items()}
    for found in sites.values():
        chance.shuffle(found)
    while any(sites.values()):
        kind = chance.choice([kind for kind, found in sites.items() if found])
        path, text, edits = sites[kind].pop()
        yield Mutant(path, kind, text, edited(text, edits))
