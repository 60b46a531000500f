"""Runs the command "download" against servers that break off, lie, change, stall and lead astray.

usage: download_test.py OMBREL_TUK [TEST ...]
"""
import errno
import hashlib
import os
import random
import re
import resource
import signal
import socket
import stat
import subprocess
import sys
import tempfile
import threading
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))

from terminal import shown_until_closed  # noqa: E402

TOOL = ""
DATA = random.Random(7).randbytes(300_000)
OTHER = random.Random(8).randbytes(300_000)
HALF = len(DATA) // 2
DIGEST = "sha256:" + hashlib.sha256(DATA).hexdigest()


class Server:
    """One behaviour a path: a function of the request, which sends what it likes."""

    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0), backlog=64)
        self.url = f"http://127.0.0.1:{self.listener.getsockname()[1]}"
        self.seen, self.count = [], {}
        self.random = random.Random(3)
        self.over = threading.Event()
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        try:
            while True:
                threading.Thread(target=self.serve, args=[self.listener.accept()[0]], daemon=True).start()
        except OSError:
            pass

    def close(self):
        self.over.set()
        self.listener.close()

    def serve(self, client):
        with client:
            try:
                head = b""
                while b"\r\n\r\n" not in head:
                    piece = client.recv(65536)
                    if not piece:
                        return
                    head += piece
                lines = head.decode().split("\r\n")
                fields = {name.lower(): value for name, value in (line.split(": ", 1) for line in lines[1:] if ": " in line)}
                path = lines[0].split()[1]
                self.seen.append((path, fields.get("range"), fields.get("if-range")))
                self.count[path] = self.count.get(path, 0) + 1
                getattr(self, re.split("[/?]", path[1:])[0])(client, fields, self.count[path])
            except OSError:
                pass

    @staticmethod
    def head(client, status, length=None, **fields):
        lines = [f"HTTP/1.1 {status} Whatever", "Connection: close"] + [f"{name.replace('_', '-')}: {value}" for name, value in fields.items()]
        client.sendall("\r\n".join(lines + ([f"Content-Length: {length}"] if length is not None else []) + ["", ""]).encode())

    def part(self, client, fields, data=DATA, tag='"1"', cut=None, **more):
        """An honest answer, of which `cut` bytes are sent."""
        wanted = re.fullmatch(r"bytes=(\d+)-", fields.get("range", ""))
        start = int(wanted[1]) if wanted and fields.get("if-range", tag) == tag else 0
        if start >= len(data):
            return self.head(client, 416, 0, ETag=tag, Content_Range=f"bytes */{len(data)}")
        named = {"ETag": tag} if tag else {}
        if start:
            self.head(client, 206, len(data) - start, Content_Range=f"bytes {start}-{len(data) - 1}/{len(data)}", **named, **more)
        else:
            self.head(client, 200, len(data), **named, **more)
        client.sendall(data[start:][:cut])

    def good(self, client, fields, count):
        self.part(client, fields)

    def breaks(self, client, fields, count):
        self.part(client, fields, cut=self.random.randrange(60_000))

    def once(self, client, fields, count):
        self.part(client, fields, cut=HALF if count == 1 else None)

    def half(self, client, fields, count):
        self.part(client, fields, cut=HALF)

    def dated(self, client, fields, count):
        date = "Sun, 06 Nov 1994 08:49:37 GMT"
        self.part(client, {**fields, "if-range": ""} if fields.get("if-range", date) != date else {"range": fields.get("range", "")}, tag="",
                  cut=HALF if count == 1 else None, Last_Modified=date)

    def recent(self, client, fields, count):
        date = "Sun, 06 Nov 1994 08:49:37 GMT"
        self.part(client, {}, tag="", cut=HALF if count == 1 else None, Last_Modified=date, Date=date)

    def weak(self, client, fields, count):
        self.part(client, {}, tag='W/"1"', cut=HALF if count == 1 else None)

    def unmarked(self, client, fields, count):
        self.part(client, {}, tag="", cut=HALF if count == 1 else None)

    def deaf(self, client, fields, count):
        self.part(client, {}, cut=HALF if count == 1 else None)

    def changed(self, client, fields, count):
        self.part(client, fields, *((DATA, '"1"', HALF) if count == 1 else (OTHER, '"2"')))

    def swindler(self, client, fields, count):
        """Gives the rest of another file, whatever was asked about it."""
        fields.pop("if-range", None)
        self.part(client, fields, *((DATA, '"1"', HALF) if count == 1 else (OTHER, '"2"')))

    def unsatisfied(self, client, fields, count):
        if "range" in fields:
            return self.head(client, 416, 0)
        self.part(client, fields, cut=HALF if count == 1 else None)

    def misplaced(self, client, fields, count):
        if "range" in fields:
            self.head(client, 206, 10, ETag='"1"', Content_Range=f"bytes 5-14/{len(DATA)}")
            return client.sendall(DATA[5:15])
        self.part(client, fields, cut=HALF if count == 1 else None)

    def more(self, client, fields, count):
        self.head(client, 200, len(DATA) + 1000)
        client.sendall(DATA)

    def less(self, client, fields, count):
        self.head(client, 200, len(DATA) - 1000)
        client.sendall(DATA)

    def busy(self, client, fields, count):
        if count == 1:
            return self.head(client, 503, 0, Retry_After="1")
        self.part(client, fields)

    def missing(self, client, fields, count):
        self.head(client, 404, 0)

    def stall(self, client, fields, count):
        self.part(client, fields, cut=HALF if count == 1 else 0)
        self.over.wait(60)

    def silent(self, client, fields, count):
        self.over.wait(60)

    def slow(self, client, fields, count):
        self.part(client, fields, cut=0)
        start = int(re.findall(r"\d+", fields.get("range", "0"))[0])
        for at in range(start, len(DATA), 10_000):
            client.sendall(DATA[at:at + 10_000])
            time.sleep(0.01)

    def endless(self, client, fields, count):
        self.head(client, 200, Transfer_Encoding="chunked")
        while True:
            client.sendall(b"1000\r\n" + bytes(4096) + b"\r\n")

    def chunked(self, client, fields, count):
        self.head(client, 200, Transfer_Encoding="chunked")
        client.sendall(b"%x\r\n%s\r\n0\r\n\r\n" % (len(DATA), DATA))

    def cut_chunks(self, client, fields, count):
        self.head(client, 200, Transfer_Encoding="chunked")
        client.sendall(b"%x\r\n%s\r\n" % (len(DATA), DATA))

    def circle(self, client, fields, count):
        self.head(client, 302, 0, Location="/circle")

    def deep(self, client, fields, count):
        self.head(client, 302, 0, Location="/deep/a/b")
        if count > 1:
            return

    def relative(self, client, fields, count):
        self.head(client, 307, 0, Location="../nothing/../../good?x=/../y")

    def astray(self, client, fields, count):
        self.head(client, 301, 0, Location="file:///etc/passwd")

    def wrong(self, client, fields, count):
        self.part(client, fields, data=OTHER)

    def rubbish(self, client, fields, count):
        client.sendall(b"\x00\xff" * 1000)

    def list(self, client, fields, count):
        text = f"# a list\n{hashlib.sha1(DATA).hexdigest()} *./good\n{hashlib.md5(OTHER).hexdigest()}  other\n".encode()
        self.head(client, 200, len(text))
        client.sendall(text)


class DownloadTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.target = os.path.join(folder.name, "target")
        self.server = Server()
        self.addCleanup(self.server.close)

    def run_tool(self, *words, **more):
        result = subprocess.run([TOOL, "download", *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120, **more)
        self.assertEqual(b"", result.stdout)
        return result.returncode, result.stderr.decode()

    def fetch(self, path, *words, **more):
        return self.run_tool(*words, self.server.url + path, self.target, **more)

    def assert_stored(self, data=DATA, names=("target",)):
        with open(self.target, "rb") as file:
            self.assertTrue(file.read() == data)
        self.assertEqual(sorted(names), sorted(os.listdir(self.folder)))

    def ranges(self):
        return [asked for _, asked, _ in self.server.seen]

    def test_what_comes_in_the_end_is_whole(self):
        cases = {"/good": [], "/chunked": [], "/once": ["-r", "1"], "/dated": ["-r", "1"], "/weak": ["-r", "1"], "/recent": ["-r", "1"], "/unmarked": ["-r", "1"], "/deaf": ["-r", "1"],
                 "/breaks": ["-r", "60"], "/unsatisfied": ["-r", "1"], "/misplaced": ["-r", "1"], "/busy": ["-r", "1"], "/relative/a/b": [], "/slow": []}
        asked = {"/once": "bytes=150000-", "/dated": "bytes=150000-", "/weak": None, "/unmarked": None, "/recent": None}
        for path, words in cases.items():
            began = time.monotonic()
            self.assertEqual((0, ""), self.fetch(path, *words, "-d", DIGEST) if path not in asked else self.fetch(path, *words), path)
            self.assert_stored()
            self.assertTrue(path != "/busy" or time.monotonic() - began > 0.9)
            if path in asked:
                self.assertEqual([None, asked[path]], self.ranges()[-2:], path)
            os.remove(self.target)

    def test_a_changed_file_is_not_glued(self):
        for path in ("/changed", "/swindler"):
            self.assertEqual((0, ""), self.fetch(path, "-r", "1"))
            self.assert_stored(OTHER)

    def test_failures_leave_the_old_file_and_say_why(self):
        most = len(DATA)
        cases = (
            ("/missing", [], "the server answers 404", False), ("/half", [], f"broken off at {HALF} of {most} bytes", True),
            ("/more", [], f"broken off at {most} of {most + 1000} bytes", False), ("/less", ["-d", DIGEST], "the sha256 digest is ", False),
            ("/stall", ["-t", "3"], "", True), ("/silent", ["-t", "0.4"], "", False), ("/silent", ["-T", "0.4"], "the time ran out", False),
            ("/endless", ["-l", "1M"], "larger than the limit of 1048576 bytes", False), ("/good", ["-l", str(most - 1)], "larger than the limit of 299999", False),
            ("/circle", [], "too many redirections", False), ("/astray", [], "the server redirects to what is not allowed", False),
            ("/wrong", ["-d", DIGEST], f"the sha256 digest is {hashlib.sha256(OTHER).hexdigest()}, not {DIGEST[7:]} as was wanted", False),
            ("/wrong", ["-d", "md5:" + hashlib.md5(DATA).hexdigest().upper()], f"the md5 digest is {hashlib.md5(OTHER).hexdigest()}, not", False),
            ("/cut_chunks", [], "", False), ("/rubbish", [], "", False), ("/busy", [], "the server answers 503", False),
            ("/good", ["-D", self.server.url + "/list", "-n", "missing"], "the list of digests has no line for it", False),
            ("/good", ["-D", self.server.url + "/list", "-n", "other"], "the md5 digest is ", False))
        for path, words, why, is_kept in cases:
            with open(self.target, "wb") as file:
                file.write(b"old")
            status, errors = self.fetch(path, "-r", "0", *words)
            self.assertEqual(1, status, path)
            self.assertRegex(errors, rf"\Adownload: {re.escape(self.server.url)}/\w+: {re.escape(why)}.*\n\Z")
            self.assert_stored(b"old", ["target"] + (["target.part-download", "target.part-download.info"] if is_kept else []))
            for name in os.listdir(self.folder):
                os.remove(os.path.join(self.folder, name))
        self.assertEqual((0, ""), self.fetch("/good", "-l", str(most), "-D", self.server.url + "/list", "-r", "0"))
        self.assert_stored()

    def test_another_call_goes_on(self):
        self.assertEqual(1, self.fetch("/half", "-r", "0")[0])
        self.assertEqual((0, ""), self.run_tool("-r", "0", "-d", DIGEST, self.server.url + "/good", self.target))
        self.assert_stored()
        self.assertEqual([None, f"bytes={HALF}-"], self.ranges())
        # All is there, and only the target is not.
        for tag, asked in (('"1"', 1), ('"0"', 1)):
            self.assertEqual(1, self.fetch("/half", "-r", "0", "-a")[0])
            self.assertEqual(["target"], os.listdir(self.folder))
            self.assertEqual(1, self.fetch("/stall", "-r", "0", "-t", "3")[0])
            with open(self.target + ".part-download", "wb") as file:
                file.write(DATA)
            with open(self.target + ".part-download.info") as file:
                text = file.read().replace(hashlib.sha256(f"{self.server.url}/stall".encode()).hexdigest(),
                                           hashlib.sha256(f"{self.server.url}/good".encode()).hexdigest()).replace('"1"', tag)
            with open(self.target + ".part-download.info", "w") as file:
                file.write(text)
            self.assertEqual((0, ""), self.fetch("/good"))
            self.assertEqual(f"bytes={len(DATA)}-", self.ranges()[-asked])
            self.assert_stored()
            self.server.count.clear()

    def test_mirrors(self):
        url = self.server.url
        for first in ("/missing", "/half", "/wrong", "/rubbish", "/circle"):
            self.assertEqual((0, ""), self.fetch(first, "-r", "0", "-d", DIGEST, "-m", url + "/missing", "-m", url + "/good"), first)
            self.assert_stored()
        self.assertEqual("bytes=150000-", [asked for path, asked, _ in self.server.seen if path == "/good"][1]) # proven in the end
        self.assertEqual((0, ""), self.fetch("/half", "-r", "0", "-m", url + "/good"))
        self.assertIsNone(self.ranges()[-1]) # not proven by anything
        self.server.seen.clear()
        self.assertEqual((1, f"download: {url}/missing: the server answers 404\n"), self.fetch("/missing", "-m", url + "/missing", "-r", "5"))
        self.assertEqual(2, len(self.server.seen))

    def test_bytes_of_an_earlier_call_that_were_others(self):
        self.assertEqual(1, self.fetch("/half", "-r", "0")[0])
        with open(self.target + ".part-download", "r+b") as file:
            file.write(b"spoilt")
        self.assertEqual((0, ""), self.run_tool("-r", "0", "-d", DIGEST, self.server.url + "/good", self.target))
        self.assert_stored()
        self.assertEqual([f"bytes={HALF}-", None], self.ranges()[-2:])

    def test_killed_at_any_moment(self):
        source = random.Random(5)
        rounds = 0
        while rounds < 25 or len([asked for asked in self.ranges() if asked]) < 4:
            rounds += 1
            tool = subprocess.Popen([TOOL, "download", "-d", DIGEST, self.server.url + "/slow", self.target])
            try:
                tool.wait(source.uniform(0, 0.1 + rounds / 1000))
            except subprocess.TimeoutExpired:
                tool.kill()
                tool.wait()
            if os.path.exists(self.target):
                names = os.listdir(self.folder)
                self.assertIn(names, (["target"], ["target", "target.part-download.info"], ["target.part-download.info", "target"]))
                self.assert_stored(names=names)
                os.remove(self.target)
        self.assertEqual((0, ""), self.fetch("/slow"))
        self.assert_stored()

    def test_two_of_one_target_do_not_mix(self):
        first = subprocess.Popen([TOOL, "download", "-q", self.server.url + "/stall", self.target])
        while not os.path.exists(self.target + ".part-download.info"):
            time.sleep(0.001)
        self.assertEqual((1, f"download: {self.target}: another download of it is under way\n"), self.fetch("/good"))
        first.kill()
        first.wait()
        self.assertEqual((0, ""), self.fetch("/good"))
        self.assert_stored()

    def test_targets(self):
        link, folder = os.path.join(self.folder, "link"), os.path.join(self.folder, "folder")
        os.mkdir(folder)
        real = os.path.join(folder, "real")
        with open(real, "wb"):
            pass
        os.chmod(real, 0o640)
        os.symlink("folder/real", link)
        self.assertEqual((0, ""), self.run_tool(self.server.url + "/good", link))
        self.assertTrue(os.path.islink(link))
        self.assertEqual((0o640, ["real"]), (stat.S_IMODE(os.stat(real).st_mode), os.listdir(folder)))
        for target, why in ((folder, "Is a directory"), (folder + "/no/file", "No such file or directory"), ("/dev/null", os.strerror(errno.ENOSYS))):
            self.assertEqual((1, f"download: {target}: {why}\n"), self.run_tool(self.server.url + "/good", target))
        os.symlink("/etc/passwd", self.target + ".part-download")
        self.assertEqual(1, self.fetch("/good")[0])
        before = os.umask(0o027)
        self.addCleanup(os.umask, before)
        new = os.path.join(folder, "new")
        self.assertEqual((0, ""), self.run_tool(self.server.url + "/good", new))
        self.assertEqual(0o640, stat.S_IMODE(os.stat(new).st_mode))

    def test_a_full_disk(self):
        with open(self.target, "wb") as file:
            file.write(b"old")

        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (100_000, 100_000))

        self.assertEqual((1, f"download: {self.target}: File too large\n"), self.fetch("/good", preexec_fn=limit, restore_signals=False))
        self.assertEqual((0, ""), self.fetch("/good", "-d", DIGEST))
        self.assert_stored()
        self.assertEqual("bytes=100000-", self.ranges()[-1])

    def test_files(self):
        source = os.path.join(self.folder, "source file")
        with open(source, "wb") as file:
            file.write(DATA)
        for uri in (source, "file://" + source.replace(" ", "%20"), "file://localhost" + source):
            self.assertEqual((0, ""), self.run_tool("-d", DIGEST, uri, self.target))
            self.assert_stored(names=["target", "source file"])
        self.assertEqual((1, f"download: {source}: larger than the limit of 5 bytes\n"), self.run_tool("-l", "5", source, self.target))
        fifo = os.path.join(self.folder, "fifo")
        os.mkfifo(fifo)
        for name in (fifo, "/dev/zero"):
            self.assertEqual((1, f"download: {name}: it is no regular file\n"), self.run_tool(name, self.target))

    def on_terminal(self, *words):
        """What a terminal gets to see."""
        screen, terminal = os.openpty()
        process = subprocess.Popen([TOOL, "download", *words], stdout=terminal, stderr=subprocess.PIPE)
        os.close(terminal)
        shown = shown_until_closed(screen)
        process.communicate()
        return process.returncode, shown.decode()

    @unittest.skipIf("OMBREL_TEST_WINDOWS" in os.environ, "terminals of POSIX")
    def test_a_terminal_sees_how_far_it_is(self):
        status, shown = self.on_terminal("-r", "1", self.server.url + "/once", self.target)
        self.assertEqual(0, status)
        self.assertRegex(shown, rf"^\r(?s:.*)\rtrying again in \d+ ms\x1b\[K(?s:.*) {len(DATA)} bytes(?s:.*)\n$")
        os.remove(self.target)
        status, shown = self.on_terminal(self.server.url + "/chunked", self.target)
        self.assertRegex(shown, rf"\r\S+ +{len(DATA)} bytes\x1b\[K\r\n$")
        self.assertEqual((0, ""), self.on_terminal("-q", self.server.url + "/good", self.target))

    def test_usage(self):
        for words in ([], ["x"], ["x", "y", "z"], ["-d", "sha256:12", "x", "y"], ["-d", "crc32:00000000", "x", "y"], ["-r", "-1", "x", "y"],
                      ["pipe:ls", "y"], ["-m", "stdin:", "x", "y"], ["-d", DIGEST, "-D", "x", "x", "y"]):
            status, errors = self.run_tool(*words)
            self.assertEqual((2, "download: "), (status, errors[:10]), words)

    def test_ftp(self):
        root = os.path.join(self.folder, "root")
        os.mkdir(root)
        with open(os.path.join(root, "file"), "wb") as file:
            file.write(DATA)
        line = subprocess.run([TOOL, "secret", "u"], input=b"p\n", stdout=subprocess.PIPE, check=True).stdout.decode().strip()
        with open(os.path.join(self.folder, "accounts"), "w") as file:
            os.chmod(file.name, 0o600)
            file.write(f"{line}:{root}:r\n")
        server = subprocess.Popen([TOOL, "ftpd", "-p", "0", "-A", file.name], stdout=subprocess.PIPE)
        self.addCleanup(lambda: (server.terminate(), server.wait(30), server.stdout.close()))
        port = re.search(rb":(\d+)/?\s*$", server.stdout.readline())[1].decode()
        url = f"ftp://u:p@127.0.0.1:{port}/file"
        self.assertEqual((0, ""), self.run_tool("-d", DIGEST, url, self.target))
        self.assert_stored(names=["accounts", "root", "target"])
        self.assertEqual(1, self.run_tool("-r", "0", "-q", url + "s", self.target)[0])

        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (100_000, 100_000))

        self.assertEqual(1, self.run_tool(url, self.target, preexec_fn=limit, restore_signals=False)[0])
        self.assertEqual(100_000, os.path.getsize(self.target + ".part-download"))
        self.assertEqual((0, ""), self.run_tool(url, self.target))
        self.assert_stored(names=["accounts", "root", "target"])
        # Another of the same size, told apart by its time.
        self.assertEqual(1, self.run_tool(url, self.target, preexec_fn=limit, restore_signals=False)[0])
        with open(os.path.join(root, "file"), "wb") as file:
            file.write(OTHER)
        os.utime(file.name, (1e9, 1e9))
        self.assertEqual((0, ""), self.run_tool(url, self.target))
        self.assert_stored(OTHER, ["accounts", "root", "target"])

    def test_tftp(self):
        root = os.path.join(self.folder, "root")
        os.mkdir(root)
        with open(os.path.join(root, "file"), "wb") as file:
            file.write(DATA)
        server = subprocess.Popen([TOOL, "tftpd", "-p", "0", root], stdout=subprocess.PIPE)
        self.addCleanup(lambda: (server.terminate(), server.wait(30), server.stdout.close()))
        url = "tftp://127.0.0.1:" + re.search(rb":(\d+)/?\s*$", server.stdout.readline())[1].decode()
        self.assertEqual((0, ""), self.run_tool("-d", DIGEST, url + "/file", self.target))
        self.assert_stored(names=["root", "target"])
        self.assertEqual(1, self.run_tool("-l", "100000", url + "/file", self.target)[0])
        self.assertEqual(1, self.run_tool("-r", "0", url + "/missing", self.target)[0])
        self.assert_stored(names=["root", "target"])


if __name__ == "__main__":
    TOOL = os.path.abspath(sys.argv.pop(1))
    unittest.main()
