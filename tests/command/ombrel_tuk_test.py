"""Runs the multi-call program on real files, beside the tools of GNU coreutils.

usage: ombrel_tuk_test.py OMBREL_TUK [CURL_PLUGIN WEB_SERVER] [TEST ...]
"""
import os
import random
import shutil
import subprocess
import sys
import tempfile
import unittest

TOOL = PLUGIN = SERVER = ""


def run(*command, data=b"", **more):
    """Status, output and error text."""
    result = subprocess.run(command, input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120, **more)
    return result.returncode, result.stdout, result.stderr.decode()


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
        self.assertEqual(["base64", "cat", "digest", "free", "get", "help", "plugins", "version", "count"], names)
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

    def test_wrong_calls(self):
        for arguments, expected in ((["nothing"], 127), (["help", "nothing"], 127), (["--nothing"], 2), (["cat", "-x"], 2),
                                    (["digest", "-a"], 2), (["digest", "-a", "md6"], 2), (["base64", "-w", "x"], 2),
                                    (["base64", "-w", "9999999999"], 2), (["base64", "one", "long"], 2), (["get"], 2),
                                    (["get", "-t", "1x", "a:"], 2), (["version", "x"], 2), (["version", "--xml=x"], 2), (["count", "x"], 2)):
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
            self.assertEqual([line.split()[:2] for line in theirs[1:]], [line.split()[:2] for line in ours[1:]])
            self.assertEqual([len(line) for line in theirs], [len(line) for line in ours])

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

    def test_output_that_cannot_be_written(self):
        for command in (["cat", "long"], ["digest", "one"], ["base64", "long"], ["version"], ["help"], ["--list"], ["plugins"]):
            with open("/dev/full", "wb") as full:
                result = subprocess.run([TOOL, *command], stdout=full, stderr=subprocess.PIPE)
            self.assertEqual((1, True), (result.returncode, b"write error" in result.stderr), command)
            closed = subprocess.run([TOOL, *command], stderr=subprocess.PIPE, preexec_fn=lambda: os.close(1))
            self.assertEqual((1, True), (closed.returncode, b"write error" in closed.stderr), command)
        reader, writer = os.pipe()
        os.close(reader)
        self.assertEqual(1, subprocess.run([TOOL, "cat", "long"], stdout=writer, stderr=subprocess.PIPE).returncode)
        os.close(writer)

    def test_get(self):
        for source in ("one", "long", "file://" + os.path.abspath("long")):
            self.assertEqual(run("cat", source.removeprefix("file://")), run(TOOL, "get", source))
        self.assertEqual((0, b"", ""), run(TOOL, "get", "-o", "copy", "long"))
        self.assertEqual(0, run("cmp", "copy", "long")[0])
        self.assertEqual((1, b"", "get: missing: not found\n"), run(TOOL, "get", "missing"))
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
            self.assertEqual((1, b"", f"get: {url}status/404: not found\n"), run(TOOL, "get", url + "status/404", env=found))
            self.assertIn(b"ombrel_plugin_curl.so", run(TOOL, "plugins", env=found)[1])
            self.assertEqual(1, run(TOOL, "plugins", "./missing.so", env=found)[0])
            server.stdout.close()


if __name__ == "__main__":
    TOOL = os.path.abspath(sys.argv.pop(1))
    if len(sys.argv) > 2 and sys.argv[1].endswith(".so"):
        PLUGIN, SERVER = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))
    unittest.main()
