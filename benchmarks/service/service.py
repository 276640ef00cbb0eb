#!/usr/bin/env python3
"""Compares the same small service, written with KELINFRA and with other libraries.

    service.py check FOLDER               each service gives the expected answers
    service.py measure FOLDER PAGE.md...  checks, then measures and writes the last section of each page

FOLDER has the programs. `check` leaves out the services of libraries that are not installed.
"""
import base64
import contextlib
import datetime
import json
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile

DOCUMENTS = pathlib.Path(__file__).resolve().parents[2] / "examples" / "documents"
OURS = "KELINFRA"
PROGRAMS = {OURS: "kelinfra_service_kelinfra", "Poco": "kelinfra_service_poco",
            "Asio": "kelinfra_service_asio"}
CONNECTIONS = [1, 8, 64]
ROUNDS = 5
SLICES = 10  # in each round
MILLISECONDS = 100  # of a slice
IDLE = 1000
RATE_GOALS = {"Poco": 2.0, "Asio": 1.3}  # the least ratio of the requests per second
FIGURES = {"rate": "requests per second", "p50": "p50", "p99": "p99",
           "processor": "processor time of a request"}
TITLE = "## A whole service"
TEXT = """
The same small service is written with KELINFRA, with Poco, and with Asio and ICU. A request is a frame with
properties text, which contains a document in Base64 and the name of its code page. The service converts the
document, counts the characters, finds the words by ICU's word boundaries, and sends a frame with both
numbers. `scripts/bench --service` compares the services and writes this section. It measures only if all
services give the same answers, byte for byte. The requests are the four documents of `examples/documents`,
which have 91 to 557 bytes, in turn.

- KELINFRA's service has a thread with a `Poller` for each processor.
- Poco's service is a `TCPServer` with a thread for each connection, and uses `PropertyFileConfiguration` and
  `Base64Decoder`. It converts with ICU, because Poco has no converter for GB18030, and because ICU's word
  boundaries need UTF-16.
- Asio's service has completion handlers and a thread for each processor. It converts with ICU. It has its own
  readers of properties text and of Base64, because Boost has no public ones.
- All three find the words with the same code. Poco's and Asio's services keep their ICU converters open.

Each service runs in its own process. The client, which uses none of the libraries, is another process with
one thread. The load is closed-loop: each connection sends its next request after the answer to its last one.
Such a load becomes slower together with a slow service, so the quantiles do not show how long requests would
wait if they came at a fixed rate. In a round each service runs ten times for 0.1 s; the services take turns.
Of these runs, a round takes the most requests per second, the smallest p50 and the smallest p99, because
other programs on the machine can only make them worse. The processor time is that of all threads of the
service in all these runs, in the program and in the system. The ratio is KELINFRA's figure of a round divided
by the other's. The table has the median of the ratios of five rounds, and the smallest and the largest ratio.
A goal is undecided if some rounds meet it and some do not. The memory is the resident memory that 1,000
connections add, after each of them has sent one request.

Why goals are missed: without system calls, Callgrind counts about 91,000 instructions for a request in the
programs of KELINFRA and of Asio, and about 154,000 in Poco's. In each of them ICU's search for the words
takes about 71,000. If all other instructions of KELINFRA's program took no time, it would be 1.3 times as
fast as Asio's and 2.2 times as fast as Poco's. But the system calls of a request take a third of the
processor time of KELINFRA's program. With 8 and 64 connections, the client limits the requests per second: at
80,000 requests per second it needs a whole processor, and the programs of KELINFRA and of Asio need less. The
rows of the processor time compare the services without this limit.
"""

REFUSED = "status=refused\n"


def request(code_page, data, head=""):
    text = base64.b64encode(data).decode()
    return f"{head}operation = analyse\ndocument.codepage = {code_page}\ndocument.data = {text}\n".encode()


def counted(characters, words):
    """The answer; None stands for any number of words, because the number depends on ICU's version."""
    return f"characters={characters}\nstatus=ok\nwords={words}\n"


