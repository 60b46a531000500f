"""Runs the command httpd: curl and raw sockets as its clients, nginx beside it for what files are answered by.

usage: httpd_test.py OMBREL_TUK [TEST ...]
"""
import contextlib
import email
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
SERVERS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../build/servers/usr/sbin")
CURL, NGINX = shutil.which("curl"), shutil.which("nginx", path=f"{SERVERS}:/usr/sbin:/usr/local/sbin")
CROWD = 300


class HttpdTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.root = os.path.join(self.folder, "www")
        for name, data in {"ten": b"0123456789", "sub/file.html": b"<p>", "index.html": b"home",
                           "large": bytes(range(256)) * 8000, "../outside": b"secret"}.items():
            path = os.path.join(self.root, name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as file:
                file.write(data)
        for name in ("ten", "large"):
            os.utime(os.path.join(self.root, name), (784111777, 784111777))

    def start(self, *options, port="0"):
        process = subprocess.Popen([TOOL, "httpd", "-p", port, *options, self.root], stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, text=True)
        self.addCleanup(self.end, process)
        line = process.stdout.readline()
        self.url = re.fullmatch(r"httpd: serving .*/www at (http://.*:\d+/)\n", line).group(1)
        self.port = int(self.url.rsplit(":", 1)[1][:-1])
        return process

    def end(self, process, number=ENDS[0]):
        """Its exit code and what else it printed."""
        if process.poll() is None:
            process.send_signal(number)
        with contextlib.suppress(ValueError):
            self.output = process.communicate(timeout=60)[0]
        return process.returncode

    def curl(self, path, *options):
        """Status and body."""
        out = subprocess.run([CURL, "-s", "--path-as-is", "--max-time", "60", "-w", "\n%{http_code}", *options,
                              self.url + path], stdout=subprocess.PIPE, check=False).stdout
        body, _, status = out.rpartition(b"\n")
        return int(status), body

    def ask(self, port, path, *fields, method="GET"):
        """The head's lines and the body of one answer."""
        with socket.create_connection(("127.0.0.1", port), timeout=60) as client:
            client.sendall("\r\n".join([f"{method} {path} HTTP/1.1", "Host: h", "Connection: close", *fields, "",
                                        ""]).encode())
            answer = b""
            while part := client.recv(1 << 20):
                answer += part
        head, _, body = answer.partition(b"\r\n\r\n")
        return head.decode().split("\r\n"), body

    @unittest.skipUnless(CURL, "curl is not there")
    def test_serves_and_ends_on_signals(self):
        for number in ENDS:
            process = self.start("-l")
            self.assertEqual((200, b"home"), self.curl(""))
            self.assertEqual((200, b"0123456789"), self.curl("ten"))
            for name in ("../outside", "%2e%2e/outside", "none", "sub/../../outside", "..%5coutside", "%2e%2e%2foutside"):
                self.assertEqual((404, b"404 Not Found\n"), self.curl(name), name)
            self.assertIn(" 413 ", self.ask(self.port, "/ten", "Content-Length: 5000", method="POST")[0][0])
            with socket.create_connection(("127.0.0.1", self.port)):  # an idle client holds nothing up
                self.assertEqual(0, self.end(process, number))
            self.assertRegex(self.output, r'127\.0\.0\.1 - - \[.*Z\] "GET /ten HTTP/1.1" 200 10\n')

    @unittest.skipUnless(CURL, "curl is not there")
    def test_lets_in_who_knows_the_password(self):
        secrets = os.path.join(self.folder, "passwords")
        with open(secrets, "wb") as file:
            for name in ("ann", "bob"):
                file.write(subprocess.run([TOOL, "secret", name], input=b"pw of " + name.encode(), stdout=subprocess.PIPE,
                                          check=True).stdout)
        self.start("-u", "ann", "-P", secrets)
        for who, expected in {"ann:pw of ann": 200, "ann:pw of bob": 401, "bob:pw of bob": 401, "eve:": 401}.items():
            self.assertEqual(expected, self.curl("ten", "--digest", "-u", who)[0], who)
        self.assertEqual([401, 401], [self.curl("ten")[0], self.curl("ten", "--basic", "-u", "ann:pw of ann")[0]])
        self.start("-P", secrets)
        self.assertEqual((200, b"home"), self.curl("", "--digest", "-u", "bob:pw of bob"))

    def test_wrong_calls(self):
        def outcome(*arguments):
            result = subprocess.run([TOOL, "httpd", *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                    timeout=60, check=False)
            return result.returncode, result.stdout, result.stderr.decode().split("\n")[0]

        for kind in (["-s"], ["-r", "other"]):  # neither serves Digest here
            secret = subprocess.run([TOOL, "secret", *kind, "ann"], input=b"pw", stdout=subprocess.PIPE, check=True).stdout
            path = os.path.join(self.folder, "strong")
            with open(path, "wb") as file:
                file.write(secret)
            self.assertEqual((1, "httpd: ann: "), (lambda code, _, errors: (code, errors[:12]))(*outcome("-u", "ann", "-P", path, self.root)))
        self.start()
        self.assertEqual(2, outcome()[0])
        secrets = os.path.join(self.folder, "passwords")
        with open(secrets, "w", newline="") as file:
            file.write("# users\nann\n")
        self.assertEqual((1, b"", f"httpd: {secrets}: line 2 is no NAME:SECRET, or its name stands twice"),
                         outcome("-P", secrets, self.root))
        self.assertEqual((2, b"", "httpd: a user needs a password file"), outcome("-u", "ann", self.root))
        for arguments in (["/none"], ["-a", "nobody", self.root], ["-p", str(self.port), self.root],
                          ["-P", "/none", self.root], ["-u", "eve", "-P", "/dev/null", self.root]):
            code, output, errors = outcome(*arguments)
            self.assertEqual((1, b""), (code, output))
            self.assertRegex(errors, "^httpd: .+: .+")

    def test_holds_out_against_crowds(self):
        soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        resource.setrlimit(resource.RLIMIT_NOFILE, (min(hard, 4 * CROWD), hard))
        self.addCleanup(resource.setrlimit, resource.RLIMIT_NOFILE, (soft, hard))
        process = self.start("-c", str(CROWD))
        with contextlib.ExitStack() as stack:
            crowd = [stack.enter_context(socket.create_connection(("127.0.0.1", self.port), timeout=60))
                     for _ in range(CROWD)]
            for client in crowd:  # half a request each
                client.sendall(b"GET /large HTTP/1.1\r\nHost: h\r\n")
            with socket.create_connection(("127.0.0.1", self.port), timeout=60) as late:
                self.assertTrue(late.recv(100).startswith(b"HTTP/1.1 503 "))
            for client in crowd[1:]:  # who ask and go, or listen and go
                client.sendall(b"\r\n")
                client.shutdown(socket.SHUT_WR)
            crowd[1].recv(1000)
            crowd[0].sendall(b"\r\n")
            data = b""
            while part := crowd[0].recv(1 << 20) if len(data) < 8000 * 256 else b"":
                data += part
            self.assertGreaterEqual(len(data), 8000 * 256)
        head = self.ask(self.port, "/ten")[0]
        self.assertEqual("HTTP/1.1 200 OK", head[0])
        self.assertEqual(0, self.end(process))

    @unittest.skipUnless(NGINX, "nginx is not there; scripts/bootstrap test brings it")
    def test_answers_as_nginx_does(self):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]
        settings = os.path.join(self.folder, "nginx.conf")
        with open(settings, "w") as file:
            file.write(f"""daemon off; master_process off; pid {self.folder}/pid; error_log stderr crit;
                events {{ }}
                http {{ access_log off; etag on; client_body_temp_path {self.folder}/b; proxy_temp_path {self.folder}/p;
                    fastcgi_temp_path {self.folder}/f; uwsgi_temp_path {self.folder}/u; scgi_temp_path {self.folder}/s;
                    server {{ listen 127.0.0.1:{port}; root {self.root}; }} }}""")
        peer = subprocess.Popen([NGINX, "-c", settings, "-e", "stderr"], stderr=subprocess.DEVNULL)
        self.addCleanup(peer.wait)
        self.addCleanup(peer.terminate)
        for _ in range(600):
            with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", port)):
                break
            threading.Event().wait(0.1)
        self.start()
        requests = [()] + [(f"Range: bytes={value}",) for value in (
            "0-0", "5-", "-3", "-99", "3-200", "10-", "-0", "9-9", "0-1,5-6", "7-,0-0", "0-1,3000000-",
            "18446744073709551616-", "0-0,-1")]
        requests += [("Range: lines=0-1",), ("If-Modified-Since: Sun, 06 Nov 1994 08:49:37 GMT",),
                     ("If-Modified-Since: Sunday, 06-Nov-94 08:49:37 GMT",), ("If-Modified-Since: Sun Nov  6 08:49:37 1994",),
                     ("If-Modified-Since: yesterday",), ("If-Unmodified-Since: Sun, 06 Nov 1994 08:49:36 GMT",),
                     ("If-Unmodified-Since: Sun, 06 Nov 1994 08:49:37 GMT",), ("If-None-Match: *",), ('If-None-Match: "x"',),
                     ("If-None-Match: TAG",), ("If-None-Match: W/TAG",), ('If-None-Match: "x", TAG',), ("If-Match: TAG",),
                     ('If-Match: "x"',), ("If-Match: *",), ("Range: bytes=0-1", "If-Range: TAG"),
                     ("Range: bytes=0-1", 'If-Range: "x"'), ("Range: bytes=0-1", "If-Range: Sun, 06 Nov 1994 08:49:37 GMT"),
                     ("Range: bytes=0-1", "If-None-Match: TAG"),
                     ('If-None-Match: "x"', "If-Modified-Since: Sun, 06 Nov 1994 08:49:37 GMT")]
        for fields in requests:
            # By the standard a range is for GET alone; nginx has it for HEAD too. It also answers malformed ranges by
            # 416, which do not count, and overlapping ones in whole.
            for method in ("GET",) if "Range: " in "".join(fields) else ("GET", "HEAD"):
                for path in ("/ten", "/large"):
                    ours, theirs = (self.essence(at, path, fields, method) for at in (self.port, port))
                    self.assertEqual(theirs, ours, (method, path, fields))

    def essence(self, port, path, fields, method):
        """What two servers have to agree on: the status, what of the file came, and where it stands."""
        def value(head, name):
            return next((line[len(name) + 2:] for line in head if line.lower().startswith(name.lower() + ":")), None)

        tag = value(self.ask(port, path)[0], "ETag")
        head, body = self.ask(port, path, *(field.replace("TAG", tag) for field in fields), method=method)
        status, kind = head[0].split()[1], value(head, "Content-Type") or ""
        parts = None
        if kind.startswith("multipart/byteranges") and method == "GET":
            whole = email.message_from_bytes(b"Content-Type: " + kind.encode() + b"\r\n\r\n" + body)
            parts = [(part["Content-Range"], part.get_payload(decode=True)) for part in whole.get_payload()]
        plain = body if status in ("200", "206") and parts is None else None
        length = value(head, "Content-Length") if status == "200" or plain is not None else None
        modified = value(head, "Last-Modified") if status < "400" else None
        return status, value(head, "Content-Range"), modified, length, plain, parts


if __name__ == "__main__":
    TOOL = os.path.abspath(sys.argv.pop(1))
    unittest.main()
