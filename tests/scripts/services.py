#!/usr/bin/env python3
"""services.py ROOT: benchmarks/service/service.py finds a service that gives a wrong answer. The programs of
the release build must exist."""
import pathlib
import subprocess
import sys
import tempfile

root = pathlib.Path(sys.argv[1]).resolve()
built = root / "build/release/benchmarks"

# Answers each request with the same numbers.
WRONG = f"""#!{sys.executable}
import socketserver

class Wrong(socketserver.StreamRequestHandler):
    def handle(self):
        while length := self.rfile.read(4):
            self.rfile.read(int.from_bytes(length, "big"))
            answer = b"characters=1\\nstatus=ok\\nwords=1\\n"
            self.wfile.write(len(answer).to_bytes(4, "big") + answer)

with socketserver.TCPServer(("127.0.0.1", 0), Wrong) as server:
    print(server.server_address[1], flush=True)
    server.serve_forever()
"""


def check_with(wrong=None):
    """Runs the check on KELINFRA's service and on Poco's, which are the same program here."""
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "kelinfra_service_load").symlink_to(built / "kelinfra_service_load")
        for program in ("kelinfra_service_kelinfra", "kelinfra_service_poco"):
            if program == wrong:
                (folder / program).write_text(WRONG, encoding="utf-8")
                (folder / program).chmod(0o755)
            else:
                (folder / program).symlink_to(built / "kelinfra_service_kelinfra")
        return subprocess.run([root / "benchmarks/service/service.py", "check", folder], capture_output=True,
                              text=True, check=False)


def expect(done, status, text):
    if done.returncode != status or text not in done.stdout + done.stderr:
        sys.exit(f"expected status {status} and {text!r}, not {done}")


expect(check_with(), 0, "answers of KELINFRA, Poco are equal")
expect(check_with("kelinfra_service_poco"), 1, "Poco: b'characters=1")
expect(check_with("kelinfra_service_kelinfra"), 1, "-> 'characters=1")
