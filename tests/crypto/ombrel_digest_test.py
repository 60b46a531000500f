"""Runs the digest tool on real files, beside the tools of GNU coreutils.

usage: ombrel_digest_test.py OMBREL_DIGEST [TEST ...]
"""
import os
import pty
import random
import subprocess
import sys
import tempfile
import unittest
import zlib

TOOL = ""
COREUTILS = ("md5", "sha1", "sha256")


def run(command, *arguments, data=b""):
    """Status, output and error text."""
    result = subprocess.run([command, *arguments], input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            timeout=120)
    return result.returncode, result.stdout, result.stderr.decode()


class DigestTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        before = os.getcwd()
        self.addCleanup(os.chdir, before)
        os.chdir(folder.name)
        source = random.Random(7)
        names = ["empty", "one", "with space", "star*", "new\nline", "back\\slash", "line\rend", "long"]
        sizes = [0, 1, 63, 64, 65, 1000, 262144, 700001]
        for name, size in zip(names, sizes):
            with open(name, "wb") as file:
                file.write(source.randbytes(size))
        self.names = names
        self.plain_names = [name for name in names if "\r" not in name]

    def test_agrees_with_coreutils(self):
        for name in COREUTILS:
            expected = run(name + "sum", *self.plain_names)
            self.assertEqual(expected, run(TOOL, "-a", name, *self.plain_names), name)
            self.assertEqual(run(name + "sum", data=b"text"), run(TOOL, "-a", name, data=b"text"))
        self.assertEqual(run("sha256sum", "one"), run(TOOL, "one"))
        self.assertEqual(run("sha256sum", "-", data=b"text"), run(TOOL, "--", "-", data=b"text"))

    def test_checksums(self):
        with open("long", "rb") as file:
            crc32 = zlib.crc32(file.read())
        self.assertEqual((0, f"{crc32:08x}  long\n".encode(), ""), run(TOOL, "-a", "crc32", "long"))
        known = {"crc16-ibm": "bb3d", "crc16-ccitt": "2189", "crc32": "cbf43926", "crc64": "b90956c775a41001"}
        for name, value in known.items():
            self.assertEqual((0, f"{value}  -\n".encode(), ""), run(TOOL, "-a", name, data=b"123456789"))

    def test_lists_pass_both_ways(self):
        for name in COREUTILS:
            for mark in ([], ["-b"]):
                lists = run(name + "sum", *mark, *self.plain_names)[1]
                for algorithm in ([], ["-a", name]):
                    status, output, errors = run(TOOL, *algorithm, "-c", data=lists)
                    self.assertEqual((0, ""), (status, errors))
                    self.assertEqual(run(name + "sum", "-c", data=lists)[1], output)
            lists = run(TOOL, "-a", name, *self.plain_names)[1]
            self.assertEqual(0, run(name + "sum", "-c", "--strict", data=lists)[0])
        own = run(TOOL, "-a", "crc64", *self.names)[1]
        self.assertEqual((0, b"", ""), run(TOOL, "-q", "-c", data=own))
        with open("list", "wb") as file:
            file.write(b"# a comment\r\n" + own.upper().split()[0] + b" *empty\r\n")
        self.assertEqual((0, b"empty: OK\n", ""), run(TOOL, "-c", "list"))

    def test_reports_what_does_not_match(self):
        lists = run("sha256sum", *self.plain_names)[1]
        os.unlink("one")
        os.unlink("star*")
        os.mkdir("star*")
        with open("with space", "ab") as file:
            file.write(b"x")
        lists += b"nonsense\n" + lists[:60] + b"\n" + b"ab" * 16 + b"  long\n" + b"x" * 20000 + b"\n"
        status, output, errors = run(TOOL, "-a", "sha256", "-c", data=lists)
        self.assertEqual(1, status)
        self.assertEqual(run("sha256sum", "-c", data=lists)[1], output)
        self.assertIn(b"with space: FAILED\n", output)
        self.assertIn(b"one: FAILED open or read\n", output)
        self.assertEqual([
            "ombrel_digest: one: No such file or directory",
            "ombrel_digest: star*: Is a directory",
            "ombrel_digest: WARNING: 4 lines are improperly formatted",
            "ombrel_digest: WARNING: 2 listed files could not be read",
            "ombrel_digest: WARNING: 1 computed checksum did NOT match"], errors.splitlines())

    def test_no_name_reaches_the_terminal_as_a_command(self):
        digits = b"ab" * 32
        for name, shown in (
            (b"\x1b]0;title\x07", rb"\x1B]0;title\x07"),
            (b"\x7f\t", rb"\x7F\x09"),
            (b"\xc2\x9b2J", rb"\xC2\x9B2J"),
            (b"\x9b2J", rb"\x9B2J"),
            ("größer".encode() + b"\x08", "größer".encode() + rb"\x08"),
        ):
            status, output, errors = run(TOOL, "-c", data=digits + b"  " + name + b"\n")
            self.assertEqual((1, b"\\" + shown + b": FAILED open or read\n"), (status, output))
            self.assertIn(f"ombrel_digest: {shown.decode()}: No such file", errors)
        status, output, _ = run(TOOL, "-c", data=digits + "  größer\n".encode())
        self.assertEqual("größer: FAILED open or read\n".encode(), output)

    def test_one_digit_off(self):
        line = bytearray(run("sha256sum", "long")[1])
        for at in range(64):
            changed = bytearray(line)
            changed[at] = ord("0") if line[at] != ord("0") else ord("1")
            self.assertEqual((1, b"long: FAILED\n"), run(TOOL, "-c", data=bytes(changed))[:2])

    def test_unreadable_files(self):
        # The last one opens, and its reading fails.
        for name in ("missing", ".", "", "/proc/self/mem"):
            status, output, errors = run(TOOL, name, "one")
            self.assertEqual((1, run("sha256sum", "one")[1]), (status, output))
            self.assertTrue(errors.startswith(f"ombrel_digest: {name}: "), errors)
        self.assertEqual(1, run(TOOL, "-c", "missing")[0])
        status, output, errors = run(TOOL, "-c", "empty")
        self.assertEqual((1, b"", "ombrel_digest: empty: no properly formatted checksum lines found\n"),
                         (status, output, errors))
        with open("/dev/full", "wb") as full:
            result = subprocess.run([TOOL, "one"], stdout=full, stderr=subprocess.PIPE)
        self.assertEqual((1, True), (result.returncode, b"write error" in result.stderr))

    def test_usage(self):
        for options in (["-a"], ["-a", "sha512", "one"], ["-x"], ["--algorithm"]):
            status, output, errors = run(TOOL, *options)
            self.assertEqual((2, b""), (status, output), options)
            self.assertIn("usage:", errors)
        self.assertEqual(0, run(TOOL, "--help")[0])

    def test_long_file_shows_a_bar_on_a_terminal(self):
        with open("sparse", "wb") as file:
            file.truncate(400 << 20)
        terminal, program_side = pty.openpty()
        with subprocess.Popen([TOOL, "-a", "md5", "sparse"], stdout=program_side, stderr=program_side) as process:
            os.close(program_side)
            shown = b""
            try:
                while part := os.read(terminal, 65536):
                    shown += part
            except OSError:
                pass  # the other side is closed
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
        os.close(terminal)
        self.assertEqual(0, process.returncode)
        self.assertIn(b"MiB", shown)
        last_line = shown.rsplit(b"\r\033[K", 1)[1].strip()
        self.assertEqual(run("md5sum", "sparse")[1].strip(), last_line)
        self.assertLess(usage.ru_maxrss, 100 << 10, "the file is not held in memory")


if __name__ == "__main__":
    TOOL = os.path.abspath(sys.argv.pop(1))
    unittest.main()
