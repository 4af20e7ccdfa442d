#!/usr/bin/python3
"""What tools/check_catalog tells of a publisher's index, whose copy this computer serves."""

import functools
import http.server
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import threading
import unittest

TOOL = sys.argv.pop(1)
CATALOG = pathlib.Path(sys.argv.pop(1))
SPEECH = "https://speech.example/models/"
WORDS = "https://words.example/data/"


class Quiet(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


class CheckCatalog(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0),
                                                 functools.partial(Quiet, directory=self.folder / "served"))
        thread = threading.Thread(target=server.serve_forever, args=(0.01,), daemon=True)
        thread.start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        self.address = f"http://127.0.0.1:{server.server_port}/"
        self.serve("speech/checksum.txt", b"ear.tar.bz2\t" + b"0" * 64 + b"\n")
        self.serve("speech/ear.tar.bz2", bytes(3_000_000))
        index = {"models": {"en-ru": [self.tongue("tiny", "Nightly", "old"), self.tongue("tiny", "Release", "new")]}}
        self.serve("words/models.json", json.dumps(index).encode())
        for name in ("model", "lex", "vocab"):
            self.serve(f"words/new/{name}.gz", bytes(1_000_000))

    def serve(self, path, contents):
        file = self.folder / "served" / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(contents)

    @staticmethod
    def tongue(architecture, status, folder):
        files = {"model": {"path": f"{folder}/model.gz", "uncompressedHash": "0" * 64},
                 "lexicalShortlist": {"path": f"{folder}/lex.gz"}, "vocab": f"{folder}/vocab.gz"}
        return {"architecture": architecture, "releaseStatus": status, "files": files}

    @staticmethod
    def ear(name="ear.tar.bz2", **more):
        index = {"form": "checksums", "address": SPEECH + "checksum.txt", "files": SPEECH, "name": name}
        return {"id": "ear", "index": index, **more}

    @staticmethod
    def words(architecture="tiny", **more):
        index = {"form": "translations", "address": WORDS + "models.json", "files": WORDS, "name": "en-ru",
                 "architecture": architecture}
        return {"id": "words", "index": index, **more}

    def check(self, *models):
        """The exit status, and what was printed."""
        catalog = self.folder / "catalog.json"
        catalog.write_text(json.dumps({"form": 1, "models": models}), encoding="utf-8")
        done = self.run_tool("--instead-of", SPEECH, self.address + "speech/", "--instead-of", WORDS,
                             self.address + "words/", str(catalog))
        return done.returncode, done.stdout.splitlines()

    @staticmethod
    def run_tool(*arguments):
        return subprocess.run([TOOL, *arguments], capture_output=True, text=True, timeout=60, check=False,
                              env={**os.environ, "no_proxy": "*"})

    def test_what_is_there_in_the_size_that_is_stated_is_right(self):
        self.assertEqual(self.check(self.ear(downloadSize=3_000_000), self.words(downloadSize=3_500_000)),
                         (0, ["ear: ok, 3.0 MB", "words: ok, 3.0 MB"]))

    def test_a_model_that_the_index_does_not_name_is_told(self):
        self.assertEqual(self.check(self.ear("another.tar.bz2")),
                         (1, ["ear: the index does not name another.tar.bz2"]))
        self.assertEqual(self.check(self.words("base")), (1, ["words: the index has no base model for en-ru"]))

    def test_a_file_that_is_gone_is_told(self):
        (self.folder / "served/words/new/lex.gz").unlink()
        self.assertEqual(self.check(self.words()), (1, [f"words: {WORDS}new/lex.gz: error 404"]))

    def test_a_size_that_has_changed_is_told(self):
        self.assertEqual(self.check(self.words(downloadSize=14_000_000)),
                         (1, ["words: downloads 3.0 MB instead of 14.0"]))

    def test_a_file_that_the_catalog_names_itself_has_exactly_its_size(self):
        model = {"id": "own", "files": [{"name": "a", "address": SPEECH + "ear.tar.bz2", "size": 3_000_001}]}
        self.assertEqual(self.check(model),
                         (1, [f"own: {SPEECH}ear.tar.bz2: 3000000 bytes instead of 3000001"]))

    def test_an_index_that_is_none_is_told(self):
        self.serve("words/models.json", b"<html>")
        status, lines = self.check(self.words(), self.ear())
        self.assertEqual(status, 1)
        self.assertTrue(lines[0].startswith("words: the index is not as expected: "), lines)
        self.assertEqual(lines[1], "ear: ok, 3.0 MB")

    def test_a_publisher_that_cannot_be_reached_is_told(self):
        model = self.ear()
        model["index"]["address"] = "http://127.0.0.1:1/checksum.txt"
        status, lines = self.check(model)
        self.assertEqual(status, 1)
        self.assertTrue(lines[0].startswith("ear: http://127.0.0.1:1/checksum.txt: "), lines)

    def test_every_model_of_the_programs_catalog_is_asked_for(self):
        """Of a publisher who has nothing, so that each is told."""
        catalog = json.loads(CATALOG.read_text(encoding="utf-8"))
        hosts = {model["index"]["address"].split("/")[2] for model in catalog["models"]}
        mirrors = [part for host in sorted(hosts) for part in ("--instead-of", f"https://{host}/", self.address)]
        done = self.run_tool(*mirrors, str(CATALOG))
        self.assertEqual(done.returncode, 1)
        self.assertEqual([line.split(":")[0] for line in done.stdout.splitlines()],
                         [model["id"] for model in catalog["models"]])
        self.assertEqual(done.stdout.count("error 404"), len(catalog["models"]))


unittest.main()
