"""Runs the commands that start, list and end processes, beside the tools of the host.

usage: process_commands_test.py OMBREL_TUK [TEST ...]
"""
import contextlib
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

TOOL = ""


def run(*command, data=b"", **more):
    """Status, output and errors."""
    result = subprocess.run([TOOL, *command], input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120, **more)
    return result.returncode, result.stdout, result.stderr.decode()


def is_running(process):
    try:
        with open(f"/proc/{process}/stat") as file:
            return file.read().rpartition(")")[2].split()[0] not in "ZX"
    except (FileNotFoundError, ProcessLookupError):
        return False


class RunTest(unittest.TestCase):
    def test_codes(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        plain = os.path.join(folder.name, "plain")
        with open(plain, "w"):
            pass
        for expected, arguments in ((0, ["true"]), (7, ["sh", "-c", "exit 7"]), (143, ["sh", "-c", "kill $$"]),
                                    (137, ["sh", "-c", "kill -9 $$"]), (127, ["/no/such"]), (127, ["no_such_program"]),
                                    (126, [plain]), (126, [folder.name]), (125, []), (0, ["-t", "60", "true"]),
                                    (125, ["-t", "x", "true"]), (125, ["-x", "true"]), (125, ["-m", "-1", "true"])):
            takes_options = arguments[:1] and arguments[0].startswith("-")
            for words in (arguments,) if takes_options else (arguments, ["--", *arguments]):
                status, output, errors = run("run", *words)
                self.assertEqual((expected, b"", expected in (125, 126, 127)), (status, output, errors != ""), words)

    def test_streams(self):
        self.assertEqual((3, b"in\nout\n", "err\n"), run("run", "--", "sh", "-c", "cat; echo out; echo err >&2; exit 3", data=b"in\n"))
        self.assertEqual((0, b"in", ""), run("run", "-m", "2", "cat", data=b"in"))
        status, output, errors = run("run", "-m", "100000", "--", "sh", "-c", "yes; sleep 1000")
        self.assertEqual((125, b"y\n" * 50000), (status, output))
        self.assertTrue(errors.startswith("run: sh: "), errors)
        status, output, errors = run("run", "-m", "6", "sh", "-c", "printf 1234 >&2; sleep 0.1; printf 5678; sleep 1000")
        self.assertEqual((125, b"56"), (status, output))
        self.assertTrue(errors.startswith("1234run: "), errors)

    def test_a_time_limit_ends_the_group(self):
        stubborn = "trap '' TERM; (trap '' TERM; echo $(exec sh -c 'echo $PPID'); while :; do sleep 1000; done) & echo $!; while :; do sleep 1000; done"
        for more in ([], ["-m", "1M"]):
            status, output, _ = run("run", "-t", "0.2", *more, "--", "sh", "-c", stubborn)
            self.assertEqual(124, status)
            for process in output.split():
                self.assertFalse(is_running(int(process)), output)

    def test_signals_are_handed_on(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            child = subprocess.Popen([TOOL, "run", "--", "sh", "-c", "sleep 1000 & echo $!; wait"], stdout=subprocess.PIPE)
            process = int(child.stdout.readline())
            child.send_signal(number)
            self.assertEqual(128 + number, child.wait(60))
            child.stdout.close()
            for _ in range(6000):
                if number == signal.SIGINT or not is_running(process):  # shells let their background ignore that one
                    break
                time.sleep(0.01)
            else:
                self.fail("it runs on")
            if number == signal.SIGINT:
                with contextlib.suppress(ProcessLookupError):  # it was quicker than the shell's setting for its background
                    os.kill(process, signal.SIGKILL)


class ListTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.name = f"ombrel_{os.getpid()}_sleeper_of_a_long_name"
        self.program = shutil.copy(shutil.which("sleep"), os.path.join(folder.name, self.name))

    def sleeper(self):
        child = subprocess.Popen([self.program, "1000", "two words", "line\nbreak"][:2])
        self.addCleanup(lambda: (child.kill(), child.wait()))
        return child

    def test_ps(self):
        child = self.sleeper()
        status, output, errors = run("ps", "-o", "rss,ppid,pid,name,args")
        self.assertEqual((0, ""), (status, errors))
        lines = output.decode(errors="replace").splitlines()
        self.assertEqual("RSS PPID PID NAME ARGS".split(), lines[0].split())
        own = [line.split(None, 4) for line in lines if line.split()[2] == str(child.pid)]
        self.assertEqual([[str(os.getpid()), str(child.pid), self.name[:15], self.program + " 1000"]], [line[1:] for line in own])
        self.assertGreater(int(own[0][0]), 0)
        self.assertEqual(["PID", "PPID", "RSS", "NAME"], run("ps")[1].decode(errors="replace").splitlines()[0].split())
        first, last = run("ps", "-o", "pid", "-o", "args")[1].decode(errors="replace").splitlines()[:2]
        self.assertEqual(["PID", "ARGS"], first.split())
        for wrong in ("", "pid,", "pid,nothing", "PID"):
            self.assertEqual((2, b""), run("ps", "-o", wrong)[:2])
        self.assertEqual(2, run("ps", "x")[0])

    def test_kill(self):
        children = [self.sleeper(), self.sleeper()]
        self.assertEqual((1, b""), run("kill", self.name + "x")[:2])
        self.assertEqual((0, b"", ""), run("kill", "-s", "0", self.name))
        self.assertEqual((0, b"", ""), run("kill", "-s", "usr1", self.name[:9] + "*_lo?g_*"))
        self.assertEqual([-signal.SIGUSR1] * 2, [child.wait(60) for child in children])
        child = self.sleeper()
        self.assertEqual((0, b"", ""), run("kill", self.name))
        self.assertEqual(-signal.SIGTERM, child.wait(60))
        self.assertEqual(1, run("kill", self.name)[0])
        for wrong in ([], ["a", "b"], ["-s", "NOTHING", "a"], ["-s"]):
            self.assertEqual((2, b""), run("kill", *wrong)[:2])
        itself = os.path.join(os.path.dirname(self.program), f"ombrel_{os.getpid()}_kills")
        os.symlink(TOOL, itself)
        self.assertEqual(1, subprocess.run([itself, "kill", os.path.basename(itself)[:15] + "*"], stderr=subprocess.DEVNULL).returncode)


if __name__ == "__main__":
    TOOL = os.path.abspath(sys.argv[1])
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
