"""Reads messages with the library's parser beside h11, and what nginx and lighttpd answer.

usage: http_peers_test.py HTTP_READER FOLDER_OF_SERVERS
"""
import contextlib
import http.client
import os
import random
import re
import socket
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.append("/usr/lib/python3/dist-packages")
try:
    import h11
except ImportError:
    h11 = None

READER = SERVERS = ""

REQUESTS = [
    b"GET / HTTP/1.1\r\nHost: a.example\r\nAccept: */*\r\nX:  y z \r\n\r\n",
    b"POST /p?q=1 HTTP/1.1\r\nHost: a:80\r\nContent-Length: 5\r\n\r\nhello",
    b"PUT /x HTTP/1.1\r\nHost: [::1]:8\r\nTransfer-Encoding: chunked\r\n\r\n5;a=b\r\nhello\r\n3\r\nabc\r\n0\r\nT: v\r\n\r\n",
    b"GET http://h/x HTTP/1.0\r\nConnection: keep-alive\r\n\r\n"]
RESPONSES = [
    b"HTTP/1.1 200 OK\r\nContent-Length: 3\r\nServer: x\r\n\r\nabc",
    b"HTTP/1.1 404 Not Found\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nab\r\n0\r\n\r\n",
    b"HTTP/1.0 200 \r\nX: y\r\n\r\nuntil the end",
    b"HTTP/1.1 304 Not Modified\r\nX: y\r\n\r\n"]
PARTS = (b"\r|\n|\r\n| |\t|\v|\f|\0|:|,|;|=|\"|5|0|+5|-1|0x5|chunked|, chunked|identity|gzip, |\xff|\x7f|HTTP/1.2|HTTP/2.0|"
         b"ffffffffffffffff|#|*|http://|@|: x\r\n|A\r\n|A B: c\r\n| folded\r\n|Content-Length: 5\r\n|Content-Length: 5, 5\r\n|"
         b"Transfer-Encoding: chunked\r\n|Transfer-Encoding : chunked\r\n|Transfer-Encoding: x\r\n|Host: b\r\n").split(b"|")

# What we refuse and h11 lets pass, by our reasons: targets of no form, versions above 1, bare LF, folds, control
# characters in reasons, HTTP/1.2 without a Host, hosts that are none, lengths in lists and twice, a length beside a
# coding, empty codings, a coding in HTTP/1.0, malformed extensions of chunks, framing among trailers.
STRICTER = {3, 5, 8, 10, 14, 18, 20, 21, 22, 23, 24, 26, 29, 32}


def mutant(source, message):
    for _ in range(source.choice((1, 1, 2, 3))):
        at, kind = source.randrange(len(message) + 1), source.randrange(4)
        message = message[:at] + ((source.choice(PARTS) + message[at:]) if kind < 2 else
                                  bytes([source.randrange(256)]) + message[at + 1:] if kind == 2 else
                                  message[at + source.randrange(1, 9):])
    return message


def read(messages):
    """What the parser says of each message."""
    given = b"".join(b"%d %d\n%s" % (role, len(text), text) for role, text in messages)
    return subprocess.run(READER, input=given, stdout=subprocess.PIPE, check=True).stdout.decode().splitlines()


def shown(text):
    return "".join(chr(c) if 32 <= c < 127 and c != 92 else "\\x%02x" % c for c in text)


def trace_of_h11(role, text):
    """The first message as http_reader shows it, without the end of the head; None when refused; "" when cut."""
    side = h11.Connection((h11.SERVER, h11.CLIENT)[role], max_incomplete_event_size=1 << 20)
    if role == 1:
        side.send(h11.Request(method="GET", target="/", headers=[("host", "a")]))
        side.send(h11.EndOfMessage())
    trace = body = ""
    try:
        side.receive_data(text)
        if role == 1:
            side.receive_data(b"")
        while True:
            event = side.next_event()
            if event in (h11.NEED_DATA, h11.PAUSED) or isinstance(event, h11.ConnectionClosed):
                return ""
            if isinstance(event, h11.Data):
                body += shown(event.data)
            elif isinstance(event, h11.EndOfMessage):
                return trace + ("body " + body + "|" if body else "") + "end|"
            else:
                first = (event.method + b" " + event.target if role == 0 else b"%d %s" % (event.status_code, event.reason))
                version = b" 10|" if event.http_version == b"1.0" else b" 11|"
                trace = shown(first + version) + "".join(
                    shown(name.lower() + b": " + value) + "|" for name, value in event.headers)
    except h11.RemoteProtocolError:
        return None


