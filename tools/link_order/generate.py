#!/usr/bin/env python3
"""Writes which functions of the library stand side by side: those that its services run, so that a process of them has
few of the library's pages. It runs them under valgrind, which must be there.

usage: generate.py [BUILD]      (build/release, with the library, the command ombrel_tuk and status_service)

A function that a later compiler names otherwise, or that is gone, takes its place among all others.
"""
import bisect
import contextlib
import ftplib
import io
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import urllib.error
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
TARGET = ROOT / "cmake" / "link_order.txt"
sys.path.insert(0, str(ROOT / "tests" / "support"))
import mixed_requests  # noqa: E402

HEAD = """# Functions that stand first and side by side (OmbrelLinkOrder.cmake), written by tools/link_order/generate.py: what all
# services run, then what each of them runs beside that.
"""


def fetch(url, **fields):
    with contextlib.suppress(urllib.error.HTTPError):
        urllib.request.urlopen(urllib.request.Request(url, headers=fields)).read()


def use_status_service(port, _):
    mixed_requests.send(port, 2000)


def use_httpd(port, _):
    url = f"http://127.0.0.1:{port}/"
    for name in ("", "small", "large", "none", "../small", "directory"):
        fetch(url + name)
    fetch(url + "large", Range="bytes=5-500")
    fetch(url + "large", Range="bytes=5-500,1000-2000")
    fetch(url + "small", **{"If-Modified-Since": "Fri, 01 Jan 2100 00:00:00 GMT"})


def use_ftpd(port, _):
    client = ftplib.FTP()
    client.connect("127.0.0.1", port)
    client.login("anonymous", "a@b")
    client.retrlines("LIST", lambda line: None)
    list(client.mlsd())
    client.retrbinary("RETR large", lambda piece: None)
    client.storbinary("STOR stored", io.BytesIO(b"x" * 300000))
    client.size("stored")
    client.delete("stored")
    with contextlib.suppress(ftplib.error_perm):
        client.cwd("none")
    client.quit()


def services(build, directory):
    """[(command, who uses it)]"""
    accounts = pathlib.Path(directory, "accounts")
    served = pathlib.Path(directory, "served")
    (served / "directory").mkdir(parents=True)
    (served / "small").write_bytes(b"0123456789abcdef" * 64)
    (served / "large").write_bytes(b"0123456789abcdef" * 64000)
    accounts.write_text(f"anonymous::{served}:rwd\n")
    program = f"{build}/examples/ombrel_tuk"
    return [([f"{build}/examples/status_service", "127.0.0.1", "0"], use_status_service),
            ([program, "httpd", str(served)], use_httpd),
            ([program, "ftpd", "-A", str(accounts)], use_ftpd)]


def addresses_run(profile, library):
    """Addresses of instructions in the library, of a file of callgrind's with relative positions."""
    at, is_ours, is_call, names, found = 0, False, False, {}, set()
    for line in profile.read_text().splitlines():
        place = re.match(r"(c?ob)=\((\d+)\)(?: (.*))?", line)
        if place:
            names.setdefault(place.group(2), place.group(3))
            is_ours = names[place.group(2)].startswith(library) if place.group(1) == "ob" else is_ours
        step = re.match(r"(0x[0-9a-f]+|[+-]\d+|\*) ", line)
        if step:
            word = step.group(1)
            at = int(word, 16) if word[0] == "0" else at + (int(word) if word != "*" else 0)
            if is_ours:
                found.add(at)
    return found


def run(command, use, directory):
    """The file of callgrind's of a service in use."""
    profile = pathlib.Path(directory, "profile")
    service = subprocess.Popen(["valgrind", "--quiet", "--tool=callgrind", "--dump-instr=yes",
                                f"--callgrind-out-file={profile}"] + command, stdout=subprocess.PIPE, text=True)
    port = int(re.search(r":(\d+)/", service.stdout.readline()).group(1))
    try:
        use(port, directory)
    finally:
        service.send_signal(signal.SIGTERM)
        service.communicate()
    return profile


class Symbols:
    """The library's functions by their addresses."""

    def __init__(self, library):
        lines = subprocess.run(["nm", "-S", "--defined-only", library], capture_output=True, text=True,
                               check=True).stdout.splitlines()
        found = [line.split() for line in lines if re.search(r" [tTwW] ", line)]
        self.known = sorted((int(one[0], 16), int(one[1], 16), one[3].split("@")[0]) for one in found if len(one) == 4)
        self.starts = [start for start, _, _ in self.known]

    def of(self, addresses):
        """Names in the order of their addresses; of several that are one function, all."""
        names = {}
        for address in sorted(addresses):
            last = bisect.bisect_right(self.starts, address) - 1
            while last >= 0 and self.starts[last] == self.starts[bisect.bisect_right(self.starts, address) - 1]:
                start, size, name = self.known[last]
                if address < start + size and not name.endswith(".cold"):
                    names[re.sub(r"\.(part|isra|constprop)\..*", "", name)] = None
                last -= 1
        return list(names)


def order(build, directory):
    library = os.path.realpath(f"{build}/source/libombrel_tuk.so")
    symbols = Symbols(library)
    runs = [symbols.of(addresses_run(run(*service, directory), library)) for service in services(build, directory)]
    shared = [name for name in runs[0] if all(name in one for one in runs)]
    return dict.fromkeys(shared + [name for one in runs for name in one])


def main(build=ROOT / "build/release"):
    with tempfile.TemporaryDirectory() as directory:
        names = order(build, directory)
    TARGET.write_text(HEAD + "\n".join(names) + "\n")
    print(f"{TARGET}: {len(names)} functions")


if __name__ == "__main__":
    main(*sys.argv[1:])
