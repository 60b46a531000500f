"""Tells which tests of a run were skipped, and why.

usage: list_skipped.py JUNIT_FILE

Tests with one reason share a line. A test that GoogleTest skipped says why on the line after "Skipped"; the
end-to-end tests name the parts of theirs that they leave out in unittest's words.
"""
import re
import sys
import xml.etree.ElementTree


def reasons(output):
    for reason in re.findall(r": Skipped\n(.+)", output) + re.findall(r"^skipped: (.+)", output, re.M):
        yield "", reason
    for name, reason in re.findall(r"^(\w+) .*\.\.\. skipped ['\"](.*)['\"]$", output, re.M):
        yield " (" + name + ")", reason


def main():
    skipped = {}
    for case in xml.etree.ElementTree.parse(sys.argv[1]).getroot().iter("testcase"):
        found = list(reasons(case.findtext("system-out") or ""))
        if case.find("skipped") is not None and not found:
            found = [("", case.find("skipped").get("message") or "no reason given")]
        for part, reason in found:
            skipped.setdefault(reason.strip(), []).append(case.get("name") + part)
    for reason, names in skipped.items():
        print(f"  skipped, {reason}: {', '.join(dict.fromkeys(names))}")


if __name__ == "__main__":
    main()
