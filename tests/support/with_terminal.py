"""Runs a command with a terminal of its own as its input, which wine makes a console of; the terminal's screen is
looked at by nobody.

usage: with_terminal.py COMMAND [ARGUMENT...]
"""
import os
import pty
import subprocess
import sys
import threading

screen, keys = pty.openpty()
threading.Thread(target=lambda: all(iter(lambda: os.read(screen, 4096), b"")), daemon=True).start()
sys.exit(subprocess.run(sys.argv[1:], stdin=keys, start_new_session=True).returncode)
