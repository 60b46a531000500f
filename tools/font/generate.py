#!/usr/bin/env python3
"""Writes the data files of the built-in fonts: Latin from its sheet of pixels, Hangul from strokes.

usage: generate.py [--check]      --check writes nothing and fails when a file differs from what would be written
"""
import pathlib
import sys

sys.dont_write_bytecode = True
import hangul

HERE = pathlib.Path(__file__).resolve().parent
GRAPHICS = HERE.parent.parent / "source" / "graphics" / "font"

HEAD = """// The {title}, written by tools/font/generate.py.
// clang-format off
#include "graphics/font/font_data.h"

namespace ombrel::graphics {{

const std::array<uint8_t, {size}> {name} = {{
"""
TAIL = """};

} // namespace ombrel::graphics
"""


def latin():
    """128 glyphs of 16 rows, from the sheet: a line of codes, 9 columns each, and 16 lines of pixels below it."""
    glyphs = {}
    lines = iter((HERE / "latin_8x16.txt").read_text().split("\n\n", 1)[1].splitlines())
    for line in lines:
        if not line:
            continue
        rows = [next(lines).split() for _ in range(16)]
        for column, at in enumerate(range(0, len(line), 9)):
            cells = [row[column] for row in rows]
            if any(len(cell) != 8 or cell.strip("#.") for cell in cells):
                raise ValueError(f"glyph {line[at:at + 2]}: {cells}")
            glyphs[int(line[at:at + 2], 16)] = [int(cell.replace("#", "1").replace(".", "0"), 2) for cell in cells]
    return [glyphs[code] for code in range(128)]


def hexadecimal(data):
    return " ".join(f"0x{byte:02X}," for byte in data)


def latin_file():
    lines = [HEAD.format(title="8×16 Latin font", size="def_ombrel_bitmap_font_8x16_en_size", name="font_8x16_en")]
    for code, glyph in enumerate(latin()):
        text = f" {chr(code)}" if 32 < code < 127 and code != 0x5C else ""
        lines.append(f"    // {code:02X}{text}\n    {hexadecimal(glyph)}\n")
    return "".join(lines) + TAIL


def hangul_file():
    lines = [HEAD.format(title="16×16 Hangul font", size="def_ombrel_bitmap_font_16x16_ko_size", name="font_16x16_ko")]
    for bank, sets in hangul.banks():
        for number, glyphs in enumerate(sets):
            for letter, rows in glyphs:
                data = b"".join(row.to_bytes(2, "big") for row in rows)
                lines.append(f"    // {bank}, set {number}: {letter}\n")
                lines += [f"    {hexadecimal(data[at:at + 16])}\n" for at in (0, 16)]
    return "".join(lines) + TAIL


def main():
    check = sys.argv[1:] == ["--check"]
    status = 0
    for name, text in (("font_8x16_en_data.cpp", latin_file()), ("font_16x16_ko_data.cpp", hangul_file())):
        path = GRAPHICS / name
        if not check:
            path.write_text(text, encoding="utf-8")
        elif path.read_text(encoding="utf-8") != text:
            print(f"{name} is not what tools/font/generate.py writes", file=sys.stderr)
            status = 1
    return status


if __name__ == "__main__":
    sys.exit(main())
