"""wrong_lines.py FILE COMMAND...: compiles a file, of which each line that ends in "// wrong" must be refused at that line
and no other one."""
import pathlib
import re
import subprocess
import sys

file, command = pathlib.Path(sys.argv[1]), sys.argv[2:]
wanted = {number for number, line in enumerate(file.read_text().splitlines(), 1) if line.endswith("// wrong")}
said = subprocess.run(command + [str(file)], capture_output=True, text=True).stderr
# Some compilers tell of an error at its place in a header first and of the line that led there after it.
refused = {int(number) for number in re.findall(re.escape(file.name) + r":(\d+):\d+:", said)}
if wanted != refused or not wanted:
    sys.exit(f"compiled: {sorted(wanted - refused)}, refused: {sorted(refused - wanted)}\n{said}")
