"""Requests of every kind that the status service answers at once, over connections that are kept."""
import re
import socket

CONNECTIONS, PIPELINED = 16, 10
BODY = b"x" * 600
PATHS = ["/", "/status.json", "/heap", "/version.xml", "/guide/", "/page.css", "/none", "/slow?ms=x",
         "/lookup?name=127.0.0.1"]
REQUESTS = [f"GET {path} HTTP/1.1\r\nHost: a\r\n\r\n".encode() for path in PATHS] + [
    b"HEAD / HTTP/1.1\r\nHost: a\r\n\r\n",
    b"POST /echo HTTP/1.1\r\nHost: a\r\nContent-Length: %d\r\n\r\n" % len(BODY) + BODY]


def skip_answer(reader, has_body):
    head = b""
    while not head.endswith(b"\r\n\r\n"):
        line = reader.readline()
        if not line:
            raise ConnectionError(f"the service ended the connection after {head!r}")
        head += line
    if has_body:
        reader.read(int(re.search(rb"Content-Length: (\d+)", head).group(1)))


def send(port, count):
    peers = [socket.create_connection(("127.0.0.1", port)) for _ in range(CONNECTIONS)]
    readers = [peer.makefile("rb") for peer in peers]
    sent = 0
    while sent < count:
        for peer, reader in zip(peers, readers):
            requests = [REQUESTS[(sent + i) % len(REQUESTS)] for i in range(min(PIPELINED, count - sent))]
            peer.sendall(b"".join(requests))
            for request in requests:
                skip_answer(reader, not request.startswith(b"HEAD"))
            sent += len(requests)
    for reader, peer in zip(readers, peers):
        reader.close()
        peer.close()