class HttpPeersTest(unittest.TestCase):
    @unittest.skipUnless(h11, "h11 is not installed")
    def test_h11(self):
        source = random.Random(11)
        mutants = [(role, mutant(source, source.choice((REQUESTS, RESPONSES)[role]))) for role in (0, 1) for _ in range(3000)]
        messages = [(role, text) for role, text in mutants if b"|" not in text] # which parts the traces
        compared = 0
        for (role, text), ours in zip(messages, read(messages)):
            theirs = trace_of_h11(role, text)
            refused = re.search(r"!(\d+) at \d+$", ours)
            first = re.match(r"(.*?\|)head [^|]*\|((?:body [^|]*\|)?)(?:\+[^|]*\|)*(end\|)", ours)
            if first:
                if theirs is None:
                    # It takes no empty lines before a request, nor spaces before an extension of a chunk.
                    self.assertRegex(text, rb"^(\r\n)+|\d[ \t]+;", (role, text))
                elif theirs:
                    self.assertEqual(theirs.lower(), (first[1] + first[2] + first[3]).lower(), (role, text))
                    compared += 1
            elif theirs:
                self.assertIn(refused and int(refused[1]), STRICTER, (role, text, theirs, ours))
        self.assertGreater(compared, 500)

    def serve(self, name, *words):
        """A server over a folder with "file"; its port."""
        program = os.path.join(SERVERS, name)
        if not os.path.exists(program):
            self.skipTest(name + " is not installed")
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        os.mkdir(os.path.join(folder.name, "served"))
        with open(os.path.join(folder.name, "served", "file"), "wb") as file:
            file.write(b"0123456789" * 1000)
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            port = free.getsockname()[1]
        with open(os.path.join(folder.name, "conf"), "w") as file:
            file.write(words[0] % {"at": folder.name, "port": port})
        process = subprocess.Popen([program, *(word % {"at": folder.name} for word in words[1:])],
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.terminate)
        for _ in range(600):
            with socket.socket() as probe:
                if probe.connect_ex(("127.0.0.1", port)) == 0:
                    return port
            time.sleep(0.05)
        self.fail(name + " does not listen")

    def check_server(self, port):
        for target, fields in (("/file", {}), ("/file", {"Range": "bytes=5-9"}), ("/file", {"Range": "bytes=0-1,5-6"}),
                               ("/none", {}), ("/file", {"Range": "bytes=99999-"})):
            with contextlib.closing(http.client.HTTPConnection("127.0.0.1", port, timeout=60)) as asked:
                asked.request("GET", target, headers=fields)
                answer = asked.getresponse()
                body = answer.read()
            with socket.create_connection(("127.0.0.1", port), 60) as raw:
                raw.sendall(("GET %s HTTP/1.1\r\nHost: h\r\nConnection: close\r\n%s\r\n" % (target, "".join(
                    "%s: %s\r\n" % field for field in fields.items()))).encode())
                text = b"".join(iter(lambda: raw.recv(65536), b""))
            trace = read([(1, text)])[0]
            self.assertTrue(trace.startswith("%d %s 11|" % (answer.status, answer.reason)) and trace.endswith("|end|"), trace)
            found = re.search(r"head (?:length|chunked|close) .*?\|body (.*)\|end\|$", trace)[1]
            boundary = (answer.getheader("Content-Type") or "").partition("boundary=")[2].encode()
            if not boundary:
                self.assertEqual(shown(body), found)

    def test_nginx(self):
        self.check_server(self.serve(
            "nginx", "daemon off; master_process off; pid %(at)s/pid; error_log /dev/null; events {}\n"
            "http { access_log off; client_body_temp_path %(at)s/b; proxy_temp_path %(at)s/p; fastcgi_temp_path %(at)s/f;\n"
            "uwsgi_temp_path %(at)s/u; scgi_temp_path %(at)s/s;\n"
            "server { listen 127.0.0.1:%(port)d; root %(at)s/served; } }", "-p", "%(at)s", "-c", "%(at)s/conf"))

    def test_lighttpd(self):
        self.check_server(self.serve(
            "lighttpd", 'server.document-root = "%(at)s/served"\nserver.port = %(port)d\nserver.bind = "127.0.0.1"\n',
            "-D", "-f", "%(at)s/conf"))


if __name__ == "__main__":
    READER, SERVERS = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
