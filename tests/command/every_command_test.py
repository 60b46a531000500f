"""Holds all commands and tools against what is expected of any tool: options, help, pages, completion, failures.

usage: every_command_test.py OMBREL_TUK OMBREL_DIGEST OMBREL_CODEC OMBREL_GALLERY STATUS_SERVICE [TEST ...]
"""
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

TOOL = DIGEST = CODEC = ""
PROGRAMS = []


def run(*command, data=b"", **more):
    """Status, output and error text."""
    result = subprocess.run(command, input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120, **more)
    return result.returncode, result.stdout.decode(errors="replace"), result.stderr.decode(errors="replace")


def tools():
    """Each tool by what its messages call it: how it is called, and what it exits with for wrong arguments."""
    names = run(TOOL, "--list")[1].split()
    return {**{os.path.basename(path): ([path], 2) for path in PROGRAMS},
            **{name: ([TOOL, name], 125 if name == "run" else 2) for name in names}}


def long_options(usage):
    return set(re.findall(r"^  (?:-\w, |    )(--[\w-]+)", usage.replace("--[no-]", "--"), re.M))


def processes_of(words):
    """The numbers of those that run with a text in their arguments."""
    lines = run("ps", "-eo", "pid=,args=", "ww")[1].splitlines()
    return [int(line.split()[0]) for line in lines if line.split(None, 1)[1] == words]


