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

NO_LEAD = 0xFF  # as `first` of a row: the byte begins no character
BLOCK = 64  # code points of a block of the tables from Unicode
EUC_COLUMNS = {trail: trail - 0xA1 for trail in range(0xA1, 0xFF)}
CP949_COLUMNS = {trail: column for column, trail in
                 enumerate([*range(0x41, 0x5B), *range(0x61, 0x7B), *range(0x81, 0xFF)])}
SHIFT_COLUMNS = {trail: column for column, trail in enumerate([*range(0x40, 0x7F), *range(0x80, 0xFD)])}
PRIVATE = range(0xE000, 0xF900)


def decode(codec, data):
    """The code of one character, 0 when it is none."""
    try:
        text = bytes(data).decode(codec)
    except UnicodeDecodeError:
        return 0
    return ord(text) if len(text) == 1 else 0


class Pool:
    """Rows of characters one behind the other; what is there already is not stored twice."""

    def __init__(self):
        self.cells = []
        self.known = {}

    def add(self, cells):
        """The row without what is empty at its ends: (start, first column, columns)."""
        used = [column for column, code in enumerate(cells) if code]
        if not used:
            return (0, 0, 0)
        first, last = used[0], used[-1]
        key = tuple(cells[first:last + 1])
        if key not in self.known:
            self.known[key] = len(self.cells)
            self.cells.extend(key)
        return (self.known[key], first, len(key))

    def add_part(self, whole, cells, offset):
        """A row that is the part of `whole`, a row of this pool, from column `offset` on."""
        start, first, count = whole
        used = [column for column, code in enumerate(cells) if code]
        if not used:
            return (0, 0, 0)
        part = (start + used[0] + offset - first, used[0], used[-1] - used[0] + 1)
        assert self.cells[part[0]:part[0] + part[2]] == cells[used[0]:used[-1] + 1]
        return part


def cells_of(codec, lead, columns, before=()):
    """A row of a set, without the areas for private use, which are computed."""
    cells = [0] * len(columns)
    for trail, column in columns.items():
        code = decode(codec, [*before, lead, trail])
        cells[column] = 0 if code in PRIVATE else code
    return cells


def rows(leads, row_of):
    return [row_of(lead) if lead in leads else (0, NO_LEAD, 0) for lead in range(0x80, 0x100)]


def euc_kr_cells(lead):
    cells = cells_of("euc_kr", lead, EUC_COLUMNS)
    if lead == 0xA4:  # for Python the filler begins syllables composed of eight bytes
        cells[0xD4 - 0xA1] = 0x3164
    return cells


def korean_tables():
    pool = Pool()
    cp949 = rows(range(0x81, 0xFF), lambda lead: pool.add(cells_of("cp949", lead, CP949_COLUMNS)))
    offset = CP949_COLUMNS[0xA1]
    euc_kr = rows(range(0xA1, 0xFF), lambda lead: pool.add_part(cp949[lead - 0x80], euc_kr_cells(lead), offset))
    return pool, cp949, euc_kr


def japanese_tables():
    pool = Pool()
    shift_leads = [*range(0x81, 0xA0), *range(0xE0, 0xF0)]
    windows_leads = [*range(0x81, 0xA0), *range(0xE0, 0xFD)]
    shift = rows(shift_leads, lambda lead: pool.add(cells_of("shift_jis", lead, SHIFT_COLUMNS)))
    windows = rows(windows_leads, lambda lead: pool.add(cells_of("cp932", lead, SHIFT_COLUMNS)))

    def euc_row(lead):  # each row of Shift_JIS is two of EUC-JP
        index = lead - 0xA1
        whole = shift[(0x81 if index < 62 else 0xC1) + index // 2 - 0x80]
        return pool.add_part(whole, cells_of("euc_jp", lead, EUC_COLUMNS), index % 2 * 94)

    euc = rows(range(0xA1, 0xFF), euc_row)
    supplement = rows(range(0xA1, 0xFF), lambda lead: pool.add(cells_of("euc_jp", lead, EUC_COLUMNS, [0x8F])))
    return pool, shift, windows, euc, supplement


def korean_codes():
    codes = {}
    for code in range(0x80, 0x10000):
        try:
            codes[code] = int.from_bytes(chr(code).encode("cp949"), "big")
        except UnicodeEncodeError:
            pass
    return codes


def japanese_codes():
    """JIS X 0208 as two bytes of seven bits, 0212 with the highest bit of the first set."""
    codes = {}
    for code in range(0x80, 0x10000):
        try:
            data = chr(code).encode("euc_jp")
        except UnicodeEncodeError:
            continue
        if len(data) == 2 and data[0] != 0x8E:
            codes[code] = int.from_bytes(data, "big") & 0x7F7F
        elif len(data) == 3:
            codes[code] = int.from_bytes(data[1:], "big") & 0xFF7F
    return codes


def shifted(code):
    row, column = (code >> 8) - 0x21, (code & 0xFF) - 0x21
    lead = row // 2 + (0x81 if row < 62 else 0xC1)
    column += row % 2 * 94
    return lead << 8 | (column + 0x40 + (column > 62))


def windows_extras(japanese):
    """What CP932 has beside JIS X 0208, as (code, bytes)."""
    extras = []
    for code in range(0x80, 0x10000):
        try:
            data = chr(code).encode("cp932")
        except UnicodeEncodeError:
            assert not 0 < japanese.get(code, 0) < 0x8000
            continue
        common = japanese.get(code, 0)
        if 0 < common < 0x8000:
            assert shifted(common) == int.from_bytes(data, "big"), hex(code)
        elif len(data) == 2 and code not in PRIVATE:
            extras.append((code, int.from_bytes(data, "big")))
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


def put_rows(name, table):
    print(f"constinit const charset_row {name}[{len(table)}] = {{")
    for start in range(0, len(table), 6):
        print("    " + ", ".join("{%d, %d, %d}" % row for row in table[start:start + 6]) + ",")
    print("};")


def put_columns(name, columns):
    put_numbers("uint8_t", name, [columns.get(trail, 0xFF) for trail in range(0x100)], 2)


def put_all():
    korean, cp949, euc_kr = korean_tables()
    japanese, shift_jis, cp932, euc_jp, jis_x_0212 = japanese_tables()
    print("// Written by tools/charset/generate.py from the codecs of Python; change that, not this.")
    print('#include "text/charset/charset_tables.h"\n\nnamespace ombrel {\n\n// clang-format off')
    for name, columns in (("euc_columns", EUC_COLUMNS), ("cp949_columns", CP949_COLUMNS),
                          ("shift_jis_columns", SHIFT_COLUMNS)):
        put_columns(name, columns)
    for name, table in (("euc_kr_rows", euc_kr), ("cp949_rows", cp949), ("euc_jp_rows", euc_jp),
                        ("jis_x_0212_rows", jis_x_0212), ("shift_jis_rows", shift_jis), ("cp932_rows", cp932)):
        put_rows(name, table)
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
