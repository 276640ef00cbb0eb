"""The document server when something is missing, when a client asks for too much, and when it is stopped.

    server.py EXAMPLES SERVER SANITIZER TEST        runs one test
    server.py --list                                prints the tests' names

EXAMPLES is the folder of the examples' sources. SERVER is a command line. SANITIZER is the one that the
server is built with, or "". A test that cannot be run there ends with status 77 and says why.
"""

import base64
import contextlib
import os
import pathlib
import re
import shlex
import signal
import socket
import struct
import sys
import tempfile
import time

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "support"))
from served import serving  # found by the line above

SKIPPED = 77
TIMEOUT = 120  # seconds until a conversation counts as hanging


def skip(reason):
    print("skipped: " + reason)
    sys.exit(SKIPPED)


def check(condition, *said):
    if not condition:
        sys.exit(" ".join(str(each) for each in said))


class Place:
    """How a server is started for a test."""

    def __init__(self, examples, server, sanitizer):
        self.examples = pathlib.Path(examples)
        self.server = shlex.split(server)
        self.sanitizer = sanitizer
        self.on_windows = self.server[-1].endswith(".exe")

    def need_linux(self):
        if self.on_windows or not sys.platform.startswith("linux"):
            skip("a limit of a running process can be changed on Linux only")

    def need_limited_descriptors(self):
        self.need_linux()
        if "undefined" in self.sanitizer:
            skip(f"the {self.sanitizer} sanitizer opens a pipe to look at an object, which takes descriptors")

    def need_limited_memory(self):
        self.need_linux()
        if self.sanitizer:
            skip(f"a program with the {self.sanitizer} sanitizer does not run in a limited address space")

    @contextlib.contextmanager
    def serving(self, *arguments, **settings):
        """A server with the examples' settings and these. The last line with a key is the one that counts."""
        text = self.examples.joinpath("server.properties").read_text(encoding="utf-8")
        lines = [f"{key.replace('_', '.')} = {value}\n" for key, value in settings.items()]
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder, "server.properties")
            file.write_text(text + "".join(lines), encoding="utf-8")
            with serving(self.server + [*arguments, "server.properties"], folder) as (port, process):
                yield Server(int(port), process)


class Server:
    def __init__(self, port, process):
        self.port = port
        self.process = process

    def says(self, pattern):
        """Reads the log up to a line that the pattern matches whole, and gives the match."""
        before = []
        for line in self.process.stdout:
            match = re.fullmatch(pattern, line.rstrip("\r\n"))
            if match:
                return match
            before.append(line)
        sys.exit(f"the server did not say '{pattern}' but: {''.join(before)}")

    def connect(self):
        return Client(self.port)

    def is_alive(self):
        with self.connect() as client:
            client.is_answered()

    def takes_a_client_again(self):
        """Some may be refused first: the server says that a client is done a moment before it closes the
        connection, and refuses a client for a shortage a moment after the shortage is over."""
        end = time.monotonic() + TIMEOUT
        while time.monotonic() < end:
            with self.connect() as client, contextlib.suppress(Closed, ConnectionError):
                client.is_answered()
                return
        sys.exit("the server takes no client any more")

    def limit(self, resource_name, value):
        """The soft limit from now on; returns the former one."""
        import resource  # not there on every platform
        kind = getattr(resource, resource_name)
        soft, hard = resource.prlimit(self.process.pid, kind)
        resource.prlimit(self.process.pid, kind, (value, hard))
        return soft

    def descriptors(self):
        return [int(name) for name in os.listdir(f"/proc/{self.process.pid}/fd")]

    def status(self, field):
        """A field of the system's status of the process, in bytes."""
        text = pathlib.Path(f"/proc/{self.process.pid}/status").read_text(encoding="ascii")
        return int(re.search(field + r":\s*(\d+) kB", text)[1]) * 1024

    def processor_seconds(self):
        text = pathlib.Path(f"/proc/{self.process.pid}/stat").read_text(encoding="ascii")
        fields = text.rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def ends(self, status, *last_lines):
        rest = self.process.stdout.read().splitlines()
        ended = self.process.wait(TIMEOUT)
        check(ended == status, f"the server ended with status {ended}, {status} was expected; it said", rest)
        check(rest[len(rest) - len(last_lines):] == list(last_lines), "the server's last words were", rest)


