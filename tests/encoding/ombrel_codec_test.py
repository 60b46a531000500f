"""Runs the codec as a filter, beside the system's own base64.

usage: ombrel_codec_test.py OMBREL_CODEC [TEST ...]
"""
import os
import quopri
import random
import subprocess
import sys
import tempfile
import unittest

CODEC = ""
LARGE = 20 << 20


def run(data, *options):
    """Status, output and error text."""
    result = subprocess.run([CODEC, *options], input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)
    return result.returncode, result.stdout, result.stderr.decode()


def peak_memory(process):
    """The most memory that a running process has held, in KiB."""
    with open(f"/proc/{process.pid}/status") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmHWM:"))


def run_and_watch(data, *options):
    """Status, output and the most memory held before the end of the input, in KiB."""
    # The address sanitizer keeps freed blocks for a while; not so many here.
    environment = {**os.environ, "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=1"}
    with tempfile.TemporaryFile() as output:
        with subprocess.Popen([CODEC, *options], stdin=subprocess.PIPE, stdout=output, stderr=subprocess.DEVNULL,
                              env=environment) as process:
            process.stdin.write(data)
            process.stdin.flush()
            most = peak_memory(process)
        output.seek(0)
        return process.returncode, output.read(), most


class CodecTest(unittest.TestCase):
    def setUp(self):
        self.random = random.Random(20240611)

    def test_agrees_with_the_systems_base64(self):
        for size in (0, 1, 2, 3, 56, 57, 58, 1000, 48 * 1024, 100001):
            data = self.random.randbytes(size)
            for width in (None, 0, 1, 75, 100000):
                options = [] if width is None else ["-w", str(width)]
                text = subprocess.run(["base64", *options], input=data, stdout=subprocess.PIPE, check=True).stdout
                self.assertEqual((0, text, ""), run(data, *options))
                self.assertEqual((0, data, ""), run(text, "-d"))

    def check_large(self, data, expected, *options):
        """What it makes of the data is as expected, and takes no more memory than a small part of it."""
        _, _, base = run_and_watch(data[: 1 << 20], *options)
        status, output, most = run_and_watch(data, *options)
        self.assertEqual((0, True), (status, output == expected))
        self.assertLess(most, base + 4096)

    def test_large_input_takes_no_more_memory(self):
        data = self.random.randbytes(LARGE)
        text = subprocess.run(["base64"], input=data, stdout=subprocess.PIPE, check=True).stdout
        self.check_large(data, text)
        self.check_large(text, data, "-d")
        text = quopri.encodestring(data[:1000], quotetabs=True).replace(b"=\n", b"") * (LARGE // 3000)
        self.check_large(quopri.decodestring(text), run(quopri.decodestring(text), "-q")[1], "-q")
        self.check_large(text, quopri.decodestring(text), "-q", "-d")
        self.check_large(b"TWF" + b" -_\x80" * (LARGE // 4) + b"u", b"Man", "-d", "-i")

    def test_garbage(self):
        cases = [
            (b"TWFuTW Fu", "Man", "invalid input", "ManMan"),
            (b"TWFu-_", "Man", "invalid input", "Man"),
            (b"TWFuTW", "Man", "truncated input", None),
            (b"TWFu\n\r\n", "Man", None, "Man"),
            (b"T", "", "truncated input", None),
        ]
        for data, output, fault, lenient in cases:
            status, got, errors = run(data, "-d")
            self.assertEqual((1 if fault else 0, output.encode()), (status, got), data)
            self.assertIn(fault or "", errors)
            status, got, _ = run(data, "-di")
            self.assertEqual(status, 0 if lenient is not None else 1, data)
            self.assertEqual(got.decode(), output if lenient is None else lenient)
        for _ in range(20):
            noise = self.random.randbytes(self.random.randrange(200000))
            self.assertIn(run(noise, "-d")[0], (0, 1))
            self.assertIn(run(noise, "-d", "-i")[0], (0, 1))
            self.assertEqual(0, run(noise, "-q", "-d")[0])

    def test_quoted_printable(self):
        self.assertEqual((0, b"a=3Db=20c=0A", ""), run(b"a=b c\n", "-q"))
        self.assertEqual((0, b"A=3d=\n=", ""), run(b"=41=3d=\n=", "-qd"))
        data = self.random.randbytes(200000)
        status, text, _ = run(data, "-q")
        self.assertEqual(0, status)
        self.assertEqual(data, quopri.decodestring(text))
        self.assertEqual((0, data, ""), run(text, "-dq"))

    def test_usage(self):
        for options in (["-x"], ["-w"], ["-w", "x"], ["-w", "-1"], ["-w", "4294967296"], ["file"], ["-"], ["-d", ""]):
            status, output, errors = run(b"", *options)
            self.assertEqual((2, b""), (status, output), options)
            self.assertIn("usage:", errors)

    def test_closed_output(self):
        read_end, write_end = os.pipe()
        os.close(read_end)
        process = subprocess.Popen([CODEC], stdin=subprocess.PIPE, stdout=write_end, stderr=subprocess.PIPE)
        os.close(write_end)
        _, errors = process.communicate(bytes(100000), timeout=60)
        self.assertEqual((1, True), (process.returncode, b"cannot write" in errors))

    def test_full_output_and_unreadable_input(self):
        with open("/dev/full", "wb") as full:
            self.assertEqual(1, subprocess.run([CODEC], input=b"x", stdout=full, stderr=subprocess.DEVNULL).returncode)
        directory = os.open("/", os.O_RDONLY)
        try:
            result = subprocess.run([CODEC], stdin=directory, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        finally:
            os.close(directory)
        self.assertEqual((1, True), (result.returncode, b"cannot read" in result.stderr))


if __name__ == "__main__":
    CODEC = sys.argv.pop(1)
    unittest.main()
