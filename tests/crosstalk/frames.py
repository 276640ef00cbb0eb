"""Two ends of a connection, each with frames for the other; see kelFrames.cpp.

    frames.py LISTENER CONNECTOR

Both are command lines of kelinfra_frames, so that either can be run by another program.
"""

import os
import pathlib
import re
import shlex
import subprocess
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "support"))
from served import serving  # found by the line above


def main():
    listener, connector = (shlex.split(command) for command in sys.argv[1:])
    with serving(listener + ["listen"]) as (port, process):
        client = subprocess.run(
            connector + ["connect", "127.0.0.1", port],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding="utf-8", timeout=240, check=False,
        )
        said = {"connecting": (client.returncode, client.stdout.strip())}
        heard, _ = process.communicate(timeout=240)
        said["listening"] = (process.returncode, heard.strip())
    for end, (status, text) in said.items():
        print(f"the {end} end received {text}")
        if status != 0 or not re.fullmatch(r"48 frames, \d+ bytes: as they were sent", text):
            seed = os.environ.get("KELINFRA_TEST_SEED", "0")
            sys.exit(f"the {end} end ended with status {status}, with KELINFRA_TEST_SEED={seed}")


main()
