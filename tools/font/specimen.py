#!/usr/bin/env python3
"""Draws a specimen of the built-in fonts, as the library looks them up.

usage: specimen.py LIBRARY PICTURE [TEXT]      PICTURE is a PNG; TEXT a file to draw instead of the specimen
The sheet in docs/ is made by: tools/font/specimen.py build/release/source/libombrel_tuk.so docs/font_specimen.png
"""
import ctypes
import pathlib
import struct
import sys
import zlib

LEADING = 18
MARGIN = 8

# Lines, and how many times each is enlarged.
SPECIMEN = [
    (1, """The quick brown fox jumps over the lazy dog. 0123456789 Sphinx of black quartz, judge my vow!
for (int i = 0; i < n && list[i] != NULL; i++) { sum += a[i] * (b->x - 1); }  /* 100% ~ $5 */
0O 1lI| !i 5S 2Z 8B  '`" ,.:;  ()[]{}<>  +-*/=_^~\\ #@?&
다람쥐 헌 쳇바퀴에 타고파. 안녕하세요, 대한민국 서울! 괜찮아요? 한글 맞춤법과 띄어쓰기를 값 닭 삶 뷁
동해 물과 백두산이 마르고 닳도록 하느님이 보우하사 우리나라 만세. 무궁화 삼천리 화려 강산"""),
    (2, """ABCDEFGHIJKLMNOPQRSTUVWXYZ [\\]^_`
abcdefghijklmnopqrstuvwxyz {|}~ 0123456789
!"#$%&'()*+,-./ :;<=>?@  0O 1lI| rn m vv w
한글 다람쥐 헌 쳇바퀴에 타고파 안녕하세요
값 닭 삶 뷁 괜찮아요 의 왜 뒤 궤 쓰 까 꿰
각났닫랄맘밥삿앙잦찿캌탙팝 넋앉많읽젊넓곬핥읊앓없었"""),
    (3, """Hamburgefonstiv 0123 (a[i] != {x})
가갸거겨고교구규그기 개걔게계
나냐너녀노뇨누뉴느니 과괘괴궈궤귀긔
까따빠싸짜 꼬뚜쁘쏘쭈 꽃뜻쁨쏠쭉
안녕하세요 서울 대한민국"""),
]


class Library:
    def __init__(self, path):
        self.get = ctypes.CDLL(str(pathlib.Path(path).resolve())).ombrel_get_bitmap_font
        self.get.restype = ctypes.c_void_p

    def glyph(self, character):
        """Width, and 16 rows as numbers."""
        width, buffer = ctypes.c_uint(), ctypes.create_string_buffer(32)
        self.get(ctypes.byref(width), None, buffer, None, ctypes.c_uint32(ord(character)))
        size = width.value // 8
        return width.value, [int.from_bytes(buffer.raw[row * size:(row + 1) * size], "big") for row in range(16)]


def draw_line(library, text, scale):
    """Rows of a line of text; a row is text of 0 and 1."""
    rows = [""] * 16
    for character in text:
        width, glyph = library.glyph(character)
        rows = [row + f"{bits:0{width}b}" for row, bits in zip(rows, glyph)]
    rows += ["0" * len(rows[0])] * (LEADING - 16)
    return ["".join(bit * scale for bit in row) for row in rows for _ in range(scale)]


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def png(rows):
    """A grey picture of one bit a pixel; 1 is ink."""
    width = (max(map(len, rows)) + 2 * MARGIN + 7) // 8 * 8
    rows = [""] * MARGIN + rows + [""] * MARGIN
    paper = (1 << width) - 1
    lines = [("0" * MARGIN + row).ljust(width, "0") for row in rows]
    data = b"".join(b"\0" + (int(line, 2) ^ paper).to_bytes(width // 8, "big") for line in lines)
    head = struct.pack(">IIBBBBB", width, len(rows), 1, 0, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head) + chunk(b"IDAT", zlib.compress(data, 9)) + chunk(b"IEND", b""))


def main():
    library = Library(sys.argv[1])
    parts = SPECIMEN
    if len(sys.argv) > 3:
        text = pathlib.Path(sys.argv[3]).read_text(encoding="utf-8")
        parts = [(scale, text) for scale in (1, 2, 3)]
    rows = []
    for scale, text in parts:
        for line in text.splitlines():
            rows += draw_line(library, line, scale)
        rows += [""] * MARGIN
    pathlib.Path(sys.argv[2]).write_bytes(png(rows))


if __name__ == "__main__":
    main()