class Closed(Exception):
    pass


class Client:
    def __init__(self, port):
        self.socket = socket.create_connection(("127.0.0.1", port), TIMEOUT)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, text):
        self.socket.sendall(struct.pack(">I", len(text)) + text)

    def received(self, length):
        data = b""
        while len(data) < length:
            more = self.socket.recv(length - len(data))
            if not more:
                raise Closed(f"the server closed the connection after {len(data)} of {length} bytes")
            data += more
        return data

    def answer(self):
        """The next frame's properties."""
        text = self.received(struct.unpack(">I", self.received(4))[0]).decode("latin-1")
        return dict(line.split("=", 1) for line in text.splitlines() if not line.startswith("#"))

    def ask(self, text):
        self.send(text)
        return self.answer()

    def is_answered(self):
        answer = self.ask(request())
        check(answer.get("tokens") == "2", "the server answered", answer)

    def is_refused(self, text, identifier, *arguments):
        answer = self.ask(text)
        keys = [f"error.argument.{number + 1}" for number in range(len(arguments))]
        given = [answer.get("error.id"), *(answer.get(key, "").strip('"') for key in keys)]
        check(given == [identifier, *arguments], identifier, arguments, "was expected, the server answered",
              {key: value[:300] for key, value in answer.items()})

    def is_turned_away(self):
        """The connection is closed before anything was sent to it."""
        try:
            data = self.socket.recv(1)
        except ConnectionError:
            data = b""
        check(data == b"", "the server sent", data)


def request(document=b"two words", config="top=1", lines=""):
    """`lines`: further properties, which references in `config` may name."""
    data = base64.b64encode(document).decode("ascii")
    return f"ctor.name=words\nctor.config={config}\nctor.doc.data={data}\n{lines}".encode("latin-1")


# --- something is missing


def a_client_for_whom_no_descriptor_is_left_is_refused(place):
    place.need_limited_descriptors()
    with place.serving() as server:
        with server.connect() as first:
            first.is_answered()
            server.limit("RLIMIT_NOFILE", 1 + max(server.descriptors()))
            for _ in range(3):
                with server.connect() as second:
                    second.is_turned_away()
                server.says(r"a client was refused: QN_ERR_SOCKET_ERROR: \[\] - \[10024\].*")
            first.is_answered()
        server.says("client 1: done.*")
        server.takes_a_client_again()


def a_client_that_can_be_neither_taken_nor_refused_waits_and_costs_no_processor_time(place):
    place.need_limited_descriptors()
    with place.serving() as server:
        limit = server.limit("RLIMIT_NOFILE", 3)
        with server.connect() as client:
            line = r"no client can be taken or refused now: QN_ERR_SOCKET_ERROR: \[\] - \[10024\].*"
            server.says(line)
            began, used = time.monotonic(), server.processor_seconds()
            server.says(line)
            took, used = time.monotonic() - began, server.processor_seconds() - used
            check(used < took / 2, f"the server used {used} s of processor time in {took} s")
            server.limit("RLIMIT_NOFILE", limit)
            client.is_answered()
        server.says("client 1: done.*")


def a_client_for_whom_no_thread_can_be_made_is_refused(place):
    place.need_limited_memory()
    with place.serving() as server:
        # Less than the stack of a thread.
        limit = server.limit("RLIMIT_AS", server.status("VmSize") + 2**20)
        for _ in range(3):
            with server.connect() as client:
                client.is_turned_away()
            server.says("a client was refused: no thread could be made for it. .*")
        server.limit("RLIMIT_AS", limit)
        server.is_alive()


