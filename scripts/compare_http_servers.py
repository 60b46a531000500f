"""Measures servers of HTTP by wrk, ours and others in turns: requests a second, and the server's processor time of
each. compare_benchmarks.py prints the rows."""
import os
import pathlib
import re
import signal
import statistics
import subprocess
import tempfile
import time
import urllib.request

ROUNDS = 5
CONNECTIONS = 64
SECONDS = 2
OUR_PORT, PEER_PORT = 18080, 18081

NGINX_CONFIGURATION = """
worker_processes 1;
master_process off;
daemon off;
pid {directory}/nginx.pid;
error_log {directory}/nginx.log crit;
events {{ worker_connections 1024; }}
http {{
    access_log off;
    sendfile on;
    tcp_nopush on;
    keepalive_requests 1000000000;
    default_type text/plain;
    client_body_temp_path {directory}/body;
    proxy_temp_path {directory}/proxy;
    fastcgi_temp_path {directory}/fastcgi;
    uwsgi_temp_path {directory}/uwsgi;
    scgi_temp_path {directory}/scgi;
    server {{
        listen 127.0.0.1:{port};
        location = /memory {{ return 200 "{page}"; }}
        location / {{ root {directory}; }}
    }}
}}
"""


class Server:
    """A server's process, which ends with its scope; cpu is then its seconds on a processor."""

    def __init__(self, command, url):
        self.command, self.url, self.cpu = command, url, 0.0

    def __enter__(self):
        self.process = subprocess.Popen(self.command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for _ in range(100):
            try:
                self.answer = urllib.request.urlopen(self.url).read()
                return self
            except OSError:
                time.sleep(0.05)
        raise RuntimeError(f"{self.command[0]} does not answer at {self.url}")

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        _, status, usage = os.wait4(self.process.pid, 0)
        self.process.returncode = os.waitstatus_to_exitcode(status)
        self.cpu = usage.ru_utime + usage.ru_stime


def measure(command, url, keep_answer=None):
    """(requests a second, processor microseconds of a request); keep_answer receives one made under the load."""
    with Server(command, url) as server:
        wrk = subprocess.Popen(["wrk", "-t1", f"-c{CONNECTIONS}", f"-d{SECONDS}s", url], stdout=subprocess.PIPE,
                               text=True)
        if keep_answer is not None:
            time.sleep(SECONDS / 2)
            keep_answer.write_bytes(urllib.request.urlopen(url).read())
        output, _ = wrk.communicate()
    if "Non-2xx" in output or "Socket errors" in output:
        raise RuntimeError(f"{url} failed under load: {output}")
    requests = int(re.search(r"(\d+) requests in", output).group(1))
    return float(re.search(r"Requests/sec:\s*([0-9.]+)", output).group(1)), server.cpu * 1e6 / requests


def in_turns(mine, peer):
    """Medians of both: ((rate, cpu), (rate, cpu)). Each is called for one measurement."""
    rounds = [(mine(), peer()) for _ in range(ROUNDS)]
    return [tuple(statistics.median(one[side][figure] for one in rounds) for figure in (0, 1)) for side in (0, 1)]


def rows_of(name, who, mine, peer):
    """(work, ours, who, peer's, ratio) of the rate and of the processor's time."""
    (rate, cpu), (other_rate, other_cpu) = in_turns(mine, peer)
    return [(name, f"{rate:.0f} r/s", who, f"{other_rate:.0f} r/s", f"{rate / other_rate:.2f}"),
            (name + ", processor time", f"{cpu:.2f} us", who, f"{other_cpu:.2f} us", f"{other_cpu / cpu:.2f}")]


def service_rows(build):
    """The status service beside libevent's server, which sends the bytes that the service sent under the same load."""
    service, peer, answer = build / "examples/status_service", build / "bench/evhttp_peer", build / "heap_answer.txt"
    if not service.exists() or not peer.exists():
        return []
    return rows_of("status service /heap, wrk", "evhttp",
                   lambda: measure([service, "127.0.0.1", str(OUR_PORT)], f"http://127.0.0.1:{OUR_PORT}/heap", answer),
                   lambda: measure([peer, str(PEER_PORT), answer], f"http://127.0.0.1:{PEER_PORT}/heap"))


def find_nginx():
    for path in ("build/servers/usr/sbin/nginx", "/usr/sbin/nginx"):
        if os.access(path, os.X_OK):
            return path
    return None


def nginx_rows(build, wanted):
    """Our server beside nginx with one worker: the same bytes from memory and from files."""
    own, nginx = build / "bench/http_own", find_nginx()
    works = [("HTTP server, 1 KiB from memory", "memory"), ("HTTP server, a file of 1 KiB", "page"),
             ("HTTP server, a file of 100 KiB", "large")]
    rows = []
    with tempfile.TemporaryDirectory() as directory:
        os.chmod(directory, 0o755)
        page = "0123456789abcdef" * 64
        pathlib.Path(directory, "page").write_text(page)
        pathlib.Path(directory, "large").write_text(page * 100)
        configuration = pathlib.Path(directory, "nginx.conf")
        configuration.write_text(NGINX_CONFIGURATION.format(directory=directory, port=PEER_PORT, page=page))
        for name, path in works:
            if nginx is None or not own.exists() or not wanted(name):
                continue
            rows += rows_of(name, "nginx",
                            lambda: measure([own, str(OUR_PORT), directory], f"http://127.0.0.1:{OUR_PORT}/{path}"),
                            lambda: measure([nginx, "-p", directory, "-c", configuration, "-e", directory + "/nginx.log"],
                                            f"http://127.0.0.1:{PEER_PORT}/{path}"))
    return rows
