"""Announces and searches by the command "ssdp", beside a peer of its own and, in a network of their own, gssdp and upnpc.

usage: ssdp_test.py OMBREL_TUK [TEST ...]
"""
import ctypes
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import threading
import time
import unittest

TOOL = ""
TYPE = "urn:schemas-upnp-org:device:InternetGatewayDevice:"
USN = "uuid:1::" + TYPE + "1"
GROUP = "239.255.255.250"
ALIVE = ("NOTIFY * HTTP/1.1", "NTS: ssdp:alive", "CACHE-CONTROL: max-age=1800", "NT: " + TYPE + "1", "USN: " + USN,
         "LOCATION: http://127.0.0.1/d.xml", "SERVER: ", "BOOTID.UPNP.ORG: ", "CONFIGID.UPNP.ORG: 1")


class SsdpTest(unittest.TestCase):
    def setUp(self):
        self.peer = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(self.peer.close)
        self.peer.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.peer.bind(("", 0))
        self.peer.settimeout(30)
        own = socket.inet_aton("127.0.0.1")
        self.peer.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, socket.inet_aton(GROUP) + own)
        self.peer.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, own)
        self.port = self.peer.getsockname()[1]
        self.place = ["-a", "127.0.0.1", "-p", str(self.port)]

    def start(self, *words):
        process = subprocess.Popen([TOOL, "ssdp", *words], stdout=subprocess.PIPE)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def announce(self, *place):
        process = self.start("announce", *place, "-t", TYPE + "1", "-u", USN, "-l", "http://127.0.0.1/d.xml")
        self.assertEqual("ssdp: announcing " + TYPE + "1 at http://127.0.0.1/d.xml\n", process.stdout.readline().decode())
        return process

    def end(self, process):
        process.send_signal(signal.SIGTERM)
        self.assertEqual(0, process.wait(60))

    def hear(self, start):
        while True:
            packet, sender = self.peer.recvfrom(5000)
            if packet.decode().startswith(start):
                return packet.decode(), sender

    def test_a_peer_hears_and_asks(self):
        process = self.announce(*self.place)
        lines = self.hear("NOTIFY")[0].split("\r\n")
        for line in ("HOST: %s:%d" % (GROUP, self.port),) + ALIVE:
            self.assertTrue(any(one.startswith(line) for one in lines), (line, lines))
        asking = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(asking.close)
        asking.settimeout(30)
        asking.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton("127.0.0.1"))
        asking.sendto(b"M-SEARCH * HTTP/1.1\r\nHOST: h\r\nMAN: \"ssdp:discover\"\r\nMX: 1\r\nST: ssdp:all\r\n\r\n", (GROUP, self.port))
        answer = asking.recv(5000).decode()
        self.assertTrue(answer.startswith("HTTP/1.1 200 OK\r\n") and "\r\nST: " + TYPE + "1\r\n" in answer, answer)
        self.end(process)
        self.assertIn("USN: " + USN, self.hear_byebye())

    def hear_byebye(self):
        while True:
            packet = self.hear("NOTIFY")[0]
            if "NTS: ssdp:byebye\r\n" in packet:
                return packet

    def test_a_peer_is_found(self):
        process = self.start("search", *self.place, "-t", "x", "-w", "2")
        packet, searcher = self.hear("M-SEARCH")
        for line in ("HOST: %s:%d" % (GROUP, self.port), 'MAN: "ssdp:discover"', "MX: 1", "ST: x"):
            self.assertIn(line + "\r\n", packet)
        for usn in ("uuid:a", "uuid:a", "uuid:b"):
            self.peer.sendto(("HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=9\r\nEXT:\r\nLOCATION: http://h/\r\nSERVER: s\r\nST: x\r\nUSN: %s\r\n\r\n" % usn).encode(), searcher)
        self.assertEqual("uuid:a x http://h/ s\nuuid:b x http://h/ s\n", process.stdout.read().decode())
        self.assertEqual(0, process.wait(60))

    def test_wrong_calls(self):
        for words, code in (([], 2), (["look"], 2), (["announce", "-t", "x"], 2), (["search", "-w", "0"], 2), (["search", "-i", "none there"], 1),
                            (["search", "-a", "192.0.2.77"], 1), (["announce", "-a", "127.0.0.1", "-t", "x", "-u", "u", "-l", "ftp://h/"], 1)):
            result = subprocess.run([TOOL, "ssdp", *words], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=60)
            self.assertEqual(code, result.returncode, words)

    def test_other_implementations(self):
        inner = subprocess.run(["unshare", "-rn", sys.executable, os.path.abspath(__file__), TOOL, "Inner"], stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, timeout=120) if shutil.which("unshare") else None
        if inner is None or b"cannot be made" in inner.stdout or b"unshare" in inner.stdout:
            self.skipTest("no network of our own")
        self.assertEqual(0, inner.returncode, inner.stdout.decode())


