"""Runs the example program of CGI as web servers do: by its environment alone, below lighttpd and below Python's
server, with forms that Python writes.

usage: cgi_program_test.py OMBREL_CGI [TEST ...]
"""
import hashlib
import http.client
import http.server
import os
import random
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import unittest.mock
import urllib.parse

SERVERS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../build/servers/usr")
PROGRAM = ""


def run(body=b"", **variables):
    """The head's lines and the body."""
    result = subprocess.run([PROGRAM], input=body, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60, env=variables)
    head, _, rest = result.stdout.partition(b"\r\n\r\n")
    return head.decode().split("\r\n"), rest.decode(), result.returncode, result.stderr.decode()


def percent(text):
    return urllib.parse.quote_plus(text, safe="")


def told(parts):
    """What the program says of parts: (name, file name or None, type or None, bytes)."""
    lines = ""
    for name, file, kind, data in parts:
        lines += f"name={percent(name)} " + (f"file={percent(file)} " if file is not None else "") + (f"type={percent(kind)} " if kind else "")
        lines += f"size={len(data)} sha256={hashlib.sha256(data).hexdigest().upper()}\n"
    return lines


def multipart(parts, boundary):
    body = b""
    for name, file, kind, data in parts:
        body += f'--{boundary}\r\nContent-Disposition: form-data; name="{name}"'.encode()
        body += (f'; filename="{file}"'.encode() if file is not None else b"") + (f"\r\nContent-Type: {kind}".encode() if kind else b"")
        body += b"\r\n\r\n" + data + b"\r\n"
    return body + f"--{boundary}--\r\n".encode()


class AloneTest(unittest.TestCase):
    def test_forms_as_python_writes_them(self):
        source = random.Random(5)
        letters = "abc &=+%;\"'\u00e4\u4e2d/?#"
        for _ in range(60):
            fields = [("".join(source.choices(letters, k=source.randrange(6))), "".join(source.choices(letters, k=source.randrange(400)))) for _ in range(source.randrange(1, 8))]
            text = urllib.parse.urlencode(fields, quote_via=source.choice([urllib.parse.quote, urllib.parse.quote_plus]))
            expected = told([(name, None, None, value.encode()) for name, value in fields])
            self.assertEqual(expected, run(REQUEST_METHOD="GET", QUERY_STRING=text)[1])
            self.assertEqual(expected, run(text.encode(), REQUEST_METHOD="POST", CONTENT_LENGTH=str(len(text)), CONTENT_TYPE="application/x-www-form-urlencoded")[1])

    def test_uploads(self):
        source = random.Random(6)
        for _ in range(40):
            boundary = source.choice(["b", "----WebKitFormBoundary7MA4YWxkTrZu0gW", "a'()+_,-./:=?z"])
            parts = [("f\u00e4%d" % i, source.choice([None, "", "a b.txt", "\u4e2d%22.bin"]), source.choice([None, "text/plain; charset=x"]),
                      b"".join(source.choices([b"\r", b"\n", b"-", boundary.encode(), b"\r\n--", source.randbytes(50), bytes(1)], k=source.randrange(60)))) for i in range(source.randrange(1, 6))]
            parts = [part for part in parts if b"\r\n--" + boundary.encode() not in b"\r\n" + part[3]]
            body = multipart(parts, boundary)
            self.assertEqual(told(parts), run(body, REQUEST_METHOD="POST", CONTENT_LENGTH=str(len(body)), CONTENT_TYPE=f'multipart/form-data; boundary="{boundary}"')[1])

    def test_what_is_wrong_is_told(self):
        form = {"REQUEST_METHOD": "POST", "CONTENT_TYPE": "application/x-www-form-urlencoded"}
        for body, more, head, text in ((b"", {"CONTENT_LENGTH": "x"}, "", ""), (b"", {"CONTENT_LENGTH": "-1"}, "", ""), (b"", {"CONTENT_LENGTH": "99999999999999999999"}, "", ""),
                                       (b"a=%", {"CONTENT_LENGTH": "3"}, "Status: 400 Bad Request", "fault: an escape is broken at 3\n"),
                                       (b"a", {"CONTENT_LENGTH": "2"}, "Status: 400 Bad Request", "fault: closed\n"),
                                       (b"a", {"CONTENT_LENGTH": "1", "CONTENT_TYPE": "text/plain"}, "Status: 400 Bad Request", "fault: not_supported\n")):
            lines, rest, status, errors = run(body, **{**form, **more})
            self.assertEqual((head, text, 0 if head else 1, head == ""), (lines[0], rest, status, errors != ""), more)
        self.assertEqual((1, "ombrel_cgi: no web server has started this\n"), run()[2:])


