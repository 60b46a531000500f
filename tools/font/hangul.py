"""The Hangul letters, drawn from strokes, each in the box that its variant set leaves to it."""

INITIALS = "ㄱㄲㄴㄷㄸㄹㅁㅂㅃㅅㅆㅇㅈㅉㅊㅋㅌㅍㅎ"
MEDIALS = "ㅏㅐㅑㅒㅓㅔㅕㅖㅗㅘㅙㅚㅛㅜㅝㅞㅟㅠㅡㅢㅣ"
FINALS = "ㄱㄲㄳㄴㄵㄶㄷㄹㄺㄻㄼㄽㄾㄿㅀㅁㅂㅄㅅㅆㅇㅈㅊㅋㅌㅍㅎ"

PAIRS = {"ㄲ": "ㄱㄱ", "ㄸ": "ㄷㄷ", "ㅃ": "ㅂㅂ", "ㅆ": "ㅅㅅ", "ㅉ": "ㅈㅈ", "ㄳ": "ㄱㅅ", "ㄵ": "ㄴㅈ", "ㄶ": "ㄴㅎ",
         "ㄺ": "ㄹㄱ", "ㄻ": "ㄹㅁ", "ㄼ": "ㄹㅂ", "ㄽ": "ㄹㅅ", "ㄾ": "ㄹㅌ", "ㄿ": "ㄹㅍ", "ㅀ": "ㄹㅎ", "ㅄ": "ㅂㅅ"}


class Canvas:
    """Pixels of one 16×16 glyph; the first row and column are at the top left."""

    def __init__(self):
        self.rows = [0] * 16

    def dot(self, x, y):
        if not (0 <= x < 16 and 0 <= y < 16):
            raise ValueError(f"outside the glyph: {x}, {y}")
        self.rows[y] |= 0x8000 >> x

    def across(self, y, x1, x2):
        for x in range(x1, x2 + 1):
            self.dot(x, y)

    def down(self, x, y1, y2):
        for y in range(y1, y2 + 1):
            self.dot(x, y)


