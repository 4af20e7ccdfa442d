#!/usr/bin/python3
"""A model behind a chat-completions endpoint that does what a script says. Started as a program it is the model of the
demonstration: it knows some sentences, as a recognizer may mishear them, and fails for all others.

usage: scripted_upstream.py    prints the endpoint; every question is answered from translations.json
"""

import difflib
import json
import os
import re
import select
import socket
import sys
import threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

DATA = re.compile(r"\ALanguage spoken: (.*)\n<(text-[0-9a-f]{16})>\n(.*)\n</\2>\Z", re.S)


class Question:
    """What the model was asked."""

    def __init__(self, handler, body):
        self.path = handler.path
        self.peer = handler.client_address
        self._connection = handler.connection
        self.headers = handler.headers
        self.body = json.loads(body)
        self.system, self.user = (message["content"] for message in self.body["messages"])
        self.roles = [message["role"] for message in self.body["messages"]]
        self.source, self.mark, self.text = DATA.match(self.user).groups()

    def is_over(self):
        """Whether its connection has been closed at this end."""
        return self._connection.fileno() == -1

    def is_taken_back(self):
        """Whether who asked has hung up before the answer."""
        poll = select.poll()
        poll.register(self._connection, select.POLLIN)
        return bool(poll.poll(0))


def completion(content, finish_reason="stop", **message):
    """An answer of the interface that holds that content."""
    return {"id": "1", "object": "chat.completion", "choices": [
        {"index": 0, "finish_reason": finish_reason, "message": {"role": "assistant", "content": content, **message}}]}


class Answer:
    """`body` is sent as it is if it is bytes, else as JSON."""

    def __init__(self, body=b"", status=200, headers=(), raw=None):
        self.raw = raw
        self.status = status
        self.headers = dict(headers)
        self.body = body if isinstance(body, bytes) else json.dumps(body).encode()


class _Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True

    def do_GET(self):
        with self.server.upstream.lock:
            self.server.upstream.looks += 1
        self._send(self.server.upstream.on_look())

    def do_POST(self):
        question = Question(self, self.rfile.read(int(self.headers["Content-Length"])))
        with self.server.upstream.lock:
            self.server.upstream.questions.append(question)
        self._send(self.server.upstream.on_question(question))

    def _send(self, answer):
        if answer.raw is not None:
            self.close_connection = True
            try:
                self.wfile.write(answer.raw)
                self.wfile.flush()
            except OSError:
                pass
            self.connection.shutdown(socket.SHUT_RDWR)
            return
        self.send_response(answer.status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(answer.body)))
        for name, value in answer.headers.items():
            self.send_header(name, value)
        self.end_headers()
        self.wfile.write(answer.body)

    def log_message(self, *_):
        pass


class _Server(ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 4096
    address_family = socket.AF_INET

    def handle_error(self, request, client_address):
        pass


class ScriptedUpstream:
    """Use it in a `with`. `on_question` makes the answer to each question, on a thread of its own."""

    def __init__(self, on_question=None, tls=None):
        self.lock = threading.Lock()
        self.questions = []
        self.looks = 0
        self.on_question = on_question or (lambda question: Answer(completion("Сәлем")))
        self.on_look = lambda: Answer(b"{}", 405)
        self._server = _Server(("127.0.0.1", 0), _Handler)
        self._server.upstream = self
        if tls:
            self._server.socket = tls.wrap_socket(self._server.socket, server_side=True,
                                                  do_handshake_on_connect=False)
        self._scheme = "https" if tls else "http"
        self._thread = threading.Thread(target=self._server.serve_forever, args=(0.05,), daemon=True)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._server.shutdown()
        self._server.server_close()

    @property
    def port(self):
        return self._server.server_port

    @property
    def url(self):
        return f"{self._scheme}://127.0.0.1:{self.port}/v1/chat/completions"


class Held:
    """Questions wait for as long as the block runs, or until they are let go; each is answered with its own text."""

    def __init__(self, upstream):
        self._event = threading.Event()
        upstream.on_question = self._answer

    def _answer(self, question):
        self._event.wait(60)
        return Answer(completion(question.text))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.let_go()

    def let_go(self):
        self._event.set()


def _words(text):
    """The text as a recognizer writes it: small letters, no punctuation."""
    return " ".join("".join(c if c.isalnum() else " " for c in text.casefold()).split())


def _closest(heard, sentences):
    """The sentence that was meant, whole or its beginning, since a recognizer mishears; none if nothing comes near."""
    count = len(heard.split())
    beginnings = {" ".join(sentence.split()[:length]): sentence for sentence in sentences
                  for length in (count, len(sentence))}
    meant = difflib.get_close_matches(heard, beginnings, n=1, cutoff=0.6)
    return beginnings[meant[0]] if meant else None


def demonstration():
    """Knows the sentences of translations.json."""
    with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "translations.json"), encoding="utf-8") as file:
        table = json.load(file)
    known = {language: {_words(text): translation for text, translation in entries.items()}
             for language, entries in table.items()}

    def answer(question):
        language = next((name for name in known if name in question.system), None)
        meant = _closest(_words(question.text), known.get(language, {}))
        return Answer(completion(known[language][meant])) if meant else Answer({"error": "unknown"}, 500)

    return answer


def main():
    with ScriptedUpstream(demonstration()) as upstream:
        print(upstream.url, flush=True)
        try:
            threading.Event().wait()
        except KeyboardInterrupt:
            sys.exit(0)


if __name__ == "__main__":
    main()
