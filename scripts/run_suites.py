"""Runs the tests of a build as ctest would, but those of one suite in one process: where a program's start costs more
than its test, as under an emulator and with sanitizers, that is most of the time.

usage: run_suites.py PRESET [-j JOBS] [-R NAMES] [-E NAMES] [--alone NAMES]

NAMES are regular expressions of the tests to run, to leave out, and that want a process of their own. These, what is
no test of GoogleTest, and whatever did not pass beside others are run by ctest afterwards, each in a process of its
own, which decides. The results stand one by one in build/PRESET/suite.xml.
"""
import argparse
import collections
import concurrent.futures
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time
import xml.etree.ElementTree as xml

# Neighbouring suites share a process up to so many tests; and for so many seconds it may run.
TESTS_OF_A_PROCESS = 16
SECONDS_OF_A_PROCESS = 400

Test = collections.namedtuple("Test", "number name command filter properties")
Result = collections.namedtuple("Result", "outcome seconds output")
RESULT_LINE = re.compile(rb"\[(?:       OK|  SKIPPED|  FAILED ) \] ([^\s,]+).*?\((\d+) ms\)")


def tests_of(preset):
    shown = subprocess.run(["ctest", "--preset", preset, "--show-only=json-v1"], check=True, stdout=subprocess.PIPE)
    for number, test in enumerate(json.loads(shown.stdout)["tests"], 1):
        command = test.get("command", [])
        names = [word for word in command if word.startswith("--gtest_filter=")]
        alike = "--gtest_also_run_disabled_tests" in command  # as each has that was discovered
        properties = {one["name"]: one["value"] for one in test["properties"]}
        yield Test(number, test["name"], command, names[0].partition("=")[2] if names and alike else None, properties)


def in_processes(tests):
    """Groups neighbours whose commands differ in nothing but the test's name."""
    groups = []
    for test in tests:
        suite = test.filter.partition(".")[0]
        same = (test.command[:-2], test.properties)
        full = groups and len(groups[-1][2]) >= TESTS_OF_A_PROCESS and groups[-1][1] != suite
        if not groups or groups[-1][0] != same or full:
            groups.append([same, suite, []])
        groups[-1][1] = suite
        groups[-1][2].append(test)
    return [tests for _, _, tests in groups]


def output_of(tests):
    """The output of one process with these tests, and whether it ended well."""
    first = tests[0]
    command = first.command[:-2] + ["--gtest_filter=" + ":".join(test.filter for test in tests)] + first.command[-1:]
    environment = dict(os.environ, **dict(one.split("=", 1) for one in first.properties.get("ENVIRONMENT", [])))
    # What a program leaves behind may keep its output open, which a file does not mind.
    with tempfile.TemporaryFile() as output:
        process = subprocess.Popen(command, cwd=first.properties.get("WORKING_DIRECTORY"), env=environment,
                                   stdin=subprocess.DEVNULL, stdout=output, stderr=output, start_new_session=True)
        try:
            process.wait(SECONDS_OF_A_PROCESS)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
        output.seek(0)
        return output.read(), process.returncode == 0


def run_together(tests):
    """The results of those tests that passed or were skipped, by name."""
    output, well = output_of(tests)
    names = {test.filter: test.name for test in tests}
    results = {}
    begin = 0
    for line in RESULT_LINE.finditer(output):
        name = names.get(line[1].decode(errors="replace"))
        outcome = {b"[       OK": "passed", b"[  SKIPPED": "skipped"}.get(line[0][:10])
        if name and outcome:
            text = output[begin:line.end()].decode(errors="replace").replace("\r\n", "\n")
            results[name] = Result(outcome, int(line[2]) / 1000, text)
        begin = line.end()
    failed = any(test.name not in results for test in tests)
    # Ends badly without saying which it was, as with a leak that is found in the end.
    return results if well or failed else {}


def run_groups(groups, jobs):
    results = {}
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for done in pool.map(run_together, sorted(groups, key=len, reverse=True)):
            results.update(done)
    return results


def run_alone(preset, tests, jobs):
    """Lets ctest run these, and gives the elements of its report."""
    if not tests:
        return []
    report = os.path.abspath(f"build/{preset}/alone.xml")
    numbers = ",".join(["0,0,0"] + [str(test.number) for test in tests])
    subprocess.run(["ctest", "--preset", preset, "-j", str(jobs), "-I", numbers, "--output-junit", report])
    return list(xml.parse(report).getroot().iter("testcase"))


def case_of(name, result):
    case = xml.Element("testcase", name=name, classname=name, time=str(result.seconds),
                       status={"passed": "run", "skipped": "notrun"}[result.outcome])
    if result.outcome == "skipped":
        xml.SubElement(case, "skipped")
    xml.SubElement(case, "system-out").text = re.sub("[^\t\n\x20-\x7e\xa0-\ud7ff]", "?", result.output)
    return case


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("preset")
    parser.add_argument("-j", type=int, default=os.cpu_count(), dest="jobs")
    parser.add_argument("-R", default="", dest="names")
    parser.add_argument("-E", default="$^", dest="without")
    parser.add_argument("--alone", default="$^")
    wish = parser.parse_args()

    began = time.monotonic()
    tests = [test for test in tests_of(wish.preset)
             if re.search(wish.names, test.name) and not re.search(wish.without, test.name)]
    together = [test for test in tests if test.filter and not re.search(wish.alone, test.name)]
    results = run_groups(in_processes(together), wish.jobs)
    print(f"{len(results)} tests ran beside others, in {time.monotonic() - began:.0f} seconds", flush=True)
    for test in together:
        if test.name not in results:
            print("did not pass beside others:", test.name, flush=True)
    cases = run_alone(wish.preset, [test for test in tests if test.name not in results], wish.jobs)
    report(wish.preset, [case_of(name, result) for name, result in results.items()] + cases)


def report(preset, cases):
    suite = xml.Element("testsuite", tests=str(len(cases)))
    suite.extend(cases)
    xml.ElementTree(suite).write(f"build/{preset}/suite.xml", encoding="unicode")
    failed = sum(case.find("failure") is not None for case in cases)
    skipped = sum(case.find("skipped") is not None for case in cases)
    print(f"in all {len(cases)} tests: {failed} failed, {skipped} skipped")
    sys.exit(failed > 0)


if __name__ == "__main__":
    main()
