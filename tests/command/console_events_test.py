"""Ends the servers on Windows by events of the console, with a client that waits.

usage: console_events_test.py CONSOLE_EVENT OMBREL_TUK STATUS_SERVICE [TEST ...]
"""
import os
import re
import socket
import subprocess
import sys
import tempfile
import unittest

RAISER, TOOL, SERVICE = "", "", ""
BREAK, CLOSE, SHUTDOWN = "1", "2", "6"


class ConsoleEventsTest(unittest.TestCase):
    def check(self, last_words, program, *arguments, client=socket.SOCK_STREAM):
        for event in (BREAK, CLOSE, SHUTDOWN):
            with self.subTest(event=event), subprocess.Popen(
                    [RAISER, event, program, *arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                    stderr=subprocess.STDOUT, text=True) as process, socket.socket(socket.AF_INET, client) as waiting:
                line = process.stdout.readline()
                waiting.connect(("127.0.0.1", int(re.findall(r":(\d+)", line)[-1])))
                if client == socket.SOCK_STREAM:
                    waiting.sendall(b"G")
                output = process.communicate(timeout=120)[0]
                self.assertEqual(0, process.returncode, line + output)
                self.assertIn(last_words, output)

    def test_servers_of_files(self):
        with tempfile.TemporaryDirectory() as folder:
            accounts = os.path.join(folder, "accounts")
            with open(accounts, "w", encoding="utf-8") as file:
                file.write(f"anonymous::{folder}:r\n")
            self.check("", TOOL, "httpd", "-p", "0", folder)
            self.check("", TOOL, "ftpd", "-a", "127.0.0.1", "-p", "0", "-A", accounts)
            self.check("", TOOL, "tftpd", "-p", "0", folder, client=socket.SOCK_DGRAM)

    def test_status_service(self):
        self.check("heap: 0 live blocks", SERVICE, "127.0.0.1", "0")


if __name__ == "__main__":
    RAISER, TOOL, SERVICE = (os.path.abspath(path) for path in sys.argv[1:4])
    del sys.argv[1:4]
    unittest.main()
