#!/usr/bin/env python3
"""prepare.py FOLDER: writes into FOLDER/pages what the reference is made of beside the headers.

The tree's pages stand as a forge shows them; here they become what Doxygen understands, with each link leading to its
place in the site. The groups of the headers are those of the table in README.md, with the sentences of
docs/site/groups.txt. What pages link to and the site has no page for is copied into FOLDER/html.
"""
import html
import pathlib
import re
import shutil
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
CODE = re.compile(r"(?<!`)(`+)(?!`)(.+?)(?<!`)\1(?!`)", re.S)
LINK = re.compile(r"(!?)\[((?:[^\[\]]|\[[^\]]*\])*)\]\(([^()\s]+)\)")
HEADING = re.compile(r"(#+) (.*)")
# The pages of the tree in the order of the site's contents: title, identifier, what it says, files. A README.md of
# theirs is the chapter's own page.
CHAPTERS = (
    ("Guide", "guide_pages", "Chapters for somebody who begins.", "docs/guide/*.md"),
    ("Subjects", "subjects", "What belongs together, with a short program for each header.", "docs/*.md"),
    ("Project", "project", "How the library is changed, released and reported on.", "*.md"),
)


class Fault(Exception):
    """What somebody has to mend in the tree."""


def file_page(name):
    """The page that Doxygen makes for a file."""
    return name.replace("_", "__").replace(".", "_8")


def example_page(file):
    return str(file.relative_to(TOP / "examples")).replace("/", "_2").replace(".", "_8") + "-example"


def anchor(heading):
    """The anchor that a forge makes of a heading."""
    return re.sub(r"[^\w\- ]", "", heading.lower()).strip().replace(" ", "-")


def without_commands(text):
    """Running text in which Doxygen finds no commands of its own."""
    return re.sub(r"[@#](?=\w)|%(?=[\w.-])|\\|(?<![-|:])--(?=\w)", r"\\\g<0>", text)


def code_span(code):
    """A code span. Doxygen takes a quote within single backticks, and a bar within a table, for the end, and drops a
    percent sign before a word that stands in no quotes."""
    if "\\|" in code or (re.search(r"%\w", code) and "\"" not in code):
        escaped = without_commands(html.escape(code.replace("\\|", "\0"), quote=False)).replace("\0", "\\|")
        return f"<code>{escaped}</code>"
    return f"``{code}``"


def page_name(page):
    if page.name == "README.md":
        return "index" if page.parent == TOP else page.parent.name
    return ("guide_" if page.parent.name == "guide" else "") + page.stem.lower().replace("-", "_")


def find_pages():
    return {page: page_name(page) for *_, pattern in CHAPTERS for page in sorted(TOP.glob(pattern))}


def pieces(text):
    """A page cut to blocks of code and what stands between them: (is code, lines)."""
    lines, is_code = [], False
    for line in text.split("\n"):
        if line.lstrip().startswith("```"):
            if not is_code:
                yield False, lines
                lines = []
            lines.append(line)
            if is_code:
                yield True, lines
                lines = []
            is_code = not is_code
        else:
            lines.append(line)
    yield is_code, lines


class Page:
    """One page of the tree on its way into the site."""

    def __init__(self, file, pages, site):
        self.file, self.pages, self.site = file, pages, site
        self.name = pages[file]
        self.text = file.read_text()
        self.title = re.search(r"^# (.*)", self.text, re.M)[1]

    def first_sentence(self):
        found = re.match(r"# .*\n\n((?!```)\S.*?[.])(?=\s)", self.text, re.S)
        return "- " + self.inline(found[1].replace("\n", " ")) if found else ""

    def place(self, target):
        """Where in the site a link leads; None for a folder, which has no page."""
        path, _, part = target.partition("#")
        if path.startswith("group__"):
            return target
        if re.match(r"[a-z]+:", path):
            return target
        file = (self.file.parent / path).resolve() if path else self.file
        if not file.exists():
            raise Fault(f"{self.file.relative_to(TOP)}: the link to {target} leads nowhere")
        if file in self.pages:
            name = self.pages[file]
            return f"{name}.html" + (f"#{name}_{part}" if part else "")
        if file.is_dir():
            return "modules.html" if file.is_relative_to(TOP / "include") else None
        if file.is_relative_to(TOP / "include"):
            return file_page(file.name) + ".html"
        if file.suffix in (".c", ".cpp") and file.is_relative_to(TOP / "examples"):
            return example_page(file) + ".html"
        return self.copied(file)

    def copied(self, file):
        """Copies a file into the site. Browsers show what ends in `.txt`."""
        name = file.name if file.suffix in (".png", ".svg") else file.name + ".txt"
        shutil.copy(file, self.site / name)
        return name

    def linked(self, mark, text, target):
        if self.file.name == "README.md" and self.file.parent / target in self.pages and self.name != "index":
            return f'@subpage {self.pages[self.file.parent / target]} "{text}"'
        place = self.place(target)
        if mark:
            return f'@htmlonly<img src="{place}" alt="{html.escape(text)}"/>@endhtmlonly'
        return f'<a href="{place}">{without_commands(text)}</a>' if place else text

    def inline(self, text):
        """Running text with its code spans and links as Doxygen wants them."""
        kept = []

        def keep(piece):
            kept.append(piece)
            return f"\0{len(kept) - 1}\0"

        text = CODE.sub(lambda found: keep(code_span(found[2])), text)
        text = LINK.sub(lambda found: keep(self.linked(*found.groups())), text)
        text = without_commands(text)
        while "\0" in text:
            text = re.sub(r"\0(\d+)\0", lambda found: kept[int(found[1])], text)
        return text

    def heading(self, line):
        marks, text = HEADING.match(line).groups()
        name = f"{self.name}_{anchor(text)}" if marks != "#" else self.name if self.name != "index" else "mainpage"
        text = re.sub(r"^(\d+)[.] ", r"\1.&nbsp;", text)  # is no item of a list
        return f"{marks} {text.replace('`', '')} {{#{name}}}"

    def running(self, lines):
        text = self.inline("\n".join(lines))
        return "\n".join(self.heading(line) if HEADING.match(line) else line for line in text.split("\n"))

    def converted(self, groups):
        """The page as Doxygen wants it; in the table of modules each name leads to its group."""
        if self.name == "index":
            for name in groups.files:
                self.text = self.text.replace(f"\n| {name} | [", f"\n| [{name}]({groups.page(name)}) | [")
        return "\n".join("\n".join(lines) if is_code else self.running(lines) for is_code, lines in pieces(self.text))