def a_client_for_whose_request_there_is_no_memory_is_dropped(place):
    place.need_limited_memory()
    with place.serving(request_limit=2**28) as server:
        # The stack of a thread, but not the room for a frame.
        limit = server.limit("RLIMIT_AS", server.status("VmSize") + 2**25)
        with server.connect() as client:
            client.is_turned_away()
        server.says("client 1: dropped. std::bad_alloc")
        server.limit("RLIMIT_AS", limit)
        server.is_alive()


def need_server_without_memory(place):
    if "WithoutMemory" not in place.server[-1]:
        skip("this server has no signal that takes its memory away")


def a_server_without_memory_for_the_next_client_serves_on_when_there_is_some(place):
    need_server_without_memory(place)
    with place.serving() as server:
        server.process.send_signal(signal.SIGUSR1)
        with server.connect():
            server.says("no client can be taken or refused now: std::bad_alloc")
        server.process.send_signal(signal.SIGUSR2)
        server.takes_a_client_again()


def any_one_request_for_memory_that_fails_costs_one_client_at_most(place):
    need_server_without_memory(place)
    os.environ["KELINFRA_TEST_ONE_REQUEST"] = "yes"
    with place.serving() as server:
        answered = clients = 0
        # A signal that comes while the server still works for the last client counts that work, too.
        while clients < 40 or (answered == clients and clients < 400):
            clients += 1
            server.process.send_signal(signal.SIGUSR1)
            with server.connect() as client:
                with contextlib.suppress(Closed, ConnectionError):
                    client.is_answered()
                    answered += 1
        check(answered < clients, "no client was refused, so no request failed where it was to")
        server.process.send_signal(signal.SIGUSR2)
        server.is_alive()
        server.process.send_signal(signal.SIGTERM)
        server.ends(0, f"stopped: served {answered + 1} clients")


# --- a client asks for too much


def a_client_beyond_the_limit_is_refused_until_another_leaves(place):
    with place.serving(server_clients=2) as server:
        with server.connect() as first, server.connect() as second:
            first.is_answered()
            second.is_answered()
            with server.connect() as third:
                third.is_turned_away()
            server.says("a client was refused: there are as many clients as server.clients allows")
            second.is_answered()
        server.says("client [12]: done.*")
        server.says("client [12]: done.*")
        server.takes_a_client_again()


def references_may_be_nested_up_to_the_limit(place):
    with place.serving(request_nesting=3, request_percents=100) as server, server.connect() as client:
        for order in ("abcd", "dcba", "bdac"):  # properties are looked at in the order of their keys
            chain = list(zip(order, order[1:]))
            lines = "".join(f"{key}=%{next_key}%\n" for key, next_key in chain) + f"{order[-1]}=7\n"
            answer = client.ask(request(lines=lines))
            check("tokens" in answer, f"three references in the order {order}: the server answered", answer)
            client.is_refused(request(lines=lines + f"0=%{order[0]}%\n"), "ERR_REFERENCES_TOO_DEEP", "3")
            client.is_refused(request(lines=lines + f"z=%{order[0]}%\n"), "ERR_REFERENCES_TOO_DEEP", "3")


def references_may_produce_characters_up_to_the_limit(place):
    with place.serving(request_produced=1000) as server, server.connect() as client:
        # The value with references counts with their names and percent signs, too.
        for length in (497, 498):
            text = request(lines=f"a=%b%%b%\nb={'x' * length}\n")
            if 2 * length + len("%b%%b%") <= 1000:
                check("tokens" in client.ask(text), length, "was refused")
            else:
                client.is_refused(text, "ERR_TOO_MUCH_PRODUCED", "1000")
        # The characters of several values are added up.
        lines = f"a=%d%\nb=%d%\nc=%d%\nd={'x' * 400}\n"
        client.is_refused(request(lines=lines), "ERR_TOO_MUCH_PRODUCED", "1000")
        client.is_answered()


def the_terms_of_an_answer_may_have_characters_up_to_the_limit(place):
    with place.serving(request_produced=1000) as server, server.connect() as client:
        check("tokens" in client.ask(request(b"x" * 968)), "a term of 968 bytes was refused")
        client.is_refused(request(b"x" * 969), "ERR_TOO_MUCH_PRODUCED", "1000")
        words = b" ".join(b"%d" % number for number in range(10, 50))
        client.is_refused(request(words, "top=40"), "ERR_TOO_MUCH_PRODUCED", "1000")
        check("term.9" in client.ask(request(words, "top=9")), "nine terms were refused")