def checks():
    """Requests with their answers."""
    yield request("UTF-8", "One two, 3.5 four-five!".encode()), counted(23, 5)
    yield request("Shift_JIS", "東京都に行きました".encode("shift_jis")), counted(9, None)
    yield request("GB18030", "我们在北京大学学习".encode("gb18030")), counted(9, None)
    yield request("windows-1252", "caf\xe9 \x80 na\xefve".encode("latin-1")), counted(12, 2)
    yield request("UTF-8", "😀 smile".encode()), counted(7, None)
    yield request("UTF-8", b""), counted(0, 0)
    yield request("UTF-8", b"a b", "# a comment\n\n! another\n"), counted(3, 2)
    yield b"document.codepage:UTF-8\r\ndocument.data : YSBi\\\r\n   IGM=\r\n", counted(5, 3)
    yield b"document.data=\\x\ndocument.data=YSBi\n  document.codepage = UTF-8", counted(3, 2)
    yield request("UTF-8", b"word " * 20000), counted(100000, 20000)
    yield request("klingon-8", b"a b"), REFUSED
    yield b"document.codepage=UTF-8\ndocument.data=YS*i\n", REFUSED
    yield b"document.codepage=UTF-8\n", REFUSED
    yield b"", REFUSED


def documents():
    """The requests of the load: the documents of the examples."""
    for file in sorted(DOCUMENTS.iterdir()):
        yield request(file.name.split(".")[1], file.read_bytes())


