"""Compares the command "iconv" with Python's codecs over all their characters, and looks at its complaints.

usage: iconv_test.py OMBREL_TUK [TEST ...]
"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

TOOL = ""
# What Python's codecs have otherwise, as characters of the set: (read, written).
DIFFERENCES = {
    "euc_kr": ("", lambda data: len(data) == 8),  # syllables composed of eight bytes, and the filler, their sign
    "cp932": ("", lambda data: data[0] in (0xED, 0xEE)),  # where Windows writes IBM's, Python does what NEC selected
    "euc_jp": ("\uff5e~", lambda data: False),  # the tilde of JIS X 0212 is read as that of ASCII there
}


def run(data, *arguments):
    result = subprocess.run([TOOL, "iconv", *arguments], input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120)
    return result.returncode, result.stdout, result.stderr.decode()


def sequences(codec):
    for first in range(0x80, 0x100):
        yield bytes([first])
        for second in range(0x21, 0x100):
            yield bytes([first, second])
            if codec == "euc_jp" and first == 0x8F:
                yield from (bytes([first, second, third]) for third in range(0x80, 0x100))


class IconvTest(unittest.TestCase):
    def test_characters_are_those_of_python(self):
        for codec in ("ascii", "latin-1", "cp1252", "euc_kr", "cp949", "shift_jis", "cp932", "euc_jp"):
            read, differs = DIFFERENCES.get(codec, ("", lambda data: False))
            lines, expected = [], []
            for data in sequences(codec):
                try:
                    text = data.decode(codec)
                except UnicodeDecodeError:
                    continue
                if len(text) == 1 and text not in read:
                    lines.append(data)
                    expected.append(text)
            self.assertEqual((0, "\n".join(expected).encode(), ""), run(b"\n".join(lines), "-f", codec, "-t", "utf-8"), codec)
            text = "".join(map(chr, [*range(0xD800), *range(0xE000, 0x30000)]))
            wanted = [character.encode(codec, "ignore") for character in text]
            kept = "".join(c for c, data in zip(text, wanted) if (not data or not differs(data)) and c not in read[:1])
            data = kept.encode(codec, "ignore")
            self.assertEqual((0, data, ""), run(kept.encode(), "-c", "-f", "utf-8", "-t", codec), codec)

    def test_unicode_both_ways(self):
        text = "".join(map(chr, [*range(1, 0xD800, 3), *range(0xE000, 0x110000, 7)]))
        for there in ("utf-8", "utf-16", "utf-16-le", "utf-16-be", "utf-32", "utf-32-le", "utf-32-be"):
            self.assertEqual((0, text.encode(there), ""), run(text.encode(), "-t", there))
            self.assertEqual((0, text.encode(), ""), run(text.encode(there), "-f", there))

    def test_complaints(self):
        for data, arguments, complaint in (
                (b"a\xff", ["-f", "utf-8"], "iconv: -: offset 1: bytes that are no character of the set (FF)\n"),
                (b"ab\xe3\x81", [], "iconv: -: offset 2: the input ends within a character (E3 81)\n"),
                ("é가".encode(), ["-t", "latin1"], "iconv: -: offset 2: the other set does not have the character (U+AC00)\n"),
                (b"", ["-f", "klingon"], "iconv: klingon: unknown character set\n"),
                (b"", ["-t", "ascii", "-r", "é"], "iconv: é: no replacement in the other set\n")):
            code, _, error = run(data, *arguments)
            self.assertEqual((1, complaint), (code, error))
        for arguments in (["--no-such-option"], ["a", "b"], ["-f"]):
            self.assertEqual(2, run(b"", *arguments)[0], arguments)

    def test_policies_and_marks(self):
        text = "a\u00e9\uac00".encode() + b"\xff"
        for arguments, expected in (
                (["-c"], b"a"), (["-r", "<?>"], b"a<?><?><?>"), (["-e"], b"a\\u00E9\\uAC00\\xFF"), (["-cx"], b"a&#xE9;&#xAC00;"),
                (["-cB", "-t", "utf-16be"], b"\xfe\xff\0a\0\xe9\xac\0"), (["-cbt", "ascii"], b"a")):
            self.assertEqual((0, expected, ""), run(text, "-t", "ascii", *arguments), arguments)
        self.assertEqual((0, b"a", ""), run(b"\xef\xbb\xbfa", "-b"))

    def test_lists_and_detects(self):
        names = run(b"", "-l")[1].decode().splitlines()
        self.assertEqual(15, len(names))
        for name in [name for line in names for name in line.split()]:
            self.assertEqual(0, run(b"", "-f", name)[0], name)
        with tempfile.TemporaryDirectory() as directory:
            korean, empty = pathlib.Path(directory, "korean"), pathlib.Path(directory, "empty")
            korean.write_bytes("모든 인간은 태어날 때부터 자유로우며 그 존엄과 권리에 있어 동등하다.".encode("cp949"))
            empty.touch()
            code, out, error = run(b"", "--detect", str(korean), "nowhere", str(empty))
            self.assertEqual(1, code)
            lines = out.decode().splitlines()
            self.assertTrue(lines[0].startswith(f"{korean}: EUC-KR (confidence "), lines)
            self.assertEqual([f"{empty}: empty"], lines[1:])
            self.assertTrue(error.startswith("iconv: nowhere: "))


if __name__ == "__main__":
    TOOL = sys.argv.pop(1)
    unittest.main(verbosity=2)
