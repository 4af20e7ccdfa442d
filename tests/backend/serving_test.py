#!/usr/bin/python3
"""Who is served and how much, by a backend that many ask at once, some of them slowly or in bad faith."""

import os
import random
import re
import resource
import select
import signal
import socket
import ssl
import threading
import time
import unittest

from backend_case import (HEAD, BackendCase, RawConnection, in_background, listens_at,  # first: it finds the others
                          request, request_body)
from scripted_upstream import Answer, Held, completion
from virtual_desktop import wait_for

UNIT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "packaging", "backend",
                    "quillora-backend.service")
INVALID = "The subscription token is not valid."


class TokenTest(BackendCase):
    def setUp(self):
        super().setUp()
        self.file = self.path("tokens")
        self.configuration = self.settings(tokens={"file": self.file})
        self.token = self.make_token(self.configuration)

    def run_token(self, *words):
        return self.run_program("--configuration", self.configuration, "token", *words)

    def serving(self):
        return self.start(tokens={"file": self.file})

    def test_a_token_is_kept_as_its_hash_alone(self):
        with open(self.file, encoding="ascii") as file:
            kept = file.read()
        self.assertRegex(kept, r"\A[0-9a-f]{64} \d{4}-\d\d-\d\d laptop\n\Z")
        self.assertNotIn(self.token.removeprefix("quillora-"), kept)
        self.assertRegex(self.token, r"\Aquillora-[0-9a-f]{64}\Z")
        self.assertEqual(os.stat(self.file).st_mode & 0o777, 0o600)

    def test_tokens_are_listed_and_revoked_by_name(self):
        self.run_token("add", "phone")
        self.assertEqual([line.split()[1] for line in self.run_token("list").stdout.splitlines()], ["laptop", "phone"])
        self.assertEqual(self.run_token("revoke", "laptop").returncode, 0)
        self.assertEqual([line.split()[1] for line in self.run_token("list").stdout.splitlines()], ["phone"])
        for words, complaint in ((("revoke", "laptop"), "there is no token of that name\n"),
                                 (("add", "phone"), "there is a token of that name: revoke it first\n"),
                                 (("add", "a b"), "a name has up to 64 letters, digits and - _ . @\n")):
            with self.subTest(words):
                ended = self.run_token(*words)
                self.assertEqual((ended.returncode, ended.stdout, ended.stderr), (1, "", complaint))

    def test_of_many_that_are_made_and_revoked_at_once_no_change_is_lost(self):
        names = [f"client-{number:02}" for number in range(16)]
        for name in names[:8]:
            self.make_token(self.configuration, name)
        ended = []
        changes = [in_background(lambda words=words: ended.append(self.run_token(*words)))
                   for words in [("revoke", name) for name in names[:8]] + [("add", name) for name in names[8:]]]
        for change in changes:
            change.join(60)
        self.assertEqual([(one.returncode, one.stderr) for one in ended], [(0, "")] * 16)
        listed = [line.split()[1] for line in self.run_token("list").stdout.splitlines()]
        self.assertEqual(sorted(listed), [*names[8:], "laptop"])

    def test_only_a_known_token_is_served(self):
        backend = self.serving()
        self.assertEqual(backend.translate(token=self.token).status, 200)
        self.assertEqual(backend.translate(token=f" {self.token} ").status, 200)  # as clients send it
        for token in (self.token[:-1], self.token + "0", self.token.upper(), "", "ключ".encode().decode("latin-1")):
            with self.subTest(token):
                answer = backend.translate(token=token)
                self.assertEqual((answer.status, answer.error), (401, INVALID))
                self.assertEqual(answer.headers["WWW-Authenticate"], "Bearer")
        missing = backend.translate()
        self.assertEqual((missing.status, missing.error), (401, "This translation backend asks for a subscription token."))
        self.assertEqual(len(self.upstream.questions), 2)

    def test_who_has_no_token_is_refused_before_the_body_comes(self):
        backend = self.serving()
        with RawConnection(backend) as raw:
            raw.send(HEAD + b"Authorization: Bearer guessed\r\nContent-Length: 200000\r\n\r\n")
            self.assertEqual(raw.reply()[0], 401)
        before = backend.most_memory_kilobytes()
        crowd = [self.enterContext(RawConnection(backend)) for _ in range(200)]
        for one in crowd:
            one.send(HEAD + b"Content-Length: 200000\r\n\r\n" + b" " * 199_999)
        for one in crowd:
            self.assertIn(b"HTTP/1.1 401 ", one.everything())
        self.assertLess(backend.most_memory_kilobytes() - before, 15_000)  # the bodies are 40 MB
        self.assertEqual(backend.translate(token=self.token).status, 200)

    def test_what_follows_a_body_brings_no_token(self):
        backend = self.serving()
        with RawConnection(backend) as raw:
            raw.send(HEAD + b"Transfer-Encoding: chunked\r\n\r\n1\r\n{\r\n0\r\nAuthorization: Bearer "
                     + self.token.encode() + b"\r\n\r\n")
            self.assertEqual(raw.reply()[0], 401)

    def test_changes_are_noticed_while_it_serves(self):
        backend = self.serving()
        other = self.make_token(self.configuration, "phone")
        wait_for("the new token", lambda: backend.translate(token=other).status == 200)
        self.run_token("revoke", "phone")
        wait_for("the end of the token", lambda: backend.translate(token=other).status == 401)

    def test_the_last_token_that_is_revoked_opens_nothing(self):
        backend = self.serving()
        self.run_token("revoke", "laptop")
        wait_for("the end of the token", lambda: backend.translate(token=self.token).status == 401)
        self.assertEqual(backend.translate().status, 401)

    def test_a_damaged_list_is_refused_at_the_start_and_later_the_last_good_one_stays(self):
        backend = self.serving()
        with open(self.file, "a", encoding="ascii") as file:
            file.write("nonsense\n")
        wait_for("the complaint", lambda: any("error" in line for line in backend.log()))
        self.assertEqual(backend.translate(token=self.token).status, 200)
        ended = self.run_program("--configuration", self.configuration, "serve")
        self.assertEqual((ended.returncode, ended.stderr),
                         (1, f"{self.file}: line 2 is no SHA-256, day and name\n"))

    def test_a_list_that_cannot_be_read_is_named(self):
        os.remove(self.file)
        os.mkdir(self.file)
        ended = self.run_token("list")
        self.assertEqual((ended.returncode, ended.stderr), (1, f"{self.file}: cannot be read\n"))


