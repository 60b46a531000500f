"""Runs the codec as a filter, beside the system's own base64.

usage: ombrel_codec_test.py OMBREL_CODEC [TEST ...]
"""
import os
import quopri
import random
import signal
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


def run_and_watch(data, *options):
    """Status, output and the most memory held before the end of the input, in KiB."""
    # The address sanitizer keeps freed blocks for a while; not so many here.
    environment = {**os.environ, "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=1"}
    with tempfile.TemporaryFile() as output:
        with subprocess.Popen([CODEC, *options], stdin=subprocess.PIPE, stdout=output, stderr=subprocess.DEVNULL,
                              env=environment) as process:
            process.stdin.write(data)
            process.stdin.flush()
            with open(f"/proc/{process.pid}/status") as status:
                most = next(int(line.split()[1]) for line in status if line.startswith("VmHWM:"))
        output.seek(0)
        return process.returncode, output.read(), most


class CodecTest(unittest.TestCase):
    def setUp(self):
        self.random = random.Random(20240611)

    def test_agrees_with_the_systems_base64(self):
        for size in (0, 1, 2, 57, 1000, 48 * 1024, 100001):
            data = self.random.randbytes(size)
            for options in ([], ["-w", "0"], ["-w", "1"], ["-w", "75"]):
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
        for data, output, fault, lenient in (
            (b"TWFuTW Fu", b"Man", "invalid input", (0, b"ManMan")),
            (b"TWFu-_", b"Man", "invalid input", (0, b"Man")),
            (b"TWFuTW", b"Man", "invalid input", (1, b"Man")),
            (b"TWFu\n\r\n", b"Man", "", (0, b"Man")),
            (b"T", b"", "invalid input", (1, b"")),
        ):
            status, got, errors = run(data, "-d")
            self.assertEqual((1 if fault else 0, output, True), (status, got, fault in errors), data)
            self.assertEqual(lenient, run(data, "-di")[:2], data)

    def test_what_comes_behind_garbage_is_not_waited_for(self):
        with subprocess.Popen([CODEC, "-d"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
            process.stdin.write(b"TWFu-")
            process.stdin.flush()
            self.assertEqual((1, b"Man"), (process.wait(60), process.stdout.read()))

    def test_quoted_printable(self):
        self.assertEqual((0, b"a=3Db=20c=0A", ""), run(b"a=b c\n", "-q"))
        self.assertEqual((0, b"A=3d=\n=", ""), run(b"=41=3d=\n=", "-qd"))
        data = self.random.randbytes(200000)
        text = run(data, "-q")[1]
        self.assertEqual(data, quopri.decodestring(text))
        self.assertEqual((0, data, ""), run(text, "-dq"))

    def test_usage(self):
        for options in (["-x"], ["-w"], ["-w", "x"], ["-w", "-1"], ["-w", "4294967296"], ["a", "b"]):
            status, output, errors = run(b"", *options)
            self.assertEqual((2, b""), (status, output), options)
            self.assertIn("usage:", errors)

    def test_input_and_output_that_fail(self):
        def refused(data, source, sink, message):
            with subprocess.Popen([CODEC], stdin=source, stdout=sink, stderr=subprocess.PIPE) as process:
                os.close(sink)
                errors = process.communicate(data, timeout=60)[1]
            self.assertEqual((1, True), (process.returncode, message in errors), errors)

        windows = os.name == "nt" or "OMBREL_TEST_WINDOWS" in os.environ
        read_end, write_end = os.pipe()
        os.close(read_end)
        with subprocess.Popen([CODEC], stdin=subprocess.PIPE, stdout=write_end, stderr=subprocess.PIPE) as process:
            os.close(write_end)
            errors = process.communicate(bytes(100000), timeout=60)[1]
        if windows:
            self.assertEqual((1, True), (process.returncode, b"ombrel_codec: standard output: write error: " in errors), errors)
        else:
            self.assertEqual((-signal.SIGPIPE, b""), (process.returncode, errors))
        refused(b"x", subprocess.PIPE, os.open("/dev/full", os.O_WRONLY), b"ombrel_codec: standard output: write error: No space")
        directory = os.open("/", os.O_RDONLY)
        self.addCleanup(os.close, directory)
        reason = b"Invalid argument" if windows else b"Is a directory"  # where no handle of a directory is a file's
        refused(None, directory, os.open(os.devnull, os.O_WRONLY), b"ombrel_codec: -: " + reason)


if __name__ == "__main__":
    CODEC = sys.argv.pop(1)
    unittest.main()