def a_request_that_multiplies_its_text_is_refused_before_it_is_produced(place):
    levels = "ctor.config=%a%%a%\na=%b%%b%\nb=%c%%c%\nc=%d%%d%\nd="
    text = b"ctor.name=words\n" + levels.encode("ascii") + b"x" * (15 * 2**20) + b"\nctor.doc.data=QQ==\n"
    with place.serving(request_limit=2**24) as server, server.connect() as client:
        client.is_refused(text, "ERR_TOO_MUCH_PRODUCED", "65536")
        if not place.on_windows and not place.sanitizer and sys.platform.startswith("linux"):
            peak = server.status("VmHWM")
            print(f"the server used {peak >> 20} MiB at most")
            check(peak < 2**28, "that is too much")
        client.is_answered()


def a_refusal_repeats_at_most_200_characters_of_what_was_sent(place):
    with place.serving() as server, server.connect() as client:
        text = request().replace(b"ctor.name=words", b"ctor.name=" + b"x" * 1000)
        client.is_refused(text, "ERR_UNKNOWN_CONSTRUCTOR", "x" * 200)


# --- it is stopped


def stop_signals(place):
    """Those that can be sent to it from here."""
    return [signal.SIGINT] if place.on_windows else [signal.SIGINT, signal.SIGTERM]


def a_signal_stops_a_server_without_clients(place):
    for number in stop_signals(place):
        with place.serving() as server:
            server.process.send_signal(number)
            server.ends(0, "stopped: served 0 clients")


def a_signal_lets_those_who_are_there_finish_and_takes_no_new_client(place):
    for number in stop_signals(place):
        with place.serving(time_stop=TIMEOUT * 1000) as server:
            with server.connect() as client:
                text = request()
                client.socket.sendall(struct.pack(">I", len(text)) + text[:10])
                server.says("client 1: connected")
                server.process.send_signal(number)
                server.says(f"stopping: 1 clients have {TIMEOUT * 1000} milliseconds to finish")
                try:
                    server.connect()
                    sys.exit("a new client was taken")
                except ConnectionRefusedError:
                    pass
                client.socket.sendall(text[10:])
                check("tokens" in client.answer(), "the request that was under way was not answered")
                client.is_answered()
            server.ends(0, "client 1: done, 2 answered, 0 refused", "stopped: served 1 clients")


def those_who_do_not_finish_in_time_are_cut_off(place):
    with place.serving(time_stop=50) as server:
        with server.connect() as between_frames, server.connect() as within_a_frame:
            between_frames.is_answered()
            within_a_frame.socket.sendall(struct.pack(">I", 100) + b"ctor.name")
            server.says("client 2: connected")
            server.process.send_signal(signal.SIGINT)
            between_frames.is_turned_away()
            within_a_frame.is_turned_away()
            server.says("stopping: 2 clients are cut off")
            server.ends(0, "stopped: served 2 clients")


def a_second_signal_ends_a_server_at_once(place):
    if place.on_windows:
        skip("how a process ended by a second Ctrl-C is reported differs there")
    for number in stop_signals(place):
        with place.serving(time_stop=TIMEOUT * 1000) as server, server.connect() as client:
            client.is_answered()
            server.process.send_signal(number)
            server.says("stopping: .*")
            server.process.send_signal(number)
            server.ends(-number)


TESTS = {
    "".join(word.capitalize() for word in name.split("_")): test
    for name, test in list(globals().items())
    if callable(test) and getattr(test, "__code__", None) and test.__code__.co_varnames[:1] == ("place",)
    and name not in ("need_server_without_memory", "stop_signals")
}


def main():
    if sys.argv[1:] == ["--list"]:
        print("\n".join(TESTS))
        return
    examples, server, sanitizer, name = sys.argv[1:]
    TESTS[name](Place(examples, server, sanitizer))


main()
