"""What the tests of the backend share: the real program, and a model that does what the test says. The path of the
program is the first argument of a test; what follows is for unittest."""

import functools
import http.client
import itertools
import json
import os
import socket
import subprocess
import sys
import threading
import unittest
from urllib.parse import urlsplit

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "demo"))

from authority import Authority  # noqa: E402
from scripted_upstream import ScriptedUpstream  # noqa: E402
from virtual_desktop import Programs, first_line, wait_for  # noqa: E402

PROGRAM = os.path.abspath(sys.argv.pop(1)) if len(sys.argv) > 1 else ""
HEADERS = {"Content-Type": "application/json", "X-Quillora-Device-Id": "1A-2B", "X-Cobaltwhisk-Device-Id": "1A-2B"}


def request_body(text="hello", source="English (United States)", target="Kazakh"):
    return json.dumps({"text": text, "sourceLanguage": source, "targetLanguage": target})


# A loopback address of this process alone, at which no other takes a port between its choice and its use.
OWN_HOST = "127.{}.{}.{}".format(1 + os.getpid() // 62500, 1 + os.getpid() // 250 % 250, 1 + os.getpid() % 250)


# Below those that the system gives to whoever connects, from this very host too.
OWN_PORTS = itertools.count(10000)


def free_address():
    """At the own host, with a port that nobody has, nor will have before it is used."""
    return f"{OWN_HOST}:{next(OWN_PORTS)}"


def port_of(address):
    return int(address.rpartition(":")[2])


def listens_at(address):
    with socket.socket() as one:
        return one.connect_ex((address.rpartition(":")[0], port_of(address))) == 0


def in_background(work):
    """A thread that runs it."""
    thread = threading.Thread(target=work, daemon=True)
    thread.start()
    return thread


class Answer:
    def __init__(self, status, headers, body):
        self.status = status
        self.headers = headers
        self.body = body

    @property
    def json(self):
        return json.loads(self.body)

    @property
    def translation(self):
        return self.json["translation"]

    @property
    def error(self):
        return self.json["error"]


class Backend:
    """One that runs."""

    def __init__(self, programs, settings, environment):
        self.programs = programs
        self.log_path = os.path.join(programs.folder, f"log-{len(os.listdir(programs.folder))}")
        with open(self.log_path, "wb") as log:
            self.process = programs.start_daemon([PROGRAM, "--configuration", settings, "serve"], environment,
                                                 stdout=subprocess.PIPE, stderr=log)
        self.url = first_line(self.process)
        parts = urlsplit(self.url)
        self.scheme, self.address = parts.scheme, parts.netloc
        self.trust = None

    @property
    def port(self):
        return port_of(self.address)

    def connection(self, timeout=60):
        if self.scheme == "https":
            return http.client.HTTPSConnection(self.address, timeout=timeout, context=self.trust)
        return http.client.HTTPConnection(self.address, timeout=timeout)

    def ask(self, body, path="/v1/translate", method="POST", headers=None, connection=None):
        own = connection or self.connection()
        try:
            own.request(method, path, body.encode() if isinstance(body, str) else body,
                        {**HEADERS, **(headers or {})})
            response = own.getresponse()
            return Answer(response.status, response.headers, response.read())
        finally:
            if connection is None:
                own.close()

    def translate(self, text="hello", source="English (United States)", target="Kazakh", token=None, **options):
        headers = {"Authorization": f"Bearer {token}"} if token is not None else {}
        return self.ask(request_body(text, source, target), headers={**headers, **options.pop("headers", {})}, **options)

    def get(self, path, connection=None):
        return self.ask(None, path, "GET", connection=connection)

    def metric(self, name, connection=None):
        """The value of a series, 0 for one that is not there."""
        for line in self.get("/metrics", connection).body.decode().splitlines():
            if line.startswith(name + " "):
                return float(line.split()[-1])
        return 0.0

    def log(self):
        with open(self.log_path, encoding="utf-8") as file:
            return [json.loads(line) for line in file]

    def memory_kilobytes(self):
        return self._kilobytes("VmRSS")

    def most_memory_kilobytes(self):
        """Since it was started."""
        return self._kilobytes("VmHWM")

    def _kilobytes(self, kind):
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as file:
            return next(int(line.split()[1]) for line in file if line.startswith(kind))

    def threads(self):
        return len(os.listdir(f"/proc/{self.process.pid}/task"))

    def stop(self):
        return self.programs.stop(self.process, 50)

    def tell(self, number):
        """Sends a signal."""
        os.kill(self.process.pid, number)


# The beginning of a request whose body is still to come, however that is announced.
HEAD = b"POST /v1/translate HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n"


def request(text="hello", **headers):
    """The bytes of a whole request."""
    body = request_body(text).encode()
    lines = {"Host": "localhost", "Content-Type": "application/json", "Content-Length": str(len(body)), **headers}
    return b"POST /v1/translate HTTP/1.1\r\n" + "".join(f"{k}: {v}\r\n" for k, v in lines.items()).encode() + b"\r\n" + body


class RawConnection:
    def __init__(self, backend):
        self.socket = socket.create_connection(("127.0.0.1", backend.port), timeout=60)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, data):
        """As much as is taken: the other end may have left."""
        try:
            self.socket.sendall(data)
        except OSError:
            pass

    def everything(self):
        """What comes until the other end leaves."""
        data = b""
        try:
            while piece := self.socket.recv(65536):
                data += piece
        except ConnectionResetError:
            pass
        return data

    def reply(self):
        """One answer of known length."""
        data = b""
        while b"\r\n\r\n" not in data:
            data += self.socket.recv(65536)
        head, body = data.split(b"\r\n\r\n", 1)
        length = int(next(line.split(b":")[1] for line in head.split(b"\r\n") if line.startswith(b"Content-Length")))
        while len(body) < length:
            body += self.socket.recv(65536)
        return int(head.split()[1]), body