class Box:
    """The part of a glyph that a letter fills; strokes are in its own pixels."""

    def __init__(self, canvas, left, top, right, bottom):
        self.canvas, self.left, self.top = canvas, left, top
        self.right, self.bottom = right - left, bottom - top

    def part(self, left, top, right, bottom):
        return Box(self.canvas, self.left + left, self.top + top, self.left + right, self.top + bottom)

    def across(self, y, x1=0, x2=None):
        self.canvas.across(self.top + y, self.left + x1, self.left + (self.right if x2 is None else x2))

    def down(self, x, y1=0, y2=None):
        self.canvas.down(self.left + x, self.top + y1, self.top + (self.bottom if y2 is None else y2))

    @property
    def middle(self):
        return self.bottom // 2

    def legs(self):
        """Two legs that part from the middle of the top, the wider the lower."""
        centres = {self.right // 2, (self.right + 1) // 2}
        half = self.right // 2
        before = 0
        for y in range(self.bottom + 1):
            spread = round(half * (y / self.bottom) ** 1.4) if self.bottom else 0
            for step in range(min(before + 1, spread), spread + 1):
                self.canvas.dot(self.left + min(centres) - step, self.top + y)
                self.canvas.dot(self.left + max(centres) + step, self.top + y)
            before = spread

    def ring(self):
        """An ellipse that touches the four sides."""
        across, down = self.right / 2, self.bottom / 2
        before = None
        for y in range(self.bottom + 1):
            mirrored = min(y, self.bottom - y)
            height = (down - mirrored) / (down + 0.35)
            edge = round(across - across * (1 - height * height) ** 0.5)
            if before is None:
                self.across(0, edge, self.right - edge)
                self.across(self.bottom, edge, self.right - edge)
            elif mirrored == y:
                for x in range(edge, max(edge + 1, before)):
                    for row in (y, self.bottom - y):
                        self.canvas.dot(self.left + x, self.top + row)
                        self.canvas.dot(self.left + self.right - x, self.top + row)
            before = edge


def kiyeok(box):
    box.across(0)
    box.down(box.right)


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
    kiyeok(box)
    nieun(box)


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
    centre = box.right // 2
    if box.bottom >= 7:
        box.across(0, centre - 1, box.right - centre + 1)
        return 2
    box.across(0, centre, box.right - centre)
    return 1


def chieuch(box):
    cieuc(box.part(0, tick(box), box.right, box.bottom))


def khieukh(box):
    kiyeok(box)
    box.across(box.middle)


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
    box.part(inset, row + 1, box.right - inset, box.bottom).ring()


CONSONANTS = dict(zip("ㄱㄴㄷㄹㅁㅂㅅㅇㅈㅊㅋㅌㅍㅎ", (
    kiyeok, nieun, tikeut, rieul, mieum, pieup, sios, ieung, cieuc, chieuch, khieukh, thieuth, phieuph, hieuh)))


def consonant(letter, box):
    if letter not in PAIRS:
        CONSONANTS[letter](box)
        return
    first, second = PAIRS[letter]
    width = (box.right - 1) // 2
    consonant(first, box.part(0, 0, width, box.bottom))
    consonant(second, box.part(box.right - width, 0, box.right, box.bottom))


# Left, top, right and bottom pixel of each set's letters.
INITIAL_BOXES = ((0, 2, 8, 12), (2, 1, 12, 7), (2, 0, 12, 6), (0, 1, 8, 6), (0, 0, 8, 5), (0, 0, 8, 7), (2, 0, 12, 4),
                 (0, 0, 8, 4))
FINAL_BOXES = ((2, 10, 12, 14),) * 4


def medial(letter, closed):
    canvas = Canvas()
    bottom = 8 if closed else 14
    middle = bottom // 2
    shape = {"ㅏ": (("r", 1, 1),)}
    draw_vertical(canvas, letter, bottom, middle)
    draw_horizontal(canvas, letter, closed)
    return canvas.rows


UPRIGHT = {  # stems, and the ticks' sides and number
    "ㅏ": ((11,), (12, 14), 1), "ㅐ": ((11, 14), (12, 13), 1), "ㅑ": ((11,), (12, 14), 2), "ㅒ": ((11, 14), (12, 13), 2),
    "ㅓ": ((13,), (10, 12), 1), "ㅔ": ((12, 14), (10, 11), 1), "ㅕ": ((13,), (10, 12), 2), "ㅖ": ((12, 14), (10, 11), 2),
    "ㅣ": ((13,), None, 0)}
LYING = {"ㅗ": (-1, (7,)), "ㅛ": (-1, (4, 10)), "ㅜ": (1, (7,)), "ㅠ": (1, (4, 10)), "ㅡ": (0, ())}
COMPOUND = {"ㅘ": "ㅗㅏ", "ㅙ": "ㅗㅐ", "ㅚ": "ㅗㅣ", "ㅝ": "ㅜㅓ", "ㅞ": "ㅜㅔ", "ㅟ": "ㅜㅣ", "ㅢ": "ㅡㅣ"}


def draw_vertical(canvas, letter, bottom, middle):
    upright = COMPOUND[letter][1] if letter in COMPOUND else letter
    if upright not in UPRIGHT:
        return
    stems, ticks, count = UPRIGHT[upright]
    for x in stems:
        canvas.down(x, 0, bottom)
    rows = {0: (), 1: (middle,), 2: (middle - 2 + (bottom < 10), middle + 2 - (bottom < 10))}[count]
    if letter in ("ㅝ", "ㅞ"):
        rows = (8,) if bottom == 8 else (11,)
    for y in rows:
        canvas.across(y, *ticks)


def draw_horizontal(canvas, letter, closed):
    lying = COMPOUND[letter][0] if letter in COMPOUND else letter
    if lying not in LYING:
        return
    way, stems = LYING[lying]
    narrow = letter in COMPOUND
    bar = {-1: 8, 0: 7, 1: 6}[way] if closed else {-1: 12, 0: 10, 1: 8}[way]
    canvas.across(bar, 0, 9 if narrow else 14)
    for x in ((4,) if narrow else stems):
        if way < 0:
            canvas.down(x, bar - (2 if closed else 3), bar)
        if way > 0:
            canvas.down(x, bar, 8 if closed else 14)


def banks():
    def initials(box):
        return [(letter, drawn(letter, box)) for letter in INITIALS]

    def drawn(letter, box):
        canvas = Canvas()
        consonant(letter, Box(canvas, *box))
        return canvas.rows

    yield "initials", [initials(box) for box in INITIAL_BOXES]
    yield "medials", [[(letter, medial(letter, closed)) for letter in MEDIALS] for closed in (0, 0, 1, 1)]
    yield "finals", [[(letter, drawn(letter, box)) for letter in FINALS] for box in FINAL_BOXES]
