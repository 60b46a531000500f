"""Runs the command ftpd: curl, lftp, Python's client and raw sockets as its clients.

usage: ftpd_test.py OMBREL_TUK [TEST ...]
"""
import contextlib
import ftplib
import io
import os
import re
import resource
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import unittest

TOOL = ""
WINDOWS = "OMBREL_TEST_WINDOWS" in os.environ
ENDS = [signal.SIGINT] if WINDOWS else [signal.SIGTERM, signal.SIGINT]
CURL, LFTP = shutil.which("curl"), shutil.which("lftp")
CROWD = 100 if WINDOWS else 500  # an emulator carries fewer
SPECIAL = "\u00fc q" if WINDOWS else "\u00fc \"q\""  # where no name has quotes


def has_ipv6():
    with contextlib.suppress(OSError), socket.create_server(("::1", 0), family=socket.AF_INET6):
        return True
    return False


class FtpdTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.root = os.path.join(self.folder, "root:1")
        os.makedirs(os.path.join(self.root, "sub"))
        self.large = os.urandom(1 << 22)
        for name, data in {"ten": b"0123456789", "sub/text": b"one\ntwo\n", "large": self.large}.items():
            self.write(name, data)

    def write(self, name, data):
        with open(os.path.join(self.root, name), "wb") as file:
            file.write(data)

    def read(self, name):
        with open(os.path.join(self.root, name), "rb") as file:
            return file.read()

    def accounts(self, lines=""):
        path = os.path.join(self.folder, "accounts")
        secret = subprocess.run([TOOL, "secret", "ann"], input=b"p w", stdout=subprocess.PIPE, check=True).stdout.decode()
        with open(path, "w", encoding="utf-8") as file:
            file.write(f"# of the test\n{secret.strip()}:{self.root}:rwd\nanonymous::{self.root}/sub:r\n{lines}")
        return path

    def start(self, *options, address="127.0.0.1"):
        process = subprocess.Popen([TOOL, "ftpd", "-a", address, "-p", "0", "-A", self.accounts(), *options],
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.addCleanup(self.end, process)
        self.url = re.fullmatch(r"ftpd: serving .*/accounts at (ftp://.*:\d+)/\n", process.stdout.readline()).group(1)
        self.port = int(self.url.rsplit(":", 1)[1])
        return process

    def end(self, process, number=ENDS[0]):
        """Its exit code and what else it printed."""
        if process.poll() is None:
            process.send_signal(number)
        with contextlib.suppress(ValueError):
            self.output = process.communicate(timeout=60)[0]
        return process.returncode

    def client(self, user="ann", password="p w", passive=True, host="127.0.0.1"):
        ftp = ftplib.FTP(timeout=120, encoding="utf-8")
        ftp.connect(host, self.port)
        ftp.login(user, password)
        ftp.set_pasv(passive)
        self.addCleanup(ftp.close)
        return ftp

    def fetch(self, ftp, name, **rest):
        parts = []
        ftp.retrbinary("RETR " + name, parts.append, **rest)
        return b"".join(parts)

    def test_takes_only_so_many_clients_of_a_stranger(self):
        self.start("-q", address="0.0.0.0")
        with contextlib.ExitStack() as crowd:
            answers = [crowd.enter_context(socket.create_connection(("127.0.0.1", self.port), timeout=60)).recv(3)
                       for _ in range(65)]
        self.assertEqual([b"220"] * 64 + [b"421"], answers)

    def test_opens_the_ports_that_it_may(self):
        self.start("-P", "21501-21503")
        ftp = self.client()
        self.assertLessEqual({ftp.makepasv()[1] for _ in range(9)}, {21501, 21502, 21503})

    def test_tells_what_happens_and_ends_on_signals(self):
        for number in ENDS:
            process = self.start()
            process.send_signal(signal.SIGSTOP)
            process.send_signal(signal.SIGCONT)
            ftp = self.client()
            self.assertEqual(b"0123456789", self.fetch(ftp, "ten"))
            with self.assertRaises(ftplib.error_perm):
                self.fetch(ftp, "no\x1b[2Jne".replace("\x1b", "\u009b"))
            ftp.quit()
            self.assertEqual(0, self.end(process, number))
            for pattern in (r"127\.0\.0\.1:\d+ - connected", r"\S+ ann logged in", r"\S+ ann sent /ten, 10 bytes in \d+ ms",
                            r"\S+ ann refused RETR /no\\xC2\\x9B\[2Jne: 550 .*", r"\S+ ann left, 10 bytes in \d+ ms: Good bye\."):
                self.assertRegex(self.output, f"(?m)^{pattern}$")

    @unittest.skipIf(WINDOWS, "the host does not tell of the room in a pipe")
    def test_does_not_wait_for_a_reader_of_its_log(self):
        process = self.start()
        ftp = self.client()
        for _ in range(3000):
            ftp.putline("SITE x")
        for _ in range(3000):
            self.assertRaises(ftplib.error_perm, ftp.voidresp)
        process.stdout.close()  # nor does it mind that there is none any more
        self.assertRaises(ftplib.error_perm, ftp.sendcmd, "SITE x")
        ftp.quit()
        process.terminate()
        self.assertEqual(0, process.wait(60))

    def test_refuses_wrong_beginnings(self):
        path = self.accounts("bob:x:/:r\n")
        for arguments, status, words in (([], 2, "-A ACCOUNTS is missing"), (["-A", path], 1, "accounts: line 4: the secret"),
                                         (["-A", path + "x"], 1, "accountsx"), (["-P", "9", "-A", path], 2, "9"),
                                         (["-P", "9-8", "-A", path], 2, "9-8"), (["-P", "0-8", "-A", path], 2, "0-8"),
                                         (["-P", "8-65536", "-A", path], 2, "8-65536"),
                                         (["-A", path, "more"], 2, "more")):
            result = subprocess.run([TOOL, "ftpd", *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=60)
            self.assertEqual((status, ""), (result.returncode, result.stdout), arguments)
            self.assertIn(words, result.stderr)
        elsewhere = subprocess.run([TOOL, "ftpd", "-a", "192.0.2.1", "-A", self.accounts()], stderr=subprocess.PIPE, text=True, timeout=60)
        self.assertEqual((1, "ftpd: 192.0.2.1: "), (elsewhere.returncode, elsewhere.stderr[:17]))

    def test_python_client(self):
        for host in ("127.0.0.1",) + (("::1",) if has_ipv6() else ()):
            process = self.start(address=host)
            for passive in (True, False):
                ftp = self.client(passive=passive, host=host)
                ftp.storbinary("STOR new", io.BytesIO(self.large), blocksize=10000)
                self.assertEqual(self.large, self.read("new"))
                self.assertEqual(self.large[5000:], self.fetch(ftp, "new", rest=5000))
                ftp.storlines("STOR sub/lines", io.BytesIO(b"a\nb\r\n"))
                self.assertEqual(b"a\nb\n", self.read("sub/lines"))
                lines = []
                ftp.retrlines("RETR sub/text", lines.append)
                self.assertEqual(["one", "two"], lines)
                ftp.cwd("sub")
                self.assertEqual(["lines", "text"], sorted(ftp.nlst()))
                facts = dict(ftp.mlsd("/", ["type", "size"]))
                self.assertEqual({"type": "file", "size": "10"}, facts["ten"])
                self.assertEqual({"type": "dir"}, facts["sub"])
                self.assertEqual("/sub/" + SPECIAL, ftp.mkd(SPECIAL))
                ftp.rename(SPECIAL, "../moved")
                ftp.rmd("/moved")
                ftp.delete("lines")
                ftp.voidcmd("TYPE I")
                self.assertEqual(1 << 22, ftp.size("/large"))
                with ftp.transfercmd("RETR /large") as data:
                    data.recv(1)
                    self.assertEqual("426", ftp.abort()[:3])
                    self.assertEqual("226", ftp.getresp()[:3])
                self.assertEqual("/sub", ftp.pwd())
                ftp.quit()
            guest = self.client("anonymous", "me@here", host=host)
            self.assertEqual(["text"], guest.nlst())
            self.assertRaises(ftplib.error_perm, guest.storbinary, "STOR x", io.BytesIO(b"x"))
            with self.assertRaises(ftplib.error_perm), ftplib.FTP() as stranger:
                stranger.connect(host, self.port)
                stranger.login("ann", "wrong")
            self.end(process)

    @unittest.skipUnless(CURL, "curl is not there")
    def test_curl(self):
        self.start()
        base = self.url.replace("//", "//ann:p%20w@")
        for options in ([], ["-P", "-"], ["--disable-epsv"], ["-P", "-", "--disable-eprt"], ["--ftp-method", "nocwd"]):
            fetched = subprocess.run([CURL, "-sS", *options, f"{base}/large", "-r", "10-"], stdout=subprocess.PIPE, timeout=60)
            self.assertEqual((0, self.large[10:]), (fetched.returncode, fetched.stdout), options)
        path = os.path.join(self.folder, "up")
        with open(path, "wb") as file:
            file.write(self.large)
        self.write("sub/up", self.large[:1000])
        self.assertEqual(0, subprocess.run([CURL, "-sS", "-C", "-", "-T", path, f"{base}/sub/up"], timeout=60).returncode)
        self.assertEqual(self.large, self.read("sub/up"))
        self.assertEqual(0, subprocess.run([CURL, "-sS", "-T", path, "--ftp-create-dirs", f"{base}/a/b/c"], timeout=60).returncode)
        self.assertEqual(self.large, self.read("a/b/c"))

    @unittest.skipUnless(LFTP, "lftp is not there")
    def test_lftp_mirrors_both_ways_and_goes_on(self):
        self.start()
        here, back = os.path.join(self.folder, "here"), os.path.join(self.folder, "back")
        for number in range(20):
            path = os.path.join(here, f"d{number % 3}", f"f {number}")
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as file:
                file.write(self.large[:number * 1000])
            os.utime(path, (1000000000 + number, 1000000000 + number))
        os.makedirs(back)
        with open(os.path.join(back, "part"), "wb") as file:
            file.write(self.large[:3000000])
        script = f"set net:max-retries 2; mirror -R '{here}' /up; mirror /up '{back}/up'; get -c /large -o '{back}/part'; exit"
        subprocess.run([LFTP, "--norc", "-u", "ann,p w", "-e", script, self.url], timeout=120, check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for place in (os.path.join(self.root, "up"), os.path.join(back, "up")):
            for folder, _, names in os.walk(here):
                for name in names:
                    copy = os.path.join(place, os.path.relpath(folder, here), name)
                    with open(os.path.join(folder, name), "rb") as one, open(copy, "rb") as other:
                        self.assertEqual(one.read(), other.read(), copy)
                    self.assertEqual(int(os.stat(os.path.join(folder, name)).st_mtime), int(os.stat(copy).st_mtime), copy)
        with open(os.path.join(back, "part"), "rb") as file:
            self.assertEqual(self.large, file.read())

    def test_serves_a_crowd(self):
        limit = resource.getrlimit(resource.RLIMIT_NOFILE)
        if limit[1] < 3 * CROWD + 100:
            self.skipTest("there are not descriptors enough")
        resource.setrlimit(resource.RLIMIT_NOFILE, (limit[1], limit[1]))
        self.addCleanup(resource.setrlimit, resource.RLIMIT_NOFILE, limit)
        process = self.start("-q")
        crowd = [self.client() for _ in range(CROWD)]
        held = [ftp.transfercmd("RETR large") for ftp in crowd]  # none of them reads on
        late = self.client()
        self.assertEqual(self.large, self.fetch(late, "large"))
        results = []

        def read(ftp, data):
            with data:
                size = 0
                while part := data.recv(1 << 16):
                    size += len(part)
            results.append((size, ftp.voidresp()[:3]))
        for first in range(0, CROWD, 50):
            threads = [threading.Thread(target=read, args=pair) for pair in zip(crowd[first:first + 50], held[first:first + 50])]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()
        self.assertEqual([(len(self.large), "226")] * CROWD, results)
        for ftp in crowd[::2]:
            ftp.close()
        self.assertEqual(0, self.end(process))


if __name__ == "__main__":
    TOOL = sys.argv[1]
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