class Service:
    def __init__(self, folder, name):
        self.name = name
        self.folder = folder
        self.process = subprocess.Popen([folder / PROGRAMS[name]], stdout=subprocess.PIPE, text=True)
        self.port = self.process.stdout.readline().strip()

    def stop(self):
        self.process.terminate()
        self.process.wait()
        self.process.stdout.close()

    def client(self, mode, *arguments):
        return [self.folder / "kelinfra_service_load", mode, self.port, *map(str, arguments)]

    def answers(self, files):
        done = subprocess.run(self.client("answers", *files), capture_output=True, check=True)
        return done.stdout

    def load(self, connections, milliseconds, files):
        before = self.processor_time()
        done = subprocess.run(self.client("load", connections, milliseconds, *files), stdout=subprocess.PIPE,
                              check=True)
        result = json.loads(done.stdout)
        result["processor"] = self.processor_time() - before
        return result

    def processor_time(self):
        """Seconds of all threads, in the program and in the system."""
        text = pathlib.Path(f"/proc/{self.process.pid}/stat").read_text(encoding="ascii")
        fields = text.rsplit(")")[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def memory(self):
        """Resident memory in bytes."""
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text(encoding="ascii")
        return int(re.search(r"VmRSS:\s+(\d+) kB", status)[1]) * 1024

    def memory_of_a_connection(self, files):
        before = self.memory()
        with subprocess.Popen(self.client("idle", IDLE, *files), stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE) as client:
            client.stdout.readline()
            return (self.memory() - before) / IDLE


@contextlib.contextmanager
def started(folder, names):
    services = []
    try:
        for name in names:
            services.append(Service(folder, name))
        yield services
    finally:
        for service in services:
            service.stop()


def write_all(folder, prefix, requests):
    files = []
    for number, text in enumerate(requests):
        files.append(folder / f"{prefix}{number:02}")
        files[-1].write_bytes(text)
    return files


def fits(answer, expected):
    return answer == expected or "None" in expected and re.fullmatch(expected.replace("None", r"\d+"), answer)


def check(services, scratch):
    """Ends the program if an answer is wrong, or if two services answer one request differently."""
    cases = list(checks())
    load = write_all(scratch, "document", documents())
    files = write_all(scratch, "check", (text for text, _ in cases))
    answers = {service.name: service.answers(files + load) for service in services}
    ours = answers[OURS].decode().split("\n\n")
    wrong = [f"{text[:200]} -> {answer!r}, not {expected!r}" for (text, expected), answer in zip(cases, ours)
             if not fits(answer + "\n", expected)]
    wrong += [f"{name}: {answer!r}\n{OURS}: {answers[OURS]!r}" for name, answer in answers.items()
              if answer != answers[OURS]]
    if wrong or len(ours) != len(files + load) + 1:
        sys.exit("wrong answers:\n" + "\n".join(wrong))
    print(f"{len(files + load)} answers of {', '.join(answers)} are equal")
    return load


def installed(folder):
    return [name for name, program in PROGRAMS.items() if name == OURS or (folder / program).exists()]


def run_check(folder):
    with tempfile.TemporaryDirectory() as scratch, started(folder, installed(folder)) as services:
        check(services, pathlib.Path(scratch))


def round_of(services, count, files):
    """name -> the figures of a round. The services take turns, and each slice begins with another one."""
    slices = {service.name: [] for service in services}
    for number in range(SLICES):
        turn = number % len(services)
        for service in services[turn:] + services[:turn]:
            slices[service.name].append(service.load(count, MILLISECONDS, files))
    return {name: figures_of(runs) for name, runs in slices.items()}


def figures_of(runs):
    """The figures of the runs that were least disturbed, and the processor time of a request in us."""
    return {"rate": max(run["rate"] for run in runs), "p50": min(run["p50"] for run in runs),
            "p99": min(run["p99"] for run in runs),
            "processor": sum(run["processor"] for run in runs) * 1e6 / sum(run["requests"] for run in runs)}


def rounds_of(services, files):
    """(name, connections) -> the figures of the rounds."""
    results = {(service.name, count): [] for count in CONNECTIONS for service in services}
    for _ in range(ROUNDS):
        for count in CONNECTIONS:
            for name, figures in round_of(services, count, files).items():
                results[name, count].append(figures)
    return results


def ratios_of(results, other, count, key):
    """The ratios of the rounds, in order of size."""
    return sorted(mine[key] / its[key] for mine, its in zip(results[OURS, count], results[other, count]))


def rows(results, others):
    for count in CONNECTIONS:
        for other in others:
            for key, name in FIGURES.items():
                ratios = ratios_of(results, other, count, key)
                spread = f"{ratios[0]:.2f} to {ratios[-1]:.2f}"
                goal = verdict(key, other, ratios)
                yield f"| {count} | {name} | {other} | {statistics.median(ratios):.2f} | {spread} | {goal} |"


def verdict(key, other, ratios):
    if key not in ("rate", "p99"):
        return ""
    least = RATE_GOALS[other]
    met = [figure >= least if key == "rate" else figure <= 1 for figure in ratios]
    goal = f"at least {least:g}" if key == "rate" else "at most 1"
    return f"{goal} {'met' if all(met) else 'undecided' if any(met) else 'missed'}"


def table(head, lines):
    return f"| {' | '.join(head)} |\n" + "|---" * len(head) + "|\n" + "\n".join(lines) + "\n"


def memory_lines(memory):
    for name, size in memory.items():
        ratio = "" if name == OURS else f"{memory[OURS] / size:.2f}"
        goal = "" if name == OURS else f"at most 1 {'met' if memory[OURS] <= size else 'missed'}"
        yield f"| {name} | {size / 1024:.1f} KiB | {ratio} | {goal} |"


def section(results, memory):
    others = [name for name in memory if name != OURS]
    head = f"Measured on {datetime.date.today()} with {os.cpu_count()} processors and a load average of"
    load = f"{os.getloadavg()[0]:.0f}; the benchmark alone causes at most 3. Compare only the ratios."
    return "".join([
        TITLE, "\n", TEXT, "\n", head, "\n", load, "\n\n",
        table(["connections", "figure", "beside", "ratio", "in the rounds", "goal"], rows(results, others)),
        "\n",
        table(["service", f"memory of a connection, {IDLE:,} connections", "ratio", "goal"],
              memory_lines(memory))])


def replace_section(page, text):
    old = page.read_text(encoding="utf-8")
    before = old.split("\n" + TITLE)[0].rstrip("\n")
    page.write_text(before + "\n\n" + text, encoding="utf-8")


def measure(folder, pages):
    names = installed(folder)
    missing = [name for name in PROGRAMS if name not in names]
    if missing:
        sys.exit(f"not installed: {', '.join(missing)}")
    with tempfile.TemporaryDirectory() as scratch:
        with started(folder, names) as services:
            files = check(services, pathlib.Path(scratch))
        with started(folder, names) as services:
            memory = {service.name: service.memory_of_a_connection(files) for service in services}
        with started(folder, names) as services:
            round_of(services, max(CONNECTIONS), files)  # a warm-up
            results = rounds_of(services, files)
    text = section(results, memory)
    for page in pages:
        replace_section(page, text)
    for (name, count), figures in results.items():
        medians = {key: round(statistics.median(each[key] for each in figures), 1) for key in figures[0]}
        print(json.dumps({"service": name, "connections": count, **medians}))


def main():
    mode, folder, *pages = sys.argv[1:]
    if mode == "check":
        run_check(pathlib.Path(folder))
    else:
        measure(pathlib.Path(folder), [pathlib.Path(page) for page in pages])


main()
