"""A program that listens and says where."""

import contextlib
import re
import subprocess
import sys


@contextlib.contextmanager
def serving(command, folder=None):
    """Starts it, waits for its line "listening on PORT", and gives the port and the process."""
    server = subprocess.Popen(
        command, cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, encoding="utf-8",
    )
    try:
        line = server.stdout.readline()
        started = re.fullmatch(r"listening on (\d+)\s*", line)
        if not started:
            sys.exit("the server said: " + line + server.stdout.read())
        yield started[1], server
    finally:
        server.kill()
        server.wait()
