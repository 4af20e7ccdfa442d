#!/usr/bin/python3
"""How long the backend bears with who is slow, in real time: all of them at once, so that it takes no longer than one."""

import select
import socket
import unittest

from backend_case import BackendCase, RawConnection, request  # first: it finds the others
from scripted_upstream import Answer, completion
from virtual_desktop import wait_for

LONGER_THAN_ANY = 90  # seconds; the longest of them has 20


class SlowClient(RawConnection):
    def is_cut_off_though_it_goes_on(self):
        """Sends one byte more."""
        self.send(b" ")
        return self.is_cut_off()

    def is_cut_off(self):
        try:
            return bool(select.select([self.socket], [], [], 0)[0]) and self.socket.recv(1) == b""
        except ConnectionResetError:
            return True


class PatienceTest(BackendCase):
    def setUp(self):
        super().setUp()
        self.backend = self.start()
        self.backend_with_tls = self.start_with_tls()

    def client(self, backend, *data):
        client = self.enterContext(SlowClient(backend))
        for piece in data:
            client.send(piece)
        return client

    def one_who_does_not_read(self):
        """More waits for it than the system keeps for a connection."""
        self.upstream.on_question = lambda question: Answer(completion("a" * 3_900_000))
        client = self.client(self.backend)
        client.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        client.send(request() * 4)
        return client

    def test_whoever_is_slow_is_cut_off(self):
        begun = b"POST /v1/translate HTTP/1.1\r\nHost: localhost\r\n"
        ways = {
            "a header without end": self.client(self.backend, begun, b"X-Slow:").is_cut_off_though_it_goes_on,
            "a body without end": self.client(self.backend, begun, b"Content-Length: 100000\r\n\r\n"
                                              ).is_cut_off_though_it_goes_on,
            "a handshake that does not begin": self.client(self.backend_with_tls).is_cut_off,
            "a handshake that stops": self.client(self.backend_with_tls, b"\x16\x03\x01").is_cut_off,
        }
        self.one_who_does_not_read()
        ended = set()

        def all_have_ended():
            ended.update(name for name, is_cut_off in ways.items() if name not in ended and is_cut_off())
            return ended == set(ways)

        wait_for(lambda: f"the end of {set(ways) - ended}", all_have_ended, LONGER_THAN_ANY)
        wait_for("the end of who does not read", lambda: self.backend.metric("quillora_connections") == 1,
                 LONGER_THAN_ANY)
        self.assertEqual(self.backend.translate().status, 200)


if __name__ == "__main__":
    unittest.main()
