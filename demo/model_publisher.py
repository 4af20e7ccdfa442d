"""A publisher of models on this computer: a server over HTTPS whose certificate comes from an authority of its own, and
the catalog that names its models. A person gets it as a mirror of models.example, which does not exist."""

import hashlib
import json
import os
import re
import ssl
import subprocess
import threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

import tones
from authority import Authority

FOLDER = os.path.dirname(os.path.abspath(__file__))
PUBLISHED_AT = "https://models.example/"
PUBLISHER = "the demonstration"


class Words:
    """What a model for translation is made of that goes word by word."""

    def __init__(self, source, target):
        self.path = os.path.join(FOLDER, f"words-{source}-{target}.txt")
        with open(self.path, encoding="utf-8") as file:
            self._translations = dict(line.rstrip("\n").split("\t") for line in file)

    def are_translated(self, text, translation):
        return translation == self.translate(text)

    def translate(self, text):
        """Words that are not among them stay as they are."""
        return " ".join(self._translations.get(word, word) for word in text.split())


class Publisher:
    """Serves the files that it is given. `hold` has it stop in the middle of every file, `let_go` go on; it can `close`
    and `open` again at the same address."""

    def __init__(self, desktop):
        self._desktop = desktop
        self._folder = os.path.join(desktop.folder, "publisher")
        os.mkdir(self._folder)
        self._authority = Authority(self._folder)
        self._identity = self._authority.issue("publisher")
        self._files = {}
        self._models = []
        self._flowing = threading.Event()
        self._flowing.set()
        self._server = None
        self._port = 0
        self.requests = []  # the paths, and from which byte on
        self.open()

    def offer_words(self, program, source, target):
        """A model that translates word by word. `program` is Quillora, among what was built with it. Returns the
        words."""
        words = Words(source, target)
        maker = os.path.join(os.path.dirname(program), "tests", "support", "make_neural_model")
        folder = os.path.join(self._folder, f"{source}-{target}")
        subprocess.run([maker, "dictionary", folder, words.path], check=True)
        files = {"model.bin": "model.bin", "vocab.spm": "vocabulary.spm", "lex.bin": "shortlist.bin"}
        self.offer(f"words-{source}-{target}", "translation", [source, target], "neural",
                   {name: os.path.join(folder, file) for name, file in files.items()})
        return words

    def offer_tones(self, program):
        """A model that hears German in tones. Returns the folder of all that understand tones."""
        folder = os.path.join(os.path.dirname(program), "tests", "recognizer", "tones")
        self.offer("tones-de", "speech", ["de"], "sherpa",
                   {name: os.path.join(folder, file) for name, file in tones.FILES.items()},
                   parameters=tones.PARAMETERS)
        return folder

    def offer(self, identifier, kind, languages, engine, files, **fields):
        """Anything. `files` are the paths of its files, by the names that they get. It is recommended before all that
        the world has published."""
        described = []
        for name, path in files.items():
            with open(path, "rb") as file:
                contents = file.read()
            self._files[f"/{identifier}/{name}"] = contents
            described.append({"name": name, "address": f"{PUBLISHED_AT}{identifier}/{name}", "size": len(contents),
                              "sha256": hashlib.sha256(contents).hexdigest()})
        self._models.append({"id": identifier, "kind": kind, "version": "1", "languages": languages, "engine": engine,
                             "publisher": PUBLISHER, "score": {"value": 100, "measure": "Words", "source": PUBLISHER},
                             "files": described, "downloadSize": sum(file["size"] for file in described), **fields})

    def exaggerate(self, identifier, size):
        """The catalog says of each of the model's files that it has so many bytes."""
        for model in self._models:
            if model["id"] == identifier:
                for file in model["files"]:
                    file["size"] = size

    def write_catalog(self):
        """As the desktop's person would, who has heard of the publisher."""
        folder = os.path.join(self._desktop.environment["XDG_CONFIG_HOME"], "Quillora")
        os.makedirs(folder, exist_ok=True)
        mirror = {"of": PUBLISHED_AT, "address": f"https://127.0.0.1:{self._port}/",
                  "authority": self._authority.certificate}
        with open(os.path.join(folder, "models.json"), "w", encoding="utf-8") as file:
            json.dump({"form": 1, "models": self._models, "mirrors": [mirror]}, file)

    def hold(self):
        self._flowing.clear()

    def let_go(self):
        self._flowing.set()

    def open(self):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(*self._identity)
        self._server = ThreadingHTTPServer(("127.0.0.1", self._port), self._handler())
        self._server.daemon_threads = True
        self._port = self._server.server_address[1]
        self._server.socket = context.wrap_socket(self._server.socket, server_side=True, do_handshake_on_connect=False)
        threading.Thread(target=self._server.serve_forever, kwargs={"poll_interval": 0.05}, daemon=True).start()

    def close(self):
        """From here on nobody answers there."""
        self._server.shutdown()
        self._server.server_close()

    def _handler(publisher):  # pylint: disable=no-self-argument
        class Handler(BaseHTTPRequestHandler):
            def do_GET(self):
                contents = publisher._files.get(self.path)
                if contents is None:
                    self.send_error(404)
                    return
                begin = int((re.fullmatch(r"bytes=(\d+)-", self.headers.get("Range", "")) or [0, 0])[1])
                publisher.requests.append((self.path, begin))
                self.send_response(206 if begin else 200)
                if begin:
                    self.send_header("Content-Range", f"bytes {begin}-{len(contents) - 1}/{len(contents)}")
                self.send_header("ETag", '"1"')
                self.send_header("Content-Length", str(len(contents) - begin))
                self.end_headers()
                middle = max(begin, (len(contents) + 1) // 2)
                try:
                    self.wfile.write(contents[begin:middle])
                    self.wfile.flush()
                    publisher._flowing.wait()
                    self.wfile.write(contents[middle:])
                except OSError:  # who cancelled listens no more
                    self.close_connection = True

            def log_message(self, *_):
                pass

        return Handler
