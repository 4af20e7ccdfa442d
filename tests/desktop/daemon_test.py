#!/usr/bin/python3
"""A program that a desktop needs, and its end."""

import time
import unittest

import desktop_case  # noqa: F401 - finds the others

from virtual_desktop import DesktopError, Programs, wait_for


class DaemonTest(unittest.TestCase):
    def setUp(self):
        self.programs = self.enterContext(Programs())

    def test_one_that_dies_ends_every_wait_at_once_by_its_name(self):
        self.programs.start_daemon(["sh", "-c", "echo no socket >&2; exit 7"])
        begin = time.monotonic()
        with self.assertRaises(DesktopError) as raised:
            wait_for("what never happens", lambda: False, seconds=600)
        self.assertEqual(str(raised.exception), "sh -c echo no socket >&2; exit 7 ended by itself, with status 7. "
                                                "Its last words:\nno socket")
        self.assertLess(time.monotonic() - begin, 300)

    def test_one_that_is_killed_does_so_too(self):
        daemon = self.programs.start_daemon(["sleep", "600"])
        daemon.kill()
        with self.assertRaisesRegex(DesktopError, "^sleep 600 ended by itself, with signal 9"):
            wait_for("what never happens", lambda: False, seconds=600)

    def test_one_that_is_stopped_or_may_end_ends_nothing(self):
        self.programs.stop(self.programs.start_daemon(["sleep", "600"]))
        short = self.programs.start_daemon(["true"])
        self.programs.expect_end(short)
        short.wait()
        self.assertTrue(wait_for("what is so", lambda: True))
        with self.assertRaisesRegex(DesktopError, "^what never happens did not happen within 0 s$"):
            wait_for("what never happens", lambda: False, seconds=0)


if __name__ == "__main__":
    unittest.main(verbosity=2)
