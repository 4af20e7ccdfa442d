#!/usr/bin/python3
"""Backends that share limits and tokens by way of a real Redis, which comes and goes."""

import re
import socket
import time
import unittest

from backend_case import (OWN_HOST, BackendCase, free_address, in_background,  # first: it finds the others
                          listens_at, port_of)
from virtual_desktop import wait_for


class Road:
    """Leads to Redis, and is slow for as long as it is told to be. Use it in a `with`."""

    def __init__(self, destination):
        self.seconds = 0.0  # each reply takes so much longer
        self.commands = b""  # what has gone along it
        self._destination = (destination.rpartition(":")[0], port_of(destination))
        self._door = socket.create_server((OWN_HOST, 0))
        self.address = f"{OWN_HOST}:{self._door.getsockname()[1]}"

    def __enter__(self):
        in_background(self._accept)
        return self

    def __exit__(self, *_):
        self._door.close()

    def _accept(self):
        while True:
            try:
                near, _ = self._door.accept()
            except OSError:
                return
            far = socket.create_connection(self._destination)
            in_background(lambda near=near, far=far: self._carry(near, far, self._note))
            # Nobody waits for this: so long is the way back.
            in_background(lambda near=near, far=far: self._carry(far, near, lambda _: time.sleep(self.seconds)))

    def _note(self, commands):
        self.commands += commands

    @staticmethod
    def _carry(source, target, look_at):
        try:
            while piece := source.recv(65536):
                look_at(piece)
                target.sendall(piece)
            target.shutdown(socket.SHUT_WR)
        except OSError:
            pass  # one of them has left


