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


def path_of(address):
    """Without the host: the tool is told to ask here instead."""
    return "/" + address.split("/", 3)[3]


class Publisher(Quiet):
    """Of everything in a catalog, in the sizes that it states; of files there are only the headers."""

    indexes, sizes = {}, {}  # by path

    @classmethod
    def of(cls, models):
        lists, pairs, sizes = {}, {}, {}
        for model in models:
            index = model["index"]
            place = path_of(index["files"])
            if index["form"] == "checksums":
                lists.setdefault(path_of(index["address"]), []).append(f"{index['name']}\t{'0' * 64}")
                sizes[place + index["name"]] = model.get("downloadSize", 1)
                continue
            names = {part: f"{model['id']}/{part}.gz" for part in ("model", "lexicalShortlist", "vocab")}
            files = {part: {"path": name, "uncompressedHash": "0" * 64} for part, name in names.items()}
            pair = pairs.setdefault(path_of(index["address"]), {}).setdefault(index["name"], [])
            pair.append({"architecture": index["architecture"], "releaseStatus": "Release", "files": files})
            small = 1_000_000
            sizes |= {place + names["model"]: model.get("downloadSize", 3 * small) - 2 * small,
                      place + names["lexicalShortlist"]: small, place + names["vocab"]: small}
        indexes = {path: "\n".join(lines) for path, lines in lists.items()}
        indexes |= {path: json.dumps({"models": named}) for path, named in pairs.items()}
        return type("PublisherOfThese", (cls,), {"indexes": indexes, "sizes": sizes})

    def do_GET(self):
        self.answer(self.indexes.get(self.path))

    def do_HEAD(self):
        size = self.sizes.get(self.path)
        self.answer(None if size is None else "", size)

    def answer(self, text, size=None):
        body = (text or "").encode()
        self.send_response(404 if text is None else 200)
        self.send_header("Content-Length", str(len(body) if size is None else size))
        self.end_headers()
        self.wfile.write(body)


class CheckCatalog(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.address = self.start(functools.partial(Quiet, directory=self.folder / "served"))
        self.serve("speech/checksum.txt", b"ear.tar.bz2\t" + b"0" * 64 + b"\n")
        self.serve("speech/ear.tar.bz2", bytes(3_000_000))
        index = {"models": {"en-ru": [self.tongue("tiny", "Nightly", "old"), self.tongue("tiny", "Release", "new")]}}
        self.serve("words/models.json", json.dumps(index).encode())
        for name in ("model", "lex", "vocab"):
            self.serve(f"words/new/{name}.gz", bytes(1_000_000))

    def start(self, handler):
        """The address of a publisher."""
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        thread = threading.Thread(target=server.serve_forever, args=(0.01,), daemon=True)
        thread.start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        return f"http://127.0.0.1:{server.server_port}/"

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

    def test_a_checksum_that_is_none_is_told(self):
        self.serve("speech/checksum.txt", b"ear.tar.bz2\tdeadbeef\n")
        self.assertEqual(self.check(self.ear()), (1, ["ear: the index has no SHA-256 for ear.tar.bz2 but 'deadbeef'"]))
        for part in ("model", "lexicalShortlist", "vocab"):
            tongue = self.tongue("tiny", "Release", "new")
            tongue["files"][part] = {"path": "new/a.gz", "uncompressedHash": "0" * 63}
            self.serve("words/models.json", json.dumps({"models": {"en-ru": [tongue]}}).encode())
            self.assertEqual(self.check(self.words()),
                             (1, [f"words: the index has no SHA-256 for new/a.gz but {'0' * 63!r}"]))

    def test_every_model_of_the_programs_catalog_is_asked_for(self):
        """Of a publisher who has nothing, so that each is told."""
        models = self.programs_models()
        status, lines = self.check_programs_catalog(self.address)
        self.assertEqual(status, 1)
        self.assertEqual([line.split(":")[0] for line in lines], [model["id"] for model in models])
        self.assertEqual(sum("error 404" in line for line in lines), len(models))

    def test_the_programs_catalog_is_right_where_publishers_have_what_it_says(self):
        models = self.programs_models()
        status, lines = self.check_programs_catalog(self.start(Publisher.of(models)))
        self.assertEqual([line for line in lines if ": ok, " not in line], [])
        self.assertEqual((status, len(lines)), (0, len(models)))
        stated = [f"{model['id']}: ok, {model['downloadSize'] / 1e6:.1f} MB" for model in models if "downloadSize" in model]
        self.assertEqual([line for line in stated if line not in lines], [])

    @staticmethod
    def programs_models():
        return json.loads(CATALOG.read_text(encoding="utf-8"))["models"]

    def check_programs_catalog(self, publisher):
        """Whoever is named in it, that one is asked."""
        hosts = {model["index"]["address"].split("/")[2] for model in self.programs_models()}
        mirrors = [part for host in sorted(hosts) for part in ("--instead-of", f"https://{host}/", publisher)]
        done = self.run_tool(*mirrors)
        return done.returncode, done.stdout.splitlines()


unittest.main()