class ServerTest(unittest.TestCase):
    """The same requests below a server, which is given in `port`."""

    def ask(self, port):
        data = random.Random(7).randbytes(300000)
        parts = [("note", None, None, b"hello"), ("file", "a.bin", "application/x-a", data)]
        body = multipart(parts, "bound")
        for method, path, sent, expected in (("GET", "", b"", (200, None)), ("GET", "?a=1", b"", (200, told([("a", None, None, b"1")]))), ("POST", "", body, (200, told(parts))),
                                             ("GET", "/show?x", b"", (200, None))):
            client = http.client.HTTPConnection("127.0.0.1", port, timeout=60)
            client.request(method, "/cgi-bin/ombrel_cgi" + path, sent, {"Content-Type": "multipart/form-data; boundary=bound", "User-Agent": "test"} if sent or path == "/show?x" else {})
            answer = client.getresponse()
            text = answer.read().decode()
            client.close()
            self.assertEqual(expected[0], answer.status, path)
            if expected[1] is not None:
                self.assertEqual(expected[1], text)
            if path == "/show?x":
                self.assertIn("PATH_INFO: /show\n", text)
                self.assertIn("GET x, 0 bytes, by test\n", text)

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        os.chmod(self.folder, 0o755)
        os.mkdir(self.folder + "/cgi-bin")
        with open(self.folder + "/cgi-bin/ombrel_cgi", "w") as script:
            script.write(f'#!/bin/sh\nexec "{PROGRAM}"\n')
        os.chmod(script.name, 0o755)

    def test_python(self):
        handler = type("Handler", (http.server.CGIHTTPRequestHandler,), {"log_message": lambda *_: None})
        before = os.getcwd()
        os.chdir(self.folder)
        self.addCleanup(os.chdir, before)
        # It runs programs as "nobody", who may not reach the one to be tested.
        with unittest.mock.patch("http.server.nobody_uid", os.getuid), \
                http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler) as server:
            threading.Thread(target=server.serve_forever, daemon=True).start()
            self.ask(server.server_port)
            server.shutdown()

    def test_lighttpd(self):
        program = shutil.which("lighttpd", path=f"{SERVERS}/sbin:/usr/sbin")
        if not program:
            self.skipTest("lighttpd is not there; scripts/bootstrap test brings it")
        modules = os.path.join(os.path.dirname(program), "../lib/lighttpd")
        with socket.socket() as chosen:
            chosen.bind(("127.0.0.1", 0))
            port = chosen.getsockname()[1]
        with open(self.folder + "/conf", "w") as conf:
            conf.write(f'server.document-root = "{self.folder}"\nserver.port = {port}\nserver.bind = "127.0.0.1"\nserver.modules = ("mod_cgi")\ncgi.assign = ("" => "")\n')
        with subprocess.Popen([program, "-D", "-m", modules, "-f", conf.name], stderr=subprocess.PIPE) as server:
            try:
                for _ in range(600):
                    try:
                        socket.create_connection(("127.0.0.1", port)).close()
                        break
                    except OSError:
                        time.sleep(0.1)
                self.ask(port)
            finally:
                server.terminate()


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main()