class SharingTest(BackendCase):
    def setUp(self):
        super().setUp()
        self.redis_address = free_address()
        self.start_redis()

    def start_redis(self):
        """It keeps nothing on the disk."""
        self.redis = self.programs.start_daemon(
            ["redis-server", "--bind", OWN_HOST, "--port", str(port_of(self.redis_address)), "--save", "", "--appendonly", "no",
             "--requirepass", "the-password", "--dir", self.programs.folder])
        wait_for("Redis", lambda: listens_at(self.redis_address))

    def sections(self, name, **limits):
        return {"tokens": {"file": self.path(f"tokens-of-{name}")}, "limits": limits,
                "redis": {"address": self.redis_address, "password_file": self.write("password",
                                                                                                 "the-password\n")}}

    def start_sharing(self, name, **limits):
        return self.start(**self.sections(name, **limits))

    def token_command(self, *words):
        return self.run_program("--configuration", self.settings(**self.sections("nobody")), "token", *words)

    def new_token(self, name="laptop"):
        return self.make_token(self.settings(**self.sections("nobody")), name)

    def wait_until_away(self, backend):
        wait_for("the loss of Redis", lambda: backend.metric("quillora_redis_up") == 0)

    def wait_until_there(self, backend):
        wait_for("the return of Redis", lambda: backend.metric("quillora_redis_up") == 1)

    def test_a_token_is_known_to_all_and_its_end_too(self):
        token = self.new_token()
        backends = [self.start_sharing(name) for name in ("one", "two")]
        self.assertEqual([backend.translate(token=token).status for backend in backends], [200, 200])
        late = self.new_token("phone")
        for backend in backends:
            wait_for("the new token", lambda backend=backend: backend.translate(token=late).status == 200)
        self.assertEqual([line.split()[1] for line in self.token_command("list").stdout.splitlines()],
                         ["laptop", "phone"])
        for name in ("laptop", "phone"):
            self.assertEqual(self.token_command("revoke", name).returncode, 0)
        for backend in backends:
            wait_for("the end of the last token",
                     lambda backend=backend: backend.translate(token=late).status == 401)
        self.assertEqual(self.token_command("revoke", "phone").stderr, "there is no token of that name\n")

    def test_a_limit_counts_what_all_of_them_serve(self):
        token = self.new_token()
        backends = [self.start_sharing(name, token_per_minute=10) for name in ("one", "two")]
        # So many that one of two minutes is full, and no backend served them alone.
        statuses = [backends[number % 2].translate(token=token).status for number in range(22)]
        self.assertEqual(statuses[:2], [200, 200])
        self.assertIn(429, statuses)
        self.assertLessEqual(statuses.count(200), 20)

    def test_without_redis_each_counts_by_itself_and_knows_the_tokens_that_it_knew(self):
        token = self.new_token()
        backend = self.start_sharing("one", token_per_minute=4)
        self.assertEqual(backend.translate(token=token).status, 200)
        self.programs.kill(self.redis)
        self.wait_until_away(backend)
        statuses = [backend.translate(token=token).status for _ in range(9)]
        self.assertIn(200, statuses)
        self.assertIn(429, statuses)
        self.assertEqual(backend.translate(token="unknown").status, 401)
        self.start_redis()
        self.wait_until_there(backend)

    def test_a_start_without_redis_knows_the_tokens_of_the_last_time(self):
        token = self.new_token()
        first = self.start_sharing("one")
        self.assertEqual(first.translate(token=token).status, 200)
        self.assertTrue(first.stop())
        self.programs.kill(self.redis)
        again = self.start_sharing("one")
        self.assertEqual([again.translate(token=each).status for each in (token, "unknown")], [200, 401])
        self.assertEqual(again.metric("quillora_redis_up"), 0)

    def lose_everything(self, *backends):
        """Of what Redis holds, which they notice."""
        self.programs.kill(self.redis)
        for backend in backends:
            self.wait_until_away(backend)
        self.start_redis()
        for backend in backends:
            self.wait_until_there(backend)

    def test_a_redis_that_has_lost_everything_revokes_nothing(self):
        token = self.new_token()
        backend = self.start_sharing("one")
        self.assertEqual(backend.translate(token=token).status, 200)
        self.lose_everything(backend)
        wait_for("a look at the tokens, and the one behind it", lambda: self.looks_at_tokens() >= 2)
        self.assertEqual(backend.translate(token=token).status, 200)

    def test_a_token_that_is_made_after_such_a_loss_brings_back_those_that_a_backend_knows(self):
        token = self.new_token()
        backends = [self.start_sharing(name) for name in ("one", "two")]
        self.assertEqual([backend.translate(token=token).status for backend in backends], [200, 200])
        self.lose_everything(*backends)
        late = self.make_token(self.settings(**self.sections("one")), "phone")
        for backend in backends:
            wait_for("the new token", lambda backend=backend: backend.translate(token=late).status == 200)
        self.assertEqual([backend.translate(token=token).status for backend in backends], [200, 200])
        self.assertEqual([line.split()[1] for line in self.token_command("list").stdout.splitlines()],
                         ["laptop", "phone"])

    def test_a_token_that_is_revoked_after_such_a_loss_takes_no_other_with_it(self):
        tokens = [self.new_token(name) for name in ("laptop", "phone")]
        backend = self.start_sharing("one")
        self.assertEqual([backend.translate(token=token).status for token in tokens], [200, 200])
        self.lose_everything(backend)
        revoked = self.run_program("--configuration", self.settings(**self.sections("one")), "token", "revoke", "laptop")
        self.assertEqual((revoked.returncode, revoked.stderr), (0, ""))
        wait_for("the end of the token", lambda: backend.translate(token=tokens[0]).status == 401)
        self.assertEqual(backend.translate(token=tokens[1]).status, 200)

    def test_a_check_tells_of_such_a_loss(self):
        self.new_token()
        backend = self.start_sharing("one")
        wait_for("the list", lambda: any(line["event"] == "tokens" for line in backend.log()))
        self.lose_everything(backend)
        checked = self.run_program("--configuration", self.settings(**self.sections("one")), "check")
        self.assertIn(f"Redis: {self.redis_address} answers, without a list of tokens: those of {self.path('tokens-of-one')} "
                      "count, and the next token add or revoke brings them there\n", checked.stdout)

    def test_a_redis_that_hangs_holds_up_nobody(self):
        token = self.new_token()
        backend = self.start_sharing("one")
        self.assertEqual(backend.translate(token=token).status, 200)
        self.programs.freeze(self.redis)
        self.assertEqual([backend.translate(token=token).status for _ in range(5)], [200] * 5)
        self.wait_until_away(backend)
        self.programs.thaw(self.redis)
        self.wait_until_there(backend)

    def test_a_change_that_a_slow_redis_tells_too_late_is_told_again(self):
        token = self.new_token()
        road = self.enterContext(Road(self.redis_address))
        sections = self.sections("one")
        sections["redis"]["address"] = road.address
        backend = self.start(**sections)
        self.assertEqual(backend.translate(token=token).status, 200)

        # So many count at once that whoever asks for the tokens behind them gives up before it is their turn.
        road.seconds = 0.25
        road.commands = b""
        counting = [in_background(lambda: backend.translate(token=token)) for _ in range(16)]
        wait_for("some counts", lambda: road.commands.count(b"INCR") >= 2)
        self.assertEqual(self.token_command("revoke", "laptop").returncode, 0)
        wait_for("a look at the tokens", lambda: b"HGETALL" in road.commands)
        road.seconds = 0.0
        for thread in counting:
            thread.join(60)
        wait_for("the end of the token", lambda: backend.translate(token=token).status == 401)

    def test_a_wrong_password_is_told_to_who_makes_a_token_and_to_the_log_alone(self):
        ended = self.run_program("--configuration", self.settings(**self.sections("one")), "token", "list",
                                 environment={"QUILLORA_BACKEND_REDIS_PASSWORD": "wrong"})
        self.assertEqual(ended.returncode, 1)
        self.assertTrue(ended.stderr.startswith("Redis refuses: WRONGPASS"), ended.stderr)

    def test_nothing_private_lies_in_redis(self):
        token = self.new_token()
        backend = self.start_sharing("one")
        backend.translate("private words", token=token, headers={"X-Quillora-Device-Id": "device-4711"})
        dump = self.redis_cli("KEYS", "*") + self.redis_cli("HGETALL", "quillora:tokens")
        self.assertIn("quillora:token:laptop:", dump)
        for secret in (token, "4711", "private"):
            self.assertNotIn(secret, dump)

    def looks_at_tokens(self):
        """How many there have been since Redis began."""
        calls = re.search(r"cmdstat_hget:calls=(\d+)", self.redis_cli("INFO", "commandstats"))
        return int(calls[1]) if calls else 0

    def redis_cli(self, *words):
        return self.programs.run(["redis-cli", "-h", OWN_HOST, "-p", str(port_of(self.redis_address)), "-a", "the-password", "--no-auth-warning",
                                  *words]).decode()


if __name__ == "__main__":
    unittest.main()
