"""The Hangul letters, drawn from strokes, each in the box that its variant set leaves to it.

A syllable joins an initial, a medial and perhaps a final; which sets it takes depends on its medial and on whether
it has a final, as the library's lookup says. The sets share 15 rows and columns of a glyph:

  initial 0     left of an upright vowel, full height
  initial 1, 2  above ㅗ ㅛ ㅡ, and above ㅜ ㅠ, which hang lower
  initial 3, 4  in the upper left corner, for vowels with both a lying and an upright part
  initial 5-7   as 0, 1 and 3, in the upper two thirds or less
  medial 0, 1   full height, for ㄱ and ㅋ, which are open below, and for all others
  medial 2, 3   the same above a final
  final 0-3     the lower third
"""

from typing import NamedTuple

INITIALS = "ㄱㄲㄴㄷㄸㄹㅁㅂㅃㅅㅆㅇㅈㅉㅊㅋㅌㅍㅎ"
MEDIALS = "ㅏㅐㅑㅒㅓㅔㅕㅖㅗㅘㅙㅚㅛㅜㅝㅞㅟㅠㅡㅢㅣ"
# ㅍ stands last, as the lookup takes glyph 26 for it and never glyph 25.
FINALS = "ㄱㄲㄳㄴㄵㄶㄷㄹㄺㄻㄼㄽㄾㄿㅀㅁㅂㅄㅅㅆㅇㅈㅊㅋㅌㅎㅍ"

PAIRS = {"ㄲ": "ㄱㄱ", "ㄸ": "ㄷㄷ", "ㅃ": "ㅂㅂ", "ㅆ": "ㅅㅅ", "ㅉ": "ㅈㅈ", "ㄳ": "ㄱㅅ", "ㄵ": "ㄴㅈ", "ㄶ": "ㄴㅎ",
         "ㄺ": "ㄹㄱ", "ㄻ": "ㄹㅁ", "ㄼ": "ㄹㅂ", "ㄽ": "ㄹㅅ", "ㄾ": "ㄹㅌ", "ㄿ": "ㄹㅍ", "ㅀ": "ㄹㅎ", "ㅄ": "ㅂㅅ"}

# Left, top, right and bottom pixel.
INITIAL_BOXES = ((0, 2, 7, 12), (3, 1, 12, 7), (3, 0, 12, 6), (1, 1, 8, 6), (1, 0, 8, 5), (0, 0, 7, 7), (3, 0, 12, 4),
                 (1, 0, 8, 4))
FINAL_BOX = (2, 10, 13, 14)  # every vowel leaves the same room


def initial_box(number, letter):
    left, top, right, bottom = INITIAL_BOXES[number]
    if letter == "ㅇ" and right - left > 7:
        return left + 1, top, right - 1, bottom
    if letter in "ㅁㅇ" and number == 0:
        return left, top + 1, right, bottom - 1
    # Doubles are 9 wide in place of 8, but for ㅃ where it would touch the tick of ㅓ.
    doubles = "ㄲㄸㅆㅉ" if left == 0 else "ㄲㄸㅃㅆㅉ"
    return left, top, right + (letter in doubles and right - left == 7), bottom


def final_box(letter):
    left, top, right, bottom = FINAL_BOX
    if letter in PAIRS:
        return left - 1, top, right, bottom
    inset = {"ㅅ": 1, "ㅈ": 1, "ㅊ": 1, "ㅎ": 1, "ㅇ": 2}.get(letter, 0)
    return left + inset, top, right - inset, bottom