class LimitTest(BackendCase):
    def test_a_device_has_its_limit(self):
        backend = self.start(limits={"device_per_minute": 3})
        statuses = [backend.translate(headers={"X-Quillora-Device-Id": "one"}).status for _ in range(8)]
        # A minute may begin meanwhile.
        self.assertIn(429, statuses)
        self.assertEqual(statuses[:3], [200, 200, 200])
        self.assertEqual(backend.translate(headers={"X-Quillora-Device-Id": "two"}).status, 200)
        self.assertGreaterEqual(backend.metric('quillora_limits_hit_total{limit="device"}'), 1)

    def test_a_limit_says_when_to_try_again(self):
        backend = self.start(limits={"device_per_minute": 1})
        answer = next(answer for answer in (backend.translate() for _ in range(3)) if answer.status == 429)
        seconds = answer.headers["Retry-After"]
        self.assertIn(int(seconds), range(1, 61))
        self.assertEqual(answer.error, f"Too many translations within a minute. Try again in {seconds} "
                                       f"second{'' if seconds == '1' else 's'}.")

    def test_a_token_has_its_limit_whatever_the_device(self):
        file = self.path("tokens")
        tokens = [self.make_token(self.settings(tokens={"file": file}), name) for name in ("one", "two")]
        backend = self.start(tokens={"file": file}, limits={"token_per_minute": 3})
        statuses = [backend.translate(token=tokens[0], headers={"X-Quillora-Device-Id": str(i)}).status for i in range(8)]
        self.assertIn(429, statuses)
        self.assertEqual(backend.translate(token=tokens[1]).status, 200)
        self.assertEqual(backend.metric('quillora_limits_hit_total{limit="token"}'), statuses.count(429))

    def test_earlier_clients_are_known_by_their_own_header(self):
        backend = self.start(limits={"device_per_minute": 2})
        statuses = [backend.translate(headers={"X-Quillora-Device-Id": "", "X-Cobaltwhisk-Device-Id": "old"}).status
                    for _ in range(6)]
        self.assertIn(429, statuses)

    def test_who_comes_beyond_the_queue_is_sent_away_and_those_in_it_are_served_in_order(self):
        backend = self.start(upstream={"at_once": 1}, limits={"waiting": 2})
        with Held(self.upstream) as held:
            answers = {}
            threads = []
            for number in range(3):
                text = f"text {number}"
                threads.append(in_background(lambda text=text: answers.update({text: backend.translate(text)})))
                wait_for("its place", lambda number=number: backend.metric('quillora_queue{state="running"}')
                         + backend.metric('quillora_queue{state="waiting"}') == number + 1)
            refused = backend.translate("one too many")
            self.assertEqual((refused.status, refused.error, refused.headers["Retry-After"]),
                             (503, "The translation backend is busy. Try again in a few seconds.", "5"))
            held.let_go()
            for thread in threads:
                thread.join(60)
        self.assertEqual({text: answer.translation for text, answer in answers.items()},
                         {f"text {number}": f"text {number}" for number in range(3)})
        self.assertEqual([question.text for question in self.upstream.questions], [f"text {n}" for n in range(3)])
        self.assertEqual(backend.metric('quillora_limits_hit_total{limit="queue"}'), 1)

    def test_whose_turn_does_not_come_in_time_is_told(self):
        backend = self.start(upstream={"at_once": 1, "seconds": 1})
        with Held(self.upstream):
            first = in_background(backend.translate)
            wait_for("the first", lambda: self.upstream.questions)
            # Busy, or too slow if the first was given up just before.
            self.assertIn(backend.translate().status, (503, 504))
            first.join(60)


