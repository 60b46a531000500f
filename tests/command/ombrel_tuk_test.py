"""Runs the multi-call program on real files, beside the tools of GNU coreutils.

usage: ombrel_tuk_test.py OMBREL_TUK [CURL_PLUGIN WEB_SERVER] [TEST ...]
"""
import os
import pty
import random
import select
import shutil
import signal
import stat
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest
import uuid

TOOL = PLUGIN = SERVER = ""


def run(*command, data=b"", **more):
    """Status, output and error text."""
    result = subprocess.run(command, input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120, **more)
    return result.returncode, result.stdout, result.stderr.decode()


def is_musl():
    return b"-musl," in run(TOOL, "version")[1]


class MulticallTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        before = os.getcwd()
        self.addCleanup(os.chdir, before)
        os.chdir(folder.name)
        source = random.Random(3)
        for name, size in {"empty": 0, "one": 1, "-": 5, "long": 700001}.items():
            with open(name, "wb") as file:
                file.write(source.randbytes(size))

    def test_dispatch(self):
        names = run(TOOL, "--list")[1].decode().split()
        self.assertEqual(sorted(names[:-1]) + ["count"], names)
        status, listing, _ = run(TOOL)
        self.assertEqual((0, (0, listing, ""), (0, listing, "")), (status, run(TOOL, "-h"), run(TOOL, "help")))
        for name in names:
            self.assertIn(b"  " + name.encode() + b" ", listing)
            os.symlink(TOOL, name)
            usage = run(TOOL, name, "--help")
            self.assertEqual((0, ""), (usage[0], usage[2]))
            self.assertTrue(usage[1].startswith(b"usage: " + name.encode()), usage)
            self.assertEqual([usage] * 2, [run("./" + name, "--help"), run(TOOL, "help", name)])
        self.assertEqual(run(TOOL, "--version"), run("./version"))
        os.symlink(TOOL, "cat.EXE")
        self.assertEqual((0, b"text", ""), run("./cat.EXE", data=b"text"))
        self.assertIn(b"<?xml", run("./version", "-x")[1])
        self.assertEqual((0, b"2 7\n", ""), run(TOOL, "count", data=b"a\nb\ncde"))

    def test_ata(self):
        block = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../fuzz/corpus/ata_identity/solid_state")
        status, output, errors = run(TOOL, "ata", block)
        lines = dict(line.split(": ", 1) for line in output.decode().splitlines())
        self.assertEqual((0, ""), (status, errors))
        self.assertEqual(("EMT02B6Q", "500107862016", "solid state", "enabled", "disabled", "good"), tuple(
            lines[name] for name in ("firmware", "capacity", "rotation rate", "TRIM", "security", "integrity")))
        # Other forms; without the integrity word there is no sum to be right.
        with open(block, "rb") as file:
            words = list(struct.unpack("<256H", file.read()))
        words[255] = 0
        for word, value, line in ((217, 7200, "rotation rate: 7200 rpm"), (217, 1, "rotation rate: solid state"),
                                  (168, 5, "form factor: less than 1.8 inch"), (168, 2, "form factor: 3.5 inch"),
                                  (80, 0x1fc, "standard: ATA8-ACS"), (80, 0xfc, "standard: ATA-7"), (80, 0x3fc, "standard: ACS-2"),
                                  # A word that another one does not vouch for tells nothing.
                                  (83, 0, "LBA48: no"), (87, 0, "LBA48: disabled"), (119, 0, "write uncorrectable: no"),
                                  (120, 0, "write uncorrectable: disabled"), (53, 0, "PIO modes: 0")):
            other = struct.pack("<256H", *[*words[:word], value, *words[word + 1:]])
            self.assertIn(line.encode(), run(TOOL, "ata", "-", data=other)[1].splitlines())
        silent = run(TOOL, "ata", "-", data=struct.pack("<256H", *words[:217], 0, *words[218:]))[1]
        self.assertNotIn(b"rotation rate", silent)
        for name, data, why in (("-", bytes(512), "no identify block"), ("long", b"", "not 512 bytes"), ("-", b"", "not 512 bytes"), ("none", b"", "No such file or directory")):
            self.assertEqual((1, b"", f"ata: {name}: {why}\n"), run(TOOL, "ata", name, data=data))

    def test_wrong_calls(self):
        for arguments, expected in ((["nothing"], 127), (["help", "nothing"], 127), (["--nothing"], 2), (["cat", "-x"], 2),
                                    (["digest", "-a"], 2), (["digest", "-a", "md6"], 2), (["base64", "-w", "x"], 2),
                                    (["base64", "-w", "9999999999"], 2), (["base64", "one", "long"], 2), (["get"], 2),
                                    (["get", "-t", "1x", "a:"], 2), (["version", "x"], 2), (["date", "x"], 2), (["date", "-d"], 2),
                                    (["uuid", "-v", "2"], 2), (["uuid", "-v", "9"], 2), (["uuid", "-v", "5"], 2), (["uuid", "-n", "0"], 2),
                                    (["uuid", "-n", "x"], 2), (["uuid", "-s", "dns"], 2), (["uuid", "x"], 2), (["uuid", "-s", "x", "y"], 2),
                                    (["uuid", "-v", "7", "-s", "dns", "x"], 2), (["version", "--xml=x"], 2), (["ata"], 2), (["count", "x"], 2)):
            status, output, errors = run(TOOL, *arguments)
            self.assertEqual((expected, b""), (status, output), arguments)
            self.assertIn("usage: " + arguments[0] if expected == 2 and arguments[0][0] != "-" else "nothing", errors)

    def test_cat(self):
        files = ["one", "empty", "./-", "long"]
        self.assertEqual(run("cat", *files), run(TOOL, "cat", *files))
        self.assertEqual((0, b"text", ""), run(TOOL, "cat", data=b"text"))
        self.assertEqual(run("cat", "one", "-", "one", data=b"text"), run(TOOL, "cat", "--", "one", "-", "one", data=b"text"))
        status, output, errors = run(TOOL, "cat", "missing", ".", "one")
        self.assertEqual((1, run("cat", "one")[1]), (status, output))
        self.assertEqual(["cat: missing: No such file or directory", "cat: .: Is a directory"], errors.splitlines())

    def test_digest(self):
        for name in ("md5", "sha1", "sha256"):
            self.assertEqual(run(name + "sum", "one", "empty", "long"), run(TOOL, "digest", "-a", name, "one", "empty", "long"))
        self.assertEqual(run("sha256sum", data=b"text"), run(TOOL, "digest", data=b"text"))
        self.assertEqual((0, b"cbf43926  -\n", ""), run(TOOL, "digest", "-a", "crc32", data=b"123456789"))

    @unittest.skipUnless(shutil.which("free"), "the host has no free")
    def test_free(self):
        for options in [], ["-b"], ["-m"], ["-gt"], ["-h", "--total"]:
            ours, theirs = (run(*program, *options)[1].decode().splitlines() for program in ([TOOL, "free"], ["free"]))
            self.assertEqual(theirs[0], ours[0])
            group = run(TOOL, "free", "--container", *options)[1].decode().splitlines()
            self.assertEqual(len(ours) + 1, len(group))
            self.assertRegex(group[-1], r"^Group: +\S+ +\S+ +\S+$")
            self.assertEqual([line.split()[:2] for line in theirs[1:]], [line.split()[:2] for line in ours[1:]])
            self.assertEqual([len(line) for line in theirs], [len(line) for line in ours])

    @unittest.skipUnless(b"GNU" in run("date", "--version")[1], "the host's date is not GNU's")
    def test_date(self):
        flags = ["", *"-_0+^#EO:", "::", ":::", "-5", "_5", "05", "+5", "12", "_10", "^12", "#10", "^#", "E3", "5O", "10:", "_::", "-25", "012"]
        letters = "aAbBcCdDeFgGhHIjklmMnNpPqrRsStTuUVwWxXyYzZQJ% "
        formats = "+" + "\x01".join(f"%{flag}{letter}" for flag in flags for letter in letters).replace("%5Oq", "%5%q") + "%5q%"
        for zone in ("UTC0", "Europe/Berlin", "America/St_Johns", "Africa/Monrovia", "<-00>0", "<+1234>-12:34:56", "CET-1CEST,M3.5.0,M10.5.0/3"):
            at = dict(os.environ, TZ=zone, LC_ALL="C")
            for moment in (0, 1.5, -1.25, 1234567890.12, 1735689599.999999999, -2e9, -61e9, 253402300800, 1729989000, 1711848600):
                if "," in zone and moment < 0 and is_musl():
                    continue  # its rules hold before 1970 as well
                for utc in [], ["-u"]:
                    arguments = [*utc, "-d", f"@{moment:.9f}", formats]
                    ours, theirs = (run(*program, *arguments, env=at)[1].split(b"\x01") for program in ([TOOL, "date"], ["date"]))
                    self.assertEqual([], [pair for pair in zip(formats.split("\x01"), theirs, ours) if pair[1] != pair[2]], (zone, moment))
            for text in ("2024-07-01", "20240701", "2024-07-01T12:30", "2024-07-01 12:30:15,25", "2024-07-01t12:30:15.5z", "2024-03-31T02:30",
                         "2024-07-01T12:30:15-00:00", "2024-07-01 12:30:15.5+01", "2024-07-01T12:30:15 -0330", "Sun, 06 Nov 1994 08:49:37 GMT",
                         "Sunday, 06-Nov-94 08:49:37 GMT", "@5", "2023-02-29", "2024-13-01", "2024-07-01T25:00", "@", "@1e3", "nonsense"):
                ours, theirs = (run(*program, "-d", text, "+%s.%N", env=at)[:2] for program in ([TOOL, "date"], ["date"]))
                self.assertEqual(theirs, ours, (zone, text))
            self.assertEqual(run("date", "-d", "@-5", env=at), run(TOOL, "date", "-d@-5", env=at))
        self.assertEqual((1, b"", "date: 2023-02-29: invalid date\n"), run(TOOL, "date", "+%F", "-d", "2023-02-29", "-u"))
        for late in ("99999999999999999", "9223372036854775807"):
            self.assertEqual((1, b"", f"date: @{late}: date out of range\n"), run(TOOL, "date", "+%F", "-d", "@" + late))
        self.assertEqual((0, b"1994-11-06\x1b[1m\n", ""), run(TOOL, "date", "+%F\x1b[1m", "-ud", "Sun Nov  6 08:49:37 1994"))
        self.assertLess(abs(int(run("date", "+%s")[1]) - int(run(TOOL, "date", "+%s")[1])), 30)

    def test_uuid(self):
        spaces = {"dns": uuid.NAMESPACE_DNS, "url": uuid.NAMESPACE_URL, "oid": uuid.NAMESPACE_OID, "x500": uuid.NAMESPACE_X500}
        for name in ("www.example.com", "", "\u00e4 b", "-x"):
            for word, space in [*spaces.items(), (f"{{{uuid.UUID(int=5)}}}", uuid.UUID(int=5))]:
                for version, make in ([], uuid.uuid5), (["-v", "3"], uuid.uuid3):
                    self.assertEqual((0, f"{make(space, name)}\n".encode(), ""), run(TOOL, "uuid", "-s", word, *version, "--", name))
        self.assertEqual(b"5c146b14-3c52-8afd-938a-375d0df1fbf6\n", run(TOOL, "uuid", "www.example.com", "-v8", "-s", "dns")[1])
        for version in (1, 4, 6, 7, 8):
            lines = run(TOOL, "uuid", "-v", str(version), "-n", "500")[1].decode().split("\n")
            made = [uuid.UUID(line) for line in lines[:-1]]
            self.assertEqual((500, lines[:-1]), (len(set(made)), [str(one) for one in made]))
            self.assertEqual({(version, uuid.RFC_4122)}, {(one.version, one.variant) for one in made})
        self.assertEqual(4, uuid.UUID(run(TOOL, "uuid")[1].decode().strip()).version)

    def test_ports(self):
        status, names, errors = run(TOOL, "ports")
        self.assertEqual((0, ""), (status, errors))
        self.assertEqual(names.split(), [line.split(b"\t")[0] for line in run(TOOL, "ports", "-l")[1].splitlines()])

    def test_serial(self):
        device, port = pty.openpty()
        name = os.ttyname(port)
        with subprocess.Popen([TOOL, "serial", "-b", "9600", "-t", "100ms", name], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as pipes:
            sent, arrived = bytes(range(256)) * 40, b""
            pipes.stdin.write(sent)
            while len(arrived) < len(sent) // 2:
                arrived += os.read(device, 4096)
            os.write(device, b"answer")
            pipes.stdin.close()
            while len(arrived) < len(sent):
                arrived += os.read(device, 4096)
            self.assertEqual((sent, b"answer", 0), (arrived, pipes.stdout.read(), pipes.wait()))
        with subprocess.Popen([TOOL, "serial", "-t", "100ms", name], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as pipes:
            sent, arrived = random.Random(5).randbytes(1 << 18), b""
            os.set_blocking(pipes.stdin.fileno(), False)
            given = 0
            while select.select([], [pipes.stdin], [], 0.2)[1]:  # until all on the way is full, for nobody reads yet
                given += os.write(pipes.stdin.fileno(), sent[given:])
            self.assertLess(given, len(sent))
            while len(arrived) < len(sent) and select.select([device], [], [], 5)[0]:
                arrived += os.read(device, 4096)
                if given < len(sent) and select.select([], [pipes.stdin], [], 0)[1]:
                    given += os.write(pipes.stdin.fileno(), sent[given:])
                if given == len(sent):
                    pipes.stdin.close()
                    given += 1
            self.assertEqual((True, b"", 0), (sent == arrived, pipes.stdout.read(), pipes.wait()))
        screen, keys = pty.openpty()
        before = termios.tcgetattr(keys)
        with subprocess.Popen([TOOL, "serial", name], stdin=keys, stdout=keys, stderr=keys) as terminal:
            while termios.tcgetattr(keys) == before:
                time.sleep(0.01)
            os.write(screen, b"a\x03")
            self.assertEqual(b"a\x03", os.read(device, 2))
            os.write(device, b"shown")
            self.assertEqual(b"shown", os.read(screen, 5))
            os.write(screen, b"\x1d")
            self.assertEqual((0, before), (terminal.wait(), termios.tcgetattr(keys)))
        os.close(device)
        for arguments, expected in ((["/dev/null"], (1, f"serial: /dev/null: {'Not' if is_musl() else 'Operation not'} supported\n")), ([name + "9"], (1, f"serial: {name}9: No such file or directory\n"))):
            status, _, errors = run(TOOL, "serial", *arguments)
            self.assertEqual(expected, (status, errors))
        self.assertEqual(2, run(TOOL, "serial", "-f", "9N1", name)[0])
        for descriptor in port, screen, keys:
            os.close(descriptor)

    def test_base64(self):
        for name in ("one", "empty", "long"):
            for wrap in ("76", "0", "5"):
                coded = run(TOOL, "base64", "-w", wrap, name)
                self.assertEqual(run("base64", "-w", wrap, name), coded)
                self.assertEqual(run("cat", name), run(TOOL, "base64", "-d", data=coded[1]))
        for wrap in ("-w5", "--wrap=5"):
            self.assertEqual(run("base64", wrap, "long"), run(TOOL, "base64", wrap, "long"))
        self.assertEqual((0, b"abc", ""), run(TOOL, "base64", "-di", data=b"Y-W\xffJj!"))
        for bad in (b"YW?Jj", b"YWJ"):
            status, _, errors = run(TOOL, "base64", "-d", data=bad)
            self.assertEqual((1, "base64: -: invalid input\n"), (status, errors))

    def make_tree(self, root):
        """Files, links and directories, in a folder that has one of each."""
        os.makedirs(root + "/a/b")
        os.mkdir(root + "/.hidden")
        for name, text in {"a/b/x.o": "x", "a/y.c": "yy", ".hidden/z": "zzz", "a b": ""}.items():
            with open(root + "/" + name, "w") as file:
                file.write(text)
        os.symlink("../a", root + "/a/round")
        os.symlink("nowhere", root + "/lost")
        os.chmod(root + "/a/y.c", 0o750)

    def lines(self, *command):
        status, output, errors = run(TOOL, *command)
        self.assertEqual((0, ""), (status, errors), command)
        return sorted(output.decode().splitlines())

    def test_find(self):
        self.make_tree("r")
        for ours, theirs in ((["r"], ["r"]), (["r/", "one"], ["r/", "one"]), (["-m", "1", "r"], ["r", "-maxdepth", "1"]),
                             (["-m0", "."], [".", "-maxdepth", "0"]), (["-t", "f", "r"], ["r", "-type", "f"]),
                             (["r", "-td"], ["r", "-type", "d"]), (["-t", "l", "r/a/round"], ["r/a/round", "-type", "l"]),
                             (["r/a/round/"], ["r/a/round/"]), (["-x", "*.o", "r"], ["r", "!", "-name", "*.o"]),
                             (["-x", "a", "r"], ["r", "-name", "a", "-prune", "-o", "-print"]),
                             (["-x", "a/b", "r"], ["r", "-path", "r/a/b", "-prune", "-o", "-print"]),
                             (["-i", "*.[co]", "r"], ["r", "-name", "*.[co]"]), (["-i", "r", "r"], ["r", "-name", "r"]),
                             (["-i", "*", "-x", "*.c", "-i", "y*", "r"], ["r"])):
            self.assertEqual(sorted(run("find", *theirs)[1].decode().splitlines()), self.lines("find", *ours), ours)
        status, output, errors = run(TOOL, "find", "none", "one")
        self.assertEqual((1, b"one\n", "find: none: No such file or directory\n"), (status, output, errors))

    def test_cp(self):
        self.make_tree("r")
        for name in ("ours", "theirs"):
            os.mkdir(name)
        pairs = [["one", "D/new"], ["-r", "r", "D"], ["-r", "r/", "D/made"], ["r/a/y.c", "long", "D/r"], ["-r", "r/a/round", "D/link"],
                 ["r/a/round/y.c", "D/followed"], ["empty", "D/new"], ["-r", "r/.", "D/r/a"], ["-r", "one", "r", "D/r"]]
        for arguments in pairs:
            self.assertEqual((0, b"", ""), run(TOOL, "cp", *[each.replace("D", "ours") for each in arguments]), arguments)
            run("cp", *[each.replace("D", "theirs") for each in arguments])
        self.assertEqual((0, b"", ""), run("diff", "-r", "--no-dereference", "ours", "theirs"))
        self.assertEqual(*[sorted(run("find", ".", "-printf", "%p %m %y %l\n", cwd=name)[1].splitlines()) for name in ("ours", "theirs")])
        os.link("one", "same")
        for arguments in (["r", "ours"], ["none", "x"], ["one", "none/x"], ["one", "one"], ["one", "same"], ["one", "long", "same"], ["-r", "r", "r"],
                          ["-r", "r", "r/a/b/x"], ["-r", "r/a", "r/a"], ["-r", "r", "one"], ["r/lost", "x"]):
            status, output, errors = run(TOOL, "cp", *arguments)
            self.assertEqual((1, b"", 1, "cp: "), (status, output, len(errors.splitlines()), errors[:4]), arguments)
        os.mkfifo("pipe")
        self.assertEqual([(0, b"", "")] * 2, [run(TOOL, "cp", "/dev/null", "nothing"), run(TOOL, "cp", "-r", "pipe", "piped")])
        self.assertEqual((0, True), (os.path.getsize("nothing"), stat.S_ISFIFO(os.lstat("piped").st_mode)))
        self.assertRegex(run(TOOL, "cp", "x" * 300, "y")[2], "^cp: x{300}: File ?name too long\n$")
        os.makedirs("ours/taken/r/a/y.c")
        for arguments, why in ((["-r", "r", "r/a"], "r/a/r: a copy cannot be at its original or below it"),
                               (["one", "one"], "one: it is the copy's own file"),
                               (["-r", "r", "ours/taken"], "r/a/y.c: Is a directory")):
            self.assertEqual(f"cp: {why}\n", run(TOOL, "cp", *arguments)[2], arguments)
        self.assertEqual(["one", "r"], sorted(name for name in os.listdir(".") if name in ("one", "r", "x")))
        self.assertEqual(2, run(TOOL, "cp", "one")[0])

    def test_rm(self):
        self.make_tree("r")
        os.symlink("r", "way")
        for arguments, status in ((["r"], 1), (["r/a/none"], 1), (["-r", "none"], 1), (["-r", "."], 1), (["-r", ".."], 1), (["-r", "r/.."], 1),
                                  (["-r", "/"], 1), (["-r", "way/"], 1), ([], 2)):
            self.assertEqual((status, b""), run(TOOL, "rm", *arguments)[:2], arguments)
        self.assertTrue(os.path.exists("r/a/b/x.o"))
        self.assertEqual((0, b"", ""), run(TOOL, "rm", "way", "r/lost", "r/a/round"))
        status, _, errors = run(TOOL, "rm", "-r", "none", "r", "one")
        self.assertEqual((1, "rm: none: No such file or directory\n"), (status, errors))
        self.assertEqual(["-", "empty", "long"], sorted(os.listdir(".")))

    def test_tree_and_sync(self):
        self.make_tree("r")
        lines = run(TOOL, "tree", "-x", ".*", "r")[1].decode()
        self.assertEqual("r\n├── a\n│   ├── b\n│   │   └── x.o\n│   ├── round\n│   └── y.c\n├── a b\n└── lost\n2 directories, 5 files\n", lines)
        self.assertIn("           7  ├── a\n", run(TOOL, "tree", "-s", "r")[1].decode())
        self.assertEqual((1, b"r\n0 directories, 0 files\n", "tree: none: No such file or directory\n"), run(TOOL, "tree", "-m0", "none", "r"))
        everything = self.lines("sync", "-n", "r", "to")
        self.assertFalse(os.path.exists("to"))
        self.assertEqual((everything, []), (self.lines("sync", "r", "to"), self.lines("sync", "-c", "r", "to")))
        self.assertEqual("new     .", everything[0])
        os.mkdir("to/more")
        self.assertEqual([[], ["gone    more"], ["gone    more"], []],
                         [self.lines("sync", *flags, "r", "to") for flags in ([], ["-nd"], ["-d"], ["-d"])])
        self.assertEqual([1, 1, 2], [run(TOOL, "sync", *names)[0] for names in (["r", "r/a"], ["none", "to"], ["r"])])

    @unittest.skipUnless(shutil.which("rsync"), "rsync is not there")
    def test_sync_beside_rsync(self):
        """Afterwards rsync finds nothing to do, and what it would have touched is what was told."""
        def plant(root, seed):
            source, folders = random.Random(seed), [root]
            os.mkdir(root)
            for _ in range(60):
                path = f"{source.choice(folders)}/n{source.randrange(25)}"
                kind = source.random()
                if os.path.lexists(path):
                    continue
                if kind < 0.3:
                    os.mkdir(path)
                    folders.append(path)
                elif kind < 0.85:
                    with open(path, "w", encoding="ascii") as file:
                        file.write("x" * source.randrange(5))
                    os.utime(path, (1e9, 1e9 + source.randrange(3)))
                    os.chmod(path, source.choice([0o644, 0o600]))
                else:
                    os.symlink(source.choice("ab"), path)

        def asked_of_rsync():
            lines = run("rsync", "-rlptni", "--delete", "--omit-dir-times", "--omit-link-times", "A/", "B/")[1]
            return {line.split(b" ", 1)[1].strip().split(b" -> ")[0].rstrip(b"/") for line in lines.splitlines()}

        for seed in range(12):
            plant("A", seed)
            plant("B", seed % 2 * 1000 + seed)
            if seed % 2 == 0:
                run("sh", "-c", "find B -type f -name 'n*[37]' -delete; chmod 640 B/n* 2>/dev/null")
            asked = asked_of_rsync()
            told = {line.split(maxsplit=1)[1].encode() for line in self.lines("sync", "-d", "A", "B")}
            self.assertEqual(set(), told - asked, seed)
            self.assertEqual(set(), asked_of_rsync(), seed)
            shutil.rmtree("A")
            shutil.rmtree("B")

    def test_launch(self):
        for status, output, *arguments in (
            (7, b"out\n", "-r", "0", "--", "sh", "-c", "echo out; exit 7"),
            (3, b"out\n" * 3, "-r2", "-f", "0.01", "--", "sh", "-c", "echo out; exit 3"),
            (0, b"", "-r1", "-f1ms", "-a", "failure", "true"), (1, b"", "-r1", "-f1ms", "true"),
            (137, b"", "-r0", "--", "sh", "-c", "kill -9 $$"), (127, b"", "no_such_program"), (126, b"", "./one"),
            (3, b"", "-p", "pid", "--stop"), (3, b"", "-p", "no_folder/pid", "--stop"), (2, b"", "-p", "pid", "--stop", "true"),
            (2, b""), (2, b"", "--stop"), (2, b"", "-f", "0", "true"), (3, b"", "-p", "pid", "--status"),
            (127, b"", "-b", "-p", "pid", "no_such_program"), (1, b"", "-p", "no_folder/pid", "true"),
            (1, b"", "-o", "no_folder/log", "true"), (1, b"", "-d", "no_folder", "true"),
        ):
            self.assertEqual((status, output), run(TOOL, "launch", "-q", *arguments)[:2], arguments)
        self.assertIn("with exit code 4\n", run(TOOL, "launch", "-r0", "--", "sh", "-c", "exit 4")[2])
        self.assertEqual("launch: pid: nobody owns it\n", run(TOOL, "launch", "-p", "pid", "--stop")[2])
        with open("gone", "w") as script:
            script.write("#!/bin/sh\nrm gone\nexit 1\n")
        os.chmod("gone", 0o755)
        self.assertIn("\nlaunch: start failed: not_found\n", run(TOOL, "launch", "-r1", "-f1ms", "./gone")[2])
        lost = run(TOOL, "launch", "-r0", "-o", "/dev/full", "--", "sh", "-c", "echo x; exit 5")
        self.assertEqual((5, True), (lost[0], "\nlaunch: output is lost: no_space\n" in lost[2]))
        for ended_by in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with subprocess.Popen([TOOL, "launch", "-q", "-g", "0.1", "--", "sh", "-c",
                                   "trap '' TERM; echo up; while :; do sleep 600; done"], stdout=subprocess.PIPE) as launch:
                self.assertEqual(b"up\n", launch.stdout.readline())
                launch.send_signal(ended_by)
                self.assertEqual((0, b""), (launch.wait(120), launch.stdout.read()))  # nobody has it open any more
        daemon = [TOOL, "launch", "-b", "-p", "pid", "-o", "log", "--", "sh", "-c", "echo up >&2; exec sleep 600"]
        self.assertEqual((0, b"", ""), run(*daemon))
        try:
            number = run(TOOL, "launch", "-p", "pid", "--status")
            self.assertEqual(run("cat", "pid"), number)
            self.assertEqual((1, b"", "launch: pid: another process owns it\n"), run(*daemon))
        finally:
            self.assertEqual((0, b"", ""), run(TOOL, "launch", "-p", "pid", "--stop"))
        self.assertEqual((b"up\n", False), (run("cat", "log")[1], os.path.exists("pid")))

    def test_output_that_cannot_be_written(self):
        for command in (["cat", "long"], ["digest", "one"], ["base64", "long"], ["version"], ["help"], ["--list"], ["plugins"], ["date"], ["uuid"]):
            with open("/dev/full", "wb") as full:
                result = subprocess.run([TOOL, *command], stdout=full, stderr=subprocess.PIPE)
            self.assertEqual((1, True), (result.returncode, b"write error" in result.stderr), command)
            closed = subprocess.run([TOOL, *command], stderr=subprocess.PIPE, preexec_fn=lambda: os.close(1))
            self.assertEqual((1, True), (closed.returncode, b"write error" in closed.stderr), command)

    def test_get(self):
        for source in ("one", "long", "file://" + os.path.abspath("long")):
            self.assertEqual(run("cat", source.removeprefix("file://")), run(TOOL, "get", source))
        self.assertEqual((0, b"", ""), run(TOOL, "get", "-o", "copy", "long"))
        self.assertEqual(0, run("cmp", "copy", "long")[0])
        self.assertEqual((1, b"", "get: missing: No such file or directory\n"), run(TOOL, "get", "missing"))
        self.assertEqual((1, b"", "get: /dev/full: No space left on device\n"), run(TOOL, "get", "-o", "/dev/full", "long"))
        self.assertEqual((1, b"", "get: xyz://y: not supported by any plug-in\n"), run(TOOL, "get", "xyz://y"))

    def test_get_by_the_plugin_that_is_found(self):
        if not PLUGIN:
            self.skipTest("ombrel_plugin_curl is not built")
        found = dict(os.environ, OMBREL_PLUGIN_PATH=os.path.dirname(PLUGIN), no_proxy="*")
        with subprocess.Popen([sys.executable, SERVER], stdout=subprocess.PIPE) as server:
            url = f"http://127.0.0.1:{int(server.stdout.readline().split()[0])}/"
            status, output, errors = run(TOOL, "get", url + "bytes/300000", env=found)
            self.assertEqual((0, 300000, ""), (status, len(output), errors))
            self.assertIn(b"X-One: 1\nX-Two: 2", run(TOOL, "get", "-H", "X-One: 1", "-H", "X-Two: 2", url + "echo", env=found)[1])
            self.assertEqual((1, b"", f"get: {url}status/404: the server answered 404\n"), run(TOOL, "get", url + "status/404", env=found))
            self.assertIn(b"ombrel_plugin_curl.so", run(TOOL, "plugins", env=found)[1])
            self.assertEqual(1, run(TOOL, "plugins", "./missing.so", env=found)[0])
            server.stdout.close()


if __name__ == "__main__":
    TOOL = os.path.abspath(sys.argv.pop(1))
    if len(sys.argv) > 2 and sys.argv[1].endswith(".so"):
        PLUGIN, SERVER = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))
    unittest.main()
