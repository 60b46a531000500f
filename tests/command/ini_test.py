"""Runs the command for INI files beside configparser and git.

usage: ini_test.py OMBREL_TUK [TEST ...]
"""
import configparser
import os
import random
import re
import shutil
import stat
import subprocess
import sys
import tempfile
import unittest

TOOL = ""


def ini(*arguments, data=None):
    result = subprocess.run([TOOL, "ini", *arguments], input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)
    return result.returncode, result.stdout, result.stderr.decode().replace("\r\n", "\n")


class IniTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.file = os.path.join(self.folder.name, "file.ini")

    def tearDown(self):
        self.folder.cleanup()

    def put(self, data):
        with open(self.file, "wb") as file:
            file.write(data)

    def text(self):
        with open(self.file, "rb") as file:
            return file.read()

    def test_changes_leave_the_rest(self):
        """(options, before, arguments, after)"""
        cases = (
            ("set a k 2", b"; c\r\n\r\n[a]\r\n  k =  1 ; one\r\n\n[b] # x\nk:3", b"; c\r\n\r\n[a]\r\n  k =  2 ; one\r\n\n[b] # x\nk:3"),
            ("set b k 4", b"[a]\r\nk=1\r\n[b]\r\nk:3", b"[a]\r\nk=1\r\n[b]\r\nk:4"),
            ("set a n 2", b"[a]\n\tk=1\n# end\n\n# of b\n[b]\nk=3\n", b"[a]\n\tk=1\n\tn=2\n# end\n\n# of b\n[b]\nk=3\n"),
            ("set a n 2", b"[a]\n# about a\n\n[b]\n", b"[a]\n# about a\nn = 2\n\n[b]\n"),
            ("set b n 2", b"[a]\r\nk = 1\r\n\r\n[b]\r\nlong    = 1", b"[a]\r\nk = 1\r\n\r\n[b]\r\nlong    = 1\r\nn       = 2"),
            ("set '' n 3", b"k = 1\r\n  2", b"k = 1\r\n  2\r\nn = 3"),
            ("set c n 2", b"[a]\nk = 1\n\n[b]\nk = 1\n", b"[a]\nk = 1\n\n[b]\nk = 1\n\n[c]\nn = 2\n"),
            ("set c n 2", b"[a]\nk=1\n[b]\nk=1\n", b"[a]\nk=1\n[b]\nk=1\n[c]\nn=2\n"),
            ("set '' n 2", b"\xef\xbb\xbf# head\n\n[a]\nk = 1\n", b"\xef\xbb\xbf# head\nn = 2\n\n[a]\nk = 1\n"),
            ("set '' n 2", b"# of a\n[a]\n", b"n = 2\n# of a\n[a]\n"),
            ("set a k 2", b"[a]\nk = \"old\"\n[a]\nk = 1\nk=\n", b"[a]\nk = \"old\"\n[a]\nk = 1\nk=2\n"),
            ("set a k 2", b"[a]\r\nk = \r\nl = 1\r\n", b"[a]\r\nk = 2\r\nl = 1\r\n"),
            ("set a k 2", b"[a]\r\nk=\r\n  more\r\n", b"[a]\r\nk=2\r\n"),
            ("set -d git a k 2", b"[a] k =\t\r\n", b"[a] k =\t2\r\n"),
            ("set a k 2", b"[a]\nk = 'old\n  # why\n  more ; c\nl = 1\n", b"[a]\nk = 2 ; c\n  # why\nl = 1\n"),
            ("delete a k", b"# c\n[a]\n# k\nk = 1\n  more\nl = 2\nk = 3", b"# c\n[a]\n# k\nl = 2\n"),
            ("delete -d git core ignored", b"[Core] ignored = 1 ; c\n\tx\n", b"[Core]\n\tx\n"),
            ("set -d git core Y -z", b"[Core] ignored = 1 ; c", b"[Core] ignored = 1 ; c\n\tY = -z"),
            ("set -d git a.B k \"a;b\"", b"[a \"b\"]\n\tk = \"x # y\" # z\n", b"[a \"b\"]\n\tk = \"a;b\" # z\n"),
            ("set a.B k 1", b"[a \"B\"]\n", b"[a \"B\"]\nk = 1\n"),
            ("set a k 1", b"[a]\n\tk # c\n\tl\n", b"[a]\n\tk = 1 # c\n\tl\n"),
        )
        for line, before, after in cases:
            with self.subTest(line=line, before=before):
                self.put(before)
                words = [word.strip("'\"") for word in line.split(" ")]
                place = 3 if "-d" in words else 1
                self.assertEqual((0, b"", ""), ini(*words[:place], self.file, *words[place:]))
                self.assertEqual(after, self.text())

    def test_what_is_set_is_got(self):
        values = ["", " a ", "; c", "a # b", "a ;b", "\"", "\"q\"", "a\"b", "\\", "a\\", "C:\\new\\", "[x]", "\t", "a\nb", "\n", " # ", "=", ":", "a, b", "\u00e4\uac00", "\r", "-v", "--help"]
        for dialect in ("plain", "git"):
            for value in values:
                with self.subTest(dialect=dialect, value=value):
                    self.assertEqual((0, b"", ""), ini("set", "-d", dialect, self.file, "s", "k", value))
                    code, out, _ = ini("get", "-d", dialect, self.file, "s", "k")
                    self.assertEqual((0, value.encode() + b"\n"), (code, out.replace(b"\r\n", b"\n") if os.name == "nt" else out))
            ini("delete", "-d", dialect, self.file, "s", "k")

    def test_results(self):
        self.put(b"bare\nk = 0\n[a]\nk = 1\nk = 2\n[remote \"o\"]\nurl = u\n")
        for arguments, expected in ((("a", "k"), b"2\n"), (("", "k"), b"0\n"), (("", "bare"), b"\n"), (("remote.o", "url"), b"u\n"), (('remote "o"', "url"), b"u\n")):
            self.assertEqual((0, expected, ""), ini("get", self.file, *arguments))
        self.assertEqual((0, b"1\n2\n", ""), ini("get", "-a", self.file, "a", "k"))
        self.assertEqual((0, b"v\n", ""), ini("get", "-", "s", "k", data=b"[s]\nk=v"))
        self.assertEqual((0, b"[s]\nk=w ; c\n", ""), ini("set", "-", "s", "k", "w", data=b"[s]\nk=v ; c\n"))
        for action in ("get", "delete"):
            for arguments in (("a", "x"), ("x", "k"), ("a]", "k")):
                self.assertEqual((1, b"", ""), ini(action, self.file, *arguments))
            code, out, error = ini(action, self.file + ".none", "a", "k")
            self.assertEqual((1, b""), (code, out))
            self.assertTrue(error.startswith(f"ini: {self.file}.none: "), error)
        for arguments, what in ((("a", "x\ny", "1"), "(key|value)"), (("a\n", "x", "1"), "name of a section"), (("a", "", "1"), "key"),
                                (("a", "#x", "1"), "key"), (("a]b", "x", "1"), "name of a section")):
            before = self.text()
            code, out, error = ini("set", self.file, *arguments)
            self.assertEqual((1, b""), (code, out))
            self.assertRegex(error, rf"^ini: {re.escape(self.file)}: {what} that cannot be written\n$")
            self.assertEqual(before, self.text())
        for action, value in (("get", ()), ("set", ("v",)), ("delete", ())):
            code, out, error = ini(action, self.folder.name, "a", "k", *value)
            self.assertEqual((1, b"", 1), (code, out, error.count("\n")), error)
            self.assertTrue(error.startswith(f"ini: {self.folder.name}: "), error)
        for wrong in ((), ("get",), ("set", self.file, "a", "k"), ("rename", self.file), ("get", "-d", "none", self.file, "a", "k")):
            self.assertEqual(2, ini(*wrong)[0])

    def test_many_values_of_one_key(self):
        self.put(b"[a]\n" + b"k=1\n" * 400_000)
        self.assertEqual((0, b"1\n" * 400_000, ""), ini("get", "-a", self.file, "a", "k"))  # looked up one by one they take minutes

    def test_malformed_files_stay(self):
        for data, place in ((b"[a]\nk\n  \xc3\xa4 b\n", "3:1"), (b"k=1\n  [a\n[a\n", "3:1"), (b"[a] b\n", "1:5"), (b"k=1\n\xc3\xa4=\0", "2:3"), (b"\n = v\n", "2:2")):
            for action in (("get", "a", "k"), ("set", "a", "k", "2"), ("delete", "a", "k")):
                self.put(data)
                code, _, error = ini(action[0], self.file, *action[1:])
                self.assertEqual(1, code)
                self.assertTrue(error.startswith(f"{self.file}:{place}: "), error)
                self.assertEqual(data, self.text())

    @unittest.skipIf(os.name == "nt" or "OMBREL_TEST_WINDOWS" in os.environ, "modes and links of POSIX")
    def test_mode_and_links_stay(self):
        self.put(b"k = 1\n")
        os.chmod(self.file, 0o640)
        link = self.file + ".link"
        os.symlink(self.file, link)
        self.assertEqual(0, ini("set", link, "", "k", "2")[0])
        self.assertTrue(os.path.islink(link))
        self.assertEqual((b"k = 2\n", 0o640), (self.text(), stat.S_IMODE(os.stat(self.file).st_mode)))

    def test_configparser(self):
        """Random files of the shared subset, both ways."""
        chance = random.Random(7)
        letters = "abcXYZ019 _-./\u00e4"

        def word():
            return "".join(chance.choice(letters) for _ in range(chance.randint(1, 8))).strip(" -") or "w"

        def parser():
            return configparser.RawConfigParser(default_section="\0")

        for _ in range(12):
            theirs = parser()
            for section in dict.fromkeys(word() for _ in range(chance.randint(1, 4))):
                theirs.add_section(section)
                for _ in range(chance.randint(0, 5)):
                    theirs.set(section, word(), "\n".join(word() for _ in range(chance.choice((1, 1, 1, 3)))))
            with open(self.file, "w", encoding="utf-8", newline="\n") as file:
                theirs.write(file, space_around_delimiters=chance.random() < 0.5)
            for section in theirs.sections():
                for key, value in theirs.items(section):
                    self.assertEqual((0, value.encode() + b"\n", ""), ini("get", "-d", "python", self.file, section, key))
                key, value = word(), word() + chance.choice(("", "\n" + word()))
                theirs.set(section, key, value)
                self.assertEqual((0, b"", ""), ini("set", "-d", "python", self.file, section, key, value))
            ours = parser()
            ours.read(self.file, encoding="utf-8")
            self.assertEqual({s: dict(theirs.items(s)) for s in theirs.sections()}, {s: dict(ours.items(s)) for s in ours.sections()})

    @unittest.skipUnless(shutil.which("git"), "git is not there")
    def test_git(self):
        """Both write one file, and each reads what the other wrote."""
        def git(*arguments):
            result = subprocess.run(["git", "config", "-f", self.file, *arguments], stdout=subprocess.PIPE, timeout=60)
            return result.returncode, result.stdout

        values = ["plain", " lead", "trail ", "a;b", "c#d", "q\"q", "b\\b", "t\tt", "n\nn", "", "a = b", "[x]"]
        self.put(b"# c\n[core]\n\tbare\n[Remote \"Or.i\"]\n\turl = \"a b\" # c\n\tx = one \\\n  two\n")
        self.assertEqual(b"one   two\n", ini("get", "-d", "git", self.file, "remote \"Or.i\"", "X")[1])
        for number, value in enumerate(values):
            section, sub = ("core", "core") if number % 2 else ("remote \"Or.i\"", "remote.Or.i")
            self.assertEqual(0, ini("set", "-d", "git", self.file, section, f"our{number}", value)[0])
            self.assertEqual(0, git(f"{sub}.their{number}", value)[0])
            self.assertEqual((0, value.encode() + b"\0"), git("-z", "--get", f"{sub}.our{number}"))
            self.assertEqual(value.encode() + b"\n", ini("get", "-d", "git", self.file, section, f"their{number}")[1])
        listed = [entry.partition(b"\n") for entry in git("--list", "-z")[1].split(b"\0")[:-1]]
        self.assertEqual(1 + 2 + 2 * len(values), len(listed))
        for name, has_value, value in listed:
            section, _, key = name.decode().rpartition(".")
            section = "remote \"Or.i\"" if section.startswith("remote") else section
            self.assertEqual((0, value + b"\n", ""), ini("get", "-d", "git", self.file, section, key))


if __name__ == "__main__":
    TOOL = sys.argv[1]
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
