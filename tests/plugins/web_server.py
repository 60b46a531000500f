"""A web server for tests: prints its ports for http and https, and serves until nobody could read more."""
import hashlib
import select
import ssl
import threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer


def body_of(size):
    return bytes(i * 7 % 251 for i in range(size))


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def answer(self, status, body, **headers):
        self.send_response(status)
        self.send_header("Content-Length", len(body))
        for name, value in headers.items():
            self.send_header(name.replace("_", "-"), value)
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(body)

    def get_mute(self, _):
        self.close_connection = True
        while self.connection.recv(4096):
            pass

    def do_GET(self):
        kind, _, argument = self.path[1:].partition("/")
        getattr(self, "get_" + kind)(argument)

    do_HEAD = do_GET

    def get_bytes(self, size):
        self.answer(200, body_of(int(size)), Content_Type="application/x-test", X_Mark="  one two ")

    def get_chunked(self, size):
        body = body_of(int(size))
        self.send_response(200)
        self.send_header("Transfer-Encoding", "chunked")
        self.end_headers()
        for at in range(0, len(body), 5000):
            part = body[at:at + 5000]
            self.wfile.write(b"%x\r\n%s\r\n" % (len(part), part))
        self.wfile.write(b"0\r\n\r\n")

    def get_status(self, status):
        self.answer(int(status), b"body of " + status.encode())

    def get_redirect(self, target):
        self.answer(302, b"elsewhere", Location="/" + target)

    def get_away(self, uri):
        self.answer(302, b"elsewhere", Location=uri)

    def get_broken(self, size):
        """Half of it; the rest to who asks for it by the right tag."""
        body = body_of(int(size))
        _, _, begin = self.headers.get("Range", "").partition("bytes=")
        if begin == f"{len(body) // 2}-" and self.headers["If-Range"] == '"1"':
            rest = body[len(body) // 2:]
            return self.answer(206, rest, ETag='"1"', Content_Range=f"bytes {begin}{len(body) - 1}/{len(body)}")
        self.send_response(200)
        self.send_header("Content-Length", len(body))
        self.send_header("ETag", '"1"')
        self.end_headers()
        self.wfile.write(body[:len(body) // 2])
        self.close_connection = True

    def get_echo(self, _):
        self.answer(200, str(self.headers).encode())

    def get_guarded(self, _):
        if "Authorization" in self.headers:
            return self.get_echo(_)
        self.answer(401, b"who?", WWW_Authenticate='Basic realm="tests"')

    def get_stall(self, _):
        self.send_response(200)
        self.end_headers()
        self.wfile.write(b"abc")
        self.get_mute(_)

    def get_cut(self, _):
        self.send_response(200)
        self.send_header("Content-Length", 100)
        self.end_headers()
        self.wfile.write(b"0123456789")
        self.close_connection = True

    def read_body(self):
        if "Content-Length" in self.headers:
            return self.rfile.read(int(self.headers["Content-Length"]))
        body = b""
        while size := int(self.rfile.readline(), 16):
            body += self.rfile.read(size)
            self.rfile.readline()
        self.rfile.readline()
        return body

    def do_PUT(self):
        body = self.read_body()
        status = 403 if self.path == "/refuse" else 201
        text = f"{self.command} {len(body)} {hashlib.sha256(body).hexdigest().upper()}"
        self.answer(status, text.encode())

    do_POST = do_PUT

    def log_message(self, *_):
        pass


class Server(ThreadingHTTPServer):
    daemon_threads = True

    def handle_error(self, *_):
        """Clients that go away are part of the tests."""


def serve(certificate=None):
    """The port."""
    server = Server(("127.0.0.1", 0), Handler)
    if certificate:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(certificate)
        server.socket = context.wrap_socket(server.socket, server_side=True, do_handshake_on_connect=False)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server.server_port


if __name__ == "__main__":
    print(serve(), serve(__file__.removesuffix("py") + "pem"), flush=True)
    reader = select.poll()
    reader.register(1, 0)
    reader.poll()
