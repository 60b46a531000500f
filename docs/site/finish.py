#!/usr/bin/env python3
"""finish.py FOLDER: gives the pages of Doxygen in FOLDER/html titles for people, and headings in their order."""
import pathlib
import re
import sys

FILE_TITLE = re.compile(r'<div class="title">(?:ombrel/)?(?:cpp/)?(\w+\.h(?:pp)?) File Reference'
                        r'(<div class="ingroups"><a class="el" href="[^"]*">([^<]*)</a></div>)?</div>')
TITLE = re.compile(r'<div class="title">(.*?)(<div class="ingroups">.*?</div>)?</div>', re.S)


def breakable(title):
    """Long names may go on in the next line where a word of theirs ends."""
    return title.replace("_", "_<wbr/>").replace("::", "::<wbr/>")


def titled(text):
    """The page of a header is named by its module and by the header; a title is the first heading."""
    found = FILE_TITLE.search(text)
    if found:
        name = f"{found[3]}: {found[1]}" if found[3] else found[1]
        text = re.sub(r"<title>.*? - ", lambda _: f"<title>{name} - ", text, count=1)
        text = text.replace(found[0], f'<div class="title">{name}{found[2] or ""}</div>')
    return TITLE.sub(lambda found: f'<h1 class="title">{breakable(found[1])}</h1>{found[2] or ""}', text, count=1)


def ordered(text):
    """Members stand below the heading of their kind."""
    text = text.replace('<h2 class="memtitle">', '<h2 class="memtitle" aria-level="3">')
    return re.sub(r'<div class="groupHeader">(.*?)</div>', r'<h3 class="groupHeader">\1</h3>', text)


def whole(text):
    """What has nothing but its sentence does not promise more."""
    if 'id="details"' not in text:
        text = re.sub(r'\s*<a href="#details">More\.\.\.</a>', "", text)
    return text


def searchable(text):
    """The field of the search has a name for those who do not see it; its pictures have none."""
    return text.replace('<input type="text" id="MSearchField"', '<input type="text" id="MSearchField" aria-label="Search"')


def main():
    for file in (pathlib.Path(sys.argv[1]) / "html").glob("*.html"):
        file.write_text(searchable(whole(ordered(titled(file.read_text())))))


main()