class Inner:
    """Run in a network of its own, with one interface."""

    def __init__(self):
        for words in ("link set lo up", "link add d0 type veth peer name d1", "link set d1 up", "addr add 10.9.9.1/24 dev d0",
                      "link set d0 multicast on up", "route add 224.0.0.0/4 dev d0"):
            if subprocess.run(["ip", *words.split()], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode != 0:
                sys.exit("an interface cannot be made")
        self.found = []
        announcer = subprocess.Popen([TOOL, "ssdp", "announce", "-i", "d0", "-4", "-t", TYPE + "1", "-u", USN, "-l", "http://10.9.9.1/d.xml"],
                                     stdout=subprocess.PIPE)
        announcer.stdout.readline()
        if shutil.which("upnpc"):
            told = subprocess.run(["upnpc", "-m", "d0", "-l"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
            assert b"desc: http://10.9.9.1/d.xml" in told, told
        try:
            self.meet_gssdp(announcer)
        except OSError:
            print("gssdp is not installed")
        announcer.terminate()
        announcer.wait()

    def meet_gssdp(self, announcer):
        gssdp, glib, gobject = (ctypes.CDLL("lib" + name) for name in ("gssdp-1.6.so.0", "glib-2.0.so.0", "gobject-2.0.so.0"))
        for name in ("client_new_full", "resource_browser_new", "resource_group_new"):
            getattr(gssdp, "gssdp_" + name).restype = ctypes.c_void_p
        glib.g_main_loop_new.restype = ctypes.c_void_p
        client = ctypes.c_void_p(gssdp.gssdp_client_new_full(b"d0", None, ctypes.c_uint16(0), 2, None))
        browser = ctypes.c_void_p(gssdp.gssdp_resource_browser_new(client, b"ssdp:all"))
        note = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p, ctypes.c_void_p)(
            lambda _, usn, *rest: self.found.append(("found", usn.decode())))
        note_end = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p)(
            lambda _, usn, *rest: self.found.append(("gone", usn.decode())))
        gobject.g_signal_connect_data(browser, b"resource-available", note, None, None, 0)
        gobject.g_signal_connect_data(browser, b"resource-unavailable", note_end, None, None, 0)
        gssdp.gssdp_resource_browser_set_active(browser, 1)
        group = ctypes.c_void_p(gssdp.gssdp_resource_group_new(client))
        gssdp.gssdp_resource_group_add_resource_simple(group, b"urn:a:device:Lamp:2", b"uuid:lamp", b"http://10.9.9.1/lamp.xml")
        gssdp.gssdp_resource_group_set_available(group, 1)
        loop = ctypes.c_void_p(glib.g_main_loop_new(None, 0))
        runner = threading.Thread(target=glib.g_main_loop_run, args=(loop,), daemon=True)
        runner.start()
        self.wait_for(("found", USN))
        found = subprocess.run([TOOL, "ssdp", "search", "-i", "d0", "-4", "-t", "urn:a:device:Lamp:2", "-w", "3"], stdout=subprocess.PIPE).stdout.decode()
        assert re.match(r"uuid:lamp urn:a:device:Lamp:2 http://10\.9\.9\.1/lamp\.xml .*GSSDP", found), found
        announcer.terminate()
        self.wait_for(("gone", USN))
        glib.g_main_loop_quit(loop)
        runner.join(10)

    def wait_for(self, what):
        for _ in range(3000):
            if what in self.found:
                return
            time.sleep(0.01)
        sys.exit("missed %s in %s" % (what, self.found))


if __name__ == "__main__":
    TOOL = os.path.abspath(sys.argv.pop(1))
    if sys.argv[1:] == ["Inner"]:
        Inner()
    else:
        unittest.main()
