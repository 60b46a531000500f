"""Fetches from the command "tftpd" and stores there with curl and atftp.

usage: tftpd_test.py OMBREL_TUK [TEST ...]
"""
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

TOOL = ""
WINDOWS = "OMBREL_TEST_WINDOWS" in os.environ
ENDS = [signal.SIGINT] if WINDOWS else [signal.SIGTERM, signal.SIGINT]
BYTES = bytes(range(256)) * 1000


class TftpdTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.served = os.path.join(folder.name, "served")
        os.mkdir(self.served)
        for name, data in (("image", BYTES), ("blocks", BYTES[:1024]), ("empty", b""), ("text", b"a\nb\rc\r\n")):
            self.write(os.path.join("served", name), data)

    def write(self, name, data):
        with open(os.path.join(self.folder, name), "wb") as file:
            file.write(data)

    def read(self, *name):
        with open(os.path.join(self.folder, *name), "rb") as file:
            return file.read()

    def serve(self, *words):
        process = subprocess.Popen([TOOL, "tftpd", "-p", "0", *words, self.served], stdout=subprocess.PIPE)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.port = re.fullmatch(r"tftpd: serving .* at tftp://127\.0\.0\.1:(\d+)/\n", process.stdout.readline().decode())[1]
        return process

    def stop(self, process):
        process.send_signal(ENDS[0])
        log = process.stdout.read().decode()
        self.assertEqual(0, process.wait(60))
        return re.sub(r"(?m)^\S+ \d+ (.*) \d+ ms", r"\1", log).splitlines()

    def run_client(self, *words):
        return subprocess.run(words, cwd=self.folder, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=120).returncode

    def curl(self, name, *words):
        return self.run_client("curl", "-sS", *words, "tftp://127.0.0.1:" + self.port + "/" + name)

    @unittest.skipUnless(shutil.which("curl"), "curl is not installed")
    def test_curl(self):
        process = self.serve("-w")
        for name in ("image", "blocks", "empty"):
            self.assertEqual(0, self.curl(name, "-o", "got"), name)
            self.assertEqual(self.read("served", name), self.read("got"))
            self.assertEqual(0, self.curl("new_" + name, "-T", os.path.join("served", name)), name)
            self.assertEqual(self.read("served", name), self.read("served", "new_" + name))
        self.assertEqual(0, self.curl("image", "-o", "got", "--tftp-no-options"))
        self.assertEqual(0, self.curl("image", "-o", "got", "--tftp-blksize", "65464"))
        self.assertEqual(BYTES, self.read("got"))
        self.assertEqual(73, self.curl("image", "-T", "got"))
        self.assertEqual(68, self.curl("no%0Ane", "-o", "got"))
        log = self.stop(process)
        self.assertEqual(["read image 256000 bytes: whole", "write new_image 256000 bytes: whole"], log[:2])
        self.assertEqual(["write image 0 bytes: file exists", "read no\\x0Ane 0 bytes: file not found"], log[-2:])

    @unittest.skipUnless(shutil.which("atftp"), "atftp is not installed")
    def test_atftp(self):
        process = self.serve("-o")
        for option in ("tsize", "blksize 1428", "blksize 65464", "windowsize 16", "timeout 2"):
            words = ["atftp", "--option", option, "127.0.0.1", self.port]
            self.assertEqual(0, self.run_client(*words, "--get", "-r", "image", "-l", "got"), option)
            self.assertEqual(BYTES, self.read("got"))
            self.assertEqual(0, self.run_client(*words, "--put", "-r", "new", "-l", "got"), option)
            self.assertEqual(BYTES, self.read("served", "new"))
            os.remove(os.path.join(self.folder, "got"))
        self.assertEqual(10, sum(line.endswith("256000 bytes: whole") for line in self.stop(process)))

    def test_wrong_calls(self):
        for words, code in (([], 2), (["a", "b"], 2), (["-p", "65536", self.served], 2), ([os.path.join(self.folder, "none")], 1),
                            (["-a", "nowhere", self.served], 1)):
            self.assertEqual(code, self.run_client(TOOL, "tftpd", *words), words)


if __name__ == "__main__":
    TOOL = os.path.abspath(sys.argv.pop(1))
    unittest.main()
