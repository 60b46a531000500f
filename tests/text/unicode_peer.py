"""Compares what the library says of every code point, which comes as records on standard input, with this Python's tables
and with wcwidth. The first line of the input is the library's version of Unicode."""
import struct
import sys
import unicodedata

try:
    import wcwidth
except ImportError:
    wcwidth = None
    print("skipped: there is no module wcwidth")

CATEGORIES = "Lu Ll Lt Lm Lo Mn Mc Me Nd Nl No Pc Pd Ps Pe Pi Pf Po Sm Sc Sk So Zs Zl Zp Cc Cf Cs Co Cn".split()
version = sys.stdin.buffer.readline().decode().strip()
is_same = version == unicodedata.unidata_version
if not is_same:
    print(f"other versions: the library's {version}, Python's {unicodedata.unidata_version}; assigned ones are compared")
faults = []


def is_explained(code, category, ours, theirs):
    """Where widths differ, and why."""
    return (category == "Cs" or code == 0  # no characters, or not shown: -1 here
            or 0x1160 <= code <= 0x11FF or 0xD7B0 <= code <= 0xD7FB  # join the syllable before: old tables had 1
            or category == "Cf"  # direct only: old tables had 1
            or category == "Mc"  # stand beside their letter in most terminals: new tables have 0
            or code in (0x3164, 0xFFA0)  # blank letters, shown as wide as others: new tables have 0
            or 0x1F1E6 <= code <= 0x1F1FF  # half a flag each: new tables have 2
            or category in ("So", "No") and (ours, theirs) == (1, 2))  # wide since Unicode 16


def compare(code, number, columns, upper, lower, fold, is_space):
    character, category = chr(code), CATEGORIES[number]
    theirs = unicodedata.category(character)
    if not is_same and "Cn" in (category, theirs):
        return
    if category != theirs:
        faults.append((code, "category", category, theirs))
    # What Python counts as space beyond the property are four separators of records.
    if bool(is_space) != (character.isspace() and not 0x1C <= code <= 0x1F):
        faults.append((code, "space", is_space))
    if category != "Cs":
        full = (character.upper(), character.lower(), character.casefold())
        for name, ours, text in zip(("upper", "lower", "fold"), (upper, lower, fold), full):
            if len(text) == 1 and ord(text) != ours:
                faults.append((code, name, ours, text))
            # Where the full mapping has several characters, the simple one leads to the same by it, or there is none.
            elif len(text) > 1 and ours != code and chr(ours) not in (character.title(), character.lower(), text[0]):
                faults.append((code, name, ours, text))
    if wcwidth and category != "Cn" and columns != (other := wcwidth.wcwidth(character)):
        if not is_explained(code, category, columns, other):
            faults.append((code, "columns", columns, other))


for code, record in enumerate(struct.iter_unpack("<IiIIIi", sys.stdin.buffer.read())):
    compare(code, *record)
for fault in faults[:20]:
    print(f"U+{fault[0]:04X}:", *fault[1:])
# Newer versions change a few of the characters that there were.
sys.exit(len(faults) > (0 if is_same else 300))