class BackendCase(unittest.TestCase):
    """A model, and as many backends in front of it as a test starts."""

    def setUp(self):
        self.programs = self.enterContext(Programs())
        self.upstream = self.enterContext(ScriptedUpstream())

    def path(self, name):
        return os.path.join(self.programs.folder, name)

    def write(self, name, text):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)
        return self.path(name)

    def settings(self, **sections):
        """A configuration file; each section is a dictionary. The model is the test's own unless it is named."""
        sections["upstream"] = {"url": self.upstream.url, "model": "test-model", **sections.get("upstream", {})}
        sections["server"] = {"listen": "127.0.0.1:0", **sections.get("server", {})}
        # What JSON says of texts, numbers and lists TOML says too.
        text = "".join(f"[{section}]\n" + "".join(f"{key} = {json.dumps(value, ensure_ascii=False)}\n"
                                                  for key, value in values.items())
                       for section, values in sections.items())
        return self.write(f"backend-{len(os.listdir(self.programs.folder))}.toml", text)

    def start(self, environment=None, **sections):
        return Backend(self.programs, self.settings(**sections), environment)

    @functools.cached_property
    def authority(self):
        folder = self.path("authority")
        os.mkdir(folder)
        return Authority(folder)

    def start_with_tls(self):
        self.certificate, self.key = self.authority.issue("first")
        backend = self.start(server={"certificate": self.certificate, "private_key": self.key})
        backend.trust = self.authority.trust()
        return backend

    def question_of(self, ask):
        """What the model is asked once that has been done."""
        before = len(self.upstream.questions)
        ask()
        wait_for("the question", lambda: len(self.upstream.questions) > before)
        return self.upstream.questions[before]

    def run_program(self, *arguments, environment=None):
        return subprocess.run([PROGRAM, *arguments], env={**self.programs.environment, **(environment or {})},
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=False)

    def make_token(self, settings, name="laptop"):
        made = self.run_program("--configuration", settings, "token", "add", name)
        self.assertEqual((made.returncode, made.stderr), (0, ""))
        return made.stdout.strip()