class Box:
    """The part of a glyph that a letter fills. Strokes are in its own pixels, upright ones `pen` pixels wide."""

    def __init__(self, rows, pen, left, top, right, bottom):
        self.rows, self.pen, self.left, self.top = rows, pen, left, top
        self.right, self.bottom = right - left, bottom - top

    def part(self, left, top, right, bottom):
        return Box(self.rows, self.pen, self.left + left, self.top + top, self.left + right, self.top + bottom)

    def dot(self, x, y):
        x, y = x + self.left, y + self.top
        if not (0 <= x < 15 and 0 <= y < 15):
            raise ValueError(f"outside the glyph: {x}, {y}")
        self.rows[y] |= 0x8000 >> x

    def across(self, y, x1=0, x2=None):
        for x in range(x1, (self.right if x2 is None else x2) + 1):
            self.dot(x, y)

    def down(self, x, y1=0, y2=None):
        """A wide pen grows towards the middle of the box."""
        inwards = self.pen - 1 if x > self.right / 2 else 0
        for y in range(y1, (self.bottom if y2 is None else y2) + 1):
            self.across(y, x - inwards, x - inwards + self.pen - 1)

    @property
    def middle(self):
        return self.bottom // 2

    def legs(self):
        """Two legs that part from the middle of the top."""
        left = reach = self.right // 2
        right = self.right - left
        before = 0
        for y in range(self.bottom + 1):
            spread = round(reach * (y / self.bottom) ** 1.15)
            gap = max(0, spread - before - self.pen)
            self.across(y, left - spread, left - spread + self.pen - 1 + gap)
            self.across(y, right + spread - self.pen + 1 - gap, right + spread)
            before = spread

    def ring(self):
        """An ellipse that touches the four sides."""
        corner = [2, 1] if min(self.right, self.bottom) >= 4 and self.right >= 5 else [1]
        for y in range(self.bottom + 1):
            from_edge = min(y, self.bottom - y)
            inset = corner[from_edge] if from_edge < len(corner) else 0
            if from_edge == 0:
                self.across(y, inset, self.right - inset)
            else:
                self.across(y, inset, inset + self.pen - 1)
                self.across(y, self.right - inset - self.pen + 1, self.right - inset)


def kiyeok(box):
    box.across(0)
    if box.bottom <= box.right:
        box.down(box.right)
        return
    for y in range(1, box.bottom + 1):
        slant = int((box.right - 2) * (y / box.bottom) ** (2.2 if box.right > 4 else 1) + 0.5)
        box.across(y, box.right - slant - box.pen + 1, box.right - slant)


def nieun(box):
    box.down(0)
    box.across(box.bottom)


def tikeut(box):
    box.across(0)
    nieun(box)


def rieul(box):
    for y in (0, box.middle, box.bottom):
        box.across(y)
    box.down(box.right, 0, box.middle)
    box.down(0, box.middle)


def mieum(box):
    box.across(0)
    box.across(box.bottom)
    box.down(0)
    box.down(box.right)


def pieup(box):
    box.down(0)
    box.down(box.right)
    box.across(box.middle)
    box.across(box.bottom)


def sios(box):
    box.legs()


def ieung(box):
    box.ring()


def cieuc(box):
    box.across(0)
    box.part(0, 1, box.right, box.bottom).legs()


def tick(box):
    """The short stroke on top; gives the row of the long one."""
    half = (box.right - 1) // 2
    if box.bottom >= 7:
        box.across(0, half - 1, box.right - half + 1)
        return 2
    box.across(0, half, box.right - half)
    return 1


def chieuch(box):
    cieuc(box.part(0, tick(box), box.right, box.bottom))


def khieukh(box):
    kiyeok(box)
    box.across(box.middle, 0, box.right - 1)


def thieuth(box):
    tikeut(box)
    box.across(box.middle)


