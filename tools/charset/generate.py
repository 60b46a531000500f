#!/usr/bin/env python3
"""Writes source/text/charset/charset_tables_data.cpp: the double-byte character sets, both ways.

The mappings are those of Python's own codecs; what is left out or changed stands at its place. How the
tables are laid out is told by source/text/charset/charset_tables.h.

usage: generate.py [--check]      --check writes nothing and fails when the file differs from what would be written
"""
import contextlib
import io
import pathlib
import sys

TARGET = pathlib.Path(__file__).resolve().parents[2] / "source/text/charset/charset_tables_data.cpp"

BLOCK = 64  # code points of a block of the tables from Unicode
# The second bytes of both halves of a row: a row of KS X or JIS is a half, what CP949 has before one is another.
KOREAN_HALVES = ([*range(0x41, 0x5B), *range(0x61, 0x7B), *range(0x81, 0xA1)], [*range(0xA1, 0xFF)])
SHIFT_HALVES = ([*range(0x40, 0x7F), *range(0x80, 0x9F)], [*range(0x9F, 0xFD)])
EUC_HALVES = (KOREAN_HALVES[1],)
PRIVATE = range(0xE000, 0xF900)


def decode(codec, data):
    """The code of one character, 0 when it is none."""
    try:
        text = bytes(data).decode(codec)
    except UnicodeDecodeError:
        return 0
    return ord(text) if len(text) == 1 else 0


class Pool:
    """Rows one behind the other, each half of them with an empty cell before it; none is stored twice."""

    def __init__(self, halves):
        self.cells = [0] * sum(len(half) + 1 for half in halves)
        self.known = {}

    def add(self, halves):
        """Where the row begins; 0 for one that is empty."""
        row = tuple(cell for half in halves for cell in (0, *half))
        if not any(row):
            return 0
        if row not in self.known:
            self.known[row] = len(self.cells)
            self.cells.extend(row)
            for half in halves:  # which may be a row of a set of one half
                self.known.setdefault((0, *half), len(self.cells) - len(half) - 1 if half == halves[-1]
                                      else self.known[row])
        return self.known[row]

    def starts(self, halves, leads, code_of):
        """For each first byte where its cells begin."""
        return [self.add([tuple(code_of(lead, trail) for trail in half) for half in halves]) if lead in leads else 0
                for lead in range(0x80, 0x100)]


def decoder(codec):
    """Of a set, without the areas for private use, which are computed."""
    def code_of(lead, trail):
        code = decode(codec, [lead, trail])
        return 0 if code in PRIVATE else code
    return code_of


def euc_kr_code(lead, trail):
    """For Python the filler begins syllables composed of eight bytes."""
    return 0x3164 if (lead, trail) == (0xA4, 0xD4) else decode("euc_kr", [lead, trail])


def jis_x_0212_code(lead, trail):
    """For Python the tilde is that of ASCII, which would not come back."""
    return 0xFF5E if (lead, trail) == (0xA2, 0xB7) else decode("euc_jp", [0x8F, lead, trail])


def korean_tables():
    pool = Pool(KOREAN_HALVES)
    leads = range(0x81, 0xFF)
    return pool, (("cp949_starts", pool.starts(KOREAN_HALVES, leads, decoder("cp949"))),
                  ("euc_kr_starts", pool.starts(EUC_HALVES, leads, euc_kr_code)))


def japanese_tables():
    pool = Pool(SHIFT_HALVES)
    shift_leads = [*range(0x81, 0xA0), *range(0xE0, 0xFD)]
    euc_leads = range(0xA1, 0xFF)
    return pool, (("shift_jis_starts", pool.starts(SHIFT_HALVES, shift_leads, decoder("shift_jis"))),
                  ("cp932_starts", pool.starts(SHIFT_HALVES, shift_leads, decoder("cp932"))),
                  ("euc_jp_starts", pool.starts(EUC_HALVES, euc_leads, decoder("euc_jp"))),
                  ("jis_x_0212_starts", pool.starts(EUC_HALVES, euc_leads, jis_x_0212_code)))


def korean_codes():
    codes = {}
    for code in range(0x80, 0x10000):
        try:
            codes[code] = int.from_bytes(chr(code).encode("cp949"), "big")
        except UnicodeEncodeError:
            pass
    return codes


