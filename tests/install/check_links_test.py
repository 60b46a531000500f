"""Holds the check of the site's links against pages with links that lead nowhere.

usage: check_links_test.py [TEST ...]
"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = pathlib.Path(__file__).parents[2] / "scripts/check-links"
PAGES = {"index.html": '<p id="top"><a href="other%20page.html#part">x</a> <a href="https://elsewhere/gone">x</a></p>',
         "other page.html": '<h1 id="part">x</h1><a href="#part">x</a><img src="a.png"/>', "a.png": "",
         "navtree.js": '["index.html#top"]', "search/all_0.js": "['../index.html#top']"}


class CheckLinks(unittest.TestCase):
    def test_tells_what_leads_nowhere(self):
        """(pages that are other than above, whether all lead somewhere)"""
        for changed, is_good in (({}, True), ({"a.png": None}, False), ({"other page.html": "<p/>"}, False),
                                 ({"extra.html": "<a href='gone.html'>x</a>"}, False), ({"navtree.js": '["index.html#gone"]'}, False),
                                 ({"search/all_0.js": "['../gone.html']"}, False), (dict.fromkeys(PAGES), False)):
            with tempfile.TemporaryDirectory() as folder:
                for name, text in {**PAGES, **changed}.items():
                    file = pathlib.Path(folder, name)
                    file.parent.mkdir(exist_ok=True)
                    if text is not None:
                        file.write_text(text)
                result = subprocess.run([sys.executable, CHECK, folder], capture_output=True, text=True)
                self.assertEqual((0 if is_good else 1, is_good), (result.returncode, "leads nowhere" not in result.stdout
                                                                  and "no links" not in result.stderr), (changed, result))


unittest.main()