def phieuph(box):
    box.across(0)
    box.across(box.bottom)
    inset = max(1, box.right // 4)
    box.down(inset)
    box.down(box.right - inset)


def hieuh(box):
    row = tick(box)
    box.across(row)
    inset = 1 if box.right > 6 else 0
    box.part(inset, row + 1 + (box.bottom >= 7), box.right - inset, box.bottom).ring()


CONSONANTS = {"ㄱ": kiyeok, "ㄴ": nieun, "ㄷ": tikeut, "ㄹ": rieul, "ㅁ": mieum, "ㅂ": pieup, "ㅅ": sios, "ㅇ": ieung,
              "ㅈ": cieuc, "ㅊ": chieuch, "ㅋ": khieukh, "ㅌ": thieuth, "ㅍ": phieuph, "ㅎ": hieuh}


def draw_consonant(letter, box):
    if letter not in PAIRS:
        CONSONANTS[letter](box)
        return
    width = box.right + 1
    if letter == "ㄿ" or width < 11 and letter not in "ㄲㄸ":
        box.pen = 1  # wide strokes would run together
    gap = {8: 0, 10: 2}.get(width, 1)
    left_width = (width - gap) // 2
    first, second = PAIRS[letter]
    draw_consonant(first, box.part(0, 0, left_width - 1, box.bottom))
    draw_consonant(second, box.part(left_width + gap, 0, box.right, box.bottom))


class Heights(NamedTuple):
    """The rows of a vowel's strokes."""

    bottom: int    # where upright stems end, and those below ㅜ
    bars: dict
    rise: int      # where the stems above ㅗ begin
    single: tuple  # ticks
    double: tuple
    low: tuple     # below the bar of ㅜ


OPEN = Heights(bottom=14, bars={"ㅗ": 12, "ㅡ": 10, "ㅜ": 8}, rise=9, single=(7,), double=(5, 9), low=(11,))
CLOSED = Heights(bottom=8, bars={"ㅗ": 8, "ㅡ": 7, "ㅜ": 6}, rise=6, single=(4,), double=(2, 6), low=(8,))

# The columns of stems, and the first and last column of ticks.
UPRIGHT = {"ㅏ": ((11, 12), (13, 14)), "ㅐ": ((10, 11, 13, 14), (12, 12)), "ㅓ": ((12, 13), (9, 11)),
           "ㅔ": ((11, 13, 14), (9, 10)), "ㅣ": ((12, 13), (12, 12))}
UPRIGHT_AFTER_BAR = {**UPRIGHT, "ㅐ": ((11, 13, 14), (12, 12))}
TWICE = {"ㅑ": "ㅏ", "ㅒ": "ㅐ", "ㅕ": "ㅓ", "ㅖ": "ㅔ"}
# The columns where stems of two pixels begin: alone, and in the corner below an initial.
LYING = {"ㅗ": ((7,), (4,)), "ㅛ": ((4, 10), ()), "ㅜ": ((7,), (4,)), "ㅠ": ((4, 10), ()), "ㅡ": ((), ())}
COMPOUND = {"ㅘ": "ㅗㅏ", "ㅙ": "ㅗㅐ", "ㅚ": "ㅗㅣ", "ㅝ": "ㅜㅓ", "ㅞ": "ㅜㅔ", "ㅟ": "ㅜㅣ", "ㅢ": "ㅡㅣ"}


def draw_upright(box, shape, rows):
    stems, ticks = shape
    for x in stems:
        box.down(x)
    for y in rows:
        box.across(y, *ticks)


def draw_lying(box, letter, left, right, stems, heights):
    kind = {"ㅛ": "ㅗ", "ㅠ": "ㅜ"}.get(letter, letter)
    bar = heights.bars[kind]
    box.across(bar, left, right)
    first, last = (heights.rise, bar) if kind == "ㅗ" else (bar, box.bottom)
    for x in stems:
        for y in range(first, last + 1):
            box.across(y, x, x + 1)


def draw_medial(letter, box, heights):
    if letter in COMPOUND:
        lying, upright = COMPOUND[letter]
        draw_lying(box, lying, 0, 9, LYING[lying][1], heights)
        draw_upright(box, UPRIGHT_AFTER_BAR[upright], heights.low if lying == "ㅜ" else heights.single)
    elif letter in LYING:
        draw_lying(box, letter, 1, 14, LYING[letter][0], heights)
    elif letter in TWICE:
        draw_upright(box, UPRIGHT[TWICE[letter]], heights.double)
    else:
        draw_upright(box, UPRIGHT[letter], heights.single)


def consonant(letter, corners):
    rows = [0] * 16
    draw_consonant(letter, Box(rows, 2, *corners))
    return letter, rows


def medial(letter, number):
    rows = [0] * 16
    heights = CLOSED if number >= 2 else OPEN
    if number % 2 == 0 and letter != "ㅛ":  # of which a stem would meet the arm of ㄱ and ㅋ
        heights = heights._replace(rise=heights.rise - 1)
    draw_medial(letter, Box(rows, 1, 0, 0, 14, heights.bottom), heights)
    return letter, rows


def banks():
    """Name, and for each set its letters with their 16 rows."""
    yield "initials", [[consonant(c, initial_box(number, c)) for c in INITIALS] for number in range(8)]
    yield "medials", [[medial(v, number) for v in MEDIALS] for number in range(4)]
    yield "finals", [[consonant(c, final_box(c)) for c in FINALS]] * 4