def shifted(code):
    row, column = (code >> 8) - 0x21, (code & 0xFF) - 0x21
    lead = row // 2 + (0x81 if row < 62 else 0xC1)
    column += row % 2 * 94
    return lead << 8 | (column + 0x40 + (column > 62))


def japanese_codes():
    """JIS X 0208 as Shift_JIS has it, JIS X 0212 as two bytes of seven bits."""
    codes = {}
    for code in range(0x80, 0x10000):
        try:
            data = chr(code).encode("euc_jp")
        except UnicodeEncodeError:
            continue
        if len(data) == 2 and data[0] != 0x8E:
            codes[code] = shifted(int.from_bytes(data, "big") & 0x7F7F)
        elif len(data) == 3:
            codes[code] = int.from_bytes(data[1:], "big") & 0x7F7F
    codes[0xFF5E] = 0x2237
    return codes


def windows_extras(japanese):
    """What CP932 has beside JIS X 0208, as (code, bytes)."""
    extras = []
    # Of those that are there twice Windows writes the ones of IBM, Python those that NEC had selected.
    of_ibm = {decode("cp932", [lead, trail]): lead << 8 | trail
              for lead in range(0xFA, 0xFD) for half in SHIFT_HALVES for trail in half}
    for code in range(0x80, 0x10000):
        try:
            data = chr(code).encode("cp932")
        except UnicodeEncodeError:
            assert japanese.get(code, 0) < 0x8000
            continue
        common = japanese.get(code, 0)
        if common >= 0x8000:
            assert common == int.from_bytes(data, "big"), hex(code)
        elif len(data) == 2 and code not in PRIVATE:
            extras.append((code, of_ibm[code] if data[0] in (0xED, 0xEE) else int.from_bytes(data, "big")))
    return extras


def blocks(codes):
    """An index by blocks of code points into a pool of blocks, of which those that are alike are one."""
    pool, index, known = [0] * BLOCK, [], {(0,) * BLOCK: 0}
    for start in range(0, 0x10000, BLOCK):
        block = tuple(codes.get(code, 0) for code in range(start, start + BLOCK))
        if block not in known:
            known[block] = len(pool)
            pool.extend(block)
        index.append(known[block])
    return index, pool


def put_numbers(kind, name, numbers, width=4):
    print(f"constinit const {kind} {name}[{len(numbers)}] = {{")
    for start in range(0, len(numbers), 16):
        print("    " + ", ".join(f"0x{number:0{width}x}" for number in numbers[start:start + 16]) + ",")
    print("};")


def put_columns(name, halves):
    columns, column = [0] * 0x100, 0
    for half in halves:
        for trail in half:
            column += 1
            columns[trail] = column
        column += 1
    put_numbers("uint8_t", name, columns, 2)


def put_all():
    korean, korean_starts = korean_tables()
    japanese, japanese_starts = japanese_tables()
    print("// Written by tools/charset/generate.py from the codecs of Python; change that, not this.")
    print('#include "text/charset/charset_tables.h"\n\nnamespace ombrel {\n\n// clang-format off')
    put_columns("euc_columns", EUC_HALVES)
    put_columns("cp949_columns", KOREAN_HALVES)
    put_columns("shift_jis_columns", SHIFT_HALVES)
    for name, starts in (*korean_starts, *japanese_starts):
        put_numbers("uint16_t", name, starts)
    put_numbers("uint16_t", "korean_cells", korean.cells)
    put_numbers("uint16_t", "japanese_cells", japanese.cells)
    japanese_code = japanese_codes()
    for name, codes in (("korean", korean_codes()), ("japanese", japanese_code)):
        index, pool = blocks(codes)
        put_numbers("uint16_t", f"{name}_block_index", index)
        put_numbers("uint16_t", f"{name}_blocks", pool)
    extras = windows_extras(japanese_code)
    put_numbers("uint16_t", "cp932_extra_codes", [code for code, _ in extras])
    put_numbers("uint16_t", "cp932_extra_bytes", [data for _, data in extras])
    print("// clang-format on\n\n} // namespace ombrel")


def main():
    text = io.StringIO()
    with contextlib.redirect_stdout(text):
        put_all()
    if "--check" not in sys.argv[1:]:
        TARGET.write_text(text.getvalue())
    elif TARGET.read_text() != text.getvalue():
        sys.exit(f"{TARGET.name} is not what {pathlib.Path(__file__).name} writes")


main()
