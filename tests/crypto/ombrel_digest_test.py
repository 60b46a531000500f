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

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))

from terminal import shown_until_closed  # noqa: E402

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
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        source = random.Random(7)
        self.names = ["empty", "one", "with space", "star*", "new\nline", "back\\slash", "long"]
        for name, size in zip(self.names, [0, 1, 63, 64, 65, 1000, 700001]):
            with open(name, "wb") as file:
                file.write(source.randbytes(size))

    def test_agrees_with_coreutils_both_ways(self):
        for name in COREUTILS:
            tool = name + "sum"
            lists = run(tool, *self.names)
            self.assertEqual(lists, run(TOOL, "-a", name, *self.names))
            self.assertEqual(run(tool, data=b"text"), run(TOOL, "-a", name, "--", "-", data=b"text"))
            self.assertEqual(run(tool, "-c", data=lists[1]), run(TOOL, "-c", data=lists[1]))
            self.assertEqual((0, b"", ""), run(TOOL, "-q", "-a", name, "-c", data=run(tool, "-b", *self.names)[1]))
            tagged = run(tool, "--tag", *self.names)[1]
            self.assertEqual(run(tool, "-c", data=tagged), run(TOOL, "-c", data=tagged))
        self.assertEqual(run("sha256sum", "one"), run(TOOL, "one"))
        own = run(TOOL, "-a", "crc64", *self.names)[1]
        with open("list", "wb") as file:
            file.write(b"# a comment\r\n" + own.upper().split()[0] + b" *empty\r\n")
        self.assertEqual((0, b"empty: OK\n", ""), run(TOOL, "-c", "list"))

    def test_reports_what_does_not_match(self):
        lists = run("sha256sum", *self.names)[1]
        os.unlink("one")
        os.unlink("star*")
        os.mkdir("star*")
        with open("with space", "ab") as file:
            file.write(b"x")
        lists += b"nonsense\n" + lists[:60] + b"\n" + b"ab" * 16 + b"  long\n" + b"x" * 20000 + b"\n"
        status, output, errors = run(TOOL, "-a", "sha256", "-c", data=lists)
        self.assertEqual((1, run("sha256sum", "-c", data=lists)[1]), (status, output))
        self.assertEqual([
            "ombrel_digest: one: No such file or directory",
            "ombrel_digest: star*: Is a directory",
            "ombrel_digest: WARNING: 4 lines are improperly formatted",
            "ombrel_digest: WARNING: 2 listed files could not be read",
            "ombrel_digest: WARNING: 1 computed checksum did NOT match"], errors.splitlines())
        line = run("sha256sum", "long")[1]
        for at in range(0, 64, 9):
            changed = line[:at] + (b"1" if line[at:at + 1] == b"0" else b"0") + line[at + 1:]
            self.assertEqual((1, b"long: FAILED\n"), run(TOOL, "-c", data=changed)[:2])

    def test_no_name_reaches_the_terminal_as_a_command(self):
        for name, shown in (
            (b"\x1b]0;title\x07", rb"\x1B]0;title\x07"),
            (b"\x7f\t", rb"\x7F\x09"),
            (b"\xc2\x9b2J\x9b2J", rb"\xC2\x9B2J\x9B2J"),
            ("größer".encode() + b"\x08", "größer".encode() + rb"\x08"),
            ("größer".encode(), "größer".encode()),
        ):
            _, output, errors = run(TOOL, "-c", data=b"ab" * 32 + b"  " + name + b"\n")
            self.assertEqual((b"" if name == shown else b"\\") + shown + b": FAILED open or read\n", output)
            self.assertIn(f"ombrel_digest: {shown.decode()}: No such file", errors)

    def test_unreadable_files_and_full_output(self):
        # The last one opens, and its reading fails.
        for name in ("missing", ".", "", "/proc/self/mem"):
            status, output, errors = run(TOOL, name, "one")
            self.assertEqual((1, run("sha256sum", "one")[1]), (status, output))
            self.assertTrue(errors.startswith(f"ombrel_digest: {name}: "), errors)
        for name, fault in (("missing", "No such file"), (".", "Is a directory"), ("empty", "no properly formatted")):
            status, output, errors = run(TOOL, "-c", name)
            self.assertEqual((1, b"", True), (status, output, fault in errors), errors)
        with open("/dev/full", "wb") as full:
            result = subprocess.run([TOOL, "one"], stdout=full, stderr=subprocess.PIPE)
        self.assertEqual((1, True), (result.returncode, b"write error" in result.stderr))

    def test_usage(self):
        for options in (["-a"], ["-a", "sha512", "one"], ["-x"], ["--algorithm"]):
            status, output, errors = run(TOOL, *options)
            self.assertEqual((2, b"", True), (status, output, "usage:" in errors), options)
        status, output, _ = run(TOOL, "--help")
        self.assertEqual((0, True), (status, b"sha256, sha1, md5, crc32, crc64, crc16-ibm, crc16-ccitt\n" in output))

    def test_long_file_shows_a_bar_on_a_terminal(self):
        with open("sparse", "wb") as file:
            file.truncate(400 << 20)
        screen, program_side = pty.openpty()
        with subprocess.Popen([TOOL, "-a", "md5", "sparse"], stdout=program_side, stderr=program_side) as process:
            os.close(program_side)
            shown = shown_until_closed(screen)
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
        self.assertEqual((0, True), (process.returncode, b"MiB" in shown))
        self.assertEqual(run("md5sum", "sparse")[1].strip(), shown.rsplit(b"\r\033[K", 1)[1].strip())
        self.assertLess(usage.ru_maxrss, 100 << 10, "the file is not held in memory")


if __name__ == "__main__":
    TOOL = os.path.abspath(sys.argv.pop(1))
    unittest.main()