class HttpTest(BackendCase):
    def setUp(self):
        super().setUp()
        self.upstream.on_question = lambda question: Answer(completion(question.text))
        self.backend = self.start()

    def test_requests_on_one_connection_are_answered_in_order(self):
        connection = self.backend.connection()
        for number in range(5):
            self.assertEqual(self.backend.translate(f"text {number}", connection=connection).translation,
                             f"text {number}")
        connection.close()

    def test_pipelined_requests_are_answered_in_order(self):
        with RawConnection(self.backend) as raw:
            raw.send(b"".join(request(f"text {n}") for n in range(20)) + request("last", Connection="close"))
            replies = raw.everything()
        positions = [replies.index(f'"text {n}"'.encode()) for n in range(20)]
        self.assertEqual(positions, sorted(positions))
        self.assertEqual(replies.count(b"HTTP/1.1 200 OK"), 21)

    def test_a_request_in_pieces_or_in_chunks_is_one(self):
        with RawConnection(self.backend) as raw:
            for byte in request("пример"):
                raw.send(bytes([byte]))
            self.assertIn("пример".encode(), raw.reply()[1])
            body = request_body("пример").encode()
            raw.send(b"POST /v1/translate HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n"
                     b"Transfer-Encoding: chunked\r\n\r\n")
            for byte in body:
                raw.send(b"1\r\n%c\r\n" % byte)
            raw.send(b"0\r\n\r\n")
            self.assertIn("пример".encode(), raw.reply()[1])

    def test_who_asks_first_whether_to_send_is_told_to(self):
        for words in ("100-continue", "100-Continue"):
            head, body = request("hello", Expect=words).split(b"\r\n\r\n", 1)
            with self.subTest(words), RawConnection(self.backend) as raw:
                raw.send(head + b"\r\n\r\n")
                self.assertEqual(raw.socket.recv(100), b"HTTP/1.1 100 Continue\r\n\r\n")
                raw.send(body)
                self.assertEqual(raw.reply()[0], 200)

    def test_who_asks_for_a_head_gets_no_body(self):
        for path, status in (("/healthz", b"200 OK"), ("/readyz", b"200 OK"), ("/metrics", b"200 OK"),
                             ("/v1/translate", b"405 Method Not Allowed"), ("/nowhere", b"404 Not Found")):
            with self.subTest(path), RawConnection(self.backend) as raw:
                raw.send(b"HEAD %s HTTP/1.1\r\nHost: localhost\r\n\r\n" % path.encode()
                         + b"GET /healthz HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n")
                head, rest = raw.everything().split(b"\r\n\r\n", 1)
                self.assertTrue(head.startswith(b"HTTP/1.1 " + status + b"\r\n"), head)
                self.assertRegex(head, rb"\r\nContent-Length: [1-9]")
                self.assertTrue(rest.startswith(b"HTTP/1.1 200 OK\r\n"), rest)

    def test_what_is_no_request_is_refused_and_the_connection_closed(self):
        chunked = HEAD + b"Transfer-Encoding: chunked\r\n\r\n"
        for name, data, status in (
                ("nonsense", b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\r\n\r\n", 400),
                ("no version", b"POST /v1/translate\r\n\r\n", 400),
                ("a long header", b"POST / HTTP/1.1\r\nX: " + b"x" * 20000 + b"\r\n\r\n", 431),
                ("a body without end", HEAD + b"Content-Length: 99999999999\r\n\r\n", 413),
                ("a negative length", b"POST / HTTP/1.1\r\nContent-Length: -1\r\n\r\n", 400),
                ("two lengths", b"POST / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n", 400),
                ("length and chunks", b"POST / HTTP/1.1\r\nContent-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n", 400),
                ("a wrong chunk", chunked + b"zz\r\n", 400),
                ("a chunk without end", chunked + b"ffffffffffffffff\r\n", 413),
                ("a chunk's extension without end", chunked + b"1;a=" + b"x" * 100_000, 431),
                ("a line without end behind the last chunk", chunked + b"0\r\nX: " + b"x" * 100_000, 431),
                ("folded lines", b"POST / HTTP/1.1\r\nA: b\r\n c\x00\r\n\r\n", 400)):
            with self.subTest(name), RawConnection(self.backend) as raw:
                raw.send(data)
                reply = raw.everything()
                self.assertEqual(int(reply.split()[1]), status, reply)
                self.assertIn(b"Connection: close\r\n", reply)
                self.assertIn(b'{"error":"', reply)
        self.assertEqual(self.backend.translate().status, 200)

    def test_a_body_without_end_in_small_chunks_is_cut_off(self):
        with RawConnection(self.backend) as raw:
            raw.send(HEAD + b"Transfer-Encoding: chunked\r\n\r\n")
            raw.send(b"1000\r\n" + b" " * 4096 + b"\r\n")
            for _ in range(100):
                raw.send(b"1000\r\n" + b" " * 4096 + b"\r\n")
            self.assertIn(b" 413 ", raw.everything())

    def test_a_hundred_hostile_requests_change_nothing(self):
        chance = random.Random(20260101)
        before = self.backend.memory_kilobytes()
        for number in range(100):
            data = hostile(chance)
            with RawConnection(self.backend) as raw:
                raw.send(data)
                raw.socket.shutdown(socket.SHUT_WR)
                reply = raw.everything()
            with self.subTest(number=number, data=data[:200]):
                self.assertTrue(reply == b"" or reply.startswith(b"HTTP/1.1 "), reply[:100])
                self.assertNotIn(b" 500 ", reply)
        self.assertEqual(self.backend.translate("still there").translation, "still there")
        self.assertLess(self.backend.memory_kilobytes() - before, 20_000)

    def test_idle_connections_make_way_for_new_ones(self):
        backend = self.start(server={"connections": 50})
        idle = [self.enterContext(RawConnection(backend)) for _ in range(80)]
        idle[-1].send(b"POST /v1/tra")  # slow is idle too
        for number in range(60):
            self.assertEqual(backend.translate(f"text {number}").status, 200)
        self.assertLessEqual(backend.metric("quillora_connections"), 50)

    def test_requests_that_never_become_whole_make_way_for_others(self):
        before = self.backend.most_memory_kilobytes()
        crowd = [self.enterContext(RawConnection(self.backend)) for _ in range(350)]
        for one in crowd:
            one.send(HEAD + b"Content-Length: 240001\r\n\r\n" + b" " * 240_000)
        wait_for("the first to make way", lambda: self.backend.metric("quillora_connections") < 200)
        self.assertLess(self.backend.most_memory_kilobytes() - before, 60_000)  # they are 84 MB
        self.assertEqual(self.backend.translate().status, 200)

    def test_a_thousand_requests_may_wait_for_a_slow_model(self):
        self.assert_a_thousand_are_served(10)

    def test_a_thousand_requests_may_be_with_the_model_at_once(self):
        self.assert_a_thousand_are_served(1000)

    def assert_a_thousand_are_served(self, at_once):
        backend = self.start(upstream={"at_once": at_once}, limits={"device_per_minute": 100000})
        with Held(self.upstream) as held:
            waiting = [self.enterContext(RawConnection(backend)) for _ in range(1000)]
            for number, connection in enumerate(waiting):
                connection.send(request(f"text {number}"))
            wait_for("all of them", lambda: (len(self.upstream.questions), backend.metric(
                'quillora_queue{state="waiting"}')) == (at_once, 1000 - at_once))
            self.assertLess(backend.memory_kilobytes(), 200_000)
            self.assertLessEqual(backend.threads(), 2 * os.cpu_count())
            held.let_go()
            for number, connection in enumerate(waiting):
                status, body = connection.reply()
                self.assertEqual((status, body.decode()), (200, f'{{"translation":"text {number}"}}'))


class ConnectionsCase(BackendCase):
    """As many connections as it takes, and what the unit grants for them."""

    def granted(self, key):
        """Bytes, of the unit."""
        with open(UNIT, encoding="utf-8") as file:
            return int(re.search(rf"^{key}=(\d+)M$", file.read(), re.M)[1]) << 20

    def most_connections(self):
        """That it takes unless it is told otherwise."""
        return int(re.search(r"^  connections = NUMBER\n.*\((\d+)\)$", self.run_program("--help").stdout, re.M)[1])


class CrowdTest(ConnectionsCase):
    """All connections that it takes at once, none of which says anything but that of who watches."""

    OTHERS = 500  # descriptors that a process takes besides

    def setUp(self):
        super().setUp()
        self.most = self.most_connections()
        self.allow_descriptors(self.most + self.OTHERS)
        self.upstream.on_question = lambda question: Answer(completion(question.text))
        self.backend = self.start()
        self.watcher = self.backend.connection()
        self.addCleanup(self.watcher.close)
        self.silent = []
        # No more at once than may stand before its door.
        for count in (*range(1000, self.most, 1000), self.most):
            while len(self.silent) < count - 1:
                self.silent.append(self.enterContext(RawConnection(self.backend)))
            wait_for(f"{count} connections", lambda count=count: self.connections() == count)

    def allow_descriptors(self, count):
        soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        if hard != resource.RLIM_INFINITY and hard < count:
            self.skipTest(f"a process may have {hard} descriptors here; this takes {count}")
        resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
        self.addCleanup(resource.setrlimit, resource.RLIMIT_NOFILE, (soft, hard))

    def connections(self):
        return self.backend.metric("quillora_connections", self.watcher)

    def test_one_who_asks_is_answered_and_nobody_has_to_leave(self):
        self.assertEqual(self.backend.translate("still there", connection=self.watcher).translation, "still there")
        self.assertEqual(self.connections(), self.most)

    def test_they_fit_into_the_memory_of_the_unit(self):
        arriving = 32 << 20  # of requests, which may come besides
        self.assertLess(self.backend.most_memory_kilobytes() * 1024 + arriving, self.granted("MemoryHigh"))

    def test_new_ones_are_answered_and_the_oldest_make_way_for_them(self):
        for number in range(20):
            newcomer = self.enterContext(RawConnection(self.backend))
            newcomer.send(request(f"text {number}"))
            self.assertEqual(newcomer.reply(), (200, f'{{"translation":"text {number}"}}'.encode()))
            self.assertEqual(self.silent[number].everything(), b"")
        self.assertEqual(self.connections(), self.most)


class MemoryTest(ConnectionsCase):
    """What connections cost, beside what the unit grants."""

    CROWD = 400
    BEGUN = b"POST /v1/tra"
    # As large as it may become.
    PART_OF_A_RECORD = b"\x17\x03\x03\x40\x00" + b"a" * 16_000
    PART_OF_A_HELLO = b"\x16\x03\x01\x40\x00\x01\x00\xff\x00" + b"a" * 12_000

    def crowd(self, backend, count, *pieces, by_tls=False):
        for _ in range(count):
            raw = self.enterContext(RawConnection(backend))
            if by_tls:
                raw.socket = backend.trust.wrap_socket(raw.socket, server_hostname="127.0.0.1")
            for piece in pieces:
                if piece is self.PART_OF_A_RECORD:
                    os.write(raw.socket.fileno(), piece)  # past what makes whole ones
                else:
                    raw.send(piece)

    def assert_all_fit(self, backend, *pieces, by_tls=False):
        """As many of them as it takes at all, by what each of some costs, which is returned in bytes."""
        backend.translate()
        before = backend.memory_kilobytes()
        self.crowd(backend, self.CROWD, *pieces, by_tls=by_tls)
        wait_for("the connections", lambda: backend.metric("quillora_connections") > self.CROWD)
        self.wait_until_read(backend)
        each = (backend.memory_kilobytes() - before) * 1024 / self.CROWD
        arriving = 32 << 20  # which is bounded apart
        self.assertLess(before * 1024 + arriving + each * self.most_connections(), self.granted("MemoryHigh"))
        self.assertLess(self.granted("MemoryHigh"), self.granted("MemoryMax"))
        self.assertEqual(backend.translate().status, 200)
        return each

    def wait_until_read(self, backend):
        """Until it has taken all that was sent to it."""
        port = f":{backend.port:04X}"

        def nothing_waits():
            with open("/proc/net/tcp", encoding="ascii") as file:
                lines = [line.split() for line in file][1:]
            return not any(line[1].endswith(port) and line[3] == "01" and line[4].split(":")[1] != "00000000"
                           for line in lines)

        wait_for("what was sent to be read", nothing_waits)

    def test_all_connections_that_it_takes_fit_into_the_memory_of_its_unit(self):
        for pieces in ((), (self.BEGUN,)):
            with self.subTest(pieces):
                self.assert_all_fit(self.start(), *pieces)

    def test_by_tls_they_fit_too(self):
        for pieces in ((), (self.BEGUN,), (self.BEGUN, self.PART_OF_A_RECORD)):
            with self.subTest([len(piece) for piece in pieces]):
                self.assert_all_fit(self.start_with_tls(), *pieces, by_tls=True)

    def test_a_stranger_who_only_connects_costs_no_more_with_tls_than_without(self):
        self.assertLess(self.assert_all_fit(self.start_with_tls()), 12_000)

    def test_handshakes_that_never_end_make_way_for_others(self):
        backend = self.start_with_tls()
        backend.translate()
        before = backend.most_memory_kilobytes()
        self.crowd(backend, 1000, self.PART_OF_A_HELLO)
        wait_for("the first to make way", lambda: backend.metric("quillora_connections") < 700)
        self.assertLess(backend.most_memory_kilobytes() - before, 60_000)
        self.assertEqual(backend.translate().status, 200)


class LeavingTest(BackendCase):
    """Clients that hang up before the answer."""

    def question_from(self, client, data=None):
        return self.question_of(lambda: client.send(data or request()))

    def requests_logged(self, backend):
        return [(line["status"], line["reason"]) for line in backend.log() if line["event"] == "request"]

    def wait_until_given_up(self, backend, count=1):
        """Until it has noticed that so many have left."""
        wait_for("the end of their requests", lambda: self.requests_logged(backend) == [(499, "left")] * count)

    def test_who_leaves_takes_the_question_back(self):
        backend = self.start()
        with Held(self.upstream):
            for name, more in (("one request", b""), ("more behind it", b"POST /v1/tra")):
                with self.subTest(name), RawConnection(backend) as client:
                    question = self.question_from(client)
                    self.assertFalse(question.is_taken_back())
                    client.send(more)
                    client.socket.close()
                    wait_for("the hang-up", question.is_taken_back)
            self.wait_until_given_up(backend, 2)
        self.assertEqual(backend.metric('quillora_queue{state="running"}'), 0)
        self.assertEqual(backend.metric('quillora_requests_total{status="499"}'), 2)
        self.assertEqual(backend.metric("quillora_upstream_seconds_count"), 0)

    def test_who_stays_is_answered_when_others_leave(self):
        backend = self.start()
        with Held(self.upstream) as held, RawConnection(backend) as one_who_stays:
            self.question_from(one_who_stays, request("still there"))
            leavers = [self.enterContext(RawConnection(backend)) for _ in range(20)]
            for leaver in leavers:
                self.question_from(leaver)
            for leaver in leavers:
                leaver.socket.close()
            self.wait_until_given_up(backend, 20)
            held.let_go()
            status, body = one_who_stays.reply()
        self.assertEqual((status, body), (200, b'{"translation":"still there"}'))

    def test_who_leaves_the_queue_is_asked_about_no_more(self):
        backend = self.start(upstream={"at_once": 1}, limits={"waiting": 1})
        with Held(self.upstream) as held, RawConnection(backend) as first:
            self.question_from(first, request("first"))
            for _ in range(2):  # whose place is free for the next
                with RawConnection(backend) as waiting:
                    waiting.send(request("nobody waits for this"))
                    wait_for("its place", lambda: backend.metric('quillora_queue{state="waiting"}') == 1)
                wait_for("its leaving", lambda: backend.metric('quillora_queue{state="waiting"}') == 0)
            held.let_go()
            self.assertEqual(first.reply()[0], 200)
        self.assertEqual(backend.translate("next").translation, "next")
        self.assertEqual([question.text for question in self.upstream.questions], ["first", "next"])
        self.assertEqual(backend.metric('quillora_limits_hit_total{limit="queue"}'), 0)

    def test_who_leaves_is_not_asked_about_again(self):
        backend = self.start()
        self.upstream.on_question = lambda question: Answer(b"{}", 429, {"Retry-After": "30"})
        with RawConnection(backend) as client:
            self.question_from(client)
        self.wait_until_given_up(backend)
        self.assertEqual(len(self.upstream.questions), 1)

    def test_who_leaves_by_tls_takes_the_question_back_too(self):
        backend = self.start_with_tls()
        with Held(self.upstream), RawConnection(backend) as client:
            client.socket = backend.trust.wrap_socket(client.socket, server_hostname="127.0.0.1")
            question = self.question_from(client)
            client.socket.close()
            wait_for("the hang-up", question.is_taken_back)

    def test_a_watcher_that_leaves_makes_nothing_unready(self):
        backend = self.start()
        looks_are_answered = threading.Event()
        self.addCleanup(looks_are_answered.set)

        def on_look():
            looks_are_answered.wait(60)
            return Answer(b"{}", 405)

        self.upstream.on_look = on_look
        with RawConnection(backend) as watcher:
            watcher.send(b"GET /readyz HTTP/1.1\r\nHost: localhost\r\n\r\n")
            wait_for("the look", lambda: self.upstream.looks == 1)
        with Held(self.upstream), RawConnection(backend) as client:
            self.question_from(client)
            client.socket.close()
            wait_for("its end", lambda: (499, "left") in self.requests_logged(backend))
        # Whoever noticed that has noticed the watcher's leaving.
        looks_are_answered.set()
        wait_for("the watcher's end", lambda: backend.metric("quillora_connections") == 1)
        self.assertEqual([line["path"] for line in backend.log() if line["event"] == "request"], ["/v1/translate"])


def hostile(chance):
    """A request with something wrong with it."""
    body = request_body("".join(chr(chance.randrange(32, 0x3000)) for _ in range(chance.randrange(200)))).encode()
    kind = chance.randrange(8)
    if kind == 0:
        return chance.randbytes(chance.randrange(1, 3000))
    if kind == 1:
        body = chance.choice([b"[", b'{"a":', b'"', b"{", b"\xff"]) * chance.randrange(1, 50000)
    if kind == 2:
        body = bytes(byte if chance.random() > 0.05 else chance.randrange(256) for byte in body)
    whole = request_body().encode() if kind == 3 else body
    data = (b"POST /v1/translate HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\nContent-Length: "
            + str(len(whole) + (chance.randrange(-20, 20) if kind == 4 else 0)).encode() + b"\r\n")
    if kind == 5:
        data += b"".join(b"X-%d: %s\r\n" % (n, b"x" * chance.randrange(300)) for n in range(chance.randrange(300)))
    if kind == 6:
        data += b"Transfer-Encoding: " + chance.choice([b"chunked", b"gzip, chunked", b"identity", b"\x00"]) + b"\r\n"
    data += b"\r\n" + whole
    if kind == 7:
        at = chance.randrange(len(data))
        data = data[:at] + chance.randbytes(chance.randrange(20)) + data[at + chance.randrange(20):]
    return data


class EndTest(BackendCase):
    def test_what_runs_is_answered_before_the_end_and_nothing_new_is_taken(self):
        backend = self.start()
        with Held(self.upstream) as held, RawConnection(backend) as idle:
            answers = []
            running = in_background(lambda: answers.append(backend.translate("in time")))
            wait_for("the question", lambda: self.upstream.questions)
            self.programs.expect_end(backend.process)
            backend.tell(signal.SIGTERM)
            self.assertEqual(idle.everything(), b"")  # closed at once
            wait_for("the closed door", lambda: not listens_at(backend.address))
            held.let_go()
            running.join(60)
        self.assertEqual((answers[0].status, answers[0].translation), (200, "in time"))
        self.assertEqual(answers[0].headers["Connection"], "close")
        self.assertEqual(backend.process.wait(30), 0)

    def test_an_idle_one_ends_at_once(self):
        backend = self.start()
        self.programs.expect_end(backend.process)
        backend.tell(signal.SIGTERM)
        self.assertEqual(backend.process.wait(30), 0)

    def test_who_insists_ends_it(self):
        backend = self.start()
        with Held(self.upstream):
            in_background(lambda: self.assertRaises(OSError, backend.translate))
            wait_for("the question", lambda: self.upstream.questions)
            self.programs.expect_end(backend.process)
            backend.tell(signal.SIGTERM)
            wait_for("the closed door", lambda: not listens_at(backend.address))
            backend.tell(signal.SIGTERM)
            self.assertEqual(backend.process.wait(30), 1)

    def test_what_takes_longer_than_the_end_may_is_left(self):
        backend = self.start(server={"stop_seconds": 1})
        with Held(self.upstream):
            in_background(lambda: self.assertRaises(OSError, backend.translate))
            wait_for("the question", lambda: self.upstream.questions)
            self.programs.expect_end(backend.process)
            backend.tell(signal.SIGTERM)
            self.assertEqual(backend.process.wait(30), 1)
        self.assertEqual(backend.log()[-1]["error"], "some requests were not answered in time")

    def test_one_that_was_killed_starts_again_at_the_same_address(self):
        first = self.start()
        self.assertEqual(first.translate().status, 200)
        self.programs.kill(first.process)
        again = self.start(server={"listen": f"127.0.0.1:{first.port}"})
        self.assertEqual(again.translate().status, 200)


class TlsTest(BackendCase):
    def shown(self, backend):
        """Whose certificate it shows, and which protocol it chooses."""
        with socket.create_connection(("127.0.0.1", backend.port), 60) as plain:
            with backend.trust.wrap_socket(plain, server_hostname="127.0.0.1") as secure:
                names = dict(pair[0] for pair in secure.getpeercert()["subject"])
                return names["commonName"], secure.selected_alpn_protocol()

    def test_it_serves_by_tls_and_chooses_http_1_1(self):
        backend = self.start_with_tls()
        self.assertTrue(backend.url.startswith("https://"))
        self.assertEqual(self.shown(backend), ("first", "http/1.1"))
        self.assertEqual(backend.translate().status, 200)

    def test_who_speaks_no_tls_or_stops_halfway_harms_nobody(self):
        backend = self.start_with_tls()
        with RawConnection(backend) as plain, RawConnection(backend) as silent:
            plain.send(request())
            self.assertNotIn(b"200 OK", plain.everything())
            silent.send(b"\x16\x03\x01")
            self.assertEqual(backend.translate().status, 200)

    def test_a_flood_by_tls_leaves_others_their_turn(self):
        backend = self.start_with_tls()
        flood = backend.trust.wrap_socket(socket.create_connection(("127.0.0.1", backend.port), timeout=60),
                                          server_hostname="127.0.0.1")
        self.addCleanup(flood.close)
        flood.setblocking(False)
        stop = threading.Event()
        answers = [0]

        def send_and_read():
            asked = b"GET /x HTTP/1.1\r\nHost: localhost\r\n\r\n" * 2000
            while not stop.is_set():
                try:
                    flood.send(asked)
                except (ssl.SSLWantWriteError, ssl.SSLWantReadError):
                    pass
                try:
                    answers[0] += flood.recv(1 << 20).count(b"HTTP/1.1 404")
                except (ssl.SSLWantReadError, ssl.SSLWantWriteError):
                    select.select([flood], [], [], 0.01)

        thread = in_background(send_and_read)
        self.addCleanup(thread.join, 60)
        self.addCleanup(stop.set)
        wait_for("the flood", lambda: answers[0] > 5000)
        begin = answers[0]
        for _ in range(20):
            self.assertEqual(backend.translate().status, 200)
        self.assertLess(answers[0] - begin, 20 * 20_000)  # it was four times as many while the flood went first

    def test_a_new_certificate_is_shown_after_sighup_and_no_request_is_lost(self):
        backend = self.start_with_tls()
        stop = threading.Event()
        statuses = []

        def ask():
            connection = backend.connection()
            while not stop.is_set():
                statuses.append(backend.translate(connection=connection,
                                                  headers={"X-Quillora-Device-Id": str(len(statuses))}).status)
            connection.close()

        threads = [in_background(ask) for _ in range(4)]
        wait_for("some answers", lambda: len(statuses) > 20)
        for path, other in zip((self.certificate, self.key), self.authority.issue("second")):
            os.replace(other, path)
        backend.tell(signal.SIGHUP)
        wait_for("the new certificate", lambda: self.shown(backend)[0] == "second")
        asked = len(statuses)
        wait_for("some more answers", lambda: len(statuses) > asked + 20)
        stop.set()
        for thread in threads:
            thread.join(60)
        self.assertEqual(set(statuses), {200})

    def test_a_damaged_certificate_is_told_and_the_last_good_one_stays(self):
        backend = self.start_with_tls()
        with open(self.certificate, "w", encoding="ascii") as file:
            file.write("nonsense")
        backend.tell(signal.SIGHUP)
        wait_for("the complaint", lambda: any("error" in line for line in backend.log()))
        self.assertEqual(self.shown(backend)[0], "first")

    def test_a_key_of_another_certificate_is_named_at_the_start(self):
        certificate, _ = self.authority.issue("one")
        _, key = self.authority.issue("other")
        ended = self.run_program("--configuration",
                                 self.settings(server={"certificate": certificate, "private_key": key}), "serve")
        self.assertEqual((ended.returncode, ended.stderr),
                         (1, f"{key} is not the private key, in PEM, of that certificate\n"))

    def test_a_model_behind_tls_must_be_who_it_says(self):
        from scripted_upstream import ScriptedUpstream
        for name, host, status in (("right", "IP:127.0.0.1", 200), ("wrong", "DNS:elsewhere.example", 502)):
            with self.subTest(name):
                context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
                context.load_cert_chain(*self.authority.issue(name, host))
                upstream = self.enterContext(ScriptedUpstream(tls=context))
                trusting = self.start(upstream={"url": upstream.url, "authorities": self.authority.certificate})
                self.assertEqual(trusting.translate().status, status)
                stranger = self.start(upstream={"url": upstream.url})
                self.assertEqual(stranger.translate().status, 502)


class WatchingTest(BackendCase):
    def test_it_is_alive_and_ready(self):
        backend = self.start()
        self.assertEqual((backend.get("/healthz").status, backend.get("/healthz").body), (200, b"alive\n"))
        self.assertEqual((backend.get("/readyz").status, backend.get("/readyz").body), (200, b"ready\n"))

    def test_without_its_model_it_is_alive_but_not_ready(self):
        backend = self.start(upstream={"url": "http://127.0.0.1:1/"})
        self.assertEqual([backend.get(path).status for path in ("/healthz", "/readyz")], [200, 503])
        self.upstream.on_look = lambda: Answer(b"", 500)
        self.assertEqual(self.start().get("/readyz").status, 503)

    def test_watchers_need_no_token(self):
        backend = self.start(tokens={"file": self.path("tokens")})
        self.assertEqual([backend.get(path).status for path in ("/healthz", "/readyz", "/metrics")], [200] * 3)

    def test_metrics_are_what_prometheus_reads(self):
        backend = self.start()
        backend.translate()
        backend.ask("{")
        self.assertEqual(backend.metric('quillora_requests_total{status="200"}'), 1)
        self.assertEqual(backend.metric('quillora_requests_total{status="400"}'), 1)
        self.assertEqual(backend.metric("quillora_upstream_seconds_count"), 1)
        self.assertEqual(backend.metric('quillora_request_seconds_bucket{le="+Inf"}'), 2)
        self.assertIn(b"# HELP quillora_request_seconds From the first byte of a request to its answer\n",
                      backend.get("/metrics").body)
        self.assertTrue(backend.get("/metrics").headers["Content-Type"].startswith("text/plain; version=0.0.4"))

    def test_a_query_behind_the_address_changes_nothing_of_what_is_counted_and_told(self):
        backend = self.start()
        self.assertEqual(backend.translate(path="/v1/translate?from=panel").status, 200)
        self.assertEqual(backend.get("/readyz?from=balancer").status, 200)
        self.assertEqual(backend.metric('quillora_requests_total{status="200"}'), 1)
        self.assertEqual([(line["status"], line["path"]) for line in backend.log() if line["event"] == "request"],
                         [(200, "/v1/translate")])

    def test_a_request_is_one_line_without_anything_private(self):
        file = self.path("tokens")
        token = self.make_token(self.settings(tokens={"file": file}))
        backend = self.start(tokens={"file": file})
        backend.translate("private words", token=token)
        backend.translate("private words", token="guessed")
        lines = [line for line in backend.log() if line["event"] == "request"]
        self.assertEqual([(line["status"], line.get("token"), line.get("target"), line["characters"]) for line in lines],
                         [(200, "laptop", "Kazakh", 13), (401, None, None, 0)])
        self.assertEqual([line.get("reason") for line in lines], [None, "token"])
        self.assertEqual(len({line["device"] for line in lines}), 1)
        with open(backend.log_path, encoding="utf-8") as log:
            words = log.read()
        for secret in ("private", token, "guessed", "1A-2B", "Сәлем", "127.0.0.1"):
            self.assertNotIn(secret, words)

    def test_it_says_nothing_else(self):
        backend = self.start()
        backend.translate()
        for path in ("/healthz", "/readyz", "/metrics"):
            backend.get(path)
        self.assertTrue(backend.stop())
        self.assertEqual([line["event"] for line in backend.log()], ["start", "request", "stop"])


if __name__ == "__main__":
    unittest.main()