class EveryCommand(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)

    def test_help_version_and_mistakes(self):
        for name, (call, mistake) in tools().items():
            status, usage, errors = run(*call, "--help")
            self.assertEqual((0, "", True), (status, errors, usage.startswith(f"usage: {name}")), name)
            options = [line for line in usage.splitlines() if line.startswith("  -") or line.startswith("      --")]
            self.assertEqual([], [line for line in options if "--" not in line], name)
            self.assertLess(max(map(len, usage.splitlines())), 81, name)
            if name not in ("ombrel_tuk", "version"):
                self.assertRegex(run(*call, "--version")[1], rf"^{name} \(libombrel_tuk\) [\d.]+\n$")
            for wrong, words in (("--no-such-thing", "unknown option"), ("--help=x", "takes no value"), ("-\x01", "unknown option")):
                status, output, errors = run(*call, wrong)
                self.assertEqual((mistake, "", True), (status, output, errors.startswith(f"{name}: ") and words in errors), (name, wrong))
            with open("/dev/full", "wb") as full:
                told = subprocess.run([*call, "--help"], stdout=full, stderr=subprocess.PIPE, timeout=60)
            self.assertEqual((125 if name == "run" else 1, f"{name}: standard output: write error: No space left on device\n"),
                             (told.returncode, told.stderr.decode()), name)

    def test_pages_have_all_options_and_no_faults(self):
        self.assertEqual((0, "", ""), run(TOOL, "manual", "--directory=."))
        for path in PROGRAMS[1:]:
            with open(os.path.basename(path) + ".1", "w") as page:
                page.write(run(path, "--manual")[1])
        for name, (call, _) in tools().items():
            page = name + ".1" if name.startswith(("ombrel", "status")) else f"ombrel_tuk-{name}.1"
            with open(page) as file:
                text = file.read().replace(r"\fR\fB", "").replace("\\", "")
            known = long_options(run(*call, "--help")[1]) if name != "count" else {"--help"}  # of which no table is known
            self.assertEqual([], [option for option in known if "fB" + option not in text.replace("--[no-]", "--")], page)
            self.assertIn("\n.SH EXIT STATUS\n", text)
        self.assertEqual((127, "", "manual: nothing: no such command\n"), run(TOOL, "manual", "nothing"))
        with open("ombrel_tuk-cp.1") as page:
            self.assertEqual((0, page.read(), ""), run(TOOL, "manual", "cp"))
        self.assertEqual(2, run(TOOL, "manual", "-d", ".", "cp")[0])
        self.assertEqual(1, run(TOOL, "manual", "-d", "missing")[0])
        for formatter in (["mandoc", "-T", "lint"], ["groff", "-man", "-ww", "-z"]):
            if shutil.which(formatter[0]):
                self.assertEqual((0, "", ""), run(*formatter, *sorted(os.listdir("."))))

    @unittest.skipUnless(shutil.which("bash"), "bash is not there")
    def test_completion(self):
        def complete(path, *words):
            name = os.path.basename(path)
            script = run(path, *(["completion"] if path == TOOL else ["--completion"]))[1].replace("complete -F", ": ")
            call = f'{script}\nCOMP_WORDS=("$@") COMP_CWORD=$(($# - 1))\n_{name}\nprintf "%s\\n" "${{COMPREPLY[@]}}"'
            status, output, errors = run("bash", "-c", call, "bash", name, *words)
            self.assertEqual((0, ""), (status, errors), words)
            return set(output.split())

        with open("file one", "w"), open("fine", "w"):
            os.mkdir("folder")
        self.assertEqual(set(run(TOOL, "--list")[1].split()), complete(TOOL, ""))
        for name, (call, _) in tools().items():
            known = long_options(run(*call, "--help")[1]) if name != "count" else {"--help"}
            self.assertEqual(set(), known - complete(call[0], *call[1:], "--"), name)
        for path, words, offered in (
                (TOOL, ["ht"], {"httpd"}), (TOOL, ["--", "ht"], {"httpd"}), (TOOL, ["xml", "c"], {"check", "canonical"}),
                (TOOL, ["find", "-t", ""], {"f", "d", "l"}), (TOOL, ["find", "f"], {"folder"}), (TOOL, ["ip", "--json", "wa"], {"watch"}),
                (TOOL, ["cat", "fi"], {"file", "one", "fine"}), (TOOL, ["cat", "--", "--"], set()), (TOOL, ["find", "-ft", "l"], {"l"}),
                (TOOL, ["ini", "get", "-d", "p"], {"plain", "python"}), (TOOL, ["ini", "get", "--dialect", "=", "g"], {"git"}),
                (TOOL, ["ini", "get", "fin"], {"fine"}), (TOOL, ["ini", "get", "fine", "f"], set()), (TOOL, ["run", "tru"], complete(TOOL, "run", "tru") | {"true"}),
                (TOOL, ["help", "ht"], {"httpd"}), (TOOL, ["manual", "-d", "folder", "in"], {"ini"}),
                (TOOL, ["httpd", "-p", "8", "fo"], {"folder"}), (TOOL, ["get", "http", ":", "//a", "-o", "fin"], {"fine"}),
                (DIGEST, ["-a", "crc"], {"crc32", "crc64", "crc16-ibm", "crc16-ccitt"}), (DIGEST, ["-cq", "fin"], {"fine"}),
                (CODEC, ["-d", "fin"], {"fine"}), (CODEC, ["--wrap=", ""], {"file", "one", "fine", "folder"})):
            self.assertEqual(offered, complete(path, *words), words)

    def test_files_that_cannot_be_read(self):
        with open("good", "w") as file:
            file.write("[a]\nb=c\n")
        with open("good.xml", "w") as file:
            file.write("<a/>\n")
        os.mkdir("folder")
        readers = [[TOOL, *words.split()] for words in (
            "ata", "base64", "cat", "digest", "digest -c", "iconv", "iconv -d", "nmea", "xml check", "xml format", "xml canonical", "get")]
        for call in readers + [[DIGEST], [DIGEST, "-c"], [CODEC], [CODEC, "-dq"]]:
            name = os.path.basename(call[0]) if call[0] != TOOL else call[1]
            for file, why in (("missing", "No such file or directory"), ("folder", "Is a directory"), ("-x", "No such file or directory"),
                              ("\x1b[m\n", "No such file or directory")):
                shown = file.replace("\x1b", "\\x1B").replace("\n", "\\n")
                self.assertEqual((1, "", f"{name}: {shown}: {why}\n"), run(*call, "--", file), call)
        for call in (["cat"], ["base64"], ["digest"], ["iconv"], ["nmea"]):
            with open("good", "rb") as file:
                given = run(TOOL, *call, "-", data=file.read())
            self.assertEqual(given[1].replace("-\n", "good\n"), run(TOOL, *call, "--", "good")[1], call)
        self.assertEqual((0, "c\n", ""), run(TOOL, "ini", "get", "-", "a", "b", data=b"[a]\nb=c\n"))
        self.assertEqual((0, "text", ""), run(TOOL, "get", "-o-", "pipe:printf text"))

    def test_two_names_are_one_command(self):
        with open("data", "wb") as file:
            file.write(os.urandom(5000))
        run("sh", "-c", "sha256sum data >list; base64 data >coded; echo nonsense >broken")
        for command, path in (("digest", DIGEST), ("base64", CODEC)):
            for words in (["data"], ["-"], ["--he"], ["missing"], ["-x"], ["-d", "coded"], ["-c", "list", "broken"], ["-qc", "list"],
                          ["--algorithm=md5", "data"], ["-a", "md6"], ["-w0", "data"], ["--wrap=-1"], ["-q", "data"], ["-d", "broken"], ["a", "b", "c"]):
                status, output, errors = run(TOOL, command, *words, data=b"text")
                as_program = errors.replace(f"usage: {command} ", f"usage: {os.path.basename(path)} ").replace(f"{command}: ", f"{os.path.basename(path)}: ")
                self.assertEqual((status, output, as_program.split()), (*run(path, *words, data=b"text")[:2], run(path, *words, data=b"text")[2].split()), words)

    def test_a_reader_who_goes_is_no_news(self):
        with open("big", "wb") as file:
            file.write(b"line\n" * 200000)
        for words in ("cat big", "base64 big", "iconv big", "get big", "get pipe:yes", "find /usr/share", "tree /usr/share", "run -m9M yes", "uuid -n 100000",
                      "digest " + "big " * 200, "manual"):
            for ignores in (False, True):
                read_end, write_end = os.pipe()
                os.close(read_end)
                ended = subprocess.run([TOOL, *words.split()], stdout=write_end, stderr=subprocess.PIPE, timeout=60, restore_signals=not ignores)
                os.close(write_end)
                self.assertEqual(b"", ended.stderr, words)
                self.assertIn(ended.returncode, (1, 125) if ignores else (-signal.SIGPIPE,), words)

    def test_what_was_started_ends_with_a_command(self):
        seconds = 400000 + os.getpid()
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            for words in (["get", "pipe:sleep {}"], ["get", "-o", "out", "pipe:sleep {} & wait"], ["get", "pipe:trap '' TERM; sleep {}; sleep 1"],
                          ["run", "sleep", "{}"], ["run", "-t", "9999", "sleep", "{}"],
                          ["launch", "-q", "sleep", "{}"]):
                seconds += 1
                sleeping = f"sleep {seconds}"
                with subprocess.Popen([TOOL, *(word.format(seconds) for word in words)], stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                      start_new_session=True) as command:
                    for _ in range(6000):
                        if processes_of(sleeping):
                            break
                        time.sleep(0.01)
                    command.send_signal(number)
                    self.assertEqual({"get": -number, "run": 128 + number, "launch": 0}[words[0]], command.wait(60), words)
                for _ in range(500):
                    left = processes_of(sleeping)
                    if not left:
                        break
                    time.sleep(0.01)
                self.assertEqual([], left, words)


if __name__ == "__main__":
    PROGRAMS = [os.path.abspath(sys.argv.pop(1)) for _ in range(5)]
    TOOL, DIGEST, CODEC = PROGRAMS[:3]
    unittest.main()
