"""Runs the command that makes secrets, beside hashlib.

usage: secret_command_test.py OMBREL_TUK [TEST ...]
"""
import base64
import hashlib
import os
import pty
import subprocess
import sys
import termios
import time
import unittest

TOOL = ""


def secret(*arguments, data=b""):
    result = subprocess.run([TOOL, "secret", *arguments], input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)
    return result.returncode, result.stdout, result.stderr.decode()


def line(name, password, realm="ombrel", shown="ombrel"):
    text = f"{name}:{realm}:".encode() + password
    return f"{name}:$digest${shown}${hashlib.md5(text).hexdigest()}${hashlib.sha256(text).hexdigest()}\n".encode()


class SecretTest(unittest.TestCase):
    def test_digest(self):
        for data in (b"pass word", b"pass word\nmore\n", b"pass word\r\n"):
            self.assertEqual((0, line("ann", b"pass word"), ""), secret("ann", data=data))
        self.assertEqual((0, line("bj\u00f6rn", b"p:w", "a b", "a%20b"), ""), secret("-r", "a b", "bj\u00f6rn", data=b"p:w"))
        self.assertEqual((0, line("ann", b"p" * 1023), ""), secret("ann", data=b"p" * 1023 + b"\n"))

    def test_strong(self):
        status, output, errors = secret("-s", "-i", "1234", "ann", data=b"pw\n")
        name, _, text = output.decode().strip().partition(":")
        kind, iterations, salt, key = text.split("$")[1:]
        self.assertEqual((0, "", "ann", "pbkdf2-sha256", "1234"), (status, errors, name, kind, iterations))
        salt = base64.b64decode(salt.replace(".", "+") + "==")
        self.assertEqual(hashlib.pbkdf2_hmac("sha256", b"pw", salt, 1234), base64.b64decode(key.replace(".", "+") + "="))

    def test_refusals(self):
        for arguments, data, status, word in ((["ann"], b"", 1, "empty"), (["ann"], b"\n", 1, "empty"), (["ann"], b"\r\n", 1, "empty"),
                                              (["ann"], b"a\tb\n", 1, "control"), (["ann"], b"p" * 1024, 1, "password"),
                                              (["a:b"], b"pw", 2, "NAME"), (["a\nb"], b"pw", 2, "NAME"), ([""], b"pw", 2, "NAME"),
                                              (["#a"], b"pw", 2, "NAME"), (["n" * 256], b"pw", 2, "NAME"), ([], b"pw", 2, ""), (["a", "b"], b"pw", 2, ""),
                                              (["-r", 'a"b', "ann"], b"pw", 1, "realm"), (["-s", "-r", "x", "ann"], b"pw", 2, "realm"),
                                              (["-i", "5", "ann"], b"pw", 2, "iterations"), (["-s", "-i", "1000001", "ann"], b"pw", 2, "1000001")):
            result = secret(*arguments, data=data)
            self.assertEqual((status, b""), result[:2], arguments)
            self.assertTrue(result[2].startswith("secret: ") and word in result[2], result)

    def test_terminals_do_not_show_it(self):
        screen, keys = pty.openpty()
        before = termios.tcgetattr(keys)
        with subprocess.Popen([TOOL, "secret", "ann"], stdin=keys, stdout=subprocess.PIPE, stderr=keys) as child:
            while termios.tcgetattr(keys) == before:
                time.sleep(0.01)
            os.write(screen, b"unseen\r")
            self.assertEqual(line("ann", b"unseen"), child.stdout.read())
            self.assertEqual((0, before), (child.wait(60), termios.tcgetattr(keys)))
        os.write(keys, b".")
        shown = b""
        while not shown.endswith(b"."):
            shown += os.read(screen, 1000)
        self.assertNotIn(b"unseen", shown)
        os.close(screen)
        os.close(keys)


if __name__ == "__main__":
    TOOL = sys.argv.pop(1)
    unittest.main()
