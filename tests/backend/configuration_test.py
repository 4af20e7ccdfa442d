#!/usr/bin/python3
"""What the backend says of a configuration, and of the way it is called."""

import os
import re
import unittest

from backend_case import (OWN_HOST, PROGRAM, BackendCase, free_address, listens_at,  # first: it finds the others
                          port_of)
from scripted_upstream import Answer
from virtual_desktop import wait_for

WHOLE = '[upstream]\nurl = "http://127.0.0.1:1/v1"\nmodel = "m"\n'
MANUAL = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "packaging", "backend",
                      "quillora-backend.1")


def told_by_help(text):
    """Section, name and variable of each key."""
    return [(section, key, variable) for section, entries in re.findall(r"^\[(\w+)\]\n((?:  .*\n)+)", text, re.M)
            for key, variable in re.findall(r"^  (\w+) = .*\n .*\n +(\w+)$", entries, re.M)]


def told_by_manual(text):
    return [(section, key, variable) for section, entries in re.findall(r"^\.SS \[(\w+)\]\n((?:(?!\.S).*\n)+)", text, re.M)
            for key, variable in re.findall(r'^\.BR (\w+) ", " (\w+)$', entries, re.M)]


class ConfigurationTest(BackendCase):
    def faults(self, text, environment=None):
        """What it says to that file instead of serving."""
        path = self.write("backend.toml", text)
        ended = self.run_program("--configuration", path, "serve", environment=environment)
        self.assertEqual((ended.returncode, ended.stdout), (1, ""))
        return ended.stderr.replace(path, "FILE").splitlines()

    def test_whatever_is_wrong_is_named_with_its_line_at_once(self):
        self.assertEqual(self.faults(WHOLE + """colour = "red"
at_once = 0
seconds = "forty"
[server]
listen = "8787"
certificate = "/nowhere.pem"
[limits]
waiting = 1.5
[clients]
name = "x"
[translation]
targets = ["Kazakh", "<b>"]
prompt = "Translate."
"""), ['FILE:12: there is no section "clients"',
       "FILE:11: limits.waiting must be a text, a whole number or a list of texts",
       "FILE:9: server.certificate names a file that cannot be read",
       "FILE:8: server.listen must be HOST:PORT, as in 127.0.0.1:8787",
       "FILE:16: translation.prompt does not say {target}: the model would not know into which language",
       "FILE:15: translation.targets holds what cannot be a language's name",
       "FILE:5: upstream.at_once must be a whole number from 1 to 1000000",
       'FILE:4: there is no key "upstream.colour"',
       "FILE:6: upstream.seconds must be a whole number from 1 to 44",
       "FILE:9: server.certificate and server.private_key go together"])

    def test_what_is_missing_is_named(self):
        self.assertEqual(self.faults(""), ["upstream.url is missing", "upstream.model is missing"])

    def test_what_is_no_toml_is_named_with_its_line_and_nothing_is_said_of_what_it_would_hold(self):
        for name, line in (("no value", b"at = = 3"), ("a key twice", b'model = "other"'), ("no UTF-8", b'at = "\xff"')):
            with self.subTest(name):
                with open(self.path("backend.toml"), "wb") as file:
                    file.write(WHOLE.encode() + line + b"\n")
                ended = self.run_program("--configuration", self.path("backend.toml"), "serve")
                self.assertEqual((ended.returncode, ended.stdout), (1, ""))
                self.assertRegex(ended.stderr, rf"\A{self.path('backend.toml')}:4: .*\n\Z")

    def test_a_section_that_is_none_is_named_with_its_line(self):
        for text in ('upstream = "m"\n', '[[upstream]]\nmodel = "m"\n'):
            self.assertEqual(self.faults(text)[0], "FILE:1: upstream must be a section, as in [upstream]")

    def test_a_file_that_cannot_be_read_is_named(self):
        for path in ("/nowhere.toml", self.programs.folder):
            ended = self.run_program("--configuration", path, "serve")
            self.assertEqual((ended.returncode, ended.stderr), (1, f"{path}: cannot be read\n"))

    def test_endpoints_that_lead_nowhere_are_named(self):
        for url, fault in (("localhost:1/v1", "must begin with http:// or https://"), ("http://", "must name a host"),
                           ("http://me@host/", "must name a host"),
                           ("http://host/a b", "holds a space, or another character that must be percent-encoded")):
            with self.subTest(url):
                self.assertEqual(self.faults(f'[upstream]\nurl = "{url}"\nmodel = "m"\n'),
                                 [f"FILE:2: upstream.url {fault}"])

    def test_beyond_this_computer_only_tokens_are_served(self):
        self.assertEqual(self.faults(WHOLE + '[server]\nlisten = "0.0.0.0:0"\n'),
                         ["FILE:5: server.listen may lead beyond this computer only with tokens.file: whoever comes "
                          "would use the model"])

    def test_a_name_that_begins_like_an_address_of_this_computer_leads_beyond_it(self):
        self.assertEqual(self.faults(WHOLE + '[server]\nlisten = "127.example.com:8787"\n'),
                         ["FILE:5: server.listen may lead beyond this computer only with tokens.file: whoever comes "
                          "would use the model"])

    def test_at_this_computer_itself_no_tokens_are_needed(self):
        for host in ("127.0.0.1", "127.1.2.3", "localhost", "[::1]"):
            with self.subTest(host):
                ended = self.run_program("--configuration", self.settings(server={"listen": f"{host}:8787"}), "check")
                self.assertEqual((ended.returncode, ended.stderr), (0, ""))

    def test_the_environment_wins_over_the_file(self):
        backend = self.start(environment={"QUILLORA_BACKEND_UPSTREAM_MODEL": "mine",
                                          "QUILLORA_BACKEND_TRANSLATION_TARGETS": "Kazakh, Thai"},
                             upstream={"model": "other"})
        self.assertEqual([backend.translate(target=name).status for name in ("Thai", "German")], [200, 422])
        self.assertEqual(self.upstream.questions[0].body["model"], "mine")

    def test_the_environment_alone_is_enough(self):
        ended = self.run_program("check", environment={"QUILLORA_BACKEND_UPSTREAM_URL": self.upstream.url,
                                                       "QUILLORA_BACKEND_UPSTREAM_MODEL": "m"})
        self.assertEqual((ended.returncode, ended.stderr), (0, ""))

    def test_a_wrong_variable_is_named(self):
        self.assertEqual(self.faults(WHOLE, {"QUILLORA_BACKEND_LIMITS_WAITING": "many",
                                             "QUILLORA_BACKEND_SERVER_COLOUR": "red"}),
                         ["QUILLORA_BACKEND_LIMITS_WAITING: limits.waiting must be a whole number from 0 to 1000000",
                          "QUILLORA_BACKEND_SERVER_COLOUR: there is no such key"])

    def test_the_key_may_come_from_a_file(self):
        key = self.write("key", "from-a-file\n")
        self.start(upstream={"key_file": key}).translate()
        self.assertEqual(self.upstream.questions[0].headers["Authorization"], "Bearer from-a-file")

    def test_an_address_that_is_taken_is_named(self):
        first = self.start()
        ended = self.run_program("--configuration", self.settings(server={"listen": f"127.0.0.1:{first.port}"}), "serve")
        self.assertEqual((ended.returncode, ended.stderr),
                         (1, f"cannot listen on 127.0.0.1:{first.port}: Address already in use\n"))

    def test_it_prints_the_endpoint_to_enter(self):
        backend = self.start()
        self.assertEqual(backend.url, f"http://127.0.0.1:{backend.port}/v1/translate")

    def test_a_wrong_call_is_explained(self):
        for words in ((), ("serv",), ("serve", "more"), ("--port", "1")):
            with self.subTest(words):
                ended = self.run_program(*words)
                self.assertEqual(ended.returncode, 2)
                self.assertTrue(ended.stderr.startswith("usage: quillora-backend "))

    def test_the_help_and_the_manual_name_the_same_keys_and_each_of_them_is_known(self):
        told = told_by_help(self.run_program("--help").stdout)
        with open(MANUAL, encoding="utf-8") as file:
            manual = file.read().replace("\\", "")
        self.assertEqual(told, told_by_manual(manual))
        self.assertEqual([variable for _, _, variable in told],
                         [f"QUILLORA_BACKEND_{section}_{key}".upper() for section, key, _ in told])

        # That its value is wrong is said of a key that there is.
        text = "".join(f"[{section}]\n" + "".join(f"{key} = 1.5\n" for of, key, _ in told if of == section)
                       for section in dict.fromkeys(section for section, _, _ in told))
        self.assertEqual({fault.split(" ", 1)[1] for fault in self.faults(text) if fault.startswith("FILE:")},
                         {f"{section}.{key} must be a text, a whole number or a list of texts"
                          for section, key, _ in told})

    def test_secrets_of_the_environment_stand_in_the_help_and_in_the_manual(self):
        with open(MANUAL, encoding="utf-8") as file:
            manual = file.read()
        for name in ("QUILLORA_BACKEND_UPSTREAM_KEY", "QUILLORA_BACKEND_REDIS_PASSWORD"):
            self.assertIn(f"\n  {name}\n", self.run_program("--help").stdout)
            self.assertIn(f"\\fB{name}\\fR may hold", manual)

    def test_it_stands_without_the_toolkit(self):
        self.assertNotIn("Qt", self.programs.run(["ldd", PROGRAM]).decode())

    # check

    def check(self, **sections):
        """Exit status, and what it says of each thing that it tries."""
        settings = self.settings(**sections)
        ended = self.run_program("--configuration", settings, "check")
        said = dict(line.split(": ", 1) for line in (ended.stdout + ended.stderr).replace(settings, "FILE").splitlines())
        self.assertEqual(set(said), {"configuration", "listen address", "certificate", "tokens", "Redis", "model"})
        self.assertEqual(ended.returncode == 0, ended.stderr == "")
        return ended.returncode, said

    def test_check_tells_of_each_thing_in_a_line(self):
        address = free_address()
        ended = self.run_program("--configuration", self.settings(server={"listen": address}), "check")
        self.assertEqual((ended.returncode, ended.stderr), (0, ""))
        self.assertRegex(ended.stdout, rf"""\Aconfiguration: .*\.toml is sound
listen address: {address} is free
certificate: none: clients are answered without TLS
tokens: none: whoever is on this computer is served
Redis: none: nothing is shared with other backends
model: test-model at 127\.0\.0\.1:\d+ took \d+ ms for "Good morning\. How are you\?" in Russian: Сәлем
\Z""")

    def test_check_says_what_a_client_would_read(self):
        self.upstream.on_question = lambda question: Answer(b"{}", 401)
        status, said = self.check()
        self.assertEqual(status, 1)
        self.assertRegex(said["model"], r"\Atest-model at 127\.0\.0\.1:\d+: The translation model refused this backend's "
                                        r"own key\. Tell whoever runs the backend\. \(upstream_status_401, \d+ ms\)\Z")

    def test_check_tries_the_certificate(self):
        certificate, key = self.authority.issue("mine")
        _, other = self.authority.issue("other")
        nonsense = self.write("nonsense.pem", "nonsense")
        for name, server, status, words in (
                ("good", (certificate, key), 0, rf"{certificate}, until \d{{4}}-\d\d-\d\d"),
                ("another key", (certificate, other), 1, f"{other} is not the private key, in PEM, of that certificate"),
                ("nonsense", (nonsense, key), 1, f"{nonsense} is not a chain of certificates in PEM")):
            with self.subTest(name):
                ended, said = self.check(server={"certificate": server[0], "private_key": server[1]})
                self.assertEqual(ended, status)
                self.assertRegex(said["certificate"], rf"\A{words}\Z")

    def test_check_tells_of_a_certificate_that_is_over_or_too_early(self):
        for days, words in (((-3, -1), r"it ended on \d{4}-\d\d-\d\d"), ((1, 3), "its time has not come")):
            with self.subTest(days):
                certificate, key = self.authority.issue(f"of{days[0]}", days=days)
                status, said = self.check(server={"certificate": certificate, "private_key": key})
                self.assertEqual(status, 1)
                self.assertRegex(said["certificate"], rf"\A{certificate}: {words}\Z")

    def test_check_reads_the_tokens(self):
        file = self.path("tokens")
        self.assertEqual(self.check(tokens={"file": file})[1]["tokens"],
                         f"{file}: no token yet, so that nobody is served: token add makes one")
        for name in ("one", "two"):
            self.make_token(self.settings(tokens={"file": file}), name)
        status, said = self.check(tokens={"file": file})
        self.assertEqual((status, said["tokens"]), (0, f"{file}: 2 tokens"))
        with open(file, "a", encoding="ascii") as damaged:
            damaged.write("nonsense\n")
        status, said = self.check(tokens={"file": file})
        self.assertEqual((status, said["tokens"]), (1, f"{file}: line 3 is no SHA-256, day and name"))
        status, said = self.check(tokens={"file": self.path("nowhere/tokens")})
        self.assertEqual((status, said["tokens"]), (1, f"{self.path('nowhere')} does not exist"))

    def test_check_asks_redis(self):
        address = free_address()
        self.programs.start_daemon(["redis-server", "--bind", OWN_HOST, "--port", str(port_of(address)), "--save", "",
                                    "--dir", self.programs.folder])
        wait_for("Redis", lambda: listens_at(address))
        sections = {"redis": {"address": address}, "tokens": {"file": self.path("tokens")}}
        self.make_token(self.settings(**sections))
        status, said = self.check(**sections)
        self.assertEqual((status, said["Redis"], said["tokens"]),
                         (0, f"{address} answers: 1 token", f"{self.path('tokens')}, a copy of those in Redis"))
        away = free_address()
        status, said = self.check(redis={"address": away})
        self.assertEqual((status, said["Redis"]), (1, f"Redis cannot be reached at {away}"))

    def test_check_tries_the_listen_address(self):
        backend = self.start()
        status, said = self.check(server={"listen": backend.address})
        self.assertEqual((status, said["listen address"]),
                         (0, f"{backend.address} is in use: nothing else than this backend must listen there"))
        status, said = self.check(server={"listen": "127.0.0.1.nowhere.invalid:1"}, tokens={"file": self.path("tokens")})
        self.assertEqual(status, 1)
        self.assertTrue(said["listen address"].startswith("cannot listen on 127.0.0.1.nowhere.invalid:1: "))


if __name__ == "__main__":
    unittest.main()
