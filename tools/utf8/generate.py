#!/usr/bin/env python3
"""Writes what Unicode says of code points, from the tables of the Python that runs it.

usage: generate.py [--check]      --check writes nothing and fails when the file differs from what would be written, or
                                  tells that this Python knows another version of Unicode

Classes and columns are a byte for each code point, its changes of case a byte that stands for three differences; both are
kept in three stages, of which the upper two are places in the next.
"""
import pathlib
import re
import sys
import unicodedata

TARGET = pathlib.Path(__file__).resolve().parent.parent.parent / "source" / "text" / "charset" / "code_point_data.cpp"
CATEGORIES = "Lu Ll Lt Lm Lo Mn Mc Me Nd Nl No Pc Pd Ps Pe Pi Pf Po Sm Sc Sk So Zs Zl Zp Cc Cf Cs Co Cn".split()
NONE, ONE, TWO, AMBIGUOUS, NOT_SHOWN = range(5)

# What is wide before it is assigned, too.
HAN = [(0x3400, 0x4DBF), (0x4E00, 0x9FFF), (0xF900, 0xFAFF), (0x20000, 0x2FFFD), (0x30000, 0x3FFFD)]
# The vowels and final consonants that join the syllable before.
JOINING_JAMO = [(0x1160, 0x11FF), (0xD7B0, 0xD7C6), (0xD7CB, 0xD7FB)]
# Formats that show all the same: the soft hyphen where a line ends, and marks that span the digits behind them.
SHOWN_FORMATS = {0xAD, *range(0x600, 0x606), 0x6DD, 0x70F, 0x890, 0x891, 0x8E2, 0x110BD, 0x110CD}

HEAD = """// What Unicode {version} says of code points, written by tools/utf8/generate.py: {size} bytes.
// clang-format off
#include "text/charset/code_point_data.h"

namespace ombrel::code_points {{

const char unicode_version[] = "{version}";
"""
TAIL = """
} // namespace ombrel::code_points
"""


def within(code, ranges):
    return any(first <= code <= last for first, last in ranges)


def columns(code, category):
    if category in ("Cc", "Cs"):
        return NOT_SHOWN
    if category in ("Mn", "Me", "Zl", "Zp") or within(code, JOINING_JAMO):
        return NONE
    if category == "Cf":
        return ONE if code in SHOWN_FORMATS else NONE
    if within(code, HAN):
        return TWO
    if category == "Cn":
        return ONE
    return {"W": TWO, "F": TWO, "A": AMBIGUOUS}.get(unicodedata.east_asian_width(chr(code)), ONE)


def kind(code):
    category = unicodedata.category(chr(code))
    return CATEGORIES.index(category) | columns(code, category) << 5


def simple(code, *mappings):
    """The difference to the first of the mappings that is a single character: Python knows the full ones, and where they
    have several, the simple one is that of the title case, or none."""
    return next((ord(text) - code for text in (mapping(chr(code)) for mapping in mappings) if len(text) == 1), 0)


def changes(code):
    if 0xD800 <= code < 0xE000:
        return 0, 0, 0
    # The one lower case of several characters is "i" with a dot above, whose simple form leaves out the dot.
    lower = ord("i") - code if code == 0x130 else simple(code, str.lower)
    return simple(code, str.upper, str.title), lower, simple(code, str.casefold, str.lower)


def split(values, size):
    """Different pieces of the values behind one another, and for each piece of the values which it is."""
    known = {}
    places = [known.setdefault(tuple(values[at:at + size]), len(known)) for at in range(0, len(values), size)]
    return places, [value for piece in known for value in piece]


def stages(values, middle):
    places, leaves = split(values, 16)
    top, middles = split(places, middle)
    return top, middles, leaves


class Writer:
    def __init__(self):
        self.lines = []
        self.size = 0

    def array(self, name, values):
        bits, width = (8, 36) if max(values) < 256 else (16, 20)
        self.size += len(values) * bits // 8
        self.lines.append(f"\nconst uint{bits}_t {name}[{len(values)}] = {{")
        rows = (values[at:at + width] for at in range(0, len(values), width))
        self.lines += ["    " + "".join(f"{value}," for value in row) for row in rows]
        self.lines.append("};")

    def differences(self, values):
        self.size += 12 * len(values)
        self.lines.append(f"\nconst case_differences differences[{len(values)}] = {{")
        self.lines += [f"    {{{', '.join(map(str, value))}}}," for value in values]
        self.lines.append("};")


def file_text():
    all_codes = range(sys.maxunicode + 1)
    writer = Writer()
    for name, values in zip(("kind_top", "kind_middle", "kinds"), stages([kind(code) for code in all_codes], 32)):
        writer.array(name, values)
    found = {(0, 0, 0): 0}
    numbers = [found.setdefault(changes(code), len(found)) for code in all_codes]
    for name, values in zip(("case_top", "case_middle", "cases"), stages(numbers, 64)):
        writer.array(name, values)
    writer.differences(list(found))
    head = HEAD.format(version=unicodedata.unidata_version, size=writer.size)
    return head + "\n".join(writer.lines) + "\n" + TAIL


def main():
    if sys.argv[1:] == ["--check"]:
        is_text = TARGET.read_text()
        version = re.search(r"Unicode ([\d.]+)", is_text).group(1)
        if version != unicodedata.unidata_version:
            print(f"skipped: the file is of Unicode {version}, this Python of {unicodedata.unidata_version}")
        elif is_text != file_text():
            sys.exit(f"{TARGET.name} is not what would be written")
    elif sys.argv[1:]:
        sys.exit(__doc__)
    else:
        TARGET.write_text(file_text())


if __name__ == "__main__":
    main()
