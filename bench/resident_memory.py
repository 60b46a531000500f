#!/usr/bin/env python3
"""What the status service holds in memory after mixed requests, by mapping.

usage: resident_memory.py [BUILD [REQUESTS]]      (build/release, 200000)

Prints KiB that are resident and, of these, the process's own, at the start, after 1,000 requests and
after all of them; and the same of a program of C that prints a line, which is the least that a process of this host has.
"""
import collections
import pathlib
import re
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "support"))
import mixed_requests  # noqa: E402

LEAST = b'#include <stdio.h>\n#include <unistd.h>\nint main(void) { return puts(""), fflush(stdout), pause(); }\n'


def mappings(process):
    """{what: [resident, its own]} in KiB."""
    sums = collections.defaultdict(lambda: [0, 0])
    what = ""
    for line in pathlib.Path(f"/proc/{process}/smaps").read_text().splitlines():
        head = re.match(r"[0-9a-f]+-[0-9a-f]+ \S+ \S+ \S+ \S+\s*(.*)", line)
        if head:
            what = re.sub(r"\.so.*|-linux.*", "", pathlib.PurePath(head.group(1)).name) or "anonymous"
        elif line.startswith("Rss:"):
            sums[what][0] += int(line.split()[1])
        elif line.startswith("Anonymous:"):
            sums[what][1] += int(line.split()[1])
    return {name: sizes for name, sizes in sums.items() if sizes[0] > 0}


def show(title, process):
    found = mappings(process)
    print(f"{title}: {sum(all for all, _ in found.values())} KiB, "
          f"of these its own {sum(own for _, own in found.values())}")
    for name, (all, own) in sorted(found.items(), key=lambda one: -one[1][0]):
        print(f"    {name:24}{all:6}{own:6}")


def show_service(build, requests):
    service = subprocess.Popen([f"{build}/examples/status_service", "127.0.0.1", "0"], stdout=subprocess.PIPE, text=True)
    port = int(re.search(r":(\d+)/", service.stdout.readline()).group(1))
    try:
        show("status service at its start", service.pid)
        mixed_requests.send(port, 1000)
        show("after 1000 requests", service.pid)
        mixed_requests.send(port, requests - 1000)
        show(f"after {requests} requests", service.pid)
    finally:
        service.terminate()
        print(service.communicate()[0].splitlines()[-1])


def show_least():
    with tempfile.TemporaryDirectory() as directory:
        program = f"{directory}/least"
        subprocess.run(["cc", "-O2", "-xc", "-o", program, "-"], input=LEAST, check=True)
        least = subprocess.Popen([program], stdout=subprocess.PIPE)
        least.stdout.readline()
        show("a program that prints a line", least.pid)
        least.kill()


def main(build="build/release", requests="200000"):
    show_service(build, int(requests))
    show_least()


if __name__ == "__main__":
    main(*sys.argv[1:])
