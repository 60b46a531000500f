"""Receives what the command "wol" sends, beside the packets of wakeonlan.

usage: wol_test.py OMBREL_TUK [TEST ...]
"""
import shutil
import socket
import subprocess
import sys
import unittest

TOOL = ""
MAC = bytes.fromhex("001b210a5c3f")
PACKET = b"\xff" * 6 + MAC * 16


def run(*arguments):
    result = subprocess.run([TOOL, "wol", *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)
    return result.returncode, (result.stdout + result.stderr).decode()


class WolTest(unittest.TestCase):
    def receiver(self, family=socket.AF_INET, address="127.0.0.1"):
        made = socket.socket(family, socket.SOCK_DGRAM)
        self.addCleanup(made.close)
        made.bind((address, 0))
        made.settimeout(20)
        return made

    def test_spellings_and_passwords(self):
        receiver = self.receiver()
        port = str(receiver.getsockname()[1])
        for spelling in ("00:1b:21:0A:5c:3f", "00-1B-21-0a-5c-3f", "00.1b.21.0a.5c.3f", "001b.210a.5c3f", "001B210A5C3F"):
            for words, password in (([], b""), (["-w", "192.168.1.255"], b"\xc0\xa8\x01\xff"), (["-w", "00:11:22:33:44:55"], bytes.fromhex("001122334455"))):
                self.assertEqual((0, ""), run("-a", "127.0.0.1", "-p", port, *words, spelling))
                self.assertEqual(PACKET + password, receiver.recv(1000), (spelling, words))

    def test_ipv6_and_names(self):
        for family, own, words in ((socket.AF_INET6, "::1", ["-a", "::1"]), (socket.AF_INET, "127.0.0.1", ["-a", "127.0.0.1", "-i", "lo"]),
                                   (socket.AF_INET, "", ["-a", "127.255.255.255"])):
            try:
                receiver = self.receiver(family, own)
            except OSError:
                continue
            receiver.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
            if "-i" in words and not sys.platform.startswith("linux"):
                continue
            self.assertEqual((0, ""), run(*words, "-p", str(receiver.getsockname()[1]), MAC.hex()))
            self.assertEqual(PACKET, receiver.recv(1000))

    @unittest.skipUnless(shutil.which("wakeonlan"), "wakeonlan is not installed")
    def test_wakeonlan_sends_the_same(self):
        receiver = self.receiver()
        subprocess.run(["wakeonlan", "-i", "127.0.0.1", "-p", str(receiver.getsockname()[1]), "00:1b:21:0a:5c:3f"], stdout=subprocess.DEVNULL, check=True)
        self.assertEqual(PACKET, receiver.recv(1000))

    def test_frames(self):
        try:
            receiver = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(0x0842))
        except (AttributeError, PermissionError):
            self.assertEqual(1, run("-f", "-i", "lo", MAC.hex())[0])
            self.skipTest("this user has no right to packet sockets")
        self.addCleanup(receiver.close)
        receiver.bind(("lo", 0x0842))
        receiver.settimeout(20)
        self.assertEqual((0, ""), run("-f", "-i", "lo", "-w", "1.2.3.4", MAC.hex()))
        frame = receiver.recv(1000)
        self.assertEqual((b"\xff" * 6, b"\x08\x42", PACKET + b"\1\2\3\4"), (frame[:6], frame[12:14], frame[14:]))

    def test_failures(self):
        for expected, words in ((2, []), (2, ["00:11:22:33:44"]), (2, ["-p", "0", MAC.hex()]), (2, ["-w", "1.2.3", MAC.hex()]), (2, ["-f", MAC.hex()]),
                                (2, [MAC.hex(), MAC.hex()]), (1, ["-i", "none.such", MAC.hex()]), (1, ["-a", "no.such.invalid", MAC.hex()])):
            status, errors = run(*words)
            self.assertEqual((expected, "wol: "), (status, errors[:5]), words)


if __name__ == "__main__":
    TOOL = sys.argv.pop(1)
    unittest.main()