class Groups:
    """The groups of the headers: their names, sentences and files."""

    def __init__(self):
        self.files = {}
        for row in re.findall(r"^\| .*\(include/ombrel/\w+\.h\).* \|$", (TOP / "README.md").read_text(), re.M):
            name = row.split("|")[1].strip()
            self.files[name] = re.findall(r"\(include/(ombrel/\w+\.h)\)", row)
        self.files["C++"] = ["ombrel_tuk.hpp", *self.below("ombrel/cpp/*.hpp")]
        self.files["the whole"] = ["ombrel_tuk.h", "ombrel/export.h"]
        self.sentences = dict(re.findall(r"^([^#:\n]+): (.*)$", (TOP / "docs/site/groups.txt").read_text(), re.M))
        self.check()

    @staticmethod
    def below(pattern):
        return [str(file.relative_to(TOP / "include")) for file in sorted((TOP / "include").glob(pattern))]

    def check(self):
        grouped = [file for files in self.files.values() for file in files]
        for file in self.below("**/*.h*"):
            if grouped.count(file) != 1:
                raise Fault(f"README.md: include/{file} stands in {grouped.count(file)} rows of the table of modules, not one")
        if self.files.keys() != self.sentences.keys():
            raise Fault("docs/site/groups.txt: a sentence is missing or has no group: "
                        + ", ".join(sorted(self.files.keys() ^ self.sentences.keys())))

    @staticmethod
    def identifier(name):
        return re.sub(r"\W+", "_", name.lower().replace("+", "p"))

    def page(self, name):
        return "group__" + self.identifier(name).replace("_", "__") + ".html"

    @staticmethod
    def title(name):
        return name[0].upper() + name[1:]

    def written(self):
        for name, files in self.files.items():
            group = self.identifier(name)
            yield f"/** @defgroup {group} {self.title(name)}\n * @brief {self.sentences[name]} */\n"
            for file in files:
                yield f"/** @file {file}\n * @ingroup {group} */\n"


def examples():
    """A page for each program of examples/: what its first comment begins with, and the program."""
    for file in sorted([*(TOP / "examples").rglob("*.c"), *(TOP / "examples").rglob("*.cpp")]):
        comment = re.match(r"(?:/\*+(.*?)\*/|((?://.*\n)+))", file.read_text(), re.S)
        about = re.sub(r"^\s*(\*|//) ?", "", comment[1] or comment[2], flags=re.M).strip() if comment else ""
        about = about.partition("\n\n")[0].replace("\n", " ")
        yield f"/** @example {file.relative_to(TOP / 'examples')}\n * {html.escape(without_commands(about), quote=False)}\n */\n"


def chapters(pages):
    for title, name, about, pattern in CHAPTERS:
        files = [file for file in sorted(TOP.glob(pattern)) if pages[file].name != "index"]
        if TOP / pattern.replace("*", "README") not in files:
            yield f"/** @page {name} {title}\n * {about}\n *\n"
            yield from (f" * - @subpage {pages[file].name} {pages[file].first_sentence()}\n" for file in files)
            yield " */\n"


def main():
    if len(sys.argv) != 2 or sys.argv[1] in ("-h", "--help"):
        print(__doc__.strip())
        return 0 if len(sys.argv) == 2 else 2
    folder = pathlib.Path(sys.argv[1])
    shutil.rmtree(folder, ignore_errors=True)
    (folder / "pages").mkdir(parents=True)
    (folder / "html").mkdir()
    names = find_pages()
    try:
        groups = Groups()
        pages = {file: Page(file, names, folder / "html") for file in names}
        for page in pages.values():
            (folder / "pages" / f"{page.name}.md").write_text(page.converted(groups))
        (folder / "pages/site.dox").write_text("".join([*chapters(pages), *groups.written(), *examples()]))
    except Fault as fault:
        print(f"prepare.py: {fault}", file=sys.stderr)
        return 1
    return 0


sys.exit(main())
