"""Asks real servers with the example ombrel_fetch: nginx, lighttpd and Python's.

usage: fetch_peers_test.py OMBREL_FETCH FOLDER_OF_SERVERS [TEST ...]
"""
import hashlib
import os
import random
import resource
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import unittest

FETCH = SERVERS = ""
FILES = {"empty": 0, "small": 100, "page": 20000, "large": 3_000_000}

NGINX = """daemon off; master_process off; pid %(at)s/pid; error_log /dev/null; events {}
http { access_log off; client_body_temp_path %(at)s/b; proxy_temp_path %(at)s/p; fastcgi_temp_path %(at)s/f;
uwsgi_temp_path %(at)s/u; scgi_temp_path %(at)s/s; keepalive_requests 50; gzip on; gzip_types *; chunked_transfer_encoding on;
server { listen 127.0.0.1:%(port)d; root %(at)s/served; autoindex on;
    location /moved/ { rewrite ^/moved/(.*)$ /$1 redirect; }
    location /round { return 301 /round; }
    location /private/ { auth_basic here; auth_basic_user_file %(at)s/plain; rewrite ^/private/(.*)$ /$1 break; } } }"""
LIGHTTPD = """server.document-root = "%(at)s/served"
server.port = %(port)d
server.bind = "127.0.0.1"
server.modules = ( "mod_auth", "mod_authn_file", "mod_redirect" )
server.max-keep-alive-requests = 7
url.redirect = ( "^/moved/(.*)$" => "/$1" )
auth.backend = "htdigest"
auth.backend.htdigest.userfile = "%(at)s/digest"
auth.require = ( "/small" => ( "method" => "digest", "algorithm" => "MD5|SHA-256", "realm" => "here", "require" => "valid-user" ) )"""
WINDOWS = "OMBREL_TEST_WINDOWS" in os.environ  # played, where sockets are not the only descriptors
CROWD = "100" if WINDOWS else "1000"


class FetchPeersTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        os.mkdir(os.path.join(self.folder, "served"))
        self.lines = {}
        for name, size in FILES.items():
            data = random.Random(name).randbytes(size)
            self.lines[name] = f"200 {size} {hashlib.sha256(data).hexdigest().upper()}"
            with open(os.path.join(self.folder, "served", name), "wb") as file:
                file.write(data)
        self.write("plain", "ann:{PLAIN}secret\n")
        self.write("digest", "".join(f"ann:here:{hashlib.new(kind, b'ann:here:secret').hexdigest()}\n" for kind in ("md5", "sha256")))

    def write(self, name, text):
        with open(os.path.join(self.folder, name), "w", encoding="ascii") as file:
            file.write(text)

    def start(self, program, settings, *arguments):
        with socket.create_server(("127.0.0.1", 0)) as free:
            port = free.getsockname()[1]
        words = {"at": self.folder, "port": port}
        self.write("conf", settings % words)
        process = subprocess.Popen([program, *(argument % words for argument in arguments)], stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, cwd=os.path.join(self.folder, "served"))
        self.addCleanup(process.wait)
        self.addCleanup(process.terminate)
        end = time.monotonic() + 60
        while time.monotonic() < end:
            with socket.socket() as probe:
                if probe.connect_ex(("127.0.0.1", port)) == 0:
                    return f"http://127.0.0.1:{port}"
            time.sleep(0.05)
        raise AssertionError(f"{program} does not listen")

    def start_real(self, name, settings, *arguments):
        program = shutil.which(name, path=SERVERS + ":/usr/sbin:/usr/local/sbin")
        if program is None:
            self.skipTest(f"{name} is not there; scripts/bootstrap test brings it")
        return self.start(program, settings, *arguments)

    def fetch(self, *arguments, descriptors=1024):
        """Exit code, lines sorted without where they came from, complaints."""
        limit = lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (descriptors, descriptors))
        done = subprocess.run([FETCH, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=120,
                              preexec_fn=limit, check=False)
        return done.returncode, sorted(line.rpartition(" ")[0] for line in done.stdout.splitlines()), done.stderr

    def check_files(self, origin, prefix=""):
        """Each of them forty times at once, over kept connections, and by HEAD."""
        uris = [f"{origin}{prefix}/{name}" for name in self.lines]
        for options in (), ("-c", "1"), ("-h", "40"):
            code, lines, complaints = self.fetch("-n", "40", *options, *uris)
            self.assertEqual((code, complaints), (0, ""))
            self.assertEqual(lines, sorted(list(self.lines.values()) * 40))
        nothing = hashlib.sha256().hexdigest().upper()
        self.assertEqual(self.fetch("-X", "HEAD", *uris)[1], [f"200 0 {nothing}"] * len(uris))
        self.assertEqual(self.fetch(f"{origin}/none")[1][0][:4], "404 ")

    def check_login(self, uri, *options):
        for expected, password in (("200", "secret"), ("401", "wrong")):
            code, lines, _ = self.fetch("-n", "20", "-u", "ann", "-p", password, *options, uri)
            self.assertEqual((code, {line[:3] for line in lines}, len(lines)), (0, {expected}, 20))

    def test_nginx(self):
        origin = self.start_real("nginx", NGINX, "-p", "%(at)s", "-c", "%(at)s/conf")
        self.check_files(origin)
        self.check_files(origin, "/moved")
        many = self.fetch("-n", CROWD, "-c", CROWD, "-h", CROWD, f"{origin}/page", descriptors=4096 if WINDOWS else 40)
        self.assertEqual(many, (0, [self.lines["page"]] * int(CROWD), ""), "more at once than there are descriptors")
        self.assertIn("too many redirects", self.fetch(f"{origin}/round")[2])
        self.check_login(f"{origin}/private/small", "--basic")
        self.assertEqual(self.fetch("-u", "ann", "-p", "secret", f"{origin}/private/small")[1][0][:3], "401", "Basic is not used unasked")
        self.assertEqual(self.fetch("-x", origin, "http://elsewhere.example/small")[1], [self.lines["small"]], "as a proxy")

    def test_lighttpd(self):
        origin = self.start_real("lighttpd", LIGHTTPD, "-D", "-f", "%(at)s/conf", "-m",
                                 os.path.join(SERVERS, "../lib/lighttpd"))
        self.check_login(f"{origin}/small")
        self.check_login(f"{origin}/moved/small")
        del self.lines["small"]
        self.check_files(origin)

    def test_python(self):
        self.check_files(self.start(sys.executable, "", "-m", "http.server", "--bind", "127.0.0.1", "%(port)d"))


if __name__ == "__main__":
    FETCH, SERVERS = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))
    unittest.main(verbosity=2)
