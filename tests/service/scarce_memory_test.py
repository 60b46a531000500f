"""Runs the status service and the tools while one allocation in fifty fails.

usage: scarce_memory_test.py PRELOADED FOLDER_OF_THE_PROGRAMS
"""
import contextlib
import hashlib
import http.client
import json
import os
import random
import re
import signal
import socket
import subprocess
import sys
import tempfile
import unittest
import xml.dom.minidom

PRELOADED = PROGRAMS = ""


def scarce(seed):
    return {**os.environ, "LD_PRELOAD": PRELOADED, "SCARCE_MEMORY_SEED": str(seed)}


class Tools(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def run_tool(self, seed, command, data):
        name, *arguments = command
        return subprocess.run([os.path.join(PROGRAMS, name), *arguments], input=data, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, timeout=120, env=scarce(seed), cwd=self.folder, check=False)

    def test_right_or_refused(self):
        """An answer is whole and right, or the tool says that something is wrong; no tool falls over."""
        data = random.Random(1).randbytes(100001)
        encoded = subprocess.run(["base64"], input=data, stdout=subprocess.PIPE, check=True).stdout
        digests = hashlib.sha256(data).hexdigest().encode() + b"  data\n"
        with open(os.path.join(self.folder, "data"), "wb") as file:
            file.write(data)
        for *command, given, seeds in (
            ("ombrel_digest", data, 20),
            ("ombrel_digest", "-c", digests, 20),
            ("ombrel_codec", data, 20),
            ("ombrel_codec", "-d", encoded, 20),
            ("ombrel_codec", "-q", data, 20),
            ("ombrel_tuk", "digest", "-a", "sha256", "data", b"", 20),
            ("ombrel_tuk", "cat", "data", b"", 40),
            ("ombrel_tuk", "get", "file:data", b"", 80),
            ("ombrel_tuk", "get", "pipe:cat data", b"", 80),
            ("ombrel_tuk", "get", "ftp://127.0.0.1:1/none", b"", 20),
            ("ombrel_tuk", "version", "-x", b"", 20),
            ("ombrel_tuk", "plugins", b"", 20),
        ):
            right = self.run_tool(0, command, given)
            refusals = 0
            for seed in range(1, seeds + 1):
                result = self.run_tool(seed, command, given)
                self.assertGreaterEqual(result.returncode, 0, (command, seed, result.stderr[-500:]))
                if result.returncode == 0:
                    self.assertEqual(result.stdout, right.stdout, (command, seed, result.stderr[-500:]))
                else:
                    refusals += 1
                    self.assertNotEqual(result.stderr, b"", (command, seed))
            print(f"{' '.join(command)}: refused {refusals} of {seeds} times")


class Service(unittest.TestCase):
    def start(self, seed):
        """The process and its port; no port when memory ended before it could listen."""
        process = subprocess.Popen([os.path.join(PROGRAMS, "status_service"), "127.0.0.1", "0"],
                                   stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, env=scarce(seed))
        found = re.search(r"http://.*:(\d+)/", process.stdout.readline())
        return process, int(found.group(1)) if found else None

    def ask(self, port, path, body):
        """Status and body; a status of 0 when the connection ended before the answer did."""
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=30)
        try:
            connection.request("POST" if body else "GET", path, body)
            answer = connection.getresponse()
            return answer.status, answer.read()
        except (ConnectionError, http.client.HTTPException):
            return 0, b""
        finally:
            connection.close()

    def count_answers(self, port, body):
        """To one request with a body; none when the connection ends before."""
        with socket.create_connection(("127.0.0.1", port), timeout=30) as client, contextlib.suppress(OSError):
            client.sendall(b"POST /echo HTTP/1.1\r\nHost: a\r\nContent-Length: %d\r\n\r\n" % len(body) + body)
            client.shutdown(socket.SHUT_WR)
            answer = b""
            while part := client.recv(65536):
                answer += part
            return answer.count(b"HTTP/1.1 ")
        return 0

    def check_answer(self, path, sent, answer):
        if path == "/status.json":
            json.loads(answer)
        elif path == "/version.xml":
            xml.dom.minidom.parseString(answer)
        elif path == "/heap":
            self.assertRegex(answer.decode(), r"\A\d+ live blocks, \d+ bytes, peak \d+\n( *\d+ bytes in +\d+ blocks  \S+:\d+\n)*\Z")
        elif path == "/echo":
            self.assertEqual(answer, sent)
        elif path.startswith("/lookup"):
            self.assertEqual(answer, b"192.0.2.7\n")

    def test_answers_are_whole_or_refused(self):
        paths = ["/", "/status.json", "/version.xml", "/heap", "/echo", "/screen.png", "/slow?ms=1",
                 "/lookup?name=192.0.2.7"]
        statuses = {}
        for seed in range(1, 9):
            process, port = self.start(seed)
            for _ in range(20 if port else 0):
                # Also when there is no memory for a body, what stands in it is no request.
                self.assertLessEqual(self.count_answers(port, b"GET /version.xml HTTP/1.1\r\nHost: a\r\n\r\n" * 100), 1)
                for path in paths:
                    sent = b"x" * 5000 if path == "/echo" else None
                    status, answer = self.ask(port, path, sent)
                    statuses[status] = statuses.get(status, 0) + 1
                    # A name whose answer had no room is one without an address for the client.
                    self.assertIn(status, (0, 200, 500, 503, 404 if "lookup" in path else 503), (path, seed))
                    if status == 200:
                        self.check_answer(path, sent, answer)
            self.assertIsNone(process.poll() if port else None, "it is still there")
            process.send_signal(signal.SIGTERM)
            output, _ = process.communicate(timeout=60)
            self.assertGreaterEqual(process.returncode, 0 if port else -signal.SIGTERM, (seed, output[-500:]))
            if "live blocks" in output:
                self.assertIn("heap: 0 live blocks", output, seed)
        print(f"answers by status: {statuses}")
        self.assertGreater(statuses.get(200, 0), 100)
        self.assertGreater(statuses.get(500, 0) + statuses.get(503, 0), 10)


if __name__ == "__main__":
    PRELOADED, PROGRAMS = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))
    unittest.main(verbosity=2)
